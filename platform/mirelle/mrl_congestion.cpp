// SPDX-License-Identifier: Apache-2.0
// Budgets out of the port table, and the multicast queue mode.
#include "platform/mirelle/mrl_congestion.h"

#include <algorithm>

#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "platform/common/port.h"
#include "platform/records/congestion.h"
#include "velmar/dce.h"

namespace {

constexpr uint8_t MODE_VALID = 1 << 6;
constexpr uint8_t MODE_ON = 1 << 5;

const qosChipPortInfo_t *portInfoOf(const qosIf_t *interface)
{
    const qosChip_t *chip = interface->chip;
    const auto end = chip->portInfo + std::min<uint32_t>(chip->num_ports, QOS_NUM_CHIP_PORTS);
    const auto found = std::find_if(
        chip->portInfo, end, [interface](const qosChipPortInfo_t &port) { return port.ifindex == interface->ifIndex; });
    return found == end ? nullptr : found;
}

} // namespace

qosDriverStatus_t mrlSetDefTailDrop(qosCcbMsg_t *body)
{
    qosIf_t *interface = portFind<portMiss_t::Config>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    const qosChipPortInfo_t *port = portInfoOf(interface);
    qosEdit(interface->ccb.tailDropThreshold) = port ? uint32_t{port->num_buffers} : 0;
    if (port)
        return QOS_MSG_DONE;
    QOS_ERR("Failed to find portinfo for if:%s", interface->ifName);
    return QOS_MSG_NOT_FOUND;
}

qosDriverStatus_t mrlSetMcastQueueMode(qosCcbMsg_t *body)
{
    const qosChip_t *chip = qosLookupChip(dce_get_flat_chip_id(body->chip_ifindex));
    if (!chip) {
        QOS_ERR("chip is not found");
        return QOS_MSG_NOT_FOUND;
    }
    auto *record = qosCosRequest<cosMcastQueueMode_t>(COS_MCAST_QUEUE_MODE, sizeof(cosMcastQueueMode_t));
    record->mode = MODE_VALID | (body->mcastQueueMode ? MODE_ON : 0);
    QOS_INF("mcastqueue Mode: %d", body->mcastQueueMode);
    const cosMcastQueueMode_t *response;
    uint32_t length;
    const qosDriverStatus_t rc = qosSendRequest(qosCosIoctl, chip->chip_ifindex, record, &response, &length);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set mcast queue mode settings rc: %d", rc);
    return qosAnswer(body, rc);
}
