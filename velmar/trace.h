// SPDX-License-Identifier: Apache-2.0
// The platform's trace ring, event log and assertion.
#ifndef VELMAR_TRACE_H
#define VELMAR_TRACE_H

#include <cstdarg>
#include <cstddef>
#include <cstdint>

struct trace_params_t {
    uint32_t version;       // 1
    uint32_t record_length; // longest stored line, terminator included
    uint32_t reserved;      // 0
};

// Opens the ring `name` of `size` lines; stores its handle. Negative on failure.
int trace_module_init(int32_t *handle, uint16_t module, uint32_t size, const char *name, const trace_params_t *params);
// Stores one line. Never fails towards its caller and never waits for a reader.
void trace_module_store_lvl(int32_t handle, uint16_t module, uint32_t id, int level, const char *text);

// The same for a line whose format lasts as long as the process: its arguments are stored, texts with all they say, and
// the line is put together when it is read. False if it cannot be kept that way and was not stored.
bool trace_module_store_args(int32_t handle, uint16_t module, uint32_t id, int level, const char *format, va_list args)
    __attribute__((format(printf, 5, 0)));

// For other programs, also after the process died: the newest `lines` lines of a ring file as "SECONDS.mmm LEVEL
// TEXT\n", with `utc` as "2026-11-23T14:05:09.123Z LEVEL TEXT\n", oldest first, as many of them as fit `size` bytes.
// The bytes written, not terminated, or -1 with errno.
int velmar_trace_read(const char *path, unsigned lines, char *out, size_t size, bool utc = false);

// The event log of a service. Negative on failure.
int rasevt_init(const char *service, uint32_t instance, const char *tag);
void rasevt_exit();

// Reports a broken condition and stops the process with `code`.
[[noreturn]] void do_assert(const char *text, const char *file, int code, ...);

#endif
