// What the port operations of all chip families have in common.
#ifndef PLATFORM_COMMON_COS_PORT_H
#define PLATFORM_COMMON_COS_PORT_H

#include <cstdint>

#include "core/trace.h"
#include "inventory/interfaces.h"

// The interface of a port operation with its chip, or null with the line of a configuration step.
inline qosIf_t *cosFindPort(qosWhere_t where, uint32_t ifindex)
{
    qosIf_t *interface = qosLookupIfEntry(ifindex);
    if (interface && interface->chip)
        return interface;
    QOS_ERR_AT(where, "Failed to get ifentry for ifindex 0x%x", ifindex);
    return nullptr;
}

#endif
