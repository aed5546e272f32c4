// Statistics that the manager asks for. A request's body has the size of its answer; the back end of the port's chip
// fills it in place, and nothing is kept.
#ifndef AGENT_STATISTICS_H
#define AGENT_STATISTICS_H

#include <cstdint>

#include "agent/messages/statistics.h"
#include "inventory/records.h"

// Codes 29, 30 and 49 to 65: look up the interface, call the entry of the code. The status is 0, 25 for an unknown
// interface, one without a chip or a missing entry, or the back end's; that of code 30 on success is left to the back
// end. What a failed request had not reached comes back as it was sent.
uint32_t qaProcessFlowControlStatsMsg(qosFlowControlStatsMsg_t *body);
uint32_t qaProcessQueueStatsMsg(qosQueueStatsMsg_t *body);
uint32_t qaProcessGetIngQueStats(qosIngQueStatsMsg_t *body);
uint32_t qaProcessGetEgrQueStats(qosEgrQueStatsMsg_t *body);
uint32_t qaProcessGetIngBufStats(qosIngBufStatsMsg_t *body);
uint32_t qaProcessGetEgrBufStats(qosEgrBufStatsMsg_t *body);
uint32_t qaProcessGetPlcIngQueStats(qosPlcIngQueStatsMsg_t *body);
uint32_t qaProcessGetPlcEgrQueStats(qosPlcEgrQueStatsMsg_t *body);
uint32_t qaProcessGetPlcIngBufStats(qosPlcIngBufStatsMsg_t *body);
uint32_t qaProcessGetPlcEgrBufStats(qosPlcEgrBufStatsMsg_t *body);
uint32_t qaProcessGetTmcIngChipQueStats(qosTmcIngChipQueStatsMsg_t *body);
uint32_t qaProcessGetTmcEgrChipQueStats(qosTmcEgrChipQueStatsMsg_t *body);
uint32_t qaProcessGetTmcIngChipBufStats(qosTmcIngChipBufStatsMsg_t *body);
uint32_t qaProcessGetTmcEgrChipBufStats(qosTmcEgrChipBufStatsMsg_t *body);
uint32_t qaProcessGetIngTmcPortBufStats(qosIngTmcPortBufStatsMsg_t *body);
uint32_t qaProcessGetEgrTmcPortBufStats(qosEgrTmcPortBufStatsMsg_t *body);
uint32_t qaProcessGetIngTmcPortQueStats(qosIngTmcPortQueStatsMsg_t *body);
uint32_t qaProcessGetVoqStats(qosVoqStatsMsg_t *body);
uint32_t qaProcessGetDropRsnStats(qosDropRsnStatsMsg_t *body);

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
