// SPDX-License-Identifier: Apache-2.0
// Scheduler and shaper of a port, on Tessel and both Mirelle types.
#ifndef PLATFORM_TESSEL_TSL_SCHEDULER_H
#define PLATFORM_TESSEL_TSL_SCHEDULER_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/scheduler.h"

// Slot 19. With seven or eight strict queues it changes the body: weight 0 becomes 0, a missing bandwidth of queue 0
// the port's speed.
qosDriverStatus_t tslSetSchCfg(qosSchMsg_t *body);
// Slot 21.
qosDriverStatus_t tslSetPortShaperCfg(qosSchMsg_t *body);

// A weight as it is downloaded: as configured, 1 for 0.
uint32_t tsl_qos_convert_wgt_to_dnld_wgt(uint32_t weight);

#endif
