// What the eight priority handlers have in common: their steps, with a row of texts, code and storing function for
// each.
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

template <typename Body>
struct qaPriRow_t {
    qosWhere_t where;
    void (*store)(qosIf_t &interface, const Body &body);
    qosText_t<const char *> received;
    qosText_t<const char *> unknown;
    qaPriCall_t<Body> call;
};

// How far a handler came: `interface` is null if the steps ended before the back end was called.
struct qaPriOutcome_t {
    qosIf_t *interface;
    uint32_t rc;
};

// Find the interface and its chip, store the values, call the back end. A missing interface or chip stores nothing; a
// missing entry leaves the values stored.
template <typename Body>
qaPriOutcome_t qaPriHandle(const qaPriRow_t<Body> &row, Body *body)
{
    const qosName_t name = qosNameOf(body->ifName);
    qosTrace(row.where, row.received, name.text);
    qosIf_t *interface = qosLookupIfEntry(body->ifIndex);
    if (!interface) {
        qosTrace(row.where, row.unknown, name.text);
        return {nullptr, qosAnswer(body, QOS_MSG_REFUSED)};
    }
    const qosChip_t *chip = interface->chip;
    if (!chip) {
        QOS_ERR_AT(row.where, "Failed to find chip for interface %s", name.text);
        return {nullptr, qosAnswer(body, QOS_MSG_REFUSED)};
    }
    row.store(*interface, *body);
    const qaCalled_t called = qaRun(row.call, {row.where, chip, name.text}, body);
    return {called.made ? interface : nullptr, called.rc};
}

#endif
