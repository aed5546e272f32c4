// SPDX-License-Identifier: Apache-2.0
// The header of every message. A batch is messages end to end, each a qosMsgHdr_t and its body; all integers are
// big-endian and nothing is padded. docs/wire.md draws it.
#ifndef AGENT_MESSAGES_HEADER_H
#define AGENT_MESSAGES_HEADER_H

#include <cstdint>
#include <cstring>

#include "agent/messages/codes.h"
#include "velmar/members.h"

struct qosMsgHdr_t {
    uint8_t msg_type;
    be16 msg_len;      // bytes of the body
    uint8_t msg_seqno; // the sender's, left alone
    uint8_t msg_ack;   // 0 in a request, 1 once dispatched
    unsigned char msg_data[0];
};
QOS_MEMBERS(qosMsgHdr_t, 5, F(0, msg_type), F(1, msg_len), F(3, msg_seqno), F(4, msg_ack), TYPED(5, msg_data, "~Chr"));

// A name off the wire, which need not be terminated, as a text.
struct qosName_t {
    char text[21];
};

inline qosName_t qosNameOf(const char (&field)[20])
{
    qosName_t name;
    std::memcpy(name.text, field, sizeof field);
    name.text[sizeof field] = '\0';
    return name;
}

#endif
