// SPDX-License-Identifier: Apache-2.0
// Queues of a port and token buckets as levels: how fast each moves, when it bends next, and what it has counted by
// then. Relies on rates that stay as they are for a stride.
#ifndef HSL_QUEUES_H
#define HSL_QUEUES_H

#include <limits>

#include "hsl/model.h"

constexpr double HSL_NEVER = std::numeric_limits<double>::infinity();
constexpr double HSL_GRAIN = 1e-3; // bytes: nearer to a bound than that is at it

inline bool hslAtBound(const hslLevel_t &level)
{
    return level.now >= level.bound - HSL_GRAIN;
}

// Seconds until the level meets its bound, its knee or 0.
double hslUntilBend(const hslLevel_t &level);
void hslMove(hslLevel_t &level, double seconds);

// Whether anything waits at the port or comes to it.
bool hslPortActive(const hslTraffic_t &traffic);

// Sets the bounds of a port's queues by what it and its chip were told.
void hslBoundPort(const hslChip_t &chip, hslPort_t &port);

// Sets how the queues of a port move while `in` of each stays: bounds, RED, pause, scheduler, shaper and line speed.
void hslSettlePort(const hslChip_t &chip, hslPort_t &port);

// Counts and moves them; the forwarded rate is what the egress policer lets through.
void hslPassPort(hslPort_t &port, double seconds);

#endif
