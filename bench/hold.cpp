// SPDX-License-Identifier: Apache-2.0
// How long the main thread is held by what it does for others: a ping through the control socket, answered by the main
// thread, while `show interfaces` and the configuration of many ports are printed again and again, while standbys join
// one after the other and are given a dump, and with nothing else to do. The last is the floor, of the same run: idle
// and busy stretches take turns.
//
// The daemon and the driver emulator are the real ones. Milliseconds. Nothing is pinned; the cores that the programs
// may use stand in the output.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "agent/messages/chip.h"
#include "agent/messages/header.h"
#include "bench/common.h"
#include "velmar/mi6.h"

namespace {

constexpr int64_t PATIENCE_NS = 60000000000;
constexpr size_t HEAD = sizeof(mi6_addr_t);
constexpr int ROUNDS = 5;
constexpr useconds_t PAUSE_US = 200; // between two pings

struct Options {
    int pings = 2000; // of each kind
    int ports = 1280;
    std::string daemon = DORVALD_BINARY;
    std::string driver = HSLD_BINARY;
};

void exchange(const node_t &node, const Bytes &batch)
{
    Bytes answer(8192 + HEAD);
    check(static_cast<int>(send(node.sending, batch.data(), batch.size(), 0)), "send");
    while (receiveAnswer(node, answer) != batch.size())
        ;
    checkEcho(answer, batch.size());
}

std::vector<std::string> daemonCommand(const Options &options)
{
    return {options.daemon, "-S", "ethsw", "-s", "0"};
}

void startNode(node_t &node, const Options &options)
{
    makeRun(node);
    openManager(node);
    startProgram(node, {options.driver, "--chip", "1/0:tessel:48"});
    for (const int64_t start = nowNs(); !std::filesystem::exists(node.run + "/qos/driver"); usleep(200))
        if (nowNs() - start > PATIENCE_NS)
            fail("the driver emulator does not start");
    node.agent = startProgram(node, daemonCommand(options));
    Bytes registration(8192 + HEAD);
    receiveAnswer(node, registration);
    node.sending = openSocket("", pidPath(node, "/mi6/qosMI.lc1.", node.agent));
    exchange(node, setupBatch());
    for (int number = BENCH_PORTS + 1; number <= options.ports; ++number) {
        Bytes batch = batchHead();
        qosIfAddMsg_t port = {};
        port.ifIndex = 14U << 26 | static_cast<uint32_t>(number);
        snprintf(port.ifName, sizeof port.ifName, "po%d", number);
        appendMessage(batch, QOS_IFADD_MSG, port);
        exchange(node, batch);
    }
}

// A client of the control socket; `name` keeps those of several processes apart.
struct client_t {
    std::string path;
    int fd;
};

client_t openClient(const node_t &node, const std::string &name)
{
    const client_t client = {node.run + "/" + name, -1};
    std::string control;
    for (const auto &entry : std::filesystem::directory_iterator(node.run + "/ctl"))
        if (entry.path().extension() == "." + std::to_string(node.agent))
            control = entry.path();
    const int fd = openSocket(client.path, control);
    const timeval limit = {20, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    return {client.path, fd};
}

void ask(const client_t &client, const std::string &command)
{
    char answer[512];
    check(static_cast<int>(send(client.fd, command.data(), command.size(), 0)), "send");
    const ssize_t got = recv(client.fd, answer, sizeof answer, 0);
    if (got < 2 || memcmp(answer, "ok", 2) != 0)
        fail("'" + command + "' is not answered");
}

void ping(const client_t &client, int count, std::vector<double> *times)
{
    for (int i = 0; i < count; ++i) {
        const int64_t start = nowNs();
        ask(client, "trace level 4");
        times->push_back(static_cast<double>(nowNs() - start) / 1e6);
        usleep(PAUSE_US);
    }
}

void printForever(node_t &node, const char *command)
{
    if (forkChild(node) != 0)
        return;
    try {
        for (const client_t client = openClient(node, "printing");;)
            ask(client, command);
    } catch (const std::exception &error) {
        fprintf(stderr, "hold: %s\n", error.what());
        _exit(1);
    }
}

// Starts a standby, waits until it is listed, and kills it, again and again.
void joinForever(node_t &node, const Options &options)
{
    if (forkChild(node) != 0)
        return;
    node.children.clear(); // the parent's
    for (;;) {
        const pid_t standby = startProgram(node, daemonCommand(options));
        try {
            while (control(node, node.agent, "stat").find("\"standbys\":1") == std::string::npos)
                usleep(1000);
            endChild(node, standby);
            while (control(node, node.agent, "stat").find("\"standbys\":0") == std::string::npos)
                usleep(1000);
        } catch (const std::exception &) {
            _exit(1);
        }
    }
}

struct load_t {
    const char *name;
    std::function<void(node_t &, const Options &)> start;
    std::vector<double> idle, busy;
};

void endNewest(node_t &node)
{
    endChild(node, node.children.back());
    std::error_code ignored;
    for (const char *left : {"/printing", "/bench"})
        std::filesystem::remove(node.run + left, ignored);
}

void measure(node_t &node, const Options &options, load_t *load)
{
    const client_t client = openClient(node, "pinging");
    for (int round = 0; round < ROUNDS; ++round) {
        ping(client, options.pings / ROUNDS, &load->idle);
        load->start(node, options);
        ping(client, options.pings / ROUNDS, &load->busy);
        endNewest(node);
    }
    close(client.fd);
    unlink(client.path.c_str());
}

void print(const load_t &load)
{
    printf("%-12s", load.name);
    for (const auto *times : {&load.idle, &load.busy})
        printf("  %8.3f %8.3f %8.3f", median(*times), percentile(*times, 99), percentile(*times, 100));
    printf("\n");
}

Options readOptions(int argc, char **argv)
{
    Options options;
    for (int i = 1; i < argc; i += 2) {
        const std::string option = argv[i];
        const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (option == "--pings")
            options.pings = numberOf("--pings", value, 10);
        else if (option == "--ports")
            options.ports = numberOf("--ports", value, BENCH_PORTS);
        else if (option == "--daemon" && value)
            options.daemon = value;
        else
            fail("unknown option '" + option + "'\nusage: hold [--pings N] [--ports N] [--daemon FILE]");
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
        load_t loads[] = {
            {"interfaces", [](node_t &n, const Options &) { printForever(n, "cli show dorvmd interfaces"); }, {}, {}},
            {"config", [](node_t &n, const Options &) { printForever(n, "cli json config"); }, {}, {}},
            {"dumps", joinForever, {}, {}},
        };
        printf("ms of a ping, %d ports, %s\n", options.ports, coresUsed().c_str());
        printf("%-12s  %26s  %26s\n", "", "alone", "beside it");
        printf("%-12s  %8s %8s %8s  %8s %8s %8s\n", "", "p50", "p99", "worst", "p50", "p99", "worst");
        for (load_t &load : loads) {
            measure(node, options, &load);
            print(load);
        }
        return 0;
    } catch (const std::exception &error) {
        fprintf(stderr, "hold: %s\n", error.what());
        return 1;
    }
}
