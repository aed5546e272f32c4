// RED as COS records.
#include "platform/tessel/tsl_red.h"

#include <algorithm>
#include <cstring>

#include "channels/driver_request.h"
#include "core/trace.h"
#include "inventory/interfaces.h"
#include "platform/red_profiles.h"

namespace {

constexpr unsigned RED_ENTRIES = 3; // of a chip
constexpr uint32_t RED_RECORDS = QOS_PRIORITIES;

// Percent on the scale of the chip.
uint32_t chipProbability(uint32_t percent)
{
    const double scaled = percent / 100.0 * 255.0;
    return scaled >= 4294967296.0 ? UINT32_MAX : static_cast<uint32_t>(scaled);
}

void fillLevels(cosRed_t *record, const qosCcbMsg_t *body)
{
    const uint32_t probability = chipProbability(body->dropProbability);
    for (cosRedLevel_t &level : record->level) {
        level.probability = probability;
        level.minThreshold = body->minThreshold;
        level.range = body->maxThreshold - body->minThreshold;
        level.maxThreshold = body->maxThreshold;
    }
}

uint32_t tslIvqRedSet(uint32_t target, uint32_t ifindex, uint8_t pfc_map)
{
    auto *record = qosCosRequest<cosIvqRed_t>(COS_IVQ_RED_MAP);
    record->ifindex = ifindex;
    record->pfc_map = pfc_map;
    const uint32_t rc = qosCosSend(target, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set ivq red for port %x, rc: %d", ifindex, rc);
    else
        QOS_DBG("Set ivq red for port %x", ifindex);
    return rc;
}

// A statistics request with one key for each of eight priorities at most.
struct redRequest_t {
    cosStats_t head;
    cosStatsKey_t key[RED_RECORDS];
    be32 bitmap;
};

redRequest_t *redRequest(uint32_t command, uint32_t ifindex, uint32_t records, uint32_t out_size, bool all)
{
    auto *request = reinterpret_cast<redRequest_t *>(qosRequestRecord());
    memset(qosRequestRecord(), 0, sizeof *request);
    request->head.hdr.command = command;
    request->head.hdr.in_size = static_cast<uint32_t>(sizeof(cosStats_t) + records * sizeof(cosStatsKey_t));
    request->head.hdr.out_size = out_size;
    request->head.device = STAT_DEV_RED_TESSEL;
    request->head.num_requests = static_cast<uint16_t>(records);
    for (uint32_t i = 0; i < records; ++i) {
        request->key[i].id = ifindex;
        request->key[i].index = i;
        request->key[i].flags = all ? 1 : 0;
    }
    return request;
}

// The results stand behind the head, the repeated keys and the bitmap. No more than was asked for is taken, whatever
// the driver counts.
void tslCopyRedStats(const unsigned char *response, uint32_t asked, qosRedStatsMsg_t *body)
{
    cosStats_t head;
    memcpy(&head, response, sizeof head);
    body->stats_valid = 1;
    body->records_valid = static_cast<uint8_t>(head.num_responses);
    const size_t first = sizeof head + asked * sizeof(cosStatsKey_t) + sizeof(be32);
    const uint32_t count = std::min<uint32_t>(head.num_responses, asked);
    for (uint32_t k = 0; k < count; ++k) {
        cosRedResult_t result;
        memcpy(&result, response + first + k * sizeof result, sizeof result);
        qosRedStatsRec_t &record = body->records[k];
        record.rsp_priority = static_cast<uint8_t>(result.priority);
        record.priority = body->priority[k];
        for (unsigned level = 0; level < 4; ++level) {
            record.counter[2 * level] = result.first[level];
            record.counter[2 * level + 1] = result.second[level];
        }
    }
}

} // namespace

uint32_t tslRedChipInit(qosChip_t *chip)
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

uint32_t tslSetRedProfile(qosCcbMsg_t *body)
{
    const uint32_t chip = body->chip_ifindex;
    auto *record = qosCosRequest<cosRed_t>(COS_RED_TESSEL);
    record->ifindex = body->ifindex;
    record->priority_and_enable =
        static_cast<uint8_t>((static_cast<uint32_t>(body->cos) & 7) << 2 | (static_cast<uint32_t>(body->set) & 1) << 1);
    record->profile = static_cast<uint8_t>(body->profileId);
    if (body->set)
        fillLevels(record, body);
    QOS_DBG("red ioctl for for IfIndex: %d on chip_ifIndex %x", static_cast<uint32_t>(body->ifindex), chip);
    const uint32_t rc = qosCosSend(chip, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set red for IfIndex: %d on chip_ifIndex %x, rc: %d", static_cast<uint32_t>(body->ifindex),
                chip, rc);
    else
        QOS_DBG("Set red for IfIndex: %d on chip_ifIndex %x", static_cast<uint32_t>(body->ifindex), chip);
    body->status = static_cast<int32_t>(rc);
    return rc;
}

uint32_t tslIvqRedCfg(qosCcbIvqRedIfInfo_t *body)
{
    const uint32_t ifindex = body->ifIndex;
    const uint32_t rc = tslIvqRedSet(QOS_ALL_CHIPS_IFINDEX, ifindex, body->pfc_map);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to do RED config for if %x, rc: %d", ifindex, rc);
    return rc;
}

uint32_t tslIvqRedChipCfg(qosCcbIvqRedCfg_t *body)
{
    uint32_t rc = QOS_MSG_DONE;
    const int32_t count = body->numEntries;
    for (int32_t i = 0; i < count; ++i) {
        const uint32_t ifindex = body->data[i].ifIndex;
        rc = tslIvqRedSet(body->chip_ifindex, ifindex, body->data[i].pfc_map);
        if (rc != QOS_MSG_DONE)
            QOS_ERR("Failed to do ivq red chip config for ifIndex %x, rc: %d", ifindex, rc);
    }
    return rc;
}

uint32_t tslGetRedStats(qosRedStatsMsg_t *body)
{
    const uint32_t records = qosRedStatsSingle(body) ? 1 : RED_RECORDS;
    const uint32_t words = (records + 31) / 32 + 21 * records + 12;
    auto *request = redRequest(COS_STATS_READ, body->ifindex, records, words * 4, false);
    request->head.num_responses = static_cast<uint16_t>(records);
    const unsigned char *response = nullptr;
    uint32_t length = words * 4;
    const uint32_t sent = std::max<uint32_t>(request->head.hdr.in_size, words * 4);
    const uint32_t rc = qosCosIoctl(body->chip_ifindex, request, sent, &response, &length);
    body->status = static_cast<int32_t>(rc);
    if (rc != QOS_MSG_DONE) {
        QOS_ERR("Failed to get red stats for egress port ifIndex  %x, rc: %d", static_cast<uint32_t>(body->ifindex),
                rc);
        return rc;
    }
    tslCopyRedStats(response, records, body);
    return rc;
}

uint32_t tslClearRedStats(const qosClearStatsMsg_t *body, const qosChip_t *chip)
{
    const uint32_t ifindex = body->ifindex;
    const bool all = body->clearAll != 0;
    if (!all) {
        const qosIf_t *interface = qosLookupIfEntry(ifindex);
        if (!interface || !interface->chip) {
            QOS_ERR("Clearing RED statistics for unknown interface %x\n", ifindex);
            return QOS_MSG_UNSERVED;
        }
        chip = interface->chip;
    }
    if (!chip)
        return QOS_MSG_UNSERVED;
    auto *request = redRequest(COS_STATS_CLEAR, ifindex, RED_RECORDS, sizeof(cosHdr_t), all);
    const unsigned char *response = nullptr;
    uint32_t length = sizeof(cosHdr_t);
    const uint32_t rc = qosCosIoctl(chip->chip_ifindex, request, request->head.hdr.in_size, &response, &length);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to clear red counters for chip: %x", chip->chip_ifindex);
    return rc;
}
