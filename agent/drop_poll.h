// SPDX-License-Identifier: Apache-2.0
// One period of the drop monitor on a chip: read the watched ports, tell real drops from counters that merely stand
// above zero, notify the manager. Called by agent/drop_monitor.cpp.
#ifndef AGENT_DROP_POLL_H
#define AGENT_DROP_POLL_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/drop_monitor.h"
#include "inventory/records.h"

void qaDropMonitorOnChip(const qosChip_t *chip);
// `n` ports of the chip are watched.
void qaTdMonitorOnChip(const qosChip_t *chip, uint32_t n);
void qaRedMonitorOnChip(const qosChip_t *chip, uint32_t n);

// Read, identify, notify for the body's `n` records: 0, or the failure of the read. A failed notice is traced only.
qosMsgStatus_t qaTailDropGetStatsAndNotifyMgr(qosTdMonitorStatsMsg_t *body, uint32_t n);
qosMsgStatus_t qaRedDropGetStatsAndNotifyMgr(qosRedMonitorStatsMsg_t *body, uint32_t n);
// Compare with the saved counters, which become those of the records. An interface that has gone ends the walk, and the
// records from it on keep the marks of the back end.
void qaIdentifyRealTdIfDrops(qosTdMonitorStatsMsg_t *body, uint32_t n);
void qaIdentifyRealRedIfDrops(qosRedMonitorStatsMsg_t *body, uint32_t n);
// Send code 74 for the `count` records that are marked, in as many messages as they take.
void qaTailDropNotifyToMgr(const qosTdMonitorStatsMsg_t *body, uint32_t n, uint32_t count);
void qaRedDropNotifyToMgr(const qosRedMonitorStatsMsg_t *body, uint32_t n, uint32_t count);

// Columns 75 and 76 of the back-end table, for the chip of the first record, which there must be room for. The status
// in the body and the result: 0, 25 for an unknown interface or a chip type without tail-drop reads, or the back end's.
// A type without RED reads leaves 25 in the body and gives 0: its counters stay zero.
qosMsgStatus_t qaProcessGetTdMonitorStats(qosTdMonitorStatsMsg_t *body);
qosMsgStatus_t qaProcessGetRedMonitorStats(qosRedMonitorStatsMsg_t *body);

#endif
