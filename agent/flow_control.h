// SPDX-License-Identifier: Apache-2.0
// Pause, priority flow control and the wire-to-queue map of a port. Flow control is never programmed alone: thresholds
// and map go first, since they depend on it.
#ifndef AGENT_FLOW_CONTROL_H
#define AGENT_FLOW_CONTROL_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/congestion.h"

// Handlers of codes 12, 13, 18. The record is changed before the chip is asked and keeps the change; the body's status
// is the last step's.
qosMsgStatus_t qaProcessPause(qosCcbMsg_t *body);
qosMsgStatus_t qaProcessPfc(qosCcbMsg_t *body);
qosMsgStatus_t qaProcessW2qPri(qosCcbMsg_t *body);

#endif
