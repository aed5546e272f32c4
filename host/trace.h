// Inside the host library: the trace rings of this process.
#ifndef HOST_TRACE_H
#define HOST_TRACE_H

// The file of the ring that was opened first, or null.
const char *traceFirstFile();

#endif
