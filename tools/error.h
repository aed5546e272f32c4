// SPDX-License-Identifier: Apache-2.0
// How a command of dorvctl ends early: the exit status and the one line that says why. Thrown by everything in tools/
// and caught in main.
#ifndef TOOLS_ERROR_H
#define TOOLS_ERROR_H

#include <string>

enum ctlExit_t : int {
    CTL_DONE = 0,   // every message acknowledged with status 0
    CTL_FAILED = 1, // an answer came and says no
    CTL_USAGE = 2,  // the person asked for something that does not exist
    CTL_SILENT = 3, // no answer, or nobody there
};

struct ctlError_t {
    ctlExit_t exit;
    std::string text;
};

[[noreturn]] inline void ctlRefuse(const std::string &text)
{
    throw ctlError_t{CTL_USAGE, text};
}

#endif
