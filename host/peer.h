// SPDX-License-Identifier: Apache-2.0
// Inside the host library: who is at the other end. The modes of the run directory keep strangers out; what comes in
// all the same (a socket file whose mode somebody changed, a descriptor that was passed on) is thrown away and counted.
#ifndef HOST_PEER_H
#define HOST_PEER_H

#include <sys/socket.h>

// Room for the sender's credentials, and for one descriptor beside them: the kernel keeps any that does not fit.
constexpr size_t PEER_ROOM_ALONE = CMSG_SPACE(sizeof(ucred)); // where no descriptor is wanted
constexpr size_t PEER_ROOM_WITH_FILE = PEER_ROOM_ALONE + CMSG_LEN(sizeof(int));
struct peer_room_t {
    alignas(cmsghdr) char bytes[PEER_ROOM_WITH_FILE];
};

// From here on each datagram that comes to the socket tells who sent it.
void peerAsk(int fd);
// Whether it is this user, or root; with `reader` also a member of the group that may read, which it then says. False
// also where a datagram tells nothing.
bool peerMaySend(int fd, const msghdr *received, bool *reader = nullptr);
// Likewise of a connection's other end, of which the process is given; 0 if it cannot be told.
bool peerMayConnect(int fd, int *pid);
unsigned peersRefused();                         // of both
void peerRefuse(int fd, const msghdr *received); // one that was let in, for what it wants

// The group that may read, and for such a reader the user whose answers are to be taken. Set once, before any socket is
// opened.
void peerSetReaders(gid_t group);
void peerSetOwner(uid_t owner);

uid_t peerUser(const msghdr *received);    // who sent it
pid_t peerProcess(const msghdr *received); // likewise, 0 if it cannot be told

// The descriptor that came with a message, or -1.
int peerFile(const msghdr *received);

#endif
