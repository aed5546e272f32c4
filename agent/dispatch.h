// SPDX-License-Identifier: Apache-2.0
// The agent's side of the conversation with the manager: the dispatcher that walks a batch and echoes it, and the road
// of the messages that the agent starts itself. Module "QOS AGT". docs/architecture.md follows a message through here.
#ifndef AGENT_DISPATCH_H
#define AGENT_DISPATCH_H

#include <array>
#include <cstdint>

#include "agent/messages/codes.h"
#include "core/handler.h"

struct qosSlot_t;

// One row of the handlers' table. A null handler: the message is acknowledged and nothing is done.
struct qaMsgHandler_t {
    uint8_t code;
    qaUntyped_t handler; // works on the body in place; its result is not used
};
extern const std::array<qaMsgHandler_t, QOS_MSG_CODES> qaMsgHandlers;

void qaRegisterAgent();

// Carries out a batch of `length` bytes and sends it back as its acknowledgement: 0, 18 if the echo could not be sent,
// 20 for a code or length that no batch can have; then the messages ahead of it have been carried out and no echo goes.
[[nodiscard]] int qaProcessMIMsg(int sock, uint16_t slot, unsigned char *buffer, uint32_t length);

// Sends one message of the agent's own to the manager: 0, 1 without an own slot or for a body that no message holds,
// or 18.
qosMsgStatus_t qaSendToMgr(uint8_t msg_type, const void *body, uint32_t length);

// Tells the manager that this slot's agent is up.
qosMsgStatus_t qaSendRegisterMsg();
void qaSlotUp(qosSlot_t *slot);            // slot_up hook
int qaStart(uint32_t stage, uint32_t arg); // hook of stage Active

#endif
