// SPDX-License-Identifier: Apache-2.0
// Priority maps on Tessel and, unchanged, on both Mirelle types: entries 4 to 11 of the back-end table.
#ifndef PLATFORM_TESSEL_TSL_PRIORITY_H
#define PLATFORM_TESSEL_TSL_PRIORITY_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/priority.h"
#include "platform/common/priority_entry.h"

// The whole CoS map of a port: one record to the message's chip. The transport's status; the body's is the caller's.
qosDriverStatus_t tslSetL2PriMap(const qosL2PriMsg_t *body);
// The whole DSCP map of a port, likewise.
qosDriverStatus_t tslSetL3PriMap(const qosL3PriMsg_t *body);

using tslL2Entry_t = priorityEntry_t<qosL2PriMsg_t, const qosL2PriMsg_t>;
using tslL3Entry_t = priorityEntry_t<qosL3PriMsg_t, const qosL3PriMsg_t>;

// Each stores its status in the body and returns it.
extern const tslL2Entry_t tslSetIfCosTrust;
extern const tslL2Entry_t tslSetIfCosMap;
extern const tslL2Entry_t tslSetIfCosTcMap;
qosDriverStatus_t tslSetIfDefCos(qosL2PriMsg_t *body); // two records; the status is the second one's
extern const tslL3Entry_t tslSetIfDscpTrust;
extern const tslL3Entry_t tslSetIfDscpCosMap;
extern const tslL3Entry_t tslSetIfDscpTcMap;
qosDriverStatus_t tslSetIfDscpMap(qosL3PriMsg_t *body);

#endif
