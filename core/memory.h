// SPDX-License-Identifier: Apache-2.0
// The allocators of the agent's modules: by memory type either in the replicated store or on the heap, counted per
// module and type.
#ifndef CORE_MEMORY_H
#define CORE_MEMORY_H

#include <cstdint>

#include "core/module.h"
#include "core/print.h"

// Memory types that the agent allocates, out of the list shared with the manager.
enum qosMemTypeId_t : uint32_t {
    QOS_MEM_CHIP = 0,
    QOS_MEM_IF = 1,
    QOS_MEM_UPDATE = 2, // heap
    QOS_MEM_RED_PROFILE = 10,
    QOS_MEM_POLICER_INFO = 17,
    QOS_MEM_DROP_MONITOR = 44,
};

// A zeroed block of `size` bytes, or null. `module` and `type` are below 27 and 45.
void *qosMalloc(uint32_t module, uint32_t type, uint32_t size);

// Gives a block back and clears the caller's pointer; nothing for a null pointer. `size` is what was asked for: the
// sizes are kept nowhere.
void qosFree(uint32_t module, uint32_t type, void **pointer, uint32_t size);

template <typename T>
T *qosMallocRecord(uint32_t module, uint32_t type)
{
    return static_cast<T *>(qosMalloc(module, type, sizeof(T)));
}

template <typename T>
void qosFreeRecord(uint32_t module, uint32_t type, T *&pointer)
{
    void *block = pointer;
    qosFree(module, type, &block, sizeof(T));
    pointer = nullptr;
}

// Prints the counters of every registered module but the first, whose id is 0.
bool qosShowMemStatsPart(cli_t *cli, qosCursor_t *at); // a module

#endif
