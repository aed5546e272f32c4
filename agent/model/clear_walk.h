// SPDX-License-Identifier: Apache-2.0
// The walk of a clear over the node's own chips. A clear of everything names no interface, so the body's `chip` tells
// the back end which chip is meant; it counts only while the agent itself walks, never as it came from the manager.
#ifndef AGENT_MODEL_CLEAR_WALK_H
#define AGENT_MODEL_CLEAR_WALK_H

#include "agent/messages/statistics.h"
#include "inventory/records.h"

// Places the walk on a chip: writes its flat number into the body. For the handlers that walk.
void qaClearWalkEnter(qosClearStatsMsg_t *body, const qosChip_t *chip);
// The walk has ended, or has been broken off.
void qaClearWalkLeave();

// The chip that a back end is to clear as a whole, or null outside the walk.
const qosChip_t *qaClearWalkChip(const qosClearStatsMsg_t *body);

// The chip that a clear goes to: with clearAll the walk's, else that of the body's interface. Null if there is none.
const qosChip_t *qaClearTarget(const qosClearStatsMsg_t *body);

#endif
