// The copy steps of replies whose counters are decimal texts: queues and flow control of a port. The sources count from
// the driver's port data, which every chip family lays out alike from 0x18 on.
#ifndef PLATFORM_COMMON_STAT_TEXTS_H
#define PLATFORM_COMMON_STAT_TEXTS_H

#include <array>
#include <cstddef>

#include "agent/messages/chip.h"
#include "agent/messages/congestion.h"
#include "agent/messages/drop_monitor.h"
#include "agent/messages/header.h"
#include "agent/messages/policer.h"
#include "agent/messages/priority.h"
#include "agent/messages/scheduler.h"
#include "agent/messages/statistics.h"
#include "platform/common/stat_copy.h"

// Whether priorities 0 and 1 of the chip stand in exchange in the reply.
enum class statOrder_t : bool { Plain, Exchanged };

// Eight texts by priority.
constexpr std::array<statStep_t, 3> statPriorities(uint16_t to, uint16_t from, statOrder_t order, uint8_t scale = 0)
{
    const uint16_t first = order == statOrder_t::Exchanged ? 8 : 0;
    return {
        statTexts(to, static_cast<uint16_t>(from + first), 1, scale),
        statTexts(static_cast<uint16_t>(to + STAT_TEXT_SIZE), static_cast<uint16_t>(from + 8 - first), 1, scale),
        statTexts(static_cast<uint16_t>(to + 2 * STAT_TEXT_SIZE), static_cast<uint16_t>(from + 16), 6, scale),
    };
}

// Four groups by priority and their totals; the second and fourth are in units of 8 bytes where `scale` is 3. `order`
// is that of the third and fourth group.
constexpr std::array<statStep_t, 12> statQueueSteps(uint8_t scale, statOrder_t order)
{
    constexpr uint16_t total = offsetof(qosQueueStatsMsg_t, total);
    const auto third = statPriorities(offsetof(qosQueueStatsMsg_t, counter3), 0x98, order);
    const auto fourth = statPriorities(offsetof(qosQueueStatsMsg_t, counter4), 0xD8, order, scale);
    return {
        statTexts(total, 0x118),
        statTexts(total + STAT_TEXT_SIZE, 0x120, 1, scale),
        statTexts(total + 2 * STAT_TEXT_SIZE, 0x128),
        statTexts(total + 3 * STAT_TEXT_SIZE, 0x130, 1, scale),
        statTexts(offsetof(qosQueueStatsMsg_t, counter1), 0x18, 8),
        statTexts(offsetof(qosQueueStatsMsg_t, counter2), 0x58, 8, scale),
        third[0],
        third[1],
        third[2],
        fourth[0],
        fourth[1],
        fourth[2],
    };
}

// The priorities of flow control, and its one or two counters of the whole port.
constexpr std::array<statStep_t, 3> statFlowPriorities(statOrder_t order)
{
    return statPriorities(offsetof(qosFlowControlStatsMsg_t, pri), 0x60, order);
}
constexpr statStep_t STAT_FLOW_GLOBAL = statTexts(offsetof(qosFlowControlStatsMsg_t, global), 0x58);
constexpr statStep_t STAT_FLOW_GLOBAL2 = statTexts(offsetof(qosFlowControlStatsMsg_t, global2), 0xA0);

#endif
