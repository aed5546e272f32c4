// SPDX-License-Identifier: Apache-2.0
// Inside the host library: the event log.
#ifndef HOST_RASLOG_H
#define HOST_RASLOG_H

// Appends one line to RUN/trace/raslog, with time, service and process in front. Nothing before rasevt_init.
void rasLog(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The same from a handler of a signal that ends the process, of a text without numbers.
void rasDying(const char *why);

// That a daemon of the run directory died; also by a process that has no event log of its own open.
void rasLogGone(const char *name);

#endif
