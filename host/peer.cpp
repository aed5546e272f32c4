// SPDX-License-Identifier: Apache-2.0
// The kernel's word on who sent a datagram (SCM_CREDENTIALS) or holds a connection's other end (SO_PEERCRED).
#include "host/peer.h"

#include <atomic>
#include <cstring>
#include <grp.h>
#include <pwd.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "host/raslog.h"

namespace {

std::atomic<unsigned> refused;
std::atomic<uid_t> self; // as which the process opened its sockets: to ask for it at each datagram is a call

constexpr gid_t NO_GROUP = static_cast<gid_t>(-1);
constexpr uid_t NOBODY = static_cast<uid_t>(-1);
constexpr int GROUPS_MOST = 1024; // of one user
std::atomic<gid_t> readers{NO_GROUP};
std::atomic<uid_t> owner{NOBODY};

bool isFriend(const ucred &peer, uid_t own)
{
    return peer.uid == own || peer.uid == 0 || (peer.uid != NOBODY && peer.uid == owner.load());
}

bool isMember(uid_t uid, gid_t group)
{
    char text[4096];
    passwd user;
    passwd *found = nullptr;
    gid_t groups[GROUPS_MOST];
    int count = GROUPS_MOST;
    if (getpwuid_r(uid, &user, text, sizeof text, &found) != 0 || !found ||
        getgrouplist(user.pw_name, user.pw_gid, groups, &count) < 0)
        return false;
    for (int i = 0; i < count; ++i)
        if (groups[i] == group)
            return true;
    return false;
}

// By the group that it runs in, or as the system's groups have its user: /proc may not tell of others. To ask these may
// take long, so what they said of a user holds for some seconds.
bool isReader(const ucred &peer)
{
    constexpr uint32_t HOLDS_S = 10;
    static std::atomic<uint64_t> said; // the user, seconds up to which it holds, and 1 for a member
    const gid_t group = readers.load();
    if (group == NO_GROUP || peer.uid == NOBODY)
        return false;
    if (peer.gid == group)
        return true;
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    const uint32_t seconds = static_cast<uint32_t>(now.tv_sec) & 0x3fffffff;
    const uint64_t last = said.load();
    const uint32_t until = static_cast<uint32_t>(last) >> 1;
    if (last >> 32 == peer.uid && until > seconds && until <= seconds + HOLDS_S)
        return last & 1;
    const bool member = isMember(peer.uid, group);
    said = uint64_t{peer.uid} << 32 | uint64_t{seconds + HOLDS_S} << 1 | (member ? 1 : 0);
    return member;
}

ucred senderOf(const msghdr *received)
{
    ucred peer = {0, NOBODY, NO_GROUP};
    const cmsghdr *const head = CMSG_FIRSTHDR(received);
    if (head && head->cmsg_level == SOL_SOCKET && head->cmsg_type == SCM_CREDENTIALS &&
        head->cmsg_len >= CMSG_LEN(sizeof peer))
        memcpy(&peer, CMSG_DATA(head), sizeof peer);
    return peer;
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

bool peerMaySend(int fd, const msghdr *received, bool *reader)
{
    const ucred peer = senderOf(received);
    const bool is_friend = isFriend(peer, self.load(std::memory_order_relaxed));
    const bool reads = !is_friend && reader && isReader(peer);
    if (reader)
        *reader = reads;
    if (is_friend || reads)
        return true;
    refuse(fd, peer);
    return false;
}

uid_t peerUser(const msghdr *received)
{
    return senderOf(received).uid;
}

pid_t peerProcess(const msghdr *received)
{
    return senderOf(received).pid;
}

void peerRefuse(int fd, const msghdr *received)
{
    refuse(fd, senderOf(received));
}

void peerSetReaders(gid_t group)
{
    readers = group;
}

void peerSetOwner(uid_t user)
{
    owner = user;
}

bool peerMayConnect(int fd, int *pid)
{
    ucred peer = {0, NOBODY, NO_GROUP};
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
