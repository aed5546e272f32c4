// Statistics that the manager asks for. A request's body has the size of its answer; the back end of the port's chip
// fills it in place, and nothing is kept.
#ifndef AGENT_STATISTICS_H
#define AGENT_STATISTICS_H

#include <cstdint>

#include "agent/messages/bodies.h"
#include "inventory/records.h"

// Codes 29, 30 and 49 to 65, rows of statistics.def: look up the interface, call the entry of the code. The status is
// 0, 25 for an unknown interface, one without a chip or a missing entry, or the back end's; that of code 30 on success
// is left to the back end. What a failed request had not reached comes back as it was sent.
#define QA_STATISTIC(code, handler, ...) uint32_t handler(qosBodyOf<code> *body);
#include "agent/statistics.def"
#undef QA_STATISTIC

// Code 25. Three entries in turn, then the thresholds; the first failure ends it, and what ran keeps what it wrote.
uint32_t qaProcessRcvQueStatsMsg(qosRcvQueueStatsMsg_t *body);
// The last step of code 25: the thresholds of the body's budget, which on Mirelle grows by their sum. Units are bytes.
void qaRcvQueSetThresholds(const qosIf_t *interface, qosRcvQueueStatsMsg_t *body);
uint32_t qaProcessSendQueStatsMsg(qosRcvQueueStatsMsg_t *body); // code 69

// Codes 48 and 77, of a chip. For an unknown chip, and in the first for one that is no Tessel, the status comes back as
// it was sent.
uint32_t qaProcessGetTmcInfoMsg(qosGetTmcInfoMsg_t *body);
uint32_t qaProcessGetAsicIntStats(qosAsicIntStatsMsg_t *body);

#endif
