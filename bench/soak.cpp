// SPDX-License-Identifier: Apache-2.0
// What is left behind after much of the same: messages that change ports, policers that come and go, standbys that join
// and are killed. Memory, descriptors and records of the active process are read after every tenth of each; at the end
// they must stand where they stood after the first. Ends with 1 where they do not.
//
// The daemon and the driver emulator are the real ones, in a run directory of their own; this process is the manager.
// Every message changes something: interfaces come, are configured with values that differ, and go. A standby mirrors
// all of it, but in the part in which standbys die.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "agent/messages/chip.h"
#include "agent/messages/header.h"
#include "agent/messages/policer.h"
#include "agent/messages/priority.h"
#include "agent/messages/scheduler.h"
#include "bench/common.h"
#include "velmar/mi6.h"

namespace {

constexpr int TENTHS = 10;
constexpr int BATCH = 8;       // messages
constexpr int GROWTH_KB = 512; // of resident memory from the first tenth to the end: an allocator's own unrest
constexpr int64_t SETTLE_NS = 5000000000;
constexpr int64_t PATIENCE_NS = 60000000000;
constexpr uint32_t POLICERS = 64; // numbers in use

struct Options {
    int messages = 1000000;
    int policers = 100000; // changes
    int joins = 10000;
    std::string daemon = DORVALD_BINARY;
    std::string driver = HSLD_BINARY;
};

// What a process holds.
struct held_t {
    long resident_kb, files, blocks, bytes;
};

long numberBehind(const std::string &text, const std::string &key)
{
    const size_t at = text.find(key);
    if (at == std::string::npos)
        fail("no " + key + " in " + text.substr(0, 200));
    return strtol(text.c_str() + at + key.size(), nullptr, 10);
}

std::string contentOf(const std::string &file)
{
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), {}};
}

held_t heldBy(const node_t &node, pid_t pid)
{
    const std::string proc = "/proc/" + std::to_string(pid);
    const std::string stat = control(node, pid, "stat");
    return {numberBehind(contentOf(proc + "/status"), "VmRSS:"),
            std::distance(std::filesystem::directory_iterator(proc + "/fd"), {}), numberBehind(stat, "\"blocks\":"),
            numberBehind(stat, "\"bytes\":")};
}

template <typename Done>
void await(const std::string &what, Done &&done)
{
    for (const int64_t start = nowNs(); !done(); usleep(200))
        if (nowNs() - start > PATIENCE_NS)
            fail("waited in vain for " + what);
}

void awaitStandbys(const node_t &node, int count)
{
    await(std::to_string(count) + " standbys",
          [&] { return numberBehind(control(node, node.agent, "stat"), "\"standbys\":") == count; });
}

pid_t startAgent(node_t &node, const Options &options)
{
    return startProgram(node, {options.daemon, "-S", "ethsw", "-s", "0"});
}

// Every message of the batch is to be carried out.
void exchange(const node_t &node, const Bytes &batch)
{
    static Bytes answer(8192 + sizeof(mi6_addr_t));
    check(static_cast<int>(send(node.sending, batch.data(), batch.size(), 0)), "send");
    while (receiveAnswer(node, answer) != batch.size())
        ; // a registration
    checkEcho(answer, batch.size());
}

void startNode(node_t &node, const Options &options)
{
    makeRun(node);
    openManager(node);
    startProgram(node, {options.driver, "--chip", "1/0:tessel:48"});
    await("the driver emulator", [&] { return std::filesystem::exists(node.run + "/qos/driver"); });
    node.agent = startAgent(node, options);
    Bytes registration(8192 + sizeof(mi6_addr_t));
    receiveAnswer(node, registration);
    node.sending = openSocket("", pidPath(node, "/mi6/qosMI.lc1.", node.agent));
    exchange(node, setupBatch());
}

template <typename Body>
Body ofPort(int port)
{
    Body body = {};
    body.ifIndex = portIndex(port);
    snprintf(body.ifName, sizeof body.ifName, "te1/%d", port);
    return body;
}

// The n-th change: a port of the second dozen comes, is configured, and goes.
void appendChange(Bytes &batch, unsigned n)
{
    const int port = static_cast<int>(BENCH_PORTS + 1 + n / 4 % BENCH_PORTS);
    if (n % 4 == 0) {
        auto body = ofPort<qosIfAddMsg_t>(port);
        body.chip_id = 8;
        appendMessage(batch, QOS_IFADD_MSG, body);
    } else if (n % 4 == 3) {
        appendMessage(batch, QOS_IFDEL_MSG, ofPort<qosIfDelMsg_t>(port));
    } else {
        auto body = ofPort<qosL2PriMsg_t>(port);
        body.chip_ifindex = BENCH_CHIP;
        body.cos_trust = n >> 4 & 1;
        for (unsigned i = 0; i < 8; ++i)
            body.cos_map[i] = body.tc_map[i] = static_cast<uint8_t>(((n >> 2) + i) & 7);
        body.def_cos = static_cast<uint8_t>(n >> 3 & 7);
        appendMessage(batch, n % 4 == 1 ? QOS_COSTRUST_MSG : QOS_DEFCOS_MSG, body);
    }
}

void changePorts(node_t &node, int from, int to)
{
    for (int n = from; n < to;) {
        Bytes batch = batchHead();
        for (int i = 0; i < BATCH && n < to; ++i)
            appendChange(batch, static_cast<unsigned>(n++));
        exchange(node, batch);
    }
}

// Every other change installs a policer, at a rate of its own, the one behind it removes it.
void changePolicers(node_t &node, int from, int to)
{
    for (int n = from; n < to; ++n) {
        const unsigned number = static_cast<unsigned>(n) / 2;
        Bytes batch = batchHead();
        if (n % 2 == 0) {
            qosPolPolicerAddMsg_t body = {};
            body.ifindex = portIndex(static_cast<int>(1 + number % BENCH_PORTS));
            body.chip_ifindex = BENCH_CHIP;
            body.policer_id = 1 + number % POLICERS;
            body.policer_req_type = 1;
            body.policer_param.cir = uint64_t{1000000} * (1 + number % 1000);
            body.policer_param.cbs = 100000;
            body.policer_param.eir = 2 * body.policer_param.cir;
            body.policer_param.ebs = 100000;
            appendMessage(batch, QOS_POL_POLICER_ADD_MSG, body);
        } else {
            qosPolPolicerDelMsg_t body = {};
            body.ifindex = portIndex(static_cast<int>(1 + number % BENCH_PORTS));
            body.chip_ifindex = BENCH_CHIP;
            body.policer_id = 1 + number % POLICERS;
            appendMessage(batch, QOS_POL_POLICER_REM_MSG, body);
        }
        exchange(node, batch);
    }
}

// A standby joins, takes its dump and a change, and is killed.
void joinAndDie(node_t &node, const Options &options, int from, int to)
{
    for (int n = from; n < to; ++n) {
        const pid_t standby = startAgent(node, options);
        awaitStandbys(node, 1);
        changePorts(node, 4 * n, 4 * n + 4);
        endChild(node, standby);
        awaitStandbys(node, 0);
    }
}

struct part_t {
    const char *name;
    int count;
    std::function<void(int from, int to)> work;
};

// False if more is held at the end than after the first tenth.
bool run(const node_t &node, const part_t &part)
{
    held_t first = {}, now = {};
    for (int tenth = 0; tenth < TENTHS; ++tenth) {
        const int64_t start = nowNs();
        const auto upTo = [&](int t) { return static_cast<int>(int64_t{part.count} * t / TENTHS) / 4 * 4; };
        part.work(upTo(tenth), upTo(tenth + 1));
        now = heldBy(node, node.agent);
        if (tenth == 0)
            first = now;
        printf("%-9s %8d %8.1f s %8ld kB %5ld files %6ld blocks %9ld bytes\n", part.name, upTo(tenth + 1),
               static_cast<double>(nowNs() - start) / 1e9, now.resident_kb, now.files, now.blocks, now.bytes);
        fflush(stdout);
    }
    const auto isMore = [&first](const held_t &held) {
        return held.files > first.files || held.blocks > first.blocks || held.bytes > first.bytes ||
               held.resident_kb > first.resident_kb + GROWTH_KB;
    };
    // It may have just opened something, or not yet closed it.
    for (const int64_t start = nowNs(); isMore(now) && nowNs() - start < SETTLE_NS; usleep(1000))
        now = heldBy(node, node.agent);
    if (isMore(now))
        printf("%s: more is held than after the first tenth\n", part.name);
    return !isMore(now);
}

Options readOptions(int argc, char **argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (option == "--short") {
            options.messages = 20000;
            options.policers = 4000;
            options.joins = 40;
            continue;
        }
        if (option == "--messages")
            options.messages = numberOf("--messages", value, 40);
        else if (option == "--policers")
            options.policers = numberOf("--policers", value, 40);
        else if (option == "--joins")
            options.joins = numberOf("--joins", value, 40);
        else if (option == "--daemon" && value)
            options.daemon = value;
        else
            fail("unknown option '" + option +
                 "'\nusage: soak [--short] [--messages N] [--policers N] [--joins N] [--daemon FILE]");
        ++i;
    }
    return options;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        const Options options = readOptions(argc, argv);
        node_t node;
        startNode(node, options);
        const pid_t standby = startAgent(node, options);
        awaitStandbys(node, 1);
        bool same = run(node, {"messages", options.messages, [&](int from, int to) { changePorts(node, from, to); }});
        same &= run(node, {"policers", options.policers, [&](int from, int to) { changePolicers(node, from, to); }});
        endChild(node, standby);
        awaitStandbys(node, 0);
        same &= run(node, {"joins", options.joins, [&](int from, int to) { joinAndDie(node, options, from, to); }});
        printf(same ? "nothing is left behind\n" : "something is left behind\n");
        return same ? 0 : 1;
    } catch (const std::exception &error) {
        fprintf(stderr, "soak: %s\n", error.what());
        return 1;
    }
}
