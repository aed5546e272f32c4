// SPDX-License-Identifier: Apache-2.0
// The catalogue of message codes: name, least length and field table of each.
#ifndef AGENT_MESSAGES_CATALOGUE_H
#define AGENT_MESSAGES_CATALOGUE_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/fields.h"

struct qosMsgInfo_t {
    uint8_t code;
    // Bytes that a handler needs before it may be called, and 0 where there is no handler. Records that a count inside
    // the body adds are not in it.
    uint16_t min_len;
    const char *name;     // as the trace prints it
    const wireBody *body; // null for a code that no message carries
};

extern const qosMsgInfo_t qosMsgCatalogue[QOS_MSG_CODES];

// The row of a code, null outside the catalogue. For the dispatcher, the tool and the tests.
const qosMsgInfo_t *qosMsgInfo(unsigned code);

// The name of a code for traces, "Unknown" outside the catalogue.
const char *qosMsgName(unsigned code);

#endif
