// SPDX-License-Identifier: Apache-2.0
// A printing function's other end: what it prints is kept as text.
#ifndef TESTS_SUPPORT_PRINTER_H
#define TESTS_SUPPORT_PRINTER_H

#include <cstdarg>
#include <cstdio>
#include <string>

#include "core/print.h"

struct Printer {
    std::string text;
    cli_t cli(int mode) { return {print, this, nullptr, mode}; }

private:
    __attribute__((format(printf, 2, 3))) static int print(void *printer, const char *format, ...)
    {
        char piece[4096];
        va_list args;
        va_start(args, format);
        const int length = vsnprintf(piece, sizeof piece, format, args);
        va_end(args);
        static_cast<Printer *>(printer)->text += piece;
        return length;
    }
};

#endif
