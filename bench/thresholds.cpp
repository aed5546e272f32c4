// SPDX-License-Identifier: Apache-2.0
// The threshold arithmetic: nanoseconds for each way in which a port's buffer is divided, and for a whole
// long-distance split of a pool of twelve ports. What a message that uses them costs from end to end is measured by
// road --workload pause and road --workload ld.
#include <benchmark/benchmark.h>

#include <cstring>

#include "agent/long_distance.h"
#include "agent/model/thresholds.h"
#include "core/state.h"

namespace {

constexpr uint32_t LARKIN_MODEL = 95;
constexpr uint32_t MIRELLE_MODEL = 131;
constexpr uint32_t COMMON_MODEL = 1000;

struct way_t {
    uint32_t model;
    uint32_t chip_type;
    uint32_t flags;
    int32_t pause_tx;
};

void divide(benchmark::State &state, const way_t &way)
{
    static qosChip_t chip;
    static qosIf_t port;
    memset(static_cast<void *>(&chip), 0, sizeof chip);
    memset(static_cast<void *>(&port), 0, sizeof port);
    qos_velmar_state.model = way.model;
    chip.chip_type = way.chip_type;
    port.chip = &chip;
    port.ifIndex = 6U << 26 | 1U << 22 | 3U << 15;
    port.ccb.ccbFlags = way.flags;
    port.ccb.pause.tx = way.pause_tx;
    port.ccb.pfc[3].tx = port.ccb.pfc[4].tx = 1;
    for (unsigned cos = 0; cos < QOS_NUM_COS; ++cos)
        port.ccb.priTailDropThreshold[cos] = 10 + cos;
    const uint8_t tc_map[QOS_NUM_COS] = {0, 1, 2, 3, 4, 5, 6, 7};
    uint32_t thresholds[QOS_NUM_COS];
    for (auto _ : state) {
        (void)qaCcbGetPriTailDropThresholds(&port, tc_map, 2000000, thresholds);
        benchmark::DoNotOptimize(thresholds);
        benchmark::ClobberMemory();
    }
}

void split(benchmark::State &state)
{
    static qosChip_t chip;
    static qosIf_t ports[12];
    memset(static_cast<void *>(&chip), 0, sizeof chip);
    memset(static_cast<void *>(ports), 0, sizeof ports);
    qos_velmar_state.model = COMMON_MODEL;
    chip.chip_type = QOS_CHIP_TESSEL;
    chip.chipBuffers = 8000000;
    tailqInit(&chip.ifList);
    for (uint32_t i = 0; i < 12; ++i) {
        ports[i].ifIndex = 6U << 26 | 1U << 22 | (i + 1) << 15;
        ports[i].chip = &chip;
        tailqInsertTail<&qosIf_t::chip_link>(&chip.ifList, &ports[i]);
    }
    ports[2].ccb.ldIfCfg.is_link_ld = 1;
    ports[2].ccb.ldIfCfg.ld_distance = 10000;
    for (auto _ : state) {
        qaLdCalculateBufferDist(&chip, &ports[2], 1);
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE(divide, weights, way_t{COMMON_MODEL, QOS_CHIP_TESSEL, QOS_CCB_COS_THRESHOLD, 0});
BENCHMARK_CAPTURE(divide, legacy_pause, way_t{COMMON_MODEL, QOS_CHIP_TESSEL, 0, 1});
BENCHMARK_CAPTURE(divide, pfc_common, way_t{COMMON_MODEL, QOS_CHIP_TESSEL, 0, 0});
BENCHMARK_CAPTURE(divide, pfc_larkin, way_t{LARKIN_MODEL, QOS_CHIP_LARKIN, 0, 0});
BENCHMARK_CAPTURE(divide, pfc_mirelle, way_t{MIRELLE_MODEL, QOS_CHIP_MIRELLE, 0, 0});
BENCHMARK(split);

} // namespace
