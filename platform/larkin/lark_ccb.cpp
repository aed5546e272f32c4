// SPDX-License-Identifier: Apache-2.0
// Congestion control as DCE records. A port's records go to the chip of its interface.
#include "platform/larkin/lark_ccb.h"

#include "agent/model/chip_priority.h"
#include "agent/model/clear_walk.h"
#include "agent/model/thresholds.h"
#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/text.h"
#include "core/trace.h"
#include "platform/common/port.h"
#include "platform/records/larkin.h"

namespace {

using portText_t = qosText_t<const char *, uint32_t>;

// Sends a port's record; a failure is traced with the port's name.
template <typename Record>
qosDriverStatus_t sendForPort(qosWhere_t where, const portText_t &failed, const qosIf_t *interface,
                              const Record *record, qosCcbMsg_t *body)
{
    const qosDriverStatus_t rc = qosDceSend(interface->chip->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        qosTrace(where, failed, interface->ifName, rc);
    return qosAnswer(body, rc);
}

// Turns one priority on or off and gives the word that the record holds for every priority that is on: the profile
// only where a priority has just been turned on or another one off.
uint32_t switchRed(qosIf_t *interface, const qosCcbMsg_t *body)
{
    qosIfRedCfg_t &config = interface->ccb.redConfig[static_cast<uint32_t>(body->cos) % QOS_NUM_COS];
    if (body->set == 0) {
        qosEdit(config.redProfileEnabled) = 0;
        return LARK_RED_PROFILE;
    }
    if (config.redProfileEnabled != 0)
        return 0;
    qosEdit(config.redProfileEnabled) = 1;
    qosEdit(config.globalProfile) = body->profileId;
    return LARK_RED_PROFILE;
}

// One request for at most LARK_CLEAR_PORTS ports.
qosDriverStatus_t clearPorts(const qosChip_t *chip, const uint32_t *ports, uint32_t count)
{
    auto *record = qosDceRequest<larkClearSwm_t>(DCE_CLEAR_SWM);
    const uint32_t length = static_cast<uint32_t>(sizeof *record + count * sizeof(be32));
    record->hdr.length = static_cast<uint16_t>(length);
    record->num_ports = count;
    record->word_16 = 1;
    auto *list = reinterpret_cast<be32 *>(qosRequestRecord() + sizeof *record);
    for (uint32_t i = 0; i < count; ++i)
        list[i] = ports[i];
    const unsigned char *response = nullptr;
    uint32_t response_length = sizeof(dceHdr_t);
    return qosDceIoctl(chip->chip_ifindex, record, length, &response, &response_length);
}

// All ports of a chip, in as many requests as they take; a chip without ports gets one that names none.
qosDriverStatus_t clearChipPorts(const qosChip_t *chip)
{
    uint32_t ports[LARK_CLEAR_PORTS];
    const qosIf_t *interface = tailqFirst(&chip->ifList);
    qosDriverStatus_t rc;
    do {
        uint32_t count = 0;
        for (; interface && count < LARK_CLEAR_PORTS; interface = tailqNext<&qosIf_t::chip_link>(interface))
            ports[count++] = interface->ifIndex;
        rc = clearPorts(chip, ports, count);
    } while (rc == QOS_MSG_DONE && interface);
    return rc;
}

} // namespace

qosDriverStatus_t larkSetTailDrop(qosCcbMsg_t *body)
{
    static constexpr portText_t failed = QOS_ERR_TEXT("tail drop ioctl for port %s failed, rc: %d");
    const qosIf_t *interface = portFind<portMiss_t::ConfigStored>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    auto *record = qosDceRequest<larkTailDrop_t>(DCE_CCB_SET, LARK_TAIL_DROP, 1);
    record->ifindex = interface->ifIndex;
    record->threshold = interface->ccb.tailDropThreshold;
    return sendForPort(__func__, failed, interface, record, body);
}

qosDriverStatus_t larkSetPriTailDrop(qosCcbMsg_t *body)
{
    static constexpr portText_t failed = QOS_ERR_TEXT("pri tail drop ioctl for port %s failed, rc: %d");
    const qosIf_t *interface = portFind<portMiss_t::ConfigStored>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    qaCcbThresholds_t thresholds = {};
    const qosDriverStatus_t computed =
        qaCcbGetPriTailDropThresholds(interface, body->tc_map, interface->ccb.tailDropThreshold, thresholds);
    if (computed != QOS_MSG_DONE) {
        QOS_ERR("failed to retrieve cos tail drop thresholds, rc: %d", computed);
        return qosAnswer(body, computed);
    }
    auto *record = qosDceRequest<larkPriTailDrop_t>(DCE_CCB_SET, LARK_PRI_TAIL_DROP, QOS_NUM_COS);
    for (uint32_t priority = 0; priority < QOS_NUM_COS; ++priority) {
        larkPriTailDropEntry_t &entry = record->entry[priority];
        entry.ifindex = interface->ifIndex;
        entry.priority = static_cast<uint16_t>(priority);
        entry.threshold = thresholds[qaChipPriority(priority)];
    }
    return sendForPort(__func__, failed, interface, record, body);
}

qosDriverStatus_t larkSetPortBuf(qosCcbMsg_t *body)
{
    static constexpr portText_t failed = QOS_ERR_TEXT("PortBuf ioctl failed for port %s, rc: %d");
    const qosIf_t *interface = portFind<portMiss_t::ConfigStored>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    auto *record = qosDceRequest<larkPortThreshold_t>(DCE_CCB_SET, LARK_PORT_BUF, 1);
    record->ifindex = interface->ifIndex;
    record->threshold = interface->ccb.tailDropThreshold;
    return sendForPort(__func__, failed, interface, record, body);
}

qosDriverStatus_t larkSetEmergencyPause(qosCcbMsg_t *body)
{
    static constexpr portText_t failed = QOS_ERR_TEXT("emergency pause ioctl failed for port %s, rc: %d");
    const qosIf_t *interface = portFind<portMiss_t::ConfigStored>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    auto *record = qosDceRequest<larkPortThreshold_t>(DCE_CCB_SET, LARK_EMERGENCY_PAUSE, 1);
    record->ifindex = interface->ifIndex;
    record->threshold = qaCcbGetEmerGencyPauseTh(interface);
    return sendForPort(__func__, failed, interface, record, body);
}

qosDriverStatus_t larkSetPause(qosCcbMsg_t *body)
{
    static constexpr portText_t failed = QOS_ERR_TEXT("pause ioctl failed for port %s, rc: %d");
    const qosIf_t *interface = portFind<portMiss_t::ConfigStored>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    uint32_t de_assert;
    uint32_t assert_threshold;
    qaCcbGetPauseThresholds(interface, &de_assert, &assert_threshold);
    auto *record = qosDceRequest<larkPause_t>(DCE_CCB_SET, LARK_PAUSE, 1);
    record->ifindex = interface->ifIndex;
    record->rx = body->pause_rx != 0;
    record->tx = body->pause_tx != 0;
    record->assert_threshold = assert_threshold;
    record->de_assert_threshold = de_assert;
    return sendForPort(__func__, failed, interface, record, body);
}

qosDriverStatus_t larkSetPfc(qosCcbMsg_t *body)
{
    static constexpr portText_t failed = QOS_ERR_TEXT("ppp ioctl failed for port %s, rc: %d");
    const qosIf_t *interface = portFind<portMiss_t::ConfigStored>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    uint32_t de_assert;
    uint32_t assert_threshold;
    qaCcbGetPauseThresholds(interface, &de_assert, &assert_threshold);
    auto *record = qosDceRequest<larkPfc_t>(DCE_CCB_SET, LARK_PFC, QOS_NUM_COS);
    for (uint32_t priority = 0; priority < QOS_NUM_COS; ++priority) {
        const qosPauseProfile_t &pfc = interface->ccb.pfc[priority];
        larkPfcEntry_t &entry = record->entry[priority]; // here 0 and 1 are not exchanged
        entry.ifindex = interface->ifIndex;
        entry.priority = static_cast<uint16_t>(priority);
        entry.rx = pfc.rx != 0;
        entry.tx = pfc.tx != 0;
        entry.assert_threshold = assert_threshold;
        entry.de_assert_threshold = de_assert;
    }
    return sendForPort(__func__, failed, interface, record, body);
}

qosDriverStatus_t larkinSetRedProfile(qosCcbMsg_t *body)
{
    static constexpr portText_t failed = QOS_ERR_TEXT("RED profile enable ioctl failed for port %s, rc: %d");
    qosIf_t *interface = portFind<portMiss_t::ConfigStored>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    const uint32_t word = switchRed(interface, body);
    auto *record = qosDceRequest<larkRedPort_t>(DCE_CCB_SET, LARK_RED_PORT, 1);
    record->hdr.word_8 = LARK_RED_PROFILE;
    record->ifindex = body->ifindex;
    uint32_t enabled = 0;
    for (unsigned priority = 0; priority < QOS_NUM_COS; ++priority) {
        if (interface->ccb.redConfig[priority].redProfileEnabled != 1)
            continue;
        enabled |= 1U << priority;
        record->profile[QOS_NUM_COS - 1 - priority] = word;
    }
    record->enabled = static_cast<uint16_t>(enabled);
    return sendForPort(__func__, failed, interface, record, body);
}

qosDriverStatus_t larkinRedChipInit(qosChip_t *chip)
{
    const qosRedProfile_t *profile = chip->chipRedCfg[LARK_RED_PROFILE].redProfile;
    if (!profile)
        return QOS_MSG_DONE;
    auto *record = qosDceRequest<larkRedChip_t>(DCE_CCB_SET, LARK_RED_CHIP, 1);
    record->hdr.word_8 = LARK_RED_PROFILE;
    record->isActive = static_cast<uint32_t>(profile->isActive);
    record->maxThreshold = profile->maxThreshold;
    record->range = profile->maxThreshold - profile->minThreshold;
    record->minThreshold = profile->minThreshold;
    const qosDriverStatus_t rc = qosDceSend(chip->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("RED profile enable ioctl failed for chip %x, rc: %d", chip->chip_ifindex, rc);
    return rc;
}

qosDriverStatus_t larkGetSbpSize(qosChip_t *chip)
{
    auto *record = qosDceRequest<larkSbpSize_t>(DCE_CCB_GET, LARK_SBP_SIZE, 1);
    const larkSbpSize_t *response;
    uint32_t length;
    const qosDriverStatus_t rc = qosSendRequest(qosDceIoctl, chip->chip_ifindex, record, &response, &length);
    if (rc != QOS_MSG_DONE) {
        QOS_ERR("SBP ioctl for chip %x failed, rc: %d", chip->chip_ifindex, rc);
        return rc;
    }
    qosEdit(chip->chipBuffers) = response->chipBuffers;
    qosEdit(chip->portBuffers) = response->portBuffers;
    return rc;
}

uint32_t larkGetTailDropThreshold(const qosIf_t *interface)
{
    return interface->chip->portBuffers;
}

qosDriverStatus_t larkSetDefTailDrop(qosCcbMsg_t *body)
{
    qosIf_t *interface = portFind<portMiss_t::ConfigStored>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    qosEdit(interface->ccb.tailDropThreshold) = larkGetTailDropThreshold(interface);
    return qosAnswer(body, QOS_MSG_DONE);
}

qosDriverStatus_t larkSetMcastRateLimit(qosCcbMsg_t *body)
{
    const uint32_t chip = body->chip_ifindex;
    auto *record = qosDceRequest<larkMcastRateLimit_t>(DCE_L2_CONFIG, LARK_MCAST_RATE_LIMIT, 1);
    record->burstLimit = static_cast<uint16_t>(body->burstLimit);
    record->rateLimit = body->rateLimit;
    const qosDriverStatus_t rc = qosDceSend(chip, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("mcRateLimit ioctl failed for chip %x, rc: %d", chip, rc);
    return qosAnswer(body, rc);
}

qosDriverStatus_t larkSetMcastTailDrop(qosCcbMsg_t *body)
{
    const uint32_t chip = body->chip_ifindex;
    auto *record = qosDceRequest<larkMcastQueues_t>(DCE_L2_CONFIG, LARK_MCAST_TAIL_DROP, QOS_NUM_COS);
    for (unsigned queue = 0; queue < QOS_NUM_COS; ++queue) {
        record->entry[queue].queue = static_cast<uint16_t>(queue);
        record->entry[queue].value = static_cast<uint16_t>(body->mcTailDrop[queue]);
    }
    const qosDriverStatus_t rc = qosDceSend(chip, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("mcTailDrop ioctl failed for chip %x, rc: %d", chip, rc);
    return qosAnswer(body, rc);
}

qosDriverStatus_t larkClearSwmStats(qosClearStatsMsg_t *body)
{
    const uint32_t ifindex = body->ifindex;
    const qosChip_t *chip = qaClearTarget(body);
    if (!chip) {
        QOS_ERR("No chip to clear swm counters of, ifindex 0x%x", ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const qosDriverStatus_t rc = body->clearAll != 0 ? clearChipPorts(chip) : clearPorts(chip, &ifindex, 1);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Clear swm counters failed for chip: %x, rc: %d", chip->chip_ifindex, rc);
    return qosAnswer(body, rc);
}

qosDriverStatus_t larkClearQmgStats(qosClearStatsMsg_t *body)
{
    const qosChip_t *chip = qaClearWalkChip(body);
    if (!chip) {
        QOS_ERR("No chip to clear qmg counters of");
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const qosDriverStatus_t rc = qosDceSend(chip->chip_ifindex, qosDceRequest<larkClearQmg_t>(DCE_CLEAR_QMG));
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Clear qmg counters failed for chip: %x, rc: %d", chip->chip_ifindex, rc);
    return qosAnswer(body, rc);
}

qosDriverStatus_t larkClearStats(qosClearStatsMsg_t *body)
{
    const qosDriverStatus_t rc = larkClearSwmStats(body);
    return body->clearAll != 0 ? larkClearQmgStats(body) : rc;
}

qosDriverStatus_t larkGetChipCapability(qosChipUpMsg_t *)
{
    return QOS_MSG_DONE;
}
