// SPDX-License-Identifier: Apache-2.0
// Random early detection: routing of the RED messages to the chips.
#ifndef AGENT_RED_H
#define AGENT_RED_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/congestion.h"
#include "agent/messages/statistics.h"

// The handlers. The status is the back end's, 25 for an unknown chip, or what is said for a missing entry.
//
// Code 34. For a port of this node with QOS_ALL_CHIPS_IFINDEX as the chip, else for the chip named. 1 without an entry
// or on a node without chips.
qosMsgStatus_t qaProcessRedProfileMsg(qosCcbMsg_t *body);
qosMsgStatus_t qaProcessRedStatsMsg(qosRedStatsMsg_t *body); // code 35; 25 without an entry
qosMsgStatus_t
qaProcessIvqRedCfg(qosCcbIvqRedIfInfo_t *body); // code 46; 25 without an entry or on a node without chips
qosMsgStatus_t qaProcessIvqRedChipCfg(qosCcbIvqRedCfg_t *body); // code 47; 1 without an entry

#endif
