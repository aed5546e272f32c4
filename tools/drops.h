// SPDX-License-Identifier: Apache-2.0
// Which queue drops: what a chip's several statistics say of each queue of a port, put side by side, with the port's
// drops by reason below. A figure that a chip family does not give stays empty.
#ifndef TOOLS_DROPS_H
#define TOOLS_DROPS_H

#include "tools/stats.h"

// Columns of the table, in their order; its rows are the eight queues and the port.
enum ctlDropColumn_t : size_t {
    CTL_USED,
    CTL_BOUND,
    CTL_FULL,
    CTL_TAIL,
    CTL_RED,
    CTL_DROPS, // tail and RED; all that is known where a family gives no more than the sum
    CTL_PAUSE_SENT,
    CTL_PAUSE_RECEIVED,
    CTL_SENT,
    CTL_RECEIVED,
    CTL_DROP_COLUMNS
};

extern const ctlStatsView_t ctlDropsView;

// The requests for ports and chips, none for all, as ctlPlanStats. Asks the agent of this node for the families of its
// chips, for so many seconds; of a chip that it does not tell everything is asked.
std::vector<ctlStatsQuery_t> ctlPlanDrops(const std::vector<std::string> &targets, double seconds = 3);

// The tables of drops and of drop reasons, port after port, and one for each request that failed.
ctlStatsReading_t ctlJoinDrops(ctlStatsReading_t &&reading);

// Both steps over a link of their own to the agent of a slot, within so many seconds.
ctlStatsReading_t ctlReadDrops(unsigned slot, const std::vector<ctlStatsQuery_t> &queries, double seconds);

#endif
