// SPDX-License-Identifier: Apache-2.0
// Where the walk of a clear stands.
#include "agent/model/clear_walk.h"

#include "inventory/chips.h"
#include "inventory/interfaces.h"

namespace {

bool walking = false;

} // namespace

void qaClearWalkEnter(qosClearStatsMsg_t *body, const qosChip_t *chip)
{
    body->chip = static_cast<uint32_t>(chip->chip_id);
    walking = true;
}

void qaClearWalkLeave()
{
    walking = false;
}

const qosChip_t *qaClearWalkChip(const qosClearStatsMsg_t *body)
{
    return walking ? qosLookupChip(static_cast<int32_t>(body->chip)) : nullptr;
}

const qosChip_t *qaClearTarget(const qosClearStatsMsg_t *body)
{
    if (body->clearAll != 0)
        return qaClearWalkChip(body);
    const qosIf_t *interface = qosLookupIfEntry(body->ifindex);
    return interface ? interface->chip : nullptr;
}
