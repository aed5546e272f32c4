// SPDX-License-Identifier: Apache-2.0
// Finds messages and fields by the names a person types. Relies on the catalogue of agent/messages/ alone.
#ifndef TOOLS_NAMES_H
#define TOOLS_NAMES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "agent/messages/catalogue.h"

using ctlBytes = std::vector<uint8_t>;

// The name in `known` that is most like `wanted`, empty if there is none.
std::string ctlNearest(const std::string &wanted, const std::vector<std::string> &known);

// The message that `text` names: QOS_COSTRUST_MSG, COSTRUST, costrust or its code. Refuses any other text.
const qosMsgInfo_t &ctlFindMessage(const std::string &text);

// The full name of a code, also of the two that the catalogue leaves unnamed.
std::string ctlMessageName(unsigned code);

// The same as a person types it, without what all names share: COSTRUST.
std::string ctlShortName(unsigned code);

// The body of a message, an empty one for the code that has none.
const wireBody &ctlBodyOf(const qosMsgInfo_t &info);

// The records at the end of a body whose number stands in the body.
struct ctlTail_t {
    const char *body;
    const char *count;   // the field with their number
    const char *records; // the name all their fields begin with
    unsigned least;      // records that must be there whatever the number says
    // Derived from the field table, in bytes:
    size_t head; // what stands ahead of them
    size_t stride;
};

// Their description, with stride 0 for a body that has none.
ctlTail_t ctlTailOf(const wireBody &body);

// Whether a field belongs to those records.
bool ctlInTail(const ctlTail_t &tail, const wireField &field);

// Elements of a field that lie whole in a body of `size` bytes.
size_t ctlCount(const wireBody &body, const wireField &field, size_t size);

// The name that the fields of one array of records share, "portInfo" of "portInfo.ifindex"; empty for other fields.
std::string ctlRecordsOf(const wireField &field);

// Whether a field holds an interface index, which may then be typed and shown as "te1/3".
bool ctlIsInterface(const wireField &field);

// A field, or with `index` not -1 one element of it. An index may stand anywhere: "cos_map[3]", "portInfo[2].ifindex",
// "records[1].counter[2]". Refuses a name that the body does not have.
struct ctlFieldRef_t {
    const wireField *field;
    int index;
};
ctlFieldRef_t ctlFindField(const wireBody &body, const std::string &text);

// The field of exactly this name, null if there is none.
const wireField *ctlField(const wireBody &body, const std::string &name);

#endif
