// SPDX-License-Identifier: Apache-2.0
// The codes whose bodies carry a number of records.
#include "agent/body_length.h"

#include <algorithm>

#include "agent/messages/bodies.h"
#include "inventory/chips.h"
#include "velmar/dce.h"

namespace {

// A negative count has no records.
uint64_t counted(size_t head, size_t record, int64_t count)
{
    return head + record * static_cast<uint64_t>(std::max<int64_t>(count, 0));
}

// The reply's form follows the chip: one or eight records on Tessel, six counters behind them on Mirelle.
uint64_t formNeeded(const qosRedStatsMsg_t *body, uint32_t least)
{
    const qosChip_t *chip = qosLookupChip(dce_get_flat_chip_id(body->chip_ifindex));
    const qosRedReply_t reply = chip ? qosChipTraits(chip->chip_type).red_reply : qosRedReply_t::Nothing;
    if (reply == qosRedReply_t::Nothing)
        return least;
    if (reply == qosRedReply_t::Counters)
        return sizeof *body;
    const bool single = qosRedStatsSingle(body);
    return counted(offsetof(qosRedStatsMsg_t, records), sizeof(qosRedStatsRec_t), single ? 1 : 8);
}

} // namespace

uint64_t qaBodyNeeded(uint8_t code, const void *body, uint32_t least)
{
    switch (code) {
#define NOTHING least
#define WHOLE least
#define UP_TO(records) formNeeded(typed, least)
#define COUNTED(records, count, fewest)                                                                                \
    counted(least, sizeof(typed->records[0]), std::max<int64_t>(typed->count, fewest))
#define QOS_CODE(number, name, record, needed, ...)                                                                    \
    case number: {                                                                                                     \
        [[maybe_unused]] const auto *typed = static_cast<const record *>(body);                                        \
        return needed;                                                                                                 \
    }
#define QOS_UNNAMED QOS_CODE
#include "agent/messages/codes.def"
#undef QOS_UNNAMED
#undef QOS_CODE
#undef COUNTED
#undef UP_TO
#undef WHOLE
#undef NOTHING
    default:
        return least;
    }
}
