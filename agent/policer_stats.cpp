// SPDX-License-Identifier: Apache-2.0
// Policer statistics and clears.
#include "agent/policer_stats.h"

#include <cstdlib>

#include "agent/model/policer_groups.h"
#include "agent/operation.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "inventory/ifindex.h"
#include "inventory/interfaces.h"
#include "lib/views.h"
#include "velmar/dce.h"

namespace {

// A clear's body is longer by so much than the entries that its count adds.
constexpr size_t CLEAR_BASE = sizeof(qosPolStatsClrMsg_t) - sizeof(qosPolStatsClrData_t);

template <typename Body>
qosMsgStatus_t end(Body *body, qosMsgStatus_t status, qosMsgStatus_t rc)
{
    body->status = static_cast<int32_t>(status);
    return rc;
}

template <typename Body>
bool noChips(qosWhere_t where, Body *body)
{
    if (avl_get_tree_size(qosChipTable) != 0)
        return false;
    QOS_ERR_AT(where, "qosChipTable is NULL");
    body->status = QOS_MSG_REFUSED;
    return true;
}

template <typename Body>
const qosChip_t *namedChip(qosWhere_t where, Body *body, uint32_t ifindex)
{
    const qosChip_t *chip = qosLookupChip(dce_get_flat_chip_id(ifindex));
    if (!chip) {
        QOS_ERR_AT(where, " chip inst not found");
        body->status = QOS_MSG_REFUSED;
    }
    return chip;
}

constexpr qaCall_t READ = {
    qaOperation<QOS_GET_POL_STATS_MSG>,
    qaLine_t<qaChipSlot, qaChipPort>{QOS_ERR_TEXT("NULL POL STATS GET handler for chip %d/%d")},
    QOS_MSG_UNSERVED,
    qaLine_t<qaChipSlot, qaChipPort, qaRc>{QOS_ERR_TEXT("Failed to retrieve pol Stats for if on chip : %d/%d, rc: %d")},
    qaNoLine_t{},
    qaStatus_t::Stored};
constexpr qaCall_t CLEAR = {
    qaOperation<QOS_POL_STATS_CLR_MSG>,
    qaLine_t<qaChipSlot, qaChipPort>{QOS_ERR_TEXT("NULL Default CoS IOCTL handler for chip %d/%d")}, QOS_MSG_REFUSED,
    qaLine_t<qaChipSlot, qaChipPort, qaRc>{
        QOS_ERR_TEXT("Failed to process policer stats clear req on chip %d/%d, error = %d")},
    qaNoLine_t{}};

qosMsgStatus_t read(const qosChip_t *chip, qosPolStatsGetMsg_t *body)
{
    return qaRun(READ, {"qaProcessPolStatsGetMsg", chip}, body).rc;
}

qosMsgStatus_t readSum(qosPolStatsGetMsg_t *body)
{
    uint64_t total[3] = {};
    qosPolStatsRec_t &sum = body->records[0];
    for (const qosChip_t &chip : avlView<const qosChip_t>(qosChipTable)) {
        body->chip_ifindex = chip.chip_ifindex;
        for (uint8_t group = 0; group < qaGetNumPolicerGroups(&chip); ++group) {
            sum.pol_grp_idx = group;
            const qosMsgStatus_t rc = read(&chip, body);
            if (rc != QOS_MSG_DONE)
                return rc;
            for (unsigned i = 0; i < 3; ++i)
                total[i] += sum.counter[i];
        }
    }
    for (unsigned i = 0; i < 3; ++i)
        sum.counter[i] = total[i];
    return end(body, QOS_MSG_DONE, QOS_MSG_DONE);
}

// Any failure of a clear stands as 1 in the status.
qosMsgStatus_t clear(const qosChip_t *chip, qosPolStatsClrMsg_t *body)
{
    body->num_pol_grp = qaGetNumPolicerGroups(chip);
    const qosMsgStatus_t rc = qaRun(CLEAR, {"qaProcessPolStatsClr", chip}, body).rc;
    return end(body, rc == QOS_MSG_DONE ? QOS_MSG_DONE : QOS_MSG_REFUSED, rc);
}

qosMsgStatus_t clearEverywhere(qosPolStatsClrMsg_t *body)
{
    for (const qosChip_t &chip : avlView<const qosChip_t>(qosChipTable)) {
        body->ifindex = chip.chip_ifindex;
        const qosMsgStatus_t rc = clear(&chip, body);
        if (rc != QOS_MSG_DONE)
            return rc;
    }
    return end(body, QOS_MSG_DONE, QOS_MSG_DONE);
}

// An entry names no group: it is the interface's, and 0 for all interfaces.
void forgetViolations(const qosChip_t *chip, const qosPolStatsClrMsg_t *body)
{
    const qosPolStatsClrData_t *entries = qosPolStatsClrEntries(body);
    for (int32_t i = 0; i < body->num_policers; ++i) {
        const qosIf_t *interface = qosLookupIfEntry(entries[i].ifindex);
        if (!interface && entries[i].ifindex != QOS_ALL_CHIPS_IFINDEX)
            continue;
        qaPolPolicerInfo_t key = {};
        key.ifindex = entries[i].ifindex;
        key.policer_id = entries[i].policer_id;
        key.pol_grp_idx = interface ? interface->pol_info.polGroupId : uint16_t{0};
        if (qaPolPolicerInfo_t *record = listFind(chip->polCfg.bum_policer_list, key))
            record->bum_info.violation_cntr = 0;
    }
}

enum class cleared_t : uint8_t { Policers, BumPolicers };

// Clears every policer of a list. False if that could not be asked for.
bool clearList(const qosChip_t *chip, const tnx_list_t *list, int32_t dir, cleared_t kind)
{
    constexpr const char *function = "qaPolStatsClrAllOnChip";
    if (!list || list->count == 0)
        return true;
    auto *body = static_cast<qosPolStatsClrMsg_t *>(
        calloc(1, CLEAR_BASE + static_cast<size_t>(list->count) * sizeof(qosPolStatsClrData_t)));
    if (!body) {
        QOS_ERR_AT(function, "Mem alloc failed");
        return false;
    }
    body->ifindex = chip->chip_ifindex;
    body->dir = dir;
    body->num_policers = static_cast<int32_t>(list->count);
    auto *entry = const_cast<qosPolStatsClrData_t *>(qosPolStatsClrEntries(body));
    for (qaPolPolicerInfo_t &record : listView<qaPolPolicerInfo_t>(list)) {
        entry->ifindex = record.ifindex;
        entry->policer_id = record.policer_id;
        if (kind == cleared_t::BumPolicers)
            qosEdit(record.bum_info.violation_cntr) = 0;
        ++entry;
    }
    const qosMsgStatus_t rc = qaProcessPolStatsClr(body);
    if (rc != QOS_MSG_DONE && kind == cleared_t::BumPolicers)
        QOS_ERR_AT(function, "Failed to clear stats on chip %d/%d", qaIfindexSlot(chip->chip_ifindex),
                   qaIfindexPort(chip->chip_ifindex));
    else if (rc != QOS_MSG_DONE)
        QOS_ERR_AT(function, "Failed to clear stats on chip");
    free(body);
    return true;
}

} // namespace

static_assert(CLEAR_BASE == 1609);

// A record of an interface that has gone ends the filling in of groups, not the read.
qosMsgStatus_t qaProcessPolStatsGetMsg(qosPolStatsGetMsg_t *body)
{
    QOS_FRAME();
    if (noChips(__func__, body))
        return QOS_MSG_REFUSED;
    if (body->records[0].ifindex == QOS_ALL_CHIPS_IFINDEX)
        return readSum(body);
    const qosChip_t *chip = namedChip(__func__, body, body->chip_ifindex);
    if (!chip)
        return QOS_MSG_REFUSED;
    for (uint16_t i = 0; i < body->num_records; ++i) {
        uint16_t group;
        if (qaPolGetGroupIndex(body->records[i].ifindex, &group) != QOS_MSG_DONE)
            break;
        body->records[i].pol_grp_idx = group;
    }
    return read(chip, body);
}

qosMsgStatus_t qaProcessPolStatsClr(qosPolStatsClrMsg_t *body)
{
    QOS_FRAME();
    if (noChips(__func__, body))
        return QOS_MSG_REFUSED;
    if (body->ifindex == QOS_ALL_CHIPS_IFINDEX)
        return clearEverywhere(body);
    const qosChip_t *chip = namedChip(__func__, body, body->ifindex);
    if (!chip)
        return QOS_MSG_REFUSED;
    if (body->dir == 0)
        forgetViolations(chip, body);
    return clear(chip, body);
}

qosMsgStatus_t qaProcessPolStatsClrAll(qosPolStatsClrAllMsg_t *body)
{
    QOS_FRAME();
    for (const qosChip_t &chip : avlView<const qosChip_t>(qosChipTable))
        qaPolStatsClrAllOnChip(&chip, body);
    return QOS_MSG_DONE;
}

void qaPolStatsClrAllOnChip(const qosChip_t *chip, const qosPolStatsClrAllMsg_t *body)
{
    const qosPolCfg_t &config = chip->polCfg;
    if (body->is_bum_pol_stats_clr_req != 0)
        clearList(chip, config.bum_policer_list, 0, cleared_t::BumPolicers);
    else if (clearList(chip, config.ingr_policer_list, 0, cleared_t::Policers))
        clearList(chip, config.egr_policer_list, 1, cleared_t::Policers);
}
