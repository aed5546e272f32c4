// SPDX-License-Identifier: Apache-2.0
// Policer module: installs, updates and removes policers and profiles on the chips, and keeps for each chip three
// replicated lists of what it has installed (ingress, egress, BUM), sorted by qaPolCmpData. Module "QOS POL".
//
// Statistics and clears stand in agent/policer_stats.h, the watch over BUM policers in agent/bum_monitor.h.
#ifndef AGENT_POLICER_H
#define AGENT_POLICER_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/policer.h"
#include "inventory/records.h"

void qaRegisterPolModule();
int qaPolInit();
[[nodiscard]] int
qaPolChipUp(qosChip_t *chip);        // 0, 1 without a chip, 2 if a list could not be made; then there is none
void qaPolChipDown(qosChip_t *chip); // the monitored count stays as it is
[[nodiscard]] int
qaPolIfAdd(qosIf_t *interface);      // takes the port's group from the chip's port table: 0, 1 without a chip
void qaPolIfDel(qosIf_t *interface); // drops its BUM policers, three at most; the count stays as it is
void qaPolHaRegister();
int qaPolVssActive(uint32_t stage, uint32_t arg); // hook of stage Active

// Order and key of the lists: group, then id. Interface and direction play no part.
int qaPolCmpData(const void *a, const void *b);
void qaPolFreeData(void *record);

// The handlers. An interface index of QOS_ALL_CHIPS_IFINDEX addresses the body's chip as a whole, once for each of its
// groups, and the last group's result counts. The body's group is written here.
//
// An add with request type 1 puts a record into its list before it asks the chip; any other type updates. What a failed
// add does to the lists is told at its undo.
qosMsgStatus_t qaProcessPolicerAdd(qosPolPolicerAddMsg_t *body);
qosMsgStatus_t qaProcessPolicerRem(qosPolPolicerDelMsg_t *body); // the record is gone even if the chip refuses
qosMsgStatus_t qaProcessProfileCfg(qosPolProfileMsg_t *body);

#endif
