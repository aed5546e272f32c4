// SPDX-License-Identifier: Apache-2.0
// The log of batches that an agent keeps: which messages failed, and what the driver said to it.
#ifndef TOOLS_LOG_H
#define TOOLS_LOG_H

#include <ostream>
#include <string>

#include "tools/report.h"

struct ctlLog_t {
    std::string pid; // of the agent, empty for the one that is active
    unsigned batches = 20;
    bool failed = false; // those alone in which something failed
    bool json = false;
    double timeout = 3; // seconds
};

// A driver's command by name, in hexadecimal where it has none.
std::string ctlCommandName(uint32_t command);

// The agent's answer with names in place of numbers; `interfaces` and `chips` are the agent's tables, which tell the
// reasons of status 1 and 25 apart, or null. Throws CTL_FAILED if the answer is none.
ctlJson ctlLogRows(const std::string &answer, const ctlJson &interfaces, const ctlJson &chips);

int ctlShowLog(const ctlLog_t &asked, std::ostream &out);

#endif
