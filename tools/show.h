// The agent's own tables: what its printing functions print, as it is or taken apart as JSON. Relies on the control
// socket's `cli` command.
#ifndef TOOLS_SHOW_H
#define TOOLS_SHOW_H

#include <ostream>
#include <string>
#include <vector>

#include "tools/report.h"

struct ctlShow_t {
    std::string pid; // of the agent, empty for the one that is active
    bool json = false;
    double timeout = 3; // seconds
};

// The tables by name, in the order in which they are listed.
std::vector<std::string> ctlShowNames();

// Prints a table and gives the exit status. CTL_USAGE if it is not plain which agent is meant.
int ctlShowTable(const std::string &name, const ctlShow_t &asked, std::ostream &out);

// The rows of a table out of the lines that its printing function prints: objects that always have the same keys.
// Throws CTL_FAILED at a line that does not belong there.
ctlJson ctlShowRows(const std::string &name, const std::vector<std::string> &printed);

#endif
