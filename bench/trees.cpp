// SPDX-License-Identifier: Apache-2.0
// Look-ups of interfaces in the agent's tree and in a std::map with the same comparison over the same records. Both
// take turns inside one measurement; the counter "ratio" is the tree's time over the map's.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <vector>

#include "inventory/interfaces.h"
#include "lib/avl.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Less {
    bool operator()(const qosIf_t *a, const qosIf_t *b) const { return qosCmpIfEntry(a, b) < 0; }
};

// Ports of two types, over 16 slots of 128 ports, in a random order.
std::vector<uint32_t> portIndexes(size_t count)
{
    std::vector<uint32_t> indexes;
    for (uint32_t type : {6U, 26U})
        for (uint32_t slot = 0; slot < 16; ++slot)
            for (uint32_t port = 0; port < 128 && indexes.size() < count; ++port)
                indexes.push_back(type << 26 | slot << 22 | port << 15);
    std::shuffle(indexes.begin(), indexes.end(), std::mt19937(1));
    return indexes;
}

struct Tables {
    std::vector<uint32_t> indexes;
    std::vector<qosIf_t *> records;
    tnx_avl_tree_t *tree = nullptr;
    std::map<const qosIf_t *, qosIf_t *, Less> map;

    explicit Tables(size_t count) : indexes(portIndexes(count))
    {
        (void)avl_create(&tree, 0, qosCmpIfEntry);
        for (const uint32_t index : indexes) {
            auto *record = static_cast<qosIf_t *>(calloc(1, sizeof(qosIf_t)));
            if (!record) {
                perror("calloc");
                exit(1);
            }
            record->ifIndex = index;
            records.push_back(record);
            (void)avl_insert(tree, record);
            map.emplace(record, record);
        }
        std::shuffle(indexes.begin(), indexes.end(), std::mt19937(2));
    }
    ~Tables() { avl_tree_free(&tree, free); }
    Tables(const Tables &) = delete;
    Tables &operator=(const Tables &) = delete;
};

// Seconds for one look-up of every interface.
template <typename Find>
double secondsOf(const std::vector<uint32_t> &indexes, Find &&find)
{
    static qosIf_t key; // a large record of which only the index counts
    const auto start = Clock::now();
    for (const uint32_t index : indexes) {
        key.ifIndex = index;
        benchmark::DoNotOptimize(find(&key));
    }
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void lookup(benchmark::State &state)
{
    const Tables tables(static_cast<size_t>(state.range(0)));
    double tree = 0, map = 0;
    for (auto _ : state) {
        const double seconds =
            secondsOf(tables.indexes, [&](const qosIf_t *key) { return avl_search(tables.tree, key)->info; });
        state.SetIterationTime(seconds);
        tree += seconds;
        map += secondsOf(tables.indexes, [&](const qosIf_t *key) { return tables.map.find(key)->second; });
    }
    const double lookups = static_cast<double>(state.iterations()) * static_cast<double>(tables.indexes.size());
    state.counters["tree_ns"] = tree / lookups * 1e9;
    state.counters["map_ns"] = map / lookups * 1e9;
    state.counters["ratio"] = tree / map;
}

BENCHMARK(lookup)->Arg(160)->Arg(1024)->Arg(4096)->UseManualTime();

} // namespace
