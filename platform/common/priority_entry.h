// SPDX-License-Identifier: Apache-2.0
// The thin priority entries of all chip families: they send a port's whole map and differ in the words of their lines.
#ifndef PLATFORM_COMMON_PRIORITY_ENTRY_H
#define PLATFORM_COMMON_PRIORITY_ENTRY_H

#include <cstdint>

#include "agent/messages/header.h"
#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/text.h"
#include "core/trace.h"

// A back-end entry: a row, called with its body.
template <typename Body, typename Sent = Body>
struct priorityEntry_t {
    qosWhere_t where;
    qosDriverStatus_t (*send)(Sent *body); // the port's whole map; the transport's status
    qosText_t<const char *, uint32_t> failed;
    qosText_t<const char *> done;

    // Sends the map, traces how that ended, leaves it in the body's status and gives it.
    qosDriverStatus_t operator()(Body *body) const
    {
        const qosDriverStatus_t rc = send(body);
        const qosName_t name = qosNameOf(body->ifName);
        if (rc != QOS_MSG_DONE)
            qosTrace(where, failed, name.text, rc);
        else
            qosTrace(where, done, name.text);
        return qosAnswer(body, rc);
    }
};

#endif
