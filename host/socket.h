// SPDX-License-Identifier: Apache-2.0
// Inside the host library: what stands behind a descriptor of the two closed socket families.
#ifndef HOST_SOCKET_H
#define HOST_SOCKET_H

#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/types.h>

constexpr int SOCKET_FDS = 4096; // descriptors from here on are refused

struct mi6_sock_t;
struct qos_sock_t;

// One of the two, or neither for a descriptor that is not ours. A socket is used by one thread at a time.
struct socket_slot_t {
    mi6_sock_t *mi6;
    qos_sock_t *qos;
};
extern socket_slot_t socket_slots[SOCKET_FDS];

constexpr int SOCKET_VECTORS = 15; // most vectors of one message

// Takes the connection's pending error off those of our descriptors for which a poll reports nothing else, as nobody
// reads them then. Gives the number of entries that are left with nothing to report.
int socketDropErrors(struct pollfd *fds, unsigned count);

// The driver's socket if it, `nfds` - 1, is all that a select asks for, or null.
qos_sock_t *socketAlone(int nfds, const fd_set *readable, const fd_set *writable, const fd_set *except);

ssize_t mi6Receive(mi6_sock_t *sock, int fd, msghdr *message, int flags);
void mi6Close(mi6_sock_t *sock);
// Throws away what waits at this process's sockets: it came while another process was there to work on it.
void mi6DropWaiting();

int qosOpen();
int qosBind(qos_sock_t *sock, int fd, const void *address, size_t length);
ssize_t qosSend(qos_sock_t *sock, int fd, const msghdr *message, int flags);
ssize_t qosReceive(qos_sock_t *sock, int fd, msghdr *message, int flags);
void qosClose(qos_sock_t *sock);
// Waits a short while for a datagram, or the connection's end, and keeps it for the next receive. 1 if there is one, 0
// if none came, -1 if it has to be waited for by other means.
int qosAwait(qos_sock_t *sock, int fd);
bool qosKeeps(const qos_sock_t *sock);
// Marks the entries as readable whose datagram is kept already, and no others. Gives their number.
int qosMarkKept(struct pollfd *fds, unsigned count);

#endif
