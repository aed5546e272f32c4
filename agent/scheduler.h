// SPDX-License-Identifier: Apache-2.0
// Egress scheduling of ports and chips, and the port shaper. Module "QOS SCH".
#ifndef AGENT_SCHEDULER_H
#define AGENT_SCHEDULER_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/scheduler.h"

struct qosChip_t;

extern qosSch_t sch_global_cfg;     // the last global scheduling received
extern qosMcSch_t Mcsch_global_cfg; // the last multicast scheduling received

void qaRegisterSchModule();
int qaSchchipUp(qosChip_t *chip); // chip_up hook: 0

// Handlers of codes 19 to 22. What the body says is stored before the chip is asked. Of the two for a port the status
// is the back end's, or 1 for an unknown interface or a missing entry; without a chip it is 1 for the shaper and comes
// back as it was sent for the scheduler.
qosMsgStatus_t qaProcessSchCfg(qosSchMsg_t *body);
qosMsgStatus_t qaProcessGlbSchCfg(qosSchMsg_t *body); // 0; the status is what the last port left
qosMsgStatus_t qaProcessPortShaperCfg(qosSchMsg_t *body);
qosMsgStatus_t qaProcessMcSchCfg(qosSchMsg_t *body); // 0; the status is what the last chip left

#endif
