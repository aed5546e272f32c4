// SPDX-License-Identifier: Apache-2.0
// Multicast queues, which a chip has once for all its ports: rate limit, tail drop, queue mode and counters. Nothing is
// kept here, so a chip that comes up later gets nothing.
#ifndef AGENT_MCAST_QUEUES_H
#define AGENT_MCAST_QUEUES_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/congestion.h"
#include "agent/messages/statistics.h"

// Handlers of codes 23 and 24. `ifindex` names a chip, or all chips of this node: then the result is the last one's,
// and a chip type without the operation ends the walk. A node without chips leaves the status as it came.
qosMsgStatus_t qaProcessMcastRateLimit(qosCcbMsg_t *body);
qosMsgStatus_t qaProcessMcastTailDrop(qosCcbMsg_t *body);
qosMsgStatus_t qaProcessSetMcastQueueMode(qosCcbMsg_t *body);                  // code 78: always all chips of this node
qosMsgStatus_t qaProcessMcastRcvQueStatsMsg(qosMcastRcvQueueStatsMsg_t *body); // code 28

#endif
