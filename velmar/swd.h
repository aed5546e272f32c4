// SPDX-License-Identifier: Apache-2.0
// The software watchdog.
#ifndef VELMAR_SWD_H
#define VELMAR_SWD_H

#include <sys/time.h>

// Asks to be watched: a handle, negative if nobody watches.
int swd_register(void *owner);
// Says hello and stores the time in `last`; gives the seconds that may pass to the next hello.
int swd_hello(int handle, struct timeval *last);

#endif
