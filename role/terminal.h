// SPDX-License-Identifier: Apache-2.0
// Terminals on the command tree of the library instance: a line editor with history, help on '?' and completion on Tab.
// A session runs on the scheduler, on any pair of descriptors; echo and line breaks are the session's, so the other end
// is a terminal in raw mode.
#ifndef ROLE_TERMINAL_H
#define ROLE_TERMINAL_H

#include <functional>
#include <string>

// A session in the execution mode. The descriptors stay the caller's; `ended` is called once it is over and all that it
// said is written.
void terminalOpen(int in, int out, std::function<void()> ended);

// Makes a session of each connection to a stream socket at `path`; a path that nobody listens at is taken over. False
// with errno.
bool terminalListen(const std::string &path);

#endif
