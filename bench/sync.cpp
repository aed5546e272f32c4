// SPDX-License-Identifier: Apache-2.0
// What replication costs the active process: microseconds of each ha_sync after one change, and what a dump holds it
// up.
//
// For every row a process of its own brings up the agent's rooms over the host platform, as the daemon does, and adds
// interfaces through the agent's handlers. No driver is there; their requests fail at once and nothing else changes.
// Standbys are forked ahead of that and started one after the other: each is a second agent that joins, takes the dump
// and then every delta. Its tables are compared with the active one's at the end.
//
// touch is the change itself, with its page faults; sync is the ha_sync behind it, the clock's own cost included, as
// `clock` shows it. Both are means over the calls of a round without the highest twentieth, since a sync that closes
// pages pays for several others. Without a standby a row of calls is timed as one.
// Floors of the same round: compare, a memcmp of every interface's blocks with a copy; send, a bare send of as many
// bytes on a connected SEQPACKET socket with a reader behind it. Everything runs on one core as SCHED_BATCH; every
// DRAIN calls the standby and the reader get the core until they have read all.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

#include "agent/core_handlers.h"
#include "bench/common.h"
#include "core/msgq.h"
#include "core/state.h"
#include "core/trace.h"
#include "dorvald/startup.h"
#include "inventory/interfaces.h"
#include "inventory/slots.h"
#include "lib/avl.h"
#include "lib/lib_instance.h"
#include "lib/linklist.h"
#include "lib/thread.h"
#include "velmar/process.h"

namespace {

constexpr int COUNTS[] = {160, 1024, 4096}; // interfaces
constexpr int DRAIN = 16;                   // calls between two waits for the readers
constexpr int JOINS = 5;                    // standbys, one after the other
constexpr int MIN_ROUNDS = 7;
constexpr int PORTS_OF_SLOT = 128;
constexpr size_t PACKET_HEAD = 24; // bytes ahead of each delta
constexpr uint32_t SUM_ASKED = 1U << 31;

struct Options {
    int rounds = 11;
    int syncs = 256; // a round of one row
    int core = -1;
};

// ---- The changes that are measured

struct change_t {
    const char *name;
    int records;
    void (*make)(qosIf_t *interface);
    void (*undo)(qosIf_t *interface); // not measured; may be null
    bool same;                        // always the same record
};

void changeField(qosIf_t *interface) // as handlers do, who tell the store ahead
{
    ++qosEdit(interface->ccb.tailDropThreshold);
}

void changeUntold(qosIf_t *interface)
{
    ++interface->ccb.tailDropThreshold;
}

void insertNode(qosIf_t *interface)
{
    listnode_add(interface->profileList, interface);
}

void deleteNode(qosIf_t *interface)
{
    (void)listnode_delete(interface->profileList, interface);
}

constexpr change_t CHANGES[] = {
    {"nothing", 0, changeField, nullptr, false}, // as three of the four syncs of a message
    {"same one", 1, changeField, nullptr, true},    {"1 field", 1, changeField, nullptr, false},
    {"8 fields", 8, changeField, nullptr, false},   {"untold", 1, changeUntold, nullptr, false},
    {"list add", 1, insertNode, deleteNode, false},
};

struct figures_t {
    double touch, sync, compare, send; // microseconds
    double bytes;                      // of a delta, without the packet's head
};

struct dump_t {
    double bytes;
    double active, standby; // microseconds of the longest event on each side's main thread
};

struct case_t {
    figures_t rows[std::size(CHANGES)];
    dump_t dump;
    double clock;
};

// What a standby says each time that the active one's mark has reached it.
struct mark_t {
    uint32_t mark; // qos_global_slot_rdy_cnt, which is replicated
    uint32_t interfaces;
    uint64_t sum; // of their contents, if it was asked for
    double longest;
};

// ---- The agent in this process

void startAgent(const node_t &node)
{
    setenv("VELMAR_RUN", node.run.c_str(), 1);
    setenv("VELMAR_VSS", "auto", 1);
    unsetenv("VELMAR_TRACE");
    qos_velmar_state.progname = "sync";
    qos_velmar_state.is_agent = 1;
    velmar_sigdefaults("sync");
    if (qos_trace_init(284, 200, LIB_PROTO_DORVALD) != 0 || qaInit() != 0)
        fail("the agent does not start");
    dce_trace_lvl_set(4);
    thread_asp_start(qos_velmar_state.lib, qosMsgQServer, qos_velmar_state.msgq);
}

// One event of the main loop: the microseconds that it took.
double runEvent()
{
    thread event;
    if (!thread_fetch(qos_velmar_state.lib, &event))
        fail("the main loop has ended");
    const int64_t start = nowNs();
    thread_call(&event);
    return static_cast<double>(nowNs() - start) / 1000;
}

uint64_t sumOfTables()
{
    uint64_t sum = 0;
    for (tnx_avl_node_t *node = avl_getfirst(qosIfTable); node; node = avl_getnext(qosIfTable, node)) {
        const auto *interface = static_cast<const qosIf_t *>(node->info);
        const uint64_t chip = interface->chip ? static_cast<uint64_t>(interface->chip->chip_id) : 99;
        for (const uint64_t part : {uint64_t{interface->ifIndex}, uint64_t{interface->ccb.tailDropThreshold},
                                    uint64_t{interface->profileList->count}, chip})
            sum = sum * 0x100000001b3 + part;
    }
    return sum;
}

[[noreturn]] void runStandby(const node_t &node, int go, int marks)
{
    char byte;
    if (read(go, &byte, 1) != 1)
        _exit(0);
    startAgent(node);
    mark_t mark = {};
    for (;;) {
        mark.longest = std::max(mark.longest, runEvent());
        if (qos_global_slot_rdy_cnt == mark.mark)
            continue;
        mark.mark = qos_global_slot_rdy_cnt;
        mark.interfaces = qosIfTable ? static_cast<uint32_t>(avl_get_tree_size(qosIfTable)) : 0;
        mark.sum = mark.mark & SUM_ASKED ? sumOfTables() : 0;
        (void)!write(marks, &mark, sizeof mark);
        mark.longest = 0;
    }
}

template <typename Body>
void handle(qosMsgStatus_t (*handler)(Body *), Body body)
{
    if (handler(&body) != 0)
        fail("an interface or chip cannot be added");
}

// A chip in each slot with ports of two types, and the rest of a type that has no chip.
std::vector<qosIf_t *> addInterfaces(int count)
{
    std::vector<qosIf_t *> added;
    for (uint32_t slot = 0; slot < QOS_NUM_SLOTS; ++slot) {
        qosChipUpMsg_t chip = {};
        chip.chip_ifindex = 34U << 26 | slot << 22;
        chip.slot_id = slot;
        chip.num_ports = PORTS_OF_SLOT;
        chip.chip_type = QOS_CHIP_TESSEL;
        handle(qaProcessChipUp, chip);
    }
    for (uint32_t i = 0; i < static_cast<uint32_t>(count); ++i) {
        constexpr uint32_t ON_CHIPS = QOS_NUM_SLOTS * PORTS_OF_SLOT;
        const uint32_t slot = i / PORTS_OF_SLOT % QOS_NUM_SLOTS;
        const uint32_t place = slot << 22 | i % PORTS_OF_SLOT << 15;
        qosIfAddMsg_t port = {};
        port.ifIndex = i < ON_CHIPS ? 6U << 26 | place : i < 2 * ON_CHIPS ? 26U << 26 | place : 14U << 26 | i;
        snprintf(port.ifName, sizeof port.ifName, "port %u", i);
        handle(qaProcessIfAdd, port);
        added.push_back(qosLookupIfEntry(port.ifIndex));
    }
    return added;
}

// ---- Standbys and the reader

struct pipe_t {
    int ends[2];
    pipe_t() { check(pipe(ends), "pipe"); }
};

bool arrived;

int markIsThere(thread *)
{
    arrived = true;
    return 0;
}

// Runs the main loop until the standby has sent its mark; the longest event goes to *longest.
mark_t awaitMark(int marks, double *longest)
{
    arrived = false;
    *longest = 0;
    thread_add_read(qos_velmar_state.lib, markIsThere, nullptr, marks);
    while (!arrived)
        *longest = std::max(*longest, runEvent());
    mark_t mark;
    if (read(marks, &mark, sizeof mark) != sizeof mark || mark.mark != qos_global_slot_rdy_cnt)
        fail("the standby does not have what the active process has");
    return mark;
}

mark_t drainStandby(int marks, uint32_t flags = 0)
{
    double longest;
    qos_global_slot_rdy_cnt = (qos_global_slot_rdy_cnt + 1) | flags;
    if (qosHaSync() <= 0)
        fail("nothing was sent to the standby");
    return awaitMark(marks, &longest);
}

double dumpBytes(const node_t &node)
{
    std::ifstream log(node.run + "/trace/raslog");
    double bytes = 0;
    for (std::string line; std::getline(log, line);)
        if (const size_t at = line.find("was given a dump of "); at != std::string::npos)
            bytes = strtod(line.c_str() + at + strlen("was given a dump of "), nullptr);
    return bytes;
}

// Ends the standbys one after the other and lets the next one join; the last stays.
dump_t measureDumps(node_t &node, const std::vector<pid_t> &standbys, const std::vector<pipe_t> &gates, int marks)
{
    std::vector<double> active, standby;
    for (size_t i = 0; i < standbys.size(); ++i) {
        if (i > 0)
            endChild(node, standbys[i - 1]);
        ++qos_global_slot_rdy_cnt;
        double longest;
        (void)!write(gates[i].ends[1], "", 1);
        const mark_t mark = awaitMark(marks, &longest);
        active.push_back(longest);
        standby.push_back(mark.longest);
    }
    return {dumpBytes(node), median(active), median(standby)};
}

// Reads all there is; answers a single byte with one.
[[noreturn]] void runReader(int fd)
{
    static unsigned char buffer[65536];
    for (ssize_t got; (got = recv(fd, buffer, sizeof buffer, 0)) > 0;)
        if (got == 1)
            (void)!send(fd, buffer, 1, MSG_NOSIGNAL);
    _exit(0);
}

// ---- Measuring

struct bench_t {
    std::vector<qosIf_t *> interfaces;
    std::vector<unsigned char> copy; // of their blocks
    int sender;                      // to the reader
    int marks;                       // from the standby, -1 without one
    std::mt19937 random{1};
};

double since(int64_t start)
{
    return static_cast<double>(nowNs() - start) / 1000;
}

struct block_t {
    const void *address;
    size_t size;
};

// Each interface's record and its list, and the node of the tree.
std::vector<block_t> blocksOf(const tnx_avl_node_t *node)
{
    const auto *interface = static_cast<const qosIf_t *>(node->info);
    return {{interface, sizeof *interface}, {interface->profileList, sizeof(tnx_list_t)}, {node, sizeof *node}};
}

double compareAll(bench_t &bench)
{
    static std::vector<block_t> blocks;
    if (blocks.empty())
        for (tnx_avl_node_t *node = avl_getfirst(qosIfTable); node; node = avl_getnext(qosIfTable, node))
            for (const block_t &block : blocksOf(node))
                blocks.push_back(block);
    bench.copy.clear();
    for (const block_t &block : blocks)
        bench.copy.insert(bench.copy.end(), static_cast<const unsigned char *>(block.address),
                          static_cast<const unsigned char *>(block.address) + block.size);
    volatile int different = 0;
    const int64_t start = nowNs();
    const unsigned char *at = bench.copy.data();
    for (const block_t &block : blocks) {
        different = different + (memcmp(block.address, at, block.size) != 0);
        at += block.size;
    }
    return since(start);
}

double bareSend(const bench_t &bench, size_t bytes, int count)
{
    std::vector<unsigned char> buffer(std::max(bytes, size_t{2}));
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        const int64_t start = nowNs();
        check(static_cast<int>(send(bench.sender, buffer.data(), buffer.size(), MSG_DONTWAIT | MSG_NOSIGNAL)), "send");
        times.push_back(since(start));
        char byte = 0;
        if (i % DRAIN == DRAIN - 1 && (send(bench.sender, &byte, 1, 0) != 1 || recv(bench.sender, &byte, 1, 0) != 1))
            fail("the reader has gone");
    }
    return median(times);
}

qosIf_t *pick(bench_t &bench)
{
    return bench.interfaces[bench.random() % bench.interfaces.size()];
}

figures_t measureStandby(bench_t &bench, const change_t &change, int count)
{
    std::vector<double> touch, sync, bytes;
    for (int i = 0; i < count; ++i) {
        qosIf_t *chosen[8];
        for (int n = 0; n < change.records; ++n)
            chosen[n] = change.same ? bench.interfaces.front() : pick(bench);
        const int64_t start = nowNs();
        for (int n = 0; n < change.records; ++n)
            change.make(chosen[n]);
        const int64_t changed = nowNs();
        const int sent = qosHaSync();
        sync.push_back(since(changed));
        touch.push_back(static_cast<double>(changed - start) / 1000);
        bytes.push_back(sent);
        if ((sent > 0) != (change.records > 0))
            fail("a sync sent " + std::to_string(sent) + " bytes");
        if (change.undo) {
            change.undo(chosen[0]);
            qosHaSync();
        }
        if (i % DRAIN == DRAIN - 1)
            drainStandby(bench.marks);
    }
    figures_t figures = {usualMean(touch), usualMean(sync), compareAll(bench), 0, median(bytes)};
    figures.send = bareSend(bench, static_cast<size_t>(figures.bytes) + PACKET_HEAD, count);
    return figures;
}

figures_t measureAlone(bench_t &bench, const change_t &change, int count)
{
    std::vector<qosIf_t *> chosen;
    for (int i = 0; i < count * change.records; ++i)
        chosen.push_back(change.same ? bench.interfaces.front() : pick(bench));
    for (qosIf_t *interface : chosen)
        change.make(interface);
    const int64_t start = nowNs();
    for (int i = 0; i < count; ++i)
        qosHaSync();
    const double sync = since(start) / count;
    if (change.undo)
        for (qosIf_t *interface : chosen)
            change.undo(interface);
    return {0, sync, compareAll(bench), 0, 0};
}

figures_t medianOf(const std::vector<figures_t> &rounds)
{
    const auto over = [&](double figures_t::*member) {
        std::vector<double> values;
        for (const figures_t &round : rounds)
            values.push_back(round.*member);
        return median(values);
    };
    return {over(&figures_t::touch), over(&figures_t::sync), over(&figures_t::compare), over(&figures_t::send),
            over(&figures_t::bytes)};
}

double clockCost()
{
    const int64_t start = nowNs();
    for (int i = 0; i < 1000; ++i)
        (void)nowNs();
    return since(start) / 1000;
}

case_t measureRows(bench_t &bench, const Options &options)
{
    std::vector<figures_t> rounds[std::size(CHANGES)];
    for (int round = 0; round < options.rounds; ++round)
        for (size_t i = 0; i < std::size(CHANGES); ++i)
            rounds[i].push_back((bench.marks < 0 ? measureAlone : measureStandby)(bench, CHANGES[i], options.syncs));
    case_t result = {};
    for (size_t i = 0; i < std::size(CHANGES); ++i)
        result.rows[i] = medianOf(rounds[i]);
    result.clock = clockCost();
    return result;
}

case_t measureCase(int interfaces, bool with_standby, const Options &options)
{
    node_t node;
    makeRun(node);
    const std::vector<pipe_t> gates(JOINS);
    const pipe_t marks;
    std::vector<pid_t> standbys;
    for (int i = 0; with_standby && i < JOINS; ++i) {
        standbys.push_back(forkChild(node));
        if (standbys.back() == 0)
            runStandby(node, gates[static_cast<size_t>(i)].ends[0], marks.ends[1]);
    }
    int pair[2];
    check(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair), "socketpair");
    if (forkChild(node) == 0)
        runReader(pair[1]);
    startAgent(node);
    while (qos_velmar_state.stage != QOS_STAGE_DONE)
        runEvent();
    bench_t bench = {addInterfaces(interfaces), {}, pair[0], with_standby ? marks.ends[0] : -1};
    if (!with_standby)
        return measureRows(bench, options);
    const dump_t dump = measureDumps(node, standbys, gates, bench.marks);
    case_t result = measureRows(bench, options);
    result.dump = dump;
    const mark_t last = drainStandby(bench.marks, SUM_ASKED);
    if (last.interfaces != static_cast<uint32_t>(interfaces) || last.sum != sumOfTables())
        fail("the standby's tables are not the active one's");
    return result;
}

// In a process of its own: the agent's rooms come up once a process.
case_t measureApart(int interfaces, bool with_standby, const Options &options)
{
    node_t parent;
    const pipe_t result;
    if (forkChild(parent) == 0) {
        try {
            const case_t figures = measureCase(interfaces, with_standby, options);
            (void)!write(result.ends[1], &figures, sizeof figures);
            _exit(0);
        } catch (const std::exception &error) {
            fprintf(stderr, "sync: %s\n", error.what());
            _exit(1);
        }
    }
    close(result.ends[1]);
    case_t figures;
    if (read(result.ends[0], &figures, sizeof figures) != sizeof figures)
        fail(std::to_string(interfaces) + " interfaces could not be measured");
    return figures;
}

// ---- Output, options

void printRow(int interfaces, const char *change, const figures_t &row, bool with_standby)
{
    if (!with_standby) {
        printf("%10d  %-9s  %7s  %8s  %7.3f  %6s  %10.1f\n", interfaces, change, "no", "", row.sync, "", row.compare);
        return;
    }
    printf("%10d  %-9s  %7s  %8.2f  %7.2f  %6.0f  %10.1f  %7.2f  %5.2f\n", interfaces, change, "yes", row.touch,
           row.sync, row.bytes, row.compare, row.send, row.sync / row.send);
}

void measureAll(const Options &options)
{
    printf("%d rounds of %d changes, medians, all on core %d\n", options.rounds, options.syncs, options.core);
    printf("%10s  %-9s  %7s  %8s  %7s  %6s  %10s  %7s  %5s\n", "interfaces", "change", "standby", "touch us", "sync us",
           "bytes", "compare us", "send us", "ratio");
    std::vector<case_t> mirrored;
    for (const bool with_standby : {false, true})
        for (const int count : COUNTS) {
            const case_t result = measureApart(count, with_standby, options);
            for (size_t i = 0; i < std::size(CHANGES); ++i)
                printRow(count, CHANGES[i].name, result.rows[i], with_standby);
            fflush(stdout);
            if (with_standby)
                mirrored.push_back(result);
        }
    printf("\nfrom %d to %d interfaces, sync:", COUNTS[0], COUNTS[std::size(COUNTS) - 1]);
    for (size_t i = 0; i < std::size(CHANGES); ++i)
        printf("  %s x%.2f", CHANGES[i].name, mirrored.back().rows[i].sync / mirrored.front().rows[i].sync);
    printf("; clock %.3f us\n\n%10s  %10s  %14s  %15s\n", mirrored.back().clock, "interfaces", "dump bytes",
           "active held us", "standby held us");
    for (size_t i = 0; i < std::size(COUNTS); ++i)
        printf("%10d  %10.0f  %14.0f  %15.0f\n", COUNTS[i], mirrored[i].dump.bytes, mirrored[i].dump.active,
               mirrored[i].dump.standby);
}

Options readOptions(int argc, char **argv)
{
    Options options;
    for (int i = 1; i < argc; i += 2) {
        const std::string option = argv[i];
        const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (option == "--rounds")
            options.rounds = numberOf("--rounds", value, MIN_ROUNDS);
        else if (option == "--syncs")
            options.syncs = numberOf("--syncs", value, DRAIN);
        else if (option == "--core")
            options.core = numberOf("--core", value, 0);
        else
            fail("unknown option '" + option + "'\nusage: sync [--rounds N] [--syncs N] [--core N]");
    }
    return options;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        Options options = readOptions(argc, argv);
        pin(&options.core);
        measureAll(options);
        return 0;
    } catch (const std::exception &error) {
        fprintf(stderr, "sync: %s\n", error.what());
        return 1;
    }
}
