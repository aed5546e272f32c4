// SPDX-License-Identifier: Apache-2.0
// Congestion control: how much buffer each traffic class of a port gets. Module "QOS CCB".
#ifndef AGENT_CCB_H
#define AGENT_CCB_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/congestion.h"
#include "core/text.h"
#include "inventory/records.h"

void qaRegisterCcbModule();
[[nodiscard]] int qaCcbChipUp(qosChip_t *chip); // chip_up hook; the outcome also stands in the chip's bufStatus
void qaCcbChipDown(qosChip_t *chip);            // chip_down hook
int qaCcbIfAdd(qosIf_t *interface);             // if_add hook: 0
void qaCcbHaRegister();                         // ha_register hook

// Handlers of codes 14, 42, 71, 72.
qosMsgStatus_t qaProcessPriTailDrop(qosCcbMsg_t *body);
qosMsgStatus_t qaProcessPortPriBuffers(qosPortPriBuffersMsg_t *body);
qosMsgStatus_t qaProcessIngrQueueDepthMsg(qosQueueDepthMsg_t *body); // the body's status comes back as it was sent
qosMsgStatus_t qaProcessEgrQueueDepthMsg(qosQueueDepthMsg_t *body);

// The step that all per-port handlers of congestion control begin with: the interface with its chip, or null with the
// trace written and 1 in the body's status.
qosIf_t *qaCcbFindPort(qosWhere_t where, qosCcbMsg_t *body, const qosText_t<const char *> &unknown);

#endif
