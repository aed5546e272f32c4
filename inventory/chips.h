// SPDX-License-Identifier: Apache-2.0
// The chip table: one record per switching chip, in a tree by flat chip number and in its slot's list.
#ifndef INVENTORY_CHIPS_H
#define INVENTORY_CHIPS_H

#include <cstdint>

#include "inventory/records.h"
#include "platform/records/capability.h"

extern tnx_avl_tree_t *qosChipTable; // runs from the highest chip_id to the lowest

[[nodiscard]] int qosInitChipTable(); // 0 or 2; at a cold start only
int qosCmpChipEntry(const void *a, const void *b);

// The record of a flat chip number, or null.
qosChip_t *qosLookupChip(int32_t flat_chip);

// How a new chip's capabilities are learned.
enum qosCapSource_t : int { QOS_CAPS_IN_EVENT = 0, QOS_CAPS_FROM_DRIVER = 1 };

// Creates a chip and runs the modules' chip_up hooks: 0 (also for a chip that exists, which stays as it is), 1 for an
// unknown slot, 2 out of memory or without a table, or the capability request's failure.
[[nodiscard]] int qosProcessChipAdd(const qosChipCap_t *event, qosCapSource_t source);

// The driver's events. In the agent role up, down and bulk up are traced and ignored: there a chip comes to exist
// through the manager's message alone and is never deleted.
[[nodiscard]] int qosProcessChipUp(const qosChipCap_t *event, qosCapSource_t source);
[[nodiscard]] int qosProcessChipDown(const qosChipCap_t *event);
// `length` is the bytes of the event that can be read; it must not stand in the driver's response buffer.
[[nodiscard]] int qosProcessBulkChipUp(const unsigned char *event, uint32_t length);
[[nodiscard]] int qosProcessChipReady(const qosChipReady_t *event);

// Reports a chip that nobody has announced, by a chip-up of its own making.
[[nodiscard]] int qosGetChipFromChipId(int32_t flat_chip);

// "Larkin", "Tessel", "Mirelle", "Mirelle2", "Unknown".
const char *qosChipTypeName(uint32_t chip_type);

// Traces how many interfaces and chips the tables hold.
void qosLogIfChipInfo();

#endif
