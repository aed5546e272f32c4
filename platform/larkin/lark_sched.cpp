// SPDX-License-Identifier: Apache-2.0
// Scheduler records. That of a port is not cleared first, and keeps what else stands in the word of its enable mask.
#include "platform/larkin/lark_sched.h"

#include "agent/messages/header.h"
#include "agent/model/chip_priority.h"
#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/trace.h"
#include "platform/records/larkin.h"

namespace {

constexpr uint32_t LAST = QOS_NUM_COS - 1;

uint16_t weightOf(const qosSchMsg_t *body, uint32_t tc)
{
    const uint32_t weight = body->sch_cfg.dwrr_weight[tc];
    return static_cast<uint16_t>(qos_convert_wgt_to_dnld_wgt(static_cast<int32_t>(weight)));
}

void traceScheduler(const larkScheduler_t *record)
{
    uint32_t w[QOS_NUM_COS]; // by the chip's class
    for (uint32_t tc = 0; tc < QOS_NUM_COS; ++tc)
        w[tc] = record->weight[LAST - tc];
    QOS_DBG_AT("larkSetSchCfg",
               "sch ets pri policy:%d, enable mask:%d,sch_pri_base_credit:%dweights "
               "tc0:%d,tc1:%d,tc2:%d,tc3:%d,tc4:%d,tc5:%d,tc6:%d,tc7:%d\n",
               static_cast<uint16_t>(record->priority_policy), static_cast<uint16_t>(record->enable),
               static_cast<uint32_t>(record->base_credit), w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}

} // namespace

int32_t qos_convert_wgt_to_dnld_wgt(int32_t weight)
{
    const auto steps = static_cast<int32_t>((int64_t{weight} + 2) / 5);
    return steps ? steps : 1;
}

uint32_t qos_convert_mc_wgt_to_dnld_wgt(uint32_t weight)
{
    return weight ? weight : 1;
}

qosDriverStatus_t larkSetSchCfg(qosSchMsg_t *body)
{
    const uint32_t strict = body->sch_cfg.sp_count;
    auto *record = qosDceRequest<larkScheduler_t>(DCE_CCB_SET, LARK_SCHEDULER, 1, qosRequestBuffer_t::AsIs);
    record->enable = static_cast<uint16_t>(record->enable | LARK_SCH_ENABLE);
    record->half_20 = 0;
    record->priority_policy = static_cast<uint16_t>(strict < LAST ? LAST - strict : 0);
    record->base_credit = LARK_SCH_BASE_CREDIT;
    for (uint32_t tc = 0; tc < QOS_NUM_COS; ++tc)
        record->weight[LAST - qaChipPriority(tc)] = weightOf(body, tc);
    traceScheduler(record);
    const qosDriverStatus_t rc = qosDceSend(body->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Scheduler Cfg IOCTL failed for interface %s", qosNameOf(body->ifName).text);
    return qosAnswer(body, rc);
}

qosDriverStatus_t larkSetMcSchCfg(qosSchMsg_t *body)
{
    auto *record = qosDceRequest<larkMcastQueues_t>(DCE_L2_CONFIG, LARK_MCAST_SCHEDULER, QOS_NUM_COS);
    for (unsigned tc = 0; tc < QOS_NUM_COS; ++tc) {
        const uint32_t weight = qos_convert_mc_wgt_to_dnld_wgt(body->Mcsch_cfg.mc_dwrr_weight[tc]);
        record->entry[tc].queue = static_cast<uint16_t>(tc);
        record->entry[tc].value = static_cast<uint16_t>(weight);
        QOS_DBG("Mc sch weight tc:%d, weight:%d\n", tc, weight);
    }
    const qosDriverStatus_t rc = qosDceSend(body->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Scheduler MC IOCTL failed for interface %s", qosNameOf(body->ifName).text);
    return qosAnswer(body, rc);
}
