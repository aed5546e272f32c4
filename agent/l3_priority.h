// SPDX-License-Identifier: Apache-2.0
// Layer 3 priority of an interface: DSCP trust, DSCP mutation, DSCP to CoS and DSCP to traffic class. Module "QOS
// L3PRI".
#ifndef AGENT_L3_PRIORITY_H
#define AGENT_L3_PRIORITY_H

#include <cstdint>

#include "agent/messages/priority.h"
#include "agent/priority.h"

struct qosChip_t;

void qaRegisterL3PriModule();
[[nodiscard]] int qaL3PriChipUp(qosChip_t *chip); // chip_up hook

// Handlers of codes 8 to 11, rows by the rules of layer 2. A trust message stores the trust alone, a mutation message
// the three maps alone, the other two everything.
extern const qaPriRow_t<qosL3PriMsg_t> qaProcessIfDscpTrust;
extern const qaPriRow_t<qosL3PriMsg_t> qaProcessIfDscpMap;
extern const qaPriRow_t<qosL3PriMsg_t> qaProcessIfDscpCosMap;
extern const qaPriRow_t<qosL3PriMsg_t> qaProcessIfDscpTcMap;

#endif
