// SPDX-License-Identifier: Apache-2.0
// The catalogue of message codes.
#include "agent/messages/catalogue.h"
#include "agent/messages/bodies.h"
#include "agent/messages/body_fields.h"

namespace {

template <typename Body>
constexpr const wireBody *describedBy = &wireOf<Body>::body;
template <>
constexpr const wireBody *describedBy<void> = nullptr;

} // namespace

#define WHOLE sizeof(B)
#define NOTHING 0
#define UP_TO(records) offsetof(B, records)
#define COUNTED(records, count, fewest) offsetof(B, records)
#define QOS_ROW(number, text, body, least)                                                                             \
    {number,                                                                                                           \
     [] {                                                                                                              \
         using B [[maybe_unused]] = body;                                                                              \
         return static_cast<uint16_t>(least);                                                                          \
     }(),                                                                                                              \
     text, describedBy<body>},

constexpr qosMsgInfo_t qosMsgCatalogue[QOS_MSG_CODES] = {
#define QOS_CODE(number, name, body, least, ...) QOS_ROW(number, #name, body, least)
#define QOS_UNNAMED(number, name, body, least, ...) QOS_ROW(number, "Unknown", body, least)
#include "agent/messages/codes.def"
#undef QOS_UNNAMED
#undef QOS_CODE
};

#undef QOS_ROW
#undef COUNTED
#undef UP_TO
#undef NOTHING
#undef WHOLE

static_assert(
    [] {
        for (unsigned code = 0; code < QOS_MSG_CODES; code++)
            if (qosMsgCatalogue[code].code != code)
                return false;
        return true;
    }(),
    "the catalogue is indexed by code");

const qosMsgInfo_t *qosMsgInfo(unsigned code)
{
    return code < QOS_MSG_CODES ? &qosMsgCatalogue[code] : nullptr;
}

const char *qosMsgName(unsigned code)
{
    return code < QOS_MSG_CODES ? qosMsgCatalogue[code].name : "Unknown";
}
