// SPDX-License-Identifier: Apache-2.0
// Test points: named places and actions that the platform can trigger.
#ifndef VELMAR_TP_H
#define VELMAR_TP_H

#include <cstdint>

struct tp_point_t {
    const char *name;
    const char *selector;
    const char *description;
};

// What comes with a trigger: its number, 0 if it has none, and the slot that this process serves.
struct tp_arg_t {
    uint32_t number;
    uint32_t slot;
};

// An action's operation. `a` is the trigger's number too, all ones if it has none.
struct tp_action_t {
    const char *name;
    int (*operation)(uintptr_t a, uintptr_t b, uintptr_t c, tp_arg_t arg);
};

struct tp_register_t {
    uintptr_t vss_handle;
    const tp_point_t *points;   // ended by a row of nulls
    const tp_action_t *actions; // ended by a row of nulls
    uintptr_t reserved;
};

int tp_register(const tp_register_t *record); // 0 on success
int tp_enabled(const char *name);             // 1 if an action waits at the point

#endif
