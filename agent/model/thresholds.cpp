// SPDX-License-Identifier: Apache-2.0
// Threshold arithmetic: unsigned 32-bit with truncating divisions, single precision where weights are in force.
#include "agent/model/thresholds.h"

#include <algorithm>

#include "agent/model/chip_priority.h"
#include "core/state.h"
#include "core/trace.h"
#include "inventory/ifindex.h"

uint32_t ingrQueueDepth;
uint32_t egrQueueDepth;

namespace {

constexpr uint32_t FRAME_ROOM = 9600;         // a largest frame on the way
constexpr uint32_t LOCAL_METRES = 200;        // length of a link that is not long-distance
constexpr uint32_t MIRELLE_LOSSLESS = 133120; // least threshold of a lossless class on a Mirelle model
constexpr unsigned TC_LAST = QOS_NUM_COS - 1;

// An interface without a chip has no allotments.
uint32_t leastBuffer(const qosIf_t *interface)
{
    const qosChip_t *chip = interface->chip;
    return chip ? qosChipTraits(chip->chip_type).min_buffer : 0;
}

// What comes from the wire indexes by its low three bits.
unsigned trafficClass(const uint8_t tc_map[QOS_NUM_COS], unsigned cos)
{
    return tc_map[cos] & 7;
}

// P: what one lossless priority keeps for itself.
uint32_t losslessReserve(const qosIf_t *interface)
{
    uint32_t de_assert;
    uint32_t assert_threshold;
    qaCcbGetPauseThresholds(interface, &de_assert, &assert_threshold);
    return qaCcbPauseAssertGet(interface) + assert_threshold;
}

uint32_t countLossless(const qosIf_t *interface, qosWhere_t where)
{
    uint32_t count = 0;
    for (const qosPauseProfile_t &pfc : interface->ccb.pfc)
        count += pfc.tx != 0;
    QOS_INF_AT(where, "pfc count: %d", count);
    return count;
}

// Truncates towards zero; a value that rounding took past the type's end stays at it.
uint32_t truncated(float value)
{
    constexpr float past_the_end = 4294967296.0F;
    return value >= past_the_end ? UINT32_MAX : static_cast<uint32_t>(value);
}

void splitByWeights(const qosIf_t *interface, const uint8_t tc_map[QOS_NUM_COS], uint32_t budget,
                    qaCcbThresholds_t thresholds)
{
    const uint32_t least = leastBuffer(interface);
    float weight[QOS_NUM_COS] = {};
    uint32_t sum = 0;
    for (unsigned cos = 0; cos < QOS_NUM_COS; ++cos) {
        weight[trafficClass(tc_map, cos)] += static_cast<float>(interface->ccb.priTailDropThreshold[cos]);
        sum += interface->ccb.priTailDropThreshold[cos];
    }
    for (const float w : weight)
        if (w == 0.0F)
            budget -= least;
    for (unsigned tc = 0; tc < QOS_NUM_COS; ++tc)
        thresholds[tc] =
            weight[tc] == 0.0F ? least : truncated((weight[tc] * static_cast<float>(budget)) / static_cast<float>(sum));
}

void splitForLegacyPause(qosPfcRule_t rule, uint32_t budget, qaCcbThresholds_t thresholds)
{
    if (rule == qosPfcRule_t::Mirelle)
        thresholds[0] = MIRELLE_LOSSLESS; // the others stay as the caller has them
    else
        std::fill_n(thresholds, QOS_NUM_COS, budget);
}

void splitForPfc(qosPfcRule_t rule, const qosIf_t *interface, const uint8_t tc_map[QOS_NUM_COS], uint32_t budget,
                 qaCcbThresholds_t thresholds)
{
    switch (rule) {
    case qosPfcRule_t::Larkin:
        qaCcbGetLarkinPfcTailDropThresholds(interface, tc_map, budget, thresholds);
        break;
    case qosPfcRule_t::Mirelle:
        qaCcbGetMirellePfcTailDropThresholds(interface, tc_map, budget, thresholds);
        break;
    case qosPfcRule_t::Common:
        qaCcbGetCommonPfcTailDropThresholds(interface, tc_map, budget, thresholds);
        break;
    }
}

} // namespace

uint32_t qaCcbPauseDeAssertGet(const qosIf_t *interface)
{
    const qosIfLdInfo_t &link = interface->ccb.ldIfCfg;
    const uint32_t gigabits = qaSchGetSpeedFromIf(interface->ifIndex) / 1000;
    const uint32_t metres = link.is_link_ld == 1 ? link.ld_distance : LOCAL_METRES;
    return (gigabits * 1792) / 10 + 9684 + ((gigabits * metres) / 1000) * 1262;
}

void qaCcbGetPauseThresholds(const qosIf_t *interface, uint32_t *de_assert, uint32_t *assert_threshold)
{
    *de_assert = qaCcbPauseDeAssertGet(interface);
    *assert_threshold = *de_assert + FRAME_ROOM;
}

uint32_t qaCcbPauseAssertGet(const qosIf_t *interface)
{
    return (qaCcbPauseDeAssertGet(interface) / 84 + 1) * leastBuffer(interface) + FRAME_ROOM;
}

uint32_t qaCcbGetEmerGencyPauseTh(const qosIf_t *interface)
{
    const bool configured = interface->ccb.ccbFlags & (QOS_CCB_PAUSE | QOS_CCB_PFC);
    return configured ? qaCcbPauseAssertGet(interface) : 0;
}

void qaCcbGetUnUsedTcs(const uint8_t tc_map[QOS_NUM_COS], uint8_t usage[QOS_NUM_COS], uint8_t *unused)
{
    std::fill_n(usage, QOS_NUM_COS, uint8_t{0});
    for (unsigned cos = 0; cos < QOS_NUM_COS; ++cos)
        ++usage[trafficClass(tc_map, cos)];
    *unused = static_cast<uint8_t>(std::count(usage, usage + QOS_NUM_COS, 0));
}

qosMsgStatus_t qaCcbGetPriTailDropThresholds(const qosIf_t *interface, const uint8_t tc_map[QOS_NUM_COS],
                                             uint32_t budget, qaCcbThresholds_t thresholds)
{
    QOS_INF("tc_map: (%d %d %d %d %d %d %d %d)", tc_map[0], tc_map[1], tc_map[2], tc_map[3], tc_map[4], tc_map[5],
            tc_map[6], tc_map[7]);
    const qosPfcRule_t rule = qosModelTraits(qos_velmar_state.model).pfc_rule;
    if (interface->ccb.ccbFlags & QOS_CCB_COS_THRESHOLD) {
        QOS_INF("cos threshold enabled");
        splitByWeights(interface, tc_map, budget, thresholds);
    } else if (interface->ccb.pause.tx) {
        QOS_INF("legacy pause tx on enabled");
        splitForLegacyPause(rule, budget, thresholds);
    } else {
        splitForPfc(rule, interface, tc_map, budget, thresholds);
    }
    QOS_INF("thresholds: (%d, %d, %d, %d, %d, %d, %d, %d)", thresholds[0], thresholds[1], thresholds[2], thresholds[3],
            thresholds[4], thresholds[5], thresholds[6], thresholds[7]);
    return QOS_MSG_DONE;
}

void qaCcbGetCommonPfcTailDropThresholds(const qosIf_t *interface, const uint8_t[QOS_NUM_COS], uint32_t budget,
                                         qaCcbThresholds_t thresholds)
{
    const uint32_t count = countLossless(interface, __func__);
    const uint32_t reserve = losslessReserve(interface);
    const uint32_t share = qaQuotient(budget - count * reserve, QOS_NUM_COS - count);
    for (unsigned priority = 0; priority < QOS_NUM_COS; ++priority)
        thresholds[qaChipPriority(priority)] = interface->ccb.pfc[priority].tx ? reserve : share;
}

void qaCcbGetMirellePfcTailDropThresholds(const qosIf_t *interface, const uint8_t[QOS_NUM_COS], uint32_t,
                                          qaCcbThresholds_t thresholds)
{
    countLossless(interface, __func__);
    const uint32_t lossless = std::max(losslessReserve(interface), MIRELLE_LOSSLESS);
    for (unsigned priority = 0; priority < QOS_NUM_COS; ++priority)
        thresholds[qaChipPriority(priority)] = interface->ccb.pfc[priority].tx ? lossless : ingrQueueDepth;
}

void qaCcbGetLarkinPfcTailDropThresholds(const qosIf_t *interface, const uint8_t tc_map[QOS_NUM_COS], uint32_t budget,
                                         qaCcbThresholds_t thresholds)
{
    uint8_t usage[QOS_NUM_COS];
    uint8_t unused;
    qaCcbGetUnUsedTcs(tc_map, usage, &unused);
    uint32_t count = countLossless(interface, __func__);
    const uint32_t reserve = losslessReserve(interface);
    // All lossless priorities of a normal port share one reserve.
    if (interface->ccb.ldIfCfg.is_link_ld == 0 && count != 0)
        count = 1;
    QOS_INF("tailDropThreshold: %u", budget);
    const uint32_t least = leastBuffer(interface);
    uint32_t tc7 = 0;
    if (usage[TC_LAST] == 0) {
        tc7 = (budget - 7 * least - reserve) / 7;
        budget = budget + least - tc7;
        QOS_INF("tc7buffers: %u", tc7);
    }
    const uint32_t rest = budget - count * reserve - least * unused;
    const uint32_t share = qaQuotient(rest, QOS_NUM_COS - unused - count);
    for (unsigned cos = 0; cos < QOS_NUM_COS; ++cos)
        thresholds[trafficClass(tc_map, cos)] = interface->ccb.pfc[cos].tx ? reserve : share;
    for (unsigned tc = 0; tc < QOS_NUM_COS; ++tc)
        if (usage[tc] == 0)
            thresholds[tc] = least;
    if (usage[TC_LAST] == 0)
        thresholds[TC_LAST] = tc7;
}
