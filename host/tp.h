// SPDX-License-Identifier: Apache-2.0
// Inside the host library: running a registered test point action.
#ifndef HOST_TP_H
#define HOST_TP_H

#include <cstdint>

// Runs the action `name`; false if no registered action has that name. `given` tells whether a number came with it.
bool tpRun(const char *name, bool given, uint32_t number, int *result);

#endif
