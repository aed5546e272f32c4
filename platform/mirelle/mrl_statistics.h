// SPDX-License-Identifier: Apache-2.0
// Statistics on both Mirelle types: entries 25 to 27, 29, 30, 41, 69 and 77 of the back-end table. The members that are
// read as on Tessel are Tessel's.
#ifndef PLATFORM_MIRELLE_MRL_STATISTICS_H
#define PLATFORM_MIRELLE_MRL_STATISTICS_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/statistics.h"
#include "platform/common/cos_statistics.h"

// Each asks the chip of the body's interface and fills the reply in place. The status of a request is stored in the
// body and returned: the transport's. A failed read leaves the reply as it came.

// Counters of the port; 24 and a line for an unknown interface.
extern const cosStatEntry_t<qosQueueStatsMsg_t, cosPortRow_t> mrlGetQueueStats;
// With port-level pause the first priority gets the sum of all and the others stay as they came.
extern const cosStatEntry_t<qosFlowControlStatsMsg_t, cosPortRow_t> mrlGetFlowControlStats;
extern const cosStatEntry_t<qosRcvQueueStatsMsg_t, cosPortRow_t> mrlGetRmonStats; // adds to drop_total

// Buffers of the port; 25 and no line for an unknown interface.
extern const cosStatEntry_t<qosRcvQueueStatsMsg_t, cosStatRow_t> mrlGetBusyBufStats;
extern const cosStatEntry_t<qosRcvQueueStatsMsg_t, cosStatRow_t> mrlGetSendQueueStats; // adds to drop_total
qosDriverStatus_t mrlGetSwmStats(qosRcvQueueStatsMsg_t *body);                         // these chips have none: 0

// Asks the body's chip.
qosDriverStatus_t mrlGetAsicIntStats(qosAsicIntStatsMsg_t *body);

// Port counters, then RED, then drop reasons; the first failure ends it. The body's status is left to the caller but
// for what a step stores itself.
qosDriverStatus_t mrlClearStats(qosClearStatsMsg_t *body);
qosDriverStatus_t mrlClearSwmStats(qosClearStatsMsg_t *body);
qosDriverStatus_t mrlClearDropRsnStats(qosClearStatsMsg_t *body);

#endif
