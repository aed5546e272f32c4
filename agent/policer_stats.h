// SPDX-License-Identifier: Apache-2.0
// Policer counters: read for the manager and for the BUM monitor, and cleared. Part of module "QOS POL".
#ifndef AGENT_POLICER_STATS_H
#define AGENT_POLICER_STATS_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/policer.h"
#include "inventory/records.h"

// Code 40. Reads the body's policers from its chip. With QOS_ALL_CHIPS_IFINDEX in the first record it sums that policer
// over all chips and their groups; the first chip that fails ends that, and the sums are lost. The body has room for
// one record whatever its count says.
qosMsgStatus_t qaProcessPolStatsGetMsg(qosPolStatsGetMsg_t *body);

// Code 44. Clears the body's policers on its chip, or on all; the body is as long as its count says. What the monitor
// remembers of a BUM policer is cleared with it if one chip is named.
qosMsgStatus_t qaProcessPolStatsClr(qosPolStatsClrMsg_t *body);

// Code 45, and called by the clear of all statistics: all ingress and egress policers of all chips, or all BUM
// policers.
qosMsgStatus_t qaProcessPolStatsClrAll(qosPolStatsClrAllMsg_t *body); // 0
void qaPolStatsClrAllOnChip(const qosChip_t *chip, const qosPolStatsClrAllMsg_t *body);

#endif
