// SPDX-License-Identifier: Apache-2.0
// Start-up and main loop of the daemon, step by step.
#ifndef DORVALD_STARTUP_H
#define DORVALD_STARTUP_H

// Decodes the command line into qos_velmar_state and qos_said; gives the program's name. Ends the process with status 0
// on -h and with 1, after the whole line was read, if an option was wrong.
const char *qosDecodeOptions(int argc, char **argv);

// Brings up the platform's event machinery under the process tag: 0, or 7 with a line on standard error.
[[nodiscard]] int qosVelmarInit(const char *tag);

// Fills the table of modules and runs the init walk: 0, or the failing hook's code.
[[nodiscard]] int qaInit();

// Joins the platform and stays in the main loop. 6 or 7 if that fails, the worker thread's result after the loop's end.
[[nodiscard]] int qaLocalMain(int argc, char **argv);

// The platform's exit callback: releases what qosVelmarInit made; 0.
int qosExit();

// The whole program: its exit status.
[[nodiscard]] int dorvaldMain(int argc, char **argv);

#endif
