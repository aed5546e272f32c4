// SPDX-License-Identifier: Apache-2.0
// RED with profiles that are shared by the ports of a chip.
#include "platform/mirelle/mrl_red.h"

#include <iterator>

#include "agent/model/thresholds.h"
#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "platform/common/cos_red.h"
#include "platform/common/port.h"
#include "platform/common/red_profiles.h"
#include "velmar/dce.h"

namespace {

constexpr uint8_t RED_ALWAYS = 1; // bit 0 beside priority and enable
constexpr uint8_t RED_ENABLE = 2;
constexpr uint32_t HARD_DROP = 255; // of 255

// The number that a record carries, which a priority gets but once: applied again, it is 0.
uint16_t applyProfile(qosChip_t *chip, qosIfRedCfg_t &config, uint16_t profile)
{
    if (config.redProfileEnabled)
        return 0;
    qosEdit(config.redProfileEnabled) = 1;
    qosEdit(config.globalProfile) = profile;
    qosEdit(config.mappedProfile) = mrlGetRedMappedProfile(chip, profile);
    return config.mappedProfile;
}

uint16_t removeProfile(qosChip_t *chip, qosIfRedCfg_t &config, uint16_t profile)
{
    qosEdit(config.redProfileEnabled) = 0;
    mrlPutRedMappedProfile(chip, profile);
    return config.mappedProfile;
}

// Each product wraps in 32 bits ahead of its division.
void fillLevels(cosRed_t *record, const qosCcbMsg_t *body)
{
    const uint32_t depth = egrQueueDepth;
    const uint32_t minimum = body->minThreshold;
    const uint32_t maximum = body->maxThreshold;
    cosRedFillLevels(record, cosRedProbability(body->dropProbability), depth * minimum / 100,
                     (maximum - minimum) * depth / 100, depth * maximum / 100);
}

// The count is a byte in one reading and a word in another; both are taken.
uint8_t recordsAsked(const qosRedStatsMsg_t *body)
{
    const uint8_t first = body->num_records.bytes[0];
    return first ? first : static_cast<uint8_t>(body->num_records);
}

void mrlCopyRedStats(const unsigned char *response, qosRedStatsMsg_t *body)
{
    body->stats_valid = 1;
    body->records_valid = recordsAsked(body);
    cosRedTakeCounters(cosRedResult(response, 1, 0), static_cast<unsigned>(std::size(body->mrl_counter) / 2),
                       body->mrl_counter);
}

} // namespace

uint16_t mrlGetRedMappedProfile(qosChip_t *chip, uint16_t profile)
{
    return redProfileGet(__func__, "mrlAllocRedMappedProfile", chip, QOS_NUM_CHIP_RED_CFGS, profile);
}

uint16_t mrlAllocRedMappedProfile(qosChip_t *chip, uint16_t profile)
{
    return redProfileAlloc(__func__, chip, QOS_NUM_CHIP_RED_CFGS, profile);
}

void mrlPutRedMappedProfile(qosChip_t *chip, uint16_t profile)
{
    redProfilePut(__func__, chip, QOS_NUM_CHIP_RED_CFGS, profile);
}

qosDriverStatus_t mrlSetRedProfile(qosCcbMsg_t *body)
{
    qosIf_t *interface = portFind<portMiss_t::Config>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    qosChip_t *chip = interface->chip;
    qosIfRedCfg_t &config = interface->ccb.redConfig[static_cast<uint32_t>(body->cos) & 7];
    const uint16_t profile = body->profileId;
    const uint16_t mapped = body->set ? applyProfile(chip, config, profile) : removeProfile(chip, config, profile);
    if (body->set && mapped == RED_PROFILE_FREE) {
        QOS_ERR("Unable to get mapped profile for chip %x, profile %d", chip->chip_ifindex, profile);
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    auto *record = qosCosRequest<cosRed_t>(COS_RED_MIRELLE);
    record->ifindex = interface->ifIndex;
    record->priority_and_enable = cosRedPriorityAndEnable(body->cos, body->set) | RED_ALWAYS;
    record->profile = static_cast<uint8_t>(mapped);
    if (body->set)
        fillLevels(record, body);
    QOS_DBG("red ioctl for port %s", interface->ifName);
    const qosDriverStatus_t rc = qosCosSend(chip->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set red for port %s, rc: %d", interface->ifName, rc);
    return qosAnswer(body, rc);
}

qosDriverStatus_t mrlSetDefaultRedCfg(qosQueueDepthMsg_t *body)
{
    const qosChip_t *chip = qosLookupChip(dce_get_flat_chip_id(body->chip_ifindex));
    if (!chip) {
        QOS_ERR("chip is not found");
        return QOS_MSG_NOT_FOUND;
    }
    const uint32_t depth = body->queueDepth;
    auto *record = qosCosRequest<cosRed_t>(COS_RED_MIRELLE);
    record->ifindex = chip->chip_ifindex;
    record->priority_and_enable = RED_ENABLE | RED_ALWAYS;
    record->profile = static_cast<uint8_t>(chip->egr_td_red_prof);
    cosRedFillLevels(record, HARD_DROP, depth, 1, depth);
    QOS_DBG("ioctl for default red settings");
    const qosDriverStatus_t rc = qosCosSend(chip->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set red settings rc: %d", rc);
    return qosAnswer(body, rc);
}

qosDriverStatus_t mrlGetRedStats(qosRedStatsMsg_t *body)
{
    const qosIf_t *interface = portFind<portMiss_t::Config>(__func__, body);
    if (!interface)
        return QOS_MSG_NOT_FOUND;
    auto *request = cosRedRead(STAT_DEV_RED_MIRELLE, 1);
    request->key[0].id = body->ifindex;
    const unsigned char *response = nullptr;
    const qosDriverStatus_t rc = cosRedSendRead(body->chip_ifindex, request, request->head.hdr.in_size, &response);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to get red stats for port %s, rc: %d", interface->ifName, rc);
    else
        mrlCopyRedStats(response, body);
    return qosAnswer(body, rc);
}

qosDriverStatus_t mrlClearRedStats(qosClearStatsMsg_t *body)
{
    return cosClearRedStats(__func__, STAT_DEV_RED_MIRELLE, body);
}
