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

// What a list of a chip holds; the records do not name the chip themselves.
template <typename Record>
void showList(cli_t *cli, const char *kind, const qosChip_t &chip, const tnx_list_t *list)
{
    for (const Record &record : listView<const Record>(list)) {
        begin(cli, kind);
        qosJsonNumber(cli, "chip_ifindex", chip.chip_ifindex);
        showRecord(cli, "", record);
    }
}

void showNode(cli_t *cli)
{
    begin(cli, "node");
    showRecord(cli, "sch_cfg", sch_global_cfg);
    showRecord(cli, "Mcsch_cfg", Mcsch_global_cfg);
    qosJsonNumber(cli, "ingrQueueDepth", ingrQueueDepth);
    qosJsonNumber(cli, "egrQueueDepth", egrQueueDepth);
}

void showChip(cli_t *cli, const qosChip_t &chip)
{
    begin(cli, "chip");
    showRecord(cli, "", chip);
    showList<qaPolPolicerInfo_t>(cli, "policer", chip, chip.polCfg.ingr_policer_list);
    showList<qaPolPolicerInfo_t>(cli, "policer", chip, chip.polCfg.egr_policer_list);
    showList<qaPolPolicerInfo_t>(cli, "bum", chip, chip.polCfg.bum_policer_list);
    showList<qaDropMonitorInfo_t>(cli, "watch", chip, chip.drop_monitor_list);
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

} // namespace

int qosShowDriverSide(cli_t *cli)
{
    // The arithmetic traces as if the thresholds were set, which they are not.
    const int level = dce_trace_lvl_get();
    dce_trace_lvl_set(0);
    for (const qosIf_t &interface : avlView<const qosIf_t>(qosIfTable))
        if (interface.chip)
            showDriverSide(cli, interface);
    dce_trace_lvl_set(level);
    return 0;
}

int qosShowConfiguration(cli_t *cli)
{
    showNode(cli);
    for (const qosChip_t &chip : avlView<const qosChip_t>(qosChipTable))
        showChip(cli, chip);
    for (const qosIf_t &interface : avlView<const qosIf_t>(qosIfTable))
        showPort(cli, interface);
    return 0;
}
