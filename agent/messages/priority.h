// SPDX-License-Identifier: Apache-2.0
// The bodies of layer 2 and layer 3 priority.
#ifndef AGENT_MESSAGES_PRIORITY_H
#define AGENT_MESSAGES_PRIORITY_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "velmar/members.h"

// Codes 4 to 7. Layer 2 priority. Every message carries the whole set; the code says what has changed.
struct qosL2PriMsg_t {
    be32 ifIndex;
    char ifName[20];
    be32 chip_ifindex;
    uint8_t def_cos;
    uint8_t def_tc;
    sbe32 cos_trust;    // truth
    uint8_t cos_map[8]; // output CoS by input CoS
    uint8_t tc_map[8];  // traffic class by CoS
    sbe32 status;
};
QOS_MEMBERS(qosL2PriMsg_t, 54, F(0, ifIndex), F(4, ifName), F(24, chip_ifindex), F(28, def_cos), F(29, def_tc),
            F(30, cos_trust), F(34, cos_map), F(42, tc_map), F(50, status));

// Codes 8 to 11. Layer 3 priority, likewise.
struct qosL3PriMsg_t {
    be32 ifIndex;
    char ifName[20];
    be32 chip_ifindex;
    sbe32 dscp_trust;     // truth
    uint8_t dscp_map[64]; // output DSCP by input DSCP
    uint8_t cos_map[64];  // CoS by DSCP
    uint8_t tc_map[64];   // traffic class by DSCP
    sbe32 status;
};
QOS_MEMBERS(qosL3PriMsg_t, 228, F(0, ifIndex), F(4, ifName), F(24, chip_ifindex), F(28, dscp_trust), F(32, dscp_map),
            F(96, cos_map), F(160, tc_map), F(224, status));

#endif
