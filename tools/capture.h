// SPDX-License-Identifier: Apache-2.0
// What passes the sockets of a node's agents, as a capture file: dorvctl asks each of them for copies over its control
// socket, those that start later too, and writes them as they come.
#ifndef TOOLS_CAPTURE_H
#define TOOLS_CAPTURE_H

#include <ostream>
#include <string>

struct ctlCapture_t {
    std::string file; // "-" for standard output
    bool mi = false;  // neither of the two means both
    bool driver = false;
    double seconds = 0; // 0 for no end but a signal
};

// Until the time is over or a signal comes. What goes on, and at the end the figures, stands on `err`. CTL_SILENT if no
// agent gave anything.
int ctlCapture(const ctlCapture_t &asked, std::ostream &err);

#endif
