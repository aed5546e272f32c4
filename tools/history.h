// SPDX-License-Identifier: Apache-2.0
// What a node's processes leave behind: the event log, and the trace ring of a process, also of one that is dead. Both
// are files of the run directory, so nobody has to answer.
#ifndef TOOLS_HISTORY_H
#define TOOLS_HISTORY_H

#include <ostream>
#include <string>
#include <vector>

#include "tools/report.h"

struct ctlHistory_t {
    unsigned lines = 20;
    bool follow = false;
    bool json = false; // an array; one object a line where it follows
};

// One line of the event log, "TIME SERVICE.INSTANCE TAG[PID]: TEXT", as an object; what does not read so is all text.
ctlJson ctlEventJson(const std::string &line);

// One line of a trace, "TIME LEVEL TEXT", as an object.
ctlJson ctlTraceJson(const std::string &line);

// The newest lines of the event log as objects, the rotated file's ahead of them, and the command that prints them.
ctlJson ctlEventRows(size_t most);
int ctlShowEvents(const ctlHistory_t &asked, std::ostream &out);

// The newest lines of a trace ring's file; throws CTL_FAILED if it is none.
std::vector<std::string> ctlRingLines(const std::string &path, unsigned lines);

// The rings that a process of this pid has left, by their paths.
std::vector<std::string> ctlRingsOf(const std::string &pid);

// Prints lines as they are, or as JSON by `row`.
void ctlPrintLines(const std::vector<std::string> &lines, bool json, ctlJson row(const std::string &),
                   std::ostream &out);

// The trace of `who`, a process or the pid of a dead one, or with `file` of that ring.
int ctlShowTrace(const std::string &who, const std::string &file, const ctlHistory_t &asked, std::ostream &out);

#endif
