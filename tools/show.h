// SPDX-License-Identifier: Apache-2.0
// The agent's own tables, as text or JSON: both come from its printing functions and are passed on. Relies on the
// control socket's `cli` command.
#ifndef TOOLS_SHOW_H
#define TOOLS_SHOW_H

#include <ostream>
#include <string>
#include <vector>

#include "tools/node.h"
#include "tools/report.h"

struct ctlShow_t {
    std::string pid; // of the agent, empty for the one that is active
    bool json = false;
    double timeout = 3;   // seconds
    bool nonzero = false; // without what is 0
};

// The tables by name, in the order in which they are listed.
std::vector<std::string> ctlShowNames();

// Prints a table and gives the exit status. CTL_USAGE if it is not plain which agent is meant. Of the table interfaces
// those named, if any are; CTL_FAILED if the agent does not know one of them. Without what is 0 the text is a line a
// row.
int ctlShowTable(const std::string &name, const std::vector<std::string> &ports, const ctlShow_t &asked,
                 std::ostream &out);

// The rows of a table, one object each. Throws CTL_FAILED if the answer is anything but an array of objects.
ctlJson ctlAskRows(const ctlProcess_t &agent, const std::string &name, double seconds);

// The same out of the agent's JSON.
ctlJson ctlShowRows(const std::string &text);

#endif
