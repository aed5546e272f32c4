// SPDX-License-Identifier: Apache-2.0
// The few RED profile registers of a chip: which manager profile holds which, with how many users. Tessel and Mirelle
// differ in the number of entries alone.
#ifndef PLATFORM_COMMON_RED_PROFILES_H
#define PLATFORM_COMMON_RED_PROFILES_H

#include <cstdint>

#include "core/trace.h"
#include "inventory/records.h"

constexpr uint16_t RED_PROFILE_FREE = 65535; // also what an allocation gives when nothing is free

// All `count` entries free, entry i with the chip's number `first + i`. Further entries stay as they are.
void redProfilesInit(qosChip_t *chip, unsigned count, int32_t first);

// The chip's number for a profile, with one user more; allocated if it has none. RED_PROFILE_FREE if nothing is free.
uint16_t redProfileGet(qosWhere_t where, qosWhere_t allocator, qosChip_t *chip, unsigned count, uint16_t profile);
// A free entry for a profile, with one user.
uint16_t redProfileAlloc(qosWhere_t where, qosChip_t *chip, unsigned count, uint16_t profile);
// One user less; the entry is free when the last one goes. A profile that is not held is traced and changes nothing.
void redProfilePut(qosWhere_t where, qosChip_t *chip, unsigned count, uint16_t profile);

#endif
