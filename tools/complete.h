// SPDX-License-Identifier: Apache-2.0
// Words that can follow on a command line of dorvctl, for the shell's completion. Knows messages and fields from the
// catalogue, ports and processes from the node; an agent that does not answer at once is done without.
#ifndef TOOLS_COMPLETE_H
#define TOOLS_COMPLETE_H

#include <map>
#include <string>
#include <vector>

struct ctlFlag_t {
    std::string name; // "--slot"
    bool value;       // the next word belongs to it
};

// The options of each command.
using ctlGrammar_t = std::map<std::string, std::vector<ctlFlag_t>>;

// What can stand in the place of the last word; `words` are those behind the program's name.
std::vector<std::string> ctlComplete(const ctlGrammar_t &grammar, const std::vector<std::string> &words);

#endif
