// SPDX-License-Identifier: Apache-2.0
// Congestion control that both Mirelle types do in their own way: entries 39 and 78 of the back-end table.
#ifndef PLATFORM_MIRELLE_MRL_CONGESTION_H
#define PLATFORM_MIRELLE_MRL_CONGESTION_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/congestion.h"

// Sets a port's budget to what the chip's port table has for it, or 0; nothing is sent and no status stored. 0, or 24
// for an unknown interface or one that the table does not have.
qosDriverStatus_t mrlSetDefTailDrop(qosCcbMsg_t *body);

// The queue mode of the body's chip: the status, which also stands in the body, or 24 for an unknown chip.
qosDriverStatus_t mrlSetMcastQueueMode(qosCcbMsg_t *body);

#endif
