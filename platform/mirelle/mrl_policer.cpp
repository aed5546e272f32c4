// Policers of a chip with groups.
#include "platform/mirelle/mrl_policer.h"

#include "agent/model/policer_groups.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "inventory/interfaces.h"
#include "platform/qa_ioctl.h"
#include "velmar/dce.h"

namespace {

uint32_t groupOf(const qosPolStatsRec_t *policer)
{
    return policer->pol_grp_idx;
}

constexpr cosPolFamily_t MIRELLE = {"mrlPolicerAdd",  "mrlPolicerRem",          "mrlPolProfileCfg",
                                    "mrlPolStatsGet", mrlPolAddPolicerAddIoctl, mrlPolAddPolicerRemIoctl,
                                    groupOf};

const qosChip_t *chipOf(const qosPolPolicerAddMsg_t *body)
{
    if (body->ifindex == QOS_ALL_CHIPS_IFINDEX)
        return qosLookupChip(dce_get_flat_chip_id(body->chip_ifindex));
    const qosIf_t *interface = qosLookupIfEntry(body->ifindex);
    return interface ? interface->chip : nullptr;
}

// Groups that an entry of a clear goes to: `count` from `first` on.
struct groups_t {
    uint32_t first;
    uint32_t count;
};

uint32_t findGroups(const qosPolStatsClrMsg_t *body, const qosPolStatsClrData_t &policer, groups_t *groups)
{
    if (policer.ifindex == QOS_ALL_CHIPS_IFINDEX) {
        *groups = {0, body->num_pol_grp};
        return QOS_MSG_DONE;
    }
    uint16_t group = 0;
    const uint32_t rc = qaPolGetGroupIndex(policer.ifindex, &group);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT("mrlPolStatsClr", "Failed to get policer group id");
    *groups = {group, 1};
    return rc;
}

// The group of every entry is looked for ahead of the first request, so that an unknown one leaves all counters alone.
uint32_t checkGroups(const qosPolStatsClrMsg_t *body)
{
    groups_t groups;
    const int32_t total = body->num_policers;
    for (int32_t i = 0; i < total; ++i)
        if (const uint32_t rc = findGroups(body, body->stats_clr_data[i], &groups))
            return rc;
    return QOS_MSG_DONE;
}

uint32_t clearGroups(cosPolClear_t &clear, uint32_t policer_id, const groups_t &groups)
{
    for (uint32_t i = 0; i < groups.count; ++i) {
        if (const uint32_t rc = cosPolClearRoom(clear))
            return rc;
        cosPolClearKey(clear, policer_id)->index = groups.first + i;
    }
    return QOS_MSG_DONE;
}

uint32_t clearAll(const qosPolStatsClrMsg_t *body)
{
    if (const uint32_t rc = checkGroups(body))
        return rc;
    cosPolClear_t clear = cosPolClearStart(body->ifindex, body->dir);
    const qosPolStatsClrData_t *policers = body->stats_clr_data;
    const int32_t total = body->num_policers;
    for (int32_t i = 0; i < total; ++i) {
        groups_t groups;
        if (const uint32_t rc = findGroups(body, policers[i], &groups))
            return rc;
        if (const uint32_t rc = clearGroups(clear, policers[i].policer_id, groups))
            return rc;
    }
    return cosPolClearEnd(clear);
}

} // namespace

uint32_t mrlPolAddPolicerAddIoctl(cosPolicerAdd_t *record, qosPolPolicerAddMsg_t *body)
{
    const qosChip_t *chip = chipOf(body);
    if (!chip)
        return QOS_MSG_REFUSED;
    cosPolFillAdd(record, body, qos_chip_pol_step_size[chip->chip_type], body->pol_grp_idx);
    return QOS_MSG_DONE;
}

uint32_t mrlPolAddPolicerRemIoctl(cosPolicerRemove_t *record, const qosPolPolicerDelMsg_t *body)
{
    cosPolFillRemove(record, body, body->pol_grp_idx);
    return QOS_MSG_DONE;
}

uint32_t mrlPolicerAdd(qosPolPolicerAddMsg_t *body)
{
    return cosPolicerAdd(MIRELLE, body);
}

uint32_t mrlPolicerRem(qosPolPolicerDelMsg_t *body)
{
    return cosPolicerRem(MIRELLE, body);
}

uint32_t mrlPolProfileCfg(qosPolProfileMsg_t *body)
{
    return cosPolProfileCfg(MIRELLE, body);
}

uint32_t mrlPolStatsGet(qosPolStatsGetMsg_t *body)
{
    return cosPolStatsGet(MIRELLE, body);
}

uint32_t mrlPolStatsClr(qosPolStatsClrMsg_t *body)
{
    const uint32_t rc = clearAll(body);
    body->status = static_cast<int32_t>(rc);
    return rc;
}
