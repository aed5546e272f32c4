// SPDX-License-Identifier: Apache-2.0
// The kernel's word on who sent a datagram (SCM_CREDENTIALS) or holds a connection's other end (SO_PEERCRED).
#include "host/peer.h"

#include <atomic>
#include <cstring>
#include <sys/un.h>
#include <unistd.h>

#include "host/raslog.h"

namespace {

std::atomic<unsigned> refused;
std::atomic<uid_t> self; // as which the process opened its sockets: to ask for it at each datagram is a call

bool isFriend(const ucred &peer, uid_t own)
{
    return peer.uid == own || peer.uid == 0;
}

void refuse(int fd, const ucred &peer)
{
    sockaddr_un own = {};
    socklen_t length = sizeof own - 1; // what it leaves ends the path
    getsockname(fd, reinterpret_cast<sockaddr *>(&own), &length);
    const char *const slash = strrchr(own.sun_path, '/');
    refused.fetch_add(1, std::memory_order_relaxed);
    rasLog("user %u is not let in at %s", static_cast<unsigned>(peer.uid), slash ? slash + 1 : "a socket");
}

} // namespace

void peerAsk(int fd)
{
    const int on = 1;
    self.store(geteuid(), std::memory_order_relaxed);
    setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
}

bool peerMaySend(int fd, const msghdr *received)
{
    ucred peer = {0, static_cast<uid_t>(-1), static_cast<gid_t>(-1)};
    const cmsghdr *const head = CMSG_FIRSTHDR(received);
    if (head && head->cmsg_level == SOL_SOCKET && head->cmsg_type == SCM_CREDENTIALS &&
        head->cmsg_len >= CMSG_LEN(sizeof peer))
        memcpy(&peer, CMSG_DATA(head), sizeof peer);
    if (isFriend(peer, self.load(std::memory_order_relaxed)))
        return true;
    refuse(fd, peer);
    return false;
}

bool peerMayConnect(int fd, int *pid)
{
    ucred peer = {0, static_cast<uid_t>(-1), static_cast<gid_t>(-1)};
    socklen_t length = sizeof peer;
    *pid = 0;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 && isFriend(peer, geteuid())) {
        *pid = peer.pid;
        return true;
    }
    refuse(fd, peer);
    return false;
}

int peerFile(const msghdr *received)
{
    int file = -1;
    for (const cmsghdr *head = CMSG_FIRSTHDR(received); head;
         head = CMSG_NXTHDR(const_cast<msghdr *>(received), const_cast<cmsghdr *>(head)))
        if (head->cmsg_level == SOL_SOCKET && head->cmsg_type == SCM_RIGHTS && head->cmsg_len >= CMSG_LEN(sizeof file))
            memcpy(&file, CMSG_DATA(head), sizeof file);
    return file;
}

unsigned peersRefused()
{
    return refused.load(std::memory_order_relaxed);
}
