// SPDX-License-Identifier: Apache-2.0
// Layer 2 priority of an interface: CoS trust, default CoS, CoS mutation and CoS to traffic class. Module "QOS L2PRI".
#ifndef AGENT_L2_PRIORITY_H
#define AGENT_L2_PRIORITY_H

#include <cstdint>

#include "agent/messages/priority.h"
#include "agent/priority.h"

struct qosChip_t;

void qaRegisterL2PriModule();
[[nodiscard]] int qaL2PriChipUp(qosChip_t *chip); // chip_up hook

// Handlers of codes 4 to 7, rows that are called. The body's values are stored in the interface before the back end is
// asked and stay there whatever it answers; the outcome stands in the body's status.
extern const qaPriRow_t<qosL2PriMsg_t> qaProcessIfCosTrust;
extern const qaPriRow_t<qosL2PriMsg_t> qaProcessIfDefCos;
extern const qaPriRow_t<qosL2PriMsg_t> qaProcessIfCosMap;
extern const qaPriRow_t<qosL2PriMsg_t> qaProcessIfCosTcMap;

#endif
