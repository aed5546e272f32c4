// SPDX-License-Identifier: Apache-2.0
// The port of an operation, and what the operation answers where there is none.
#ifndef PLATFORM_COMMON_PORT_H
#define PLATFORM_COMMON_PORT_H

#include <cstdint>

#include "agent/messages/header.h"
#include "core/handler.h"
#include "core/trace.h"
#include "inventory/interfaces.h"

// The answers for a port that is unknown or has no chip.
enum class portMiss_t : uint8_t {
    Config,       // 24 and a line; the body's status stays as it is
    ConfigStored, // 24 and a line, 24 in the body's status
    Map,          // 1 and a line with the port's name, 1 in the status; a port needs no chip to have a map
    Statistics,   // 25 and no line, 25 in the status
};

constexpr qosDriverStatus_t portMissRc(portMiss_t miss)
{
    return miss == portMiss_t::Map          ? QOS_MSG_REFUSED
           : miss == portMiss_t::Statistics ? QOS_MSG_UNSERVED
                                            : QOS_MSG_NOT_FOUND;
}

// The interface index of a body, of the first of its records where it has no other.
template <typename Body>
uint32_t portOfBody(const Body *body)
{
    if constexpr (requires { body->ifindex; })
        return body->ifindex;
    else if constexpr (requires { body->ifIndex; })
        return body->ifIndex;
    else
        return body->records[0].ifindex;
}

// The interface of a body with its chip, or null with the answer given; the line is for `where`.
template <portMiss_t Miss, typename Body>
qosIf_t *portFind(qosWhere_t where, Body *body)
{
    const uint32_t ifindex = portOfBody(body);
    qosIf_t *interface = qosLookupIfEntry(ifindex);
    if (interface && (interface->chip || Miss == portMiss_t::Map))
        return interface;
    if constexpr (Miss == portMiss_t::Map)
        QOS_ERR_AT(where, "Failed to find interface %s entry for CoS trust\n", qosNameOf(body->ifName).text);
    else if constexpr (Miss != portMiss_t::Statistics)
        QOS_ERR_AT(where, "Failed to get ifentry for ifindex 0x%x", ifindex);
    if constexpr (Miss != portMiss_t::Config)
        qosSetStatus(body, portMissRc(Miss));
    return nullptr;
}

#endif
