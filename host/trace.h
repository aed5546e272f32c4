// SPDX-License-Identifier: Apache-2.0
// Inside the host library: the trace rings of this process.
#ifndef HOST_TRACE_H
#define HOST_TRACE_H

#include <cstddef>

// The file of the ring that was opened first, or null.
const char *traceFirstFile();

// The newest lines of that ring, as velmar_trace_read gives them; whatever became of the file.
int traceReadFirst(unsigned lines, bool utc, char *out, size_t size);

// Follows VELMAR_TRACE to the file that has the name now, after somebody moved the old one. Any thread. False with
// errno, and the old one stays.
bool traceReopen();

#endif
