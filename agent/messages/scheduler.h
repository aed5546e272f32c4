// SPDX-License-Identifier: Apache-2.0
// The body of scheduler and shaper messages. Its three parts also stand in memory records as they are.
#ifndef AGENT_MESSAGES_SCHEDULER_H
#define AGENT_MESSAGES_SCHEDULER_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "velmar/members.h"

// Scheduling of a port.
struct qosSch_t {
    be32 SchFlags;
    be32 sp_count;       // strict-priority queues
    be32 sp_queue_bw[8]; // Mbit/s
    be32 dwrr_weight[8];
    be32 sch_cfg_status;
};
QOS_MEMBERS(qosSch_t, 76, F(0, SchFlags), F(4, sp_count), F(8, sp_queue_bw), F(40, dwrr_weight), F(72, sch_cfg_status));

// Multicast scheduling of a chip.
struct qosMcSch_t {
    be32 mc_dwrr_weight[8];
    be32 mc_sch_cfg_status;
};
QOS_MEMBERS(qosMcSch_t, 36, F(0, mc_dwrr_weight), F(32, mc_sch_cfg_status));

// The weight that a chip's multicast queue has from its coming up on.
constexpr uint32_t qosDefaultMcWeight(unsigned queue)
{
    return 12 + queue % 2;
}

// Shaper of a port.
struct qosShaper_t {
    be32 SchFlags;
    be32 if_bw; // the port's rate
    be32 port_shp_cfg_status;
};
QOS_MEMBERS(qosShaper_t, 12, F(0, SchFlags), F(4, if_bw), F(8, port_shp_cfg_status));

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
QOS_MEMBERS(qosSchMsg_t, 156, F(0, ifIndex), F(4, ifName), F(24, chip_ifindex), F(28, shaper_cfg), F(40, sch_cfg),
            F(116, Mcsch_cfg), F(152, status));

#endif
