// SPDX-License-Identifier: Apache-2.0
// The bodies of the drop monitor: what to watch, its reads, its notices.
#ifndef AGENT_MESSAGES_DROP_MONITOR_H
#define AGENT_MESSAGES_DROP_MONITOR_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "velmar/members.h"

// Code 73. A port to watch for drops, or to watch no longer.
struct qaDropMonitorCfgMsg_t {
    be32 ifindex; // or QOS_ALL_CHIPS_IFINDEX
    char ifName[20];
    be32 chip_ifindex;
    uint8_t cmd; // 1 add, 2 delete
    sbe32 status;
};
QOS_MEMBERS(qaDropMonitorCfgMsg_t, 33, F(0, ifindex), F(4, ifName), F(24, chip_ifindex), F(28, cmd), F(29, status));

// One port that dropped.
struct qosDropMonitorNotifyRec_t {
    be32 ifindex;
    be32 td_drop_seen;  // 1 in a tail-drop notice, else 0
    be32 red_drop_seen; // 1 in a RED notice, else 0
};
QOS_MEMBERS(qosDropMonitorNotifyRec_t, 12, F(0, ifindex), F(4, td_drop_seen), F(8, red_drop_seen));

// Code 74. From the agent. Fixed head; count records follow.
struct qosDropMonitorNotifyMsg_t {
    be32 count;
    qosDropMonitorNotifyRec_t records[0];
};
QOS_MEMBERS(qosDropMonitorNotifyMsg_t, 4, F(0, count), F(4, records));

// Tail drops of a watched port. Native order: it stays inside the agent and is kept in the port's record.
struct qosTdMonitorStatsIfMsg_t {
    ne32 ifindex;
    uint8_t reserved0[4];
    ne64 td_drop;
    ne32 is_td_if_drop; // 1: this poll counts as a drop
    uint8_t reserved1[4];
};
QOS_MEMBERS(qosTdMonitorStatsIfMsg_t, 24, F(0, ifindex), PAD(4, reserved0), F(8, td_drop), F(16, is_td_if_drop),
            PAD(20, reserved1));

// Code 75. Request of the tail-drop monitor to a back end. Fixed head; num_records records follow.
struct qosTdMonitorStatsMsg_t {
    uint8_t reserved0[4];
    sbe32 status;
    be32 num_records;
    qosTdMonitorStatsIfMsg_t records[0];
};
QOS_MEMBERS(qosTdMonitorStatsMsg_t, 12, PAD(0, reserved0), F(4, status), F(8, num_records), F(12, records));

// RED drops of a watched port, likewise.
struct qosRedMonitorStatsIfMsg_t {
    ne32 ifindex;
    ne32 tmc_type;
    ne64 green_drop;
    ne64 red_drop;
    ne64 yellow_drop;
    ne32 is_red_if_drop; // 1: this poll counts as a drop
};
QOS_MEMBERS(qosRedMonitorStatsIfMsg_t, 36, F(0, ifindex), F(4, tmc_type), F(8, green_drop), F(16, red_drop),
            F(24, yellow_drop), F(32, is_red_if_drop));

// Code 76. The same request for RED drops.
struct qosRedMonitorStatsMsg_t {
    uint8_t reserved0[4];
    sbe32 status;
    be32 num_records;
    qosRedMonitorStatsIfMsg_t records[0];
};
QOS_MEMBERS(qosRedMonitorStatsMsg_t, 12, PAD(0, reserved0), F(4, status), F(8, num_records), F(12, records));

#endif
