// SPDX-License-Identifier: Apache-2.0
// Inside the host library: failures at start, told on standard error.
#ifndef HOST_COMPLAIN_H
#define HOST_COMPLAIN_H

// The name in front of every line. `progname` is kept by address.
void complainAs(const char *progname);

// One line. Nothing before complainAs: a program that has not joined the platform tells its failures itself.
void complain(const char *format, ...) __attribute__((format(printf, 1, 2)));

#endif
