// SPDX-License-Identifier: Apache-2.0
// Capability of Tessel: entry 1 of the back-end table, of the shared layout; chips come up by another road.
#ifndef PLATFORM_TESSEL_TSL_CAPABILITY_H
#define PLATFORM_TESSEL_TSL_CAPABILITY_H

#include <cstdint>

#include "agent/messages/chip.h"
#include "agent/messages/codes.h"

// Fills the body's policer numbers from the chip record. The status is stored in the body: 0, or 1 for an unknown chip.
qosDriverStatus_t tslGetChipCapability(qosChipUpMsg_t *body);

#endif
