// SPDX-License-Identifier: Apache-2.0
// Chip up, interface add, interface delete.
#include "agent/core_handlers.h"

#include <cstdio>

#include "core/handler.h"
#include "core/module.h"
#include "core/state.h"
#include "core/trace.h"
#include "inventory/capability.h"
#include "inventory/chips.h"
#include "inventory/interfaces.h"
#include "velmar/dce.h"

qosMsgStatus_t qaProcessChipUp(qosChipUpMsg_t *body)
{
    QOS_FRAME();
    qosChipCap_t record = {};
    record.chip_ifindex = body->chip_ifindex;
    record.slot = static_cast<uint32_t>(body->slot_id);
    record.chip = static_cast<uint32_t>(body->local_chip_id);
    record.num_ports = static_cast<uint32_t>(body->num_ports);
    qosCopyCapsFromChipUpMsg(&record, body);
    const int rc = qosProcessChipAdd(&record, QOS_CAPS_IN_EVENT);
    body->status = rc;
    if (rc != QOS_OK)
        QOS_ERR("Failed to process Chip Up message for %d/%d (%d)", static_cast<int32_t>(body->slot_id),
                static_cast<int32_t>(body->local_chip_id), dce_get_flat_chip_id(body->chip_ifindex));
    return static_cast<qosMsgStatus_t>(rc);
}

qosMsgStatus_t qaProcessIfAdd(qosIfAddMsg_t *body)
{
    QOS_FRAME();
    qosIf_t *interface = qosProcessPortAdd(body->ifIndex, qosNameOf(body->ifName).text);
    if (!interface) {
        return qosAnswer(body, QOS_MSG_NO_MEMORY);
    }
    body->status = QOS_MSG_DONE;
    qosWalkModules<&qosModule_t::if_add>([&](qosModule_t &module) { module.if_add(interface); });
    return QOS_MSG_DONE;
}

qosMsgStatus_t qaProcessIfDel(qosIfDelMsg_t *body)
{
    QOS_FRAME();
    const qosIf_t *interface = qosLookupIfEntry(body->ifIndex);
    if (!interface) {
        QOS_ERR("Failed to find interface 0x%x for ifindex", static_cast<uint32_t>(body->ifIndex));
        return QOS_MSG_REFUSED;
    }
    QOS_INF("Deleting interface %s", interface->ifName);
    body->status = qosProcessPortDelete(body->ifIndex);
    return QOS_MSG_DONE;
}

void qaDcmDumpMsg(const unsigned char *bytes, int length)
{
    printf("[AGT]: ");
    int in_line = -1; // the first byte does not count
    for (int i = 0; i < length; ++i) {
        printf(" %02x ", bytes[i]);
        if (++in_line == 25) {
            printf("\n");
            in_line = 0;
        }
    }
}
