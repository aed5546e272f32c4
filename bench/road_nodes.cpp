// SPDX-License-Identifier: Apache-2.0
// The nodes of the road's measurement: a driver, and in front of it a bare agent or the daemon.
#include <algorithm>
#include <cerrno>
#include <iterator>
#include <map>
#include <poll.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "bench/road.h"
#include "platform/records/priority.h"
#include "velmar/mi6.h"
#include "velmar/socket.h"

namespace {

constexpr int DRIVER_BUFFER = 8192; // bytes, as the agent sets its driver sockets

std::map<const node_t *, road_asked_t *> asked_by_node;

void *shareRoom(size_t bytes)
{
    void *const room = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (room == MAP_FAILED)
        fail(std::string("no shared memory: ") + strerror(errno));
    return room;
}

// A success answer: data frame with the request's command and as much as was asked for, but for its head all of a value
// that is another one each time, and an end frame.
struct answer_t {
    qosNLHdr_t data;
    qosDriverHdr_t driver;
    cosHdr_t record;
    unsigned char rest[NL_RSP_BUF_SIZE - NL_RECORD_OFFSET - sizeof(cosHdr_t)];
};

// Several records in one have heads inside, which come back as they went.
void fillRest(answer_t &answer, const unsigned char *request, size_t size, int value)
{
    constexpr size_t HEAD = sizeof(cosHdr_t);
    if (answer.record.command != COS_BULK) {
        memset(answer.rest, value, size);
        return;
    }
    memcpy(answer.rest, request + NL_RECORD_OFFSET + HEAD, size);
    memcpy(answer.rest + offsetof(cosBulk_t, num_processed) - HEAD,
           answer.rest + offsetof(cosBulk_t, num_records) - HEAD, sizeof(be16));
}

// ---- The three processes

// Answers every request. Both nodes have one of these.
[[noreturn]] void runDriver(int fd, road_asked_t *asked)
{
    static unsigned char request[NL_MSG_BUF_SIZE];
    static answer_t answer;
    qosNLHdr_t end = {};
    end.length = sizeof end;
    end.type = NLM_DONE;
    for (;;) {
        sockaddr_un from;
        socklen_t length = sizeof from;
        const ssize_t got = recvfrom(fd, request, sizeof request, 0, reinterpret_cast<sockaddr *>(&from), &length);
        if (got < static_cast<ssize_t>(NL_RECORD_OFFSET + sizeof(cosHdr_t)))
            continue;
        cosHdr_t record;
        memcpy(&record, request + NL_RECORD_OFFSET, sizeof record);
        const uint32_t wanted = record.out_size;
        const size_t room = sizeof(cosHdr_t) + sizeof answer.rest - sizeof end;
        const size_t size = wanted > sizeof(cosHdr_t) && wanted <= room ? wanted : sizeof(cosHdr_t);
        asked->last_ns = nowNs();
        if (asked->first_ns == 0)
            asked->first_ns = asked->last_ns;
        if (asked->kept < std::size(asked->all))
            asked->all[asked->kept++] = {static_cast<uint16_t>(got), static_cast<uint16_t>(size)};
        asked->last[asked->requests++ % std::size(asked->last)] = {static_cast<uint16_t>(got),
                                                                   static_cast<uint16_t>(size)};
        asked->bytes += static_cast<uint64_t>(got);
        const auto *header = reinterpret_cast<const qosNLHdr_t *>(request);
        answer.data.type = header->type;
        answer.data.seq = header->seq;
        memcpy(&answer.driver, request + sizeof *header, sizeof answer.driver);
        answer.record.command = record.command;
        answer.data.length = static_cast<uint32_t>(NL_RECORD_OFFSET + size);
        fillRest(answer, request, size - sizeof record, static_cast<int>(asked->requests & 0x7f));
        memcpy(answer.rest + size - sizeof record, &end, sizeof end);
        (void)sendto(fd, &answer, NL_RECORD_OFFSET + size + sizeof end, 0, reinterpret_cast<sockaddr *>(&from), length);
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

void askDriver(int fd, const road_request_t &asked)
{
    static unsigned char request[NL_MSG_BUF_SIZE];
    static unsigned char response[NL_RSP_BUF_SIZE];
    cosHdr_t record = {};
    record.out_size = asked.answer;
    memcpy(request + NL_RECORD_OFFSET, &record, sizeof record);
    iovec vector = {request, asked.size};
    transmit(fd, &vector, 1, 0);
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval limit = {15, 0};
    select(fd + 1, &readable, nullptr, nullptr, &limit);
    vector = {response, sizeof response};
    receive(fd, &vector, 1, MSG_DONTWAIT);
}

// Goes from message to message by their heads, as it has to know what each of them takes.
[[noreturn]] void runBareAgent(bare_agent_t agent)
{
    const road_plan_t *const plans = roadPlans();
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
            for (size_t at = 0; at + sizeof(qosMsgHdr_t) <= length;) {
                auto *header = reinterpret_cast<qosMsgHdr_t *>(buffer + at);
                const road_plan_t &plan = plans[header->msg_type];
                for (uint32_t i = 0; i < plan.count; ++i)
                    askDriver(agent.driver, plan.request[i]);
                at += sizeof *header + header->msg_len;
            }
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
    road_asked_t *const asked = static_cast<road_asked_t *>(shareRoom(sizeof(road_asked_t)));
    asked_by_node[&node] = asked;
    if (forkChild(node) == 0)
        runDriver(driver, asked);
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

} // namespace

void roadStartFloor(node_t &node)
{
    (void)roadPlans();
    openNode(node);
    const pid_t manager = getpid();
    node.agent = forkChild(node);
    if (node.agent == 0) {
        try {
            const bare_agent_t agent = openBareAgent(node, manager);
            (void)!write(agent.echo, "", 1);
            runBareAgent(agent);
        } catch (const std::exception &error) {
            fprintf(stderr, "road: bare agent: %s\n", error.what());
            _exit(1);
        }
    }
    awaitAgent(node);
}

void roadStartDaemon(node_t &node, const std::string &program)
{
    openNode(node);
    node.agent = startProgram(node, {program, "-S", "ethsw", "-s", "0"});
    awaitAgent(node);
}

pid_t roadStartStandby(node_t &node, const std::string &program)
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

road_plan_t *roadPlans()
{
    static auto *const plans = static_cast<road_plan_t *>(shareRoom(256 * sizeof(road_plan_t)));
    return plans;
}

road_asked_t *roadAsked(const node_t &node)
{
    return asked_by_node.at(&node);
}

void roadLearn(uint8_t code, const node_t &node, uint32_t before)
{
    const road_asked_t &asked = *roadAsked(node);
    road_plan_t &plan = roadPlans()[code];
    plan.count = std::min<uint32_t>(asked.requests - before, std::size(plan.request));
    for (uint32_t i = 0; i < plan.count; ++i)
        plan.request[i] = asked.last[(before + i) % std::size(asked.last)];
}

void roadDrop(const node_t &node, Bytes &buffer)
{
    while (recv(node.receiving, buffer.data(), buffer.size(), MSG_DONTWAIT) >= 0)
        ;
}

void roadExchange(const node_t &node, const Bytes &batch, Bytes &answer)
{
    if (send(node.sending, batch.data(), batch.size(), 0) < 0)
        fail(std::string("send: ") + strerror(errno));
    const size_t got = receiveAnswer(node, answer);
    if (got != batch.size())
        fail("an echo of " + std::to_string(got) + " bytes instead of " + std::to_string(batch.size()));
}
