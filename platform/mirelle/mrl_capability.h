// SPDX-License-Identifier: Apache-2.0
// Capability of both Mirelle types: entry 1 of the back-end table, of the shared layout; chips come up by another road.
#ifndef PLATFORM_MIRELLE_MRL_CAPABILITY_H
#define PLATFORM_MIRELLE_MRL_CAPABILITY_H

#include <cstdint>

#include "agent/messages/chip.h"
#include "agent/messages/codes.h"

// Fills the body from the chip record, which reads its extended capability from the driver first. The status is stored
// in the body: 0, 1 for an unknown chip, or the read's.
qosDriverStatus_t mrlGetChipCapability(qosChipUpMsg_t *body);

#endif
