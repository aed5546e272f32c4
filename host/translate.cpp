// SPDX-License-Identifier: Apache-2.0
// Translation of dumps and deltas, record by record. A block holds as many records here as there, at sizes of its own,
// so it has another place, and a number of its own too: the other process may give a block's room to a record that fits
// there and does not here. Nothing is believed that the words say.
#include "host/translate.h"

#include <algorithm>
#include <map>

#include "host/delta.h"
#include "host/delta_records.h"
#include "host/describe.h"
#include "host/layout.h"
#include "host/store.h"

namespace {

using words_t = std::span<const uint32_t>;

constexpr size_t GROWTH_MOST = 64;              // words that come of one, on the whole,
constexpr size_t GROWTH_FREE = size_t{1} << 20; // and so many more
constexpr uint32_t PLACEHOLDER_TYPE = 0;        // bytes, for a block whose records this process does not have

// A block of the other process.
struct block_t {
    bool used;
    bool placed; // has one here
    uint32_t type;
    uint32_t size;
    uint32_t own; // number
};
// A block here.
struct own_block_t {
    uint32_t offset;
    uint32_t size;
    uint32_t type;
};

struct translation_t {
    bool runs;
    layout_match_t match;
    std::vector<block_t> blocks;
    std::vector<own_block_t> own;
    std::map<size_t, std::vector<uint32_t>> spare; // own numbers that none of theirs has, by room
    uint64_t end;                                  // of the last own block
};
translation_t now;

// What comes of one packet.
struct said_t {
    delta_t delta;
    size_t most; // words
    std::string wrong;
};

// Whether there is room for so many words more.
bool grows(said_t *said, size_t words)
{
    std::vector<uint32_t> &all = said->delta.words;
    if (!said->wrong.empty())
        return false;
    if (words <= all.capacity() - all.size())
        return true;
    const size_t wanted = std::max(2 * all.capacity(), all.size() + words + 1024);
    if (all.size() + words > said->most)
        said->wrong = "it is too long in this process's records";
    else if (!deltaRoomFor(wanted * sizeof(uint32_t)))
        said->wrong = "there is no memory to translate it";
    else
        all.reserve(wanted);
    return said->wrong.empty();
}

void put(said_t *said, std::initializer_list<uint32_t> words)
{
    if (!grows(said, words.size()))
        return;
    said->delta.words.insert(said->delta.words.end(), words);
    ++said->delta.records;
}

void putBytes(said_t *said, uint32_t place, uint32_t offset, const unsigned char *bytes, uint32_t length)
{
    const size_t words = (size_t{length} + 3) / 4;
    if (!grows(said, DELTA_WORDS[DELTA_BYTES] + words))
        return;
    put(said, {DELTA_BYTES | length << DELTA_SHIFT, place, offset});
    const size_t at = said->delta.words.size();
    said->delta.words.resize(at + words);
    std::copy_n(bytes, length, reinterpret_cast<unsigned char *>(said->delta.words.data() + at));
}

void putInitials(said_t *said, uint32_t place, const layout_type_t &type, uint32_t size)
{
    const uint32_t records = type.initials.empty() ? 0 : size / type.to_size;
    for (uint32_t n = 0; n < records && said->wrong.empty(); ++n)
        for (const layout_initial_t &initial : type.initials)
            putBytes(said, place, n * type.to_size + initial.to, initial.bytes, initial.size);
}

// ---- Blocks

void putOwn(said_t *said, uint32_t number, words_t record, bool used)
{
    const own_block_t &own = now.own[number];
    put(said, {DELTA_BLOCK, number, own.offset, own.size, own.type, record[5], record[6], used});
}

// A block here of the size: a spare one, or the next.
uint32_t findRoom(uint32_t size)
{
    const size_t room = storeRoom(size);
    std::vector<uint32_t> &spare = now.spare[room];
    if (!spare.empty()) {
        const uint32_t number = spare.back();
        spare.pop_back();
        return number;
    }
    now.own.push_back({static_cast<uint32_t>(now.end), size, PLACEHOLDER_TYPE});
    now.end += room;
    return static_cast<uint32_t>(now.own.size()) - 1;
}

// Empty, or why this process can have no such block. What it holds is a whole number of records.
std::string ownSize(const block_t &block, uint64_t *size)
{
    const layout_type_t &type = now.match.types[block.type];
    *size = block.size;
    if (type.own >= 0 && block.size % type.from_size != 0)
        return "a block holds a part of a record";
    if (type.own >= 0)
        *size = *size / type.from_size * type.to_size;
    return *size < storeReserved() ? std::string()
                                   : "there is no room for a block of " + std::to_string(*size) + " bytes";
}

void useBlock(said_t *said, block_t *block, words_t record)
{
    uint64_t size;
    said->wrong = ownSize(*block, &size);
    if (!said->wrong.empty())
        return;
    const layout_type_t &type = now.match.types[block->type];
    if (block->placed && storeRoom(now.own[block->own].size) != storeRoom(size)) {
        putOwn(said, block->own, record, false);
        now.spare[storeRoom(now.own[block->own].size)].push_back(block->own);
        block->placed = false;
    }
    if (!block->placed)
        block->own = findRoom(static_cast<uint32_t>(size));
    block->placed = true;
    own_block_t &own = now.own[block->own];
    own.size = static_cast<uint32_t>(size);
    own.type = type.own < 0 ? PLACEHOLDER_TYPE : static_cast<uint32_t>(type.own);
    putOwn(said, block->own, record, true);
    if (type.own >= 0)
        putInitials(said, block->own, type, own.size);
}

// A block that is free from the start takes no room here.
void translateBlock(said_t *said, words_t record)
{
    const uint32_t number = record[1];
    if (number > now.blocks.size() || number >= DELTA_OBJECT || record[4] >= now.match.types.size()) {
        said->wrong = "block " + std::to_string(number) + " does not follow the one before it, or is of unknown type";
        return;
    }
    if (number == now.blocks.size())
        now.blocks.push_back({});
    block_t &block = now.blocks[number];
    block.used = record[7] != 0;
    block.type = record[4];
    block.size = record[3];
    if (block.used)
        useBlock(said, &block, record);
    else if (block.placed)
        putOwn(said, block.own, record, false);
}

// ---- What is in them

// Where bytes or a pointer of the other process stand, or lead to.
struct spot_t {
    const layout_type_t *type; // null if there is no such place
    uint32_t size;             // bytes there
    int64_t own;               // the place as a delta of this process has it, -1 for none
};

spot_t spotOf(uint32_t place)
{
    const uint32_t number = place & ~DELTA_OBJECT;
    if (place & DELTA_OBJECT) {
        if (number >= now.match.objects.size())
            return {};
        const layout_object_t &object = now.match.objects[number];
        return {&now.match.types[object.type], object.size, object.own < 0 ? -1 : object.own | DELTA_OBJECT};
    }
    if (number >= now.blocks.size() || !now.blocks[number].used)
        return {};
    const block_t &block = now.blocks[number];
    return {&now.match.types[block.type], block.size, block.own};
}

bool isIn(const spot_t &spot, uint32_t offset, uint32_t length)
{
    return spot.type && offset <= spot.size && length <= spot.size - offset;
}

void translateBytes(said_t *said, words_t record)
{
    const uint32_t from = record[2];
    const uint32_t length = record[0] >> DELTA_SHIFT;
    const uint64_t end = uint64_t{from} + length;
    const spot_t spot = spotOf(record[1]);
    if (!isIn(spot, from, length) || length == 0) {
        said->wrong = "there are no " + std::to_string(length) + " bytes at " + std::to_string(from);
        return;
    }
    if (spot.own < 0 || spot.type->own < 0)
        return;
    const unsigned char *const bytes = reinterpret_cast<const unsigned char *>(&record[3]);
    const layout_type_t &type = *spot.type;
    for (uint64_t n = from / type.from_size; n * type.from_size < end && said->wrong.empty(); ++n)
        for (const layout_range_t &range : type.ranges) {
            const uint64_t begin = n * type.from_size + range.from;
            const uint64_t start = std::max<uint64_t>(from, begin);
            const uint64_t stop = std::min(end, begin + range.size);
            if (range.kind == layout_kind_t::PLAIN && start < stop)
                putBytes(said, static_cast<uint32_t>(spot.own),
                         static_cast<uint32_t>(n * type.to_size + range.to + (start - begin)), bytes + (start - from),
                         static_cast<uint32_t>(stop - start));
        }
}

const layout_range_t *rangeAround(const layout_type_t &type, uint32_t offset, bool pointer)
{
    for (const layout_range_t &range : type.ranges)
        if ((!pointer || range.kind != layout_kind_t::PLAIN) && offset >= range.from &&
            offset - range.from < range.size)
            return &range;
    return nullptr;
}

// Where an offset into the other process's records lies here, -1 for nowhere: a field or a record that this process
// lacks. What a list or tree holds of such records stays something, as nobody here knows that list.
int64_t ownOffset(const layout_type_t &type, uint32_t offset, layout_kind_t kind)
{
    if (type.own < 0)
        return kind == layout_kind_t::ELEMENT ? 0 : -1;
    const bool back = kind == layout_kind_t::BACK;
    const uint32_t within = offset % type.from_size;
    const int64_t record = int64_t{offset / type.from_size} * type.to_size;
    if (within == 0 && !back)
        return record;
    const layout_range_t *const range = rangeAround(type, within, back);
    return range ? record + range->to + (within - range->from) : -1;
}

struct target_t {
    uint32_t kind;
    uint32_t number;
    uint32_t offset;
};

// What a pointer leads to here, or nowhere. False if it leads nowhere there either.
bool translateTarget(words_t record, layout_kind_t pointer, target_t *target)
{
    const uint32_t kind = record[0] >> DELTA_SHIFT;
    *target = {DELTA_TO_NULL, 0, 0};
    if (kind == DELTA_TO_FUNCTION && record[3] < now.match.functions.size()) {
        if (const int64_t own = now.match.functions[record[3]]; own >= 0)
            *target = {DELTA_TO_FUNCTION, static_cast<uint32_t>(own), 0};
        return true;
    }
    if (kind != DELTA_TO_BLOCK && kind != DELTA_TO_OBJECT)
        return kind == DELTA_TO_NULL;
    const bool object = kind == DELTA_TO_OBJECT;
    if (record[3] >= DELTA_OBJECT)
        return false;
    const spot_t spot = spotOf(record[3] | (object ? DELTA_OBJECT : 0));
    if (!spot.type || record[4] >= std::max(spot.size, 1U))
        return false;
    const int64_t offset = spot.own < 0 ? -1 : ownOffset(*spot.type, record[4], pointer);
    if (offset >= 0)
        *target = {kind, static_cast<uint32_t>(spot.own) & ~DELTA_OBJECT, static_cast<uint32_t>(offset)};
    return true;
}

void translatePointer(said_t *said, words_t record)
{
    const spot_t spot = spotOf(record[1]);
    if (!isIn(spot, record[2], sizeof(void *))) {
        said->wrong = "there is no pointer at " + std::to_string(record[2]);
        return;
    }
    if (spot.own < 0 || spot.type->own < 0)
        return;
    const uint32_t within = record[2] % spot.type->from_size;
    const layout_range_t *const range = rangeAround(*spot.type, within, true);
    if (!range || (within - range->from) % sizeof(void *) != 0)
        return;
    target_t target;
    if (!translateTarget(record, range->kind, &target)) {
        said->wrong = "a reference leads nowhere";
        return;
    }
    const uint32_t at = record[2] / spot.type->from_size * spot.type->to_size + range->to + (within - range->from);
    put(said, {DELTA_POINTER | target.kind << DELTA_SHIFT, static_cast<uint32_t>(spot.own), at, target.number,
               target.offset});
}

// Of a dump, what the other process has nothing of.
void addLacked(said_t *said)
{
    for (const layout_object_t &object : now.match.objects)
        if (object.own >= 0)
            putInitials(said, DELTA_OBJECT | static_cast<uint32_t>(object.own), now.match.types[object.type],
                        describeObjects()[static_cast<size_t>(object.own)].size);
    for (const uint32_t object : now.match.objects_lacked)
        deltaStartOf(&said->delta, object);
}

void translateRecord(said_t *said, words_t record, bool blocks)
{
    const uint32_t op = record[0] & DELTA_OP;
    if (blocks && op == DELTA_BLOCK)
        translateBlock(said, record);
    else if (!blocks && op == DELTA_BYTES)
        translateBytes(said, record);
    else if (!blocks && op == DELTA_POINTER)
        translatePointer(said, record);
}

} // namespace

std::string translateBegin(words_t description)
{
    translateEnd();
    std::string wrong = layoutMatch(description, &now.match);
    now.runs = wrong.empty();
    return wrong;
}

void translateEnd()
{
    now = {};
}

bool translateRuns()
{
    return now.runs;
}

const std::string &translateVersion()
{
    return now.match.version;
}

std::string translate(words_t words, bool dump, uint64_t sequence, std::vector<uint32_t> *own)
{
    said_t said = {{}, GROWTH_MOST * words.size() + GROWTH_FREE, deltaRowWrong(words, sequence)};
    if (dump) {
        now.blocks.clear();
        now.own.clear();
        now.spare.clear();
        now.end = 0;
    }
    for (const bool blocks : {true, false}) {
        if (dump && !blocks && said.wrong.empty())
            addLacked(&said);
        for (size_t at = 0; at < words.size() && said.wrong.empty(); at += deltaRecordLength(words.subspan(at)))
            translateRecord(&said, words.subspan(at), blocks);
    }
    if (said.wrong.empty())
        deltaCommit(&said.delta, sequence);
    *own = std::move(said.delta.words);
    return said.wrong;
}
