// The codes whose bodies carry a number of records.
#include "agent/body_length.h"

#include <algorithm>

#include "agent/messages/chip.h"
#include "agent/messages/congestion.h"
#include "agent/messages/drop_monitor.h"
#include "agent/messages/header.h"
#include "agent/messages/policer.h"
#include "agent/messages/priority.h"
#include "agent/messages/scheduler.h"
#include "agent/messages/statistics.h"
#include "inventory/chips.h"
#include "velmar/dce.h"

namespace {

// A negative count has no records.
uint64_t counted(size_t head, size_t record, int64_t count)
{
    return head + record * static_cast<uint64_t>(std::max<int64_t>(count, 0));
}

// The reply's form follows the chip: one or eight records on Tessel, six counters behind them on Mirelle.
uint64_t redStatsNeeded(const qosRedStatsMsg_t *body, uint32_t least)
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
    case QOS_GET_RED_STATS_MSG:
        return redStatsNeeded(static_cast<const qosRedStatsMsg_t *>(body), least);
    case QOS_GET_POL_STATS_MSG: {
        // One record is worked on even where the count is 0.
        const auto *stats = static_cast<const qosPolStatsGetMsg_t *>(body);
        return counted(least, sizeof(qosPolStatsRec_t), std::max<int64_t>(stats->num_records, 1));
    }
    case QOS_POL_STATS_CLR_MSG: {
        const auto *clear = static_cast<const qosPolStatsClrMsg_t *>(body);
        return counted(least, sizeof(qosPolStatsClrData_t), clear->num_policers);
    }
    case QOS_IVQ_RED_CHIP_CFG: {
        const auto *config = static_cast<const qosCcbIvqRedCfg_t *>(body);
        return counted(least, sizeof(qosCcbIvqRedIfInfo_t), config->numEntries);
    }
    default:
        return least;
    }
}
