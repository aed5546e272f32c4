// SPDX-License-Identifier: Apache-2.0
// Inside the host library: what is known of the driver from the command socket. The main thread says what it meets, the
// control socket's thread asks.
#ifndef HOST_DRIVER_H
#define HOST_DRIVER_H

#include <string>

// A request left (error 0) or could not.
void driverAsked(int error);
// An answer came.
void driverAnswered();
// The main thread goes on to something else: a request that has no answer by now gets none.
void driverLeft();

// The driver's part of "stat": members of flat JSON, each with a comma ahead of it. Times are seconds ago.
std::string driverStat();

#endif
