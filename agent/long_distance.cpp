// SPDX-License-Identifier: Apache-2.0
// The split of a buffer pool and the orders in which its ports are programmed.
#include "agent/long_distance.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>

#include "agent/model/thresholds.h"
#include "agent/port_steps.h"
#include "core/state.h"
#include "core/trace.h"
#include "inventory/ifindex.h"
#include "inventory/interfaces.h"

namespace {

constexpr uint32_t LARKIN_POOL = 2036160; // bytes
constexpr uint32_t LARKIN_PORTS = 10;
constexpr uint32_t NO_RESERVE_METRES = 10000; // from here on nothing is set aside for a regular ISL

// The group's state, or null for a group that has none.
qosChipLdInfo_t *groupState(qosWhere_t where, qosChip_t *chip, const qosIf_t *interface)
{
    const uint16_t group = interface->ccb.ldIfCfg.buf_pool_group;
    if (group < QOS_NUM_BUF_POOLS)
        return &chip->ldChipCfg[group];
    QOS_ERR_AT(where, "Buffer pool group %d of if:%s has no long-distance state", group, interface->ifName);
    return nullptr;
}

uint32_t portsOfPool(const qosChip_t *chip, uint16_t group)
{
    const auto *end = chip->portInfo + std::min<uint32_t>(chip->num_ports, QOS_NUM_CHIP_PORTS);
    return static_cast<uint32_t>(
        std::count_if(chip->portInfo, end, [group](const qosChipPortInfo_t &port) { return port.bufPoolId == group; }));
}

bool isLongDistance(const qosIf_t *interface)
{
    return interface->ccb.ldIfCfg.is_link_ld == 1;
}

// Calls `call(port)` for each port of the chip that is in the interface's group, in the chip's order.
template <typename Call>
void forEachInGroup(const qosChip_t *chip, const qosIf_t *interface, Call &&call)
{
    const uint16_t group = interface->ccb.ldIfCfg.buf_pool_group;
    for (qosIf_t *port = tailqFirst(&chip->ifList); port; port = tailqNext<&qosIf_t::chip_link>(port))
        if (port->ccb.ldIfCfg.buf_pool_group == group)
            call(port);
}

// Runs steps for one port, with its own traffic class map.
void programPort(qosWhere_t where, const qosIf_t *port, std::initializer_list<const qaPortStep_t *> steps)
{
    qosCcbMsg_t body = qaPortBody(port);
    memcpy(body.tc_map, port->l2_pri.tc_map, sizeof body.tc_map);
    for (const qaPortStep_t *step : steps)
        qaRunPortStep(where, *step, port, &body);
}

// What every command begins with: the port on its chip with its group's state. All null if there is none.
struct target_t {
    qosIf_t *interface;
    qosChip_t *chip;
    qosChipLdInfo_t *state;
};

target_t findTarget(qosWhere_t where, const qosLdConfigMsg_t *body, const qosText_t<> &received)
{
    qosTrace(where, received);
    if (!body) {
        QOS_ERR_AT(where, "Invalid Message");
        return {};
    }
    qosIf_t *interface = qosLookupIfEntry(body->ifindex);
    if (!interface || !interface->chip) {
        QOS_ERR_AT(where, "Invalid ifindex:0x%x", static_cast<uint32_t>(body->ifindex));
        return {};
    }
    qosChipLdInfo_t *state = groupState(where, interface->chip, interface);
    return state ? target_t{interface, interface->chip, state} : target_t{};
}

using regIslAction_t = void (*)(qosChip_t *chip, qosIf_t *interface);

// Both regular ISL commands; they differ in what they do when the group has a long-distance link.
qosMsgStatus_t processRegIsl(qosWhere_t where, const qosLdConfigMsg_t *body, regIslAction_t action)
{
    static constexpr qosText_t<> received = QOS_DBG_TEXT("Received Regular ISL Config");
    const target_t target = findTarget(where, body, received);
    if (!target.interface)
        return QOS_MSG_REFUSED;
    QOS_DBG_AT(where, "Regular ISL Configuration for if:%s", target.interface->ifName);
    if (target.state->num_ld_isl != 0)
        action(target.chip, target.interface);
    else
        QOS_ERR_AT(where, "No LD ISL present on the same chip, nothing needed");
    return QOS_MSG_DONE;
}

} // namespace

qosMsgStatus_t qaProcessLdCfg(qosLdConfigMsg_t *body)
{
    QOS_FRAME();
    switch (body->cmd) {
    case QA_LD_CONFIG:
        return qaLdProcessLdConfigUpdate(body);
    case QA_LD_UNCONFIG:
        return qaLdProcessLdUnconfigUpdate(body);
    case QA_LD_REG_ISL_CONFIG:
        return qaLdProcessRegIslConfigUpdate(body);
    case QA_LD_REG_ISL_UNCONFIG:
        return qaLdProcessRegIslUnconfigUpdate(body);
    default:
        return QOS_MSG_REFUSED;
    }
}

void qaLdIfAdd(qosIf_t *interface)
{
    if (!qosIfIsPhysical(interface->ifIndex))
        return;
    qosEdit(interface->ccb.ldIfCfg.buf_pool_group) = static_cast<uint16_t>(qosGetBufPoolGroup(interface));
    QOS_DBG("Interface:%s, Buffer Pool Group:%d", interface->ifName, interface->ccb.ldIfCfg.buf_pool_group);
}

void qaLdGetSystemParam(const qosChip_t *chip, const qosIf_t *interface, uint32_t *total, uint32_t *ports)
{
    *total = 0;
    *ports = 0;
    switch (qosChipTraits(chip->chip_type).pool_ports) {
    case qosPoolPorts_t::Fixed:
        *total = LARKIN_POOL;
        *ports = LARKIN_PORTS;
        break;
    case qosPoolPorts_t::ByModel:
        *total = chip->chipBuffers;
        *ports = qosModelTraits(qos_velmar_state.model).tessel_ports;
        break;
    case qosPoolPorts_t::PortTable:
        *total = chip->chipBuffers;
        *ports = portsOfPool(chip, interface->ccb.ldIfCfg.buf_pool_group);
        break;
    case qosPoolPorts_t::Unsupported:
        QOS_ERR("LD ISL not supported on this Platform");
    }
    QOS_DBG("Total Buffer - %d, Total Port - %d", *total, *ports);
}

void qaLdCalculateBufferDist(qosChip_t *chip, qosIf_t *interface, uint8_t pfcCount)
{
    QOS_DBG("Calculating LD Buffer Distribution for if:%s pfcCount:%d", interface->ifName, pfcCount);
    qosChipLdInfo_t *state = groupState(__func__, chip, interface);
    if (!state)
        return;
    uint32_t total;
    uint32_t ports;
    qaLdGetSystemParam(chip, interface, &total, &ports);
    const uint32_t reg_isl = qaQuotient(total, ports);
    uint32_t de_assert;
    uint32_t assert_threshold;
    qaCcbGetPauseThresholds(interface, &de_assert, &assert_threshold);
    const uint32_t per_pfc = qaCcbPauseAssertGet(interface) + assert_threshold;
    // What follows wraps for a split that does not fit; nothing checks it.
    uint32_t remaining = total - per_pfc * pfcCount;
    uint32_t sharers = ports;
    if (interface->ccb.ldIfCfg.ld_distance < NO_RESERVE_METRES && sharers > 1) {
        --sharers;
        remaining -= reg_isl;
    }
    const auto lossy = static_cast<uint8_t>(8 - pfcCount);
    const uint32_t unit = qaQuotient(remaining, sharers + lossy);
    qosEdit(state->ld_buf) = {per_pfc, unit * lossy + per_pfc * pfcCount, reg_isl, unit};
    QOS_DBG("Long Distance Buffer Calculation:");
    QOS_DBG(" Per Pfc On LD:(%d)", state->ld_buf.per_pfc_buf);
    QOS_DBG(" LD Port:(%d)", state->ld_buf.ld_port_buf);
    QOS_DBG(" Reg ISL Port:(%d)", state->ld_buf.reg_isl_port_buf);
    QOS_DBG(" Edge Port:(%d)", state->ld_buf.edge_port_buf);
    forEachInGroup(chip, interface, [state](qosIf_t *port) {
        qosEdit(port->ccb.tailDropThreshold) =
            isLongDistance(port) ? state->ld_buf.ld_port_buf : state->ld_buf.edge_port_buf;
    });
}

void qaLdCommitBufferDist(qosChip_t *chip, qosIf_t *interface)
{
    forEachInGroup(chip, interface, [](qosIf_t *port) {
        if (!isLongDistance(port))
            programPort("qaLdCommitBufferDist", port, {&QA_STEP_TAILDROP, &QA_STEP_PRI_TAILDROP, &QA_STEP_PORT_BUF});
    });
    programPort(__func__, interface, {&QA_STEP_PORT_BUF, &QA_STEP_TAILDROP, &QA_STEP_PRI_TAILDROP});
}

void qaLdRollbackBufferDist(qosChip_t *chip, qosIf_t *interface)
{
    programPort(__func__, interface,
                {&QA_STEP_DEF_TAILDROP, &QA_STEP_TAILDROP, &QA_STEP_PRI_TAILDROP, &QA_STEP_PORT_BUF});
    forEachInGroup(chip, interface, [](qosIf_t *port) {
        programPort("qaLdRollbackBufferDist", port,
                    {&QA_STEP_DEF_TAILDROP, &QA_STEP_PORT_BUF, &QA_STEP_TAILDROP, &QA_STEP_PRI_TAILDROP});
    });
}

void qaLdCommitRegIslBufferDist(qosChip_t *chip, qosIf_t *interface)
{
    const qosChipLdInfo_t *state = groupState(__func__, chip, interface);
    if (!state)
        return;
    qosEdit(interface->ccb.tailDropThreshold) = state->ld_buf.reg_isl_port_buf;
    programPort(__func__, interface, {&QA_STEP_TAILDROP, &QA_STEP_PRI_TAILDROP});
}

void qaLdRollbackRegIslBufferDist(qosChip_t *chip, qosIf_t *interface)
{
    const qosChipLdInfo_t *state = groupState(__func__, chip, interface);
    if (!state)
        return;
    qosEdit(interface->ccb.tailDropThreshold) = state->ld_buf.edge_port_buf;
    // Tail drop goes twice, the first time under the words of the default, which would put the new budget back.
    static constexpr qaPortStep_t taildrop_as_default =
        qaOptional(QA_STEP_TAILDROP.operation, QA_STEP_DEF_TAILDROP.before, QA_STEP_DEF_TAILDROP.failed);
    programPort(__func__, interface, {&taildrop_as_default, &QA_STEP_TAILDROP, &QA_STEP_PRI_TAILDROP});
}

qosMsgStatus_t qaLdProcessLdConfigUpdate(const qosLdConfigMsg_t *body)
{
    static constexpr qosText_t<> received = QOS_DBG_TEXT("Received LD Self Config");
    const target_t target = findTarget(__func__, body, received);
    if (!target.interface)
        return QOS_MSG_REFUSED;
    QOS_DBG("LD Self Configuration for if:%s", target.interface->ifName);
    ++qosEdit(target.state->num_ld_isl);
    qosIfLdInfo_t &link = qosEdit(target.interface->ccb.ldIfCfg);
    link.is_link_ld = 1;
    link.ld_distance = body->distance;
    qaLdCalculateBufferDist(target.chip, target.interface, body->num_pfc);
    qaLdCommitBufferDist(target.chip, target.interface);
    return QOS_MSG_DONE;
}

qosMsgStatus_t qaLdProcessLdUnconfigUpdate(const qosLdConfigMsg_t *body)
{
    static constexpr qosText_t<> received = QOS_DBG_TEXT("Received LD Unconfig");
    const target_t target = findTarget(__func__, body, received);
    if (!target.interface)
        return QOS_MSG_REFUSED;
    QOS_DBG("LD Unconfiguration for if:%s", target.interface->ifName);
    if (target.interface->ccb.ldIfCfg.is_link_ld == 0) {
        QOS_DBG("if:%s is not a LD port, nothing needed", target.interface->ifName);
        return QOS_MSG_DONE;
    }
    --qosEdit(target.state->num_ld_isl);
    qosIfLdInfo_t &link = qosEdit(target.interface->ccb.ldIfCfg);
    link.is_link_ld = 0;
    link.ld_distance = 0;
    qaLdRollbackBufferDist(target.chip, target.interface);
    return QOS_MSG_DONE;
}

qosMsgStatus_t qaLdProcessRegIslConfigUpdate(const qosLdConfigMsg_t *body)
{
    return processRegIsl(__func__, body, qaLdCommitRegIslBufferDist);
}

qosMsgStatus_t qaLdProcessRegIslUnconfigUpdate(const qosLdConfigMsg_t *body)
{
    return processRegIsl(__func__, body, qaLdRollbackRegIslBufferDist);
}
