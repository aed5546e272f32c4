// SPDX-License-Identifier: Apache-2.0
// RED requests of the COS family: what Tessel and both Mirelle types do alike.
#ifndef PLATFORM_COMMON_COS_RED_H
#define PLATFORM_COMMON_COS_RED_H

#include <cstdint>
#include <cstring>

#include "agent/messages/chip.h"
#include "agent/messages/codes.h"
#include "agent/messages/congestion.h"
#include "agent/messages/drop_monitor.h"
#include "agent/messages/policer.h"
#include "agent/messages/statistics.h"
#include "core/trace.h"
#include "inventory/records.h"
#include "platform/records/congestion.h"

// Percent on the scale of the chip, 0 to 255.
uint32_t cosRedProbability(uint32_t percent);

// All drop levels alike. Thresholds are in the chip's unit.
void cosRedFillLevels(cosRed_t *record, uint32_t probability, uint32_t minimum, uint32_t range, uint32_t maximum);

// The byte of a RED record that holds a priority and the enable bit, both as the message gives them.
uint8_t cosRedPriorityAndEnable(int32_t cos, int32_t set);

// Keys of one statistics request at most, one a priority or one a port.
constexpr uint32_t COS_RED_KEYS = 8;

// A statistics request with its keys and the bitmap of results, which stands behind the last key in use.
struct cosRedRequest_t {
    cosStats_t head;
    cosStatsKey_t key[COS_RED_KEYS];
    be32 bitmap;
};

// Bytes of a response to `keys` keys.
constexpr uint32_t cosRedResponseSize(uint32_t keys)
{
    return static_cast<uint32_t>(sizeof(cosStats_t) + (keys + 31) / 32 * sizeof(be32) +
                                 keys * (sizeof(cosStatsKey_t) + sizeof(cosRedResult_t)));
}

// Result `index` of a response to `keys` keys, for which one word of bitmap is enough.
inline cosRedResult_t cosRedResult(const unsigned char *response, uint32_t keys, uint32_t index)
{
    cosRedResult_t result;
    memcpy(&result, response + sizeof(cosStats_t) + keys * sizeof(cosStatsKey_t) + sizeof(be32) + index * sizeof result,
           sizeof result);
    return result;
}

// The first and the second counters of a result, drop level by drop level, for the lowest `levels`.
void cosRedTakeCounters(const cosRedResult_t &result, unsigned levels, be64 *counter);

// A read in the request buffer, which is clear as far as a response reaches, with `keys` keys counted and empty.
cosRedRequest_t *cosRedRead(cosStatsDevice_t device, uint32_t keys);
// Sends `length` bytes of it: Mirelle its in size, Tessel the larger of its two sizes. The response through *response;
// the transport's status.
qosDriverStatus_t cosRedSendRead(uint32_t target, const cosRedRequest_t *request, uint32_t length,
                                 const unsigned char **response);

// Clears eight priorities of the body's interface, or with clearAll of the walk's chip: the transport's status, or 25
// without a target. The lines are for `where`.
qosDriverStatus_t cosClearRedStats(qosWhere_t where, cosStatsDevice_t device, const qosClearStatsMsg_t *body);

#endif
