// SPDX-License-Identifier: Apache-2.0
// The interface table: one record for each interface that the manager has announced, in a tree that lists them by type,
// slot and port, and physical ports in their chip's list as well.
#ifndef INVENTORY_INTERFACES_H
#define INVENTORY_INTERFACES_H

#include <cstdint>

#include "inventory/records.h"

extern tnx_avl_tree_t *qosIfTable;

void qaRegisterIfmModule();
int qaIfmInit();                    // init hook
[[nodiscard]] int qaIfmStart();     // start hook
[[nodiscard]] int qosInitIfTable(); // 0 or 2; at a cold start only
int qosInitIfClis();                // installs the table's command, in the manager role only

int qosCmpIfEntry(const void *a, const void *b);
qosIf_t *qosLookupIfEntry(uint32_t ifindex); // null if unknown

// The interface, new or as it exists; null if it may not be added. A name of 20 characters or more is cut.
qosIf_t *qosProcessPortAdd(uint32_t ifindex, const char *name);
// 0 if a port may be added, with its chip and slot; else 1.
[[nodiscard]] int qosValidatePortAdd(uint32_t ifindex, const char *name, qosChip_t **chip, qosSlot_t **slot);
[[nodiscard]] int qosProcessPortDelete(uint32_t ifindex); // 0, also for an unknown port; 1 without a table

// The buffer pool of a port. An interface without a chip answers 1, a chip type without pools 0.
uint32_t qosGetBufPoolGroup(const qosIf_t *interface);

#endif
