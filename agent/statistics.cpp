// SPDX-License-Identifier: Apache-2.0
// The plain handlers as rows of one mechanism, the two queue handlers, the two of a chip.
#include "agent/statistics.h"

#include "agent/model/thresholds.h"
#include "inventory/chips.h"
#include "velmar/dce.h"

namespace {

constexpr qosText_t<const char *> RECEIVED_RCV_QUEUE = QOS_INF_TEXT("Received RcvQueueStats Msg for if: %s");
using queue_t = qaPortCall_t<qosRcvQueueStatsMsg_t>;
constexpr queue_t RCV_QUEUE = {qaOperation<QOS_GET_RCVQUEUE_STATS_MSG>,
                               {QOS_ERR_TEXT("NULL RCV QUE STATS handler for chip %x")},
                               QOS_MSG_UNSERVED,
                               {QOS_ERR_TEXT("Failed to retrieve QosRcvQue Stats for if: %s, rc: %d")},
                               {},
                               qaStatus_t::StoredIfFailed};
constexpr queue_t SWM = {qaOperation<QOS_GET_SWM_STATS_MSG>,
                         {QOS_ERR_TEXT("NULL SWM STATS handler for chip %x")},
                         QOS_MSG_UNSERVED,
                         {QOS_ERR_TEXT("Failed to retrieve SWM Stats for if: %s, rc: %d")},
                         {},
                         qaStatus_t::StoredIfFailed};
constexpr queue_t RMON = {qaOperation<QOS_GET_RMON_STATS_MSG>,
                          {QOS_ERR_TEXT("NULL RMON STATS handler for chip %x")},
                          QOS_MSG_UNSERVED,
                          {QOS_ERR_TEXT("Failed to retrieve RMON Stats for if: %s, rc: %d")},
                          {},
                          qaStatus_t::StoredIfFailed};
// Send queues are a column of their own with the lines of the receive queues.
constexpr queue_t SEND_QUEUE = {qaOperation<QOS_GET_SENDQUEUE_STATS_MSG>,
                                RCV_QUEUE.null_entry,
                                QOS_MSG_UNSERVED,
                                RCV_QUEUE.failed,
                                {},
                                qaStatus_t::StoredIfFailed};

constexpr qaCall_t TMC_INFO = {
    qaOperation<QOS_GET_TMC_INFO_MSG>,
    qaLine_t<qaChipIfindex>{QOS_ERR_TEXT("NULL QOS_GET_TMC_INFO_MSG handler for chip %x")},
    QOS_MSG_UNSERVED,
    qaLine_t<qaChipId, qaRc>{QOS_ERR_TEXT("Failed to retrieve TMCInfo for chip %d: error = %d ")},
    qaNoLine_t{},
    qaStatus_t::Stored};
constexpr qaCall_t ASIC = {qaOperation<QOS_GET_ASIC_INT_STATS_MSG>,
                           qaLine_t<qaChipIfindex>{QOS_ERR_TEXT("NULL QOS_GET_ASIC_INT_STATS_MSG handler for chip %x")},
                           QOS_MSG_UNSERVED,
                           qaLine_t<qaRc>{QOS_ERR_TEXT("Failed to retrieve Asic Stats  rc: %d")},
                           qaNoLine_t{},
                           qaStatus_t::Stored};

constexpr int32_t MAX_PORT_THRESHOLD = 0x800000; // bytes

} // namespace

#define QA_STATISTIC(code, handler, status, received, null_entry, failed)                                              \
    constexpr qaStatistic_t<qosBodyOf<code>> handler = {#handler,                                                      \
                                                        QOS_INF_TEXT(received),                                        \
                                                        {qaOperation<code>,                                            \
                                                         {QOS_ERR_TEXT(null_entry)},                                   \
                                                         QOS_MSG_UNSERVED,                                             \
                                                         {QOS_ERR_TEXT(failed)},                                       \
                                                         {},                                                           \
                                                         qaStatus_t::status}};
#include "agent/statistics.def"
#undef QA_STATISTIC

void qaRcvQueSetThresholds(const qosIf_t *interface, qosRcvQueueStatsMsg_t *body)
{
    qaCcbThresholds_t thresholds = {};
    uint32_t budget = body->port_threshold;
    (void)qaCcbGetPriTailDropThresholds(interface, interface->l2_pri.tc_map, budget, thresholds);
    const bool sums = qosChipTraits(interface->chip->chip_type).budget_of_sums;
    for (unsigned tc = 0; tc < QOS_NUM_COS; ++tc) {
        body->threshold[tc] = thresholds[tc];
        if (sums)
            budget += thresholds[tc];
        if (static_cast<int32_t>(budget) > MAX_PORT_THRESHOLD)
            budget = MAX_PORT_THRESHOLD;
    }
    body->port_threshold = budget;
}

qosMsgStatus_t qaProcessRcvQueStatsMsg(qosRcvQueueStatsMsg_t *body)
{
    QOS_FRAME();
    const qosIf_t *interface = qaStatisticPort(__func__, RECEIVED_RCV_QUEUE, body);
    if (!interface)
        return QOS_MSG_UNSERVED;
    for (const queue_t *row : {&RCV_QUEUE, &SWM, &RMON}) {
        const qosMsgStatus_t rc = qaRun(*row, {__func__, interface->chip, interface->ifName}, body).rc;
        if (rc != QOS_MSG_DONE)
            return rc;
    }
    qaRcvQueSetThresholds(interface, body);
    return qosAnswer(body, QOS_MSG_DONE);
}

qosMsgStatus_t qaProcessSendQueStatsMsg(qosRcvQueueStatsMsg_t *body)
{
    QOS_FRAME();
    const qosIf_t *interface = qaStatisticPort(__func__, RECEIVED_RCV_QUEUE, body);
    if (!interface)
        return QOS_MSG_UNSERVED;
    const qosMsgStatus_t rc = qaRun(SEND_QUEUE, {__func__, interface->chip, interface->ifName}, body).rc;
    if (rc != QOS_MSG_DONE)
        return rc;
    qaCcbThresholds_t unused = {};
    (void)qaCcbGetPriTailDropThresholds(interface, interface->l2_pri.tc_map, body->port_threshold, unused);
    return qosAnswer(body, QOS_MSG_DONE);
}

qosMsgStatus_t qaProcessGetTmcInfoMsg(qosGetTmcInfoMsg_t *body)
{
    QOS_FRAME();
    const int32_t number = body->tsl_id;
    const qosChip_t *chip = qosLookupChip(number);
    if (!chip) {
        QOS_ERR("Failed to find chip %d", number);
        return QOS_MSG_UNSERVED;
    }
    if (!qosChipTraits(chip->chip_type).memory_controllers) {
        QOS_ERR("Invalid chip type for getTmcInfo");
        return QOS_MSG_REFUSED;
    }
    return qaRun(TMC_INFO, {__func__, chip}, body).rc;
}

qosMsgStatus_t qaProcessGetAsicIntStats(qosAsicIntStatsMsg_t *body)
{
    QOS_FRAME();
    const qosChip_t *chip = qosLookupChip(dce_get_flat_chip_id(body->chip_ifindex));
    if (!chip) {
        QOS_ERR("chip is not found");
        return QOS_MSG_NOT_FOUND;
    }
    QOS_INF("Received GetAsicIntStats Msg ");
    return qaRun(ASIC, {__func__, chip}, body).rc;
}
