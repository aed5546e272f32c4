// SPDX-License-Identifier: Apache-2.0
// Scheduler records go to all chips, shaper records to the chip that the message names. Neither is cleared first.
#include "platform/tessel/tsl_scheduler.h"

#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/trace.h"
#include "inventory/ifindex.h"
#include "platform/common/port.h"
#include "platform/records/congestion.h"
#include "platform/records/priority.h"

namespace {

constexpr uint32_t LAST = QOS_NUM_COS - 1;

// The first strict priority and the boundary below it, for a number of strict queues.
struct strict_t {
    uint32_t first;
    uint32_t boundary;
};

strict_t strictQueues(qosSchMsg_t *body, uint32_t count)
{
    if (count < LAST)
        return {QOS_NUM_COS - count, LAST - count};
    // Even the lowest priority is strict, held to the port's speed unless it has a bandwidth of its own.
    body->sch_cfg.dwrr_weight[0] = 0;
    if (body->sch_cfg.sp_queue_bw[0] == 0)
        body->sch_cfg.sp_queue_bw[0] = qaSchGetSpeedFromIf(body->ifIndex);
    return {0, 0};
}

void traceScheduler(const cosScheduler_t *record)
{
    for (uint32_t p = 0; p < QOS_NUM_COS; ++p)
        QOS_DBG_AT("tslSetSchCfg", "strict bndry %d, Pri %d, group = %d, grp wt = %d, qpri wt = %d, bw = %d",
                   static_cast<uint32_t>(record->strict_boundary), p, record->group[p],
                   static_cast<uint32_t>(record->group_weight[p]), static_cast<uint32_t>(record->queue_weight[p]),
                   static_cast<uint32_t>(record->bandwidth[p]));
    QOS_DBG_AT("tslSetSchCfg", "Rate-limit mask:%d", record->rate_limit_mask);
}

} // namespace

uint32_t tsl_qos_convert_wgt_to_dnld_wgt(uint32_t weight)
{
    return weight ? weight : 1;
}

qosDriverStatus_t tslSetSchCfg(qosSchMsg_t *body)
{
    if (!portFind<portMiss_t::Config>(__func__, body))
        return QOS_MSG_NOT_FOUND;
    const uint32_t configured = body->sch_cfg.sp_count;
    const uint32_t count = configured < QOS_NUM_COS ? configured : QOS_NUM_COS;
    const strict_t strict = strictQueues(body, count);
    auto *record = qosCosRequest<cosScheduler_t>(COS_SCHEDULER, sizeof(cosScheduler_t), qosRequestBuffer_t::AsIs);
    record->ifIndex = body->ifIndex;
    record->strict_boundary = strict.boundary;
    record->rate_limit_mask = 0xff;
    for (uint32_t p = 0; p < QOS_NUM_COS; ++p) {
        const uint32_t weight = tsl_qos_convert_wgt_to_dnld_wgt(body->sch_cfg.dwrr_weight[p]);
        record->group[p] = static_cast<uint8_t>(p);
        record->group_weight[p] = weight;
        record->queue_weight[p] = weight;
        record->bandwidth[p] = 0;
        if (count != 0 && p >= strict.first) {
            record->bandwidth[p] = body->sch_cfg.sp_queue_bw[p];
            record->rate_limit_mask &= static_cast<uint8_t>(~(1U << p));
        }
    }
    traceScheduler(record);
    const cosScheduler_t *response;
    uint32_t length;
    const qosDriverStatus_t rc = qosSendRequest(qosCosIoctl, QOS_ALL_CHIPS_IFINDEX, record, &response, &length);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Scheduler Cfg IOCTL failed for interface %s", qosNameOf(body->ifName).text);
    else
        QOS_DBG("Scheduler Cfg IOCTL set on interface %s", qosNameOf(body->ifName).text);
    return qosAnswer(body, rc);
}

qosDriverStatus_t tslSetPortShaperCfg(qosSchMsg_t *body)
{
    if (!portFind<portMiss_t::Config>(__func__, body))
        return QOS_MSG_NOT_FOUND;
    auto *record = qosCosRequest<cosPortShaper_t>(COS_PORT_SHAPER, sizeof(cosHdr_t), qosRequestBuffer_t::AsIs);
    record->valid = 1;
    record->ifIndex = body->ifIndex;
    record->if_bw = body->shaper_cfg.if_bw;
    const qosDriverStatus_t rc = qosCosSend(body->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Port Shaper IOCTL failed for interface %s", qosNameOf(body->ifName).text);
    else
        QOS_DBG("Port Shaper IOCTL set on interface %s", qosNameOf(body->ifName).text);
    return qosAnswer(body, rc);
}
