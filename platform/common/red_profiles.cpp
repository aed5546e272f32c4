// SPDX-License-Identifier: Apache-2.0
// The allocator of RED profile registers.
#include "platform/common/red_profiles.h"

#include "core/state.h"
#include "core/trace.h"

namespace {

qosChipRedCfg_t *findEntry(qosChip_t *chip, unsigned count, uint16_t profile)
{
    for (unsigned i = 0; i < count; ++i)
        if (chip->chipRedCfg[i].globalProfile == profile)
            return &chip->chipRedCfg[i];
    return nullptr;
}

} // namespace

void redProfilesInit(qosChip_t *chip, unsigned count, int32_t first)
{
    auto &stored = qosEdit(chip->chipRedCfg);
    for (unsigned i = 0; i < count; ++i) {
        stored[i].globalProfile = RED_PROFILE_FREE;
        stored[i].mappedProfile = first + static_cast<int32_t>(i);
    }
}

uint16_t redProfileGet(qosWhere_t where, qosWhere_t allocator, qosChip_t *chip, unsigned count, uint16_t profile)
{
    qosChipRedCfg_t *entry = findEntry(chip, count, profile);
    if (!entry) {
        QOS_INF_AT(where, "chip %x, profile %d, mapped profile not present", chip->chip_ifindex, profile);
        return redProfileAlloc(allocator, chip, count, profile);
    }
    ++qosEdit(entry->activeRedCount);
    QOS_INF_AT(where, "chip %x, profile %d, mapped Profile present: %d", chip->chip_ifindex, profile,
               entry->mappedProfile);
    return static_cast<uint16_t>(entry->mappedProfile);
}

uint16_t redProfileAlloc(qosWhere_t where, qosChip_t *chip, unsigned count, uint16_t profile)
{
    qosChipRedCfg_t *entry = findEntry(chip, count, RED_PROFILE_FREE);
    if (!entry) {
        QOS_ERR_AT(where, "chip %x, profile %d cannot be mapped, no free profiles", chip->chip_ifindex, profile);
        return RED_PROFILE_FREE;
    }
    qosEdit(entry->globalProfile) = profile;
    qosEdit(entry->activeRedCount) = 1;
    QOS_INF_AT(where, "chip %x, profile %d, allocated mapped profile %d", chip->chip_ifindex, profile,
               entry->mappedProfile);
    return static_cast<uint16_t>(entry->mappedProfile);
}

void redProfilePut(qosWhere_t where, qosChip_t *chip, unsigned count, uint16_t profile)
{
    qosChipRedCfg_t *entry = findEntry(chip, count, profile);
    if (!entry) {
        QOS_ERR_AT(where, "Red profile %d not allocated for chip %x", profile, chip->chip_ifindex);
        return;
    }
    if (--qosEdit(entry->activeRedCount) != 0)
        return;
    QOS_INF_AT(where, "chip %x, profile %d, freeing mapped profile %d", chip->chip_ifindex, profile,
               entry->mappedProfile);
    qosEdit(entry->globalProfile) = RED_PROFILE_FREE;
}
