// SPDX-License-Identifier: Apache-2.0
// The drop monitor's reads on both Mirelle types: entries 75 and 76 of the back-end table.
#ifndef PLATFORM_MIRELLE_MRL_DROP_MONITOR_H
#define PLATFORM_MIRELLE_MRL_DROP_MONITOR_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/drop_monitor.h"

// Each reads the drops of the body's ports, all of the chip of the first one, eight a request. A port that has dropped
// gets its counters and the mark; the others are left as they came. The body has room for one record whatever its count
// is. 0 or the transport's status: a request that fails ends the read. An unknown first port gives 24 and a line for
// tail drops, 25 and none for RED.
qosDriverStatus_t mrlGetTdMonitorStats(qosTdMonitorStatsMsg_t *body);
qosDriverStatus_t mrlGetRedMonitorStats(qosRedMonitorStatsMsg_t *body);

#endif
