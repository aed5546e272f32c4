// SPDX-License-Identifier: Apache-2.0
// Sockets, processes and messages of the measuring programs.
#include "bench/common.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <sched.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "agent/messages/chip.h"
#include "agent/messages/header.h"
#include "agent/messages/priority.h"
#include "velmar/mi6.h"
#include "velmar/socket.h"

namespace {

constexpr int ANSWER_SECONDS = 20;

void limitWait(int fd)
{
    const timeval limit = {ANSWER_SECONDS, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

std::string controlPath(const node_t &node, pid_t pid)
{
    for (const auto &entry : std::filesystem::directory_iterator(node.run + "/ctl"))
        if (entry.path().extension() == "." + std::to_string(pid))
            return entry.path();
    fail("no control socket in " + node.run);
}

} // namespace

void fail(const std::string &what)
{
    throw std::runtime_error(what);
}

int check(int result, const std::string &what)
{
    if (result < 0)
        fail(what + ": " + strerror(errno));
    return result;
}

int numberOf(const char *option, const char *text, int least)
{
    char *end = nullptr;
    const long value = text ? strtol(text, &end, 10) : 0;
    if (!text || !*text || *end || value < least || value > 1000000000)
        fail(std::string(option) + " needs a number from " + std::to_string(least) + " on");
    return static_cast<int>(value);
}

void pin(int *core)
{
    cpu_set_t allowed;
    check(sched_getaffinity(0, sizeof allowed, &allowed), "sched_getaffinity");
    for (int i = 0; *core < 0 && i < CPU_SETSIZE; ++i)
        if (CPU_ISSET(CPU_SETSIZE - 1 - i, &allowed))
            *core = CPU_SETSIZE - 1 - i;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(*core, &one);
    check(sched_setaffinity(0, sizeof one, &one), "cannot run on core " + std::to_string(*core));
    const sched_param none = {};
    check(sched_setscheduler(0, SCHED_BATCH, &none), "sched_setscheduler");
}

std::string coresUsed()
{
    cpu_set_t allowed;
    check(sched_getaffinity(0, sizeof allowed, &allowed), "sched_getaffinity");
    std::string text = CPU_COUNT(&allowed) == 1 ? "core" : "cores";
    for (int i = 0; i < CPU_SETSIZE; ++i)
        if (CPU_ISSET(i, &allowed))
            text += " " + std::to_string(i);
    return text;
}

int64_t nowNs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t half = values.size() / 2;
    return values.size() % 2 ? values[half] : (values[half - 1] + values[half]) / 2;
}

double usualMean(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    values.resize(values.size() - values.size() / 20);
    return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

double percentile(std::vector<double> values, double percent)
{
    std::sort(values.begin(), values.end());
    const double rank = std::ceil(percent / 100 * static_cast<double>(values.size()));
    return values[std::max<size_t>(static_cast<size_t>(rank), 1) - 1];
}

sockaddr_un addressOf(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        fail("path too long for a socket: " + path);
    memcpy(address.sun_path, path.c_str(), path.size());
    return address;
}

int openSocket(const std::string &bound, const std::string &peer)
{
    const int fd = check(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket");
    if (!bound.empty()) {
        const sockaddr_un address = addressOf(bound);
        check(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), "bind " + bound);
    }
    if (!peer.empty()) {
        const sockaddr_un address = addressOf(peer);
        check(connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), "connect " + peer);
    }
    return fd;
}

uint32_t portIndex(int port)
{
    return 6U << 26 | 1U << 22 | static_cast<uint32_t>(port) << 15;
}

Bytes batchHead()
{
    mi6_addr_t address = {};
    address.family = AF_MI6;
    memcpy(address.service, "qosMI", 5);
    address.flags = MI6_MANAGER;
    Bytes batch;
    append(batch, address);
    return batch;
}

Bytes setupBatch()
{
    Bytes batch = batchHead();
    qosChipUpMsg_t chip = {};
    chip.chip_id = 8;
    chip.chip_ifindex = BENCH_CHIP;
    chip.slot_id = 1;
    chip.num_ports = 48;
    chip.chip_type = 1;
    appendMessage(batch, QOS_CHIPUP_MSG, chip);
    for (int number = 1; number <= BENCH_PORTS; ++number) {
        qosIfAddMsg_t port = {};
        port.ifIndex = portIndex(number);
        snprintf(port.ifName, sizeof port.ifName, "te1/%d", number);
        port.chip_id = 8;
        appendMessage(batch, QOS_IFADD_MSG, port);
    }
    return batch;
}

Bytes trustMessage()
{
    Bytes message;
    qosL2PriMsg_t body = {};
    body.ifIndex = portIndex(3);
    strcpy(body.ifName, "te1/3");
    body.chip_ifindex = BENCH_CHIP;
    body.cos_trust = 1;
    for (uint8_t i = 0; i < 8; ++i)
        body.cos_map[i] = body.tc_map[i] = i;
    appendMessage(message, QOS_COSTRUST_MSG, body);
    return message;
}

node_t::~node_t()
{
    while (!children.empty())
        endChild(*this, children.back());
    for (const int fd : {receiving, sending})
        if (fd >= 0)
            close(fd);
    std::error_code ignored;
    if (!run.empty())
        std::filesystem::remove_all(run, ignored);
}

void makeRun(node_t &node)
{
    char name[] = "/tmp/bench.XXXXXX";
    if (!mkdtemp(name))
        fail(std::string("cannot make ") + name + ": " + strerror(errno));
    node.run = name;
    for (const char *folder : {"mi6", "qos", "ctl", "ha", "trace"})
        std::filesystem::create_directory(node.run + "/" + folder);
}

void openManager(node_t &node)
{
    node.receiving = openSocket(pidPath(node, "/mi6/qosMI.mgr.", getpid()), "");
    limitWait(node.receiving);
}

std::string pidPath(const node_t &node, const char *name, pid_t pid)
{
    return node.run + name + std::to_string(pid);
}

pid_t forkChild(node_t &node)
{
    const pid_t parent = getpid();
    fflush(nullptr);
    const pid_t child = check(fork(), "fork");
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent)
            _exit(1);
        return 0;
    }
    node.children.push_back(child);
    return child;
}

pid_t startProgram(node_t &node, const std::vector<std::string> &command)
{
    const pid_t child = forkChild(node);
    if (child != 0)
        return child;
    setenv("VELMAR_RUN", node.run.c_str(), 1);
    setenv("VELMAR_VSS", "auto", 1);
    unsetenv("VELMAR_TRACE");
    std::vector<char *> arguments;
    for (const std::string &argument : command)
        arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    fprintf(stderr, "cannot start %s: %s\n", arguments[0], strerror(errno));
    _exit(1);
}

void endChild(node_t &node, pid_t child)
{
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    std::erase(node.children, child);
}

size_t receiveAnswer(const node_t &node, Bytes &buffer)
{
    const ssize_t got = recv(node.receiving, buffer.data(), buffer.size(), 0);
    if (got < 0)
        fail(errno == EAGAIN  ? "no answer from the agent in " + node.run
             : errno == EINTR ? "stopped: by a signal, or a process of a node has ended"
                              : std::string("recv: ") + strerror(errno));
    return static_cast<size_t>(got);
}

void checkEcho(const Bytes &answer, size_t length)
{
    for (size_t at = sizeof(mi6_addr_t); at < length;) {
        const auto *header = reinterpret_cast<const qosMsgHdr_t *>(answer.data() + at);
        const size_t body = header->msg_len;
        sbe32 status;
        at += sizeof *header + body;
        memcpy(&status, answer.data() + at - sizeof status, sizeof status);
        if (header->msg_ack != 1 || status != 0)
            fail("the agent did not carry out code " + std::to_string(header->msg_type) + ", status " +
                 std::to_string(static_cast<int32_t>(status)));
    }
}

std::string control(const node_t &node, pid_t pid, const std::string &command)
{
    const std::string own = node.run + "/bench";
    const int fd = openSocket(own, controlPath(node, pid));
    limitWait(fd);
    char answer[512] = "";
    const bool ok = send(fd, command.data(), command.size(), 0) >= 0 && recv(fd, answer, sizeof answer - 1, 0) >= 0 &&
                    strncmp(answer, "ok", 2) == 0;
    close(fd);
    unlink(own.c_str());
    if (!ok)
        fail("'" + command + "' was answered with '" + answer + "'");
    return answer;
}
