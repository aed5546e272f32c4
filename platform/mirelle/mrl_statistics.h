// Statistics on both Mirelle types: entries 25 to 27, 29, 30, 41, 69 and 77 of the back-end table. The members that are
// read as on Tessel are Tessel's.
#ifndef PLATFORM_MIRELLE_MRL_STATISTICS_H
#define PLATFORM_MIRELLE_MRL_STATISTICS_H

#include <cstdint>

#include "agent/messages/statistics.h"

// Each asks the chip of the body's interface and fills the reply in place. The status of a request is stored in the
// body and returned: the transport's. A failed read leaves the reply as it came.

// Counters of the port; 24 and a line for an unknown interface.
uint32_t mrlGetQueueStats(qosQueueStatsMsg_t *body);
// With port-level pause the first priority gets the sum of all and the others stay as they came.
uint32_t mrlGetFlowControlStats(qosFlowControlStatsMsg_t *body);
uint32_t mrlGetRmonStats(qosRcvQueueStatsMsg_t *body); // adds to drop_total

// Buffers of the port; 25 and no line for an unknown interface.
uint32_t mrlGetBusyBufStats(qosRcvQueueStatsMsg_t *body);
uint32_t mrlGetSendQueueStats(qosRcvQueueStatsMsg_t *body); // adds to drop_total
uint32_t mrlGetSwmStats(qosRcvQueueStatsMsg_t *body);       // these chips have none: 0

// Asks the body's chip.
uint32_t mrlGetAsicIntStats(qosAsicIntStatsMsg_t *body);

// Port counters, then RED, then drop reasons; the first failure ends it. The body's status is left to the caller but
// for what a step stores itself.
uint32_t mrlClearStats(qosClearStatsMsg_t *body);
uint32_t mrlClearSwmStats(qosClearStatsMsg_t *body);
uint32_t mrlClearDropRsnStats(qosClearStatsMsg_t *body);

#endif
