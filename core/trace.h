// SPDX-License-Identifier: Apache-2.0
// The trace front end: every line that the agent reports goes through here into the platform's ring.
//
// A line is filtered by area and level before anything of it is formatted: the macros test both and evaluate no
// argument of a line that is off.
#ifndef CORE_TRACE_H
#define CORE_TRACE_H

#include <cstdint>

constexpr int VELMAR_DCEDBG_LVL_ERR = 4;
constexpr int VELMAR_DCEDBG_LVL_INF = 7;
constexpr int VELMAR_DCEDBG_LVL_DBG = 8;
constexpr int VELMAR_DCEDBG_LVL_VERBOSE = 9;
constexpr unsigned VELMAR_DCEDBG_AREAMAX = 32;
constexpr unsigned VELMAR_DCEDBG_AREA_QOS = 8; // the area of all the agent's lines
constexpr uint32_t VELMAR_DCEDBG_AREA_DEFAULT = 0xa0000000;

struct dce_dbginfo_t {
    uint32_t protocol;
    int32_t handle; // -1 drops every line
    uint16_t module;
    uint32_t size;
    uint32_t record_length; // longest stored line, terminator included
    int32_t level;          // 0 to 9
    uint32_t areas;         // area n is bit 31-n
};
extern dce_dbginfo_t dce_dbginfo;

struct trace_state_t {
    int32_t handle; // -1 if the platform's trace failed
    uint32_t id;    // its low 16 bits stand in every trace call
};
extern trace_state_t trace_state;

// Opens event log and trace for `protocol`. 0, or -1 if the event log failed; a trace that fails is reported on
// standard error and the process runs without.
[[nodiscard]] int qos_trace_init(uint16_t module, uint32_t id, uint32_t protocol);

// Opens the ring `name` and stores its handle through `handle`: 0, or -1 if the platform refused. A record length below
// 1 becomes 64. The last argument is not used.
[[nodiscard]] int dce_trace_init(int32_t *handle, uint16_t module, uint32_t size, const char *name, uint32_t protocol,
                                 int record_length, uint32_t flags);

// The call behind every line: function name and source line are the format's first two arguments. A line longer than
// the record length minus 1 is cut.
void dce_trace_vprintf(uint32_t id, int level, unsigned area, const char *format, ...)
    __attribute__((format(printf, 4, 5)));
// The same for a format that lasts as long as the process. Its text may be put together by whoever reads the line.
void dce_trace_lasting(uint32_t id, int level, unsigned area, const char *format, ...)
    __attribute__((format(printf, 4, 5)));
// Stores a line that is already formatted.
void dce_trace(uint32_t id, int level, unsigned area, const char *text);
// The same for a handle other than the process's own.
void dce_trace_vprintf2(const int32_t *handle, uint32_t id, int level, unsigned area, const char *format, ...)
    __attribute__((format(printf, 5, 6)));
void dce_trace2(const int32_t *handle, uint32_t id, int level, unsigned area, const char *text);
// Stores `count` words of 32 bits as the record.
void dce_trace_var(uint32_t id, int level, unsigned area, unsigned count, ...);

void dce_trace_lvl_set(int level);
int dce_trace_lvl_get();
void dce_trace_area_enable(unsigned area);
void dce_trace_area_disable(unsigned area);
bool dce_trace_area_isenabled(unsigned area);
void dce_trace_area_enable_all();
void dce_trace_area_disable_all();
void dce_trace_area_enable_default();

inline bool qosTraceOn(int level)
{
    return level <= dce_dbginfo.level && (dce_dbginfo.areas & (0x80000000U >> VELMAR_DCEDBG_AREA_QOS)) != 0;
}

// What a line names: a function, and the source line that stands for it. A name alone takes the line on which it is
// given, so that a helper which takes one from its caller names the call, and a row of data itself.
struct qosWhere_t {
    const char *function;
    int line;

    constexpr qosWhere_t(const char *name = __builtin_FUNCTION(), int at = __builtin_LINE()) : function(name), line(at)
    {
    }
};

#define QOS_TRACE_AT(where, level, prefix, text, ...)                                                                  \
    do {                                                                                                               \
        if (qosTraceOn(level)) {                                                                                       \
            const qosWhere_t qosWhere = where;                                                                         \
            dce_trace_lasting(trace_state.id & 0xffff, level, VELMAR_DCEDBG_AREA_QOS, prefix "(%s:%d): " text,         \
                              qosWhere.function, qosWhere.line __VA_OPT__(, ) __VA_ARGS__);                            \
        }                                                                                                              \
    } while (0)

// One line at a level for the function named: from a helper of a single function its name, from a shared one what its
// caller gave.
#define QOS_ERR_AT(where, text, ...) QOS_TRACE_AT(where, VELMAR_DCEDBG_LVL_ERR, "ERR", text __VA_OPT__(, ) __VA_ARGS__)
#define QOS_INF_AT(where, text, ...) QOS_TRACE_AT(where, VELMAR_DCEDBG_LVL_INF, "INF", text __VA_OPT__(, ) __VA_ARGS__)
#define QOS_DBG_AT(where, text, ...) QOS_TRACE_AT(where, VELMAR_DCEDBG_LVL_DBG, "DBG", text __VA_OPT__(, ) __VA_ARGS__)

// The same for the function that it stands in.
#define QOS_ERR(text, ...) QOS_ERR_AT(__func__, text __VA_OPT__(, ) __VA_ARGS__)
#define QOS_INF(text, ...) QOS_INF_AT(__func__, text __VA_OPT__(, ) __VA_ARGS__)
#define QOS_DBG(text, ...) QOS_DBG_AT(__func__, text __VA_OPT__(, ) __VA_ARGS__)
#define QOS_VRB(text, ...) QOS_TRACE_AT(__func__, VELMAR_DCEDBG_LVL_VERBOSE, "VRB", text __VA_OPT__(, ) __VA_ARGS__)

// Writes the entry line now and the exit line when the function is left, whatever its way out.
struct qosFrame_t {
    qosWhere_t where;

    explicit qosFrame_t(qosWhere_t at) : where(at)
    {
        if (qosTraceOn(VELMAR_DCEDBG_LVL_VERBOSE))
            dce_trace_lasting(trace_state.id & 0xffff, VELMAR_DCEDBG_LVL_VERBOSE, VELMAR_DCEDBG_AREA_QOS,
                              "VRB(%s:%d): *****Entering %s\n", where.function, where.line, where.function);
    }
    ~qosFrame_t()
    {
        if (qosTraceOn(VELMAR_DCEDBG_LVL_VERBOSE))
            dce_trace_lasting(trace_state.id & 0xffff, VELMAR_DCEDBG_LVL_VERBOSE, VELMAR_DCEDBG_AREA_QOS,
                              "VRB(%s:%d): *****Leaving  %s\n", where.function, where.line, where.function);
    }
    qosFrame_t(const qosFrame_t &) = delete;
    qosFrame_t &operator=(const qosFrame_t &) = delete;
};
#define QOS_FRAME() const qosFrame_t qosFrame(__func__)

#endif
