// SPDX-License-Identifier: Apache-2.0
// Scheduling on Larkin: entries 19 and 22 of the back-end table.
#ifndef PLATFORM_LARKIN_LARK_SCHED_H
#define PLATFORM_LARKIN_LARK_SCHED_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/scheduler.h"

// A weight in percent as the chip takes it: the nearest of 20 steps of five, at least 1. A multicast weight as it is,
// at least 1.
int32_t qos_convert_wgt_to_dnld_wgt(int32_t weight);
uint32_t qos_convert_mc_wgt_to_dnld_wgt(uint32_t weight);

// Each sends one record to the chip that the body names, stores its status in the body and returns it.
qosDriverStatus_t larkSetSchCfg(qosSchMsg_t *body);
qosDriverStatus_t larkSetMcSchCfg(qosSchMsg_t *body);

#endif
