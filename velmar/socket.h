// SPDX-License-Identifier: Apache-2.0
// The descriptors of the two closed socket families: MI6 (58) and AF_QOS (64). On a switch these are plain system
// calls.
#ifndef VELMAR_SOCKET_H
#define VELMAR_SOCKET_H

#include <cstddef>
#include <cstdint>
#include <sys/socket.h>
#include <sys/types.h>

#include "velmar/wire.h"

constexpr int AF_MI6 = 58;
constexpr int AF_QOS = 64;
constexpr int SOL_MI6 = 406;

// The address of AF_QOS as bind and send take it.
struct qosSockAddr_t {
    ne16 family; // 64
    uint8_t reserved_2[6];
    ne32 group; // 1 commands, 6 events, 8 the manager role's requests
    uint8_t reserved_12[16];
};
static_assert(sizeof(qosSockAddr_t) == 28 && offsetof(qosSockAddr_t, group) == 8);

// As socket(2), bind(2), sendmsg(2), recvmsg(2) and close(2): -1 with errno on failure.
int velmar_socket(int family, int type, int protocol);
int velmar_bind(int fd, const void *address, size_t length);
ssize_t velmar_sendmsg(int fd, const struct msghdr *message, int flags);
ssize_t velmar_recvmsg(int fd, struct msghdr *message, int flags);
int velmar_close(int fd);

// Socket buffer sizes in bytes: 0, or -1 with errno.
int pal_sock_set_recvbuf(int fd, int size);
int pal_sock_get_recvbuf(int fd, int *size);
int pal_sock_set_sendbuf(int fd, int size);

#endif
