// SPDX-License-Identifier: Apache-2.0
// Policers of a chip with groups.
#include "platform/mirelle/mrl_policer.h"

#include "agent/model/policer_groups.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "inventory/interfaces.h"
#include "platform/records/chip_traits.h"
#include "velmar/dce.h"

namespace {

uint32_t groupOf(const qosPolStatsRec_t *policer)
{
    return policer->pol_grp_idx;
}

// All of the chip's for an entry of all interfaces.
qosDriverStatus_t groupsOf(const qosPolStatsClrMsg_t *body, uint32_t ifindex, cosPolGroups_t *groups)
{
    if (ifindex == QOS_ALL_CHIPS_IFINDEX) {
        *groups = {0, body->num_pol_grp};
        return QOS_MSG_DONE;
    }
    uint16_t group = 0;
    const qosDriverStatus_t rc = qaPolGetGroupIndex(ifindex, &group);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT("mrlPolStatsClr", "Failed to get policer group id");
    *groups = {group, 1};
    return rc;
}

constexpr cosPolFamily_t MIRELLE = {"mrlPolicerAdd",
                                    "mrlPolicerRem",
                                    "mrlPolProfileCfg",
                                    "mrlPolStatsGet",
                                    mrlPolAddPolicerAddIoctl,
                                    mrlPolAddPolicerRemIoctl,
                                    groupOf,
                                    groupsOf};

const qosChip_t *chipOf(const qosPolPolicerAddMsg_t *body)
{
    if (body->ifindex == QOS_ALL_CHIPS_IFINDEX)
        return qosLookupChip(dce_get_flat_chip_id(body->chip_ifindex));
    const qosIf_t *interface = qosLookupIfEntry(body->ifindex);
    return interface ? interface->chip : nullptr;
}

} // namespace

qosDriverStatus_t mrlPolAddPolicerAddIoctl(cosPolicerAdd_t *record, qosPolPolicerAddMsg_t *body)
{
    const qosChip_t *chip = chipOf(body);
    if (!chip)
        return QOS_MSG_REFUSED;
    cosPolFillAdd(record, body, qos_chip_pol_step_size[chip->chip_type], body->pol_grp_idx);
    return QOS_MSG_DONE;
}

qosDriverStatus_t mrlPolAddPolicerRemIoctl(cosPolicerRemove_t *record, const qosPolPolicerDelMsg_t *body)
{
    cosPolFillRemove(record, body, body->pol_grp_idx);
    return QOS_MSG_DONE;
}

constexpr cosPolEntry_t<qosPolPolicerAddMsg_t> mrlPolicerAdd = {MIRELLE, cosPolicerAdd};
constexpr cosPolEntry_t<qosPolPolicerDelMsg_t> mrlPolicerRem = {MIRELLE, cosPolicerRem};
constexpr cosPolEntry_t<qosPolProfileMsg_t> mrlPolProfileCfg = {MIRELLE, cosPolProfileCfg};
constexpr cosPolEntry_t<qosPolStatsGetMsg_t> mrlPolStatsGet = {MIRELLE, cosPolStatsGet};
constexpr cosPolEntry_t<qosPolStatsClrMsg_t> mrlPolStatsClr = {MIRELLE, cosPolStatsClr};
