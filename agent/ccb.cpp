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
#include "lib/avl.h"
#include "velmar/ha.h"

namespace {

constexpr unsigned LARKIN_RED_ENTRY = 15; // reserved for the chip itself

// What the reserved entry's profile says to the chip set-up: init or de-init, with no limits.
void fillReservedProfile(qosRedProfile_t *profile, int32_t active)
{
    profile->profileId = LARKIN_RED_ENTRY;
    profile->isActive = active;
    profile->minThreshold = UINT32_MAX;
    profile->maxThreshold = UINT32_MAX;
    profile->dropProbability = UINT32_MAX;
}

void reserveRedEntry(qosChip_t *chip)
{
    qosChipRedCfg_t &entry = chip->chipRedCfg[LARKIN_RED_ENTRY];
    if (!entry.redProfile)
        entry.redProfile = qosMallocRecord<qosRedProfile_t>(QOS_MOD_CCB, QOS_MEM_RED_PROFILE);
    if (entry.redProfile)
        fillReservedProfile(entry.redProfile, 1);
    entry.globalProfile = LARKIN_RED_ENTRY;
    entry.mappedProfile = LARKIN_RED_ENTRY;
}

uint32_t qaProcessIngrQueueDepth_iter(qosIf_t *interface)
{
    const qosChip_t *chip = interface->chip;
    if (!chip)
        return QOS_MSG_REFUSED; // nothing to program without a chip
    const qaIoctl_t entry = qaIoctl(chip, QOS_PRI_TAILDROP_MSG);
    if (!entry) {
        QOS_ERR("NULL pri tail drop threshold  Cfg handler for chip %d", chip->chip_id);
        return QOS_MSG_REFUSED;
    }
    qosCcbMsg_t body = {};
    body.ifindex = interface->ifIndex;
    const uint32_t rc = entry(&body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set tail drop threshold Cfg for if:%s error = %d\n", interface->ifName, rc);
    else
        QOS_INF("Set Sch Cfg Successful for if:%s\n", interface->ifName);
    return rc;
}

// The other agents' form of the walk: a tree's callback with an untyped record.
int visitIngrQueueDepth(void *info, void *)
{
    return static_cast<int>(qaProcessIngrQueueDepth_iter(static_cast<qosIf_t *>(info)));
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
    uint32_t rc = QOS_MSG_DONE;
    if (chip->chip_type == QOS_CHIP_LARKIN)
        reserveRedEntry(chip);
    if (const qaIoctl_t init = qaIoctl(chip, QOS_RED_CHIP_INIT_MSG)) {
        QOS_DBG("RED Chip init for chip %x", chip->chip_ifindex);
        rc = init(chip);
        if (rc != QOS_MSG_DONE)
            QOS_ERR("Unable to do RED init for chip %x, rc: %d", chip->chip_ifindex, rc);
    }
    if (const qaIoctl_t pool = qaIoctl(chip, QOS_SBP_MSG))
        rc = pool(chip);
    chip->bufStatus = rc;
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Unable to get shared buffer pool size, rc: %d", rc);
    else
        QOS_INF("successfully retrieved SBP size for chip %x", chip->chip_ifindex);
    return static_cast<int>(rc);
}

void qaCcbChipDown(qosChip_t *chip)
{
    if (chip->chip_type != QOS_CHIP_LARKIN)
        return;
    QOS_INF("Chip down for %x", chip->chip_ifindex);
    qosRedProfile_t *&profile = chip->chipRedCfg[LARKIN_RED_ENTRY].redProfile;
    if (!profile)
        return;
    fillReservedProfile(profile, 0);
    if (const qaIoctl_t init = qaIoctl(chip, QOS_RED_CHIP_INIT_MSG)) {
        QOS_DBG("RED Chip down for chip %x", chip->chip_ifindex);
        const uint32_t rc = init(chip);
        if (rc != QOS_MSG_DONE)
            QOS_ERR("Unable to do RED deinit for chip %x, rc: %d", chip->chip_ifindex, rc);
    }
    qosFreeRecord(QOS_MOD_CCB, QOS_MEM_RED_PROFILE, profile);
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

uint32_t qaProcessPriTailDrop(qosCcbMsg_t *body)
{
    QOS_FRAME();
    static constexpr qosText_t<const char *> unknown =
        QOS_ERR_TEXT("Failed to find interface %s for default cos update");
    qosIf_t *interface = qaCcbFindPort(__func__, body, unknown);
    if (!interface)
        return QOS_MSG_REFUSED;
    qosIfCcbInfo_t &ccb = interface->ccb;
    for (unsigned cos = 0; cos < QOS_NUM_COS; ++cos)
        ccb.priTailDropThreshold[cos] = body->pri_tail_drop_threshold[cos];
    if (body->priTailDropSet)
        ccb.ccbFlags |= QOS_CCB_COS_THRESHOLD;
    else
        ccb.ccbFlags &= ~QOS_CCB_COS_THRESHOLD;
    const qaIoctl_t entry = qaIoctl(interface->chip, QOS_PRI_TAILDROP_MSG);
    if (!entry) {
        QOS_ERR("NULL PRI TAIL DROP IOCTL handler for chip %d", interface->chip->chip_id);
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set pri tail drop for interface %s, error = %d", qosNameOf(body->ifName).text, rc);
    return rc;
}

uint32_t qaProcessPortPriBuffers(qosPortPriBuffersMsg_t *body)
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
    qaCcbGetPriTailDropThresholds(interface, interface->l2_pri.tc_map, interface->ccb.tailDropThreshold, thresholds);
    for (unsigned tc = 0; tc < QOS_NUM_COS; ++tc)
        body->thresholds[tc] = thresholds[tc];
    return qosAnswer(body, QOS_MSG_DONE);
}

uint32_t qaProcessIngrQueueDepthMsg(qosQueueDepthMsg_t *body)
{
    QOS_FRAME();
    ingrQueueDepth = body->queueDepth;
    if (qosIfTable)
        avl_traverse(qosIfTable, visitIngrQueueDepth, nullptr);
    return QOS_MSG_DONE;
}

uint32_t qaProcessEgrQueueDepthMsg(qosQueueDepthMsg_t *body)
{
    QOS_FRAME();
    egrQueueDepth = body->queueDepth;
    uint32_t rc = QOS_MSG_DONE;
    for (const qosChip_t *chip = qosFirstOwnChip(); chip; chip = tailqNext<&qosChip_t::slot_link>(chip)) {
        const uint32_t ifindex = chip->chip_ifindex;
        body->chip_ifindex = ifindex;
        const qaIoctl_t entry = qaIoctl(chip, QOS_EGR_QUEUE_DEPTH_MSG);
        if (!entry) {
            QOS_ERR("QOS EGRESS QUEUE DEPTH handler for chip %x, type: %d", ifindex, chip->chip_type);
            return qosAnswer(body, QOS_MSG_REFUSED);
        }
        rc = entry(body);
        if (rc != QOS_MSG_DONE)
            QOS_ERR("Failed to set egress queue limit on chip %x, rc: %d", ifindex, rc);
        else
            QOS_INF("set egress queue limit on chip %x", ifindex);
    }
    return rc;
}
