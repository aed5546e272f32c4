// SPDX-License-Identifier: Apache-2.0
// How the chips count priorities. Threshold arithmetic and the back ends both ask here; which value is exchanged and
// which is not is a matter of the record.
#ifndef AGENT_MODEL_CHIP_PRIORITY_H
#define AGENT_MODEL_CHIP_PRIORITY_H

#include <cstdint>

// A priority or traffic class in the chip's count, and back: 0 and 1 change places.
constexpr uint32_t qaChipPriority(uint32_t priority)
{
    return priority < 2 ? 1 - priority : priority;
}

#endif
