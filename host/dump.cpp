// SPDX-License-Identifier: Apache-2.0
// The blocks first, then what they hold, then the objects, as in any dump. Words that are no longer few go into a file
// as they come.
#include "host/dump.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <time.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

#include "host/delta.h"
#include "host/raslog.h"
#include "host/store.h"
#include "host/track.h"

namespace {

#ifdef VELMAR_KILL_POINTS
constexpr bool AUDITED = true;
constexpr uint32_t SLICE_STEPS = 8; // so that as much as can happens in the middle of a dump
#else
constexpr bool AUDITED = false;
constexpr uint32_t SLICE_STEPS = UINT32_MAX;
#endif
constexpr int64_t SLICE_NS = 250000;
constexpr uint32_t BLOCKS_A_STEP = 256; // of the list of blocks

struct dump_t {
    bool runs;
    uint64_t sequence;
    std::vector<store_block_t> blocks;
    delta_t objects; // they are few and told at once
    uint32_t listed; // blocks
    uint32_t told;   // what they hold
    store_stretch_t written;
    std::unordered_map<uint32_t, std::unique_ptr<unsigned char[]>> kept; // pages that were written since
    std::vector<unsigned char> joined;                                   // a block that such pages are part of
    delta_t delta;
    size_t filed; // bytes that are in the file already
    int file = -1;
    std::vector<uint32_t> expected; // of builds for tests
};
dump_t dump;

int64_t nanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

// Where the block's bytes of that time lie: in the arena, or joined from pages that were kept.
const unsigned char *bytesOf(const store_block_t &block)
{
    const size_t page = trackPage();
    const size_t end = size_t{block.offset} + block.size;
    const size_t first = block.offset / page;
    const size_t behind = (end + page - 1) / page;
    bool is_kept = false;
    for (size_t n = first; n < behind && !is_kept; ++n)
        is_kept = dump.kept.contains(static_cast<uint32_t>(n));
    if (!is_kept)
        return storeBase() + block.offset;
    dump.joined.resize(block.size);
    for (size_t n = first; n < behind; ++n) {
        const auto kept = dump.kept.find(static_cast<uint32_t>(n));
        const unsigned char *const from = kept == dump.kept.end() ? storeBase() + n * page : kept->second.get();
        const size_t start = std::max<size_t>(n * page, block.offset);
        memcpy(&dump.joined[start - block.offset], from + start % page, std::min((n + 1) * page, end) - start);
    }
    return dump.joined.data();
}

// False if there is nothing left to tell.
bool tellNext()
{
    const uint32_t count = static_cast<uint32_t>(dump.blocks.size());
    if (dump.listed < count) {
        const uint32_t end = std::min(count, dump.listed + BLOCKS_A_STEP);
        deltaBlocks(&dump.delta, dump.listed, end);
        dump.listed = end;
        return true;
    }
    while (dump.told < count && !dump.blocks[dump.told].used)
        ++dump.told;
    if (dump.told == count)
        return false;
    const store_block_t &block = dump.blocks[dump.told];
    const unsigned char *const bytes = bytesOf(block);
    if (bytes == storeBase() + block.offset)
        deltaBlock(&dump.delta, dump.told, &dump.written);
    else
        deltaBlock(&dump.delta, dump.told, bytes);
    ++dump.told;
    return true;
}

bool putAside()
{
    std::vector<uint32_t> &words = dump.delta.words;
    const size_t bytes = words.size() * sizeof(uint32_t);
    if (dump.file < 0 && bytes <= PACKET_INLINE)
        return true;
    if (!packetFile(&dump.file, words.data(), bytes))
        return false;
    dump.filed += bytes;
    words.clear();
    return true;
}

// Builds for tests compare the dump with one that was made in a moment.
void auditBegin()
{
    if (!AUDITED)
        return;
    delta_t whole = {};
    deltaWhole(&whole);
    deltaCommit(&whole, dump.sequence);
    dump.expected = std::move(whole.words);
}

void auditEnd()
{
    if (!AUDITED)
        return;
    std::vector<uint32_t> words(dump.filed / sizeof(uint32_t));
    if (dump.file >= 0 && pread(dump.file, words.data(), dump.filed, 0) != static_cast<ssize_t>(dump.filed))
        abort();
    words.insert(words.end(), dump.delta.words.begin(), dump.delta.words.end());
    if (words == dump.expected)
        return;
    rasLog("store: a dump is not what the store was");
    abort();
}

} // namespace

// A pointer takes 20 bytes of a dump, a block 32.
bool dumpBegin(uint64_t sequence)
{
    const size_t most = storeBlocks().size() * 32 + size_t{store_totals.bytes.load()} * (20 / sizeof(void *) + 1);
    if (!deltaRoomFor(most))
        return false;
    dump = {};
    dump.runs = true;
    dump.sequence = sequence;
    dump.blocks = storeBlocks();
    dump.delta.blocks = dump.objects.blocks = &dump.blocks;
    deltaObjects(&dump.objects);
    trackLetEdit(false);
    auditBegin();
    return true;
}

bool dumpRuns()
{
    return dump.runs;
}

// Pages ahead of the first block that is still to be told, and those that no block had, are not read any more.
void dumpKeep()
{
    if (!dump.runs || dump.told == dump.blocks.size())
        return;
    const size_t page = trackPage();
    const size_t end = size_t{dump.blocks.back().offset} + dump.blocks.back().size;
    for (const uint32_t number : trackWritten(false)) {
        const size_t start = number * page;
        if (start + page <= dump.blocks[dump.told].offset || start >= end || dump.kept.contains(number))
            continue;
        auto &kept = dump.kept[number];
        kept = std::make_unique<unsigned char[]>(page);
        memcpy(kept.get(), trackTwin(number), page);
    }
}

dump_state_t dumpMore()
{
    const int64_t end = nanoseconds() + SLICE_NS;
    for (uint32_t steps = 0; steps < SLICE_STEPS && nanoseconds() < end; ++steps) {
        if (tellNext())
            continue;
        dump.delta.words.insert(dump.delta.words.end(), dump.objects.words.begin(), dump.objects.words.end());
        dump.delta.records += dump.objects.records;
        deltaCommit(&dump.delta, dump.sequence);
        auditEnd();
        return putAside() ? dump_state_t::DONE : dump_state_t::FAILED;
    }
    return putAside() ? dump_state_t::MORE : dump_state_t::FAILED;
}

payload_t dumpPayload()
{
    const size_t bytes = dump.delta.words.size() * sizeof(uint32_t);
    return {dump.delta.words.data(), dump.file < 0 ? bytes : dump.filed, dump.file};
}

void dumpEnd()
{
    if (dump.file >= 0)
        close(dump.file);
    dump = {};
    trackLetEdit(true);
}
