// The walk over this node's chips.
#include "agent/mcast.h"

#include "core/trace.h"
#include "inventory/slots.h"
#include "platform/qa_ioctl.h"

uint32_t qaProcessSetMcastQueueMode(qosCcbMsg_t *body)
{
    QOS_FRAME();
    QOS_DBG("Received mcastQueuemode update");
    uint32_t rc = QOS_MSG_DONE;
    const qosSlot_t *slot = qosLookupOwnSlot();
    const qosChip_t *chip = slot ? tailqFirst(&slot->chipList) : nullptr;
    for (; chip; chip = tailqNext<&qosChip_t::slot_link>(chip)) {
        const uint32_t ifindex = chip->chip_ifindex;
        const qaIoctl_t entry = qaIoctl(chip, QOS_SET_MCAST_QUEUE_MODE_MSG);
        if (!entry) {
            QOS_ERR("NULL MCAST QUEUE MODE IOCTL handler for chip %x, type: %d", ifindex, chip->chip_type);
            body->status = QOS_MSG_REFUSED;
            return QOS_MSG_REFUSED;
        }
        body->chip_ifindex = ifindex;
        rc = entry(body);
        if (rc != QOS_MSG_DONE)
            QOS_ERR("Failed to set mcastqueue mode on chip %x, rc: %d", ifindex, rc);
        else
            QOS_INF("set mcast queue mode set to %d on chip %x", body->mcastQueueMode, ifindex);
    }
    return rc;
}
