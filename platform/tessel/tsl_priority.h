// Priority maps on Tessel and, unchanged, on both Mirelle types: entries 4 to 11 of the back-end table.
#ifndef PLATFORM_TESSEL_TSL_PRIORITY_H
#define PLATFORM_TESSEL_TSL_PRIORITY_H

#include <cstdint>

#include "agent/messages/priority.h"

// The whole CoS map of a port: one record to the message's chip. The transport's status; the body's is the caller's.
uint32_t tslSetL2PriMap(const qosL2PriMsg_t *body);
// The whole DSCP map of a port, likewise.
uint32_t tslSetL3PriMap(const qosL3PriMsg_t *body);

// Each stores its status in the body and returns it.
uint32_t tslSetIfCosTrust(qosL2PriMsg_t *body);
uint32_t tslSetIfCosMap(qosL2PriMsg_t *body);
uint32_t tslSetIfCosTcMap(qosL2PriMsg_t *body);
uint32_t tslSetIfDefCos(qosL2PriMsg_t *body); // two records; the status is the second one's
uint32_t tslSetIfDscpTrust(qosL3PriMsg_t *body);
uint32_t tslSetIfDscpCosMap(qosL3PriMsg_t *body);
uint32_t tslSetIfDscpTcMap(qosL3PriMsg_t *body);
uint32_t tslSetIfDscpMap(qosL3PriMsg_t *body);

#endif
