// SPDX-License-Identifier: Apache-2.0
// The road of one message, measured: from the manager to the agent, its requests to the driver and back, and the echo.
// The message is QOS_COSTRUST_MSG to a Tessel port, or with --workload one that takes more requests. Two nodes stand
// side by side, each with a bare driver of its own, and this process is the manager of both:
//   floor   a bare agent: it moves the same datagrams with the same system calls and does nothing else
//   daemon  the real dorvald
//
// System calls of both agents, found equal with strace:
//   a batch    poll, recvmsg, sendmsg of the echo, recvmsg that finds nothing (EAGAIN)
//   a request  sendmsg of it, select, recvmsg of the answer; QOS_COSTRUST_MSG takes one
// The daemon alone makes one more a batch, the ioctl that asks its inotify descriptor for events ahead of the echo, and
// it hands poll its whole table by descriptor, the unused places as -1. Neither is in the floor. In both the sockets
// towards driver and manager are connected.
//
// With --standby a third node has a daemon and a standby that mirrors it, and each message of every node changes what
// the store holds: it goes to the next of so many ports, with other maps than the last time. What counts there is the
// daemon with a standby over the one without, by the clock and by the processor time of all that take part: manager,
// driver, agent and standby. On one core the two are the same but for what neighbours take away, which only the clock
// shows.
//
// Everything is pinned to one core: unpinned figures swing by a factor of ten. All run as SCHED_BATCH, so that a
// process that is woken does not preempt the one that woke it: otherwise it is chance whether the next batch is there
// before the agent looks for it, and one of the two is spared its poll. So both wait equally often, as their voluntary
// context switches show. Rounds are interleaved, floor and daemon of one row back to back. Times are medians over the
// rounds; the ratio is the median of the rounds' own ratios, which a disturbance of both halves of a round leaves as it
// is.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/messages/congestion.h"
#include "agent/messages/fields.h"
#include "agent/messages/priority.h"
#include "bench/road.h"
#include "platform/records/priority.h"
#include "velmar/mi6.h"
#include "velmar/socket.h"

namespace {

constexpr int LEVELS[] = {8, 4}; // trace: the default, and failures only
constexpr int MIN_ROUNDS = 7;

// A message and the requests that it takes.
struct workload_t {
    const char *name;
    uint8_t code;
    Bytes (*message)();
    std::vector<size_t> requests; // bytes of each frame, in order
    std::vector<int> batches;
};

Bytes pauseMessage()
{
    Bytes message;
    qosCcbMsg_t body = {};
    body.ifindex = portIndex(3);
    strcpy(body.ifName, "te1/3");
    body.chip_ifindex = BENCH_CHIP;
    body.pause_tx = 1;
    appendMessage(message, QOS_PAUSE_MSG, body);
    return message;
}

Bytes longDistanceMessage()
{
    Bytes message;
    qosLdConfigMsg_t body = {};
    body.cmd = 1;
    body.ifindex = portIndex(3);
    body.distance = 10000;
    body.num_pfc = 1;
    appendMessage(message, QOS_LD_CFG_MSG, body);
    return message;
}

constexpr size_t PRI_TAIL_DROP = NL_RECORD_OFFSET + 108;
constexpr size_t TAIL_DROP = NL_RECORD_OFFSET + 40;
constexpr size_t W2Q_MAP = NL_RECORD_OFFSET + 40;
constexpr size_t PAUSE = NL_RECORD_OFFSET + 48;

// A long-distance commit programs two thresholds of every port.
std::vector<size_t> commitRequests()
{
    std::vector<size_t> requests;
    for (int port = 0; port < BENCH_PORTS; ++port)
        requests.insert(requests.end(), {TAIL_DROP, PRI_TAIL_DROP});
    return requests;
}

const workload_t &workloadOf(const std::string &name)
{
    static const workload_t workloads[] = {
        {"trust", QOS_COSTRUST_MSG, trustMessage, {NL_RECORD_OFFSET + sizeof(cosL2PriMap_t)}, {1, 8, 32}},
        {"pause", QOS_PAUSE_MSG, pauseMessage, {PRI_TAIL_DROP, W2Q_MAP, PAUSE}, {1, 8, 32}},
        {"ld", QOS_LD_CFG_MSG, longDistanceMessage, commitRequests(), {1, 8}},
    };
    for (const workload_t &workload : workloads)
        if (name == workload.name)
            return workload;
    fail("unknown workload '" + name + "'; there are trust, pause, ld and statistics");
}

Bytes batchOf(const workload_t &workload, int count)
{
    Bytes batch = batchHead();
    const Bytes message = workload.message();
    for (int i = 0; i < count; ++i)
        batch.insert(batch.end(), message.begin(), message.end());
    return batch;
}

// ---- Measuring

// Microseconds a message over `messages` messages in batches of `count`.
double measure(const node_t &node, const workload_t &workload, int count, int messages, Bytes &answer)
{
    const Bytes batch = batchOf(workload, count);
    const int batches = std::max(1, messages / count);
    for (int i = 0; i < 16; ++i)
        roadExchange(node, batch, answer);
    const int64_t start = nowNs();
    for (int i = 0; i < batches; ++i)
        roadExchange(node, batch, answer);
    return static_cast<double>(nowNs() - start) / 1000 / (static_cast<double>(batches) * count);
}

struct row_t {
    int level;
    int batch;
    std::vector<double> floor;
    std::vector<double> daemon;
    std::vector<double> ratio;
};

// One round of a row; who goes first alternates.
void measureRow(row_t &row, const workload_t &workload, const node_t &floor, const node_t &daemon, int messages,
                bool floor_first)
{
    Bytes answer = roadAnswerRoom();
    double floor_us = floor_first ? measure(floor, workload, row.batch, messages, answer) : 0;
    const double daemon_us = measure(daemon, workload, row.batch, messages, answer);
    checkEcho(answer, sizeof(mi6_addr_t) + workload.message().size() * static_cast<size_t>(row.batch));
    if (!floor_first)
        floor_us = measure(floor, workload, row.batch, messages, answer);
    row.floor.push_back(floor_us);
    row.daemon.push_back(daemon_us);
    row.ratio.push_back(daemon_us / floor_us);
}

std::vector<row_t> measureAll(const road_options_t &options)
{
    node_t floor, daemon;
    const workload_t &workload = workloadOf(options.workload);
    road_plan_t &plan = roadPlans()[workload.code];
    for (const size_t request : workload.requests)
        plan.request[plan.count++] = {static_cast<uint16_t>(request), 0};
    roadStartFloor(floor);
    roadStartDaemon(daemon, options.daemon);
    Bytes answer = roadAnswerRoom();
    const Bytes setup = setupBatch();
    roadExchange(daemon, setup, answer);
    checkEcho(answer, setup.size());
    std::vector<row_t> rows;
    for (const int level : LEVELS)
        for (const int batch : workload.batches)
            rows.push_back({level, batch, {}, {}, {}});
    for (int round = 0; round < options.rounds; ++round) {
        int level = -1;
        for (row_t &row : rows) {
            if (row.level != level)
                control(daemon, daemon.agent, "trace level " + std::to_string(level = row.level));
            measureRow(row, workload, floor, daemon, options.messages, round % 2 == 0);
        }
    }
    return rows;
}

// ---- Output, options

void print(const std::vector<row_t> &rows, const road_options_t &options)
{
    if (!options.json) {
        printf("%s: %d rounds of %d messages, medians, all on core %d\n", options.workload.c_str(), options.rounds,
               options.messages, options.core);
        printf("%5s  %5s  %14s  %15s  %5s\n", "trace", "batch", "floor us/msg", "daemon us/msg", "ratio");
        for (const row_t &row : rows)
            printf("%5d  %5d  %14.2f  %15.2f  %5.2f\n", row.level, row.batch, median(row.floor), median(row.daemon),
                   median(row.ratio));
        return;
    }
    printf("{\"workload\":\"%s\",\"rounds\":%d,\"messages\":%d,\"core\":%d,\"rows\":[", options.workload.c_str(),
           options.rounds, options.messages, options.core);
    const char *comma = "";
    for (const row_t &row : rows) {
        printf("%s{\"trace\":%d,\"batch\":%d,\"floor_us\":%.3f,\"daemon_us\":%.3f,\"ratio\":%.3f}", comma, row.level,
               row.batch, median(row.floor), median(row.daemon), median(row.ratio));
        comma = ",";
    }
    printf("]}\n");
}

road_options_t readOptions(int argc, char **argv)
{
    road_options_t options;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (option == "--json" || option == "--standby") {
            (option == "--json" ? options.json : options.standby) = true;
            continue;
        }
        if (option == "--rounds")
            options.rounds = numberOf("--rounds", value, MIN_ROUNDS);
        else if (option == "--messages")
            options.messages = numberOf("--messages", value, 1);
        else if (option == "--core")
            options.core = numberOf("--core", value, 0);
        else if (option == "--workload" && value)
            options.workload = value;
        else if (option == "--daemon" && value)
            options.daemon = value;
        else
            fail("unknown option '" + option +
                 "'\nusage: road [--rounds N] [--messages N] [--core N] [--workload trust|pause|ld] [--daemon FILE] "
                 "[--standby] [--json]");
        ++i;
    }
    if (options.workload == "statistics")
        return options;
    if (options.standby && !roadHasMirrored(options.workload))
        fail("unknown workload '" + options.workload + "'; with a standby there are " + ROAD_MIRRORED);
    if (!options.standby)
        (void)workloadOf(options.workload);
    return options;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        road_options_t options = readOptions(argc, argv);
        struct sigaction stop = {};
        stop.sa_handler = [](int) {}; // the receive that it interrupts fails, and what was started is cleared away
        for (const int number : {SIGINT, SIGTERM, SIGCHLD})
            sigaction(number, &stop, nullptr);
        pin(&options.core);
        if (options.workload == "statistics")
            roadStatistics(options);
        else if (options.standby)
            roadMirrored(options);
        else
            print(measureAll(options), options);
        return 0;
    } catch (const std::exception &error) {
        fprintf(stderr, "road: %s\n", error.what());
        return 1;
    }
}
