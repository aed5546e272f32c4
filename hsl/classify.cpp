// Priority selection. Frames with a trusted DSCP go by it, else those with a tag by its CoS, else by the port's
// default.
#include "hsl/classify.h"

#include <utility>

#include "hsl/model.h"
#include "platform/larkin/lark_records.h"

// What selected, and the priority as the chip counts it.
using choice_t = std::pair<std::string, uint64_t>;

// The last record of a command that the port was told, read by the names of its fields.
struct told_t {
    const hslTold_t *last;

    told_t(const hslPort_t &port, uint32_t command, int operation = -1)
    {
        auto place = port.told.find({command, operation});
        last = place == port.told.end() ? nullptr : &place->second;
    }
    explicit operator bool() const { return last; }
    uint64_t get(const char *name, unsigned index = 0) const
    {
        return last ? hslValue(*hslFieldNamed(last->row->fields, name), last->record, index) : 0;
    }
};

static choice_t byEntry(const char *table, const hslTcamHit_t &hit)
{
    return {std::string(table) + " entry " + std::to_string(hit.handle), hit.tc};
}

static choice_t larkinChoice(const hslChip_t &chip, const hslPort_t &port, const hslFlow_t &flow)
{
    if (flow.dscp)
        if (auto hit = hslTcamFind(chip.tcams, HSL_TCAM_L3, port.ifindex, *flow.dscp); hit && hit->trust)
            return byEntry("L3 TCAM", *hit);
    auto cos = flow.cos.value_or(static_cast<unsigned>(told_t(port, DCE_VLAN_CONFIG).get("cos") % HSL_PRIORITIES));
    if (auto hit = hslTcamFind(chip.tcams, HSL_TCAM_L2, port.ifindex, cos))
        return byEntry("L2 TCAM", *hit);
    // Without an entry, as when the region is full, the port's registers decide.
    if (told_t map(port, DCE_L2_CONFIG, LARK_L2_PRI_REG_MAP); map)
        return {"register map", map.get("tc", cos)};
    return {"no map", cos};
}

static choice_t mapChoice(const hslPort_t &port, const hslFlow_t &flow)
{
    if (told_t map(port, COS_L3_PRI_MAP); flow.dscp && map.get("trust"))
        return {"L3 map", map.get("tc", *flow.dscp)};
    told_t map(port, COS_L2_PRI_MAP), byDefault(port, COS_DEF_COS);
    if (flow.cos)
        return map ? choice_t("L2 map", map.get("tc", *flow.cos)) : choice_t("no map", *flow.cos);
    if (byDefault)
        return {"default TC", byDefault.get("tc")};
    return {map ? "default of the L2 map" : "no map", map.get("default tc")};
}

void hslClassify(hslModel_t &model)
{
    for (auto &[ifindex, port] : model.ports) {
        auto chip = model.chips.find(port.flat);
        for (auto &flow : port.traffic.flows) {
            if (chip == model.chips.end() || (!flow.cos && !flow.dscp))
                continue;
            bool larkin = chip->second.type->family == HSL_LARKIN;
            auto [by, priority] = larkin ? larkinChoice(chip->second, port, flow) : mapChoice(port, flow);
            flow.decided_by = std::move(by);
            flow.priority = static_cast<unsigned>(priority % HSL_PRIORITIES);
        }
    }
}
