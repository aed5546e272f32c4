// SPDX-License-Identifier: Apache-2.0
// Priority maps as COS records. The target is always the chip that the message names; the interface is not looked up.
#include "platform/tessel/tsl_priority.h"

#include <cstring>

#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/trace.h"
#include "platform/common/priority_entry.h"
#include "platform/records/priority.h"

namespace {

void fillEntry(cosL2Entry_t &entry, uint8_t tc, uint8_t cos)
{
    entry.tc = tc;
    entry.cos = cos;
    entry.zero = 0;
}

} // namespace

qosDriverStatus_t tslSetL2PriMap(const qosL2PriMsg_t *body)
{
    auto *record = qosCosRequest<cosL2PriMap_t>(COS_L2_PRI_MAP, sizeof(cosHdr_t), qosRequestBuffer_t::AsIs);
    record->ifIndex = body->ifIndex;
    // Entries 0 to 7 are for frames without a trusted CoS, the three blocks behind them for the others.
    for (unsigned i = 0; i < 4 * QOS_NUM_COS; ++i) {
        const unsigned pri = i % QOS_NUM_COS;
        if (i < QOS_NUM_COS)
            fillEntry(record->entry[i], body->def_tc, body->def_cos);
        else
            fillEntry(record->entry[i], body->tc_map[pri], body->cos_map[pri]);
    }
    const qosDriverStatus_t rc = qosCosSend(body->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set L2 Priority Map for interface %s, error = %d", qosNameOf(body->ifName).text, rc);
    return rc;
}

constexpr tslL2Entry_t tslSetIfCosTrust = {"tslSetIfCosTrust", tslSetL2PriMap,
                                           QOS_ERR_TEXT("Cos Trust IOCTL failed for interface %s, error = %d"),
                                           QOS_DBG_TEXT("Cos Trust IOCTL set on interface %s")};

constexpr tslL2Entry_t tslSetIfCosMap = {"tslSetIfCosMap", tslSetL2PriMap,
                                         QOS_ERR_TEXT("Cos Mutation IOCTL failed for interface %s, error = %d"),
                                         QOS_DBG_TEXT("Cos Mutation IOCTL set on interface %s")};

constexpr tslL2Entry_t tslSetIfCosTcMap = {"tslSetIfCosTcMap", tslSetL2PriMap,
                                           QOS_ERR_TEXT("Cos TC Mutation IOCTL failed for interface %s, error = %d"),
                                           QOS_DBG_TEXT("Cos TC Mutation IOCTL set on interface %s")};

qosDriverStatus_t tslSetIfDefCos(qosL2PriMsg_t *body)
{
    const qosName_t name = qosNameOf(body->ifName);
    auto *record = qosCosRequest<cosDefCos_t>(COS_DEF_COS, sizeof(cosHdr_t), qosRequestBuffer_t::AsIs);
    record->ifIndex = body->ifIndex;
    record->def_tc = body->def_tc;
    record->def_cos = body->def_cos;
    record->zero = 0;
    qosDriverStatus_t rc = qosCosSend(body->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Default CoS IOCTL failed for interface %s, error = %d", name.text, rc);
    rc = tslSetL2PriMap(body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Default CoS IOCTL (pri map) failed for interface %s, error: %d", name.text, rc);
    else
        QOS_ERR("Default CoS IOCTL (pri map) set on interface %s", name.text);
    return qosAnswer(body, rc);
}

qosDriverStatus_t tslSetL3PriMap(const qosL3PriMsg_t *body)
{
    auto *record = qosCosRequest<cosL3PriMap_t>(COS_L3_PRI_MAP);
    record->ifIndex = body->ifIndex;
    record->dscp_trust = static_cast<uint8_t>(body->dscp_trust);
    for (unsigned dscp = 0; dscp < QOS_NUM_DSCP; ++dscp) {
        record->entry[dscp].tc = body->tc_map[dscp];
        record->entry[dscp].cos = body->cos_map[dscp];
    }
    const qosDriverStatus_t rc = qosCosSend(body->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set L3 Priority Map for interface %s, error = %d", qosNameOf(body->ifName).text, rc);
    return rc;
}

constexpr tslL3Entry_t tslSetIfDscpTrust = {"tslSetIfDscpTrust", tslSetL3PriMap,
                                            QOS_ERR_TEXT("DSCP Trust IOCTL failed for interface %s, error = %d"),
                                            QOS_DBG_TEXT("DSCP Trust IOCTL set on interface %s")};

constexpr tslL3Entry_t tslSetIfDscpCosMap = {
    "tslSetIfDscpCosMap", tslSetL3PriMap, QOS_ERR_TEXT("DSCP Cos Mutation IOCTL failed for interface %s, error = %d"),
    QOS_DBG_TEXT("DSCP Cos Mutation IOCTL set on interface %s")};

constexpr tslL3Entry_t tslSetIfDscpTcMap = {"tslSetIfDscpTcMap", tslSetL3PriMap,
                                            QOS_ERR_TEXT("DSCP TC Mutation IOCTL failed for interface %s, error = %d"),
                                            QOS_DBG_TEXT("DSCP TC Mutation IOCTL set on interface %s")};

qosDriverStatus_t tslSetIfDscpMap(qosL3PriMsg_t *body)
{
    auto *record = qosCosRequest<cosDscpMap_t>(COS_DSCP_MAP);
    record->ifIndex = body->ifIndex;
    memcpy(record->dscp_map, body->dscp_map, sizeof record->dscp_map);
    const qosDriverStatus_t rc = qosCosSend(body->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set DSCP Map for interface %s, error = %d", qosNameOf(body->ifName).text, rc);
    else
        QOS_DBG("Set DSCP Map for interface %s", qosNameOf(body->ifName).text);
    return qosAnswer(body, rc);
}
