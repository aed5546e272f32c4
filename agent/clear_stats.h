// SPDX-License-Identifier: Apache-2.0
// Clearing of statistics: everything of this node, one interface, or the RED counters of the node's chips.
#ifndef AGENT_CLEAR_STATS_H
#define AGENT_CLEAR_STATS_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/statistics.h"

// Code 41. For all interfaces: the policers of all chips, what the drop monitor remembers, then the chips of the own
// slot one by one; the status is the last chip's, and comes back as it was sent if the slot has none. For one
// interface: its counters, then what the drop monitor remembers of it.
qosMsgStatus_t qaProcessClearStatsMsg(qosClearStatsMsg_t *body);

// Code 70. The walk over the chips alone, whatever interface is named.
qosMsgStatus_t qaProcessClearRedIntfStatsMsg(qosClearStatsMsg_t *body);

#endif
