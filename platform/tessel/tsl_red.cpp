// SPDX-License-Identifier: Apache-2.0
// RED as COS records.
#include "platform/tessel/tsl_red.h"

#include <algorithm>
#include <cstring>

#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/trace.h"
#include "platform/common/cos_red.h"
#include "platform/common/red_profiles.h"

namespace {

constexpr unsigned RED_ENTRIES = 3; // of a chip

qosDriverStatus_t tslIvqRedSet(uint32_t target, uint32_t ifindex, uint8_t pfc_map)
{
    auto *record = qosCosRequest<cosIvqRed_t>(COS_IVQ_RED_MAP);
    record->ifindex = ifindex;
    record->pfc_map = pfc_map;
    const qosDriverStatus_t rc = qosCosSend(target, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set ivq red for port %x, rc: %d", ifindex, rc);
    else
        QOS_DBG("Set ivq red for port %x", ifindex);
    return rc;
}

// No more results than were asked for are taken, whatever the driver counts.
void tslCopyRedStats(const unsigned char *response, uint32_t asked, qosRedStatsMsg_t *body)
{
    cosStats_t head;
    memcpy(&head, response, sizeof head);
    body->stats_valid = 1;
    body->records_valid = static_cast<uint8_t>(head.num_responses);
    const uint32_t count = std::min<uint32_t>(head.num_responses, asked);
    for (uint32_t k = 0; k < count; ++k) {
        const cosRedResult_t result = cosRedResult(response, asked, k);
        qosRedStatsRec_t &record = body->records[k];
        record.rsp_priority = static_cast<uint8_t>(result.priority);
        record.priority = body->priority[k];
        cosRedTakeCounters(result, 4, record.counter);
    }
}

} // namespace

qosDriverStatus_t tslRedChipInit(qosChip_t *chip)
{
    redProfilesInit(chip, RED_ENTRIES, static_cast<int32_t>(RED_ENTRIES) * (chip->chip_id % 3));
    return QOS_MSG_DONE;
}

uint16_t tslGetRedMappedProfile(qosChip_t *chip, uint16_t profile)
{
    return redProfileGet(__func__, "tslAllocRedMappedProfile", chip, RED_ENTRIES, profile);
}

uint16_t tslAllocRedMappedProfile(qosChip_t *chip, uint16_t profile)
{
    return redProfileAlloc(__func__, chip, RED_ENTRIES, profile);
}

void tslPutRedMappedProfile(qosChip_t *chip, uint16_t profile)
{
    redProfilePut(__func__, chip, RED_ENTRIES, profile);
}

qosDriverStatus_t tslSetRedProfile(qosCcbMsg_t *body)
{
    const uint32_t chip = body->chip_ifindex;
    auto *record = qosCosRequest<cosRed_t>(COS_RED_TESSEL);
    record->ifindex = body->ifindex;
    record->priority_and_enable = cosRedPriorityAndEnable(body->cos, body->set);
    record->profile = static_cast<uint8_t>(body->profileId);
    if (body->set)
        cosRedFillLevels(record, cosRedProbability(body->dropProbability), body->minThreshold,
                         body->maxThreshold - body->minThreshold, body->maxThreshold);
    QOS_DBG("red ioctl for for IfIndex: %d on chip_ifIndex %x", static_cast<uint32_t>(body->ifindex), chip);
    const qosDriverStatus_t rc = qosCosSend(chip, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set red for IfIndex: %d on chip_ifIndex %x, rc: %d", static_cast<uint32_t>(body->ifindex),
                chip, rc);
    else
        QOS_DBG("Set red for IfIndex: %d on chip_ifIndex %x", static_cast<uint32_t>(body->ifindex), chip);
    return qosAnswer(body, rc);
}

qosDriverStatus_t tslIvqRedCfg(qosCcbIvqRedIfInfo_t *body)
{
    const uint32_t ifindex = body->ifIndex;
    const qosDriverStatus_t rc = tslIvqRedSet(QOS_ALL_CHIPS_IFINDEX, ifindex, body->pfc_map);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to do RED config for if %x, rc: %d", ifindex, rc);
    return rc;
}

qosDriverStatus_t tslIvqRedChipCfg(qosCcbIvqRedCfg_t *body)
{
    qosDriverStatus_t rc = QOS_MSG_DONE;
    const int32_t count = body->numEntries;
    for (int32_t i = 0; i < count; ++i) {
        const uint32_t ifindex = body->data[i].ifIndex;
        rc = tslIvqRedSet(body->chip_ifindex, ifindex, body->data[i].pfc_map);
        if (rc != QOS_MSG_DONE)
            QOS_ERR("Failed to do ivq red chip config for ifIndex %x, rc: %d", ifindex, rc);
    }
    return rc;
}

qosDriverStatus_t tslGetRedStats(qosRedStatsMsg_t *body)
{
    const uint32_t records = qosRedStatsSingle(body) ? 1 : QOS_NUM_COS;
    auto *request = cosRedRead(STAT_DEV_RED_TESSEL, records);
    for (uint32_t priority = 0; priority < records; ++priority) {
        request->key[priority].id = body->ifindex;
        request->key[priority].index = priority;
    }
    const unsigned char *response = nullptr;
    const qosDriverStatus_t rc = cosRedSendRead(body->chip_ifindex, request, request->head.hdr.out_size, &response);
    body->status = static_cast<int32_t>(rc);
    if (rc != QOS_MSG_DONE) {
        QOS_ERR("Failed to get red stats for egress port ifIndex  %x, rc: %d", static_cast<uint32_t>(body->ifindex),
                rc);
        return rc;
    }
    tslCopyRedStats(response, records, body);
    return rc;
}

qosDriverStatus_t tslClearRedStats(qosClearStatsMsg_t *body)
{
    return cosClearRedStats(__func__, STAT_DEV_RED_TESSEL, body);
}
