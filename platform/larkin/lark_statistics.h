// Statistics on Larkin: entries 25 to 30 of the back-end table.
#ifndef PLATFORM_LARKIN_LARK_STATISTICS_H
#define PLATFORM_LARKIN_LARK_STATISTICS_H

#include <cstdint>

#include "agent/messages/statistics.h"

// Each asks the chip of the body's interface and fills the reply in place; a failed read leaves the reply as it came.
// The status is stored in the body and returned; 24 for an unknown interface.
uint32_t larkGetRcvQueStats(qosRcvQueueStatsMsg_t *body);
uint32_t larkGetSwmStats(qosRcvQueueStatsMsg_t *body);  // adds to the total of drops
uint32_t larkGetRmonStats(qosRcvQueueStatsMsg_t *body); // likewise
uint32_t larkGetFlowControlStats(qosFlowControlStatsMsg_t *body);
uint32_t larkGetQueueStats(qosQueueStatsMsg_t *body);

// Of the chip that the body names; 24 if it is unknown.
uint32_t larkGetMcastRcvQueStats(qosMcastRcvQueueStatsMsg_t *body);

#endif
