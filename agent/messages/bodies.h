// SPDX-License-Identifier: Apache-2.0
// Which body a code carries and what the chip operation of the same code takes, for tables that are typed by code.
// Includes every body: for the dispatcher and the table of chip operations, not for modules.
#ifndef AGENT_MESSAGES_BODIES_H
#define AGENT_MESSAGES_BODIES_H

#include "agent/messages/chip.h"
#include "agent/messages/codes.h"
#include "agent/messages/congestion.h"
#include "agent/messages/drop_monitor.h"
#include "agent/messages/policer.h"
#include "agent/messages/priority.h"
#include "agent/messages/scheduler.h"
#include "agent/messages/statistics.h"

struct qosChip_t;

namespace qosBodiesDetail {

struct same;
struct none;

template <typename Body, typename Operation>
struct operation {
    using type = Operation;
};
template <typename Body>
struct operation<Body, same> {
    using type = Body;
};
template <typename Body>
struct operation<Body, none> {
    using type = void;
};

template <uint8_t Code>
struct row;
#define QOS_CODE(number, name, record, least, handler, takes)                                                          \
    template <>                                                                                                        \
    struct row<number> {                                                                                               \
        using body = record;                                                                                           \
        using entry = operation<record, takes>::type;                                                                  \
    };
#define QOS_UNNAMED QOS_CODE
#include "agent/messages/codes.def"
#undef QOS_UNNAMED
#undef QOS_CODE

} // namespace qosBodiesDetail

// The record behind the header of a message; void for a code that no message carries.
template <uint8_t Code>
using qosBodyOf = typename qosBodiesDetail::row<Code>::body;

// What the entries of qaIoctlFn for a code take; void if no chip type can have one.
template <uint8_t Code>
using qosOperationOf = typename qosBodiesDetail::row<Code>::entry;

#endif
