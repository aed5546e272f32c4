// SPDX-License-Identifier: Apache-2.0
// Chip and interface hooks of congestion control, the weights, the queue depths, the buffer query.
#include "agent/ccb.h"

#include <cstring>

#include "agent/long_distance.h"
#include "agent/model/thresholds.h"
#include "agent/port_steps.h"
#include "core/handler.h"
#include "core/memory.h"
#include "core/module.h"
#include "core/state.h"
#include "core/trace.h"
#include "inventory/interfaces.h"
#include "inventory/slots.h"
#include "lib/views.h"
#include "velmar/ha.h"

namespace {

// What the reserved entry's profile says to the chip set-up: init or de-init, with no limits.
void fillReservedProfile(qosRedProfile_t *profile, uint16_t number, int32_t active)
{
    qosRedProfile_t &filled = qosEdit(*profile);
    filled.profileId = number;
    filled.isActive = active;
    filled.minThreshold = UINT32_MAX;
    filled.maxThreshold = UINT32_MAX;
    filled.dropProbability = UINT32_MAX;
}

void reserveRedEntry(qosChip_t *chip, uint16_t number)
{
    qosChipRedCfg_t &entry = qosEdit(chip->chipRedCfg[number]);
    if (!entry.redProfile)
        entry.redProfile = qosMallocRecord<qosRedProfile_t>(QOS_MOD_CCB, QOS_MEM_RED_PROFILE);
    if (entry.redProfile)
        fillReservedProfile(entry.redProfile, number, 1);
    entry.globalProfile = number;
    entry.mappedProfile = number;
}

constexpr qaCall_t INGR_QUEUE_DEPTH = {
    qaOperation<QOS_PRI_TAILDROP_MSG>,
    qaLine_t<qaChipId>{QOS_ERR_TEXT("NULL pri tail drop threshold  Cfg handler for chip %d")}, QOS_MSG_REFUSED,
    qaLine_t<qaName, qaRc>{QOS_ERR_TEXT("Failed to set tail drop threshold Cfg for if:%s error = %d\n")},
    qaLine_t<qaName>{QOS_INF_TEXT("Set Sch Cfg Successful for if:%s\n")}};
constexpr qaCall_t PRI_TAIL_DROP = {
    qaOperation<QOS_PRI_TAILDROP_MSG>, qaLine_t<qaChipId>{QOS_ERR_TEXT("NULL PRI TAIL DROP IOCTL handler for chip %d")},
    QOS_MSG_REFUSED, qaLine_t<qaName, qaRc>{QOS_ERR_TEXT("Failed to set pri tail drop for interface %s, error = %d")},
    qaNoLine_t{}};
constexpr qaCall_t EGR_QUEUE_DEPTH = {
    qaOperation<QOS_EGR_QUEUE_DEPTH_MSG>,
    qaLine_t<qaChipIfindex, qaChipType>{QOS_ERR_TEXT("QOS EGRESS QUEUE DEPTH handler for chip %x, type: %d")},
    QOS_MSG_REFUSED, qaLine_t<qaChipIfindex, qaRc>{QOS_ERR_TEXT("Failed to set egress queue limit on chip %x, rc: %d")},
    qaLine_t<qaChipIfindex>{QOS_INF_TEXT("set egress queue limit on chip %x")}};

constexpr auto RED_UP =
    qaOptional(qaOperation<QOS_RED_CHIP_INIT_MSG>, qaLine_t<qaChipIfindex>{QOS_DBG_TEXT("RED Chip init for chip %x")},
               qaLine_t<qaChipIfindex, qaRc>{QOS_ERR_TEXT("Unable to do RED init for chip %x, rc: %d")});
constexpr auto RED_DOWN =
    qaOptional(qaOperation<QOS_RED_CHIP_INIT_MSG>, qaLine_t<qaChipIfindex>{QOS_DBG_TEXT("RED Chip down for chip %x")},
               qaLine_t<qaChipIfindex, qaRc>{QOS_ERR_TEXT("Unable to do RED deinit for chip %x, rc: %d")});
// A chip type without a pool to ask for keeps the outcome of its RED set-up.
constexpr auto SHARED_POOL = qaOptional(qaOperation<QOS_SBP_MSG>, qaNoLine_t{}, qaNoLine_t{});

qosMsgStatus_t qaProcessIngrQueueDepth_iter(const qosIf_t *interface)
{
    if (!interface->chip)
        return QOS_MSG_REFUSED; // nothing to program without a chip
    qosCcbMsg_t body = {};
    body.ifindex = interface->ifIndex;
    return qaRun(INGR_QUEUE_DEPTH, {__func__, interface->chip, interface->ifName}, &body).rc;
}

} // namespace

void qaRegisterCcbModule()
{
    QOS_FRAME();
    qosModule_t &record = qosModuleRecord(QOS_MOD_CCB, "QOS CCB");
    record.chip_up = qaCcbChipUp;
    record.chip_down = qaCcbChipDown;
    record.if_add = qaCcbIfAdd;
    record.ha_register = qaCcbHaRegister;
    QOS_INF("Registered CCB module with QOS Agent");
}

int qaCcbChipUp(qosChip_t *chip)
{
    QOS_INF("Chip up for %x", chip->chip_ifindex);
    if (const uint16_t own = qosChipTraits(chip->chip_type).own_red_profile)
        reserveRedEntry(chip, own);
    qosMsgStatus_t rc = qaRun(RED_UP, {__func__, chip}, chip).rc;
    if (const qaCalled_t pool = qaRun(SHARED_POOL, {__func__, chip}, chip); pool.made)
        rc = pool.rc;
    qosEdit(chip->bufStatus) = rc;
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Unable to get shared buffer pool size, rc: %d", rc);
    else
        QOS_INF("successfully retrieved SBP size for chip %x", chip->chip_ifindex);
    return static_cast<int>(rc);
}

void qaCcbChipDown(qosChip_t *chip)
{
    const uint16_t own = qosChipTraits(chip->chip_type).own_red_profile;
    if (own == 0)
        return;
    QOS_INF("Chip down for %x", chip->chip_ifindex);
    qosRedProfile_t *profile = chip->chipRedCfg[own].redProfile;
    if (!profile)
        return;
    fillReservedProfile(profile, own, 0);
    (void)qaRun(RED_DOWN, {__func__, chip}, chip); // the chip goes, whatever it answers
    qosFreeRecord(QOS_MOD_CCB, QOS_MEM_RED_PROFILE, profile);
    qosEdit(chip->chipRedCfg[own].redProfile) = nullptr;
}

int qaCcbIfAdd(qosIf_t *interface)
{
    QOS_INF("CCB if add: %s", interface->ifName);
    qaLdIfAdd(interface);
    if (!interface->chip)
        return QOS_OK;
    // A port is first programmed as if every CoS went to class 1, whatever its map is.
    qosCcbMsg_t body = qaPortBody(interface);
    memset(body.tc_map, 1, sizeof body.tc_map);
    for (const qaPortStep_t *step :
         {&QA_STEP_DEF_TAILDROP, &QA_STEP_TAILDROP, &QA_STEP_PRI_TAILDROP, &QA_STEP_EMERGENCY_PAUSE})
        qaRunPortStep(__func__, *step, interface, &body);
    return QOS_OK;
}

void qaCcbHaRegister()
{
    int rc = ha_add_object(qos_velmar_state.ha, "ingrQueueDepth", &ingrQueueDepth, sizeof ingrQueueDepth, "~U32", 0, 0);
    if (rc != 0)
        QOS_ERR("Unable to register ingrQueueDepth  with THA, rc:%d", rc);
    rc = ha_add_object(qos_velmar_state.ha, "egrQueueDepth", &egrQueueDepth, sizeof egrQueueDepth, "~U32", 0, 0);
    if (rc != 0)
        QOS_ERR("Unable to register egrQueueDepth  with THA, rc:%d", rc);
}

qosIf_t *qaCcbFindPort(qosWhere_t where, qosCcbMsg_t *body, const qosText_t<const char *> &unknown)
{
    const qosName_t name = qosNameOf(body->ifName);
    qosIf_t *interface = qosLookupIfEntry(body->ifindex);
    if (interface && interface->chip)
        return interface;
    if (!interface)
        qosTrace(where, unknown, name.text);
    else
        QOS_ERR_AT(where, "Failed to find chip for interface %s", name.text);
    body->status = QOS_MSG_REFUSED;
    return nullptr;
}

qosMsgStatus_t qaProcessPriTailDrop(qosCcbMsg_t *body)
{
    QOS_FRAME();
    static constexpr qosText_t<const char *> unknown =
        QOS_ERR_TEXT("Failed to find interface %s for default cos update");
    qosIf_t *interface = qaCcbFindPort(__func__, body, unknown);
    if (!interface)
        return QOS_MSG_REFUSED;
    qosIfCcbInfo_t &ccb = qosEdit(interface->ccb);
    for (unsigned cos = 0; cos < QOS_NUM_COS; ++cos)
        ccb.priTailDropThreshold[cos] = body->pri_tail_drop_threshold[cos];
    if (body->priTailDropSet)
        ccb.ccbFlags |= QOS_CCB_COS_THRESHOLD;
    else
        ccb.ccbFlags &= ~QOS_CCB_COS_THRESHOLD;
    const qosName_t name = qosNameOf(body->ifName);
    return qaRun(PRI_TAIL_DROP, {__func__, interface->chip, name.text}, body).rc;
}

qosMsgStatus_t qaProcessPortPriBuffers(qosPortPriBuffersMsg_t *body)
{
    QOS_FRAME();
    const uint32_t ifindex = body->ifindex;
    const qosIf_t *interface = qosLookupIfEntry(ifindex);
    if (!interface) {
        QOS_ERR("Unable to find if %x in db", ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    // What the computation leaves alone comes back as the manager sent it.
    qaCcbThresholds_t thresholds;
    for (unsigned tc = 0; tc < QOS_NUM_COS; ++tc)
        thresholds[tc] = body->thresholds[tc];
    body->tailDropThreshold = interface->ccb.tailDropThreshold;
    (void)qaCcbGetPriTailDropThresholds(interface, interface->l2_pri.tc_map, interface->ccb.tailDropThreshold,
                                        thresholds);
    for (unsigned tc = 0; tc < QOS_NUM_COS; ++tc)
        body->thresholds[tc] = thresholds[tc];
    return qosAnswer(body, QOS_MSG_DONE);
}

qosMsgStatus_t qaProcessIngrQueueDepthMsg(qosQueueDepthMsg_t *body)
{
    QOS_FRAME();
    ingrQueueDepth = body->queueDepth;
    for (const qosIf_t &interface : avlView<const qosIf_t>(qosIfTable))
        (void)qaProcessIngrQueueDepth_iter(&interface); // a port that fails has its line, the others go on
    return QOS_MSG_DONE;
}

qosMsgStatus_t qaProcessEgrQueueDepthMsg(qosQueueDepthMsg_t *body)
{
    QOS_FRAME();
    egrQueueDepth = body->queueDepth;
    qaCalled_t called = {true, QOS_MSG_DONE};
    for (const qosChip_t *chip = qosFirstOwnChip(); chip && called.made;
         chip = tailqNext<&qosChip_t::slot_link>(chip)) {
        body->chip_ifindex = chip->chip_ifindex;
        called = qaRun(EGR_QUEUE_DEPTH, {__func__, chip}, body);
    }
    return called.rc;
}
