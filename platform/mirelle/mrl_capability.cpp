// SPDX-License-Identifier: Apache-2.0
// Policer numbers, buffers and ports of a chip for a chip-up body.
#include "platform/mirelle/mrl_capability.h"

#include <algorithm>
#include <cstring>

#include "inventory/capability.h"
#include "platform/common/cos_capability.h"

qosDriverStatus_t mrlGetChipCapability(qosChipUpMsg_t *body)
{
    qosChip_t *chip = cosCopyPolicerCapability(__func__, body);
    if (!chip)
        return QOS_MSG_REFUSED;
    const qosDriverStatus_t rc = qosGetExtChipCapability(chip);
    body->status = static_cast<int32_t>(rc);
    if (rc != QOS_MSG_DONE) {
        QOS_ERR("Failed to get extended chip capability for chip %d/%d", chip->slot_id, chip->local_chip_id);
        return rc;
    }
    body->num_ports = static_cast<int32_t>(chip->num_ports);
    body->num_policer_groups = chip->num_policer_groups;
    body->numChipBuffPools = chip->numChipBuffPools;
    body->chipBuffers = chip->chipBuffers;
    body->maxRedProfilesPerChip = chip->maxRedProfilesPerChip;
    static_assert(sizeof body->portInfo == sizeof chip->portInfo);
    const uint32_t ports = std::min<uint32_t>(chip->num_ports, QOS_NUM_CHIP_PORTS);
    memcpy(body->portInfo, chip->portInfo, ports * sizeof body->portInfo[0]);
    return rc;
}
