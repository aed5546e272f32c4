// SPDX-License-Identifier: Apache-2.0
// The system calls of the two closed socket families, by the kind of the descriptor. Any other descriptor goes to the
// system call itself.
#include "velmar/socket.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "host/run.h"
#include "host/socket.h"

socket_slot_t socket_slots[SOCKET_FDS];

namespace {

socket_slot_t *slotOf(int fd)
{
    static socket_slot_t none;
    return fd >= 0 && fd < SOCKET_FDS ? &socket_slots[fd] : &none;
}

} // namespace

int socketDropErrors(struct pollfd *fds, unsigned count)
{
    int dropped = 0;
    for (pollfd *entry = fds; entry != fds + count; ++entry) {
        if ((entry->revents & (POLLERR | POLLIN)) != POLLERR)
            continue;
        const socket_slot_t *slot = slotOf(entry->fd);
        int error = 0;
        socklen_t length = sizeof error;
        if ((!slot->mi6 && !slot->qos) || getsockopt(entry->fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0 || !error)
            continue;
        entry->revents &= ~POLLERR;
        dropped += entry->revents == 0;
    }
    return dropped;
}

qos_sock_t *socketAlone(int nfds, const fd_set *readable, const fd_set *writable, const fd_set *except)
{
    const int fd = nfds - 1;
    const socket_slot_t *slot = slotOf(fd);
    if (!slot->qos || fd >= FD_SETSIZE || !readable || writable || except || !FD_ISSET(fd, readable))
        return nullptr;
    fd_set alone;
    FD_ZERO(&alone);
    FD_SET(fd, &alone);
    return memcmp(&alone, readable, sizeof alone) == 0 ? slot->qos : nullptr;
}

int velmar_socket(int family, int type, int protocol)
{
    return family == AF_QOS ? qosOpen() : socket(family, type | SOCK_CLOEXEC, protocol);
}

int velmar_bind(int fd, const void *address, size_t length)
{
    const socket_slot_t *slot = slotOf(fd);
    if (slot->qos)
        return qosBind(slot->qos, fd, address, length);
    return bind(fd, static_cast<const sockaddr *>(address), static_cast<socklen_t>(length));
}

ssize_t velmar_sendmsg(int fd, const struct msghdr *message, int flags)
{
    const socket_slot_t *slot = slotOf(fd);
    if (slot->qos)
        return qosSend(slot->qos, fd, message, flags);
    if (slot->mi6) {
        errno = EOPNOTSUPP;
        return -1;
    }
    return sendmsg(fd, message, flags);
}

ssize_t velmar_recvmsg(int fd, struct msghdr *message, int flags)
{
    const socket_slot_t *slot = slotOf(fd);
    if (slot->mi6)
        return mi6Receive(slot->mi6, fd, message, flags);
    if (slot->qos)
        return qosReceive(slot->qos, fd, message, flags);
    return recvmsg(fd, message, flags);
}

int velmar_close(int fd)
{
    socket_slot_t *slot = slotOf(fd);
    if (slot->mi6)
        mi6Close(slot->mi6);
    if (slot->qos)
        qosClose(slot->qos);
    *slot = {};
    runForget(fd);
    return close(fd);
}

int pal_sock_set_recvbuf(int fd, int size)
{
    return setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
}

int pal_sock_get_recvbuf(int fd, int *size)
{
    socklen_t length = sizeof *size;
    return getsockopt(fd, SOL_SOCKET, SO_RCVBUF, size, &length);
}

// The kernel doubles the size for its own overhead, so a frame of 4116 bytes passes with the 8192 that are asked for.
int pal_sock_set_sendbuf(int fd, int size)
{
    return setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
}
