// SPDX-License-Identifier: Apache-2.0
// How long a takeover takes: from SIGKILL of the active dorvald to the first acknowledgement by its standby.
//
// The daemons and the driver emulator are the real ones, in a run directory of their own; this process is the manager.
// From the kill on it sends a batch of one message to the standby every millisecond until one is acknowledged. After
// each kill a new standby is started, so every takeover is between two processes that have run through the whole
// sequence. The message is about a port that only the very first process was told of: status 0 says that the state
// came along.
//
// Milliseconds since the kill:
//   dead    the kernel has ended the process; it gives up the lock well before
//   active  the registration of the new active one has arrived
//   ack     the first acknowledgement has arrived
//   copy    since the start of the new standby: it counts as a copy
//   bare    floor of the same rounds: a process that does nothing but hold a lock is killed, and another that waits for
//           the lock answers by a pipe
// A kill comes up to 20 ms after the standby was counted, while it may still be at its dump, or with --settle so many
// milliseconds later. Everything runs on one core as SCHED_BATCH.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <random>
#include <stdexcept>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "agent/messages/chip.h"
#include "agent/messages/header.h"
#include "bench/common.h"
#include "velmar/mi6.h"

namespace {

constexpr int64_t MS = 1000000; // nanoseconds
constexpr int64_t PATIENCE = 20000 * MS;
constexpr uint8_t LAST = 255; // sequence number of the message that ends a round
constexpr size_t HEAD = sizeof(mi6_addr_t);

struct Options {
    int kills = 120;
    int interfaces = BENCH_PORTS;
    int settle_ms = 0;
    int core = -1;
    std::string daemon = DORVALD_BINARY;
    std::string driver = HSLD_BINARY;
};

struct times_t {
    std::vector<double> dead, active, ack, copy, bare;
};

double sinceMs(int64_t start)
{
    return static_cast<double>(nowNs() - start) / MS;
}

void sleepMs(double ms)
{
    const int64_t ns = static_cast<int64_t>(ms * MS);
    const timespec wait = {ns / (1000 * MS), ns % (1000 * MS)};
    nanosleep(&wait, nullptr);
}

template <typename Done>
void await(const std::string &what, Done &&done)
{
    for (const int64_t start = nowNs(); !done(); sleepMs(1))
        if (nowNs() - start > PATIENCE)
            fail("waited in vain for " + what);
}

Bytes batchOf(uint8_t seqno)
{
    Bytes batch = batchHead();
    const Bytes message = trustMessage();
    batch.insert(batch.end(), message.begin(), message.end());
    reinterpret_cast<qosMsgHdr_t *>(batch.data() + HEAD)->msg_seqno = seqno;
    return batch;
}

const qosMsgHdr_t &headerIn(const Bytes &datagram)
{
    return *reinterpret_cast<const qosMsgHdr_t *>(datagram.data() + HEAD);
}

void turnTo(node_t &node, pid_t agent)
{
    if (node.sending >= 0)
        close(node.sending);
    node.agent = agent;
    node.sending = openSocket("", pidPath(node, "/mi6/qosMI.lc1.", agent));
}

void exchange(const node_t &node, const Bytes &batch)
{
    Bytes answer(8192 + HEAD);
    check(static_cast<int>(send(node.sending, batch.data(), batch.size(), 0)), "send");
    while (receiveAnswer(node, answer) != batch.size() || headerIn(answer).msg_seqno != headerIn(batch).msg_seqno)
        ;
    checkEcho(answer, batch.size());
}

pid_t startAgent(node_t &node, const Options &options)
{
    return startProgram(node, {options.daemon, "-S", "ethsw", "-s", "0"});
}

void startNode(node_t &node, const Options &options)
{
    makeRun(node);
    openManager(node);
    startProgram(node, {options.driver, "--chip", "1/0:tessel:48"});
    await("the driver emulator", [&] { return std::filesystem::exists(node.run + "/qos/driver"); });
    const pid_t agent = startAgent(node, options);
    Bytes registration(8192 + HEAD);
    receiveAnswer(node, registration);
    turnTo(node, agent);
    exchange(node, setupBatch());
    for (int number = BENCH_PORTS + 1; number <= options.interfaces; ++number) {
        Bytes batch = batchHead();
        qosIfAddMsg_t port = {};
        port.ifIndex = 14U << 26 | static_cast<uint32_t>(number);
        snprintf(port.ifName, sizeof port.ifName, "po%d", number);
        appendMessage(batch, QOS_IFADD_MSG, port);
        exchange(node, batch);
    }
}

// Sends every millisecond until the first acknowledgement; the new active one's registration comes ahead of it.
void sendUntilAck(const node_t &node, int dying, int64_t killed, times_t *times)
{
    const Bytes batch = batchOf(0);
    Bytes answer(8192 + HEAD);
    pollfd entries[] = {{node.receiving, POLLIN, 0}, {dying, POLLIN, 0}};
    bool acked = false;
    for (int64_t next = killed; !acked || entries[1].fd >= 0;) {
        const int64_t now = nowNs();
        if (now - killed > PATIENCE)
            fail("nobody has taken over");
        if (now >= next && !acked) {
            (void)send(node.sending, batch.data(), batch.size(), MSG_DONTWAIT);
            next += MS;
            continue;
        }
        const timespec wait = {0, acked ? MS : next - now};
        if (ppoll(entries, std::size(entries), &wait, nullptr) <= 0)
            continue;
        if (entries[1].revents) {
            times->dead.push_back(sinceMs(killed));
            entries[1].fd = -1;
        }
        if (!entries[0].revents)
            continue;
        if (receiveAnswer(node, answer) == batch.size() && headerIn(answer).msg_type == QOS_COSTRUST_MSG) {
            if (!acked)
                times->ack.push_back(sinceMs(killed));
            acked = true;
            checkEcho(answer, batch.size());
            continue;
        }
        times->active.push_back(sinceMs(killed));
    }
}

void killAndWait(node_t &node, const Options &options, double phase_ms, times_t *times)
{
    const int64_t started = nowNs();
    const pid_t standby = startAgent(node, options);
    await("the standby", [&] { return control(node, node.agent, "stat").find("\"standbys\":1") != std::string::npos; });
    times->copy.push_back(sinceMs(started));
    exchange(node, batchOf(LAST));
    sleepMs(phase_ms);
    const pid_t active = node.agent;
    turnTo(node, standby);
    const int dying = check(static_cast<int>(syscall(SYS_pidfd_open, active, 0)), "pidfd_open");
    const int64_t killed = nowNs();
    kill(active, SIGKILL);
    sendUntilAck(node, dying, killed, times);
    close(dying);
    endChild(node, active);
    exchange(node, batchOf(LAST)); // and whatever else was acknowledged is read
}

// Takes the lock, says so by a byte, and keeps it.
pid_t startHolder(node_t &node, int said)
{
    const pid_t child = forkChild(node);
    if (child != 0)
        return child;
    const int lock = open((node.run + "/bare.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (flock(lock, LOCK_EX) == 0)
        (void)!write(said, "", 1);
    for (;;)
        pause();
}

double bareTakeover(node_t &node)
{
    int said[2];
    char byte;
    check(pipe(said), "pipe");
    const pid_t holder = startHolder(node, said[1]);
    check(static_cast<int>(read(said[0], &byte, 1)), "read");
    const pid_t waiter = startHolder(node, said[1]);
    sleepMs(2); // until it waits
    const int64_t killed = nowNs();
    kill(holder, SIGKILL);
    check(static_cast<int>(read(said[0], &byte, 1)), "read");
    const double ms = sinceMs(killed);
    for (const pid_t child : {holder, waiter})
        endChild(node, child);
    for (const int fd : said)
        close(fd);
    return ms;
}

times_t measure(const Options &options)
{
    node_t node;
    startNode(node, options);
    times_t times;
    std::mt19937 random(1);
    for (int i = 0; i < options.kills; ++i) {
        killAndWait(node, options, options.settle_ms + static_cast<double>(random() % 2000) / 100, &times);
        times.bare.push_back(bareTakeover(node));
    }
    return times;
}

void print(const char *name, const std::vector<double> &values)
{
    if (!values.empty())
        printf("%-7s %5zu %8.2f %8.2f %8.2f\n", name, values.size(), median(values), percentile(values, 99),
               percentile(values, 100));
}

Options readOptions(int argc, char **argv)
{
    Options options;
    for (int i = 1; i < argc; i += 2) {
        const std::string option = argv[i];
        const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (option == "--kills")
            options.kills = numberOf("--kills", value, 1);
        else if (option == "--interfaces")
            options.interfaces = numberOf("--interfaces", value, 1);
        else if (option == "--settle")
            options.settle_ms = numberOf("--settle", value, 0);
        else if (option == "--core")
            options.core = numberOf("--core", value, 0);
        else if (option == "--daemon" && value)
            options.daemon = value;
        else
            fail("unknown option '" + option +
                 "'\nusage: takeover [--kills N] [--interfaces N] [--settle MS] [--core N] "
                 "[--daemon FILE]");
    }
    return options;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        Options options = readOptions(argc, argv);
        pin(&options.core);
        prctl(PR_SET_TIMERSLACK, 1);
        const times_t times = measure(options);
        printf("milliseconds, all on core %d\n%-7s %5s %8s %8s %8s\n", options.core, "", "n", "p50", "p99", "worst");
        print("dead", times.dead);
        print("active", times.active);
        print("ack", times.ack);
        print("copy", times.copy);
        print("bare", times.bare);
        return 0;
    } catch (const std::exception &error) {
        fprintf(stderr, "takeover: %s\n", error.what());
        return 1;
    }
}
