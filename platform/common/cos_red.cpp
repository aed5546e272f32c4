// SPDX-License-Identifier: Apache-2.0
// RED records and the clear of RED counters.
#include "platform/common/cos_red.h"

#include "agent/model/clear_walk.h"
#include "channels/driver_request.h"
#include "core/trace.h"

namespace {

// A statistics request with its keys counted and empty.
cosRedRequest_t *start(uint32_t command, cosStatsDevice_t device, uint32_t keys, uint32_t out_size)
{
    static_assert(cosRedResponseSize(COS_RED_KEYS) <= NL_MSG_BUF_SIZE - NL_RECORD_OFFSET);
    memset(qosRequestRecord(), 0, cosRedResponseSize(keys));
    auto *request = reinterpret_cast<cosRedRequest_t *>(qosRequestRecord());
    request->head.hdr.command = command;
    request->head.hdr.in_size = static_cast<uint32_t>(sizeof(cosStats_t) + keys * sizeof(cosStatsKey_t));
    request->head.hdr.out_size = out_size;
    request->head.device = device;
    request->head.num_requests = static_cast<uint16_t>(keys);
    return request;
}

} // namespace

uint32_t cosRedProbability(uint32_t percent)
{
    const double scaled = percent / 100.0 * 255.0;
    return scaled >= 4294967296.0 ? UINT32_MAX : static_cast<uint32_t>(scaled);
}

void cosRedFillLevels(cosRed_t *record, uint32_t probability, uint32_t minimum, uint32_t range, uint32_t maximum)
{
    for (cosRedLevel_t &level : record->level) {
        level.probability = probability;
        level.minThreshold = minimum;
        level.range = range;
        level.maxThreshold = maximum;
    }
}

uint8_t cosRedPriorityAndEnable(int32_t cos, int32_t set)
{
    return static_cast<uint8_t>((static_cast<uint32_t>(cos) & 7) << 2 | (static_cast<uint32_t>(set) & 1) << 1);
}

void cosRedTakeCounters(const cosRedResult_t &result, unsigned levels, be64 *counter)
{
    for (unsigned level = 0; level < levels; ++level) {
        counter[2 * level] = result.first[level];
        counter[2 * level + 1] = result.second[level];
    }
}

cosRedRequest_t *cosRedRead(cosStatsDevice_t device, uint32_t keys)
{
    auto *request = start(COS_STATS_READ, device, keys, cosRedResponseSize(keys));
    request->head.num_responses = static_cast<uint16_t>(keys);
    return request;
}

qosDriverStatus_t cosRedSendRead(uint32_t target, const cosRedRequest_t *request, uint32_t length,
                                 const unsigned char **response)
{
    uint32_t expected = request->head.hdr.out_size;
    return qosCosIoctl(target, request, length, response, &expected);
}

qosDriverStatus_t cosClearRedStats(qosWhere_t where, cosStatsDevice_t device, const qosClearStatsMsg_t *body)
{
    const uint32_t ifindex = body->ifindex;
    const qosChip_t *chip = qaClearTarget(body);
    if (!chip) {
        if (body->clearAll == 0)
            QOS_ERR_AT(where, "Clearing RED statistics for unknown interface %x\n", ifindex);
        return QOS_MSG_UNSERVED;
    }
    auto *request = start(COS_STATS_CLEAR, device, COS_RED_KEYS, sizeof(cosHdr_t));
    for (uint32_t priority = 0; priority < COS_RED_KEYS; ++priority) {
        request->key[priority].id = ifindex;
        request->key[priority].index = priority;
        request->key[priority].flags = body->clearAll != 0 ? 1 : 0;
    }
    const unsigned char *response = nullptr;
    uint32_t length = sizeof(cosHdr_t);
    const qosDriverStatus_t rc =
        qosCosIoctl(chip->chip_ifindex, request, request->head.hdr.in_size, &response, &length);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT(where, "Failed to clear red counters for chip: %x", chip->chip_ifindex);
    return rc;
}
