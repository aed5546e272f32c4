// SPDX-License-Identifier: Apache-2.0
// RED on both Mirelle types: entries 34, 35 and 72 of the back-end table, and the RED step of a clear. Thresholds of a
// profile are percentages of the depth of the egress queues.
#ifndef PLATFORM_MIRELLE_MRL_RED_H
#define PLATFORM_MIRELLE_MRL_RED_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/congestion.h"
#include "agent/messages/statistics.h"
#include "inventory/records.h"

// The chip's number of a manager profile, or 65535; see platform/common/red_profiles.h. The search runs over all
// sixteen entries, of which the chip set-up frees the first three.
uint16_t mrlGetRedMappedProfile(qosChip_t *chip, uint16_t profile);
uint16_t mrlAllocRedMappedProfile(qosChip_t *chip, uint16_t profile);
void mrlPutRedMappedProfile(qosChip_t *chip, uint16_t profile);

// Applies a profile to a priority of a port or takes it away, and keeps both in the interface's redConfig, whatever the
// driver answers. 24 for an unknown interface, 1 and nothing sent when the chip has no profile left.
qosDriverStatus_t mrlSetRedProfile(qosCcbMsg_t *body);
qosDriverStatus_t
mrlSetDefaultRedCfg(qosQueueDepthMsg_t *body);            // a chip's tail drop at the depth; 24 for an unknown chip
qosDriverStatus_t mrlGetRedStats(qosRedStatsMsg_t *body); // 24 for an unknown interface
qosDriverStatus_t mrlClearRedStats(qosClearStatsMsg_t *body);

#endif
