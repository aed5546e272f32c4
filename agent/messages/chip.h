// Registration, and the bodies that tell of chips and interfaces.
#ifndef AGENT_MESSAGES_CHIP_H
#define AGENT_MESSAGES_CHIP_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/layout.h"

// Code 0. Registration: this slot's agent is up.
struct dORVALRegMsg_t {
    sbe32 slot_id;
};
QOS_LAYOUT(dORVALRegMsg_t, sizeof(R) == 4);

// One port of a chip.
struct qosChipPortInfo_t {
    be32 ifindex;
    be32 num_buffers; // bytes of chip buffer
    be16 bufPoolId;
    be16 polGroupId;
};
QOS_LAYOUT(qosChipPortInfo_t, sizeof(R) == 12 && offsetof(R, num_buffers) == 4 && offsetof(R, bufPoolId) == 8 &&
                                  offsetof(R, polGroupId) == 10);

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
QOS_LAYOUT(qosChipUpMsg_t, sizeof(R) == 2007 && offsetof(R, chip_ifindex) == 4 && offsetof(R, slot_id) == 8 &&
                               offsetof(R, local_chip_id) == 12 && offsetof(R, num_ports) == 16 &&
                               offsetof(R, chip_type) == 20 && offsetof(R, chip_rev) == 24 &&
                               offsetof(R, num_ingr_policer_ids) == 28 && offsetof(R, ingr_infin_policer_id) == 32 &&
                               offsetof(R, min_ingr_policer_id) == 36 && offsetof(R, num_egr_policer_ids) == 40 &&
                               offsetof(R, egr_infin_policer_id) == 44 && offsetof(R, min_egr_policer_id) == 48 &&
                               offsetof(R, num_policer_profiles) == 52 && offsetof(R, pt_based_pol) == 56 &&
                               offsetof(R, vlan_based_pol) == 60 && offsetof(R, num_policer_groups) == 64 &&
                               offsetof(R, numChipBuffPools) == 66 && offsetof(R, chipBuffers) == 70 &&
                               offsetof(R, portBuffers) == 74 && offsetof(R, maxRedProfilesPerChip) == 78 &&
                               offsetof(R, portInfo) == 79 && offsetof(R, egr_td_red_prof) == 1999 &&
                               offsetof(R, status) == 2003);

// Code 2. An interface to add.
struct qosIfAddMsg_t {
    be32 ifIndex;
    char ifName[20];
    sbe32 chip_id;
    sbe32 status;
};
QOS_LAYOUT(qosIfAddMsg_t,
           sizeof(R) == 32 && offsetof(R, ifName) == 4 && offsetof(R, chip_id) == 24 && offsetof(R, status) == 28);

// Code 3. An interface to delete.
struct qosIfDelMsg_t {
    be32 ifIndex;
    char ifName[20];
    sbe32 status; // left as it came when the interface is unknown
};
QOS_LAYOUT(qosIfDelMsg_t, sizeof(R) == 28 && offsetof(R, ifName) == 4 && offsetof(R, status) == 24);

#endif
