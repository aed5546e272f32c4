// SPDX-License-Identifier: Apache-2.0
// MI6, the datagram transport between manager and agents.
#ifndef VELMAR_MI6_H
#define VELMAR_MI6_H

#include <cstddef>
#include <cstdint>
#include <sys/uio.h>

#include "velmar/wire.h"

// Address of one service on one or more slots.
struct mi6_addr_t {
    ne16 family; // 58
    char service[14];
    ne16 slot_mask; // bit n is slot n+1
    uint8_t reserved_18;
    uint8_t flags; // 8 and 4 a manager address, 2 and 1 a line card address
};
static_assert(sizeof(mi6_addr_t) == 20 && offsetof(mi6_addr_t, slot_mask) == 16 && offsetof(mi6_addr_t, flags) == 19);

constexpr uint8_t MI6_MANAGER = 8;
constexpr uint8_t MI6_MANAGER_STANDBY = 4;
constexpr uint8_t MI6_LINE_CARD = 2;
constexpr uint8_t MI6_LINE_CARD_STANDBY = 1;

// Control data of an error queue read, level SOL_MI6: what became of a destination.
struct mi6_notice_t {
    ne32 code;
    uint8_t unused[8];
    mi6_addr_t destination;
};
static_assert(sizeof(mi6_notice_t) == 32 && offsetof(mi6_notice_t, destination) == 12);

constexpr uint32_t MI6_THRESHOLD_HIGH = 4;
constexpr uint32_t MI6_THRESHOLD_NORMAL = 5;
constexpr uint32_t MI6_DESTINATION_INVALID = 6;

// Opens a datagram socket of the local service: a descriptor, or -1 with errno. `peer` may be all zero. Works with
// velmar_recvmsg, poll and select; a receive that meets a notice fails with errno 68, and the notice is then read with
// MSG_ERRQUEUE.
int mi6_open(const mi6_addr_t *local, const mi6_addr_t *peer);

// Sends one datagram to every receiver that the address names. Negative with errno only if no receiver took it.
int mi6_send(int fd, const mi6_addr_t *to, const struct iovec *vector, int count, int *flags);

#endif
