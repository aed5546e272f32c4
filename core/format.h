// SPDX-License-Identifier: Apache-2.0
// Formatting for trace lines: printf's rules on the conversions that lines use, at a fraction of its cost. Up to a
// dozen lines are written for one message, so this is on the message path.
#ifndef CORE_FORMAT_H
#define CORE_FORMAT_H

#include <cstdarg>
#include <cstddef>

// As vsnprintf, except that the result is the number of characters stored, the terminator not counted.
size_t qosFormat(char *out, size_t size, const char *format, va_list args) __attribute__((format(printf, 3, 0)));

#endif
