// SPDX-License-Identifier: Apache-2.0
// BUM monitor: reads the violation counters of the monitored broadcast, unknown-unicast and multicast policers every
// five seconds and tells the manager when one begins or ceases to drop. The timer runs while any policer is monitored.
#ifndef AGENT_BUM_MONITOR_H
#define AGENT_BUM_MONITOR_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/policer.h"
#include "inventory/records.h"

extern qaBumContext_t bumContext;

// Steps of the policer module's hooks.
void qaBumInit();
void qaBumHaRegister();
void qaBumVssActiveReStartPollTimer(); // at stage Active: timers are not replicated

// Monitoring of one policer. An add with `poll` 0 does nothing; each other one counts, again for a policer that is
// monitored already. The record's own mark stays as it is when it is removed.
void qaPolAddBumPolicer(qaPolPolicerInfo_t *record, int32_t poll);
void qaPolRemBumPolicer(const qaPolPolicerInfo_t *record);

// The count of monitored policers, 16 bits wide; the timer starts as it leaves 0 and stops as it comes back to it.
void qaBumIncrementMonitorPolicerCnt();
void qaBumDecrementMonitorPolicerCnt();
void qaBumSchedulePeriodicRoutine(uint32_t start); // 1 starts, else stops
int qaBumPeriodicRoutine(thread *event);

void qaBumMonitor(); // one period over all chips
void qaBumMonitorBumPolicersOnChip(qosChip_t *chip);

// Sends code 43: 0, 24 for an unknown interface, or the channel's failure. The policer's state stays in any case.
qosMsgStatus_t qaPolSendBumStateChange(const qaPolPolicerInfo_t *record);

qosMsgStatus_t qaProcessBumResetState(qosBumResetStateMsg_t *body); // code 68

#endif
