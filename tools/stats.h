// SPDX-License-Identifier: Apache-2.0
// Statistics: asks for them over the statistics service and makes tables of the replies. A counter is taken as it
// comes, be it a number or decimal text; two reads make rates.
#ifndef TOOLS_STATS_H
#define TOOLS_STATS_H

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tools/commands.h"
#include "tools/link.h"
#include "tools/report.h"
#include "tools/stats_views.h"

struct ctlStatsCell_t {
    std::optional<uint64_t> value; // nothing where the reply has none
    bool isSigned = false;
    bool counter = false;
    std::optional<double> rate; // per second, once two reads are joined; counters only
};

struct ctlStatsRow_t {
    std::string label;
    std::vector<ctlStatsCell_t> cells; // as many as the view has columns
};

// One view of one interface.
struct ctlStatsTable_t {
    const ctlStatsView_t *view;
    uint32_t ifindex;
    int32_t status;          // what the agent left in the body
    std::string fault;       // why there are no rows, empty if there are
    ctlClock::time_point at; // when the reply came
    double seconds = 0;      // between the two reads of a rate
    std::vector<ctlStatsRow_t> rows;
};

struct ctlStatsQuery_t {
    const ctlStatsView_t *view;
    uint32_t ifindex;
    ctlMessage_t message;
};

struct ctlStatsOptions_t {
    std::vector<std::string> words; // the kind, then side, source, ports and chips in any order
    std::string ids{};              // of policers, a list
    std::string selector{};         // the four bytes that TMC and VOQ requests forward
    double rate = 0;                // seconds between two reads, 0 for one read
    bool nonzero = false;
};

// The ports on a chip that the first agent which has any lists; `seconds` is for each agent.
std::vector<uint32_t> ctlKnownPorts(double seconds);

// The same out of the agent's table of interfaces.
std::vector<uint32_t> ctlListedPorts(const ctlJson &rows);

// The requests that the words ask for, in the order of the words. A target is te1/3, 1/3 (as te1/3), a list or range of
// either, chip1/0, all, or an index in hexadecimal. A chip stands for its ports; all, and no target, for every port
// that the agent of this node lists. Refuses what does not exist.
std::vector<ctlStatsQuery_t> ctlPlanStats(const ctlStatsOptions_t &asked);

// The same for clearing, where all is one request that the agent carries out on everything it counts.
std::vector<ctlStatsQuery_t> ctlPlanClear(const std::vector<std::string> &words);

// What the reply to a query says.
ctlStatsTable_t ctlStatsTableOf(const ctlStatsQuery_t &query, const ctlMessage_t &reply);

// Asks all queries, as many in a batch as fit; `fault` says why some have no answer. The tables of one view and one
// interface come as one.
struct ctlStatsReading_t {
    std::vector<ctlStatsTable_t> tables;
    std::string fault;
};
ctlStatsReading_t ctlReadStats(const ctlLink_t &link, const ctlOptions_t &options,
                               const std::vector<ctlStatsQuery_t> &queries);

// Puts the port's budget into the requests that need it, as the agent gives it. What has no answer stays 0.
void ctlFillBudgets(const ctlLink_t &link, const ctlOptions_t &options, std::vector<ctlStatsQuery_t> &queries);

// Puts rates into the counters of `now`. A row that `before` lacks began at 0, and so did a counter that went down.
void ctlRateStats(const ctlStatsReading_t &before, ctlStatsReading_t &now);

// Columns side by side, the first to the left, the others to the right. What they hold is made fit to print.
void ctlPrintColumns(std::ostream &out, std::vector<std::vector<std::string>> lines);

// The tables of a reading, and the exit status.
int ctlPrintStats(const ctlStatsReading_t &reading, const ctlOptions_t &options, const ctlStatsOptions_t &asked,
                  std::ostream &out, std::ostream &err);

// The commands: print to `out`, complain to `err`, give the exit status.
int ctlShowStats(const ctlOptions_t &options, const ctlStatsOptions_t &asked, std::ostream &out, std::ostream &err);
int ctlClearStats(const ctlOptions_t &options, const std::vector<std::string> &words, std::ostream &out,
                  std::ostream &err);

#endif
