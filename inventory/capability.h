// SPDX-License-Identifier: Apache-2.0
// What a chip can do: from the manager's chip-up message by way of the capability record, or from the driver.
#ifndef INVENTORY_CAPABILITY_H
#define INVENTORY_CAPABILITY_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "inventory/records.h"
#include "platform/records/capability.h"

// The driver's road, by the switch model: fills the chip record. 0, 1 for a chip code that the request does not serve,
// or the transport's failure.
qosDriverStatus_t qosGetChipCapability(qosChip_t *chip);
qosDriverStatus_t qosGetDceChipCapability(qosChip_t *chip);
qosDriverStatus_t qosGetCoSChipCapability(qosChip_t *chip);
qosDriverStatus_t qosGetExtChipCapability(qosChip_t *chip);
void qosParseExtChipCapability(qosChip_t *chip, const cosExtChipCap_t *response);

// Record to chip.
void qosCopyCapsToChip(const qosChipCap_t *record, qosChip_t *chip);
void qosCopyPolicerCapsToChip(const qosChipCap_t *record, qosChip_t *chip);
void qosCopyExtCapsToChip(const qosChipCap_t *record, qosChip_t *chip);

// Message to record.
void qosCopyCapsFromChipUpMsg(qosChipCap_t *record, const qosChipUpMsg_t *message);
void qosCopyPolicerCapsFromChipUpMsg(qosChipCap_t *record, const qosChipUpMsg_t *message);
void qosCopyExtCapsFromChipUpMsg(qosChipCap_t *record, const qosChipUpMsg_t *message);

void qosLogChipCapability(const qosChip_t *chip);
void qosLogExtChipCapability(const qosChip_t *chip);

#endif
