// SPDX-License-Identifier: Apache-2.0
// Memory of the containers. Main thread only.
#include "lib/tha_mem.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

bool lib_tha_debug;

namespace {

// Stands in front of a block that came from the heap in place of the store; chained by the block's address.
struct alignas(max_align_t) Stray {
    Stray *next;
};

constexpr size_t CHAINS = 256;
Stray *strays[CHAINS];

Stray *&chainOf(const void *block)
{
    return strays[(reinterpret_cast<uintptr_t>(block) / sizeof(Stray)) % CHAINS];
}

void *strayAlloc(size_t size)
{
    Stray *stray = static_cast<Stray *>(calloc(1, sizeof(Stray) + size));
    if (!stray)
        return nullptr;
    Stray *&chain = chainOf(stray + 1);
    stray->next = chain;
    chain = stray;
    return stray + 1;
}

// True if the block was one of those, and is freed.
bool strayFree(void *block)
{
    for (Stray **at = &chainOf(block); *at; at = &(*at)->next) {
        Stray *stray = *at;
        if (stray + 1 == block) {
            *at = stray->next;
            free(stray);
            return true;
        }
    }
    return false;
}

} // namespace

void *lib_tha_alloc(ha_hndl_t ha, size_t size, const char *type, int group, int tag, const char *name, lib_tha_at_t at)
{
    if (ha < 1)
        return calloc(1, size);
    if (void *block = ha_xcalloc(ha, size, type, group, tag, name))
        return block;
    if (lib_tha_debug)
        printf("THA: %s:%d:%s: ha_hndl(%d), size(%d), obj_str(%s), objgrp_id(%d), tagflag(%d) \n", at.file, at.line,
               at.function, ha, static_cast<int>(size), type, group, tag);
    return strayAlloc(size);
}

void lib_tha_free(ha_hndl_t ha, void *block, lib_tha_at_t at)
{
    if (!block)
        return;
    if (ha < 1) {
        free(block);
        return;
    }
    if (strayFree(block))
        return;
    if (ha_free(ha, block) != 0 && lib_tha_debug)
        printf("THA: %s:%d:%s: ha_hndl(%d), free_ptr(%p), ha_get_state(%d) \n", at.file, at.line, at.function, ha,
               block, ha_get_state(ha));
}

void lib_tha_name(char *out, size_t size, const char *name)
{
    constexpr size_t KEPT = 30;
    if (!name)
        name = "unkown";
    const size_t length = strlen(name);
    const size_t kept = std::min({length, KEPT, size - 1});
    memcpy(out, length > KEPT ? name + (length - KEPT) : name, kept);
    out[kept] = '\0';
}
