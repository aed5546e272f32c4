// The bodies of layer 2 and layer 3 priority.
#ifndef AGENT_MESSAGES_PRIORITY_H
#define AGENT_MESSAGES_PRIORITY_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/layout.h"

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
QOS_LAYOUT(qosL2PriMsg_t, sizeof(R) == 54 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
                              offsetof(R, def_cos) == 28 && offsetof(R, def_tc) == 29 && offsetof(R, cos_trust) == 30 &&
                              offsetof(R, cos_map) == 34 && offsetof(R, tc_map) == 42 && offsetof(R, status) == 50);

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
QOS_LAYOUT(qosL3PriMsg_t, sizeof(R) == 228 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
                              offsetof(R, dscp_trust) == 28 && offsetof(R, dscp_map) == 32 &&
                              offsetof(R, cos_map) == 96 && offsetof(R, tc_map) == 160 && offsetof(R, status) == 224);

#endif
