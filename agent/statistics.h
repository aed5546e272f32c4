// SPDX-License-Identifier: Apache-2.0
// Statistics that the manager asks for. A request's body has the size of its answer; the back end of the port's chip
// fills it in place, and nothing is kept.
#ifndef AGENT_STATISTICS_H
#define AGENT_STATISTICS_H

#include <cstdint>

#include "agent/messages/bodies.h"
#include "agent/operation.h"
#include "inventory/interfaces.h"

// A statistic of a port: the lines of a missing entry name the chip, the others the port.
template <typename Body>
using qaPortCall_t = qaCall_t<Body, qaLine_t<qaChipIfindex>, qaLine_t<qaName, qaRc>, qaNoLine_t>;

// The interface with its chip, announced in the trace; null with 25 in the status.
template <typename Body>
const qosIf_t *qaStatisticPort(qosWhere_t where, const qosText_t<const char *> &received, Body *body)
{
    const uint32_t ifindex = body->ifindex;
    const qosIf_t *interface = qosLookupIfEntry(ifindex);
    if (!interface) {
        QOS_ERR_AT(where, "Unable to find interface for ifindex %x in db", ifindex);
    } else {
        qosTrace(where, received, interface->ifName);
        if (interface->chip)
            return interface;
        QOS_ERR_AT(where, "Failed to find chip for interface %s", interface->ifName);
    }
    body->status = QOS_MSG_UNSERVED;
    return nullptr;
}

// A handler that is one call of the back end, called with its body.
template <typename Body>
struct qaStatistic_t {
    qosWhere_t where;
    qosText_t<const char *> received;
    qaPortCall_t<Body> call;

    qosMsgStatus_t operator()(Body *body) const
    {
        const qosFrame_t frame(where);
        const qosIf_t *interface = qaStatisticPort(where, received, body);
        return interface ? qaRun(call, {where, interface->chip, interface->ifName}, body).rc : QOS_MSG_UNSERVED;
    }
};

// Codes 29, 30 and 49 to 65, rows of statistics.def: look up the interface, call the entry of the code. The status is
// 0, 25 for an unknown interface, one without a chip or a missing entry, or the back end's; that of code 30 on success
// is left to the back end. What a failed request had not reached comes back as it was sent.
#define QA_STATISTIC(code, handler, ...) extern const qaStatistic_t<qosBodyOf<code>> handler;
#include "agent/statistics.def"
#undef QA_STATISTIC

// Code 25. Three entries in turn, then the thresholds; the first failure ends it, and what ran keeps what it wrote.
qosMsgStatus_t qaProcessRcvQueStatsMsg(qosRcvQueueStatsMsg_t *body);
// The last step of code 25: the thresholds of the body's budget, which on Mirelle grows by their sum. Units are bytes.
void qaRcvQueSetThresholds(const qosIf_t *interface, qosRcvQueueStatsMsg_t *body);
qosMsgStatus_t qaProcessSendQueStatsMsg(qosRcvQueueStatsMsg_t *body); // code 69

// Codes 48 and 77, of a chip. For an unknown chip, and in the first for one that is no Tessel, the status comes back as
// it was sent.
qosMsgStatus_t qaProcessGetTmcInfoMsg(qosGetTmcInfoMsg_t *body);
qosMsgStatus_t qaProcessGetAsicIntStats(qosAsicIntStatsMsg_t *body);

#endif
