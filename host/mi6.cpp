// SPDX-License-Identifier: Apache-2.0
// MI6: datagram sockets at RUN/mi6/SERVICE.END.PID, END being "mgr" or "lcN". Whatever stands behind "SERVICE.END."
// makes a receiver; the process id in it only tells whether a file is stale.
//
// A datagram is the sender's 20-byte address, then the payload. A notice is a datagram to oneself: 20 bytes with family
// 0xffff, then the 32 bytes of the error queue's control data. Both are scattered by the one receive call.
//
// Each socket knows the receivers of its folder and learns of changes by inotify, one look at its queue a send: the
// kernel queues the event before a bind returns, so whoever bound before a send is in the table. Each receiver has a
// sending socket of its own, since unread datagrams are charged to their sender.
#include "velmar/mi6.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>
#include <vector>

#include "host/batches.h"
#include "host/complain.h"
#include "host/driver.h"
#include "host/fault.h"
#include "host/peer.h"
#include "host/point.h"
#include "host/raslog.h"
#include "host/replica.h"
#include "host/run.h"
#include "host/socket.h"
#include "host/tap.h"
#include "velmar/run.h"
#include "velmar/socket.h"

namespace {

constexpr uint16_t FAMILY_NOTICE = 0xffff;
constexpr int ERRNO_NOTICE = 68; // a notice waits
constexpr int FULL_WAIT_MS = 50; // for all full receivers of a datagram together
// A receiver that is full again and again, and takes longer than that each time, has FULL_WAIT_MS in all until it took
// one at once.
constexpr int QUICK_MS = 5;
constexpr size_t RECEIVERS_MOST = 1024;
// What a receiver's drain is given before it hears "would block", though more may wait: timers, the other sockets and
// the control socket have their turn then. The poll that follows finds the rest.
constexpr unsigned DRAIN_DATAGRAMS = 64;
constexpr size_t DRAIN_BYTES = 65536;
constexpr int NOTICE_CMSG_TYPE = 1;

struct receiver_t {
    char file[sizeof(sockaddr_un::sun_path)];
    ino_t inode; // tells a socket from an earlier one of the same name that is still open
    int fd;      // sending socket, -1 before the first send
    bool over;   // did not take a datagram in time
    bool seen;   // by the scan that is going on
    bool full;   // the datagram that is going out waits for it
    int patience_ms;
};

struct notice_datagram_t {
    mi6_addr_t head;
    mi6_notice_t notice;
};
static_assert(sizeof(notice_datagram_t) == 52);

enum class sent_t { TAKEN, ABSENT, FAILED };

} // namespace

struct mi6_sock_t {
    mi6_addr_t self;        // what stands in front of every datagram
    sockaddr_un path;       // where notices go
    velmar_sender_t reader; // who asked last, may only read and is not in this folder: the next echo goes to him too
    int watch;              // inotify on the folder, -1 before the first send or if there is none to be had
    int spare;              // a descriptor that is given up where there is no other left to read the folder with
    bool scan_failed;       // the table is as it was, and the folder has to be read again
    unsigned drained;       // datagrams and bytes since the last "would block"
    size_t drained_bytes;
    bool pending; // a notice met by a receive, not yet read from the error queue
    mi6_notice_t notice;
    std::vector<receiver_t> receivers;
};

namespace {

// What a file of the folder is to a service: 0 its manager, N its lcN, -1 none of it.
int slotIn(const char *file, const char *service, size_t length)
{
    if (strncmp(file, service, length) != 0 || file[length] != '.')
        return -1;
    const char *end = file + length + 1;
    if (strncmp(end, "mgr.", 4) == 0)
        return end[4] ? 0 : -1;
    if (strncmp(end, "lc", 2) != 0 || end[2] == '0')
        return -1;
    int slot = 0;
    const char *digit = end + 2;
    for (; *digit >= '0' && *digit <= '9' && slot <= 16; ++digit)
        slot = slot * 10 + (*digit - '0');
    return slot >= 1 && slot <= 16 && digit[0] == '.' && digit[1] ? slot : -1;
}

// False for an entry that is no socket, or whose name no socket address could hold.
bool takeEntry(const dirent *entry, receiver_t *receiver)
{
    const size_t length = strlen(entry->d_name);
    if (entry->d_type == DT_DIR || entry->d_type == DT_REG || length >= sizeof receiver->file)
        return false;
    *receiver = {};
    memcpy(receiver->file, entry->d_name, length);
    receiver->inode = entry->d_ino;
    receiver->fd = -1;
    receiver->patience_ms = FULL_WAIT_MS;
    return true;
}

void forget(receiver_t *receiver)
{
    if (receiver->fd >= 0)
        close(receiver->fd);
    receiver->fd = -1;
}

void keepSpare(mi6_sock_t *sock)
{
    if (sock->spare < 0)
        sock->spare = eventfd(0, EFD_CLOEXEC);
}

DIR *openFolder(mi6_sock_t *sock, const char *folder)
{
    DIR *dir = opendir(folder);
    if (dir || (errno != EMFILE && errno != ENFILE) || sock->spare < 0)
        return dir;
    close(sock->spare);
    sock->spare = -1;
    return opendir(folder);
}

// Brings the table in line with the folder. Receivers that stay keep their sending socket; a name bound anew loses it,
// since it leads to the socket that had the name before. A folder that cannot be read now changes nothing.
void scan(mi6_sock_t *sock)
{
    char folder[sizeof(sockaddr_un::sun_path)];
    DIR *dir = velmar_run_path(folder, sizeof folder, "mi6", "") == 0 ? openFolder(sock, folder) : nullptr;
    sock->scan_failed = !dir && errno != ENOENT;
    if (sock->scan_failed)
        return;
    for (receiver_t &receiver : sock->receivers)
        receiver.seen = false;
    while (const dirent *entry = dir ? readdir(dir) : nullptr) {
        receiver_t found;
        if (!takeEntry(entry, &found))
            continue;
        const auto known = std::find_if(sock->receivers.begin(), sock->receivers.end(),
                                        [&](const receiver_t &r) { return strcmp(r.file, found.file) == 0; });
        found.seen = true;
        if (known == sock->receivers.end()) {
            if (sock->receivers.size() < RECEIVERS_MOST)
                sock->receivers.push_back(found);
            else
                rasLog("mi6: more than %zu sockets in %s, the others are not reached", RECEIVERS_MOST, folder);
        } else if (known->inode == found.inode) {
            known->seen = true;
        } else {
            forget(&*known);
            *known = found;
        }
    }
    if (dir)
        closedir(dir);
    keepSpare(sock);
    for (receiver_t &receiver : sock->receivers)
        if (!receiver.seen)
            forget(&receiver);
    std::erase_if(sock->receivers, [](const receiver_t &r) { return !r.seen; });
}

void startWatch(mi6_sock_t *sock)
{
    char folder[sizeof(sockaddr_un::sun_path)];
    if (velmar_run_path(folder, sizeof folder, "mi6", "") != 0)
        return;
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (watch < 0)
        return;
    if (inotify_add_watch(watch, folder, IN_CREATE | IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM | IN_ONLYDIR) < 0) {
        close(watch);
        return;
    }
    sock->watch = watch;
}

void refresh(mi6_sock_t *sock)
{
    if (sock->watch < 0) {
        // First send, or no watch to be had: then every send looks for itself.
        startWatch(sock);
        scan(sock);
        return;
    }
    int waiting = 0; // bytes of events; to ask is cheaper than a read that finds none
    if ((ioctl(sock->watch, FIONREAD, &waiting) != 0 || waiting == 0) && !sock->scan_failed)
        return;
    char events[4096];
    while (read(sock->watch, events, sizeof events) > 0)
        ;
    scan(sock);
}

// The address of one receiver among those that `to` names.
mi6_addr_t addressOf(const mi6_addr_t &to, int slot)
{
    mi6_addr_t address = {};
    address.family = AF_MI6;
    memcpy(address.service, to.service, sizeof address.service);
    if (slot > 0)
        address.slot_mask = static_cast<uint16_t>(1U << (slot - 1));
    address.flags = slot > 0 ? MI6_LINE_CARD : MI6_MANAGER;
    return address;
}

// Sent from the socket to itself, which the kernel does not count against the queue's limit. Lost if the buffer is
// full.
void notify(const mi6_sock_t *sock, int fd, uint32_t code, const mi6_addr_t &destination)
{
    notice_datagram_t datagram = {};
    datagram.head.family = FAMILY_NOTICE;
    datagram.notice.code = code;
    datagram.notice.destination = destination;
    (void)sendto(fd, &datagram, sizeof datagram, MSG_DONTWAIT | MSG_NOSIGNAL,
                 reinterpret_cast<const sockaddr *>(&sock->path), sizeof sock->path);
}

bool isGone(int error)
{
    return error == ECONNREFUSED || error == ENOTCONN || error == ECONNRESET || error == ENOENT;
}

// False with errno. A file whose owner is gone is removed.
bool connectTo(receiver_t *receiver)
{
    char path[sizeof(sockaddr_un::sun_path)];
    sockaddr_un address;
    if (velmar_run_path(path, sizeof path, "mi6", receiver->file) != 0 || !runAddress(&address, path))
        return false;
    forget(receiver);
    receiver->fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (receiver->fd >= 0 && connect(receiver->fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0)
        return true;
    const int error = errno;
    forget(receiver);
    if (error == ECONNREFUSED)
        runRemoveStale(path);
    errno = error;
    return false;
}

int64_t monotonicMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

bool put(const receiver_t *receiver, const msghdr *message)
{
    return faultSend(FAULT_MANAGER_SEND, receiver->fd, message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

// From the bound socket: where there is no descriptor for a socket of the receiver's own, and by a reader, who is to be
// answered there.
bool putFrom(int fd, const receiver_t *receiver, const msghdr *message)
{
    char path[sizeof(sockaddr_un::sun_path)];
    sockaddr_un address;
    if (velmar_run_path(path, sizeof path, "mi6", receiver->file) != 0 || !runAddress(&address, path))
        return false;
    msghdr out = *message;
    out.msg_name = &address;
    out.msg_namelen = sizeof address;
    return faultSend(FAULT_MANAGER_SEND, fd, &out, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

// Without a wait: a receiver that would have to be waited for is marked. `address` is the receiver's, for notices.
sent_t sendOne(const mi6_sock_t *sock, int fd, receiver_t *receiver, const mi6_addr_t &address, const msghdr *message)
{
    receiver->full = false;
    bool sent = runIsReader() ? putFrom(fd, receiver, message) : receiver->fd >= 0 && put(receiver, message);
    if (!sent && !runIsReader() && (receiver->fd < 0 || isGone(errno))) {
        if (connectTo(receiver))
            sent = put(receiver, message);
        else if (errno == EMFILE || errno == ENFILE)
            sent = putFrom(fd, receiver, message);
        else
            return isGone(errno) ? sent_t::ABSENT : sent_t::FAILED;
    }
    receiver->full = !sent && errno == EAGAIN && !receiver->over && receiver->fd >= 0;
    if (!sent)
        return isGone(errno) ? sent_t::ABSENT : sent_t::FAILED;
    receiver->patience_ms = FULL_WAIT_MS;
    if (receiver->over) {
        receiver->over = false;
        notify(sock, fd, MI6_THRESHOLD_NORMAL, address);
    }
    return sent_t::TAKEN;
}

// The receivers that are full, for a poll; a row of it for each, in their order.
std::vector<pollfd> &fullOnes(mi6_sock_t *sock)
{
    static thread_local std::vector<pollfd> rows;
    rows.clear();
    for (const receiver_t &receiver : sock->receivers)
        if (receiver.full)
            rows.push_back({receiver.fd, POLLOUT, 0});
    return rows;
}

int64_t longestPatience(const mi6_sock_t *sock)
{
    int longest = 0;
    for (const receiver_t &receiver : sock->receivers)
        if (receiver.full)
            longest = std::max(longest, receiver.patience_ms);
    return longest;
}

// For who listens: the datagram as one receiver got it, or did not.
void tellSent(int fd, const char *peer, int error, const msghdr *message)
{
    tapSent({CAPTURE_MI, true, fd, peer, error}, message->msg_iov, message->msg_iovlen);
}

// Tries those that are full until each took the datagram, is gone or has used up its time. Gives how many took it.
unsigned sendToFull(mi6_sock_t *sock, int fd, const msghdr *message, int *failure)
{
    const int64_t start = monotonicMs();
    const int64_t limit = longestPatience(sock);
    unsigned taken = 0;
    for (int64_t passed = 0; passed < limit; passed = monotonicMs() - start) {
        std::vector<pollfd> &rows = fullOnes(sock);
        if (rows.empty())
            break;
        poll(rows.data(), rows.size(), static_cast<int>(limit - passed));
        size_t row = 0;
        for (receiver_t &receiver : sock->receivers) {
            if (!receiver.full || rows[row++].revents == 0)
                continue;
            const bool sent = put(&receiver, message);
            receiver.full = !sent && errno == EAGAIN;
            if (receiver.full)
                continue;
            const int waited = static_cast<int>(monotonicMs() - start);
            receiver.patience_ms -= waited > QUICK_MS ? waited : 0;
            taken += sent;
            tellSent(fd, receiver.file, sent ? 0 : errno, message);
            if (!sent && !isGone(errno))
                *failure = errno;
        }
    }
    return taken;
}

// Whether a datagram of one who may only read is to be let in: requests for figures alone, from a socket that can be
// answered. He is remembered for the answer.
bool letReaderIn(mi6_sock_t *sock, const msghdr &in, size_t got)
{
    const iovec &payload = in.msg_iov[1];
    const auto &from = *static_cast<const sockaddr_un *>(in.msg_name);
    if (in.msg_iovlen < 2 || got < sizeof(mi6_addr_t) || got - sizeof(mi6_addr_t) > payload.iov_len ||
        static_cast<const mi6_addr_t *>(in.msg_iov[0].iov_base)->family == FAMILY_NOTICE ||
        in.msg_namelen <= sizeof from.sun_family || !batchesOnlyRead(payload.iov_base, got - sizeof(mi6_addr_t)))
        return false;
    sock->reader = {from, in.msg_namelen, true, peerUser(&in)};
    return true;
}

// From a socket of its own, which what he does not read is charged to.
bool answerReader(mi6_sock_t *sock, int own, const msghdr *message)
{
    sockaddr_un to;
    int held;
    const bool known = runAnswerTo(sock->reader, &to, &held);
    sock->reader.reader = false;
    if (!known)
        return false;
    msghdr out = *message;
    out.msg_name = &to;
    out.msg_namelen = sizeof to;
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool sent = fd >= 0 && sendmsg(fd, &out, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
    tellSent(own, sock->reader.address.sun_path, sent ? 0 : errno, message);
    for (const int each : {fd, held})
        if (each >= 0)
            close(each);
    return sent;
}

bool isMeant(int slot, const mi6_addr_t &to)
{
    if (to.flags & (MI6_MANAGER | MI6_MANAGER_STANDBY))
        return slot == 0;
    return slot > 0 && (to.slot_mask >> (slot - 1) & 1) != 0;
}

// The 32 bytes of a notice, which lie in the caller's vectors.
void keepNotice(mi6_sock_t *sock, const msghdr *message)
{
    size_t done = 0;
    unsigned char *const to = reinterpret_cast<unsigned char *>(&sock->notice);
    for (size_t i = 0; i < message->msg_iovlen && done < sizeof sock->notice; ++i) {
        const size_t part = std::min(message->msg_iov[i].iov_len, sizeof sock->notice - done);
        memcpy(to + done, message->msg_iov[i].iov_base, part);
        done += part;
    }
    sock->pending = true;
}

void giveName(msghdr *message, const mi6_addr_t &address)
{
    if (message->msg_name)
        memcpy(message->msg_name, &address, std::min<size_t>(message->msg_namelen, sizeof address));
    message->msg_namelen = message->msg_name ? sizeof address : 0;
}

// The kept notice as a control message, cut to the caller's buffer as the kernel cuts one.
ssize_t receiveNotice(mi6_sock_t *sock, msghdr *message)
{
    if (!sock->pending) {
        errno = EAGAIN;
        return -1;
    }
    sock->pending = false;
    giveName(message, sock->notice.destination);
    message->msg_flags = MSG_ERRQUEUE;
    const size_t whole = CMSG_LEN(sizeof sock->notice);
    const size_t room = message->msg_control ? std::min<size_t>(message->msg_controllen, whole) : 0;
    if (room < whole)
        message->msg_flags |= MSG_CTRUNC;
    message->msg_controllen = room < sizeof(cmsghdr) ? 0 : room;
    if (room < sizeof(cmsghdr))
        return 0;
    cmsghdr head = {};
    head.cmsg_len = room;
    head.cmsg_level = SOL_MI6;
    head.cmsg_type = NOTICE_CMSG_TYPE;
    unsigned char *const to = static_cast<unsigned char *>(message->msg_control);
    memcpy(to, &head, sizeof head);
    if (room > CMSG_LEN(0))
        memcpy(to + CMSG_LEN(0), &sock->notice, room - CMSG_LEN(0));
    return 0;
}

// Managers send from sockets without a name, but say which end they are.
void tellReceived(int fd, const msghdr &in, size_t got)
{
    const auto &head = *static_cast<const mi6_addr_t *>(in.msg_iov[0].iov_base);
    const char *const path = static_cast<const sockaddr_un *>(in.msg_name)->sun_path;
    char end[8] = "mgr", name[40];
    if (head.slot_mask != 0)
        snprintf(end, sizeof end, "lc%d", __builtin_ctz(head.slot_mask) + 1);
    snprintf(name, sizeof name, "%.*s.%s.%d", static_cast<int>(sizeof head.service), head.service, end,
             static_cast<int>(peerProcess(&in)));
    tapCopy({CAPTURE_MI, false, fd, *path ? path : name, 0}, in.msg_iov, in.msg_iovlen, got);
}

} // namespace

ssize_t mi6Receive(mi6_sock_t *sock, int fd, msghdr *message, int flags)
{
    if (flags & MSG_ERRQUEUE)
        return receiveNotice(sock, message);
    sock->reader.reader = false; // what leaves from here on is no answer to him
    if (message->msg_iovlen > static_cast<size_t>(SOCKET_VECTORS)) {
        errno = EMSGSIZE;
        return -1;
    }
    mi6_addr_t head;
    iovec vectors[SOCKET_VECTORS + 1];
    vectors[0] = {&head, sizeof head};
    if (message->msg_iovlen > 0)
        memcpy(vectors + 1, message->msg_iov, message->msg_iovlen * sizeof *vectors);
    for (;;) {
        if ((flags & MSG_DONTWAIT) && (sock->drained >= DRAIN_DATAGRAMS || sock->drained_bytes >= DRAIN_BYTES)) {
            sock->drained = 0;
            sock->drained_bytes = 0;
            errno = EAGAIN;
            return -1;
        }
        peer_room_t room;
        sockaddr_un from = {};
        bool reader = false;
        msghdr in = {};
        in.msg_name = &from;
        in.msg_namelen = sizeof from - 1; // what it leaves ends the path
        in.msg_iov = vectors;
        in.msg_iovlen = message->msg_iovlen + 1;
        in.msg_control = room.bytes;
        in.msg_controllen = PEER_ROOM_ALONE;
        const ssize_t got = faultReceive(FAULT_MANAGER_RECEIVE, fd, &in, flags);
        if (got < 0) {
            sock->drained = 0;
            sock->drained_bytes = 0;
            return got;
        }
        ++sock->drained;
        sock->drained_bytes += static_cast<size_t>(got);
        if (!peerMaySend(fd, &in, sock->self.slot_mask != 0 ? &reader : nullptr) ||
            got < static_cast<ssize_t>(sizeof head))
            continue;
        if (reader && !letReaderIn(sock, in, static_cast<size_t>(got))) {
            peerRefuse(fd, &in);
            continue;
        }
        if (head.family == FAMILY_NOTICE) {
            if (got < static_cast<ssize_t>(sizeof(notice_datagram_t)))
                continue;
            keepNotice(sock, message);
            errno = ERRNO_NOTICE;
            return -1;
        }
        if (tapped(CAPTURE_MI))
            tellReceived(fd, in, static_cast<size_t>(got));
        giveName(message, head);
        message->msg_flags = in.msg_flags;
        message->msg_controllen = 0;
        return got - static_cast<ssize_t>(sizeof head);
    }
}

void mi6DropWaiting()
{
    constexpr int MOST = 4096; // of a socket, whoever keeps sending
    for (int fd = 0; fd < SOCKET_FDS; ++fd) {
        unsigned char byte;
        for (int i = 0; i < MOST && socket_slots[fd].mi6; ++i)
            if (recv(fd, &byte, sizeof byte, MSG_DONTWAIT | MSG_TRUNC) < 0)
                break;
    }
}

void mi6Close(mi6_sock_t *sock)
{
    for (receiver_t &receiver : sock->receivers)
        forget(&receiver);
    for (const int kept : {sock->watch, sock->spare})
        if (kept >= 0)
            close(kept);
    delete sock;
}

int mi6_open(const mi6_addr_t *local, const mi6_addr_t *)
{
    const uint16_t mask = local->slot_mask;
    char service[sizeof local->service + 1] = {};
    memcpy(service, local->service, sizeof local->service);
    if (local->family != AF_MI6 || !*service || strchr(service, '/') || strlen(service) >= sizeof local->service) {
        complain("cannot open an MI6 socket: '%s' is no service name (1 to %zu characters, none of them a '/')",
                 service, sizeof local->service - 1);
        errno = EINVAL;
        return -1;
    }
    char name[32];
    if (mask == 0)
        snprintf(name, sizeof name, "%s.mgr", service);
    else
        snprintf(name, sizeof name, "%s.lc%d", service, __builtin_ctz(mask) + 1);
    char path[sizeof(sockaddr_un::sun_path)] = "";
    const int fd = velmar_run_bind("mi6", name, true, path, sizeof path);
    if (fd < 0) {
        const int error = errno;
        complain("cannot bind MI6 socket %s: %s", *path ? path : name, strerror(error));
        errno = error;
        return -1;
    }
    if (fd >= SOCKET_FDS) {
        velmar_run_close(fd);
        errno = EMFILE;
        return -1;
    }
    mi6_sock_t *sock = new mi6_sock_t{};
    sock->watch = sock->spare = -1;
    keepSpare(sock);
    sock->self.family = AF_MI6;
    memcpy(sock->self.service, service, sizeof sock->self.service);
    sock->self.slot_mask = mask;
    sock->self.flags = mask == 0 ? MI6_MANAGER : MI6_LINE_CARD;
    runAddress(&sock->path, path);
    socket_slots[fd] = {sock, nullptr};
    return fd;
}

int mi6_send(int fd, const mi6_addr_t *to, const struct iovec *vector, int count, int *)
{
    mi6_sock_t *sock = fd >= 0 && fd < SOCKET_FDS ? socket_slots[fd].mi6 : nullptr;
    if (!sock || count < 0 || count > SOCKET_VECTORS) {
        errno = sock ? EMSGSIZE : ENOTSOCK;
        return -1;
    }
    driverLeft();
    batchesSent(to->service, vector, static_cast<size_t>(count));
    replicaCommit();
    refresh(sock);
    iovec vectors[SOCKET_VECTORS + 1];
    vectors[0] = {&sock->self, sizeof sock->self};
    size_t length = 0;
    for (int i = 0; i < count; ++i) {
        vectors[i + 1] = vector[i];
        length += vector[i].iov_len;
    }
    msghdr message = {};
    message.msg_iov = vectors;
    message.msg_iovlen = static_cast<size_t>(count) + 1;
    unsigned taken = 0;
    unsigned full = 0;
    bool any = false;
    int failure = 0;
    const size_t service_length = strnlen(to->service, sizeof to->service);
    for (receiver_t &receiver : sock->receivers) {
        receiver.full = false;
        const int slot = slotIn(receiver.file, to->service, service_length);
        if (!isMeant(slot, *to))
            continue;
        any = true;
        const sent_t outcome = sendOne(sock, fd, &receiver, addressOf(*to, slot), &message);
        taken += outcome == sent_t::TAKEN;
        full += receiver.full;
        if (!receiver.full)
            tellSent(fd, receiver.file, outcome == sent_t::TAKEN ? 0 : errno, &message);
        if (outcome == sent_t::FAILED && !receiver.full)
            failure = errno;
    }
    if (full > 0) {
        taken += sendToFull(sock, fd, &message, &failure);
        for (receiver_t &receiver : sock->receivers) {
            if (!receiver.full)
                continue;
            receiver.over = true;
            tellSent(fd, receiver.file, EAGAIN, &message);
            notify(sock, fd, MI6_THRESHOLD_HIGH, addressOf(*to, slotIn(receiver.file, to->service, service_length)));
            failure = EAGAIN;
        }
    }
    if (sock->reader.reader && (to->flags & MI6_MANAGER) != 0)
        taken += answerReader(sock, fd, &message);
    hostPoint();
    if (taken > 0)
        return static_cast<int>(length);
    if (failure) {
        errno = failure;
        return -1;
    }
    char service[sizeof to->service + 1] = {};
    memcpy(service, to->service, service_length);
    if (!any)
        tellSent(fd, service, ECONNREFUSED, &message);
    notify(sock, fd, MI6_DESTINATION_INVALID, *to);
    return 0;
}
