// SPDX-License-Identifier: Apache-2.0
// The three settings as rows of one mechanism, and the read.
#include "agent/mcast_queues.h"

#include "agent/operation.h"
#include "inventory/chips.h"
#include "inventory/slots.h"
#include "velmar/dce.h"

namespace {

struct row_t {
    qosWhere_t where;
    qaCall_t<qosCcbMsg_t, qaLine_t<qaChipIfindex, qaChipType>, qaLine_t<qaChipIfindex, qaRc>, qaNoLine_t> call;
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

constexpr row_t RATE_LIMIT = {"qaProcessMcastRateLimit",
                              {qaOperation<QOS_MCAST_RATELIMIT_MSG>,
                               {QOS_ERR_TEXT("NULL RATE LIMIT IOCTL handler for chip %x, type: %d")},
                               QOS_MSG_REFUSED,
                               {QOS_ERR_TEXT("Failed to set mcastRateLimit on chip %x, rc: %d")},
                               {}},
                              traceRateLimit};
constexpr row_t TAIL_DROP = {"qaProcessMcastTailDrop",
                             {qaOperation<QOS_MCAST_TAILDROP_MSG>,
                              {QOS_ERR_TEXT("NULL TAIL DROP IOCTL handler for chip %x, type: %d")},
                              QOS_MSG_REFUSED,
                              {QOS_ERR_TEXT("Failed to set mcastTailDrop on chip %x, rc: %d")},
                              {}},
                             traceTailDrop};

constexpr row_t QUEUE_MODE = {"qaProcessSetMcastQueueMode",
                              {qaOperation<QOS_SET_MCAST_QUEUE_MODE_MSG>,
                               {QOS_ERR_TEXT("NULL MCAST QUEUE MODE IOCTL handler for chip %x, type: %d")},
                               QOS_MSG_REFUSED,
                               {QOS_ERR_TEXT("Failed to set mcastqueue mode on chip %x, rc: %d")},
                               {}},
                              traceQueueMode};

constexpr qaCall_t RCV_QUEUE = {
    qaOperation<QOS_GET_MCAST_RCVQUEUE_STATS_MSG>,
    qaLine_t<qaChipIfindex>{QOS_ERR_TEXT("NULL MCAST RCV QUE STATS handler for chip %x")},
    QOS_MSG_UNSERVED,
    qaLine_t<qaChipIfindex, qaRc>{QOS_ERR_TEXT("Failed to retrieve QosMcastRcvQue Stats for chip: %x, rc: %d")},
    qaNoLine_t{},
    qaStatus_t::Stored};

// The status is what the entry leaves. Without one the body goes back as it came.
qaCalled_t program(const row_t &row, const qosChip_t *chip, qosCcbMsg_t *body)
{
    if (qaEntry(chip, row.call.operation))
        body->chip_ifindex = chip->chip_ifindex;
    const qaCalled_t called = qaRun(row.call, {row.where, chip}, body);
    if (called.made && called.rc == QOS_MSG_DONE)
        row.traceDone(body, chip->chip_ifindex);
    return called;
}

qosMsgStatus_t oneChip(const row_t &row, qosCcbMsg_t *body)
{
    const uint32_t ifindex = body->ifindex;
    const qosChip_t *chip = qosLookupChip(dce_get_flat_chip_id(ifindex));
    if (!chip) {
        QOS_ERR_AT(row.where, "Unable to locate chip in db with ifidx: %x", ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    return program(row, chip, body).rc;
}

// A chip that fails does not end the walk, a chip type without the operation does.
qosMsgStatus_t allChips(const row_t &row, qosCcbMsg_t *body)
{
    qaCalled_t called = {true, QOS_MSG_DONE};
    for (const qosChip_t *chip = qosFirstOwnChip(); chip && called.made; chip = tailqNext<&qosChip_t::slot_link>(chip))
        called = program(row, chip, body);
    return called.rc;
}

// The receipt has the same words in both twins.
qosMsgStatus_t handle(const row_t &row, qosCcbMsg_t *body)
{
    QOS_DBG_AT(row.where, "Received mcastRateLimit update");
    return body->ifindex == QOS_ALL_CHIPS_IFINDEX ? allChips(row, body) : oneChip(row, body);
}

} // namespace

qosMsgStatus_t qaProcessMcastRateLimit(qosCcbMsg_t *body)
{
    QOS_FRAME();
    return handle(RATE_LIMIT, body);
}

qosMsgStatus_t qaProcessMcastTailDrop(qosCcbMsg_t *body)
{
    QOS_FRAME();
    return handle(TAIL_DROP, body);
}

qosMsgStatus_t qaProcessSetMcastQueueMode(qosCcbMsg_t *body)
{
    QOS_FRAME();
    QOS_DBG("Received mcastQueuemode update");
    return allChips(QUEUE_MODE, body);
}

qosMsgStatus_t qaProcessMcastRcvQueStatsMsg(qosMcastRcvQueueStatsMsg_t *body)
{
    QOS_FRAME();
    const qosChip_t *chip = qosLookupChip(dce_get_flat_chip_id(body->chip_ifindex));
    if (!chip) {
        QOS_ERR("Unable to find chip");
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    QOS_INF("Received McastRcvQueStats msg for chip: %x", chip->chip_ifindex);
    return qaRun(RCV_QUEUE, {__func__, chip}, body).rc;
}
