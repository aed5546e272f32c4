// SPDX-License-Identifier: Apache-2.0
// A node as it is now, for a page that many may look at: collected once for all of them, as JSON. What it remembers is
// bounded: the last ten minutes of each port, and the reading before this one.
#ifndef TOOLS_LIVE_H
#define TOOLS_LIVE_H

#include <array>
#include <map>
#include <string>
#include <vector>

#include "tools/drops.h"
#include "tools/report.h"

constexpr unsigned CTL_LIVE_STEP = 5;      // seconds between two samples of the past
constexpr unsigned CTL_LIVE_SAMPLES = 120; // of each row of a port
constexpr size_t CTL_LIVE_PORTS = 2048;    // that have a past: 25 KiB each

// One row of a port at one time; what is not known is no number.
struct ctlSample_t {
    float used, dropped, pause_sent, sent, received; // bytes; frames, frames, bytes, bytes a second
};
constexpr size_t CTL_LIVE_ROWS = 9;                                                     // eight queues and the port
using ctlPast_t = std::array<std::array<ctlSample_t, CTL_LIVE_ROWS>, CTL_LIVE_SAMPLES>; // a ring, by the step's number

struct ctlLive_t {
    unsigned slot = 1;
    double timeout = 3; // seconds for one collection

    // What the last collections left. `agent` is the pid of the agent that the rest is about.
    std::string agent{};
    std::vector<ctlStatsQuery_t> queries{};
    ctlJson interfaces{}, chips{}, config{};
    ctlClock::time_point begun = ctlClock::now(), planned{};
    ctlStatsReading_t before{}, settled{}; // the last reading, and the last that went into the past
    uint64_t step = 0;                     // of the newest sample
    std::map<uint32_t, ctlPast_t> past{};
};

// Collects everything once. There always is an object; what could not be had is named in its "trouble".
ctlJson ctlLiveFrame(ctlLive_t &live);

// One port, by its index: configuration and past. The first of several in one step asks the agent, the others need not.
ctlJson ctlLivePort(ctlLive_t &live, uint32_t ifindex);

// JSON that may stand in HTML as well.
std::string ctlLiveText(const ctlJson &json);

#endif
