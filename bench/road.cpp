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
#include <filesystem>
#include <poll.h>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <vector>

#include "agent/messages/chip.h"
#include "agent/messages/congestion.h"
#include "agent/messages/drop_monitor.h"
#include "agent/messages/fields.h"
#include "agent/messages/policer.h"
#include "agent/messages/priority.h"
#include "agent/messages/scheduler.h"
#include "agent/messages/statistics.h"
#include "bench/common.h"
#include "platform/records/priority.h"
#include "velmar/mi6.h"
#include "velmar/socket.h"

namespace {

constexpr int LEVELS[] = {8, 4}; // trace: the default, and failures only
constexpr int MIN_ROUNDS = 7;
constexpr int DRIVER_BUFFER = 8192; // bytes, as the agent sets its driver sockets

struct Options {
    int rounds = 15;
    int messages = 2048; // a round of one row
    int core = -1;       // the last one that is allowed
    bool json = false;
    bool standby = false; // measured is a daemon that has one beside one that has none
    std::string workload = "trust";
    std::string daemon = DORVALD_BINARY;
};

// A message and the requests that it takes.
struct workload_t {
    const char *name;
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
        {"trust", trustMessage, {NL_RECORD_OFFSET + sizeof(cosL2PriMap_t)}, {1, 8, 32}},
        {"pause", pauseMessage, {PRI_TAIL_DROP, W2Q_MAP, PAUSE}, {1, 8, 32}},
        {"ld", longDistanceMessage, commitRequests(), {1, 8}},
    };
    for (const workload_t &workload : workloads)
        if (name == workload.name)
            return workload;
    fail("unknown workload '" + name + "'; there are trust, pause and ld");
}

Bytes batchOf(const workload_t &workload, int count)
{
    Bytes batch = batchHead();
    const Bytes message = workload.message();
    for (int i = 0; i < count; ++i)
        batch.insert(batch.end(), message.begin(), message.end());
    return batch;
}

// A success answer: data frame with the request's command and an acknowledgement's size, end frame.
struct answer_t {
    qosNLHdr_t data;
    qosDriverHdr_t driver;
    cosHdr_t record;
    qosNLHdr_t end;
};

// ---- The three processes

// Answers every request. Both nodes have one of these.
[[noreturn]] void runDriver(int fd)
{
    static unsigned char request[NL_MSG_BUF_SIZE];
    answer_t answer = {};
    answer.data.length = offsetof(answer_t, end);
    answer.end.length = sizeof answer.end;
    answer.end.type = NLM_DONE;
    for (;;) {
        sockaddr_un from;
        socklen_t length = sizeof from;
        const ssize_t got = recvfrom(fd, request, sizeof request, 0, reinterpret_cast<sockaddr *>(&from), &length);
        if (got < static_cast<ssize_t>(NL_RECORD_OFFSET + sizeof(cosHdr_t)))
            continue;
        const auto *header = reinterpret_cast<const qosNLHdr_t *>(request);
        answer.data.type = header->type;
        answer.data.seq = header->seq;
        memcpy(&answer.driver, request + sizeof *header, sizeof answer.driver);
        memcpy(&answer.record, request + NL_RECORD_OFFSET, sizeof(be32));
        (void)sendto(fd, &answer, sizeof answer, 0, reinterpret_cast<sockaddr *>(&from), length);
    }
}

struct bare_agent_t {
    int mi;     // batches come here
    int echo;   // connected to the manager
    int driver; // connected to the driver
    pollfd table[5];
};

ssize_t receive(int fd, iovec *vectors, size_t count, int flags)
{
    msghdr message = {};
    message.msg_iov = vectors;
    message.msg_iovlen = count;
    return recvmsg(fd, &message, flags);
}

ssize_t transmit(int fd, iovec *vectors, size_t count, int flags)
{
    msghdr message = {};
    message.msg_iov = vectors;
    message.msg_iovlen = count;
    return sendmsg(fd, &message, flags | MSG_NOSIGNAL);
}

void askDriver(int fd, size_t length)
{
    static unsigned char request[NL_MSG_BUF_SIZE];
    static unsigned char response[NL_RSP_BUF_SIZE];
    iovec vector = {request, length};
    transmit(fd, &vector, 1, 0);
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval limit = {15, 0};
    select(fd + 1, &readable, nullptr, nullptr, &limit);
    vector = {response, sizeof response};
    receive(fd, &vector, 1, MSG_DONTWAIT);
}

[[noreturn]] void runBareAgent(bare_agent_t agent, const workload_t &workload)
{
    const size_t message = workload.message().size();
    static unsigned char buffer[8192];
    mi6_addr_t from;
    mi6_addr_t self = {};
    for (;;) {
        poll(agent.table, std::size(agent.table), -1);
        for (;;) {
            iovec in[] = {{&from, sizeof from}, {buffer, sizeof buffer}};
            const ssize_t got = receive(agent.mi, in, 2, MSG_DONTWAIT);
            if (got < 0)
                break;
            const size_t length = static_cast<size_t>(got) - sizeof from;
            for (size_t left = length; left >= message; left -= message)
                for (const size_t request : workload.requests)
                    askDriver(agent.driver, request);
            iovec out[] = {{&self, sizeof self}, {buffer, length}};
            transmit(agent.echo, out, 2, MSG_DONTWAIT);
        }
    }
}

// ---- A node: run directory, driver, agent, and the manager's two sockets

void openNode(node_t &node)
{
    makeRun(node);
    openManager(node);
    const int driver = openSocket(node.run + "/qos/driver", "");
    if (forkChild(node) == 0)
        runDriver(driver);
    close(driver);
}

bare_agent_t openBareAgent(const node_t &node, pid_t manager)
{
    bare_agent_t agent = {};
    agent.mi = openSocket(pidPath(node, "/mi6/qosMI.lc1.", getpid()), "");
    const int stats = openSocket(pidPath(node, "/mi6/qosMIStats.lc1.", getpid()), "");
    const int events = openSocket(pidPath(node, "/qos/group6.", getpid()), "");
    agent.driver = openSocket(pidPath(node, "/qos/group1.", getpid()), node.run + "/qos/driver");
    for (const int fd : {events, agent.driver}) {
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &DRIVER_BUFFER, sizeof DRIVER_BUFFER);
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &DRIVER_BUFFER, sizeof DRIVER_BUFFER);
    }
    agent.echo = openSocket("", pidPath(node, "/mi6/qosMI.mgr.", manager));
    int wake[2];
    check(pipe(wake), "pipe");
    const int fds[] = {events, agent.driver, agent.mi, stats, wake[0]};
    for (size_t i = 0; i < std::size(fds); ++i)
        agent.table[i] = {fds[i], POLLIN, 0};
    return agent;
}

// The registration says that the agent's sockets are there and that it is active.
void awaitAgent(node_t &node)
{
    Bytes buffer(8192 + sizeof(mi6_addr_t));
    receiveAnswer(node, buffer);
    node.sending = openSocket("", pidPath(node, "/mi6/qosMI.lc1.", node.agent));
}

void startFloor(node_t &node, const workload_t &workload)
{
    openNode(node);
    const pid_t manager = getpid();
    node.agent = forkChild(node);
    if (node.agent == 0) {
        try {
            const bare_agent_t agent = openBareAgent(node, manager);
            (void)!write(agent.echo, "", 1);
            runBareAgent(agent, workload);
        } catch (const std::exception &error) {
            fprintf(stderr, "road: bare agent: %s\n", error.what());
            _exit(1);
        }
    }
    awaitAgent(node);
}

void startDaemon(node_t &node, const std::string &program)
{
    openNode(node);
    node.agent = startProgram(node, {program, "-S", "ethsw", "-s", "0"});
    awaitAgent(node);
}

pid_t startStandby(node_t &node, const std::string &program)
{
    const pid_t standby = startProgram(node, {program, "-S", "ethsw", "-s", "0"});
    constexpr int PATIENCE_MS = 10000;
    for (int ms = 0; control(node, node.agent, "stat").find("\"standbys\":1") == std::string::npos; ++ms) {
        if (ms == PATIENCE_MS)
            fail("the standby does not join");
        usleep(1000);
    }
    return standby;
}

// ---- Measuring

void exchange(const node_t &node, const Bytes &batch, Bytes &answer)
{
    if (send(node.sending, batch.data(), batch.size(), 0) < 0)
        fail(std::string("send: ") + strerror(errno));
    const size_t got = receiveAnswer(node, answer);
    if (got != batch.size())
        fail("an echo of " + std::to_string(got) + " bytes instead of " + std::to_string(batch.size()));
}

// Microseconds a message over `messages` messages in batches of `count`.
double measure(const node_t &node, const workload_t &workload, int count, int messages, Bytes &answer)
{
    const Bytes batch = batchOf(workload, count);
    const int batches = std::max(1, messages / count);
    for (int i = 0; i < 16; ++i)
        exchange(node, batch, answer);
    const int64_t start = nowNs();
    for (int i = 0; i < batches; ++i)
        exchange(node, batch, answer);
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
    Bytes answer(8192 + sizeof(mi6_addr_t));
    double floor_us = floor_first ? measure(floor, workload, row.batch, messages, answer) : 0;
    const double daemon_us = measure(daemon, workload, row.batch, messages, answer);
    checkEcho(answer, sizeof(mi6_addr_t) + workload.message().size() * static_cast<size_t>(row.batch));
    if (!floor_first)
        floor_us = measure(floor, workload, row.batch, messages, answer);
    row.floor.push_back(floor_us);
    row.daemon.push_back(daemon_us);
    row.ratio.push_back(daemon_us / floor_us);
}

std::vector<row_t> measureAll(const Options &options)
{
    node_t floor, daemon;
    const workload_t &workload = workloadOf(options.workload);
    startFloor(floor, workload);
    startDaemon(daemon, options.daemon);
    Bytes answer(8192 + sizeof(mi6_addr_t));
    const Bytes setup = setupBatch();
    exchange(daemon, setup, answer);
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

// ---- With a standby: values that differ

constexpr int PORT_COUNTS[] = {1, 48, 160, 1280};
constexpr int BATCHES[] = {1, 8, 32};
constexpr int PORTS_OF_SLOT = 128;
constexpr size_t SLICE = 128;    // messages that are timed as one: a neighbour of the core disturbs some, not all
constexpr int SETTLE_US = 20000; // until a standby has taken what it was sent, for its processor time

uint32_t slotOf(int port)
{
    return static_cast<uint32_t>(port / PORTS_OF_SLOT);
}

uint32_t chipOf(int port)
{
    return 34U << 26 | slotOf(port) << 22;
}

// Adds a chip in each slot and all ports, some of them at a time.
void addPorts(const node_t &node, int count)
{
    Bytes answer(8192 + sizeof(mi6_addr_t));
    for (int port = 0; port < count;) {
        Bytes batch = batchHead();
        for (const int end = std::min(port + PORTS_OF_SLOT / 2, count); port < end; ++port) {
            if (port % PORTS_OF_SLOT == 0) {
                qosChipUpMsg_t chip = {};
                chip.chip_id = slotOf(port) * 8;
                chip.chip_ifindex = chipOf(port);
                chip.slot_id = slotOf(port);
                chip.num_ports = PORTS_OF_SLOT;
                chip.chip_type = 1;
                appendMessage(batch, QOS_CHIPUP_MSG, chip);
            }
            qosIfAddMsg_t body = {};
            body.ifIndex = 6U << 26 | slotOf(port) << 22 | static_cast<uint32_t>(port % PORTS_OF_SLOT) << 15;
            snprintf(body.ifName, sizeof body.ifName, "te%u/%d", slotOf(port), port % PORTS_OF_SLOT);
            body.chip_id = slotOf(port) * 8;
            appendMessage(batch, QOS_IFADD_MSG, body);
        }
        exchange(node, batch, answer);
        checkEcho(answer, batch.size());
    }
}

// What a node is sent: to one port after the other, each time with other maps. They come again after a number of laps
// that no batch is a multiple of, so that a batch leaves none of its ports as it was.
class Traffic {
public:
    Bytes next(int ports, int count)
    {
        constexpr uint32_t TURNS = 7;
        Bytes batch = batchHead();
        for (int i = 0; i < count; ++i, ++sent_) {
            const int port = static_cast<int>(sent_ % static_cast<uint32_t>(ports));
            const uint32_t turn = sent_ / static_cast<uint32_t>(ports) % TURNS;
            qosL2PriMsg_t body = {};
            body.ifIndex = 6U << 26 | slotOf(port) << 22 | static_cast<uint32_t>(port % PORTS_OF_SLOT) << 15;
            snprintf(body.ifName, sizeof body.ifName, "te%u/%d", slotOf(port), port % PORTS_OF_SLOT);
            body.chip_ifindex = chipOf(port);
            body.cos_trust = 1;
            for (uint32_t k = 0; k < 8; ++k)
                body.cos_map[k] = body.tc_map[k] = static_cast<uint8_t>((k + turn) % 8);
            appendMessage(batch, QOS_COSTRUST_MSG, body);
        }
        return batch;
    }

private:
    uint32_t sent_ = 0;
};

double cpuUs(pid_t process)
{
    clockid_t clock;
    timespec used;
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &used) != 0)
        fail("no processor time of process " + std::to_string(process));
    return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) / 1000;
}

// A node under measurement, and what a row's rounds gave: microseconds a message.
struct subject_t {
    node_t node;
    Traffic traffic;
    pid_t standby = 0;
    double us, agent_us, standby_us, all_us;
};

void measureSubject(subject_t &subject, int ports, int count, int messages)
{
    Bytes answer(8192 + sizeof(mi6_addr_t));
    const int batches = std::max(1, messages / count);
    std::vector<Bytes> sent(static_cast<size_t>(batches));
    for (Bytes &batch : sent)
        batch = subject.traffic.next(ports, count);
    usleep(SETTLE_US);
    const double agent = cpuUs(subject.node.agent);
    const double others = cpuUs(getpid()) + cpuUs(subject.node.children[0]);
    const double standby = subject.standby ? cpuUs(subject.standby) : 0;
    std::vector<double> times;
    const size_t slice = std::max<size_t>(1, SLICE / static_cast<size_t>(count));
    for (size_t i = 0; i < sent.size();) {
        const size_t first = i;
        const int64_t start = nowNs();
        for (const size_t end = std::min(first + slice, sent.size()); i < end; ++i)
            exchange(subject.node, sent[i], answer);
        times.push_back(static_cast<double>(nowNs() - start) / 1000 / (static_cast<double>(i - first) * count));
    }
    subject.us = median(times);
    const double all = static_cast<double>(batches) * count;
    usleep(SETTLE_US);
    subject.agent_us = (cpuUs(subject.node.agent) - agent) / all;
    subject.standby_us = subject.standby ? (cpuUs(subject.standby) - standby) / all : 0;
    subject.all_us = (cpuUs(getpid()) + cpuUs(subject.node.children[0]) - others) / all + subject.agent_us;
    subject.all_us += subject.standby_us;
}

struct mirrored_row_t {
    int ports;
    int batch;
    std::vector<double> columns[9];
};

// Headings and members of JSON of the columns, in order.
constexpr const char *COLUMNS[] = {"floor_us",  "alone_us",   "standby_us",    "alone_ratio", "standby_ratio",
                                   "alone_cpu", "active_cpu", "mirroring_cpu", "cpu_ratio"};

void measureMirrored(mirrored_row_t &row, subject_t (&subjects)[3], int messages, int round)
{
    for (int i = 0; i < 3; ++i)
        measureSubject(subjects[(i + round) % 3], row.ports, row.batch, messages);
    const auto &[floor, alone, standby] = subjects;
    const double values[] = {
        floor.us,       alone.us,         standby.us,         alone.us / floor.us,          standby.us / alone.us,
        alone.agent_us, standby.agent_us, standby.standby_us, standby.all_us / alone.all_us};
    for (size_t i = 0; i < std::size(values); ++i)
        row.columns[i].push_back(values[i]);
}

void printMirrored(const std::vector<mirrored_row_t> &rows, const Options &options)
{
    if (!options.json) {
        printf("values that differ: %d rounds of %d messages, medians, all on core %d; times and cpu in us a message\n"
               "%5s  %5s",
               options.rounds, options.messages, options.core, "ports", "batch");
        for (const char *column : COLUMNS)
            printf("  %13s", column);
        printf("\n");
    } else {
        printf("{\"workload\":\"standby\",\"rounds\":%d,\"messages\":%d,\"core\":%d,\"rows\":[", options.rounds,
               options.messages, options.core);
    }
    const char *comma = "";
    for (const mirrored_row_t &row : rows) {
        printf(options.json ? "%s{\"ports\":%d,\"batch\":%d" : "%s%5d  %5d", comma, row.ports, row.batch);
        for (size_t i = 0; i < std::size(COLUMNS); ++i)
            if (options.json)
                printf(",\"%s\":%.3f", COLUMNS[i], median(row.columns[i]));
            else
                printf("  %13.2f", median(row.columns[i]));
        printf(options.json ? "}" : "\n");
        comma = options.json ? "," : "";
    }
    if (options.json)
        printf("]}\n");
}

void runMirrored(const Options &options)
{
    subject_t subjects[3];
    auto &[floor, alone, mirrored] = subjects;
    startFloor(floor.node, workloadOf("trust"));
    for (subject_t *subject : {&alone, &mirrored}) {
        startDaemon(subject->node, options.daemon);
        addPorts(subject->node, PORT_COUNTS[std::size(PORT_COUNTS) - 1]);
    }
    mirrored.standby = startStandby(mirrored.node, options.daemon);
    std::vector<mirrored_row_t> rows;
    for (const int ports : PORT_COUNTS)
        for (const int batch : BATCHES)
            rows.push_back({ports, batch, {}});
    for (int round = -1; round < options.rounds;
         ++round) // one that does not count: pages and caches are warm behind it
        for (mirrored_row_t &row : rows) {
            measureMirrored(row, subjects, options.messages, round + 1);
            if (round < 0)
                row = {row.ports, row.batch, {}};
        }
    printMirrored(rows, options);
}

// ---- Output, options

void print(const std::vector<row_t> &rows, const Options &options)
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

Options readOptions(int argc, char **argv)
{
    Options options;
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
            options.workload = workloadOf(value).name;
        else if (option == "--daemon" && value)
            options.daemon = value;
        else
            fail("unknown option '" + option +
                 "'\nusage: road [--rounds N] [--messages N] [--core N] [--workload trust|pause|ld] [--daemon FILE] "
                 "[--standby] [--json]");
        ++i;
    }
    return options;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        Options options = readOptions(argc, argv);
        struct sigaction stop = {};
        stop.sa_handler = [](int) {}; // the receive that it interrupts fails, and what was started is cleared away
        for (const int number : {SIGINT, SIGTERM, SIGCHLD})
            sigaction(number, &stop, nullptr);
        pin(&options.core);
        if (options.standby)
            runMirrored(options);
        else
            print(measureAll(options), options);
        return 0;
    } catch (const std::exception &error) {
        fprintf(stderr, "road: %s\n", error.what());
        return 1;
    }
}
