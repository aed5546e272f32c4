// SPDX-License-Identifier: Apache-2.0
// The views of statistics.
#include "tools/stats_views.h"

#include "agent/messages/codes.h"

namespace {

using column = ctlStatsColumn_t;
using cell = ctlStatsField_t;
using run = ctlStatsRows_t;

constexpr bool COUNTER = true, STATE = false;

// Queues of a port.
constexpr column queueColumns[] = {{"tx_frames", "frames", COUNTER},
                                   {"tx_bytes", "bytes", COUNTER},
                                   {"rx_frames", "frames", COUNTER},
                                   {"rx_bytes", "bytes", COUNTER}};
constexpr cell queueCells[] = {{"counter1", 0}, {"counter2", 0}, {"counter3", 0}, {"counter4", 0}};
constexpr cell queueTotals[] = {{"total", 0}, {"total", 1}, {"total", 2}, {"total", 3}};
constexpr run queueRows[] = {{"", nullptr, 8, nullptr, nullptr, queueCells},
                             {"total", nullptr, 1, nullptr, nullptr, queueTotals}};

// Receive and send queue: the same body.
constexpr column depthColumns[] = {
    {"used", "bytes", STATE}, {"threshold", "bytes", STATE}, {"dropped", "frames", COUNTER}};
constexpr cell depthCells[] = {{"port_pri_bufs", 0}, {"threshold", 0}};
constexpr cell depthPort[] = {{"log_port_bufs", 0}, {"port_threshold", 0}, {"drop_total", 0}};
constexpr run depthRows[] = {{"", nullptr, 8, nullptr, nullptr, depthCells},
                             {"port", nullptr, 1, nullptr, nullptr, depthPort}};

constexpr column framesColumn[] = {{"frames", "frames", COUNTER}};
constexpr cell mcastCells[] = {{"counter", 0}};
constexpr run mcastRows[] = {{"", nullptr, 8, nullptr, nullptr, mcastCells}};

constexpr cell pauseCells[] = {{"pri", 0}}, pauseGlobal[] = {{"global", 0}}, pauseGlobal2[] = {{"global2", 0}};
constexpr run pauseRows[] = {{"", nullptr, 8, nullptr, nullptr, pauseCells},
                             {"global", nullptr, 1, nullptr, nullptr, pauseGlobal},
                             {"global 2", nullptr, 1, nullptr, nullptr, pauseGlobal2}};

constexpr cell reasonCells[] = {{"records.counter", 0}}, reasonTotals[] = {{"total", 0}};
constexpr run reasonRows[] = {{"", "records.text", 128, "num_reasons", nullptr, reasonCells},
                              {"total ", nullptr, 7, nullptr, nullptr, reasonTotals}};

constexpr column voqColumns[] = {{"count", "chip units", COUNTER}};
constexpr cell voqCells[] = {{"counter", 0}};
constexpr run voqRows[] = {{"", nullptr, 14, nullptr, nullptr, voqCells}};

// Frames and bytes that RED dropped, by drop level. One family fills records, the other the six counters behind them.
constexpr column redColumns[] = {{"green_frames", "frames", COUNTER},  {"green_bytes", "bytes", COUNTER},
                                 {"yellow_frames", "frames", COUNTER}, {"yellow_bytes", "bytes", COUNTER},
                                 {"red_frames", "frames", COUNTER},    {"red_bytes", "bytes", COUNTER},
                                 {"level3_frames", "frames", COUNTER}, {"level3_bytes", "bytes", COUNTER}};
constexpr cell redCells[] = {{"records.counter[0]", 0}, {"records.counter[1]", 0}, {"records.counter[2]", 0},
                             {"records.counter[3]", 0}, {"records.counter[4]", 0}, {"records.counter[5]", 0},
                             {"records.counter[6]", 0}, {"records.counter[7]", 0}};
constexpr cell redPort[] = {{"mrl_counter", 0}, {"mrl_counter", 1}, {"mrl_counter", 2},
                            {"mrl_counter", 3}, {"mrl_counter", 4}, {"mrl_counter", 5}};
constexpr run redRows[] = {{"", "records.priority", 8, "records_valid", nullptr, redCells},
                           {"port", nullptr, 1, nullptr, "records_valid", redPort}};

constexpr column policerColumns[] = {
    {"conform", "bytes", COUNTER}, {"exceed", "bytes", COUNTER}, {"violate", "bytes", COUNTER}};
constexpr cell policerCells[] = {{"records.counter[0]", 0}, {"records.counter[1]", 0}, {"records.counter[2]", 0}};
constexpr run policerRows[] = {{"", "records.policer_id", 64, "num_records", nullptr, policerCells}};

constexpr column thresholdColumns[] = {{"threshold", "bytes", STATE}};
constexpr cell thresholdCells[] = {{"thresholds", 0}}, thresholdPort[] = {{"tailDropThreshold", 0}};
constexpr run thresholdRows[] = {{"", nullptr, 8, nullptr, nullptr, thresholdCells},
                                 {"port", nullptr, 1, nullptr, nullptr, thresholdPort}};

constexpr column tmcColumns[] = {{"id", "number", STATE}, {"type", "number", STATE}};
constexpr cell tmcCells[] = {{"tmc_id", 0}, {"tmc_type", 0}};
constexpr run tmcRows[] = {{"tmc", nullptr, 1, nullptr, nullptr, tmcCells}};

// Replies whose fields have no name but their place in the body.
constexpr column fieldColumns[] = {
    {"v0", "chip units", STATE}, {"v1", "chip units", STATE}, {"v2", "chip units", STATE}, {"v3", "chip units", STATE},
    {"v4", "chip units", STATE}, {"v5", "chip units", STATE}, {"v6", "chip units", STATE}, {"v7", "chip units", STATE}};

constexpr ctlStatsView_t ofPort(const char *kind, uint8_t code, const char *by, std::span<const column> columns,
                                std::span<const run> rows)
{
    return {kind, "", "", false, code, "ifindex", nullptr, nullptr, nullptr, "", by, columns, rows};
}

// The agent divides the budget that the request brings along.
constexpr ctlStatsView_t ofReceiveQueue()
{
    ctlStatsView_t view = ofPort("rcv-queue", QOS_GET_RCVQUEUE_STATS_MSG, "priority", depthColumns, depthRows);
    view.budget = "port_threshold";
    return view;
}

constexpr ctlStatsView_t ofChip(const char *kind, uint8_t code, const char *number, const char *by,
                                std::span<const column> columns, std::span<const run> rows)
{
    return {kind, "", "", false, code, nullptr, "chip_ifindex", number, nullptr, "", by, columns, rows};
}

constexpr ctlStatsView_t ofFields(const char *kind, const char *side, const char *source, uint8_t code)
{
    return {kind, side, source, false, code, "ifindex", nullptr, nullptr, nullptr, "", "field", fieldColumns, {}};
}

constexpr ctlStatsView_t ofPolicers(const char *side, bool named, const char *request)
{
    return {"policers",
            side,
            "",
            named,
            QOS_GET_POL_STATS_MSG,
            "records.ifindex",
            "chip_ifindex",
            nullptr,
            "records.policer_id",
            request,
            "policer",
            policerColumns,
            policerRows};
}

constexpr ctlStatsView_t views[] = {
    ofPort("queue", QOS_GET_QUEUE_STATS_MSG, "priority", queueColumns, queueRows),
    ofReceiveQueue(),
    ofPort("send-queue", QOS_GET_SENDQUEUE_STATS_MSG, "priority", depthColumns, depthRows),
    ofChip("mcast-queue", QOS_GET_MCAST_RCVQUEUE_STATS_MSG, nullptr, "queue", framesColumn, mcastRows),
    ofPort("flow-control", QOS_GET_FLOWCONTROL_STATS_MSG, "priority", framesColumn, pauseRows),
    ofPort("drop-reasons", QOS_GET_DROP_RSN_STATS_MSG, "reason", framesColumn, reasonRows),
#define FIELDS(...) __VA_ARGS__
#define OWN_VIEW
#define VIEW(code, ...) __VA_OPT__(ofFields(__VA_ARGS__, code), )
#define STAT_BLOCK(entry, code, chips, command, form, block, view, ...) VIEW(code, view)
#include "platform/records/statistics.def"
#undef STAT_BLOCK
#undef VIEW
#undef OWN_VIEW
#undef FIELDS
    ofPort("voq", QOS_GET_VOQ_STATS_MSG, "counter", voqColumns, voqRows),
    {"red", "", "", false, QOS_GET_RED_STATS_MSG, "ifindex", "chip_ifindex", nullptr, nullptr, "priority=0..7",
     "priority", redColumns, redRows},
    ofPolicers("ingress", false, "dir=0"),
    ofPolicers("egress", true, "dir=1"),
    ofPort("thresholds", QOS_GET_PORTPRI_BUFFERS, "class", thresholdColumns, thresholdRows),
    ofChip("tmc", QOS_GET_TMC_INFO_MSG, "tsl_id", "part", tmcColumns, tmcRows),
    ofChip("asic", QOS_GET_ASIC_INT_STATS_MSG, nullptr, "field", fieldColumns, {}),
};

} // namespace

std::span<const ctlStatsView_t> ctlStatsViews()
{
    return views;
}
