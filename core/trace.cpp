// SPDX-License-Identifier: Apache-2.0
// The trace front end's state, filter and calls into the platform's ring.
#include "core/trace.h"

#include <cstdarg>
#include <cstdio>

#include "core/format.h"
#include "core/state.h"
#include "velmar/trace.h"

namespace {

constexpr uint32_t RECORD_MAX = 1024; // room on the stack for a line; a longer record length is cut to it
constexpr uint32_t RECORD_DEFAULT = 64;
constexpr uint32_t RECORD_QOS = 128;
constexpr uint32_t RING_CARD = 16384;
constexpr uint32_t RING_CHASSIS = 0x10000;
constexpr uint32_t KOR_PROTO_UNSPEC = 0;
constexpr uint32_t KOR_PROTO_MAX = 65;
constexpr const char *SOURCE = "velmar_dce_trace";

void assertArea(unsigned area)
{
    if (area >= VELMAR_DCEDBG_AREAMAX)
        do_assert("(area < VELMAR_DCEDBG_AREAMAX)", SOURCE, 1);
}

constexpr uint32_t areaBit(unsigned area)
{
    return 0x80000000U >> area;
}

// The whole filter, in its order: an open handle, an area that exists and is on, the level.
bool passes(int32_t handle, int level, unsigned area)
{
    if (handle == -1)
        return false;
    assertArea(area);
    return (dce_dbginfo.areas & areaBit(area)) != 0 && dce_dbginfo.level >= level;
}

uint32_t recordRoom()
{
    return dce_dbginfo.record_length < RECORD_MAX ? dce_dbginfo.record_length : RECORD_MAX;
}

// A line that has passed the filter.
__attribute__((format(printf, 4, 0))) void writeLine(int32_t handle, uint32_t id, int level, const char *format,
                                                     va_list args)
{
    char line[RECORD_MAX];
    qosFormat(line, recordRoom(), format, args);
    trace_module_store_lvl(handle, dce_dbginfo.module, id, level, line);
}

} // namespace

dce_dbginfo_t dce_dbginfo = {0, -1, 0xffff, 0xffffffff, RECORD_DEFAULT, 6, VELMAR_DCEDBG_AREA_DEFAULT};
trace_state_t trace_state;

int qos_trace_init(uint16_t module, uint32_t id, uint32_t protocol)
{
    qos_velmar_state.trace_module = module;
    trace_state = {};
    const int log = rasevt_init("ethsw", __expm.instance, "QOS");
    if (log < 0) {
        fprintf(stderr, "Error: QOS raslog initialization failed(%d)", log);
        return -1;
    }
    char name[16];
    snprintf(name, sizeof name, "QOS-%d", static_cast<int>(__expm.instance));
    const uint32_t size = __expm.slot_base ? RING_CHASSIS : RING_CARD;
    const int rc = dce_trace_init(&trace_state.handle, module, size, name, protocol, RECORD_QOS, 0x10000);
    if (rc != 0) {
        trace_state.handle = -1;
        fprintf(stderr, "Error: QOS trace initialization failed(rc: %d)", rc);
    } else if (trace_state.handle < 0) {
        fprintf(stderr, "Error: QOS trace initialization failed(hdl: %d)", trace_state.handle);
    }
    trace_state.id = id;
    dce_trace_area_enable(VELMAR_DCEDBG_AREA_QOS);
    dce_trace_lvl_set(VELMAR_DCEDBG_LVL_DBG);
    return 0;
}

int dce_trace_init(int32_t *handle, uint16_t module, uint32_t size, const char *name, uint32_t protocol,
                   int record_length, uint32_t)
{
    if (protocol == KOR_PROTO_UNSPEC || protocol >= KOR_PROTO_MAX)
        do_assert("((m_id != KOR_PROTO_UNSPEC) && (m_id < KOR_PROTO_MAX))", SOURCE, 1);
    const uint32_t wanted = record_length < 1 ? RECORD_DEFAULT : static_cast<uint32_t>(record_length);
    const uint32_t length = wanted < RECORD_MAX ? wanted : RECORD_MAX;
    const trace_params_t parameters = {1, length, 0};
    const int rc = trace_module_init(handle, module, size, name, &parameters);
    dce_dbginfo.protocol = protocol;
    dce_dbginfo.handle = rc < 0 || *handle < 0 ? -1 : *handle;
    dce_dbginfo.module = module;
    dce_dbginfo.size = size;
    dce_dbginfo.record_length = length;
    return rc < 0 ? -1 : 0;
}

void dce_trace_vprintf(uint32_t id, int level, unsigned area, const char *format, ...)
{
    if (!passes(dce_dbginfo.handle, level, area))
        return;
    va_list args;
    va_start(args, format);
    writeLine(dce_dbginfo.handle, id, level, format, args);
    va_end(args);
}

void dce_trace_lasting(uint32_t id, int level, unsigned area, const char *format, ...)
{
    if (!passes(dce_dbginfo.handle, level, area))
        return;
    va_list args;
    va_start(args, format);
    const bool kept = trace_module_store_args(dce_dbginfo.handle, dce_dbginfo.module, id, level, format, args);
    va_end(args);
    if (kept)
        return;
    va_start(args, format);
    writeLine(dce_dbginfo.handle, id, level, format, args);
    va_end(args);
}

void dce_trace(uint32_t id, int level, unsigned area, const char *text)
{
    if (passes(dce_dbginfo.handle, level, area))
        trace_module_store_lvl(dce_dbginfo.handle, dce_dbginfo.module, id, level, text);
}

void dce_trace_vprintf2(const int32_t *handle, uint32_t id, int level, unsigned area, const char *format, ...)
{
    if (!passes(*handle, level, area))
        return;
    va_list args;
    va_start(args, format);
    writeLine(*handle, id, level, format, args);
    va_end(args);
}

void dce_trace2(const int32_t *handle, uint32_t id, int level, unsigned area, const char *text)
{
    if (passes(*handle, level, area))
        trace_module_store_lvl(*handle, dce_dbginfo.module, id, level, text);
}

void dce_trace_var(uint32_t id, int level, unsigned area, unsigned count, ...)
{
    if (!passes(dce_dbginfo.handle, level, area))
        return;
    const auto num_words = static_cast<unsigned>(recordRoom() / sizeof(uint32_t));
    if (count > num_words)
        do_assert("arg_num <= num_words", SOURCE, 1);
    uint32_t words[RECORD_MAX / sizeof(uint32_t) + 1] = {};
    va_list args;
    va_start(args, count);
    for (unsigned i = 0; i < count; ++i)
        words[i] = va_arg(args, uint32_t);
    va_end(args);
    trace_module_store_lvl(dce_dbginfo.handle, dce_dbginfo.module, id, level, reinterpret_cast<const char *>(words));
}

void dce_trace_lvl_set(int level)
{
    if (level > VELMAR_DCEDBG_LVL_VERBOSE)
        do_assert("(lvl <= VELMAR_DCEDBG_LVL_VERBOSE)", SOURCE, 1);
    dce_dbginfo.level = level;
}

int dce_trace_lvl_get()
{
    return dce_dbginfo.level;
}

void dce_trace_area_enable(unsigned area)
{
    assertArea(area);
    dce_dbginfo.areas |= areaBit(area);
}

void dce_trace_area_disable(unsigned area)
{
    assertArea(area);
    dce_dbginfo.areas &= ~areaBit(area);
}

bool dce_trace_area_isenabled(unsigned area)
{
    assertArea(area);
    return (dce_dbginfo.areas & areaBit(area)) != 0;
}

void dce_trace_area_enable_all()
{
    dce_dbginfo.areas = 0xffffffff;
}

void dce_trace_area_disable_all()
{
    dce_dbginfo.areas = 0;
}

void dce_trace_area_enable_default()
{
    dce_dbginfo.areas = VELMAR_DCEDBG_AREA_DEFAULT;
}
