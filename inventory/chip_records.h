// SPDX-License-Identifier: Apache-2.0
// A chip.
#ifndef INVENTORY_CHIP_RECORDS_H
#define INVENTORY_CHIP_RECORDS_H

#include <cstddef>
#include <cstdint>

#include "agent/messages/chip.h"
#include "inventory/congestion_records.h"
#include "inventory/policer_records.h"
#include "inventory/priority_records.h"
#include "inventory/record_queues.h"

struct tnx_list_t;
struct qosSlot_t;

constexpr unsigned QOS_NUM_CHIP_PORTS = 160; // entries of a chip's port table
constexpr unsigned QOS_NUM_BUF_POOLS = 4;    // buffer pool groups of a chip

struct qosChip_t {
    int32_t chip_id;       // flat chip number, the key of qosChipTable
    uint32_t chip_ifindex; // also the target of the chip's driver requests
    int32_t slot_id;
    int32_t local_chip_id; // in the slot
    int32_t tmc_chip_id;   // traffic manager chip; not set by the agent
    uint32_t chip_state;   // 0 created, 1 ready
    uint32_t warm_up;      // 1 between the two passes of a bulk chip-up
    uint32_t chip_type;
    uint32_t chip_rev;
    uint32_t num_ports; // may exceed the port table
    uint32_t num_ingr_policer_ids;
    uint32_t ingr_infin_policer_id; // the ingress policer that never limits
    uint32_t min_ingr_policer_id;   // lowest usable
    uint32_t num_egr_policer_ids;
    uint32_t egr_infin_policer_id;
    uint32_t min_egr_policer_id;
    uint32_t num_policer_profiles;
    int32_t pt_based_pol;   // policing by port
    int32_t vlan_based_pol; // policing by VLAN
    uint16_t num_policer_groups;
    qosPolCfg_t polCfg;
    tnx_list_t *drop_monitor_list; // qaDropMonitorInfo_t
    uint32_t numChipBuffPools;
    uint32_t chipBuffers; // bytes
    uint32_t portBuffers; // bytes a port; Larkin's shared buffer pool response alone sets it
    uint32_t bufStatus;   // result of the buffer size set-up at chip up
    qosTcamRegion_t l2psel_tcam;
    uint32_t l2psel_tcam_status; // result of the request that created the region
    qosTcamRegion_t l3psel_tcam;
    uint32_t l3psel_tcam_status;
    qosChipRedCfg_t chipRedCfg[QOS_NUM_CHIP_RED_CFGS];
    uint8_t maxRedProfilesPerChip;
    qosChipLdInfo_t ldChipCfg[QOS_NUM_BUF_POOLS]; // by buffer pool group
    qosSlot_t *slot;
    tailqEntry<qosChip_t> slot_link;
    tailqHead<qosIf_t> ifList; // through chip_link
    qosChipPortInfo_t portInfo[QOS_NUM_CHIP_PORTS];
    uint32_t egr_td_red_prof; // RED profile that the chip reserves for egress tail drop
    uint32_t reserved[4];
};
QOS_RECORD(qosChip_t, 2568, F(chip_id), F(chip_ifindex), F(slot_id), F(local_chip_id), F(tmc_chip_id), F(chip_state),
           LOCAL(warm_up), F(chip_type), F(chip_rev), F(num_ports), F(num_ingr_policer_ids), F(ingr_infin_policer_id),
           F(min_ingr_policer_id), F(num_egr_policer_ids), F(egr_infin_policer_id), F(min_egr_policer_id),
           F(num_policer_profiles), F(pt_based_pol), F(vlan_based_pol), F(num_policer_groups), F(polCfg),
           F(drop_monitor_list), F(numChipBuffPools), F(chipBuffers), F(portBuffers), F(bufStatus), F(l2psel_tcam),
           F(l2psel_tcam_status), F(l3psel_tcam), F(l3psel_tcam_status), F(chipRedCfg), F(maxRedProfilesPerChip),
           F(ldChipCfg), F(slot), F(slot_link), F(ifList), F(portInfo), F(egr_td_red_prof), PAD(reserved));

#endif
