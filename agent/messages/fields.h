// SPDX-License-Identifier: Apache-2.0
// How a message body is described to those that read it by name: the manager's tool, the tests, the fuzzers.
//
// A table is made from the body's own struct, so a layout is written down once.
#ifndef AGENT_MESSAGES_FIELDS_H
#define AGENT_MESSAGES_FIELDS_H

#include <cstdint>

// How the bytes of a field are read. Fields in the machine's own order, which stay inside the agent, are Native.
enum class wireKind : uint8_t { Unsigned, Signed, Chars, Native };

// One field of a body. An array has a count above 1; `stride` is the distance of its elements, which is the width
// unless the field is a member of repeated records ("portInfo.ifindex" with the records' size). A count of 0 is a
// member of the records that follow the fixed part: as many as the body's own count says, or as the rest of the body
// has room for.
struct wireField {
    const char *name;
    uint16_t offset;
    uint16_t width; // bytes of one element: 1, 2, 4 or 8 for integers, the whole field for Chars and Native
    uint16_t count;
    uint16_t stride;
    wireKind kind;
};

struct wireBody {
    const char *name; // the record's name, "qosL2PriMsg_t"
    uint16_t size;    // bytes of the body without anything that a count inside it adds
    uint16_t numFields;
    const wireField *fields;
};

#endif
