// SPDX-License-Identifier: Apache-2.0
// Policer groups of chips and interfaces.
#include "agent/model/policer_groups.h"

#include <algorithm>

#include "core/trace.h"
#include "inventory/interfaces.h"

uint8_t qaGetNumPolicerGroups(const qosChip_t *chip)
{
    if (qosChipTraits(chip->chip_type).one_policer_group)
        return 1;
    return static_cast<uint8_t>(std::min<uint16_t>(chip->num_policer_groups, QOS_MAX_POLICER_GROUPS));
}

qosMsgStatus_t qaPolGetGroupIndex(uint32_t ifindex, uint16_t *group)
{
    const qosIf_t *interface = qosLookupIfEntry(ifindex);
    if (!interface) {
        QOS_ERR("Failed to find interface 0x%x for ifindex", ifindex);
        return QOS_MSG_REFUSED;
    }
    *group = interface->pol_info.polGroupId;
    return QOS_MSG_DONE;
}
