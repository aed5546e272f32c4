// SPDX-License-Identifier: Apache-2.0
// Statistics on Tessel: entries 29, 30, 41, 48 to 65 and 67 of the back-end table. Those of ports and of the PLC, and
// the drop reasons, serve both Mirelle types as well.
#ifndef PLATFORM_TESSEL_TSL_STATISTICS_H
#define PLATFORM_TESSEL_TSL_STATISTICS_H

#include <cstdint>

#include "agent/messages/bodies.h"
#include "platform/common/cos_statistics.h"

// A read of a block, as its row in platform/records/statistics.def says.
template <uint8_t Code>
using tslBlock_t = cosStatEntry_t<qosBodyOf<Code>, cosStatRow_t>;

// Each asks the chip of the body's interface and fills the reply in place. The status is stored in the body and
// returned: the transport's, or 25 for an unknown interface. A failed read leaves the reply as it came. The read of
// output queues echoes the selector behind the counters.
#define STAT_BLOCK(entry, code, ...) extern const tslBlock_t<code> entry;
#include "platform/records/statistics.def"
#undef STAT_BLOCK
qosDriverStatus_t tslGetDropRsnStats(qosDropRsnStatsMsg_t *body);
extern const cosStatEntry_t<qosFlowControlStatsMsg_t, cosPortRow_t> tslGetFlowControlStats;
extern const cosStatEntry_t<qosQueueStatsMsg_t, cosPortRow_t> tslGetQueueStats;

// The TMC behind the chip whose flat number is tsl_id.
qosDriverStatus_t tslGetTmcInfo(qosGetTmcInfoMsg_t *body);

// Port counters, then RED, then drop reasons; the first failure ends it. The body's status is left to the caller but
// for what a step stores itself.
qosDriverStatus_t tslClearStats(qosClearStatsMsg_t *body);
qosDriverStatus_t tslClearSwmStats(qosClearStatsMsg_t *body);
qosDriverStatus_t tslClearDropRsnStats(qosClearStatsMsg_t *body);

// Walks the devices of the debug counters: 50 after 0, then the next up to 55, then 59, which ends the walk.
uint32_t tslGetDbgStatDev(uint32_t device);

// The debug counters of the walk's chip, device by device until one fails. The body's status stays as it is.
qosDriverStatus_t tslClearDbgStats(qosClearStatsMsg_t *body);

#endif
