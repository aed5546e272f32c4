// SPDX-License-Identifier: Apache-2.0
// Time and waiting. The agent reads the clock and waits here and nowhere else, so that a host on virtual time can take
// the place of these operations at link time.
#ifndef VELMAR_OS_H
#define VELMAR_OS_H

#include <cstdint>
#include <poll.h>
#include <sys/select.h>
#include <sys/time.h>

// Monotonic time. Its zero is of no meaning; it never goes back.
void velmar_now(struct timeval *now);

// Milliseconds of the same clock, the processor's time base of a switch.
uint64_t velmar_time_base();

// As poll(2); `timeout_ms` counts on velmar_now's clock, -1 waits without limit.
int velmar_poll(struct pollfd *fds, unsigned count, int timeout_ms);

// As select(2), but a signal whose handler returns does not end the wait; a null `timeout` waits without limit.
// `timeout` is not changed.
int velmar_select(int nfds, fd_set *readable, fd_set *writable, fd_set *except, const struct timeval *timeout);

// As pipe(2): result 0, or -1 with errno.
int velmar_pipe(int fds[2]);

#endif
