// SPDX-License-Identifier: Apache-2.0
// What the eight priority handlers have in common: their steps. Each handler is a row of what differs.
#ifndef AGENT_PRIORITY_H
#define AGENT_PRIORITY_H

#include <cstdint>

#include "agent/messages/header.h"
#include "agent/operation.h"
#include "core/handler.h"
#include "core/text.h"
#include "core/trace.h"
#include "inventory/interfaces.h"

// The call of the back end: a missing entry answers 1.
template <typename Body>
using qaPriCall_t = qaCall_t<Body, qaLine_t<qaChipId>, qaLine_t<qaName, qaRc>, qaLine_t<qaName>>;

// A handler: a row of texts, code and storing function, called with its body.
template <typename Body>
struct qaPriRow_t {
    qosWhere_t where;
    void (*store)(qosIf_t &interface, const Body &body);
    qosText_t<const char *> received;
    qosText_t<const char *> unknown;
    qaPriCall_t<Body> call;
    // What comes behind a call that was made: gives the handler's result. Null for nothing.
    qosMsgStatus_t (*follow)(qosWhere_t where, qosIf_t *interface, Body *body, qosMsgStatus_t rc) = nullptr;

    // Finds the interface and its chip, stores the values, calls the back end. A missing interface or chip stores
    // nothing; a missing entry leaves the values stored.
    qosMsgStatus_t operator()(Body *body) const
    {
        const qosFrame_t frame(where);
        const qosName_t name = qosNameOf(body->ifName);
        qosTrace(where, received, name.text);
        qosIf_t *interface = qosLookupIfEntry(body->ifIndex);
        if (!interface) {
            qosTrace(where, unknown, name.text);
            return qosAnswer(body, QOS_MSG_REFUSED);
        }
        const qosChip_t *chip = interface->chip;
        if (!chip) {
            QOS_ERR_AT(where, "Failed to find chip for interface %s", name.text);
            return qosAnswer(body, QOS_MSG_REFUSED);
        }
        store(*interface, *body);
        const qaCalled_t called = qaRun(call, {where, chip, name.text}, body);
        return called.made && follow ? follow(where, interface, body, called.rc) : called.rc;
    }
};

#endif
