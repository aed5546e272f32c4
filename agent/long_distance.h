// SPDX-License-Identifier: Apache-2.0
// Long-distance links: taking buffer from the ports of a pool for a port whose link is kilometres long, and giving it
// back. The state is kept for each buffer pool group of a chip.
#ifndef AGENT_LONG_DISTANCE_H
#define AGENT_LONG_DISTANCE_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/congestion.h"
#include "inventory/records.h"

// Commands of qosLdConfigMsg_t.
enum qaLdCommand_t : uint32_t {
    QA_LD_CONFIG = 1,
    QA_LD_UNCONFIG = 2,
    QA_LD_REG_ISL_CONFIG = 3,
    QA_LD_REG_ISL_UNCONFIG = 4,
};

// Handler of code 37: 0 or 1. The body's status comes back as it was sent, whatever the outcome.
qosMsgStatus_t qaProcessLdCfg(qosLdConfigMsg_t *body);
qosMsgStatus_t qaLdProcessLdConfigUpdate(const qosLdConfigMsg_t *body);
qosMsgStatus_t qaLdProcessLdUnconfigUpdate(const qosLdConfigMsg_t *body);
qosMsgStatus_t qaLdProcessRegIslConfigUpdate(const qosLdConfigMsg_t *body);
qosMsgStatus_t qaLdProcessRegIslUnconfigUpdate(const qosLdConfigMsg_t *body);

// Fixes the buffer pool group of a new port.
void qaLdIfAdd(qosIf_t *interface);

// The buffer of the interface's pool in bytes, and the number of ports that share it.
void qaLdGetSystemParam(const qosChip_t *chip, const qosIf_t *interface, uint32_t *total, uint32_t *ports);

// Splits the pool for a long-distance port with `pfcCount` lossless priorities and writes every port's budget.
void qaLdCalculateBufferDist(qosChip_t *chip, qosIf_t *interface, uint8_t pfcCount);

// Program what was split: the other ports first, then the long-distance port.
void qaLdCommitBufferDist(qosChip_t *chip, qosIf_t *interface);
// Back to the defaults: the port, then every port of its group.
void qaLdRollbackBufferDist(qosChip_t *chip, qosIf_t *interface);
void qaLdCommitRegIslBufferDist(qosChip_t *chip, qosIf_t *interface);
void qaLdRollbackRegIslBufferDist(qosChip_t *chip, qosIf_t *interface);

#endif
