// SPDX-License-Identifier: Apache-2.0
// Inside the host library: a trace line kept as its arguments, which whoever reads it puts into the format's text.
#ifndef HOST_TRACE_TEXT_H
#define HOST_TRACE_TEXT_H

#include <cstdarg>
#include <cstddef>

constexpr size_t TRACE_ARGUMENTS_MOST = 15;

// What a format takes, a letter for each argument, terminated.
struct trace_kinds_t {
    char letters[TRACE_ARGUMENTS_MOST + 1];
};

// False for a format with too many arguments, or with a conversion that is none of %s %c %d %i %u %x %X %% with the
// flags '0' and '-', a width, and h, l, ll, z.
bool traceKinds(const char *format, trace_kinds_t *kinds);

// Puts the arguments behind each other, texts with their terminators: the bytes used, or -1 if there is no room.
int tracePack(unsigned char *to, size_t room, const trace_kinds_t &kinds, va_list args);

// The text as vsnprintf gives it: its length in `to`, which it is cut to; `to` is terminated. Whatever the packed bytes
// are, nothing beyond them is read.
size_t traceUnpack(char *to, size_t size, const char *format, const unsigned char *packed, size_t length);

#endif
