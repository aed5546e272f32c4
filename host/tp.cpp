// SPDX-License-Identifier: Apache-2.0
// Test points. On this host an action is run from the control socket; nothing arms one at a point.
#include "velmar/tp.h"

#include <cstring>
#include <vector>

#include "host/tp.h"
#include "velmar/process.h"

namespace {

std::vector<tp_register_t> records; // the tables that they name stay the process's own

} // namespace

bool tpRun(const char *name, bool given, uint32_t number, int *result)
{
    for (const tp_register_t &record : records) {
        for (const tp_action_t *action = record.actions; action->name; ++action) {
            if (strcmp(action->name, name) != 0)
                continue;
            *result = action->operation(given ? number : UINTPTR_MAX, 0, 0, {given ? number : 0, __expm.slot});
            return true;
        }
    }
    return false;
}

int tp_register(const tp_register_t *record)
{
    if (!record || !record->actions)
        return -1;
    records.push_back(*record);
    return 0;
}

int tp_enabled(const char *)
{
    return 0;
}
