// Inside the host library: the replicated store's memory.
//
// One reservation at whatever address the process gets, committed as it is used. Records of blocks stand outside of the
// arena, so the arena holds nothing but what its users put there.
#ifndef HOST_STORE_H
#define HOST_STORE_H

#include <atomic>
#include <cstddef>
#include <cstdint>

struct store_block_t {
    uint32_t offset; // bytes from the arena's start
    uint32_t size;   // as asked for
    uint32_t type;   // index of its description
    int32_t group;
    int32_t tag;
    bool used;
};

// Written by the main thread, read by "stat".
struct store_totals_t {
    std::atomic<uint32_t> blocks;
    std::atomic<uint32_t> bytes;
    std::atomic<uint32_t> syncs;
};
extern store_totals_t store_totals;

bool storeOpen();                                                        // false if the machine gives no address space
void *storeTake(size_t size, uint32_t type, int32_t group, int32_t tag); // zeroed, or null
bool storeGive(void *address);                                           // false if no block begins there
void storeClear();                                                       // gives everything back
bool storeHolds(const void *address);                                    // in the used part of the arena
const store_block_t *storeBlock(const void *address);                    // the block that begins there, or null

#endif
