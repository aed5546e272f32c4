// SPDX-License-Identifier: Apache-2.0
// The message codes, what a handler answers, and the index that means everything.
#ifndef AGENT_MESSAGES_CODES_H
#define AGENT_MESSAGES_CODES_H

#include <cstdint>

enum : uint8_t {
#define QOS_CODE(number, name, ...) name = number,
#define QOS_UNNAMED QOS_CODE
#include "agent/messages/codes.def"
#undef QOS_UNNAMED
#undef QOS_CODE
};

#define QOS_CODE(...) +1
#define QOS_UNNAMED QOS_CODE
constexpr unsigned QOS_MSG_CODES = 0
#include "agent/messages/codes.def"
    ;
#undef QOS_UNNAMED
#undef QOS_CODE

// What a handler returns and, but where it says otherwise, leaves in the body's status. The driver's own failures come
// through as they are: other values are those of the driver channel.
enum [[nodiscard]] qosMsgStatus_t : uint32_t{
    QOS_MSG_DONE = 0,
    QOS_MSG_REFUSED = 1,         // unknown interface, no chip behind it, or no back-end entry for the chip type
    QOS_MSG_NO_MEMORY = 2,       // no memory, or a failed interface add
    QOS_MSG_INVALID_BATCH = 20,  // the dispatcher's own: a code or a length that no batch can have
    QOS_MSG_DRIVER_REFUSED = 22, // the driver refused, or its response does not match
    QOS_MSG_NOT_FOUND = 24,      // unknown interface or chip in a configuration step
    QOS_MSG_UNSERVED = 25,       // unknown interface or chip, or no back-end entry, for statistics and clears
    QOS_MSG_OWN_SCHEDULER = 108  // the port's own scheduler forbids the global one
};

// Results joined: 0 if all are.
constexpr qosMsgStatus_t &operator|=(qosMsgStatus_t &joined, qosMsgStatus_t status)
{
    return joined = static_cast<qosMsgStatus_t>(uint32_t{joined} | uint32_t{status});
}

// How an operation of the driver ended, from the request up to the back-end entry: what the manager finds in the status
// of the message that asked for it.
using qosDriverStatus_t = qosMsgStatus_t;

// All interfaces, or the chip as a whole, in every field that holds an interface index.
constexpr uint32_t QOS_ALL_CHIPS_IFINDEX = 0x8bc00000;

#endif
