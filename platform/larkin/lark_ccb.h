// SPDX-License-Identifier: Apache-2.0
// Congestion control on Larkin: entries 12 to 17, 23, 24, 34, 36, 38, 39 and 41 of the back-end table.
#ifndef PLATFORM_LARKIN_LARK_CCB_H
#define PLATFORM_LARKIN_LARK_CCB_H

#include <cstdint>

#include "agent/messages/chip.h"
#include "agent/messages/codes.h"
#include "agent/messages/congestion.h"
#include "agent/messages/statistics.h"
#include "inventory/records.h"

// Each sends one record to the chip of the body's interface, stores its status in the body and returns it. 24 for an
// unknown interface.
qosDriverStatus_t larkSetTailDrop(qosCcbMsg_t *body);
qosDriverStatus_t larkSetPriTailDrop(qosCcbMsg_t *body);
qosDriverStatus_t larkSetPortBuf(qosCcbMsg_t *body);
qosDriverStatus_t larkSetEmergencyPause(qosCcbMsg_t *body);
qosDriverStatus_t larkSetPause(qosCcbMsg_t *body); // on and off as the body says, not the interface
qosDriverStatus_t larkSetPfc(qosCcbMsg_t *body);

// Turns RED of one priority on or off in the interface's record, and tells the chip of all priorities.
qosDriverStatus_t larkinSetRedProfile(qosCcbMsg_t *body);
// The chip's one profile, as its reserved entry says; nothing without one.
qosDriverStatus_t larkinRedChipInit(qosChip_t *chip);

// Asks the chip for its buffers and those of a port, in bytes, and keeps both in its record.
qosDriverStatus_t larkGetSbpSize(qosChip_t *chip);

// A port's default budget in bytes; the second stores it in the interface and sends nothing.
uint32_t larkGetTailDropThreshold(const qosIf_t *interface);
qosDriverStatus_t larkSetDefTailDrop(qosCcbMsg_t *body);

// To the chip that the body names.
qosDriverStatus_t larkSetMcastRateLimit(qosCcbMsg_t *body);
qosDriverStatus_t larkSetMcastTailDrop(qosCcbMsg_t *body);

// Clears the counters of one interface, or with clearAll of all ports and queues of the walk's chip; then the status is
// that of the queues. 25 without a target.
qosDriverStatus_t larkClearStats(qosClearStatsMsg_t *body);
qosDriverStatus_t larkClearSwmStats(qosClearStatsMsg_t *body);
qosDriverStatus_t larkClearQmgStats(qosClearStatsMsg_t *body);

// Slot 1: a Larkin chip is never asked for its capability here; 0.
qosDriverStatus_t larkGetChipCapability(qosChipUpMsg_t *body);

#endif
