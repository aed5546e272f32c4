// SPDX-License-Identifier: Apache-2.0
// The copy steps of replies whose counters are decimal texts: queues and flow control of a port. The sources stand
// in the driver's port data, which every chip family lays out alike.
#ifndef PLATFORM_COMMON_STAT_TEXTS_H
#define PLATFORM_COMMON_STAT_TEXTS_H

#include <array>
#include <cstddef>

#include "agent/messages/statistics.h"
#include "platform/common/stat_copy.h"
#include "platform/records/statistics_blocks.h"

// Whether priorities 0 and 1 of the chip stand in exchange in the reply.
enum class statOrder_t : bool { Plain, Exchanged };

// Eight counters from `from` on as texts by priority.
constexpr std::array<statStep_t, 3> statPriorities(size_t to, size_t from, statOrder_t order, uint8_t scale = 0)
{
    using text_t = char[STAT_TEXT_SIZE];
    const size_t first = order == statOrder_t::Exchanged ? sizeof(be64) : 0;
    return {
        statTexts<text_t, be64>(to, from + first, scale),
        statTexts<text_t, be64>(to + sizeof(text_t), from + sizeof(be64) - first, scale),
        statTexts<char[6][STAT_TEXT_SIZE], be64[6]>(to + 2 * sizeof(text_t), from + 2 * sizeof(be64), scale),
    };
}

// Four groups by priority and their totals; the second and fourth are in units of 8 bytes where `scale` is 3. `order`
// is that of the third and fourth group.
constexpr std::array<statStep_t, 12> statQueueSteps(uint8_t scale, statOrder_t order)
{
    using A = statPortQueue_t;
    using B = qosQueueStatsMsg_t;
    const auto third = statPriorities(offsetof(B, counter3), offsetof(A, counter3), order);
    const auto fourth = statPriorities(offsetof(B, counter4), offsetof(A, counter4), order, scale);
    return {
        STAT_TEXTS(total[0], total[0], 0),
        STAT_TEXTS(total[1], total[1], scale),
        STAT_TEXTS(total[2], total[2], 0),
        STAT_TEXTS(total[3], total[3], scale),
        STAT_TEXTS(counter1, counter1, 0),
        STAT_TEXTS(counter2, counter2, scale),
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
    return statPriorities(offsetof(qosFlowControlStatsMsg_t, pri), offsetof(statPortFlow_t, pri), order);
}

constexpr statStep_t statFlowGlobal()
{
    using A = statPortFlow_t;
    using B = qosFlowControlStatsMsg_t;
    return STAT_TEXTS(global, global, 0);
}
constexpr statStep_t statFlowGlobal2()
{
    using A = statPortFlow_t;
    using B = qosFlowControlStatsMsg_t;
    return STAT_TEXTS(global2, global2, 0);
}

#endif
