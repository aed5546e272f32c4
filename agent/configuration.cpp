// SPDX-License-Identifier: Apache-2.0
// Walks the records by their lists of members, so that a new member is shown without a line here.
#include "agent/configuration.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "agent/model/thresholds.h"
#include "agent/scheduler.h"
#include "core/table.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "inventory/ifindex.h"
#include "inventory/interfaces.h"
#include "inventory/show.h"
#include "lib/views.h"
#include "velmar/members.h"

namespace {

constexpr size_t PATH_SIZE = 96;

// What a driver or a poll has put into the records, and what the manager alone keeps in thousands of words.
constexpr std::string_view LEFT_OUT[] = {
    "l2_pri.cos_trust_handle",
    "l2_pri.tcam_handle_valid",
    "l3_pri.dscp_trust_handle",
    "l3_pri.tcam_handle_valid",
    "precedence_bmp_in",
    "precedence_bmp_out",
    "bum_info.state",
    "bum_info.violation_cntr",
    "redStats",
    "tdStats",
};

// A record, or all the records of an array.
struct place_t {
    const unsigned char *at;
    uint32_t stride;
    uint32_t count;
    bool isArray;
};

bool isShown(const qosMember_t &member, const char *path)
{
    return !member.use.reserved && !member.use.local && member.shape->kind != memberKind::Pointer &&
           std::find(std::begin(LEFT_OUT), std::end(LEFT_OUT), path) == std::end(LEFT_OUT);
}

int64_t integerAt(const qosShape_t &shape, const unsigned char *at)
{
    const bool little = shape.kind == memberKind::Native && std::endian::native == std::endian::little;
    uint64_t value = 0;
    for (uint32_t i = 0; i < shape.width; ++i)
        value = value << 8 | at[little ? shape.width - 1 - i : i];
    const bool isSigned = shape.type && std::string_view(shape.type) == "~I32";
    return isSigned ? static_cast<int32_t>(value) : static_cast<int64_t>(value);
}

void showValues(cli_t *cli, const char *path, const qosShape_t &shape, const place_t &place)
{
    if (shape.kind == memberKind::Chars) {
        qosJsonText(cli, path, reinterpret_cast<const char *>(place.at));
        return;
    }
    const bool list = place.isArray || shape.isArray;
    if (list)
        qosJsonList(cli, path);
    for (uint32_t i = 0; i < place.count; ++i)
        for (uint32_t k = 0; k < shape.count; ++k)
            qosJsonNumber(cli, list ? nullptr : path, integerAt(shape, place.at + i * place.stride + k * shape.width));
    if (list)
        qosJsonListEnd(cli);
}

void showMembers(cli_t *cli, const char *outer, const qosRecord_t &record, const place_t &place)
{
    for (uint32_t i = 0; i < record.numMembers; ++i) {
        const qosMember_t &member = record.members[i];
        const qosShape_t &shape = *member.shape;
        char path[PATH_SIZE];
        snprintf(path, sizeof path, "%s%s%s", outer, *outer ? "." : "", member.name);
        if (!isShown(member, path))
            continue;
        place_t inner = place;
        inner.at += member.offset;
        if (shape.kind != memberKind::Record) {
            showValues(cli, path, shape, inner);
            continue;
        }
        if (shape.isArray)
            inner = {inner.at, shape.width, shape.count, true};
        showMembers(cli, path, *shape.record, inner);
    }
}

template <typename Record>
void showRecord(cli_t *cli, const char *path, const Record &record)
{
    showMembers(cli, path, qosMembersOf<Record>::record,
                {reinterpret_cast<const unsigned char *>(&record), sizeof record, 1, false});
}

void begin(cli_t *cli, const char *kind)
{
    qosJsonRecord(cli);
    qosJsonText(cli, "kind", kind);
}

// The keys of a list's order.
void keep(const qaPolPolicerInfo_t &record, uint32_t *key)
{
    key[0] = static_cast<uint32_t>(record.pol_grp_idx);
    key[1] = record.policer_id;
}

void keep(const qaDropMonitorInfo_t &record, uint32_t *key)
{
    key[0] = record.ifindex;
}

void set(qaPolPolicerInfo_t *record, const uint32_t *key)
{
    record->pol_grp_idx = static_cast<decltype(record->pol_grp_idx)>(key[0]);
    record->policer_id = key[1];
}

void set(qaDropMonitorInfo_t *record, const uint32_t *key)
{
    record->ifindex = key[0];
}

// Where to go on in a list: behind the last entry, of several with its key the one nearest to where it stood; where it
// is gone, at its place. The order of the keys is no help, as it need not be one for numbers that are far apart.
template <typename Record>
uint32_t nextPlace(const tnx_list_t *list, const qosCursor_t *at)
{
    Record last;
    set(&last, at->key);
    uint32_t place = 0;
    uint32_t next = at->place;
    uint32_t nearest = UINT32_MAX;
    for (const Record &record : listView<const Record>(list)) {
        const uint32_t off = place < at->place ? at->place - place : place - at->place;
        if (off < nearest && list->cmp(&record, &last) == 0) {
            nearest = off;
            next = place + 1;
        }
        ++place;
    }
    return next;
}

// Some of what a list of a chip holds, behind what has been printed of it: whether there is more. The records do not
// name the chip themselves.
template <typename Record>
bool showList(cli_t *cli, const char *kind, const qosChip_t &chip, const tnx_list_t *list, qosCursor_t *at)
{
    constexpr unsigned ENTRIES = 16;
    const uint32_t start = at->has_entry ? nextPlace<Record>(list, at) : 0;
    uint32_t place = 0;
    for (const Record &record : listView<const Record>(list)) {
        if (place < start) {
            ++place;
            continue;
        }
        if (place == start + ENTRIES)
            return true;
        begin(cli, kind);
        qosJsonNumber(cli, "chip_ifindex", chip.chip_ifindex);
        showRecord(cli, "", record);
        keep(record, at->key);
        at->place = place++;
        at->has_entry = true;
    }
    return false;
}

void showNode(cli_t *cli)
{
    begin(cli, "node");
    showRecord(cli, "sch_cfg", sch_global_cfg);
    showRecord(cli, "Mcsch_cfg", Mcsch_global_cfg);
    qosJsonNumber(cli, "ingrQueueDepth", ingrQueueDepth);
    qosJsonNumber(cli, "egrQueueDepth", egrQueueDepth);
}

// The chip itself, then its lists: whether there is more.
bool showChip(cli_t *cli, const qosChip_t &chip, qosCursor_t *at)
{
    switch (at->list) {
    case 0:
        begin(cli, "chip");
        showRecord(cli, "", chip);
        return false;
    case 1:
        return showList<qaPolPolicerInfo_t>(cli, "policer", chip, chip.polCfg.ingr_policer_list, at);
    case 2:
        return showList<qaPolPolicerInfo_t>(cli, "policer", chip, chip.polCfg.egr_policer_list, at);
    case 3:
        return showList<qaPolPolicerInfo_t>(cli, "bum", chip, chip.polCfg.bum_policer_list, at);
    default:
        return showList<qaDropMonitorInfo_t>(cli, "watch", chip, chip.drop_monitor_list, at);
    }
}

void showPort(cli_t *cli, const qosIf_t &interface)
{
    begin(cli, "port");
    qosJsonNumber(cli, "chip_ifindex", interface.chip ? interface.chip->chip_ifindex : 0);
    qosJsonNumber(cli, "chip_id", interface.chip ? interface.chip->chip_id : -1);
    showRecord(cli, "", interface);
}

void showDriverSide(cli_t *cli, const qosIf_t &interface)
{
    using map_t = uint8_t[QOS_NUM_COS];
    static constexpr map_t sent[] = {{0, 1, 2, 3, 4, 5, 6, 7}, {1, 1, 1, 1, 1, 1, 1, 1}, {}};
    uint32_t de_assert;
    uint32_t assert_threshold;
    qaCcbGetPauseThresholds(&interface, &de_assert, &assert_threshold);
    qosJsonRecord(cli);
    qosJsonNumber(cli, "ifIndex", interface.ifIndex);
    qosJsonNumber(cli, "speed", qaSchGetSpeedFromIf(interface.ifIndex));
    qosJsonNumber(cli, "assert", assert_threshold);
    qosJsonNumber(cli, "de-assert", de_assert);
    qosJsonNumber(cli, "l2_handles", interface.l2_pri.tcam_handle_valid);
    qosJsonNumber(cli, "l3_handles", static_cast<int64_t>(interface.l3_pri.tcam_handle_valid));
    qosJsonList(cli, "thresholds");
    const auto split = [&](const map_t &map) {
        qaCcbThresholds_t thresholds = {};
        (void)qaCcbGetPriTailDropThresholds(&interface, map, interface.ccb.tailDropThreshold, thresholds);
        for (const uint32_t threshold : thresholds)
            qosJsonNumber(cli, nullptr, threshold);
    };
    split(interface.l2_pri.tc_map);
    for (const map_t &map : sent)
        split(map);
    qosJsonListEnd(cli);
}

// False behind the last of them.
bool showNextPort(cli_t *cli, qosCursor_t *at)
{
    qosIf_t last;
    last.ifIndex = at->row;
    const qosIf_t *interface = qosShowNext(qosIfTable, last, at);
    if (!interface)
        return false;
    at->row = interface->ifIndex;
    showPort(cli, *interface);
    return true;
}

// Likewise. A chip that is gone ahead of its lists takes them along.
bool showNextChip(cli_t *cli, qosCursor_t *at)
{
    constexpr uint32_t LISTS = 4;
    qosChip_t last;
    last.chip_id = static_cast<int32_t>(at->row);
    const qosChip_t *chip = at->list > 0 ? avlFind(qosChipTable, last) : nullptr;
    if (!chip) {
        chip = qosShowNext<qosChip_t>(qosChipTable, last, at);
        at->list = 0;
        at->has_entry = false;
    }
    if (!chip)
        return false;
    at->row = static_cast<uint32_t>(chip->chip_id);
    if (showChip(cli, *chip, at))
        return true;
    at->list = at->list < LISTS ? at->list + 1 : 0;
    at->has_entry = false;
    return true;
}

} // namespace

bool qosShowDriverSidePart(cli_t *cli, qosCursor_t *at)
{
    qosIf_t last;
    last.ifIndex = at->row;
    const qosIf_t *interface = qosShowNext(qosIfTable, last, at);
    if (!interface)
        return false;
    at->row = interface->ifIndex;
    if (!interface->chip)
        return true;
    // The arithmetic traces as if the thresholds were set, which they are not.
    const int level = dce_trace_lvl_get();
    dce_trace_lvl_set(0);
    showDriverSide(cli, *interface);
    dce_trace_lvl_set(level);
    return true;
}

bool qosShowConfigurationPart(cli_t *cli, qosCursor_t *at)
{
    switch (at->stage) {
    case 0:
        showNode(cli);
        at->stage = 1;
        return true;
    case 1:
        if (!showNextChip(cli, at)) {
            at->stage = 2;
            at->has_row = false;
        }
        return true;
    default:
        return showNextPort(cli, at);
    }
}
