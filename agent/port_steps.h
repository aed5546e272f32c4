// Programming a port step by step: the optional steps that congestion control and long-distance links put together in
// their own orders. A step that the chip type does not have is left out silently; one that fails is traced, and the
// sequence goes on.
#ifndef AGENT_PORT_STEPS_H
#define AGENT_PORT_STEPS_H

#include <cstdint>
#include <cstring>

#include "agent/messages/chip.h"
#include "agent/messages/congestion.h"
#include "agent/messages/drop_monitor.h"
#include "agent/messages/policer.h"
#include "agent/messages/statistics.h"
#include "core/text.h"
#include "inventory/records.h"
#include "platform/qa_ioctl.h"

struct qaPortStep_t {
    uint8_t code; // column of the back-end table
    qosText_t<const char *> before;
    qosText_t<const char *, uint32_t> failed;
};

// Sets the port's budget to its default.
constexpr qaPortStep_t QA_STEP_DEF_TAILDROP = {
    QOS_SET_DEF_TAILDROP_MSG, QOS_INF_TEXT("Configuring default tail drop threshold for if: %s"),
    QOS_ERR_TEXT("Failed to set default tail drop threshold for if %s, rc: %d")};
constexpr qaPortStep_t QA_STEP_PORT_BUF = {QOS_PORT_BUF_ADJUST_MSG, QOS_INF_TEXT("Configuring port buffer for if: %s"),
                                           QOS_ERR_TEXT("Failed to program port buffer for if %s, rc: %d")};
constexpr qaPortStep_t QA_STEP_TAILDROP = {QOS_TAILDROP_MSG, QOS_INF_TEXT("Configuring tail drop threshold for if: %s"),
                                           QOS_ERR_TEXT("Failed to program tail drop threshold for if %s, rc: %d")};
constexpr qaPortStep_t QA_STEP_PRI_TAILDROP = {
    QOS_PRI_TAILDROP_MSG, QOS_INF_TEXT("Configuring pri tail drop threshold for if: %s"),
    QOS_ERR_TEXT("Failed to program pri tail drop threshold for if %s, rc: %d")};
constexpr qaPortStep_t QA_STEP_EMERGENCY_PAUSE = {QOS_EMERGENCY_PAUSE_MSG,
                                                  QOS_INF_TEXT("Configuring emergency pause for if: %s"),
                                                  QOS_ERR_TEXT("Failed to program emergency pause for if %s, rc: %d")};

// A body that names the interface and its chip, all else zero.
inline qosCcbMsg_t qaPortBody(const qosIf_t *interface)
{
    qosCcbMsg_t body = {};
    body.ifindex = interface->ifIndex;
    memcpy(body.ifName, interface->ifName, sizeof body.ifName);
    body.chip_ifindex = interface->chip->chip_ifindex;
    return body;
}

// Runs one step for a port that has a chip; the lines carry the name of the function whose sequence it is.
inline void qaRunPortStep(qosWhere_t function, const qaPortStep_t &step, const qosIf_t *interface, qosCcbMsg_t *body)
{
    const qaIoctl_t entry = qaIoctl(interface->chip, step.code);
    if (!entry)
        return;
    qosTrace(function, step.before, interface->ifName);
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        qosTrace(function, step.failed, interface->ifName, rc);
}

#endif
