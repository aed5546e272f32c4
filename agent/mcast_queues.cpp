// The three settings as rows of one mechanism, and the read.
#include "agent/mcast_queues.h"

#include "core/handler.h"
#include "core/text.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "inventory/slots.h"
#include "platform/qa_ioctl.h"
#include "velmar/dce.h"

namespace {

struct row_t {
    qosWhere_t where;
    uint8_t code;
    qosText_t<uint32_t, uint32_t> null_entry;
    qosText_t<uint32_t, uint32_t> failed;
    void (*traceDone)(const qosCcbMsg_t *body, uint32_t chip);
};

void traceRateLimit(const qosCcbMsg_t *body, uint32_t chip)
{
    QOS_INF_AT("qaProcessMcastRateLimit", "set mcastRateLimit (rate: %u, burst: %u) on chip %x",
               static_cast<uint32_t>(body->rateLimit), static_cast<uint32_t>(body->burstLimit), chip);
}

void traceTailDrop(const qosCcbMsg_t *body, uint32_t chip)
{
    uint32_t drop[8];
    for (unsigned queue = 0; queue < 8; ++queue)
        drop[queue] = body->mcTailDrop[queue];
    QOS_INF_AT("qaProcessMcastTailDrop", "set mcastTailDrop (%u, %u, %u, %u, %u, %u, %u, %u) on chip %x", drop[0],
               drop[1], drop[2], drop[3], drop[4], drop[5], drop[6], drop[7], chip);
}

void traceQueueMode(const qosCcbMsg_t *body, uint32_t chip)
{
    QOS_INF_AT("qaProcessSetMcastQueueMode", "set mcast queue mode set to %d on chip %x", body->mcastQueueMode, chip);
}

constexpr row_t RATE_LIMIT = {"qaProcessMcastRateLimit", QOS_MCAST_RATELIMIT_MSG,
                              QOS_ERR_TEXT("NULL RATE LIMIT IOCTL handler for chip %x, type: %d"),
                              QOS_ERR_TEXT("Failed to set mcastRateLimit on chip %x, rc: %d"), traceRateLimit};
constexpr row_t TAIL_DROP = {"qaProcessMcastTailDrop", QOS_MCAST_TAILDROP_MSG,
                             QOS_ERR_TEXT("NULL TAIL DROP IOCTL handler for chip %x, type: %d"),
                             QOS_ERR_TEXT("Failed to set mcastTailDrop on chip %x, rc: %d"), traceTailDrop};

constexpr row_t QUEUE_MODE = {"qaProcessSetMcastQueueMode", QOS_SET_MCAST_QUEUE_MODE_MSG,
                              QOS_ERR_TEXT("NULL MCAST QUEUE MODE IOCTL handler for chip %x, type: %d"),
                              QOS_ERR_TEXT("Failed to set mcastqueue mode on chip %x, rc: %d"), traceQueueMode};

// The status is what the entry leaves.
uint32_t program(const row_t &row, const qosChip_t *chip, qaIoctl_t entry, qosCcbMsg_t *body)
{
    body->chip_ifindex = chip->chip_ifindex;
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        qosTrace(row.where, row.failed, chip->chip_ifindex, rc);
    else
        row.traceDone(body, chip->chip_ifindex);
    return rc;
}

uint32_t refuse(const row_t &row, const qosChip_t *chip, qosCcbMsg_t *body)
{
    qosTrace(row.where, row.null_entry, chip->chip_ifindex, chip->chip_type);
    return qosAnswer(body, QOS_MSG_REFUSED);
}

uint32_t oneChip(const row_t &row, qosCcbMsg_t *body)
{
    const uint32_t ifindex = body->ifindex;
    const qosChip_t *chip = qosLookupChip(dce_get_flat_chip_id(ifindex));
    if (!chip) {
        QOS_ERR_AT(row.where, "Unable to locate chip in db with ifidx: %x", ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const qaIoctl_t entry = qaIoctl(chip, row.code);
    return entry ? program(row, chip, entry, body) : refuse(row, chip, body);
}

// A chip that fails does not end the walk.
uint32_t allChips(const row_t &row, qosCcbMsg_t *body)
{
    uint32_t rc = QOS_MSG_DONE;
    for (const qosChip_t *chip = qosFirstOwnChip(); chip; chip = tailqNext<&qosChip_t::slot_link>(chip)) {
        const qaIoctl_t entry = qaIoctl(chip, row.code);
        if (!entry)
            return refuse(row, chip, body);
        rc = program(row, chip, entry, body);
    }
    return rc;
}

// The receipt has the same words in both twins.
uint32_t handle(const row_t &row, qosCcbMsg_t *body)
{
    QOS_DBG_AT(row.where, "Received mcastRateLimit update");
    return body->ifindex == QOS_ALL_CHIPS_IFINDEX ? allChips(row, body) : oneChip(row, body);
}

} // namespace

uint32_t qaProcessMcastRateLimit(qosCcbMsg_t *body)
{
    QOS_FRAME();
    return handle(RATE_LIMIT, body);
}

uint32_t qaProcessMcastTailDrop(qosCcbMsg_t *body)
{
    QOS_FRAME();
    return handle(TAIL_DROP, body);
}

uint32_t qaProcessSetMcastQueueMode(qosCcbMsg_t *body)
{
    QOS_FRAME();
    QOS_DBG("Received mcastQueuemode update");
    return allChips(QUEUE_MODE, body);
}

uint32_t qaProcessMcastRcvQueStatsMsg(qosMcastRcvQueueStatsMsg_t *body)
{
    QOS_FRAME();
    const qosChip_t *chip = qosLookupChip(dce_get_flat_chip_id(body->chip_ifindex));
    if (!chip) {
        QOS_ERR("Unable to find chip");
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    QOS_INF("Received McastRcvQueStats msg for chip: %x", chip->chip_ifindex);
    const qaIoctl_t entry = qaIoctl(chip, QOS_GET_MCAST_RCVQUEUE_STATS_MSG);
    if (!entry) {
        QOS_ERR("NULL MCAST RCV QUE STATS handler for chip %x", chip->chip_ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to retrieve QosMcastRcvQue Stats for chip: %x, rc: %d", chip->chip_ifindex, rc);
    return qosAnswer(body, rc);
}
