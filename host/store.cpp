// SPDX-License-Identifier: Apache-2.0
// The arena: blocks are cut from its end and, once given back, kept by size for the next of the same size. Where a
// block begins, a side table of one word for each 16 bytes holds its number.
//
// The arena's pages are those of a memory file and stand in the address space twice: at its base, where they may be
// protected, and at its back door, where they never are. Nothing of the store ever points there. The file's descriptor
// stays open, so that the kernel gives the pages of a dead process back behind its lock and not ahead of it.
#include "host/store.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

#include "host/fault.h"
#include "host/track.h"

store_totals_t store_totals;

namespace {

constexpr size_t RESERVE_LEAST = size_t{1} << 24;
constexpr size_t LEFT_FREE = size_t{1} << 28; // address space for all else: stacks, heap, a dump on its way
constexpr size_t GRANULE = 16;
constexpr size_t COMMIT_STEP = size_t{1} << 18;
constexpr size_t EXACT_MOST = size_t{1} << 16; // larger blocks have a power of two of room

struct arena_t {
    unsigned char *base;
    unsigned char *back; // the same pages again; the base itself where there is no file
    int file;
    unsigned char *shadow;
    size_t reserved;
    size_t committed;
    size_t used;
    uint32_t *numbers; // by granule, block number + 1 where a block begins
    std::vector<store_block_t> blocks;
    std::unordered_map<size_t, std::vector<uint32_t>> free; // block numbers by room
    bool noting;
    bool cleared;
    std::vector<uint32_t> touched;
};
arena_t arena;

void *reserve(size_t size)
{
    void *map = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return map == MAP_FAILED ? nullptr : map;
}

size_t roomFor(size_t size)
{
    const size_t room = size ? (size + GRANULE - 1) / GRANULE * GRANULE : GRANULE;
    return room <= EXACT_MOST ? room : std::bit_ceil(room);
}

size_t tableBytes(size_t arena_bytes)
{
    return arena_bytes / GRANULE * sizeof *arena.numbers;
}

bool openPages(void *address, size_t from, size_t end, int protection)
{
    return mprotect(static_cast<unsigned char *>(address) + from, end - from, protection) == 0;
}

// Makes the arena usable up to `end`, and the shadow and the table with it. The step is whole pages of both.
bool commit(size_t end)
{
    if (end <= arena.committed)
        return true;
    if (end > arena.reserved)
        return false;
    size_t upto = (end + COMMIT_STEP - 1) / COMMIT_STEP * COMMIT_STEP;
    if (upto > arena.reserved)
        upto = arena.reserved;
    if (!openPages(arena.base, arena.committed, upto, arena.noting ? PROT_READ : PROT_READ | PROT_WRITE) ||
        (arena.back != arena.base && !openPages(arena.back, arena.committed, upto, PROT_READ | PROT_WRITE)) ||
        !openPages(arena.shadow, arena.committed, upto, PROT_READ | PROT_WRITE) ||
        !openPages(arena.numbers, tableBytes(arena.committed), tableBytes(upto), PROT_READ | PROT_WRITE))
        return false;
    arena.committed = upto;
    return true;
}

// Appends a block of the room; the arena has it. Its number.
uint32_t cut(size_t room)
{
    store_block_t block = {};
    block.offset = static_cast<uint32_t>(arena.used);
    arena.used += room;
    arena.blocks.push_back(block);
    arena.numbers[block.offset / GRANULE] = static_cast<uint32_t>(arena.blocks.size());
    return static_cast<uint32_t>(arena.blocks.size()) - 1;
}

// Takes a block of the room from the free ones, or cuts a new one: its number, or -1.
int64_t findRoom(size_t room)
{
    const auto kept = arena.free.find(room);
    if (kept != arena.free.end() && !kept->second.empty()) {
        const uint32_t number = kept->second.back();
        kept->second.pop_back();
        // While changes are followed a taken block is compared with zeros, and need not be found to have become zeros.
        const uint32_t offset = arena.blocks[number].offset;
        memset(arena.noting ? trackTaken(offset, room) : arena.base + offset, 0, room);
        return number;
    }
    if (room > arena.reserved - arena.used || !commit(arena.used + room))
        return -1;
    return cut(room);
}

// The one that was given back last is mostly the one that is taken next.
void takeFree(size_t room, uint32_t number)
{
    std::vector<uint32_t> &free = arena.free[room];
    const auto at = std::find(free.rbegin(), free.rend(), number);
    if (at != free.rend())
        free.erase(std::next(at).base());
}

void note(uint32_t number)
{
    store_block_t &block = arena.blocks[number];
    if (!arena.noting || block.touched)
        return;
    block.touched = true;
    arena.touched.push_back(number);
}

// One writer: plain loads and stores do.
void count(uint32_t blocks, uint32_t bytes)
{
    store_totals.blocks.store(store_totals.blocks.load(std::memory_order_relaxed) + blocks, std::memory_order_relaxed);
    store_totals.bytes.store(store_totals.bytes.load(std::memory_order_relaxed) + bytes, std::memory_order_relaxed);
}

int64_t numberOf(const void *address)
{
    const uintptr_t offset = reinterpret_cast<uintptr_t>(address) - reinterpret_cast<uintptr_t>(arena.base);
    if (!arena.base || offset >= arena.used || offset % GRANULE != 0)
        return -1;
    const uint32_t number = arena.numbers[offset / GRANULE];
    return number && arena.blocks[number - 1].used ? static_cast<int64_t>(number) - 1 : -1;
}

} // namespace

namespace {

// Maps a file at both places. Without one both stay as they are reserved, and the second is not used.
void openBackDoor(unsigned char *place)
{
    constexpr int SHARED = MAP_SHARED | MAP_NORESERVE | MAP_FIXED;
    constexpr int RESERVED = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED;
    arena.back = arena.base;
    arena.file = memfd_create("store", MFD_CLOEXEC);
    if (arena.file < 0)
        return;
    if (ftruncate(arena.file, static_cast<off_t>(arena.reserved)) == 0 &&
        mmap(place, arena.reserved, PROT_NONE, SHARED, arena.file, 0) != MAP_FAILED &&
        mmap(arena.base, arena.reserved, PROT_NONE, SHARED, arena.file, 0) != MAP_FAILED) {
        arena.back = place;
        return;
    }
    (void)mmap(arena.base, arena.reserved, PROT_NONE, RESERVED, -1, 0);
    close(arena.file);
    arena.file = -1;
}

} // namespace

// Half as much at a time, until there is room for arena, back door, shadow, table and all else. The least is taken
// without the rest.
bool storeOpen()
{
    for (size_t size = STORE_WHOLE; !arena.base && size >= RESERVE_LEAST; size /= 2) {
        const size_t whole = 3 * size + tableBytes(size);
        const size_t rest = size == RESERVE_LEAST ? 0 : LEFT_FREE;
        unsigned char *const all = static_cast<unsigned char *>(reserve(whole + rest));
        if (!all)
            continue;
        if (rest > 0)
            munmap(all + whole, rest);
        arena.shadow = all;
        arena.numbers = reinterpret_cast<uint32_t *>(all + size);
        arena.base = all + size + tableBytes(size);
        arena.reserved = size;
        openBackDoor(arena.base + size);
    }
    return arena.base;
}

void *storeTake(size_t size, uint32_t type, int32_t group, int32_t tag)
{
    if (!arena.base || size > arena.reserved || faultFails(FAULT_BLOCK))
        return nullptr;
    const int64_t number = findRoom(roomFor(size));
    if (number < 0)
        return nullptr;
    store_block_t &block = arena.blocks[static_cast<size_t>(number)];
    block.size = static_cast<uint32_t>(size);
    block.type = type;
    block.group = group;
    block.tag = tag;
    block.used = true;
    count(1, block.size);
    note(static_cast<uint32_t>(number));
    return arena.base + block.offset;
}

bool storeGive(void *address)
{
    const int64_t number = numberOf(address);
    if (number < 0)
        return false;
    store_block_t &block = arena.blocks[static_cast<size_t>(number)];
    block.used = false;
    arena.free[roomFor(block.size)].push_back(static_cast<uint32_t>(number));
    count(0U - 1, 0U - block.size);
    note(static_cast<uint32_t>(number));
    return true;
}

void storeClear()
{
    if (!arena.base)
        return;
    if (arena.used > 0) {
        if (madvise(arena.back, arena.committed, arena.back != arena.base ? MADV_REMOVE : MADV_DONTNEED) != 0)
            memset(arena.back, 0, arena.used);
        madvise(arena.numbers, tableBytes(arena.committed), MADV_DONTNEED);
    }
    arena.used = 0;
    arena.blocks.clear();
    arena.free.clear();
    arena.touched.clear();
    arena.cleared = arena.noting;
    store_totals.blocks.store(0, std::memory_order_relaxed);
    store_totals.bytes.store(0, std::memory_order_relaxed);
}

bool storeHolds(const void *address)
{
    return arena.base && reinterpret_cast<uintptr_t>(address) - reinterpret_cast<uintptr_t>(arena.base) < arena.used;
}

const store_block_t *storeBlock(const void *address)
{
    const int64_t number = numberOf(address);
    return number < 0 ? nullptr : &arena.blocks[static_cast<size_t>(number)];
}

unsigned char *storeBase()
{
    return arena.base;
}

unsigned char *storeBack()
{
    return arena.back;
}

size_t storeReserved()
{
    return arena.reserved;
}

unsigned char *storeShadow()
{
    return arena.shadow;
}

size_t storeCommitted()
{
    return arena.committed;
}

const std::vector<store_block_t> &storeBlocks()
{
    return arena.blocks;
}

store_stretch_t storeWritten(size_t from)
{
    if (arena.back == arena.base)
        return {from, arena.committed};
    const off_t data = lseek(arena.file, static_cast<off_t>(from), SEEK_DATA);
    if (data < 0)
        return {errno == ENXIO ? arena.committed : from, arena.committed};
    const off_t hole = lseek(arena.file, data, SEEK_HOLE);
    return {static_cast<size_t>(data), hole < 0 ? arena.committed : static_cast<size_t>(hole)};
}

size_t storeRoom(size_t size)
{
    return roomFor(size);
}

int64_t storeBlockAround(uint32_t offset)
{
    if (offset >= arena.used)
        return -1;
    if (const uint32_t begins_here = arena.numbers[offset / GRANULE])
        return int64_t{begins_here} - 1;
    const auto behind = std::upper_bound(arena.blocks.begin(), arena.blocks.end(), offset,
                                         [](uint32_t at, const store_block_t &block) { return at < block.offset; });
    return behind - arena.blocks.begin() - 1;
}

bool storePut(uint32_t number, const store_block_t &block)
{
    const size_t room = roomFor(block.size);
    const bool is_new = number == arena.blocks.size();
    if (faultFails(FAULT_BLOCK) || (is_new && (room > arena.reserved - arena.used || !commit(arena.used + room))))
        return false;
    if (is_new)
        cut(room);
    store_block_t &mine = arena.blocks[number];
    if (mine.used)
        count(0U - 1, 0U - mine.size);
    else if (!is_new)
        takeFree(room, number);
    if (!is_new && block.used) // one that is given back is zeroed when it is taken
        memset(arena.base + mine.offset, 0, room);
    mine = block;
    mine.touched = false;
    if (mine.used)
        count(1, mine.size);
    else
        arena.free[room].push_back(number);
    return true;
}

void storeNote(bool on)
{
    arena.noting = on;
    arena.cleared = false;
    for (const uint32_t number : arena.touched)
        arena.blocks[number].touched = false;
    arena.touched.clear();
}

std::vector<uint32_t> storeTouched()
{
    for (const uint32_t number : arena.touched)
        arena.blocks[number].touched = false;
    std::vector<uint32_t> touched = std::move(arena.touched);
    arena.touched.clear();
    std::sort(touched.begin(), touched.end());
    return touched;
}

bool storeTookAround(uint32_t offset)
{
    if (arena.touched.empty())
        return false;
    const int64_t number = storeBlockAround(offset);
    return number >= 0 && arena.blocks[static_cast<size_t>(number)].touched;
}

bool storeWasCleared()
{
    const bool cleared = arena.cleared;
    arena.cleared = false;
    return cleared;
}
