// SPDX-License-Identifier: Apache-2.0
// A capture played to a node again: its batches are sent, what the node does is captured in turn, and both are set side
// by side.
#ifndef TOOLS_REPLAY_H
#define TOOLS_REPLAY_H

#include <ostream>
#include <string>

struct ctlReplay_t {
    std::string file;  // "-" for standard input
    double speed = 0;  // so many times as fast as it was captured; 0 for as fast as echoes come
    unsigned slot = 0; // 0 for that of the capture
    double timeout = 20;
    bool json = false;
};

// CTL_DONE where the node answered and asked the driver as in the capture, CTL_FAILED where it did otherwise;
// CTL_SILENT if it could not be tried. What is left out of the comparison is said on `err`.
int ctlReplay(const ctlReplay_t &asked, std::ostream &out, std::ostream &err);

#endif
