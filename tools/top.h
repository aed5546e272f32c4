// SPDX-License-Identifier: Apache-2.0
// The queues that drop most, drawn anew at every interval.
#ifndef TOOLS_TOP_H
#define TOOLS_TOP_H

#include <ostream>
#include <string>
#include <vector>

#include "tools/commands.h"

// Where the tables go. A terminal is redrawn until q is pressed; anything else gets one table after the other.
struct ctlScreen_t {
    bool terminal;
    int keys;             // the descriptor that keys come from, -1 for none
    unsigned lines;       // that a table may have
    unsigned columns = 0; // that a line may have, 0 for any number
    int display = -1;     // the descriptor to ask for both before each table, -1 if they stay
};

struct ctlTop_t {
    std::vector<std::string> words; // ports and chips, none for all
    double interval = 1;            // seconds
    unsigned count = 0;             // tables, 0 until q; off a terminal 0 is 1
    std::string sort = "drops";     // one of ctlTopOrders
};

// What the queues can be sorted by; the first letter is the key for it.
std::vector<std::string> ctlTopOrders();

// The screen behind standard input and output.
ctlScreen_t ctlOwnScreen();

// Reads drops at every interval and prints the queues that move, the most first by the order asked for, and the reasons
// of drops. With options.json one array a table. CTL_FAILED if the last read had no answer for a port, CTL_SILENT if it
// had none at all; a terminal goes on over either.
int ctlTop(const ctlOptions_t &options, const ctlTop_t &top, ctlScreen_t screen, std::ostream &out, std::ostream &err);

#endif
