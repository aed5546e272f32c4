// SPDX-License-Identifier: Apache-2.0
// Congestion control as COS records. A port's records go to the chip of its interface.
#include "platform/tessel/tsl_congestion.h"

#include <cstring>

#include "agent/model/chip_priority.h"
#include "agent/model/thresholds.h"
#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/state.h"
#include "core/text.h"
#include "core/trace.h"
#include "inventory/ifindex.h"
#include "platform/common/port.h"
#include "platform/records/congestion.h"
#include "platform/records/priority.h"

namespace {

// The lines of a port's record, with the port's name.
struct portTexts_t {
    qosWhere_t where;
    qosText_t<const char *, uint32_t> failed;
    qosText_t<const char *> done;
};

constexpr portTexts_t PRI_TAIL_DROP = {"tslSetPriTailDrop", QOS_ERR_TEXT("Failed to set taildrop for port %s, rc: %d"),
                                       QOS_DBG_TEXT("Set pri taildrop for port %s")};
constexpr portTexts_t TAIL_DROP = {"tslSetTailDrop", QOS_ERR_TEXT("Failed to set taildrop for port %s, rc: %d"),
                                   QOS_DBG_TEXT("Set taildrop for port %s")};
constexpr portTexts_t W2Q_MAP = {"tslSetW2qPriMap", QOS_ERR_TEXT("Failed to set pause for port %s, rc: %d"),
                                 QOS_DBG_TEXT("Set w2q map for port %s")};
constexpr portTexts_t PAUSE = {"tslSetPause", QOS_ERR_TEXT("Failed to set pause for port %s, rc: %d"),
                               QOS_DBG_TEXT("Set pause for port %s")};

template <typename Record>
qosDriverStatus_t sendForPort(const portTexts_t &texts, const qosIf_t *interface, const Record *record,
                              qosCcbMsg_t *body)
{
    const qosDriverStatus_t rc = qosCosSend(interface->chip->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        qosTrace(texts.where, texts.failed, interface->ifName, rc);
    else
        qosTrace(texts.where, texts.done, interface->ifName);
    return qosAnswer(body, rc);
}

qosDriverStatus_t sendPfc(const qosIf_t *interface, uint32_t ifindex, uint32_t priority)
{
    uint32_t de_assert;
    uint32_t assert_threshold;
    qaCcbGetPauseThresholds(interface, &de_assert, &assert_threshold);
    const qosPauseProfile_t &pfc = interface->ccb.pfc[priority];
    auto *record = qosCosRequest<cosPfc_t>(COS_PFC);
    record->ifindex = ifindex;
    record->priority = qaChipPriority(priority);
    record->rx = pfc.rx != 0;
    record->tx = pfc.tx != 0;
    record->assert_threshold = assert_threshold;
    record->de_assert_threshold = de_assert;
    return qosCosSend(interface->chip->chip_ifindex, record);
}

} // namespace

qosDriverStatus_t tslSetPriTailDrop(qosCcbMsg_t *body)
{
    const qosIf_t *interface = portFind<portMiss_t::Config>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    qaCcbThresholds_t thresholds = {};
    const qosDriverStatus_t computed =
        qaCcbGetPriTailDropThresholds(interface, body->tc_map, interface->ccb.tailDropThreshold, thresholds);
    if (computed != QOS_MSG_DONE) {
        QOS_ERR("failed to retrieve cos tail drop thresholds, rc: %d", computed);
        return computed;
    }
    auto *record = qosCosRequest<cosPriTailDrop_t>(COS_PRI_TAIL_DROP);
    record->ifindex = body->ifindex;
    for (unsigned priority = 0; priority < QOS_NUM_COS; ++priority) {
        record->valid[priority] = 1;
        record->threshold[priority] = thresholds[priority];
    }
    return sendForPort(PRI_TAIL_DROP, interface, record, body);
}

qosDriverStatus_t tslSetTailDrop(qosCcbMsg_t *body)
{
    const qosIf_t *interface = portFind<portMiss_t::Config>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    auto *record = qosCosRequest<cosTailDrop_t>(COS_TAIL_DROP);
    record->ifindex = body->ifindex;
    record->valid = 1;
    record->threshold = interface->ccb.tailDropThreshold;
    return sendForPort(TAIL_DROP, interface, record, body);
}

qosDriverStatus_t tslSetW2qPriMap(qosCcbMsg_t *body)
{
    const qosIf_t *interface = portFind<portMiss_t::Config>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    auto *record = qosCosRequest<cosW2qMap_t>(COS_W2Q_MAP);
    record->ifindex = body->ifindex;
    memcpy(record->tc_map, body->tc_map, sizeof record->tc_map);
    return sendForPort(W2Q_MAP, interface, record, body);
}

qosDriverStatus_t tslSetPause(qosCcbMsg_t *body)
{
    const qosIf_t *interface = portFind<portMiss_t::Config>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    uint32_t de_assert;
    uint32_t assert_threshold;
    qaCcbGetPauseThresholds(interface, &de_assert, &assert_threshold);
    auto *record = qosCosRequest<cosPause_t>(COS_PAUSE);
    record->ifindex = body->ifindex;
    record->rx = interface->ccb.pause.rx != 0;
    record->tx = interface->ccb.pause.tx != 0;
    record->assert_threshold = assert_threshold;
    record->de_assert_threshold = de_assert;
    return sendForPort(PAUSE, interface, record, body);
}

qosDriverStatus_t tslSetPfc(qosCcbMsg_t *body)
{
    const qosIf_t *interface = portFind<portMiss_t::Config>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    qosDriverStatus_t rc = QOS_MSG_DONE;
    for (uint32_t priority = 0; priority < QOS_NUM_COS && rc == QOS_MSG_DONE; ++priority) {
        rc = qosAnswer(body, sendPfc(interface, body->ifindex, priority));
        if (rc != QOS_MSG_DONE)
            QOS_ERR("Failed to set PFC for port %s, cos %d, rc: %d", interface->ifName, priority, rc);
        else
            QOS_DBG("Set PFC for port %s, cos %d", interface->ifName, priority);
    }
    return rc;
}

qosDriverStatus_t tslGetSbpSize(qosChip_t *chip)
{
    auto *record = qosCosRequest<cosSbpSize_t>(COS_SBP_SIZE, sizeof(cosSbpSize_t), qosRequestBuffer_t::AsIs);
    const cosSbpSize_t *response;
    uint32_t length;
    const qosDriverStatus_t rc = qosSendRequest(qosCosIoctl, chip->chip_ifindex, record, &response, &length);
    if (rc != QOS_MSG_DONE) {
        QOS_ERR("Failed to get SBP size for chip: %x, rc: %d", chip->chip_ifindex, rc);
        return rc;
    }
    qosEdit(chip->chipBuffers) = response->size;
    QOS_INF("Shared buffer size for chip %x is %u", chip->chip_ifindex, chip->chipBuffers);
    return rc;
}

uint32_t tslGetTailDropThreshold(const qosIf_t *interface)
{
    const uint32_t gigabits = qaSchGetSpeedFromIf(interface->ifIndex) / 1000;
    return gigabits * interface->chip->chipBuffers / (10 * qosModelTraits(qos_velmar_state.model).tessel_ports);
}

qosDriverStatus_t tslSetDefTailDrop(qosCcbMsg_t *body)
{
    qosIf_t *interface = portFind<portMiss_t::Config>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    qosEdit(interface->ccb.tailDropThreshold) = tslGetTailDropThreshold(interface);
    return QOS_MSG_DONE;
}
