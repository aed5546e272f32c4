// SPDX-License-Identifier: Apache-2.0
// Priority selection. Frames with a trusted DSCP go by it, else those with a tag by its CoS, else by the port's
// default.
#include "hsl/classify.h"

#include <utility>

#include "hsl/model.h"
#include "platform/records/larkin.h"

// What selected, and the priority as the chip counts it.
using choice_t = std::pair<std::string, uint64_t>;

static uint64_t valueOr0(const hslPort_t &port, uint32_t command, const char *field, unsigned index = 0)
{
    return hslToldValue(port.told, command, -1, field, index).value_or(0);
}

static choice_t byEntry(const char *table, const hslTcamHit_t &hit)
{
    return {std::string(table) + " entry " + std::to_string(hit.handle), hit.tc};
}

static choice_t larkinChoice(const hslChip_t &chip, const hslPort_t &port, const hslFlow_t &flow)
{
    if (flow.dscp)
        if (auto hit = hslTcamFind(chip.tcams, HSL_TCAM_L3, port.ifindex, *flow.dscp); hit && hit->trust)
            return byEntry("L3 TCAM", *hit);
    auto cos = flow.cos.value_or(static_cast<unsigned>(valueOr0(port, DCE_VLAN_CONFIG, "cos") % HSL_PRIORITIES));
    if (auto hit = hslTcamFind(chip.tcams, HSL_TCAM_L2, port.ifindex, cos))
        return byEntry("L2 TCAM", *hit);
    // Without an entry, as when the region is full, the port's registers decide.
    if (auto tc = hslToldValue(port.told, DCE_L2_CONFIG, LARK_L2_PRI_REG_MAP, "tc", cos))
        return {"register map", *tc};
    return {"no map", cos};
}

static choice_t mapChoice(const hslPort_t &port, const hslFlow_t &flow)
{
    if (flow.dscp && valueOr0(port, COS_L3_PRI_MAP, "trust"))
        return {"L3 map", valueOr0(port, COS_L3_PRI_MAP, "tc", *flow.dscp)};
    if (auto tc = hslToldValue(port.told, COS_L2_PRI_MAP, -1, "tc", flow.cos.value_or(0)); tc && flow.cos)
        return {"L2 map", *tc};
    if (flow.cos)
        return {"no map", *flow.cos};
    if (auto tc = hslToldValue(port.told, COS_DEF_COS, -1, "tc"))
        return {"default TC", *tc};
    auto tc = hslToldValue(port.told, COS_L2_PRI_MAP, -1, "default tc");
    return {tc ? "default of the L2 map" : "no map", tc.value_or(0)};
}

void hslClassify(hslModel_t &model, int flat)
{
    for (auto &[ifindex, port] : model.ports) {
        if (flat >= 0 && flat != port.flat)
            continue;
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
