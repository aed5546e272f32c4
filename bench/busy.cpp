// SPDX-License-Identifier: Apache-2.0
// How long others wait while managers keep the agent busy: a command for the main thread and a question on the
// statistics socket, with SENDERS processes that send full batches as fast as the agent takes them, and without.
//
// The daemon and the driver emulator are the real ones. Milliseconds; the floor is the same question with nobody else
// there. Nothing is pinned: a question comes from outside of the agent's core as a rule.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "agent/messages/header.h"
#include "bench/common.h"
#include "velmar/mi6.h"

namespace {

constexpr int SENDERS = 4;
constexpr size_t BATCH_BYTES = 8000; // what a datagram of the manager's may hold
constexpr int64_t PATIENCE_NS = 60000000000;
constexpr size_t HEAD = sizeof(mi6_addr_t);

struct Options {
    int questions = 300; // of each kind
    std::string daemon = DORVALD_BINARY;
    std::string driver = HSLD_BINARY;
};

Bytes fullBatch()
{
    Bytes batch = batchHead();
    for (const Bytes message = trustMessage(); batch.size() + message.size() <= BATCH_BYTES;)
        batch.insert(batch.end(), message.begin(), message.end());
    return batch;
}

void startNode(node_t &node, const Options &options)
{
    makeRun(node);
    openManager(node);
    startProgram(node, {options.driver, "--chip", "1/0:tessel:48"});
    for (const int64_t start = nowNs(); !std::filesystem::exists(node.run + "/qos/driver"); usleep(200))
        if (nowNs() - start > PATIENCE_NS)
            fail("the driver emulator does not start");
    node.agent = startProgram(node, {options.daemon, "-S", "ethsw", "-s", "0"});
    Bytes answer(8192 + HEAD);
    receiveAnswer(node, answer);
    node.sending = openSocket("", pidPath(node, "/mi6/qosMI.lc1.", node.agent));
    const Bytes setup = setupBatch();
    check(static_cast<int>(send(node.sending, setup.data(), setup.size(), 0)), "send");
    checkEcho(answer, receiveAnswer(node, answer));
}

// Processes that send without an end, and one that reads what comes back.
void startLoad(node_t &node)
{
    if (forkChild(node) == 0)
        for (Bytes answer(65536);;)
            (void)recv(node.receiving, answer.data(), answer.size(), 0);
    for (int i = 0; i < SENDERS; ++i)
        if (forkChild(node) == 0)
            for (const Bytes batch = fullBatch();;)
                (void)send(node.sending, batch.data(), batch.size(), 0);
}

struct statistics_t {
    int receiving, sending;
};

void askStatistics(const statistics_t &sockets)
{
    Bytes batch = batchHead();
    memcpy(batch.data() + offsetof(mi6_addr_t, service), "qosMIStats", 10);
    qosQueueStatsMsg_t body = {};
    body.ifindex = portIndex(3);
    appendMessage(batch, QOS_GET_QUEUE_STATS_MSG, body);
    static Bytes answer(8192 + HEAD);
    check(static_cast<int>(send(sockets.sending, batch.data(), batch.size(), 0)), "send");
    const ssize_t got = recv(sockets.receiving, answer.data(), answer.size(), 0);
    if (got != static_cast<ssize_t>(batch.size()))
        fail("no answer on the statistics socket");
}

std::vector<double> timesOf(int count, const std::function<void()> &ask)
{
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        const int64_t start = nowNs();
        ask();
        times.push_back(static_cast<double>(nowNs() - start) / 1e6);
        usleep(1000);
    }
    return times;
}

void print(const char *name, const std::vector<double> &free, const std::vector<double> &busy)
{
    printf("%-11s", name);
    for (const auto *times : {&free, &busy})
        printf("  %8.3f %8.3f %8.3f", median(*times), percentile(*times, 99), percentile(*times, 100));
    printf("\n");
}

Options readOptions(int argc, char **argv)
{
    Options options;
    for (int i = 1; i < argc; i += 2) {
        const std::string option = argv[i];
        const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (option == "--questions")
            options.questions = numberOf("--questions", value, 10);
        else if (option == "--daemon" && value)
            options.daemon = value;
        else
            fail("unknown option '" + option + "'\nusage: busy [--questions N] [--daemon FILE]");
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
        const statistics_t sockets = {openSocket(pidPath(node, "/mi6/qosMIStats.mgr.", getpid()), ""),
                                      openSocket("", pidPath(node, "/mi6/qosMIStats.lc1.", node.agent))};
        const auto command = [&] { control(node, node.agent, "cli show qos vss"); };
        const auto statistics = [&] { askStatistics(sockets); };
        const auto free_command = timesOf(options.questions, command);
        const auto free_statistics = timesOf(options.questions, statistics);
        startLoad(node);
        const auto busy_command = timesOf(options.questions, command);
        const auto busy_statistics = timesOf(options.questions, statistics);
        printf("%s\n%-11s  %26s  %26s\n", coresUsed().c_str(), "ms", "alone", "beside full batches");
        printf("%-11s  %8s %8s %8s  %8s %8s %8s\n", "", "p50", "p99", "worst", "p50", "p99", "worst");
        print("command", free_command, busy_command);
        print("statistics", free_statistics, busy_statistics);
        return 0;
    } catch (const std::exception &error) {
        fprintf(stderr, "busy: %s\n", error.what());
        return 1;
    }
}
