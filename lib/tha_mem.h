// SPDX-License-Identifier: Apache-2.0
// Memory of the containers: from the replicated store, with the heap behind it when the store refuses.
//
// A block that had to come from the heap although its container lives in the store is remembered beside the block, so
// that it goes back to the heap; records in the store carry no mark of it.
#ifndef LIB_THA_MEM_H
#define LIB_THA_MEM_H

#include <cstddef>

#include "velmar/ha.h"

// The library's debug flag: reports a store that refuses memory or takes none back on standard output.
extern bool lib_tha_debug;

// Where a caller stands, for those reports; made by the default argument in the caller's place.
struct lib_tha_at_t {
    const char *file;
    int line;
    const char *function;

    static constexpr lib_tha_at_t here(const char *file = __builtin_FILE(), int line = __builtin_LINE(),
                                       const char *function = __builtin_FUNCTION())
    {
        return {file, line, function};
    }
};

constexpr int LIB_THA_TAG_NODE = 0x4000000;
constexpr int LIB_THA_TAG_HEAD = 0;

// Zeroed memory, or null if the heap is empty as well. From the store when `ha` is at least 1. `type` is the name of a
// registered record, `name` that of the container.
void *lib_tha_alloc(ha_hndl_t ha, size_t size, const char *type, int group, int tag, const char *name,
                    lib_tha_at_t at = lib_tha_at_t::here());

// Gives back what lib_tha_alloc gave for the same `ha`; nothing for null.
void lib_tha_free(ha_hndl_t ha, void *block, lib_tha_at_t at = lib_tha_at_t::here());

// A container's memory, to be written at once: what is in the store is told ahead that it changes.
template <typename T>
T &lib_tha_edit(ha_hndl_t ha, T &place)
{
    return ha < 1 ? place : *static_cast<T *>(ha_edit(ha, &place, sizeof place));
}

// A container's name as its record keeps it: all of it, of 31 characters or more the last 30, "unkown" for null.
void lib_tha_name(char *out, size_t size, const char *name);

// Shared result of registrations: a type or function that the store knows already is as good as a new one.
[[nodiscard]] constexpr int lib_tha_registered(int rc)
{
    return rc == HA_EXISTS ? 0 : rc;
}

#endif
