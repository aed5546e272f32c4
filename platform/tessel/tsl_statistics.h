// Statistics on Tessel: entries 29, 30, 41, 48 to 65 and 67 of the back-end table. Those of ports and of the PLC, and
// the drop reasons, serve both Mirelle types as well.
#ifndef PLATFORM_TESSEL_TSL_STATISTICS_H
#define PLATFORM_TESSEL_TSL_STATISTICS_H

#include <cstdint>

#include "agent/messages/bodies.h"

// Each asks the chip of the body's interface and fills the reply in place. The status is stored in the body and
// returned: the transport's, or 25 for an unknown interface. A failed read leaves the reply as it came. The read of
// output queues echoes the selector behind the counters.
#define STAT_BLOCK(entry, code, ...) uint32_t entry(qosBodyOf<code> *body);
#include "platform/records/statistics.def"
#undef STAT_BLOCK
uint32_t tslGetDropRsnStats(qosDropRsnStatsMsg_t *body);
uint32_t tslGetFlowControlStats(qosFlowControlStatsMsg_t *body);
uint32_t tslGetQueueStats(qosQueueStatsMsg_t *body);

// The TMC behind the chip whose flat number is tsl_id.
uint32_t tslGetTmcInfo(qosGetTmcInfoMsg_t *body);

// Port counters, then RED, then drop reasons; the first failure ends it. The body's status is left to the caller but
// for what a step stores itself.
uint32_t tslClearStats(qosClearStatsMsg_t *body);
uint32_t tslClearSwmStats(qosClearStatsMsg_t *body);
uint32_t tslClearDropRsnStats(qosClearStatsMsg_t *body);

// Walks the devices of the debug counters: 50 after 0, then the next up to 55, then 59, which ends the walk.
uint32_t tslGetDbgStatDev(uint32_t device);

// The debug counters of the walk's chip, device by device until one fails. The body's status stays as it is.
uint32_t tslClearDbgStats(qosClearStatsMsg_t *body);

#endif
