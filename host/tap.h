// SPDX-License-Identifier: Apache-2.0
// Inside the host library: copies of what passes the sockets of manager channel and driver, for the listener of a
// capture. While there is none a place costs one load.
#ifndef HOST_TAP_H
#define HOST_TAP_H

#include <atomic>
#include <cstdint>
#include <string>
#include <sys/uio.h>

#include "velmar/capture.h"

// The kinds that somebody listens to, and above them a number that each change makes higher.
extern std::atomic<uint32_t> tap_state;

inline bool tapped(capture_kind_t kind)
{
    return (tap_state.load(std::memory_order_relaxed) & kind) != 0;
}

// Sends a copy without a wait; `length` are the bytes of the vectors that count. errno stays. Any thread.
struct tap_copy_t {
    capture_kind_t kind;
    bool outbound;
    int fd;           // the socket that it passes
    const char *peer; // its name, or its path
    int error;        // of a send that was refused
};
void tapCopy(const tap_copy_t &copy, const iovec *vector, size_t count, size_t length);

// Likewise of all bytes, where somebody listens.
inline void tapSent(const tap_copy_t &copy, const iovec *vector, size_t count)
{
    if (tapped(copy.kind))
        tapCopy(copy, vector, count, SIZE_MAX);
}

std::string tapCommand(const char *arg); // the answer to "capture ..."

#endif
