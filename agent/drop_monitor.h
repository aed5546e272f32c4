// SPDX-License-Identifier: Apache-2.0
// Drop monitor: once a minute it reads what the watched ports have dropped and tells the manager which of them dropped
// since the last look. The timer runs while any port is watched. Module "QOS DROP MONITOR".
//
// The reads and notices of one period stand in agent/drop_poll.h.
#ifndef AGENT_DROP_MONITOR_H
#define AGENT_DROP_MONITOR_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/drop_monitor.h"
#include "agent/messages/statistics.h"
#include "inventory/records.h"

extern qaDropMonitorContext_t dropMonitorContext;

void qaRegisterDropMonitorModule();
int qaDropMonitorInit();
[[nodiscard]] int qaDropMonitorChipUp(qosChip_t *chip); // 0, 1 without a chip, 2 if the list could not be made
void qaDropMonitorChipDown(qosChip_t *chip);            // the count stays as it is
void qaDropMonitorHaRegister();
int qaDropMonitorVssActive(uint32_t stage, uint32_t arg); // hook of stage Active
void qaDropMonitorVssActiveReStartPollTimer();

int qaDropMonitorCmpData(const void *a, const void *b); // by ifindex
void qaDropMonitorFreeData(void *record);

// Watch over one port; each start counts, and a stop of a port that is not watched does not.
void qaDropMonitorStart(qaDropMonitorInfo_t *info, uint32_t start);
void qaDropMonitorStop(const qaDropMonitorInfo_t *info);
// The count of watched ports, 16 bits wide; the timer starts as it leaves 0 and stops as it comes back to it.
void qaDropMonitorIncrementCnt();
void qaDropMonitorDecrementCnt();
void qaDropMonitorSchedulePeriodicRoutine(uint32_t start); // 1 starts, else stops
int qaDropMonitorPeriodicRoutine(thread *event);
void qaDropMonitor(); // one period over all chips

// Code 73. An unknown command is left as it came, and so is the status where a port to delete is not watched.
qosMsgStatus_t qaProcessCfgDropMonitorMsg(qaDropMonitorCfgMsg_t *body);
qosMsgStatus_t qaProcessDropMonitorAdd(qaDropMonitorCfgMsg_t *body);
qosMsgStatus_t qaProcessDropMonitorDel(qaDropMonitorCfgMsg_t *body);

// Called where the chips' counters are cleared: the saved ones go with them, so the next look sees no drop.
void qaProcessDropMonitorClearIfMsg(const qosIf_t *interface);
qosMsgStatus_t qaProcessDropMonitorClearAllMsg(qosClearStatsMsg_t *body); // 0; the body plays no part
void qaDropMonitorClearAllOnChip(const qosChip_t *chip);

#endif
