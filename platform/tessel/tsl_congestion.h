// SPDX-License-Identifier: Apache-2.0
// Tail drop, wire-to-queue map, pause and PFC on Tessel; all but the pool size and the default tail drop serve both
// Mirelle types as well. Thresholds are bytes of chip buffer.
#ifndef PLATFORM_TESSEL_TSL_CONGESTION_H
#define PLATFORM_TESSEL_TSL_CONGESTION_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/congestion.h"
#include "inventory/records.h"

// Slots 14, 15, 18, 12, 13, 39: 24 for an unknown port. The default tail drop sets the port's budget and sends nothing.
qosDriverStatus_t tslSetPriTailDrop(qosCcbMsg_t *body);
qosDriverStatus_t tslSetTailDrop(qosCcbMsg_t *body);
qosDriverStatus_t tslSetW2qPriMap(qosCcbMsg_t *body);
qosDriverStatus_t tslSetPause(qosCcbMsg_t *body);
qosDriverStatus_t tslSetPfc(qosCcbMsg_t *body); // eight records; the first failure ends it
qosDriverStatus_t tslSetDefTailDrop(qosCcbMsg_t *body);

// Slot 16: the shared buffer of the chip, stored in its chipBuffers.
qosDriverStatus_t tslGetSbpSize(qosChip_t *chip);

// A port's default budget: its share of the chip's buffer by speed and switch model.
uint32_t tslGetTailDropThreshold(const qosIf_t *interface);

#endif
