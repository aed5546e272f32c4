// SPDX-License-Identifier: Apache-2.0
// The control sockets of the processes of a node: who runs, in which role and stage, and what they answer to commands.
// Relies on velmar/run.h for the run directory.
#ifndef TOOLS_NODE_H
#define TOOLS_NODE_H

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tools/report.h"

struct ctlProcess_t {
    std::string name; // "dorvald"
    std::string pid;
    std::string path; // of its control socket
};

// The process that a file among the control sockets belongs to, NAME.PID or NAME.PID.K; nothing for any other name.
std::optional<ctlProcess_t> ctlProcessOf(const std::string &file);

// The processes with a control socket, by name and pid; `name` empty for all. A socket that nobody holds any more is
// left out.
std::vector<ctlProcess_t> ctlProcesses(const std::string &name);

// The one process that `who` means: a name, a pid, or NAME.PID. Throws CTL_SILENT if there is none, CTL_USAGE if there
// are several.
ctlProcess_t ctlFindProcess(const std::string &who);

// All agents of the node; throws CTL_SILENT if none runs.
std::vector<ctlProcess_t> ctlNeedAgent();

// The agent that a table is asked of: the one with this pid, or for an empty one the only agent, of several the only
// active one. Throws as ctlFindProcess does.
ctlProcess_t ctlFindAgent(const std::string &pid, double seconds);

// Sends one command and gives the answer; throws CTL_SILENT if none comes within `seconds`.
std::string ctlAsk(const ctlProcess_t &process, const std::string &command, double seconds);

// What stands behind the "ok" of an answer; throws CTL_FAILED with any other answer. The second asks and gives its
// lines.
std::string ctlBehindOk(const std::string &answer);
std::vector<std::string> ctlAskLines(const ctlProcess_t &process, const std::string &command, double seconds);

// A process's answer to "stat" as a row; "error" in it says what is wrong with the answer.
ctlJson ctlStatRow(const ctlProcess_t &process, const std::string &answer);

// The same of several, asked one after the other, `seconds` for each, but for all together no more than for four: of
// those who never answer there may be any number.
std::vector<ctlJson> ctlStatRows(const std::vector<ctlProcess_t> &processes, double seconds);

// The rows as a table, or as JSON. CTL_SILENT if one of them has an error.
int ctlPrintNode(const std::vector<ctlJson> &rows, bool json, std::ostream &out);

// The commands: each prints to `out` and gives the exit status. With `json` the ok ahead of an answer is left out.
int ctlShowNode(bool json, double seconds, std::ostream &out, std::ostream &err);
int ctlCommand(const std::string &who, const std::vector<std::string> &words, double seconds, bool json,
               std::ostream &out);

// The lines of `now` that came after those of `before`, both being the newest lines of one ring. `lost` is set if the
// ring has gone on further than `now` reaches back.
std::vector<std::string> ctlNewLines(const std::vector<std::string> &before, const std::vector<std::string> &now,
                                     bool &lost);

#endif
