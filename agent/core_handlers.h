// SPDX-License-Identifier: Apache-2.0
// The handlers that belong to no feature: chips and interfaces come and go.
#ifndef AGENT_CORE_HANDLERS_H
#define AGENT_CORE_HANDLERS_H

#include <cstdint>

#include "agent/messages/chip.h"
#include "agent/messages/codes.h"

// Codes 1 and 66. The status is that of qosProcessChipAdd.
qosMsgStatus_t qaProcessChipUp(qosChipUpMsg_t *body);
// Code 2. The status is 0, also for an interface that exists, or 2 if it may not be added. The modules' hooks run in
// both cases of 0; what they answer does not count.
qosMsgStatus_t qaProcessIfAdd(qosIfAddMsg_t *body);
// Code 3. The status is 0; for an unknown interface it comes back as it was sent.
qosMsgStatus_t qaProcessIfDel(qosIfDelMsg_t *body);

// Prints bytes to standard output in hexadecimal, for a debugger's call; a line break after the 26th byte and after
// every 25 behind it.
void qaDcmDumpMsg(const unsigned char *bytes, int length);

#endif
