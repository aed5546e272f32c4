// SPDX-License-Identifier: Apache-2.0
// The watched ports.
#ifndef INVENTORY_DROP_MONITOR_RECORDS_H
#define INVENTORY_DROP_MONITOR_RECORDS_H

#include <cstddef>
#include <cstdint>

#include "agent/messages/drop_monitor.h"

struct thread;

struct qaDropMonitorContext_t {
    uint16_t monitor_cnt;       // ports that are watched
    uint8_t monitor_inteval;    // seconds
    thread *timer;              // this process's own: not described to the store
    void (*monitor_callback)(); // run at each period
};
QOS_RECORD(qaDropMonitorContext_t, 12, F(monitor_cnt), F(monitor_inteval), LOCAL(timer), F(monitor_callback));

// One watched port, in the chip's drop_monitor_list in order of ifindex. The counters are those last seen.
struct qaDropMonitorInfo_t {
    uint32_t ifindex;
    uint32_t monitor_state; // 1 while the port is watched
    qosRedMonitorStatsIfMsg_t redStats;
    alignas(8) qosTdMonitorStatsIfMsg_t tdStats;
};
QOS_MEMBERS(qaDropMonitorInfo_t, 72, F(0, ifindex), F(4, monitor_state), F(8, redStats), F(48, tdStats));

#endif
