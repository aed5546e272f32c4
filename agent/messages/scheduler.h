// The body of scheduler and shaper messages. Its three parts also stand in memory records as they are.
#ifndef AGENT_MESSAGES_SCHEDULER_H
#define AGENT_MESSAGES_SCHEDULER_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/layout.h"

// Scheduling of a port.
struct qosSch_t {
    be32 SchFlags;
    be32 sp_count;       // strict-priority queues
    be32 sp_queue_bw[8]; // Mbit/s
    be32 dwrr_weight[8];
    be32 sch_cfg_status;
};
QOS_LAYOUT(qosSch_t, sizeof(R) == 76 && offsetof(R, sp_count) == 4 && offsetof(R, sp_queue_bw) == 8 &&
                         offsetof(R, dwrr_weight) == 40 && offsetof(R, sch_cfg_status) == 72);

// Multicast scheduling of a chip.
struct qosMcSch_t {
    be32 mc_dwrr_weight[8];
    be32 mc_sch_cfg_status;
};
QOS_LAYOUT(qosMcSch_t, sizeof(R) == 36 && offsetof(R, mc_sch_cfg_status) == 32);

// Shaper of a port.
struct qosShaper_t {
    be32 SchFlags;
    be32 if_bw; // the port's rate
    be32 port_shp_cfg_status;
};
QOS_LAYOUT(qosShaper_t, sizeof(R) == 12 && offsetof(R, if_bw) == 4 && offsetof(R, port_shp_cfg_status) == 8);

// Codes 19 to 22. The body of all scheduler messages.
struct qosSchMsg_t {
    be32 ifIndex;
    char ifName[20];
    be32 chip_ifindex;
    qosShaper_t shaper_cfg;
    qosSch_t sch_cfg;
    qosMcSch_t Mcsch_cfg;
    sbe32 status;
};
QOS_LAYOUT(qosSchMsg_t, sizeof(R) == 156 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
                            offsetof(R, shaper_cfg) == 28 && offsetof(R, sch_cfg) == 40 &&
                            offsetof(R, Mcsch_cfg) == 116 && offsetof(R, status) == 152);

#endif
