// SPDX-License-Identifier: Apache-2.0
// Inside the host library: the control socket.
#ifndef HOST_CTL_H
#define HOST_CTL_H

// Binds RUN/ctl/ATOM.PID before the engine runs: 0, or -1 with errno.
int ctlOpen(const char *atom);
int ctlDescriptor(); // -1 before ctlOpen

// Answers what has arrived, or hands it to the main thread. Runs where the engine runs.
void ctlServe();

#endif
