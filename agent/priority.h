// What the eight priority handlers have in common: their steps, with a row of texts, code and storing function for
// each.
#ifndef AGENT_PRIORITY_H
#define AGENT_PRIORITY_H

#include <cstdint>

#include "agent/messages/header.h"
#include "core/handler.h"
#include "core/text.h"
#include "core/trace.h"
#include "inventory/interfaces.h"
#include "platform/qa_ioctl.h"

template <typename Body>
struct qaPriRow_t {
    qosWhere_t function;
    uint8_t code; // also the column of the back-end table
    void (*store)(qosIf_t &interface, const Body &body);
    qosText_t<const char *> received;
    qosText_t<const char *> unknown;
    qosText_t<int32_t> null_entry;
    qosText_t<const char *, uint32_t> failed;
    qosText_t<const char *> done;
};

// How far a handler came: `interface` is null if the steps ended before the back end was called.
struct qaPriOutcome_t {
    qosIf_t *interface;
    uint32_t rc;
};

template <typename Body>
void qaPriTraceResult(const qaPriRow_t<Body> &row, qosWhere_t function, const char *name, uint32_t rc)
{
    if (rc != QOS_MSG_DONE)
        qosTrace(function, row.failed, name, rc);
    else
        qosTrace(function, row.done, name);
}

// Find the interface and its chip, store the values, call the back end. A missing interface or chip stores nothing; a
// missing entry leaves the values stored.
template <typename Body>
qaPriOutcome_t qaPriHandle(const qaPriRow_t<Body> &row, Body *body)
{
    const qosName_t name = qosNameOf(body->ifName);
    qosTrace(row.function, row.received, name.text);
    qosIf_t *interface = qosLookupIfEntry(body->ifIndex);
    if (!interface) {
        qosTrace(row.function, row.unknown, name.text);
        return {nullptr, qosAnswer(body, QOS_MSG_REFUSED)};
    }
    const qosChip_t *chip = interface->chip;
    if (!chip) {
        QOS_ERR_AT(row.function, "Failed to find chip for interface %s", name.text);
        return {nullptr, qosAnswer(body, QOS_MSG_REFUSED)};
    }
    row.store(*interface, *body);
    const qaIoctl_t entry = qaIoctl(chip, row.code);
    if (!entry) {
        qosTrace(row.function, row.null_entry, chip->chip_id);
        return {nullptr, qosAnswer(body, QOS_MSG_REFUSED)};
    }
    const uint32_t rc = entry(body);
    qaPriTraceResult(row, row.function, name.text, rc);
    return {interface, rc};
}

#endif
