// SPDX-License-Identifier: Apache-2.0
// Inside the host library: faults by name, which a person or a test puts into the running process through its control
// socket, or from its start by VELMAR_FAULTS. Without that variable nothing can be armed, and a place costs one load.
#ifndef HOST_FAULT_H
#define HOST_FAULT_H

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string>
#include <sys/socket.h>

// Where a fault bites. Each passage of a place counts for the faults that are armed there.
enum fault_place_t : uint32_t {
    FAULT_POINT = 1 << 0, // those of host/point.h, and a packet that a standby takes
    FAULT_BLOCK = 1 << 1, // a block of the store
    FAULT_PAGE = 1 << 2,  // the first write to a page of it
    FAULT_ROOM = 1 << 3,  // memory for a dump, at either side
    FAULT_DRIVER_SEND = 1 << 4,
    FAULT_DRIVER_RECEIVE = 1 << 5,
    FAULT_MANAGER_SEND = 1 << 6,
    FAULT_MANAGER_RECEIVE = 1 << 7,
    FAULT_DUMP = 1 << 8, // a packet to a standby
    FAULT_DELTA = 1 << 9,
    FAULT_PACKET = 1 << 10, // a packet from the other side
    FAULT_WRITE = 1 << 11,  // to a file, but for its length
    FAULT_LENGTH = 1 << 12,
    FAULT_NAME = 1 << 13, // of a file that comes into being
};

// What happens at a place: nothing, a system call's error (above 0), or one of these to what is sent or received.
enum fault_wrong_t : int {
    FAULT_NOTHING = 0,
    FAULT_CUT = -1,
    FAULT_LOST = -2,
    FAULT_TWICE = -3,
    FAULT_OVERTAKES = -4, // it has the number of the one behind it
    FAULT_OLD_COPY = -5,  // it goes by another number than was written down
};

extern std::atomic<bool> faults_armed;
int faultPass(fault_place_t place); // any context, a signal handler included

inline int faultAt(fault_place_t place)
{
    return faults_armed.load(std::memory_order_relaxed) ? faultPass(place) : FAULT_NOTHING;
}

// True with errno if the system call that stands here is to fail.
inline bool faultFails(fault_place_t place)
{
    const int wrong = faultAt(place);
    if (wrong > 0)
        errno = wrong;
    return wrong > 0;
}

// The system calls, with what is armed for the place.
ssize_t faultSend(fault_place_t place, int fd, const msghdr *message, int flags);
ssize_t faultReceive(fault_place_t place, int fd, msghdr *message, int flags);

void faultOpen();                          // what VELMAR_FAULTS says
std::string faultCommand(const char *arg); // the answer to "fault ..."

#endif
