// SPDX-License-Identifier: Apache-2.0
// The scheduler and shaper handlers.
#include "agent/scheduler.h"

#include "agent/operation.h"
#include "core/module.h"
#include "core/state.h"
#include "core/strings.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "inventory/ifindex.h"
#include "inventory/interfaces.h"
#include "lib/views.h"

qosSch_t sch_global_cfg;
qosMcSch_t Mcsch_global_cfg;

namespace {

// A port's scheduler and its shaper are told in the same words.
constexpr auto portCall(qaOperation_t<qosSchMsg_t> operation)
{
    return qaCall_t{operation, qaLine_t<qaChipId>{QOS_ERR_TEXT("NULL Sch Cfg handler for chip %d")}, QOS_MSG_REFUSED,
                    qaLine_t<qaName, qaRc>{QOS_ERR_TEXT("Failed to set Sch Cfg for if:%s error = %d\n")},
                    qaLine_t<qaName>{QOS_INF_TEXT("Set Sch Cfg Successful for if:%s\n")}};
}
constexpr auto SCHEDULER = portCall(qaOperation<QOS_SCH_MSG>);
constexpr auto SHAPER = portCall(qaOperation<QOS_PSHAPE_MSG>);
constexpr qaCall_t MC_SCHEDULER = {
    qaOperation<QOS_MC_SCH_MSG>, qaLine_t<qaChipId>{QOS_ERR_TEXT("NULL Sch Cfg handler for chip %d")}, QOS_MSG_REFUSED,
    qaLine_t<qaChipIfindex, qaRc>{QOS_ERR_TEXT("Failed to set Mc Sch Cfg for chip:0x%x error = %d\n")},
    qaLine_t<qaChipIfindex>{QOS_INF_TEXT("Set Mc Sch Cfg Successful for chip:0x%x\n")}};

qosMsgStatus_t qaProcessGlbSchCfg_iter(const qosIf_t *interface, qosSchMsg_t *body)
{
    if (interface->sch_cfg.SchFlags & QOS_SCH_OWN) {
        QOS_ERR("Failed to program Global Scheudler as per port scheduler present %s", qosNameOf(body->ifName).text);
        return QOS_MSG_OWN_SCHEDULER;
    }
    body->ifIndex = interface->ifIndex;
    const uint32_t speed = qaSchGetSpeedFromIf(interface->ifIndex);
    for (be32 &bandwidth : body->sch_cfg.sp_queue_bw)
        bandwidth = speed;
    const qosChip_t *chip = interface->chip;
    if (!chip) {
        QOS_ERR("Failed to find chip for interface %s", interface->ifName);
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    body->chip_ifindex = chip->chip_ifindex;
    return qaRun(SCHEDULER, {__func__, chip, interface->ifName}, body).rc;
}

qosMsgStatus_t qaProcessMcSchCfg_iter(const qosChip_t *chip, qosSchMsg_t *body)
{
    body->chip_ifindex = chip->chip_ifindex;
    return qaRun(MC_SCHEDULER, {__func__, chip}, body).rc;
}

} // namespace

void qaRegisterSchModule()
{
    QOS_FRAME();
    qosModuleRecord(QOS_MOD_SCH, "QOS SCH").chip_up = qaSchchipUp;
}

// Every chip of the table gets the default weights, the ones that were there before included.
int qaSchchipUp(qosChip_t *chip)
{
    QOS_DBG("Processing chip up part for chip:0x%x\n", chip->chip_ifindex);
    qosSchMsg_t body = {};
    qosCopyText(body.ifName, "Allinterfaces");
    for (unsigned queue = 0; queue < QOS_NUM_COS; ++queue)
        body.Mcsch_cfg.mc_dwrr_weight[queue] = qosDefaultMcWeight(queue);
    (void)qaProcessMcSchCfg(&body); // each chip has its line
    return QOS_OK;
}

qosMsgStatus_t qaProcessSchCfg(qosSchMsg_t *body)
{
    QOS_FRAME();
    const qosName_t name = qosNameOf(body->ifName);
    QOS_DBG("Received Scheduler Cfg update for interface %s", name.text);
    qosIf_t *interface = qosLookupIfEntry(body->ifIndex);
    if (!interface) {
        QOS_ERR("Failed to find interface %s for Sch Cfg update", name.text);
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    qosEdit(interface->sch_cfg) = body->sch_cfg;
    if (!interface->chip) {
        QOS_ERR("NULL chip pointer for interface %s", name.text);
        return QOS_MSG_REFUSED;
    }
    return qaRun(SCHEDULER, {__func__, interface->chip, name.text}, body).rc;
}

qosMsgStatus_t qaProcessGlbSchCfg(qosSchMsg_t *body)
{
    QOS_FRAME();
    QOS_DBG("Received Scheduler Cfg update for interface %s", qosNameOf(body->ifName).text);
    sch_global_cfg = body->sch_cfg;
    for (const qosIf_t &interface : avlView<const qosIf_t>(qosIfTable))
        (void)qaProcessGlbSchCfg_iter(&interface, body); // in the status, where the last port counts
    return QOS_MSG_DONE;
}

qosMsgStatus_t qaProcessPortShaperCfg(qosSchMsg_t *body)
{
    QOS_FRAME();
    const qosName_t name = qosNameOf(body->ifName);
    QOS_DBG("Received Port Shaper Cfg update for interface %s", name.text);
    qosIf_t *interface = qosLookupIfEntry(body->ifIndex);
    if (!interface) {
        QOS_ERR("Failed to find interface %s for Sch Cfg update", name.text);
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    qosEdit(interface->shaper_cfg) = body->shaper_cfg;
    const qosChip_t *chip = interface->chip;
    if (!chip) {
        QOS_ERR("Failed to find chip for interface %s", name.text);
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    body->chip_ifindex = chip->chip_ifindex;
    return qaRun(SHAPER, {__func__, chip, name.text}, body).rc;
}

qosMsgStatus_t qaProcessMcSchCfg(qosSchMsg_t *body)
{
    QOS_FRAME();
    QOS_DBG("Received Multicast Scheduler Cfg update for interface %s", qosNameOf(body->ifName).text);
    Mcsch_global_cfg = body->Mcsch_cfg;
    for (const qosChip_t &chip : avlView<const qosChip_t>(qosChipTable))
        (void)qaProcessMcSchCfg_iter(&chip, body); // in the status, where the last chip counts
    return QOS_MSG_DONE;
}
