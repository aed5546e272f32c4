// SPDX-License-Identifier: Apache-2.0
// The slot table and the two slot events that fan out to the modules.
#ifndef INVENTORY_SLOTS_H
#define INVENTORY_SLOTS_H

#include <cstdint>

#include "inventory/records.h"

extern qosSlot_t qosSlotTable[QOS_NUM_SLOTS];
extern uint32_t qos_global_slot_rdy_cnt; // slots now up

void qosInitSlotTable();

// The record of a slot, or null above 10. Number 10 has an initialised record of its own that stands outside the table:
// no walk sees it and nothing may be put into it.
qosSlot_t *qosLookupSlot(uint32_t slot);
// The same for what is to be kept in the slot: null for number 10 as well.
qosSlot_t *qosLookupTableSlot(uint32_t slot);
// The record of the slot that this card sits in, or null, and the first of its chips, or null. Walks over the chips of
// the node go on from there with tailqNext.
qosSlot_t *qosLookupOwnSlot();
qosChip_t *qosFirstOwnChip();
uint32_t qosOwnSlotId();

// Slot events; the low 8 bits of `slot` count. Up: 0, 1 for an unknown slot, or the replay's result. Down: 0.
[[nodiscard]] int qosProcessSlotUp(uint32_t slot);
int qosProcessSlotDown(uint32_t slot);

// True if the slot that the interface index names is down; false for an index that names none.
bool qosIsSlotDown(uint32_t ifindex);

// Replays the adds of what exists towards the modules: the last result, 1 where there is nothing to replay.
[[nodiscard]] int qosProcessIfAddOnSlot(qosSlot_t *slot);
[[nodiscard]] int qosProcessIfAddOnChip(qosChip_t *chip);
[[nodiscard]] int qosProcessNotifyIfAdd(qosIf_t *interface);

#endif
