// SPDX-License-Identifier: Apache-2.0
// What a process that is asked to sends to the listener of a capture: a datagram for each that passes its sockets, this
// head and then the bytes. Both are on one machine, so the head is in native order.
#ifndef VELMAR_CAPTURE_H
#define VELMAR_CAPTURE_H

#include <cstddef>
#include <cstdint>

constexpr uint32_t CAPTURE_MAGIC = 0x43617031; // tells it from the answer to a command

enum capture_kind_t : uint8_t { CAPTURE_MI = 1, CAPTURE_DRIVER = 2 };

struct capture_head_t {
    uint32_t magic;
    uint32_t dropped; // copies so far that the listener's queue did not take
    uint64_t time_ns; // since 1970
    int32_t error;    // errno of a send that was refused, 0 for one that was not and for what was received
    int32_t pid;      // the sender's
    capture_kind_t kind;
    bool outbound;
    char own[40]; // the socket's name, ended by a 0
    char peer[46];
};
static_assert(sizeof(capture_head_t) == 112 && offsetof(capture_head_t, own) == 26);

#endif
