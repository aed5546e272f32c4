// SPDX-License-Identifier: Apache-2.0
// Inside the host library: the replicated store's memory.
//
// One reservation at whatever address the process gets, committed as it is used. Records of blocks stand outside of the
// arena, so the arena holds nothing but what its users put there.
#ifndef HOST_STORE_H
#define HOST_STORE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

struct store_block_t {
    uint32_t offset; // bytes from the arena's start
    uint32_t size;   // as asked for
    uint32_t type;   // index of its description
    int32_t group;
    int32_t tag;
    bool used;
    bool touched; // taken or given back since the last storeTouched
};

// Written by the main thread, read by "stat".
struct store_totals_t {
    std::atomic<uint32_t> blocks;
    std::atomic<uint32_t> bytes;
    std::atomic<uint32_t> syncs;
};
extern store_totals_t store_totals;

constexpr size_t STORE_WHOLE = size_t{1} << 30; // bytes that are reserved where address space is not limited
bool storeOpen();                               // false if the machine gives no address space
void *storeTake(size_t size, uint32_t type, int32_t group, int32_t tag); // zeroed, or null
bool storeGive(void *address);                                           // false if no block begins there
void storeClear();                                                       // gives everything back
bool storeHolds(const void *address);                                    // in the used part of the arena
const store_block_t *storeBlock(const void *address);                    // the block that begins there, or null

// For replication. Blocks are numbered in ascending order of their offsets, those given back included, and keep number,
// offset and room for good.
unsigned char *storeBase();
unsigned char *storeBack(); // where the same bytes can be written whatever protection the arena has, or the base again
size_t storeReserved();
unsigned char *storeShadow(); // a second reservation of the same size, usable as far as the arena, for the pages' twins
size_t storeCommitted();
const std::vector<store_block_t> &storeBlocks();
// The next stretch at or behind an offset, or around it, that may hold anything but zeros; both ends are storeCommitted
// where none follows. To read the rest would give it memory.
struct store_stretch_t {
    size_t from, end;
};
store_stretch_t storeWritten(size_t from);
size_t storeRoom(size_t size);             // bytes that a block of the size takes
int64_t storeBlockAround(uint32_t offset); // number of the block whose room the offset lies in, -1 for none
// Puts in a block as another process's store has it, zeroed if it is used. The caller has checked that its number is
// the next one, or that of a block with the same place and room.
bool storePut(uint32_t number, const store_block_t &block);

// While on, the numbers of blocks that are taken or given back are noted, each once, and new pages begin read-only.
void storeNote(bool on);
std::vector<uint32_t> storeTouched();  // in ascending order; empties the note
bool storeTookAround(uint32_t offset); // the offset lies in a block that is noted as taken
bool storeWasCleared();                // storeClear ran while on; takes the mark back

#endif
