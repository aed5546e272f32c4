// SPDX-License-Identifier: Apache-2.0
// AF_QOS: datagram sockets between the agent and the ASIC driver, which is the process at RUN/qos/driver.
//
// The command socket is connected to the driver, which spares the look-up of its path in every send. A request that got
// no answer makes the next send connect anew: the path may lead to another driver by then, while the old one still
// holds its socket open. The event socket is not connected: it takes datagrams from anybody.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/time.h>
#include <unistd.h>

#include "host/batches.h"
#include "host/complain.h"
#include "host/driver.h"
#include "host/fault.h"
#include "host/peer.h"
#include "host/point.h"
#include "host/run.h"
#include "host/socket.h"
#include "host/swd.h"
#include "velmar/os.h"
#include "velmar/run.h"
#include "velmar/socket.h"

struct qos_sock_t {
    uint32_t group; // 0 before the bind
    bool connected;
    bool unanswered; // nothing was received since the last send
    sockaddr_un driver;
};

namespace {

constexpr uint32_t GROUP_EVENTS = 6;
constexpr timeval SEND_LIMIT = {1, 0};  // a driver that does not read for that long fails the send
constexpr int RECEIVE_LIMIT_MS = 15000; // a blocking receive never waits longer

bool driverGone(int error)
{
    return error == ECONNREFUSED || error == ENOTCONN || error == ECONNRESET || error == ENOENT || error == EPIPE;
}

int connectDriver(qos_sock_t *sock, int fd)
{
    if (connect(fd, reinterpret_cast<const sockaddr *>(&sock->driver), sizeof sock->driver) != 0) {
        const int error = errno;
        if (error == ECONNREFUSED)
            runRemoveStale(sock->driver.sun_path);
        errno = error;
        return -1;
    }
    sock->connected = true;
    return 0;
}

ssize_t sendCommand(qos_sock_t *sock, int fd, msghdr *out, int flags)
{
    // A second try serves a driver that was restarted since the last send.
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (sock->unanswered)
            sock->connected = false;
        if (!sock->connected && connectDriver(sock, fd) != 0)
            return -1;
        ssize_t sent;
        hostPoint();
        do
            sent = faultSend(FAULT_DRIVER_SEND, fd, out, flags | MSG_NOSIGNAL);
        while (sent < 0 && errno == EINTR);
        hostPoint();
        sock->unanswered = sent >= 0;
        if (sent < 0 && errno == EAGAIN) {
            swdWaits();
            errno = EAGAIN;
        }
        if (sent >= 0 || !driverGone(errno))
            return sent;
        sock->connected = false;
    }
    return -1;
}

} // namespace

int qosOpen()
{
    char path[sizeof(sockaddr_un::sun_path)];
    if (velmar_run_path(path, sizeof path, "qos", "driver") != 0)
        return -1;
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || fd >= SOCKET_FDS) {
        const int error = fd < 0 ? errno : EMFILE;
        if (fd >= 0)
            close(fd);
        complain("cannot open a driver socket: %s", strerror(error));
        errno = error;
        return -1;
    }
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &SEND_LIMIT, sizeof SEND_LIMIT);
    peerAsk(fd);
    qos_sock_t *sock = new qos_sock_t{};
    runAddress(&sock->driver, path);
    socket_slots[fd] = {nullptr, sock};
    return fd;
}

int qosBind(qos_sock_t *sock, int fd, const void *address, size_t length)
{
    qosSockAddr_t wanted;
    if (length < sizeof wanted) {
        errno = EINVAL;
        return -1;
    }
    memcpy(&wanted, address, sizeof wanted);
    if (wanted.family != AF_QOS || sock->group != 0) {
        errno = wanted.family != AF_QOS ? EAFNOSUPPORT : EINVAL;
        return -1;
    }
    char name[24];
    char path[sizeof(sockaddr_un::sun_path)] = "";
    snprintf(name, sizeof name, "group%u", static_cast<unsigned>(wanted.group));
    if (runBind(fd, "qos", name, true, path, sizeof path) != 0) {
        const int error = errno;
        complain("cannot bind driver socket %s: %s", *path ? path : name, strerror(error));
        errno = error;
        return -1;
    }
    sock->group = wanted.group;
    return 0;
}

ssize_t qosSend(qos_sock_t *sock, int fd, const msghdr *message, int flags)
{
    msghdr out = *message;
    if (sock->group == GROUP_EVENTS) {
        out.msg_name = &sock->driver;
        out.msg_namelen = sizeof sock->driver;
        return sendmsg(fd, &out, flags | MSG_NOSIGNAL);
    }
    out.msg_name = nullptr;
    out.msg_namelen = 0;
    driverLeft();
    batchesAsked(message->msg_iov, message->msg_iovlen);
    const ssize_t sent = sendCommand(sock, fd, &out, flags);
    const int error = errno;
    driverAsked(sent < 0 ? error : 0);
    if (sent < 0)
        batchesFailed(error);
    errno = error;
    return sent;
}

// The kernel's receive is never a blocking one: a caller that was told "readable" for an error of the connection, which
// the receive takes away, would then wait for ever. A blocking caller waits here instead, for a limited time, and gets
// an error that is not worth repeating.
ssize_t qosReceive(qos_sock_t *sock, int fd, msghdr *message, int flags)
{
    message->msg_namelen = 0;
    bool waited = false;
    for (bool reset = false;;) {
        peer_room_t room;
        msghdr in = *message;
        in.msg_name = nullptr;
        in.msg_control = room.bytes;
        in.msg_controllen = PEER_ROOM_ALONE;
        const ssize_t got = faultReceive(FAULT_DRIVER_RECEIVE, fd, &in, flags | MSG_DONTWAIT);
        if (got >= 0 && !peerMaySend(fd, &in)) {
            waited = waited || sock->group == GROUP_EVENTS; // where no answer is under way
            continue;
        }
        if (got >= 0) {
            sock->unanswered = false;
            if (sock->group != GROUP_EVENTS) {
                driverAnswered();
                batchesAnswered(message->msg_iov, message->msg_iovlen, static_cast<size_t>(got));
            }
            message->msg_flags = in.msg_flags;
            message->msg_controllen = 0;
            return got;
        }
        if (!reset && (errno == ECONNRESET || errno == ECONNREFUSED)) {
            reset = true; // the driver went away, what it sent before is still there
            continue;
        }
        if (errno != EAGAIN || (flags & MSG_DONTWAIT))
            return -1;
        if (reset || waited) {
            errno = reset ? ECONNRESET : ETIMEDOUT;
            return -1;
        }
        pollfd entry = {fd, POLLIN, 0};
        if (velmar_poll(&entry, 1, RECEIVE_LIMIT_MS) < 0)
            return -1;
        waited = true;
    }
}

void qosClose(qos_sock_t *sock)
{
    delete sock;
}
