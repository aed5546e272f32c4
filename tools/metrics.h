// SPDX-License-Identifier: Apache-2.0
// A node's figures as a page for a monitoring system: OpenMetrics, or the older text form that it came from.
#ifndef TOOLS_METRICS_H
#define TOOLS_METRICS_H

#include <cstdint>
#include <string>

// Who collects, and what it remembers of the agent's log of batches, so that what failed is counted on.
struct ctlCollector_t {
    unsigned slot = 1;
    double timeout = 5; // seconds for one collection
    std::string pid{};  // whose log it was
    uint64_t batch = 0; // the last that is counted
    bool first = true;  // what the log holds at the first collection is older than the count
    uint64_t failed = 0, refusals = 0;
};

// Asks everything once and gives the page. What has no answer within the time is left out; a page there is always.
std::string ctlMetricsPage(ctlCollector_t &collector, bool open_metrics);

#endif
