// SPDX-License-Identifier: Apache-2.0
// The bodies of congestion control: thresholds, pause, PFC, RED, queue depths and long-distance links.
#ifndef AGENT_MESSAGES_CONGESTION_H
#define AGENT_MESSAGES_CONGESTION_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "velmar/members.h"

// Codes 12 to 18, 23, 24, 34, 36, 78. The body of all congestion messages; each handler reads the fields of its
// operation alone.
struct qosCcbMsg_t {
    be32 ifindex; // or QOS_ALL_CHIPS_IFINDEX
    char ifName[20];
    be32 chip_ifindex; // or QOS_ALL_CHIPS_IFINDEX
    uint8_t tc_map[8]; // traffic class by CoS
    sbe32 pause_rx;
    sbe32 pause_tx;
    sbe32 pfc_rx[8];
    sbe32 pfc_tx[8];
    uint8_t pri_tail_drop_threshold[8]; // weight by CoS
    sbe32 priTailDropSet;               // truth: use the weights
    sbe32 cos;
    be16 profileId;
    be32 minThreshold;
    be32 maxThreshold;
    be32 dropProbability; // percent
    sbe32 set;            // truth: apply the profile, else remove it
    be32 rateLimit;
    be32 burstLimit;
    be32 mcTailDrop[8]; // by queue
    uint8_t mcastQueueMode;
    sbe32 status;
};
QOS_MEMBERS(qosCcbMsg_t, 187, F(0, ifindex), F(4, ifName), F(24, chip_ifindex), F(28, tc_map), F(36, pause_rx),
            F(40, pause_tx), F(44, pfc_rx), F(76, pfc_tx), F(108, pri_tail_drop_threshold), F(116, priTailDropSet),
            F(120, cos), F(124, profileId), F(126, minThreshold), F(130, maxThreshold), F(134, dropProbability),
            F(138, set), F(142, rateLimit), F(146, burstLimit), F(150, mcTailDrop), F(182, mcastQueueMode),
            F(183, status));

// Codes 71, 72. Depth of all ingress or all egress queues.
struct qosQueueDepthMsg_t {
    be32 chip_ifindex; // filled by the agent, chip by chip
    be32 queueDepth;   // bytes
    sbe32 status;
};
QOS_MEMBERS(qosQueueDepthMsg_t, 12, F(0, chip_ifindex), F(4, queueDepth), F(8, status));

// Code 42. The budget of a port and its thresholds by traffic class, in bytes.
struct qosPortPriBuffersMsg_t {
    be32 ifindex;
    sbe32 status;
    be32 tailDropThreshold;
    be32 thresholds[8];
};
QOS_MEMBERS(qosPortPriBuffersMsg_t, 44, F(0, ifindex), F(4, status), F(8, tailDropThreshold), F(12, thresholds));

// Code 46. RED of a port's ingress virtual queues; also the record of qosCcbIvqRedCfg_t.
struct qosCcbIvqRedIfInfo_t {
    sbe32 status;
    be32 ifIndex;
    uint8_t pfc_map; // one bit a priority
};
QOS_MEMBERS(qosCcbIvqRedIfInfo_t, 9, F(0, status), F(4, ifIndex), F(8, pfc_map));

// Code 47. The same for the ports of a chip. Fixed head; numEntries records follow.
struct qosCcbIvqRedCfg_t {
    sbe32 status;
    sbe32 numEntries;
    be32 chip_ifindex;
    qosCcbIvqRedIfInfo_t data[0];
};
QOS_MEMBERS(qosCcbIvqRedCfg_t, 12, F(0, status), F(4, numEntries), F(8, chip_ifindex), F(12, data));

// Codes 37 to 39. Long-distance links.
struct qosLdConfigMsg_t {
    be32 cmd; // 1 LD config, 2 LD unconfig, 3 regular ISL config, 4 regular ISL unconfig
    be32 ifindex;
    be32 distance;   // metres
    uint8_t num_pfc; // lossless priorities
    sbe32 status;    // comes back as it was sent
};
QOS_MEMBERS(qosLdConfigMsg_t, 17, F(0, cmd), F(4, ifindex), F(8, distance), F(12, num_pfc), F(13, status));

#endif
