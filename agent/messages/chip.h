// SPDX-License-Identifier: Apache-2.0
// Registration, and the bodies that tell of chips and interfaces.
#ifndef AGENT_MESSAGES_CHIP_H
#define AGENT_MESSAGES_CHIP_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "velmar/members.h"

// Code 0. Registration: this slot's agent is up.
struct dORVALRegMsg_t {
    sbe32 slot_id;
};
QOS_MEMBERS(dORVALRegMsg_t, 4, F(0, slot_id));

// One port of a chip.
struct qosChipPortInfo_t {
    be32 ifindex;
    be32 num_buffers; // bytes of chip buffer
    be16 bufPoolId;
    be16 polGroupId;
};
QOS_MEMBERS(qosChipPortInfo_t, 12, F(0, ifindex), F(4, num_buffers), F(8, bufPoolId), F(10, polGroupId));

// Codes 1, 66. A chip and what it can do.
struct qosChipUpMsg_t {
    sbe32 chip_id; // not read: the number follows from chip_ifindex
    be32 chip_ifindex;
    sbe32 slot_id;
    sbe32 local_chip_id;
    sbe32 num_ports;
    be32 chip_type;
    be32 chip_rev;
    be32 num_ingr_policer_ids;
    be32 ingr_infin_policer_id;
    be32 min_ingr_policer_id;
    be32 num_egr_policer_ids;
    be32 egr_infin_policer_id;
    be32 min_egr_policer_id;
    be32 num_policer_profiles;
    sbe32 pt_based_pol;   // truth
    sbe32 vlan_based_pol; // truth
    be16 num_policer_groups;
    be32 numChipBuffPools;
    be32 chipBuffers; // bytes
    be32 portBuffers; // bytes
    uint8_t maxRedProfilesPerChip;
    qosChipPortInfo_t portInfo[160];
    be32 egr_td_red_prof;
    sbe32 status;
};
QOS_MEMBERS(qosChipUpMsg_t, 2007, F(0, chip_id), F(4, chip_ifindex), F(8, slot_id), F(12, local_chip_id),
            F(16, num_ports), F(20, chip_type), F(24, chip_rev), F(28, num_ingr_policer_ids),
            F(32, ingr_infin_policer_id), F(36, min_ingr_policer_id), F(40, num_egr_policer_ids),
            F(44, egr_infin_policer_id), F(48, min_egr_policer_id), F(52, num_policer_profiles), F(56, pt_based_pol),
            F(60, vlan_based_pol), F(64, num_policer_groups), F(66, numChipBuffPools), F(70, chipBuffers),
            LOCAL(74, portBuffers), LOCAL(78, maxRedProfilesPerChip), F(79, portInfo), F(1999, egr_td_red_prof),
            F(2003, status));

// Code 2. An interface to add.
struct qosIfAddMsg_t {
    be32 ifIndex;
    char ifName[20];
    sbe32 chip_id;
    sbe32 status;
};
QOS_MEMBERS(qosIfAddMsg_t, 32, F(0, ifIndex), F(4, ifName), F(24, chip_id), F(28, status));

// Code 3. An interface to delete.
struct qosIfDelMsg_t {
    be32 ifIndex;
    char ifName[20];
    sbe32 status; // left as it came when the interface is unknown
};
QOS_MEMBERS(qosIfDelMsg_t, 28, F(0, ifIndex), F(4, ifName), F(24, status));

#endif
