// SPDX-License-Identifier: Apache-2.0
// What the agent holds beside what the driver was told. Relies on the control sockets' "cli json config" and "cli json
// driver" of the agent and "show told" of the driver emulator.
#ifndef TOOLS_DIFF_H
#define TOOLS_DIFF_H

#include <map>

#include "tools/show.h"

struct ctlDifference_t {
    uint32_t ifindex; // of the port or chip
    uint32_t chip;
    std::string field;  // of the agent's record
    std::string record; // the driver's, by the name of its command
    ctlJson agent;      // as the driver would be told it
    ctlJson driver;     // null for what it was never told, also inside a list
    std::string mend;   // the message to send

    bool operator==(const ctlDifference_t &) const = default;
};

// What a driver was told of a chip, by the chip's index. A chip that the driver does not know is left out.
using ctlTold_t = std::map<uint32_t, ctlJson>;

ctlTold_t ctlAskDriver(const ctlJson &config, double seconds);

std::vector<ctlDifference_t> ctlCompare(const ctlJson &config, const ctlJson &side, const ctlTold_t &told);

// Prints the differences, all or those of the ports and chips named. CTL_FAILED if there are any.
int ctlShowDifferences(const std::vector<std::string> &ports, const ctlShow_t &asked, std::ostream &out,
                       std::ostream &err);

#endif
