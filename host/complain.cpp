// SPDX-License-Identifier: Apache-2.0
// Failures at start, one line each on standard error.
#include "host/complain.h"

#include <cstdarg>
#include <cstdio>
#include <unistd.h>

namespace {

const char *name;

} // namespace

void complainAs(const char *progname)
{
    name = progname;
}

void complain(const char *format, ...)
{
    if (!name)
        return;
    char text[1024];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    dprintf(STDERR_FILENO, "%s: %s\n", name, text);
}
