// SPDX-License-Identifier: Apache-2.0
// Statistics answers of every kind that the chip type has, beside the same requests and answers of the driver alone;
// and the poll of 1280 watched ports, from its first request to its last, with drops on all of them.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <type_traits>
#include <unistd.h>
#include <utility>
#include <vector>

#include "agent/messages/bodies.h"
#include "agent/messages/catalogue.h"
#include "bench/road.h"

namespace {

constexpr uint32_t TESSEL = 1, MIRELLE = 2;
constexpr int MOST_BATCH = 8;
constexpr size_t BATCH_BYTES = 8000;
constexpr int POLL_SLOTS = 10;
constexpr int POLL_PORTS = 128; // of a slot
constexpr int POLL_SECONDS = 60;

template <unsigned Code>
void appendStatistic(Bytes &batch)
{
    using Body = qosBodyOf<Code>;
    Body body = {};
    if constexpr (requires { body.ifindex; })
        body.ifindex = portIndex(3);
    if constexpr (requires { body.chip_ifindex; })
        body.chip_ifindex = BENCH_CHIP;
    if constexpr (requires { body.tsl_id; })
        body.tsl_id = 8;
    appendMessage(batch, Code, body);
}

struct kind_t {
    uint8_t code;
    void (*append)(Bytes &batch);
};

template <unsigned... Codes>
constexpr std::array<kind_t, sizeof...(Codes)> kinds()
{
    return {{{Codes, appendStatistic<Codes>}...}};
}
constexpr auto KINDS =
    kinds<25, 28, 29, 30, 35, 48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61, 62, 63, 64, 65, 69, 77>();

struct row_t {
    const kind_t *kind;
    int batch;
    std::vector<double> floor, daemon, ratio;
};

double timeOf(const node_t &node, const Bytes &batch, int count, int messages)
{
    Bytes answer = roadAnswerRoom();
    const int batches = std::max(1, messages / count);
    const int64_t start = nowNs();
    for (int i = 0; i < batches; ++i)
        roadExchange(node, batch, answer);
    return static_cast<double>(nowNs() - start) / 1000 / (static_cast<double>(batches) * count);
}

Bytes batchOf(const kind_t &kind, int count)
{
    Bytes batch = batchHead();
    for (int i = 0; i < count; ++i)
        kind.append(batch);
    return batch;
}

// A chip of the type in the first of the slots, or in each, with its ports.
void bringUp(const node_t &node, uint32_t chip_type, uint32_t first, uint32_t slots, int ports)
{
    Bytes answer = roadAnswerRoom();
    for (uint32_t slot = first; slot < first + slots; ++slot)
        for (int port = 0; port < ports;) {
            Bytes batch = batchHead();
            if (port == 0) {
                qosChipUpMsg_t chip = {};
                chip.chip_ifindex = 34U << 26 | slot << 22;
                chip.slot_id = static_cast<int32_t>(slot);
                chip.num_ports = ports;
                chip.chip_type = chip_type;
                for (int i = 0; i < ports; ++i)
                    chip.portInfo[i].ifindex = 6U << 26 | slot << 22 | static_cast<uint32_t>(i) << 15;
                appendMessage(batch, QOS_CHIPUP_MSG, chip);
            }
            for (const int end = std::min(port + POLL_PORTS / 2, ports); port < end; ++port) {
                qosIfAddMsg_t body = {};
                body.ifIndex = 6U << 26 | slot << 22 | static_cast<uint32_t>(port) << 15;
                snprintf(body.ifName, sizeof body.ifName, "te%u/%d", slot, port);
                appendMessage(batch, QOS_IFADD_MSG, body);
            }
            roadExchange(node, batch, answer);
        }
}

// A row for each kind that asks the driver, alone in its batch and with others.
std::vector<row_t> rowsOf(const node_t &daemon)
{
    std::vector<row_t> rows;
    Bytes answer = roadAnswerRoom();
    for (const kind_t &kind : KINDS) {
        const Bytes one = batchOf(kind, 1);
        const uint32_t before = roadAsked(daemon)->requests;
        roadExchange(daemon, one, answer);
        roadLearn(kind.code, daemon, before);
        if (roadPlans()[kind.code].count == 0)
            continue;
        const int most =
            static_cast<int>(std::min<size_t>(MOST_BATCH, BATCH_BYTES / (one.size() - sizeof(mi6_addr_t))));
        rows.push_back({&kind, 1, {}, {}, {}});
        if (most > 1)
            rows.push_back({&kind, most, {}, {}, {}});
    }
    return rows;
}

void measureKinds(const road_options_t &options, uint32_t chip_type, const char *name)
{
    node_t floor, daemon;
    roadStartFloor(floor);
    roadStartDaemon(daemon, options.daemon);
    bringUp(daemon, chip_type, 1, 1, BENCH_PORTS);
    std::vector<row_t> rows = rowsOf(daemon);
    for (int round = -1; round < options.rounds; ++round)
        for (row_t &row : rows) {
            const Bytes batch = batchOf(*row.kind, row.batch);
            double us[2];
            for (int i = 0; i < 2; ++i) {
                const bool is_floor = (i + round) % 2 == 0;
                us[is_floor] = timeOf(is_floor ? floor : daemon, batch, row.batch, options.messages / 8);
            }
            if (round < 0)
                continue;
            row.floor.push_back(us[1]);
            row.daemon.push_back(us[0]);
            row.ratio.push_back(us[0] / us[1]);
        }
    for (const row_t &row : rows)
        printf("%-8s  %-34s  %8u  %5d  %8.2f  %8.2f  %5.2f\n", name, qosMsgName(row.kind->code),
               roadPlans()[row.kind->code].count, row.batch, median(row.floor), median(row.daemon), median(row.ratio));
}

// ---- A poll

void watchAll(const node_t &node)
{
    Bytes answer = roadAnswerRoom();
    for (uint32_t port = 0; port < POLL_SLOTS * POLL_PORTS; ++port) {
        Bytes batch = batchHead();
        qaDropMonitorCfgMsg_t body = {};
        body.ifindex = 6U << 26 | (port / POLL_PORTS) << 22 | port % POLL_PORTS << 15;
        body.chip_ifindex = 34U << 26 | (port / POLL_PORTS) << 22;
        body.cmd = 1;
        appendMessage(batch, QOS_DROP_MONITOR_CFG_MSG, body);
        roadExchange(node, batch, answer);
    }
}

// Until the driver was asked nothing more for a while; what notices the poll sends is thrown away.
void awaitQuiet(const node_t &node)
{
    constexpr int QUIET_US = 20000;
    Bytes answer = roadAnswerRoom();
    for (uint32_t before = 0; before != roadAsked(node)->requests;) {
        before = roadAsked(node)->requests;
        for (int i = 0; i < 10; ++i) {
            usleep(QUIET_US / 10);
            roadDrop(node, answer);
        }
    }
}

// Microseconds from the first request to the last, and how many there were.
double pollOf(const node_t &node, const char *step, uint32_t *requests)
{
    road_asked_t &asked = *roadAsked(node);
    const uint32_t before = asked.requests;
    asked.first_ns = 0;
    control(node, node.agent, step);
    awaitQuiet(node);
    *requests = asked.requests - before;
    return static_cast<double>(asked.last_ns - asked.first_ns) / 1000;
}

// The floor sends the requests of one poll in batches of messages that take as many each as a plan can hold.
double floorOf(const node_t &node, const std::vector<road_request_t> &requests)
{
    road_plan_t &plan = roadPlans()[0];
    road_asked_t &asked = *roadAsked(node);
    Bytes answer = roadAnswerRoom();
    asked.first_ns = 0;
    for (size_t at = 0; at < requests.size(); at += plan.count) {
        plan.count = static_cast<uint32_t>(std::min(requests.size() - at, std::size(plan.request)));
        std::copy_n(requests.begin() + static_cast<ptrdiff_t>(at), plan.count, plan.request);
        Bytes batch = batchHead();
        appendMessage(batch, 0, dORVALRegMsg_t());
        roadExchange(node, batch, answer);
    }
    return static_cast<double>(asked.last_ns - asked.first_ns) / 1000;
}

void measurePoll(const road_options_t &options, uint32_t chip_type, const char *name)
{
    node_t floor, daemon;
    roadStartFloor(floor);
    setenv("VELMAR_CLOCK", "stepped", 1);
    roadStartDaemon(daemon, options.daemon);
    unsetenv("VELMAR_CLOCK");
    bringUp(daemon, chip_type, 0, POLL_SLOTS, POLL_PORTS);
    watchAll(daemon);
    const std::string step = "clock step " + std::to_string(POLL_SECONDS);
    uint32_t count = 0;
    roadAsked(daemon)->kept = 0;
    pollOf(daemon, step.c_str(), &count);
    const road_asked_t &asked = *roadAsked(daemon);
    const std::vector<road_request_t> requests(asked.all, asked.all + std::min<size_t>(count, std::size(asked.all)));
    std::vector<double> floor_us, daemon_us, ratio;
    for (int round = 0; round < options.rounds; ++round) {
        floor_us.push_back(floorOf(floor, requests));
        daemon_us.push_back(pollOf(daemon, step.c_str(), &count));
        ratio.push_back(daemon_us.back() / floor_us.back());
    }
    printf("%-8s  %-34s  %8u  %5s  %8.0f  %8.0f  %5.2f\n", name, "poll of 1280 watched ports", count, "-",
           median(floor_us), median(daemon_us), median(ratio));
}

} // namespace

void roadStatistics(const road_options_t &options)
{
    printf("statistics: %d rounds, medians, all on core %d; us an answer\n%-8s  %-34s  %8s  %5s  %8s  %8s  %5s\n",
           options.rounds, options.core, "chip", "kind", "requests", "batch", "floor", "daemon", "ratio");
    for (const auto &[type, name] : {std::pair{TESSEL, "Tessel"}, std::pair{MIRELLE, "Mirelle"}}) {
        measureKinds(options, type, name);
        measurePoll(options, type, name);
    }
}
