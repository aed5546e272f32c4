// SPDX-License-Identifier: Apache-2.0
// TCAM regions and entries. The two selections differ in where key and result stand in their words.
#include "hsl/tcam.h"

#include "platform/records/larkin.h"
#include <algorithm>
#include <cstdio>

struct selection_t {
    uint16_t table;
    const char *name;
    const char *value; // what it looks up
    unsigned value_shift;
    uint32_t value_mask;
    uint32_t action;    // the mark that the entry has a result
    unsigned word;      // which of the two result words
    unsigned cos_shift; // in the result, three bits
    uint32_t trust;     // in the result; 0: it has none
};

static constexpr selection_t selections[] = {
    {HSL_TCAM_L2, "L2", "cos", 28, 0x70000000, 1u << 18, 0, 24, 0},
    {HSL_TCAM_L3, "L3", "dscp", 4, 0x000003F0, 1u << 22, 1, 28, 1u << 31},
};
constexpr unsigned TC_SHIFT = 13; // in the result of both

static const selection_t *selectionOf(uint16_t table)
{
    auto place = std::find_if(std::begin(selections), std::end(selections),
                              [&](auto &selection) { return selection.table == table; });
    return place == std::end(selections) ? nullptr : place;
}

template <typename Record>
static const Record &as(hslBytes record)
{
    return *reinterpret_cast<const Record *>(record.data());
}

static std::string tableText(uint16_t table)
{
    char text[8];
    std::snprintf(text, sizeof text, "0x%04x", table);
    return text;
}

// Both lengths of an update have the same fields.
using update_t = larkL3TcamUpdate_t;

static std::pair<uint16_t, uint16_t> regionOf(const hslCommand_t &row, hslBytes record)
{
    auto key = [](auto &from) { return std::pair<uint16_t, uint16_t>(from.table, from.region); };
    switch (row.command) {
    case DCE_TCAM_CREATE_REGION:
        return key(as<larkTcamRegion_t>(record));
    case DCE_TCAM_ADD:
        return key(as<larkTcamAdd_t>(record));
    case DCE_TCAM_UPDATE:
        return key(as<update_t>(record));
    default:
        return key(as<larkTcamDelete_t>(record));
    }
}

static bool isTcam(const hslCommand_t &row)
{
    return row.command == DCE_TCAM_CREATE_REGION || row.command == DCE_TCAM_ADD || row.command == DCE_TCAM_UPDATE ||
           row.command == DCE_TCAM_DELETE;
}

// Refusing.

static std::string regionFault(const larkTcamRegion_t &in)
{
    auto text = [](be16 value) { return std::to_string(uint16_t{value}); };
    if (!in.max_size)
        return "a region of no entries";
    if (in.min_size > in.max_size || in.size > in.max_size || in.size < in.min_size)
        return "size " + text(in.size) + " is not between " + text(in.min_size) + " and " + text(in.max_size);
    return "";
}

static std::string actionFault(uint32_t valid, const selection_t &selection)
{
    return valid & selection.action ? "" : "action mark " + hslIndexText(valid) + " names no result of the table";
}

// A handle names an entry only as a whole: a number of one entry with the key of another is none.
static bool names(const hslTcamRegion_t &region, const larkTcamHandle_t &handle)
{
    auto entry = region.entries.find(handle.application_handle);
    return entry != region.entries.end() &&
           handle.input_key == (uint64_t{entry->second.value} << 32 | entry->second.port) &&
           handle.input_mask_key == (uint64_t{entry->second.port_mask} << 32 | entry->second.value_mask);
}

static uint32_t refuseEntry(const hslTcamRegion_t &region, const selection_t &selection, const hslCommand_t &row,
                            hslBytes record, std::string *why)
{
    if (row.command == DCE_TCAM_ADD) {
        *why = actionFault(as<larkTcamAdd_t>(record).valid, selection);
        if (!why->empty())
            return DRV_MALFORMED;
        if (region.entries.size() < region.size || (region.growth && region.size < region.max))
            return 0;
        *why = "full with " + std::to_string(region.entries.size()) + " entries";
        return DRV_FULL;
    }
    bool update = row.command == DCE_TCAM_UPDATE;
    auto &handle = update ? as<update_t>(record).handle : as<larkTcamDelete_t>(record).handle;
    if (!names(region, handle)) {
        *why = "no entry " + std::to_string(uint32_t{handle.application_handle}) + " of key " +
               hslIndexText(static_cast<uint32_t>(handle.input_key >> 32)) + ":" +
               hslIndexText(static_cast<uint32_t>(handle.input_key));
        return DRV_NOT_FOUND;
    }
    *why = update ? actionFault(as<update_t>(record).valid, selection) : "";
    return why->empty() ? 0 : DRV_MALFORMED;
}

uint32_t hslTcamRefuses(const hslTcams_t &tcams, const hslCommand_t &row, hslBytes record, std::string *why)
{
    if (!isTcam(row))
        return 0;
    auto key = regionOf(row, record);
    auto selection = selectionOf(key.first);
    auto who = "TCAM table " + tableText(key.first) + " region " + std::to_string(key.second) + ": ";
    uint32_t status = DRV_MALFORMED;
    auto region = tcams.find(key);
    if (!selection) {
        *why = "the chip has no such table";
    } else if (row.command == DCE_TCAM_CREATE_REGION) {
        *why = regionFault(as<larkTcamRegion_t>(record));
        status = why->empty() ? 0 : status;
    } else if (region == tcams.end()) {
        *why = "the region was not created";
        status = DRV_NOT_FOUND;
    } else {
        status = refuseEntry(region->second, *selection, row, record, why);
    }
    if (status)
        *why = who + *why;
    return status;
}

// Taking.

static std::string create(hslTcamRegion_t &region, const larkTcamRegion_t &in)
{
    auto lost = region.entries.size();
    region = {in.min_size, in.max_size, in.size, in.growth_factor, {}};
    return lost ? "region created again, its " + std::to_string(lost) + " entries are gone" : "";
}

static std::string add(hslTcamRegion_t &region, const selection_t &selection, const larkTcamAdd_t &in, uint32_t handle)
{
    hslTcamEntry_t entry{in.value_key, in.port_key, in.value_mask, in.port_mask, in.result[selection.word]};
    auto twin = std::find_if(region.entries.begin(), region.entries.end(), [&](auto &other) {
        return other.second.value == entry.value && other.second.port == entry.port;
    });
    if (region.entries.size() >= region.size)
        region.size = std::min(region.size + region.growth, region.max);
    region.entries.emplace(handle, entry);
    return twin == region.entries.end() ? "" : "an entry has the key of entry " + std::to_string(twin->first);
}

std::string hslTcamTell(hslTcams_t &tcams, const hslCommand_t &row, hslBytes record, uint32_t handle)
{
    auto key = regionOf(row, record);
    auto &region = tcams[key];
    auto &selection = *selectionOf(key.first);
    std::string warning;
    switch (row.command) {
    case DCE_TCAM_CREATE_REGION:
        warning = create(region, as<larkTcamRegion_t>(record));
        break;
    case DCE_TCAM_ADD:
        warning = add(region, selection, as<larkTcamAdd_t>(record), handle);
        break;
    case DCE_TCAM_UPDATE: {
        auto &in = as<update_t>(record);
        region.entries.at(in.handle.application_handle).result = in.result[selection.word];
        break;
    }
    case DCE_TCAM_DELETE:
        region.entries.erase(as<larkTcamDelete_t>(record).handle.application_handle);
        break;
    }
    return warning.empty() ? "" : "TCAM table " + tableText(key.first) + ": " + warning;
}

void hslTcamAnswer(hslBytes record, uint32_t handle, hslBuffer &response)
{
    auto &in = as<larkTcamAdd_t>(record);
    auto &out = reinterpret_cast<larkTcamAdded_t *>(response.data())->handle;
    out.input_key = uint64_t{in.value_key} << 32 | in.port_key;
    out.input_mask_key = uint64_t{in.port_mask} << 32 | in.value_mask;
    out.application_handle = handle;
}

// Looking up.

static hslTcamHit_t hitOf(const selection_t &selection, uint32_t handle, uint32_t result)
{
    return {handle, !selection.trust || (result & selection.trust), result >> selection.cos_shift & 7,
            result >> TC_SHIFT & 7};
}

std::optional<hslTcamHit_t> hslTcamFind(const hslTcams_t &tcams, uint16_t table, uint32_t ifindex, unsigned value)
{
    auto &selection = *selectionOf(table);
    for (auto &[key, region] : tcams) {
        if (key.first != table)
            continue;
        for (auto &[handle, entry] : region.entries) {
            // The mask of the port is in the hardware's own port number: it compares the whole port, or none.
            bool port = !entry.port_mask || entry.port == ifindex;
            if (port && !((value << selection.value_shift ^ entry.value) & entry.value_mask & selection.value_mask))
                return hitOf(selection, handle, entry.result);
        }
    }
    return {};
}

// Showing.

static std::string entryText(const selection_t &selection, uint32_t handle, const hslTcamEntry_t &entry)
{
    auto hit = hitOf(selection, handle, entry.result);
    auto value = std::to_string((entry.value & selection.value_mask) >> selection.value_shift);
    return "\n  " + std::to_string(handle) + "  " + (entry.port_mask ? hslIndexName(entry.port) : "any port") + " " +
           selection.value + " " + (entry.value_mask & selection.value_mask ? value : "any") + " -> cos " +
           std::to_string(hit.cos) + ", tc " + std::to_string(hit.tc) +
           (selection.trust ? hit.trust ? ", trusted" : ", not trusted" : "");
}

std::string hslTcamText(const hslTcams_t &tcams, const std::string &table)
{
    std::string lines;
    for (auto &[key, region] : tcams) {
        auto &selection = *selectionOf(key.first);
        uint64_t number;
        bool wanted = table.empty() || (hslNumber(table, &number) ? number == key.first
                                                                  : table == (key.first == HSL_TCAM_L2 ? "l2" : "l3"));
        if (!wanted)
            continue;
        lines += std::string("\n") + selection.name + " selection, table " + tableText(key.first) + " region " +
                 std::to_string(key.second) + ": " + std::to_string(region.entries.size()) + " entries, " +
                 std::to_string(region.size) + " set aside, " + std::to_string(region.max) + " at most";
        for (auto &[handle, entry] : region.entries)
            lines += entryText(selection, handle, entry);
    }
    return lines;
}

hslJson hslTcamJson(const hslTcams_t &tcams)
{
    auto list = hslJson::array();
    for (auto &[key, region] : tcams) {
        auto &selection = *selectionOf(key.first);
        for (auto &[handle, entry] : region.entries) {
            auto hit = hitOf(selection, handle, entry.result);
            list.push_back({{"table", key.first == HSL_TCAM_L2 ? "l2" : "l3"},
                            {"port", entry.port},
                            {"value", (entry.value & selection.value_mask) >> selection.value_shift},
                            {"cos", hit.cos},
                            {"tc", hit.tc},
                            {"trust", hit.trust}});
        }
    }
    return list;
}
