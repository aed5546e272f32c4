// SPDX-License-Identifier: Apache-2.0
// What the capability entries of Tessel and Mirelle have in common.
#ifndef PLATFORM_COMMON_COS_CAPABILITY_H
#define PLATFORM_COMMON_COS_CAPABILITY_H

#include "agent/messages/chip.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "velmar/dce.h"

// The body's chip, with its policer numbers copied into the body; or null, with the line and 1 in the status.
inline qosChip_t *cosCopyPolicerCapability(qosWhere_t where, qosChipUpMsg_t *body)
{
    qosChip_t *chip = qosLookupChip(dce_get_flat_chip_id(body->chip_ifindex));
    if (!chip) {
        QOS_ERR_AT(where, "Unknown chip %d/%d", static_cast<int32_t>(body->slot_id),
                   static_cast<int32_t>(body->local_chip_id));
        body->status = QOS_MSG_REFUSED;
        return nullptr;
    }
    body->num_ingr_policer_ids = chip->num_ingr_policer_ids;
    body->ingr_infin_policer_id = chip->ingr_infin_policer_id;
    body->min_ingr_policer_id = chip->min_ingr_policer_id;
    body->num_egr_policer_ids = chip->num_egr_policer_ids;
    body->egr_infin_policer_id = chip->egr_infin_policer_id;
    body->min_egr_policer_id = chip->min_egr_policer_id;
    body->num_policer_profiles = chip->num_policer_profiles;
    return chip;
}

#endif
