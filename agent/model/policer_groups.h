// SPDX-License-Identifier: Apache-2.0
// Policer groups: the parts that a chip's policers are divided into, each with ids of its own. The policer module and
// the chip back ends both ask here.
#ifndef AGENT_MODEL_POLICER_GROUPS_H
#define AGENT_MODEL_POLICER_GROUPS_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "inventory/records.h"

// Groups that a chip can have; a record's group has four bits.
constexpr uint8_t QOS_MAX_POLICER_GROUPS = 16;

// How often a request for the whole chip is made: 1 on Tessel, else the chip's groups, 16 at most and perhaps 0.
uint8_t qaGetNumPolicerGroups(const qosChip_t *chip);

// The group of an interface through *group: 0, or 1 for an unknown interface, with *group as it was.
qosMsgStatus_t qaPolGetGroupIndex(uint32_t ifindex, uint16_t *group);

#endif
