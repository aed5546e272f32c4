// The bodies of the drop monitor: what to watch, its reads, its notices.
#ifndef AGENT_MESSAGES_DROP_MONITOR_H
#define AGENT_MESSAGES_DROP_MONITOR_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/layout.h"

// Code 73. A port to watch for drops, or to watch no longer.
struct qaDropMonitorCfgMsg_t {
    be32 ifindex; // or QOS_ALL_CHIPS_IFINDEX
    char ifName[20];
    be32 chip_ifindex;
    uint8_t cmd; // 1 add, 2 delete
    sbe32 status;
};
QOS_LAYOUT(qaDropMonitorCfgMsg_t, sizeof(R) == 33 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
                                      offsetof(R, cmd) == 28 && offsetof(R, status) == 29);

// One port that dropped.
struct qosDropMonitorNotifyRec_t {
    be32 ifindex;
    be32 td_drop_seen;  // 1 in a tail-drop notice, else 0
    be32 red_drop_seen; // 1 in a RED notice, else 0
};
QOS_LAYOUT(qosDropMonitorNotifyRec_t,
           sizeof(R) == 12 && offsetof(R, td_drop_seen) == 4 && offsetof(R, red_drop_seen) == 8);

// Code 74. From the agent. Fixed head; count records follow.
struct qosDropMonitorNotifyMsg_t {
    be32 count;
    qosDropMonitorNotifyRec_t records[0];
};
QOS_LAYOUT(qosDropMonitorNotifyMsg_t, sizeof(R) == 4 && offsetof(R, records) == 4);

// Tail drops of a watched port. Native order: it stays inside the agent and is kept in the port's record.
struct qosTdMonitorStatsIfMsg_t {
    ne32 ifindex;
    uint8_t reserved0[4];
    ne64 td_drop;
    ne32 is_td_if_drop; // 1: this poll counts as a drop
    uint8_t reserved1[4];
};
QOS_LAYOUT(qosTdMonitorStatsIfMsg_t, sizeof(R) == 24 && offsetof(R, td_drop) == 8 && offsetof(R, is_td_if_drop) == 16);

// Code 75. Request of the tail-drop monitor to a back end. Fixed head; num_records records follow.
struct qosTdMonitorStatsMsg_t {
    uint8_t reserved0[4];
    sbe32 status;
    be32 num_records;
    qosTdMonitorStatsIfMsg_t records[0];
};
QOS_LAYOUT(qosTdMonitorStatsMsg_t,
           sizeof(R) == 12 && offsetof(R, status) == 4 && offsetof(R, num_records) == 8 && offsetof(R, records) == 12);

// RED drops of a watched port, likewise.
struct qosRedMonitorStatsIfMsg_t {
    ne32 ifindex;
    ne32 tmc_type;
    ne64 green_drop;
    ne64 red_drop;
    ne64 yellow_drop;
    ne32 is_red_if_drop; // 1: this poll counts as a drop
};
QOS_LAYOUT(qosRedMonitorStatsIfMsg_t, sizeof(R) == 36 && offsetof(R, tmc_type) == 4 && offsetof(R, green_drop) == 8 &&
                                          offsetof(R, red_drop) == 16 && offsetof(R, yellow_drop) == 24 &&
                                          offsetof(R, is_red_if_drop) == 32);

// Code 76. The same request for RED drops.
struct qosRedMonitorStatsMsg_t {
    uint8_t reserved0[4];
    sbe32 status;
    be32 num_records;
    qosRedMonitorStatsIfMsg_t records[0];
};
QOS_LAYOUT(qosRedMonitorStatsMsg_t,
           sizeof(R) == 12 && offsetof(R, status) == 4 && offsetof(R, num_records) == 8 && offsetof(R, records) == 12);

#endif
