// SPDX-License-Identifier: Apache-2.0
// Statistics on Larkin: entries 25 to 30 of the back-end table.
#ifndef PLATFORM_LARKIN_LARK_STATISTICS_H
#define PLATFORM_LARKIN_LARK_STATISTICS_H

#include <cstdint>

#include "agent/messages/statistics.h"
#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/text.h"
#include "platform/common/port.h"
#include "platform/records/larkin.h"

// A read of a port's counters, called with its body; the response has the request's layout.
template <typename Record, typename Body>
struct larkPortRead_t {
    qosWhere_t where;
    qosText_t<const char *, uint32_t> failed;
    Record *(*request)(); // all but the interface index
    void (*copy)(const qosIf_t *interface, const Record *response, Body *body);

    qosDriverStatus_t operator()(Body *body) const
    {
        const qosIf_t *interface = portFind<portMiss_t::ConfigStored>(where, body);
        if (!interface)
            return QOS_MSG_NOT_FOUND;
        Record *record = request();
        record->ifindex = interface->ifIndex;
        const Record *response;
        uint32_t length;
        const qosDriverStatus_t rc =
            qosSendRequest(qosDceIoctl, interface->chip->chip_ifindex, record, &response, &length);
        if (rc != QOS_MSG_DONE)
            qosTrace(where, failed, interface->ifName, rc);
        else
            copy(interface, response, body);
        return qosAnswer(body, rc);
    }
};

// Each asks the chip of the body's interface and fills the reply in place; a failed read leaves the reply as it came.
// The status is stored in the body and returned; 24 for an unknown interface.
extern const larkPortRead_t<larkRcvQueue_t, qosRcvQueueStatsMsg_t> larkGetRcvQueStats;
extern const larkPortRead_t<larkSwmCounters_t, qosRcvQueueStatsMsg_t> larkGetSwmStats;   // adds to the total of drops
extern const larkPortRead_t<larkPortCounters_t, qosRcvQueueStatsMsg_t> larkGetRmonStats; // likewise
extern const larkPortRead_t<larkPortCounters_t, qosFlowControlStatsMsg_t> larkGetFlowControlStats;
extern const larkPortRead_t<larkPortCounters_t, qosQueueStatsMsg_t> larkGetQueueStats;

// Of the chip that the body names; 24 if it is unknown.
qosDriverStatus_t larkGetMcastRcvQueStats(qosMcastRcvQueueStatsMsg_t *body);

#endif
