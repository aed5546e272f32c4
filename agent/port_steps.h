// SPDX-License-Identifier: Apache-2.0
// Programming a port step by step: the optional steps that congestion control and long-distance links put together in
// their own orders. A step that the chip type does not have is left out silently; one that fails is traced, and the
// sequence goes on.
#ifndef AGENT_PORT_STEPS_H
#define AGENT_PORT_STEPS_H

#include <cstdint>
#include <cstring>

#include "agent/messages/congestion.h"
#include "agent/operation.h"
#include "inventory/records.h"

// With the interface's name in the lines.
using qaPortStep_t = qaCall_t<qosCcbMsg_t, qaNoLine_t, qaLine_t<qaName, qaRc>, qaNoLine_t, qaLine_t<qaName>>;

// Sets the port's budget to its default.
constexpr qaPortStep_t QA_STEP_DEF_TAILDROP =
    qaOptional(qaOperation<QOS_SET_DEF_TAILDROP_MSG>,
               qaLine_t<qaName>{QOS_INF_TEXT("Configuring default tail drop threshold for if: %s")},
               qaLine_t<qaName, qaRc>{QOS_ERR_TEXT("Failed to set default tail drop threshold for if %s, rc: %d")});
constexpr qaPortStep_t QA_STEP_PORT_BUF = qaOptional(
    qaOperation<QOS_PORT_BUF_ADJUST_MSG>, qaLine_t<qaName>{QOS_INF_TEXT("Configuring port buffer for if: %s")},
    qaLine_t<qaName, qaRc>{QOS_ERR_TEXT("Failed to program port buffer for if %s, rc: %d")});
constexpr qaPortStep_t QA_STEP_TAILDROP = qaOptional(
    qaOperation<QOS_TAILDROP_MSG>, qaLine_t<qaName>{QOS_INF_TEXT("Configuring tail drop threshold for if: %s")},
    qaLine_t<qaName, qaRc>{QOS_ERR_TEXT("Failed to program tail drop threshold for if %s, rc: %d")});
constexpr qaPortStep_t QA_STEP_PRI_TAILDROP = qaOptional(
    qaOperation<QOS_PRI_TAILDROP_MSG>, qaLine_t<qaName>{QOS_INF_TEXT("Configuring pri tail drop threshold for if: %s")},
    qaLine_t<qaName, qaRc>{QOS_ERR_TEXT("Failed to program pri tail drop threshold for if %s, rc: %d")});
constexpr qaPortStep_t QA_STEP_EMERGENCY_PAUSE = qaOptional(
    qaOperation<QOS_EMERGENCY_PAUSE_MSG>, qaLine_t<qaName>{QOS_INF_TEXT("Configuring emergency pause for if: %s")},
    qaLine_t<qaName, qaRc>{QOS_ERR_TEXT("Failed to program emergency pause for if %s, rc: %d")});

// A body that names the interface and its chip, all else zero.
inline qosCcbMsg_t qaPortBody(const qosIf_t *interface)
{
    qosCcbMsg_t body = {};
    body.ifindex = interface->ifIndex;
    memcpy(body.ifName, interface->ifName, sizeof body.ifName);
    body.chip_ifindex = interface->chip->chip_ifindex;
    return body;
}

// Runs one step for a port that has a chip; the lines are for the function whose sequence it is.
inline void qaRunPortStep(qosWhere_t where, const qaPortStep_t &step, const qosIf_t *interface, qosCcbMsg_t *body)
{
    (void)qaRun(step, {where, interface->chip, interface->ifName}, body);
}

#endif
