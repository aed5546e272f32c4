// SPDX-License-Identifier: Apache-2.0
// Finding what changed: written pages against their twins, registered objects against a copy, and both mapped onto the
// ranges that the records' descriptions name.
#include "host/delta.h"

#include <algorithm>
#include <cstring>
#include <sys/mman.h>

#include "host/delta_records.h"
#include "host/describe.h"
#include "host/fault.h"
#include "host/store.h"
#include "host/track.h"

namespace {

constexpr uint32_t STEP = 8;     // bytes compared at a time; no pointer is larger
constexpr uint32_t STRIDE = 256; // bytes compared at a time while they are the same

constexpr uint32_t GAP = 64; // bytes between two described ranges of an object that are compared along with them

std::vector<std::vector<unsigned char>> known_objects;

// What of an object is compared at a time.
struct span_t {
    uint32_t object;
    uint32_t from, end;
};
std::vector<span_t> known_spans;

// Where records stand that are being compared.
struct place_t {
    uint32_t name; // as a delta has it
    const describe_plan_t *plan;
    const unsigned char *now;
    const unsigned char *before; // null for zeros
};

void put(delta_t *delta, std::initializer_list<uint32_t> words)
{
    delta->words.insert(delta->words.end(), words);
    ++delta->records;
}

const std::vector<store_block_t> &blocksOf(const delta_t *delta)
{
    return delta->blocks ? *delta->blocks : storeBlocks();
}

void putBlock(delta_t *delta, uint32_t number)
{
    const store_block_t &block = blocksOf(delta)[number];
    put(delta, {DELTA_BLOCK, number, block.offset, block.size, block.type, static_cast<uint32_t>(block.group),
                static_cast<uint32_t>(block.tag), block.used});
}

void putBytes(delta_t *delta, const place_t &place, uint32_t from, uint32_t end)
{
    while (from < end) {
        const uint32_t length = std::min(end - from, DELTA_BYTES_MOST);
        put(delta, {DELTA_BYTES | length << DELTA_SHIFT, place.name, from});
        const size_t at = delta->words.size();
        delta->words.resize(at + (length + 3) / 4);
        memcpy(&delta->words[at], place.now + from, length);
        from += length;
    }
}

// An object is left by its end as well: the last pointer of a list's head may lead behind it.
bool findObject(uintptr_t address, uint32_t *number, uint32_t *offset)
{
    const auto &objects = describeObjects();
    for (uint32_t i = 0; i < objects.size(); ++i) {
        const uintptr_t distance = address - reinterpret_cast<uintptr_t>(objects[i].address);
        if (distance >= objects[i].size)
            continue;
        *number = i;
        *offset = static_cast<uint32_t>(distance);
        return true;
    }
    return false;
}

void putPointer(delta_t *delta, const place_t &place, uint32_t at)
{
    uintptr_t address;
    memcpy(&address, place.now + at, sizeof address);
    uint32_t kind = DELTA_TO_NULL;
    uint32_t number = 0;
    uint32_t offset = 0;
    if (storeHolds(reinterpret_cast<const void *>(address))) {
        const uint32_t in_arena = static_cast<uint32_t>(address - reinterpret_cast<uintptr_t>(storeBase()));
        const uint32_t around = static_cast<uint32_t>(storeBlockAround(in_arena));
        const auto &blocks = blocksOf(delta);
        const store_block_t block = around < blocks.size() ? blocks[around] : store_block_t{};
        if (block.used && in_arena - block.offset < std::max(block.size, 1U)) {
            kind = DELTA_TO_BLOCK;
            number = around;
            offset = in_arena - block.offset;
        }
    } else if (const int64_t function = describeFunctionNumber(address); function >= 0) {
        kind = DELTA_TO_FUNCTION;
        number = static_cast<uint32_t>(function);
    } else if (address && findObject(address, &number, &offset)) {
        kind = DELTA_TO_OBJECT;
    }
    put(delta, {DELTA_POINTER | kind << DELTA_SHIFT, place.name, at, number, offset});
}

// [from, end) changed: the described parts of it.
void putRange(delta_t *delta, const place_t &place, uint32_t from, uint32_t end)
{
    const describe_plan_t &plan = *place.plan;
    for (uint32_t record = from / plan.size * plan.size; record < end; record += plan.size) {
        const uint32_t begin = from > record ? from - record : 0;
        auto leaf = std::partition_point(plan.leaves.begin(), plan.leaves.end(),
                                         [begin](const describe_leaf_t &l) { return l.offset + l.size <= begin; });
        for (; leaf != plan.leaves.end() && record + leaf->offset < end; ++leaf) {
            const uint32_t start = std::max(begin, leaf->offset);
            const uint32_t stop = std::min(end - record, leaf->offset + leaf->size);
            if (!leaf->pointer) {
                putBytes(delta, place, record + start, record + stop);
                continue;
            }
            constexpr uint32_t WIDTH = sizeof(void *);
            for (uint32_t at = leaf->offset + (start - leaf->offset) / WIDTH * WIDTH; at < stop; at += WIDTH)
                putPointer(delta, place, record + at);
        }
    }
}

bool differs(const place_t &place, uint32_t at, uint32_t length)
{
    static constexpr unsigned char ZEROS[STRIDE] = {};
    return memcmp(place.now + at, place.before ? place.before + at : ZEROS, length) != 0;
}

// The end of the step that `at` lies in.
uint32_t stepEnd(uint32_t at, uint32_t end)
{
    return std::min(at / STEP * STEP + STEP, end);
}

// The first step from `at` on that differs; `end` for none.
uint32_t skipSame(const place_t &place, uint32_t at, uint32_t end)
{
    while (end - at >= STRIDE && !differs(place, at, STRIDE))
        at += STRIDE;
    while (at < end && !differs(place, at, stepEnd(at, end) - at))
        at = stepEnd(at, end);
    return at;
}

// Compares [from, end) and gives each run that differs, cut at its first and last differing byte.
void compare(delta_t *delta, const place_t &place, uint32_t from, uint32_t end)
{
    if (!place.plan || place.plan->leaves.empty() || place.plan->size == 0)
        return;
    for (uint32_t at = skipSame(place, from, end); at < end; at = skipSame(place, at, end)) {
        uint32_t run = at;
        while (run < end && differs(place, run, stepEnd(run, end) - run))
            run = stepEnd(run, end);
        uint32_t first = at;
        uint32_t last = run;
        while (!differs(place, first, 1))
            ++first;
        while (!differs(place, last - 1, 1))
            --last;
        putRange(delta, place, first, last);
        at = run;
    }
}

place_t placeOf(uint32_t number)
{
    const store_block_t &block = storeBlocks()[number];
    return {number, describePlan(block.type), storeBase() + block.offset, nullptr};
}

// The blocks of one written page. A block that was taken anew is compared with zeros, as the standby has zeroed it.
void comparePage(delta_t *delta, uint32_t page, const std::vector<uint32_t> &touched)
{
    const uint32_t from = static_cast<uint32_t>(page * trackPage());
    const uint32_t end = static_cast<uint32_t>(from + trackPage());
    const unsigned char *const twin = trackTwin(page);
    const auto &blocks = storeBlocks();
    for (int64_t n = storeBlockAround(from); n >= 0 && n < static_cast<int64_t>(blocks.size()); ++n) {
        const uint32_t number = static_cast<uint32_t>(n);
        const store_block_t &block = blocks[number];
        if (block.offset >= end)
            break;
        const uint32_t start = std::max(from, block.offset);
        const uint32_t stop = std::min(end, block.offset + block.size);
        if (!block.used || start >= stop)
            continue;
        place_t place = placeOf(number);
        if (!std::binary_search(touched.begin(), touched.end(), number))
            place.before = twin - from + block.offset;
        compare(delta, place, start - block.offset, stop - block.offset);
    }
}

void compareEdit(delta_t *delta, const track_edit_t &edit, const std::vector<uint32_t> &touched)
{
    if (edit.before && memcmp(storeBase() + edit.offset, edit.before, edit.size) == 0 && touched.empty())
        return;
    const uint32_t number = static_cast<uint32_t>(storeBlockAround(edit.offset));
    const store_block_t &block = storeBlocks()[number];
    const uint32_t start = edit.offset - block.offset;
    if (!block.used || start >= block.size)
        return;
    place_t place = placeOf(number);
    if (!std::binary_search(touched.begin(), touched.end(), number))
        place.before = edit.before - start;
    compare(delta, place, start, std::min(start + edit.size, block.size));
}

void compareObjects(delta_t *delta)
{
    for (const span_t &span : known_spans) {
        const describe_object_t &object = describeObjects()[span.object];
        unsigned char *const known = known_objects[span.object].data();
        if (memcmp(object.address + span.from, known + span.from, span.end - span.from) == 0)
            continue;
        compare(delta, {DELTA_OBJECT | span.object, describePlan(object.type), object.address, known}, span.from,
                span.end);
        memcpy(known + span.from, object.address + span.from, span.end - span.from);
    }
}

void rememberSpans(uint32_t number)
{
    const describe_object_t &object = describeObjects()[number];
    const describe_plan_t *plan = describePlan(object.type);
    for (uint32_t record = 0; record + plan->size <= object.size; record += plan->size)
        for (const describe_leaf_t &leaf : plan->leaves) {
            const uint32_t at = record + leaf.offset;
            if (!known_spans.empty() && known_spans.back().object == number && at - known_spans.back().end <= GAP)
                known_spans.back().end = at + leaf.size;
            else
                known_spans.push_back({number, at, at + leaf.size});
        }
}

} // namespace

void deltaRemember()
{
    known_objects.clear();
    known_spans.clear();
    for (uint32_t i = 0; i < describeObjects().size(); ++i) {
        const describe_object_t &object = describeObjects()[i];
        known_objects.emplace_back(object.address, object.address + object.size);
        rememberSpans(i);
    }
}

void deltaChanges(delta_t *delta)
{
    const std::vector<uint32_t> touched = storeTouched();
    for (const uint32_t number : touched)
        putBlock(delta, number);
    // A block that was taken anew may look as before, and yet the standby has zeroed it.
    for (const uint32_t page : trackWritten(!touched.empty()))
        comparePage(delta, page, touched);
    for (const track_edit_t &edit : trackEdits())
        compareEdit(delta, edit, touched);
    compareObjects(delta);
}

void deltaBlocks(delta_t *delta, uint32_t from, uint32_t end)
{
    for (uint32_t number = from; number < end; ++number)
        putBlock(delta, number);
}

void deltaBlock(delta_t *delta, uint32_t number, store_stretch_t *written)
{
    const store_block_t &block = blocksOf(delta)[number];
    const place_t place = {number, describePlan(block.type), storeBase() + block.offset, nullptr};
    const size_t end = size_t{block.offset} + block.size;
    for (size_t at = block.offset; at < end; at = written->end) {
        if (at >= written->end)
            *written = storeWritten(at);
        if (written->from >= end)
            return;
        compare(delta, place, static_cast<uint32_t>(std::max(at, written->from) - block.offset),
                static_cast<uint32_t>(std::min(end, written->end) - block.offset));
    }
}

void deltaBlock(delta_t *delta, uint32_t number, const unsigned char *bytes)
{
    const store_block_t &block = blocksOf(delta)[number];
    compare(delta, {number, describePlan(block.type), bytes, nullptr}, 0, block.size);
}

void deltaWhole(delta_t *delta)
{
    const auto &blocks = storeBlocks();
    deltaBlocks(delta, 0, static_cast<uint32_t>(blocks.size()));
    store_stretch_t written = {0, 0};
    for (uint32_t number = 0; number < blocks.size(); ++number)
        if (blocks[number].used)
            deltaBlock(delta, number, &written);
    deltaObjects(delta);
}

void deltaObjects(delta_t *delta)
{
    const auto &objects = describeObjects();
    for (uint32_t i = 0; i < objects.size(); ++i)
        putRange(delta, {DELTA_OBJECT | i, describePlan(objects[i].type), objects[i].address, nullptr}, 0,
                 objects[i].size);
}

void deltaStartOf(delta_t *delta, uint32_t object)
{
    const describe_object_t &is = describeObjects()[object];
    if (const unsigned char *const bytes = deltaStart(object))
        putRange(delta, {DELTA_OBJECT | object, describePlan(is.type), bytes, nullptr}, 0, is.size);
}

void deltaCommit(delta_t *delta, uint64_t sequence)
{
    put(delta, {DELTA_COMMIT, delta->records, static_cast<uint32_t>(sequence), static_cast<uint32_t>(sequence >> 32)});
}

bool deltaRoomFor(size_t bytes)
{
    if (faultFails(FAULT_ROOM))
        return false;
    void *const room =
        mmap(nullptr, std::max<size_t>(bytes, 1), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (room == MAP_FAILED)
        return false;
    munmap(room, std::max<size_t>(bytes, 1));
    return true;
}
