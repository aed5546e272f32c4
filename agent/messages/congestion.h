// The bodies of congestion control: thresholds, pause, PFC, RED, queue depths and long-distance links.
#ifndef AGENT_MESSAGES_CONGESTION_H
#define AGENT_MESSAGES_CONGESTION_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/layout.h"

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
QOS_LAYOUT(qosCcbMsg_t,
           sizeof(R) == 187 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
               offsetof(R, tc_map) == 28 && offsetof(R, pause_rx) == 36 && offsetof(R, pause_tx) == 40 &&
               offsetof(R, pfc_rx) == 44 && offsetof(R, pfc_tx) == 76 && offsetof(R, pri_tail_drop_threshold) == 108 &&
               offsetof(R, priTailDropSet) == 116 && offsetof(R, cos) == 120 && offsetof(R, profileId) == 124 &&
               offsetof(R, minThreshold) == 126 && offsetof(R, maxThreshold) == 130 &&
               offsetof(R, dropProbability) == 134 && offsetof(R, set) == 138 && offsetof(R, rateLimit) == 142 &&
               offsetof(R, burstLimit) == 146 && offsetof(R, mcTailDrop) == 150 && offsetof(R, mcastQueueMode) == 182 &&
               offsetof(R, status) == 183);

// Codes 71, 72. Depth of all ingress or all egress queues.
struct qosQueueDepthMsg_t {
    be32 chip_ifindex; // filled by the agent, chip by chip
    be32 queueDepth;   // bytes
    sbe32 status;
};
QOS_LAYOUT(qosQueueDepthMsg_t, sizeof(R) == 12 && offsetof(R, queueDepth) == 4 && offsetof(R, status) == 8);

// Code 42. The budget of a port and its thresholds by traffic class, in bytes.
struct qosPortPriBuffersMsg_t {
    be32 ifindex;
    sbe32 status;
    be32 tailDropThreshold;
    be32 thresholds[8];
};
QOS_LAYOUT(qosPortPriBuffersMsg_t, sizeof(R) == 44 && offsetof(R, status) == 4 && offsetof(R, tailDropThreshold) == 8 &&
                                       offsetof(R, thresholds) == 12);

// Code 46. RED of a port's ingress virtual queues; also the record of qosCcbIvqRedCfg_t.
struct qosCcbIvqRedIfInfo_t {
    sbe32 status;
    be32 ifIndex;
    uint8_t pfc_map; // one bit a priority
};
QOS_LAYOUT(qosCcbIvqRedIfInfo_t, sizeof(R) == 9 && offsetof(R, ifIndex) == 4 && offsetof(R, pfc_map) == 8);

// Code 47. The same for the ports of a chip. Fixed head; numEntries records follow.
struct qosCcbIvqRedCfg_t {
    sbe32 status;
    sbe32 numEntries;
    be32 chip_ifindex;
    qosCcbIvqRedIfInfo_t data[0];
};
QOS_LAYOUT(qosCcbIvqRedCfg_t, sizeof(R) == 12 && offsetof(R, numEntries) == 4 && offsetof(R, chip_ifindex) == 8 &&
                                  offsetof(R, data) == 12);

// Codes 37 to 39. Long-distance links.
struct qosLdConfigMsg_t {
    be32 cmd; // 1 LD config, 2 LD unconfig, 3 regular ISL config, 4 regular ISL unconfig
    be32 ifindex;
    be32 distance;   // metres
    uint8_t num_pfc; // lossless priorities
    sbe32 status;    // comes back as it was sent
};
QOS_LAYOUT(qosLdConfigMsg_t, sizeof(R) == 17 && offsetof(R, ifindex) == 4 && offsetof(R, distance) == 8 &&
                                 offsetof(R, num_pfc) == 12 && offsetof(R, status) == 13);

#endif
