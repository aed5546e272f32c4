// The inventory as text. The formats are read by people and scripts alike and stay as they are.
#include "inventory/show.h"

#include <cstddef>

#include "core/trace.h"
#include "inventory/chips.h"
#include "inventory/interfaces.h"
#include "inventory/slots.h"
#include "lib/avl.h"

namespace {

const char *enabled(int32_t truth)
{
    return truth ? "Enabled" : "Disabled";
}

bool hasTcams(const qosIf_t *interface)
{
    return interface->chip && qosChipTraits(interface->chip->chip_type).priority_tcams;
}

// A handle's four numbers behind "%016llx:%016llx:%04x:%x\n".
void showHandle(cli_t *cli, bool layer2, unsigned index, const dce_tcam_handle_t &handle)
{
    const auto key = static_cast<unsigned long long>(handle.input_key);
    const auto mask = static_cast<unsigned long long>(handle.input_mask_key);
    if (layer2)
        cli_out(cli, "\t\tcos_trust_handle[%d] =  %016llx:%016llx:%04x:%x\n", index, key, mask, handle.result_key,
                handle.application_handle);
    else
        cli_out(cli, "\t\tdscp_trust_handle[%d] =  %016llx:%016llx:%04x:%x\n", index, key, mask, handle.result_key,
                handle.application_handle);
}

// One line of eight numbers: the indexes for a null map.
void showEight(cli_t *cli, const uint8_t *map)
{
    for (unsigned i = 0; i < QOS_NUM_COS; ++i)
        cli_out(cli, " %d ", map ? map[i] : i);
    cli_out(cli, "\n");
}

enum class dscpCell_t : uint8_t { Dscp, Cos, Tc };

// Eight rows of eight cells. A row starts nine entries behind the one before it, so that some entries are left out and
// the last row shows seven bytes behind the map, which are the record's next ones. `offset` is the map's in qosIf_t.
void showDscpTable(cli_t *cli, const qosIf_t *interface, size_t offset, dscpCell_t cell)
{
    const auto *bytes = reinterpret_cast<const uint8_t *>(interface);
    for (unsigned row = 0; row < 8; ++row) {
        for (unsigned column = 0; column < 8; ++column) {
            const unsigned dscp = row * 9 + column;
            const unsigned value = offset + dscp < sizeof *interface ? bytes[offset + dscp] : 0;
            switch (cell) {
            case dscpCell_t::Dscp:
                cli_out(cli, "\t\t\tDSCP %d -> %d, ", dscp, value);
                break;
            case dscpCell_t::Cos:
                cli_out(cli, "\t\t\tDSCP %d -> CoS %d, ", dscp, value);
                break;
            case dscpCell_t::Tc:
                cli_out(cli, "\t\t\tDSCP %d -> TC %d, ", dscp, value);
                break;
            }
        }
        cli_out(cli, "\n");
    }
}

void showInterface(cli_t *cli, const qosIf_t *interface)
{
    const qosChip_t *chip = interface->chip;
    cli_out(cli, "%s\n", interface->ifName);
    cli_out(cli, "\tifindex = 0x%08x, ChipId = %d, Chip IfIndex = 0x%08x\n", interface->ifIndex,
            chip ? chip->chip_id : -1, chip ? chip->chip_ifindex : 0);
    qosShowIfL2PriInfo(cli, interface);
    qosShowIfL3PriInfo(cli, interface);
}

void showChip(cli_t *cli, const qosChip_t *chip)
{
    cli_out(cli, "Chip %d (%d/%d):\n", chip->chip_id, chip->slot_id, chip->local_chip_id);
    cli_out(cli, "\tChip Type = %s\n", qosChipTypeName(chip->chip_type));
    cli_out(cli, "\tChip Rev = %d\n", chip->chip_rev);
    cli_out(cli, "\tNum of Ports per chip = %d\n", chip->num_ports);
    cli_out(cli, "\tTMC Chip ID = %d\n", chip->tmc_chip_id);
    cli_out(cli, "\tNumber of Ingress Policers = %d\n", chip->num_ingr_policer_ids);
    cli_out(cli, "\tNumber of Egress Policers = %d\n", chip->num_egr_policer_ids);
    cli_out(cli, "\tIngress infinite policer id = %d\n", chip->ingr_infin_policer_id);
    cli_out(cli, "\tEgress infinite policer id = %d\n", chip->egr_infin_policer_id);
    cli_out(cli, "\tNum of policer profiles = %d\n", chip->num_policer_profiles);
    cli_out(cli, "\n");
    cli_out(cli, "\tNum of chip buffers = %d\n", chip->chipBuffers);
    cli_out(cli, "\tNum of port buffers = %d\n", chip->portBuffers);
    cli_out(cli, "\tbuffer status = %d\n", chip->bufStatus);
}

} // namespace

int qos_show_ifTable(cli_t *cli)
{
    qosShowSlotTable(cli);
    qosShowChipTable(cli);
    cli_out(cli, "Interface Name  ifIndex    ChipId     ChipIfIndex\n");
    if (!qosIfTable)
        return 0;
    for (const tnx_avl_node_t *node = avl_getfirst(qosIfTable); node; node = avl_getnext(qosIfTable, node))
        showInterface(cli, static_cast<const qosIf_t *>(node->info));
    return 0;
}

int qosShowSlotTable(cli_t *cli)
{
    for (const qosSlot_t &slot : qosSlotTable) {
        cli_out(cli, "SlotID : %d\n", slot.slot_id);
        cli_out(cli, "\tState = %s\n", slot.slot_state == 1 ? "Up" : "Down");
        cli_out(cli, "\tAgent Registration = %s\n", slot.agnt_reg == 1 ? "True" : "False");
        cli_out(cli, "\tNum Upd Entries = %d\n", slot.num_upd);
        cli_out(cli, "\tNum Pending Entries = %d\n", slot.num_pend);
        // A line for 32 bits of a 64-bit counter: it shows the high word.
        cli_out(cli, "\tNum update buffer full = %d\n", static_cast<int>(slot.updBufferFull >> 32));
    }
    return 0;
}

int qosShowChipTable(cli_t *cli)
{
    if (!qosChipTable) {
        QOS_ERR("qosChipTable is NULL");
        return 0;
    }
    for (const tnx_avl_node_t *node = avl_getfirst(qosChipTable); node; node = avl_getnext(qosChipTable, node))
        showChip(cli, static_cast<const qosChip_t *>(node->info));
    return 0;
}

int qosShowIfL2PriInfo(cli_t *cli, const qosIf_t *interface)
{
    const qosIfL2Pri_t &l2 = interface->l2_pri;
    cli_out(cli, "\tL2 Pri Info:\n");
    cli_out(cli, "\t\tl2PriFlags = 0x%08x\n", l2.l2PriFlags);
    cli_out(cli, "\t\tdef_cos = %d, def_tc = %d, def_cos_status = %d\n", l2.def_cos, l2.def_tc, l2.def_cos_status);
    cli_out(cli, "\t\tcos_trust = %s, cos_trust_status = %d\n", enabled(l2.cos_trust), l2.cos_trust_status);
    if (hasTcams(interface))
        for (unsigned i = 0; i < QOS_NUM_COS; ++i)
            showHandle(cli, true, i, l2.cos_trust_handle[i]);
    if (l2.cos_mutate)
        cli_out(cli, "\t\tCoS Mutation Map applied = %s\n", l2.cos_mutate->hdr.map_name);
    cli_out(cli, "\t\tCoS Map:\n");
    cli_out(cli, "\t\tIn Cos: ");
    showEight(cli, nullptr);
    cli_out(cli, "\t\tOut Cos: ");
    showEight(cli, l2.cos_map);
    cli_out(cli, "\t\tCoS Map Status = %d\n", l2.cos_map_status);
    if (l2.tc_mutate)
        cli_out(cli, "\t\tCoS TC Mutation Map applied = %s\n", l2.tc_mutate->hdr.map_name);
    cli_out(cli, "\t\tCos: ");
    showEight(cli, nullptr);
    cli_out(cli, "\t\tTC: ");
    showEight(cli, l2.tc_map);
    cli_out(cli, "\t\tCoS TC Map Status = %d\n", l2.tc_map_status);
    return 0;
}

int qosShowIfL3PriInfo(cli_t *cli, const qosIf_t *interface)
{
    const qosIfL3Pri_t &l3 = interface->l3_pri;
    constexpr size_t at = offsetof(qosIf_t, l3_pri);
    cli_out(cli, "\tL3 Pri Info:\n");
    cli_out(cli, "\t\tl3PriFlags = 0x%08x\n", l3.l3PriFlags);
    cli_out(cli, "\t\tdscp trust = %s, dscp trust_status = %d\n", enabled(l3.dscp_trust), l3.dscp_trust_status);
    if (hasTcams(interface))
        for (unsigned i = 0; i < QOS_NUM_DSCP; ++i)
            showHandle(cli, false, i, l3.dscp_trust_handle[i]);
    if (l3.dscp_mutate)
        cli_out(cli, "\t\tDSCP Mutation Map applied = %s\n", l3.dscp_mutate->hdr.map_name);
    cli_out(cli, "\t\tDSCP Map:\n");
    showDscpTable(cli, interface, at + offsetof(qosIfL3Pri_t, dscp_map), dscpCell_t::Dscp);
    cli_out(cli, "\t\tDSCP Map Status = %d\n", l3.dscp_map_status);
    if (l3.dscp_cos_map)
        cli_out(cli, "\t\tDSCP CoS Mutation Map applied = %s\n", l3.dscp_cos_map->hdr.map_name);
    cli_out(cli, "\t\tDSCP CoS Map:\n");
    showDscpTable(cli, interface, at + offsetof(qosIfL3Pri_t, cos_map), dscpCell_t::Cos);
    cli_out(cli, "\t\tDSCP CoS Map Status = %d\n", l3.dscp_cos_status);
    if (l3.dscp_tc_map)
        cli_out(cli, "\t\tDSCP TC Mutation Map applied = %s\n", l3.dscp_tc_map->hdr.map_name);
    cli_out(cli, "\t\tDSCP TC Map:\n");
    showDscpTable(cli, interface, at + offsetof(qosIfL3Pri_t, tc_map), dscpCell_t::Tc);
    cli_out(cli, "\t\tDSCP TC Map Status = %d\n", l3.dscp_tc_status);
    return 0;
}
