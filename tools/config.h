// SPDX-License-Identifier: Apache-2.0
// What is configured, out of the agent's own records: to read, and as a scenario that brings a fresh node there. Relies
// on the rows of the control socket's "cli json config".
#ifndef TOOLS_CONFIG_H
#define TOOLS_CONFIG_H

#include <set>

#include "tools/diff.h"
#include "tools/show.h"

// Prints the configuration, of all or of the ports and chips named, and gives the exit status. The text leaves out what
// is 0. CTL_FAILED if one of them is unknown to the agent.
int ctlShowConfig(const std::vector<std::string> &ports, const ctlShow_t &asked, std::ostream &out);

// Prints the scenario. Rates of policers and levels of RED are taken from the driver where it can be asked. What
// neither holds, and a scenario so cannot say, is a complaint a line on `err`.
int ctlSaveConfig(const ctlShow_t &asked, std::ostream &out, std::ostream &err);

// The same from the rows, and from what the driver was told as far as that is known.
ctlJson ctlScenarioOf(const ctlJson &rows, const ctlTold_t &told, std::vector<std::string> &lost);

// The ports and chips that words name. CTL_FAILED if none of the rows is about one of them.
std::set<uint32_t> ctlInterfacesOf(const std::vector<std::string> &words, const ctlJson &rows);

// The message that makes a port a long-distance one, or a regular link beside one; null for any other port. What it
// cannot say goes into `lost`.
ctlJson ctlLinkOf(const ctlJson &port, const ctlJson &chip, std::vector<std::string> &lost);

#endif
