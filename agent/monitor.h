// SPDX-License-Identifier: Apache-2.0
// What the two monitors have in common: a one-shot timer that rearms itself, and how their records are registered with
// the store.
#ifndef AGENT_MONITOR_H
#define AGENT_MONITOR_H

#include <cstdint>

#include "core/state.h"
#include "core/trace.h"
#include "lib/thread.h"
#include "velmar/fields.h"

// Starts the timer for `start` 1, else stops it. `timer` is null unless one waits: a routine clears it before it does
// anything else, since its own record is no longer there to be cancelled. One that waits is replaced, never doubled.
inline void qaMonitorTimer(thread *&timer, uint32_t start, thread_func_t routine, int seconds)
{
    if (timer)
        thread_cancel(timer);
    timer = start == 1 ? thread_add_timer(qos_velmar_state.lib, routine, nullptr, seconds) : nullptr;
}

// Describes a record to the store. A failure is traced under the hook's name and stops nothing.
template <typename Record>
void qaRegisterRecord(qosWhere_t where)
{
    const int rc = qosAddStruct<Record>(qos_velmar_state.ha);
    if (rc != 0)
        QOS_ERR_AT(where, "Failed to register %s, rc: %d", qosMembersOf<Record>::name, rc);
}

#endif
