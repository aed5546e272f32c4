// The thin priority entries of all chip families: they send a port's whole map and differ in the words of their lines.
#ifndef PLATFORM_COMMON_PRIORITY_ENTRY_H
#define PLATFORM_COMMON_PRIORITY_ENTRY_H

#include <cstdint>

#include "agent/messages/header.h"
#include "core/handler.h"
#include "core/text.h"
#include "core/trace.h"

struct priorityEntry_t {
    qosWhere_t function;
    qosText_t<const char *, uint32_t> failed;
    qosText_t<const char *> done;
};

// Traces how the map's request ended, leaves that in the body's status and gives it.
template <typename Body>
uint32_t priorityFinish(const priorityEntry_t &entry, Body *body, uint32_t rc)
{
    const qosName_t name = qosNameOf(body->ifName);
    if (rc != QOS_MSG_DONE)
        qosTrace(entry.function, entry.failed, name.text, rc);
    else
        qosTrace(entry.function, entry.done, name.text);
    return qosAnswer(body, rc);
}

#endif
