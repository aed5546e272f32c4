// SPDX-License-Identifier: Apache-2.0
// RED on Tessel: profiles of ports, the map of the ingress virtual queues, counters. The chip set-up serves both
// Mirelle types as well.
#ifndef PLATFORM_TESSEL_TSL_RED_H
#define PLATFORM_TESSEL_TSL_RED_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/congestion.h"
#include "agent/messages/statistics.h"
#include "inventory/records.h"

qosDriverStatus_t tslRedChipInit(qosChip_t *chip); // slot 36: 0

// The chip's number of a manager profile, or 65535; see platform/common/red_profiles.h.
uint16_t tslGetRedMappedProfile(qosChip_t *chip, uint16_t profile);
uint16_t tslAllocRedMappedProfile(qosChip_t *chip, uint16_t profile);
void tslPutRedMappedProfile(qosChip_t *chip, uint16_t profile);

qosDriverStatus_t tslSetRedProfile(qosCcbMsg_t *body);       // slot 34, to the message's chip
qosDriverStatus_t tslIvqRedCfg(qosCcbIvqRedIfInfo_t *body);  // slot 46, to all chips
qosDriverStatus_t tslIvqRedChipCfg(qosCcbIvqRedCfg_t *body); // slot 47; the last record's status
qosDriverStatus_t tslGetRedStats(qosRedStatsMsg_t *body);    // slot 35
qosDriverStatus_t tslClearRedStats(qosClearStatsMsg_t *body);

#endif
