// SPDX-License-Identifier: Apache-2.0
// The inventory as text or JSON. The formats and keys are read by people and scripts alike and stay as they are.
#include "inventory/show.h"

#include <cstddef>
#include <cstdio>
#include <iterator>

#include "core/table.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "inventory/interfaces.h"
#include "inventory/slots.h"
#include "lib/views.h"

namespace {

bool hasTcams(const qosIf_t *interface)
{
    return interface->chip && qosChipTraits(interface->chip->chip_type).priority_tcams;
}

void showHandle(cli_t *cli, const dce_tcam_handle_t &handle)
{
    char numbers[64];
    snprintf(numbers, sizeof numbers, "%016llx:%016llx:%04x:%x", static_cast<unsigned long long>(handle.input_key),
             static_cast<unsigned long long>(handle.input_mask_key), handle.result_key, handle.application_handle);
    qosPrintItem(cli, "%s\n", numbers);
}

template <typename Map>
const char *nameOf(const Map *map)
{
    return map ? map->hdr.map_name : nullptr;
}

// The line of indexes above a map of eight.
void showIndexes(cli_t *cli)
{
    for (unsigned i = 0; i < QOS_NUM_COS; ++i)
        qosPrintText(cli, " %d ", i);
    qosPrintText(cli, "\n");
}

void showEight(cli_t *cli, const char *key, const uint8_t *map)
{
    qosPrintList(cli, key);
    for (unsigned i = 0; i < QOS_NUM_COS; ++i)
        qosPrintItem(cli, " %d ", map[i]);
    qosPrintListEnd(cli);
    qosPrintText(cli, "\n");
}

// The map as it is in JSON. As text, eight rows of eight cells, each row nine entries behind the one before it, so that
// some entries are left out and the last row shows seven bytes behind the map, which are the record's next ones.
// `offset` is the map's in qosIf_t, `what` the word ahead of a value.
void showDscpTable(cli_t *cli, const char *key, const qosIf_t *interface, size_t offset, const char *what)
{
    const auto *bytes = reinterpret_cast<const uint8_t *>(interface);
    qosPrintList(cli, key);
    for (unsigned dscp = 0; cli->json && dscp < QOS_NUM_DSCP; ++dscp)
        qosJsonNumber(cli, nullptr, bytes[offset + dscp]);
    qosPrintListEnd(cli);
    for (unsigned row = 0; row < 8; ++row) {
        for (unsigned column = 0; column < 8; ++column) {
            const unsigned dscp = row * 9 + column;
            const unsigned value = offset + dscp < sizeof *interface ? bytes[offset + dscp] : 0;
            qosPrintText(cli, "\t\t\tDSCP %d -> %s%d, ", dscp, what, value);
        }
        qosPrintText(cli, "\n");
    }
}

void showInterface(cli_t *cli, const qosIf_t *interface)
{
    const qosChip_t *chip = interface->chip;
    qosPrintRecord(cli);
    qosPrintField(cli, "name", "%s\n", interface->ifName);
    qosPrintField(cli, "ifindex", "\tifindex = 0x%08x", interface->ifIndex);
    qosPrintField(cli, "chip", ", ChipId = %d", chip ? chip->chip_id : -1);
    qosPrintField(cli, "chip_ifindex", ", Chip IfIndex = 0x%08x\n", chip ? chip->chip_ifindex : 0);
    qosShowIfL2PriInfo(cli, interface);
    qosShowIfL3PriInfo(cli, interface);
}

const qosIf_t *nextInterface(qosCursor_t *at)
{
    qosIf_t last;
    last.ifIndex = at->row;
    const qosIf_t *interface = qosShowNext(qosIfTable, last, at);
    at->row = interface ? interface->ifIndex : at->row;
    return interface;
}

void showChip(cli_t *cli, const qosChip_t *chip)
{
    qosPrintRecord(cli);
    qosPrintField(cli, "chip", "Chip %d", chip->chip_id);
    qosPrintField(cli, "slot", " (%d/", chip->slot_id);
    qosPrintField(cli, "chip_in_slot", "%d):\n", chip->local_chip_id);
    qosPrintField(cli, "type", "\tChip Type = %s\n", qosChipTypeName(chip->chip_type));
    qosPrintField(cli, "revision", "\tChip Rev = %d\n", chip->chip_rev);
    qosPrintField(cli, "ports", "\tNum of Ports per chip = %d\n", chip->num_ports);
    qosPrintField(cli, "tmc_chip", "\tTMC Chip ID = %d\n", chip->tmc_chip_id);
    qosPrintField(cli, "ingress_policers", "\tNumber of Ingress Policers = %d\n", chip->num_ingr_policer_ids);
    qosPrintField(cli, "egress_policers", "\tNumber of Egress Policers = %d\n", chip->num_egr_policer_ids);
    qosPrintField(cli, "ingress_infinite_policer", "\tIngress infinite policer id = %d\n", chip->ingr_infin_policer_id);
    qosPrintField(cli, "egress_infinite_policer", "\tEgress infinite policer id = %d\n", chip->egr_infin_policer_id);
    qosPrintField(cli, "policer_profiles", "\tNum of policer profiles = %d\n", chip->num_policer_profiles);
    qosPrintText(cli, "\n");
    qosPrintField(cli, "chip_buffers", "\tNum of chip buffers = %d\n", chip->chipBuffers);
    qosPrintField(cli, "port_buffers", "\tNum of port buffers = %d\n", chip->portBuffers);
    qosPrintField(cli, "buffer_status", "\tbuffer status = %d\n", chip->bufStatus);
}

} // namespace

bool qosShowIfTablePart(cli_t *cli, qosCursor_t *at)
{
    constexpr qosShowPart_t tables[] = {qosShowOnce<qosShowSlotTable>, qosShowChipTablePart, qosShowInterfacesPart};
    if (tables[at->list](cli, at))
        return true;
    ++at->list;
    at->stage = 0;
    at->has_row = false;
    return at->list < std::size(tables);
}

bool qosShowInterfacesPart(cli_t *cli, qosCursor_t *at)
{
    if (at->stage++ == 0)
        qosPrintText(cli, "Interface Name  ifIndex    ChipId     ChipIfIndex\n");
    const qosIf_t *interface = nextInterface(at);
    if (interface)
        showInterface(cli, interface);
    return interface;
}

bool qosShowPortsPart(cli_t *cli, qosCursor_t *at)
{
    const qosIf_t *interface = nextInterface(at);
    if (!interface)
        return false;
    qosJsonRecord(cli);
    qosJsonText(cli, "name", interface->ifName);
    qosJsonNumber(cli, "ifindex", interface->ifIndex);
    qosJsonNumber(cli, "chip", interface->chip ? interface->chip->chip_id : -1);
    return true;
}

int qosShowSlotTable(cli_t *cli)
{
    for (const qosSlot_t &slot : qosSlotTable) {
        qosPrintRecord(cli);
        qosPrintField(cli, "slot", "SlotID : %d\n", slot.slot_id);
        qosPrintField(cli, "state", "\tState = %s\n", slot.slot_state == 1 ? "Up" : "Down");
        qosPrintTruth(cli, "registered", "\tAgent Registration = %s\n", slot.agnt_reg == 1, "True", "False");
        qosPrintField(cli, "updates", "\tNum Upd Entries = %d\n", slot.num_upd);
        qosPrintField(cli, "pending", "\tNum Pending Entries = %d\n", slot.num_pend);
        // A line for 32 bits of a 64-bit counter: it shows the high word.
        qosPrintField(cli, "buffer_full", "\tNum update buffer full = %d\n",
                      static_cast<int>(slot.updBufferFull >> 32));
    }
    return 0;
}

bool qosShowChipTablePart(cli_t *cli, qosCursor_t *at)
{
    if (!qosChipTable) {
        QOS_ERR_AT("qosShowChipTable", "qosChipTable is NULL");
        return false;
    }
    qosChip_t last;
    last.chip_id = static_cast<int32_t>(at->row);
    const qosChip_t *chip = qosShowNext(qosChipTable, last, at);
    if (!chip)
        return false;
    at->row = static_cast<uint32_t>(chip->chip_id);
    showChip(cli, chip);
    return true;
}

int qosShowIfL2PriInfo(cli_t *cli, const qosIf_t *interface)
{
    const qosIfL2Pri_t &l2 = interface->l2_pri;
    qosPrintText(cli, "\tL2 Pri Info:\n");
    qosPrintField(cli, "l2_flags", "\t\tl2PriFlags = 0x%08x\n", l2.l2PriFlags);
    qosPrintField(cli, "def_cos", "\t\tdef_cos = %d", l2.def_cos);
    qosPrintField(cli, "def_tc", ", def_tc = %d", l2.def_tc);
    qosPrintField(cli, "def_cos_status", ", def_cos_status = %d\n", l2.def_cos_status);
    qosPrintTruth(cli, "cos_trust", "\t\tcos_trust = %s", l2.cos_trust != 0, "Enabled", "Disabled");
    qosPrintField(cli, "cos_trust_status", ", cos_trust_status = %d\n", l2.cos_trust_status);
    qosPrintList(cli, "cos_trust_handles");
    for (unsigned i = 0; hasTcams(interface) && i < QOS_NUM_COS; ++i) {
        qosPrintText(cli, "\t\tcos_trust_handle[%d] =  ", i);
        showHandle(cli, l2.cos_trust_handle[i]);
    }
    qosPrintListEnd(cli);
    qosPrintOptional(cli, "cos_mutation_map", "\t\tCoS Mutation Map applied = %s\n", nameOf(l2.cos_mutate));
    qosPrintText(cli, "\t\tCoS Map:\n");
    qosPrintText(cli, "\t\tIn Cos: ");
    showIndexes(cli);
    qosPrintText(cli, "\t\tOut Cos: ");
    showEight(cli, "cos_map", l2.cos_map);
    qosPrintField(cli, "cos_map_status", "\t\tCoS Map Status = %d\n", l2.cos_map_status);
    qosPrintOptional(cli, "cos_tc_mutation_map", "\t\tCoS TC Mutation Map applied = %s\n", nameOf(l2.tc_mutate));
    qosPrintText(cli, "\t\tCos: ");
    showIndexes(cli);
    qosPrintText(cli, "\t\tTC: ");
    showEight(cli, "cos_tc_map", l2.tc_map);
    qosPrintField(cli, "cos_tc_map_status", "\t\tCoS TC Map Status = %d\n", l2.tc_map_status);
    return 0;
}

int qosShowIfL3PriInfo(cli_t *cli, const qosIf_t *interface)
{
    const qosIfL3Pri_t &l3 = interface->l3_pri;
    constexpr size_t at = offsetof(qosIf_t, l3_pri);
    qosPrintText(cli, "\tL3 Pri Info:\n");
    qosPrintField(cli, "l3_flags", "\t\tl3PriFlags = 0x%08x\n", l3.l3PriFlags);
    qosPrintTruth(cli, "dscp_trust", "\t\tdscp trust = %s", l3.dscp_trust != 0, "Enabled", "Disabled");
    qosPrintField(cli, "dscp_trust_status", ", dscp trust_status = %d\n", l3.dscp_trust_status);
    qosPrintList(cli, "dscp_trust_handles");
    for (unsigned i = 0; hasTcams(interface) && i < QOS_NUM_DSCP; ++i) {
        qosPrintText(cli, "\t\tdscp_trust_handle[%d] =  ", i);
        showHandle(cli, l3.dscp_trust_handle[i]);
    }
    qosPrintListEnd(cli);
    qosPrintOptional(cli, "dscp_mutation_map", "\t\tDSCP Mutation Map applied = %s\n", nameOf(l3.dscp_mutate));
    qosPrintText(cli, "\t\tDSCP Map:\n");
    showDscpTable(cli, "dscp_map", interface, at + offsetof(qosIfL3Pri_t, dscp_map), "");
    qosPrintField(cli, "dscp_map_status", "\t\tDSCP Map Status = %d\n", l3.dscp_map_status);
    qosPrintOptional(cli, "dscp_cos_mutation_map", "\t\tDSCP CoS Mutation Map applied = %s\n", nameOf(l3.dscp_cos_map));
    qosPrintText(cli, "\t\tDSCP CoS Map:\n");
    showDscpTable(cli, "dscp_cos_map", interface, at + offsetof(qosIfL3Pri_t, cos_map), "CoS ");
    qosPrintField(cli, "dscp_cos_map_status", "\t\tDSCP CoS Map Status = %d\n", l3.dscp_cos_status);
    qosPrintOptional(cli, "dscp_tc_mutation_map", "\t\tDSCP TC Mutation Map applied = %s\n", nameOf(l3.dscp_tc_map));
    qosPrintText(cli, "\t\tDSCP TC Map:\n");
    showDscpTable(cli, "dscp_tc_map", interface, at + offsetof(qosIfL3Pri_t, tc_map), "TC ");
    qosPrintField(cli, "dscp_tc_map_status", "\t\tDSCP TC Map Status = %d\n", l3.dscp_tc_status);
    return 0;
}
