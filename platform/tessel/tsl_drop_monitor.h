// SPDX-License-Identifier: Apache-2.0
// The drop monitor's read on Tessel: entry 75 of the back-end table.
#ifndef PLATFORM_TESSEL_TSL_DROP_MONITOR_H
#define PLATFORM_TESSEL_TSL_DROP_MONITOR_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/drop_monitor.h"

// Reads the drops of the body's ports, all of the chip of the first one, eight a request. A port that has dropped gets
// its counter and the mark; the others are left as they came. The body has room for one record whatever its count is.
// 0, 22 for an answer that does not fit, 25 for an unknown first port, or the transport's status: a request that fails
// ends the read.
qosDriverStatus_t tslGetTdDropMonitorStats(qosTdMonitorStatsMsg_t *body);

#endif
