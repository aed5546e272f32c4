// What the two monitors have in common: a one-shot timer that rearms itself, and how their records are registered with
// the store.
#ifndef AGENT_MONITOR_H
#define AGENT_MONITOR_H

#include <cstddef>
#include <cstdint>

#include "core/state.h"
#include "core/trace.h"
#include "lib/thread.h"
#include "velmar/ha.h"

// Starts the timer for `start` 1, else stops it. `timer` is null unless one waits: a routine clears it before it does
// anything else, since its own record is no longer there to be cancelled. One that waits is replaced, never doubled.
inline void qaMonitorTimer(thread *&timer, uint32_t start, thread_func_t routine, int seconds)
{
    if (timer)
        thread_cancel(timer);
    timer = start == 1 ? thread_add_timer(qos_velmar_state.lib, routine, nullptr, seconds) : nullptr;
}

// Describes a record to the store. A failure is traced under the hook's name and stops nothing.
template <size_t N>
void qaRegisterRecord(qosWhere_t where, const char *name, size_t size, const ha_field_t (&fields)[N])
{
    const int rc = ha_add_struct(qos_velmar_state.ha, name, size, N, fields);
    if (rc != 0)
        QOS_ERR_AT(where, "Failed to register %s, rc: %d", name, rc);
}

#endif
