// Layer 2 priority of an interface: CoS trust, default CoS, CoS mutation and CoS to traffic class. Module "QOS L2PRI".
#ifndef AGENT_L2_PRIORITY_H
#define AGENT_L2_PRIORITY_H

#include <cstdint>

#include "agent/messages/priority.h"

struct qosChip_t;

void qaRegisterL2PriModule();
int qaL2PriChipUp(qosChip_t *chip); // chip_up hook

// Handlers of codes 4 to 7. The body's values are stored in the interface before the back end is asked and stay there
// whatever it answers; the outcome stands in the body's status.
uint32_t qaProcessIfCosTrust(qosL2PriMsg_t *body);
uint32_t qaProcessIfDefCos(qosL2PriMsg_t *body);
uint32_t qaProcessIfCosMap(qosL2PriMsg_t *body);
uint32_t qaProcessIfCosTcMap(qosL2PriMsg_t *body);

#endif
