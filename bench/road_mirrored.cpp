// SPDX-License-Identifier: Apache-2.0
// The road with a standby. Each message goes to the next of so many ports, with values that differ from what the store
// holds: other maps, or what the last one set is taken away again.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <iterator>
#include <time.h>
#include <unistd.h>

#include "agent/messages/chip.h"
#include "agent/messages/priority.h"
#include "bench/road.h"
#include "velmar/mi6.h"

namespace {

constexpr int PORTS_OF_SLOT = 128;
constexpr int MOST_PORTS = 1280;
constexpr int CHIPS_OF_SLOT = 8;
constexpr int SLOTS = MOST_PORTS / PORTS_OF_SLOT;
constexpr int CHIP_PORTS_UP = 48; // of a chip that comes up while it is measured
constexpr size_t SLICE = 128;     // messages that are timed as one: a neighbour of the core disturbs some, not all
constexpr int SETTLE_US = 20000;  // until a standby has taken what it was sent, for its processor time

uint32_t slotOf(int port)
{
    return static_cast<uint32_t>(port / PORTS_OF_SLOT);
}

uint32_t chipIndex(uint32_t slot, uint32_t chip)
{
    return 34U << 26 | slot << 22 | chip << 16;
}

// Names one port as the bodies do, whatever they call the fields.
template <typename Name>
void namePort(be32 &ifindex, Name &name, int port, uint32_t chip = 0)
{
    const uint32_t number = static_cast<uint32_t>(port % PORTS_OF_SLOT);
    ifindex = 6U << 26 | slotOf(port) << 22 | number << 15 | chip;
    snprintf(name, sizeof name, "te%u/%u", slotOf(port), number);
}

void appendChip(Bytes &batch, uint32_t slot, uint32_t chip, uint32_t type, int ports)
{
    qosChipUpMsg_t body = {};
    body.chip_id = static_cast<int32_t>(slot * CHIPS_OF_SLOT + chip);
    body.chip_ifindex = chipIndex(slot, chip);
    body.slot_id = static_cast<int32_t>(slot);
    body.local_chip_id = static_cast<int32_t>(chip);
    body.num_ports = ports;
    body.chip_type = type;
    for (int i = 0; i < ports; ++i) {
        char name[20];
        namePort(body.portInfo[i].ifindex, name, static_cast<int>(slot) * PORTS_OF_SLOT + i, chip);
    }
    appendMessage(batch, QOS_CHIPUP_MSG, body);
}

void appendInterface(Bytes &batch, int port, uint32_t chip = 0)
{
    qosIfAddMsg_t body = {};
    namePort(body.ifIndex, body.ifName, port, chip);
    body.chip_id = static_cast<int32_t>(slotOf(port) * CHIPS_OF_SLOT + chip);
    appendMessage(batch, QOS_IFADD_MSG, body);
}

// ---- The messages. `turn` counts the port's messages from 0 on.

// The maps come again after a number of laps that no batch is a multiple of, so that a batch leaves none of its ports
// as it was.
void trust(Bytes &batch, int port, uint32_t turn)
{
    constexpr uint32_t TURNS = 7;
    qosL2PriMsg_t body = {};
    namePort(body.ifIndex, body.ifName, port);
    body.chip_ifindex = chipIndex(slotOf(port), 0);
    body.cos_trust = 1;
    for (uint32_t k = 0; k < 8; ++k)
        body.cos_map[k] = body.tc_map[k] = static_cast<uint8_t>((k + turn % TURNS) % 8);
    appendMessage(batch, QOS_COSTRUST_MSG, body);
}

void policer(Bytes &batch, int port, uint32_t turn)
{
    if (turn % 2 == 0) {
        qosPolPolicerAddMsg_t body = {};
        namePort(body.ifindex, body.ifName, port);
        body.chip_ifindex = chipIndex(slotOf(port), 0);
        body.policer_id = static_cast<uint32_t>(port % PORTS_OF_SLOT + 1);
        body.policer_req_type = 1;
        body.policer_param.cir = 1000000U;
        appendMessage(batch, QOS_POL_POLICER_ADD_MSG, body);
        return;
    }
    qosPolPolicerDelMsg_t body = {};
    namePort(body.ifindex, body.ifName, port);
    body.chip_ifindex = chipIndex(slotOf(port), 0);
    body.policer_id = static_cast<uint32_t>(port % PORTS_OF_SLOT + 1);
    appendMessage(batch, QOS_POL_POLICER_REM_MSG, body);
}

void red(Bytes &batch, int port, uint32_t turn)
{
    qosCcbMsg_t body = {};
    namePort(body.ifindex, body.ifName, port);
    body.chip_ifindex = chipIndex(slotOf(port), 0);
    body.cos = 3;
    body.profileId = 5;
    body.minThreshold = 20;
    body.maxThreshold = 80;
    body.dropProbability = 50;
    body.set = turn % 2 == 0;
    appendMessage(batch, QOS_RED_PROFILE_MSG, body);
}

void watch(Bytes &batch, int port, uint32_t turn)
{
    qaDropMonitorCfgMsg_t body = {};
    namePort(body.ifindex, body.ifName, port);
    body.chip_ifindex = chipIndex(slotOf(port), 0);
    body.cmd = static_cast<uint8_t>(turn % 2 == 0 ? 1 : 2);
    appendMessage(batch, QOS_DROP_MONITOR_CFG_MSG, body);
}

void interface(Bytes &batch, int port, uint32_t turn)
{
    if (turn % 2 != 0) {
        appendInterface(batch, port);
        return;
    }
    qosIfDelMsg_t body = {};
    namePort(body.ifIndex, body.ifName, port);
    appendMessage(batch, QOS_IFDEL_MSG, body);
}

// An interface on no chip, of which the driver is told nothing: what is left is the agent's own work.
void channel(Bytes &batch, int port, uint32_t turn)
{
    const uint32_t ifindex = 14U << 26 | static_cast<uint32_t>(port);
    qosIfAddMsg_t added = {};
    qosIfDelMsg_t deleted = {};
    added.ifIndex = deleted.ifIndex = ifindex;
    snprintf(added.ifName, sizeof added.ifName, "po%d", port);
    if (turn % 2 == 0)
        appendMessage(batch, QOS_IFADD_MSG, added);
    else
        appendMessage(batch, QOS_IFDEL_MSG, deleted);
}

// A chip that was not there with all its ports: each of them can be had once.
void chipUp(Bytes &batch, int number, uint32_t)
{
    const uint32_t slot = static_cast<uint32_t>(number % SLOTS);
    const uint32_t chip = static_cast<uint32_t>(number / SLOTS) + 1;
    if (chip >= CHIPS_OF_SLOT)
        fail("there are no chips left to come up; take fewer rounds");
    appendChip(batch, slot, chip, 1, CHIP_PORTS_UP);
    for (int port = 0; port < CHIP_PORTS_UP; ++port)
        appendInterface(batch, static_cast<int>(slot) * PORTS_OF_SLOT + port, chip);
}

struct workload_t {
    const char *name;
    void (*append)(Bytes &batch, int port, uint32_t turn);
    uint32_t chip_type;
    int messages; // that it appends
    bool undoes;  // what the turns of even number do
    std::vector<int> ports;
    std::vector<int> batches;
    int most; // messages of a round, 0 for what was asked for
};

const workload_t WORKLOADS[] = {
    {"trust", trust, 1, 1, false, {1, 48, 160, 1280}, {1, 8, 32}, 0},
    {"policer", policer, 1, 1, true, {1, 48, 160, 1280}, {1, 8, 32}, 0},
    {"red", red, 2, 1, true, {1, 48, 160, 1280}, {1, 8, 32}, 0},
    {"watch", watch, 1, 1, true, {1, 48, 160, 1280}, {1, 8, 32}, 0},
    {"interface", interface, 1, 1, true, {1, 48, 160, 1280}, {1, 8, 32}, 0},
    {"channel", channel, 1, 1, true, {1, 48, 160, 1280}, {1, 8, 32}, 0},
    {"chipup", chipUp, 1, CHIP_PORTS_UP + 1, false, {SLOTS * (CHIPS_OF_SLOT - 1)}, {1}, 4},
};

const workload_t *workloadOf(const std::string &name)
{
    const auto *const end = std::end(WORKLOADS);
    const auto *const found = std::find_if(WORKLOADS, end, [&name](const workload_t &row) { return name == row.name; });
    return found == end ? nullptr : found;
}

// Adds a chip in each slot and all ports, some of them at a time.
void addPorts(const node_t &node, uint32_t chip_type)
{
    Bytes answer = roadAnswerRoom();
    for (int port = 0; port < MOST_PORTS;) {
        Bytes batch = batchHead();
        if (port % PORTS_OF_SLOT == 0)
            appendChip(batch, slotOf(port), 0, chip_type, PORTS_OF_SLOT);
        for (const int end = port + PORTS_OF_SLOT / 2; port < end; ++port)
            appendInterface(batch, port);
        roadExchange(node, batch, answer);
        checkEcho(answer, batch.size());
    }
}

// What a node is sent, to one port after the other. What the messages do and undo by turns is undone for half of the
// ports while it is done for the others, so that each batch has as much of both.
class Traffic {
public:
    Bytes next(const workload_t &workload, int ports, int count)
    {
        Bytes batch = batchHead();
        for (int i = 0; i < count; ++i)
            append(batch, workload, ports, workload.undoes && done_.size() > static_cast<size_t>(ports / 2));
        return batch;
    }

    // Sends what leads to the place from where `next` goes on with so many ports.
    template <typename Send>
    void lead(const workload_t &workload, int ports, Send &&send)
    {
        const auto one = [&](bool undo) {
            Bytes batch = batchHead();
            append(batch, workload, ports, undo);
            send(batch);
        };
        while (!done_.empty())
            one(true);
        while (workload.undoes && done_.size() < static_cast<size_t>(ports / 2))
            one(false);
    }

private:
    void append(Bytes &batch, const workload_t &workload, int ports, bool undo)
    {
        const int port = undo ? done_.front() : next_++ % ports;
        next_ %= ports;
        if (undo)
            done_.pop_front();
        else if (workload.undoes)
            done_.push_back(port);
        workload.append(batch, port, turns_[port]++);
    }

    int next_ = 0;
    std::deque<int> done_; // ports, the one that is undone next first
    uint32_t turns_[MOST_PORTS] = {};
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
    bool is_daemon = true;
    pid_t standby = 0;
    double us, agent_us, standby_us, all_us;
};

void measureSubject(subject_t &subject, const workload_t &workload, int ports, int count, int messages)
{
    Bytes answer = roadAnswerRoom();
    const int batches = std::max(1, messages / count);
    subject.traffic.lead(workload, ports, [&](const Bytes &batch) { roadExchange(subject.node, batch, answer); });
    std::vector<Bytes> sent(static_cast<size_t>(batches));
    for (Bytes &batch : sent)
        batch = subject.traffic.next(workload, ports, count);
    usleep(SETTLE_US);
    const double agent = cpuUs(subject.node.agent);
    const double others = cpuUs(getpid()) + cpuUs(subject.node.children[0]);
    const double standby = subject.standby ? cpuUs(subject.standby) : 0;
    std::vector<double> times;
    const double in_batch = static_cast<double>(count) * workload.messages;
    const size_t slice = std::max<size_t>(1, SLICE / static_cast<size_t>(in_batch));
    for (size_t i = 0; i < sent.size();) {
        const size_t first = i;
        const int64_t start = nowNs();
        for (const size_t end = std::min(first + slice, sent.size()); i < end; ++i)
            roadExchange(subject.node, sent[i], answer);
        times.push_back(static_cast<double>(nowNs() - start) / 1000 / (static_cast<double>(i - first) * in_batch));
    }
    subject.us = median(times);
    const double all = batches * in_batch;
    usleep(SETTLE_US);
    subject.agent_us = (cpuUs(subject.node.agent) - agent) / all;
    subject.standby_us = subject.standby ? (cpuUs(subject.standby) - standby) / all : 0;
    subject.all_us = (cpuUs(getpid()) + cpuUs(subject.node.children[0]) - others) / all + subject.agent_us;
    subject.all_us += subject.standby_us;
    if (subject.is_daemon)
        checkEcho(answer, sent.back().size());
}

struct mirrored_row_t {
    int ports;
    int batch;
    std::vector<double> columns[9];
};

// Headings and members of JSON of the columns, in order.
constexpr const char *COLUMNS[] = {"floor_us",  "alone_us",   "standby_us",    "alone_ratio", "standby_ratio",
                                   "alone_cpu", "active_cpu", "mirroring_cpu", "cpu_ratio"};

// Nobody's figures count unless all three drivers were asked the same.
void checkRequests(const subject_t (&subjects)[3], const road_asked_t (&before)[3])
{
    road_asked_t asked[3];
    for (size_t i = 0; i < std::size(asked); ++i) {
        asked[i] = *roadAsked(subjects[i].node);
        asked[i].requests -= before[i].requests;
        asked[i].bytes -= before[i].bytes;
        if (asked[i].requests != asked[0].requests || asked[i].bytes != asked[0].bytes)
            fail("the drivers were not asked the same: " + std::to_string(asked[0].requests) +
                 " requests of the floor, " + std::to_string(asked[i].requests) + " of a daemon");
    }
}

void measureMirrored(mirrored_row_t &row, const workload_t &workload, subject_t (&subjects)[3], int messages, int round)
{
    road_asked_t before[3];
    for (size_t i = 0; i < std::size(before); ++i)
        before[i] = *roadAsked(subjects[i].node);
    for (int i = 0; i < 3; ++i)
        measureSubject(subjects[(i + round) % 3], workload, row.ports, row.batch, messages);
    checkRequests(subjects, before);
    const auto &[floor, alone, standby] = subjects;
    const double values[] = {
        floor.us,       alone.us,         standby.us,         alone.us / floor.us,          standby.us / alone.us,
        alone.agent_us, standby.agent_us, standby.standby_us, standby.all_us / alone.all_us};
    for (size_t i = 0; i < std::size(values); ++i)
        row.columns[i].push_back(values[i]);
}

// Learns what requests a message takes from the daemon, message by message, for the floor to send the same.
void learnPlans(subject_t &subject, const workload_t &workload)
{
    Bytes answer = roadAnswerRoom();
    for (int turn = 0; turn < 2; ++turn) {
        const Bytes all = subject.traffic.next(workload, workload.ports.front(), 1);
        for (size_t at = sizeof(mi6_addr_t); at < all.size();) {
            const auto *const header = reinterpret_cast<const qosMsgHdr_t *>(all.data() + at);
            const size_t size = sizeof *header + header->msg_len;
            Bytes one = batchHead();
            one.insert(one.end(), all.data() + at, all.data() + at + size);
            const uint32_t before = roadAsked(subject.node)->requests;
            roadExchange(subject.node, one, answer);
            checkEcho(answer, one.size());
            roadLearn(header->msg_type, subject.node, before);
            at += size;
        }
        if (workload.most)
            return;
    }
}

void printMirrored(const std::vector<mirrored_row_t> &rows, const road_options_t &options)
{
    if (!options.json) {
        printf(
            "%s, values that differ: %d rounds of %d messages, medians, all on core %d; times and cpu in us a message\n"
            "%5s  %5s",
            options.workload.c_str(), options.rounds, options.messages, options.core, "ports", "batch");
        for (const char *column : COLUMNS)
            printf("  %13s", column);
        printf("\n");
    } else {
        printf("{\"workload\":\"%s\",\"standby\":true,\"rounds\":%d,\"messages\":%d,\"core\":%d,\"rows\":[",
               options.workload.c_str(), options.rounds, options.messages, options.core);
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

} // namespace

bool roadHasMirrored(const std::string &workload)
{
    return workloadOf(workload);
}

void roadMirrored(const road_options_t &options)
{
    const workload_t &workload = *workloadOf(options.workload);
    subject_t subjects[3];
    auto &[floor, alone, mirrored] = subjects;
    floor.is_daemon = false;
    roadStartFloor(floor.node);
    for (subject_t *subject : {&alone, &mirrored}) {
        roadStartDaemon(subject->node, options.daemon);
        addPorts(subject->node, workload.chip_type);
    }
    for (subject_t &subject : subjects)
        if (subject.is_daemon)
            learnPlans(subject, workload);
        else
            for (int turn = workload.most ? 1 : 0; turn < 2; ++turn)
                (void)subject.traffic.next(workload, workload.ports.front(), 1);
    mirrored.standby = roadStartStandby(mirrored.node, options.daemon);
    std::vector<mirrored_row_t> rows;
    for (const int ports : workload.ports)
        for (const int batch : workload.batches)
            rows.push_back({ports, batch, {}});
    const int messages = workload.most ? workload.most : options.messages;
    for (int round = -1; round < options.rounds;
         ++round) // one that does not count: pages and caches are warm behind it
        for (mirrored_row_t &row : rows) {
            measureMirrored(row, workload, subjects, messages, round + 1);
            if (round < 0)
                row = {row.ports, row.batch, {}};
        }
    printMirrored(rows, options);
}
