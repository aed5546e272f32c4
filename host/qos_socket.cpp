// SPDX-License-Identifier: Apache-2.0
// AF_QOS: datagram sockets between the agent and the ASIC driver, which is the process at RUN/qos/driver.
//
// The command socket is connected to the driver, which spares the look-up of its path in every send. A request that got
// no answer makes the next send connect anew: the path may lead to another driver by then, while the old one still
// holds its socket open. The event socket is not connected: it takes datagrams from anybody.
//
// Who waits for one of these sockets mostly reads it next. So the wait is a receive, one system call in place of two,
// and what came is kept for the reader.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
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
#include "host/tap.h"
#include "velmar/os.h"
#include "velmar/run.h"
#include "velmar/socket.h"

struct qos_sock_t {
    uint32_t group; // 0 before the bind
    bool connected;
    bool unanswered; // nothing was received since the last send
    sockaddr_un driver;
    // What a wait received: a datagram, or with `kept_error` the connection's end.
    bool kept;
    int kept_error;
    int kept_flags;
    size_t kept_length;
    std::unique_ptr<unsigned char[]> kept_bytes;
};

namespace {

std::atomic<unsigned> sockets_that_keep; // one at most, but for a caller that waits for several and reads none
constexpr size_t KEPT_MOST = 65536;      // more than any reader takes

constexpr uint32_t GROUP_EVENTS = 6;
constexpr char DRIVER[] = "driver";    // the name of its socket
constexpr timeval SEND_LIMIT = {1, 0}; // a driver that does not read for that long fails the send
// Nearly every answer comes within this time. It is longer than a tick, so that the kernel has no timer to program.
constexpr timeval SOON = {0, 20000};
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

// As the receive would have given it: cut to the caller's vectors, or -1 with errno.
ssize_t takeKept(qos_sock_t *sock, msghdr *message)
{
    sock->kept = false;
    sockets_that_keep.fetch_sub(1, std::memory_order_relaxed);
    if (sock->kept_error) {
        errno = sock->kept_error;
        return -1;
    }
    size_t done = 0;
    for (size_t i = 0; i < message->msg_iovlen && done < sock->kept_length; ++i) {
        const size_t part = std::min(message->msg_iov[i].iov_len, sock->kept_length - done);
        memcpy(message->msg_iov[i].iov_base, sock->kept_bytes.get() + done, part);
        done += part;
    }
    message->msg_flags = sock->kept_flags | (done < sock->kept_length ? int{MSG_TRUNC} : 0);
    return static_cast<ssize_t>(done);
}

} // namespace

bool qosKeeps(const qos_sock_t *sock)
{
    return sock->kept;
}

int qosMarkKept(struct pollfd *fds, unsigned count)
{
    if (sockets_that_keep.load(std::memory_order_relaxed) == 0)
        return 0;
    int marked = 0;
    for (pollfd *entry = fds; entry != fds + count; ++entry) {
        const qos_sock_t *sock = entry->fd >= 0 && entry->fd < SOCKET_FDS ? socket_slots[entry->fd].qos : nullptr;
        entry->revents = sock && sock->kept ? static_cast<short>(entry->events & POLLIN) : short{0};
        marked += entry->revents != 0;
    }
    return marked;
}

int qosAwait(qos_sock_t *sock, int fd)
{
    if (sock->group == GROUP_EVENTS) // where a stranger's datagram, thrown away, ends the wait
        return -1;
    if (!sock->kept_bytes)
        sock->kept_bytes.reset(new (std::nothrow) unsigned char[KEPT_MOST]);
    if (!sock->kept_bytes || faults_armed.load(std::memory_order_relaxed))
        return -1;
    peer_room_t room;
    iovec vector = {sock->kept_bytes.get(), KEPT_MOST};
    msghdr in = {};
    in.msg_iov = &vector;
    in.msg_iovlen = 1;
    in.msg_control = room.bytes;
    in.msg_controllen = PEER_ROOM_ALONE;
    const ssize_t got = recvmsg(fd, &in, 0);
    const bool nothing = got < 0 ? errno == EAGAIN || errno == EINTR : !peerMaySend(fd, &in);
    if (nothing)
        return 0;
    sock->kept = true;
    sock->kept_error = got < 0 ? errno : 0;
    sock->kept_flags = in.msg_flags;
    sock->kept_length = got < 0 ? 0 : static_cast<size_t>(got);
    sockets_that_keep.fetch_add(1, std::memory_order_relaxed);
    return 1;
}

int qosOpen()
{
    char path[sizeof(sockaddr_un::sun_path)];
    if (velmar_run_path(path, sizeof path, "qos", DRIVER) != 0)
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
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &SOON, sizeof SOON);
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
        const ssize_t sent = sendmsg(fd, &out, flags | MSG_NOSIGNAL);
        tapSent({CAPTURE_DRIVER, true, fd, DRIVER, sent < 0 ? errno : 0}, out.msg_iov, out.msg_iovlen);
        return sent;
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
    tapSent({CAPTURE_DRIVER, true, fd, DRIVER, sent < 0 ? error : 0}, out.msg_iov, out.msg_iovlen);
    errno = error;
    return sent;
}

// The kernel's receive here is never a blocking one: a caller that was told "readable" for an error of the connection,
// which the receive takes away, would then wait for ever. A blocking caller waits here instead, for a limited time, and
// gets an error that is not worth repeating.
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
        const bool kept = sock->kept;
        const ssize_t got =
            kept ? takeKept(sock, &in) : faultReceive(FAULT_DRIVER_RECEIVE, fd, &in, flags | MSG_DONTWAIT);
        if (got >= 0 && !kept && !peerMaySend(fd, &in)) {
            waited = waited || sock->group == GROUP_EVENTS; // where no answer is under way
            continue;
        }
        if (got >= 0) {
            sock->unanswered = false;
            if (tapped(CAPTURE_DRIVER))
                tapCopy({CAPTURE_DRIVER, false, fd, DRIVER, 0}, in.msg_iov, in.msg_iovlen, static_cast<size_t>(got));
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
    if (sock->kept)
        sockets_that_keep.fetch_sub(1, std::memory_order_relaxed);
    delete sock;
}
