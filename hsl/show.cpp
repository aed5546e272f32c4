// SPDX-License-Identifier: Apache-2.0
// The model as JSON.
#include "hsl/model.h"

#include <cstring>

#include "velmar/dce.h"

// Priority maps stand under names of their own, where a test looks for them; everything else in the list "told".
static const char *mapName(uint32_t command)
{
    switch (command) {
    case COS_L2_PRI_MAP:
        return "l2_map";
    case COS_DEF_COS:
        return "def_cos";
    case COS_L3_PRI_MAP:
        return "l3_map";
    case COS_DSCP_MAP:
        return "dscp_map";
    default:
        return nullptr;
    }
}

static void toldJson(hslJson &out, const hslToldMap_t &told, bool whole)
{
    auto list = hslJson::array();
    for (auto &[key, entry] : told) {
        hslJson item{{"command", hslIndexText(key.first)}};
        if (key.second >= 0)
            item["operation"] = key.second;
        item["name"] = entry.row->name;
        item["count"] = entry.count;
        item["last"] = static_cast<double>(entry.last) / 1000;
        auto fields = hslFieldsJson(entry.row->fields, entry.record);
        if (auto name = mapName(key.first))
            out[name] = fields;
        else if (!fields.empty())
            item["fields"] = fields;
        if (whole || fields.empty())
            item["hex"] = hslHexText(entry.record);
        list.push_back(item);
    }
    out["told"] = list;
}

hslJson hslChipJson(const hslChip_t &chip, bool whole)
{
    auto ifindex = dce_get_ifindex(chip.flat);
    hslJson out{{"chip", hslIndexName(ifindex).substr(strlen("chip "))},
                {"flat", chip.flat},
                {"ifindex", hslIndexText(ifindex)},
                {"type", chip.type->traits().word},
                {"ports", chip.ports},
                {"declared", chip.declared},
                {"buffers", chip.buffers},
                {"requests", chip.requests},
                {"policers", chip.policers.size()}};
    for (auto &[key, region] : chip.tcams)
        out["tcam"][hslIndexText(key.first)] = {
            {"max", region.max}, {"size", region.size}, {"entries", region.entries.size()}};
    if (whole) {
        out["policers"] = hslPolicersJson(chip.policers);
        if (chip.egress_depth)
            out["egress_queue_depth"] = *chip.egress_depth;
        for (auto &[profile, red] : chip.red)
            out["red_profiles"].push_back(
                {{"profile", profile}, {"min", red.min}, {"max", red.max}, {"probability", red.probability}});
    }
    toldJson(out, chip.told, whole);
    return out;
}

hslJson hslPortJson(const hslPort_t &port, bool whole)
{
    hslJson out{
        {"port", hslIndexName(port.ifindex)}, {"ifindex", hslIndexText(port.ifindex)}, {"flat_chip", port.flat}};
    if (auto setup = hslSetupJson(port.setup); whole && !setup.empty())
        out["congestion"] = setup;
    if (whole)
        out["traffic"] = hslTrafficJson(port.traffic);
    toldJson(out, port.told, whole);
    return out;
}

size_t hslModelJsonLeast(const hslModel_t &model)
{
    constexpr size_t ENTRY = 60; // names, quotes and the least values of a port or a record
    size_t least = 0;
    for (auto &entry : model.ports)
        least += ENTRY * (1 + entry.second.told.size());
    for (auto &entry : model.chips)
        least += ENTRY * (1 + entry.second.told.size());
    return least;
}

// Records by the names of their commands, which are alike in both families.
static hslJson recordsJson(const hslToldMap_t &told)
{
    auto out = hslJson::object();
    for (auto &[key, entry] : told)
        out[entry.row->name] = hslFieldsJson(entry.row->fields, entry.record);
    return out;
}

hslJson hslToldJson(const hslModel_t &model, const hslChip_t &chip)
{
    hslJson out{{"ifindex", dce_get_ifindex(chip.flat)},
                {"type", chip.type->traits().word},
                {"policers", hslPolicersJson(chip.policers)},
                {"tcam", hslTcamJson(chip.tcams)},
                {"tcam_regions", chip.tcams.size()},
                {"egress_queue_depth", chip.egress_depth ? hslJson(*chip.egress_depth) : hslJson()},
                {"told", recordsJson(chip.told)},
                {"ports", hslJson::array()}};
    auto policer = [](const std::optional<uint32_t> &id) { return id ? hslJson(*id) : hslJson(); };
    for (auto &[ifindex, port] : model.ports)
        if (port.flat == chip.flat)
            out["ports"].push_back({{"ifindex", ifindex},
                                    {"congestion", hslSetupJson(port.setup)},
                                    {"ingress_policer", policer(port.traffic.policer[1])},
                                    {"egress_policer", policer(port.traffic.policer[0])},
                                    {"told", recordsJson(port.told)}});
    return out;
}

hslJson hslModelJson(const hslModel_t &model)
{
    hslJson out{{"chips", hslJson::array()}, {"ports", hslJson::array()}, {"warnings", hslJson::array()}};
    for (auto &entry : model.chips)
        out["chips"].push_back(hslChipJson(entry.second, false));
    for (auto &entry : model.ports)
        out["ports"].push_back(hslPortJson(entry.second, false));
    for (auto &[text, count] : model.warnings)
        out["warnings"].push_back({{"text", text}, {"count", count}});
    return out;
}
