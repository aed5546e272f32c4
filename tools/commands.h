// SPDX-License-Identifier: Apache-2.0
// The commands that deal in messages. Each prints to `out`, complaints to `err`, and gives the exit status.
#ifndef TOOLS_COMMANDS_H
#define TOOLS_COMMANDS_H

#include <ostream>
#include <string>
#include <vector>

#include "tools/batch.h"

struct ctlOptions_t {
    std::string service = "qosMI";
    unsigned slot = 1;
    double timeout = 3; // seconds
    int seq = -1;       // first sequence number, -1 for one of the tool's choice
    bool json = false;
    bool verbose = false; // decoded fields of every message; statistics are always decoded
    bool dry_run = false; // show the batches, send nothing
    double within = 1e6;  // seconds for all batches of one reading of statistics together
};

// Sends batch after batch, each after the echo of the one before it, and reports the echoes. Ends at a batch whose
// echo does not come (CTL_SILENT); else CTL_FAILED if any message failed.
int ctlSendBatches(const ctlOptions_t &options, std::vector<std::vector<ctlMessage_t>> batches, std::ostream &out,
                   std::ostream &err);

struct ctlWatch_t {
    unsigned count = 0; // messages to wait for, 0 without limit
    double timeout = 0; // seconds, 0 without limit
    bool all = false;   // echoes too
};

// Prints what agents send until count, timeout or a signal ends it. CTL_SILENT if fewer than `count` came.
int ctlWatchAgents(const ctlOptions_t &options, const ctlWatch_t &watch, std::ostream &out, std::ostream &err);

// Decodes a batch; CTL_FAILED if it is malformed.
int ctlDecodeBatch(const ctlOptions_t &options, const std::string &hex, std::ostream &out, std::ostream &err);

#endif
