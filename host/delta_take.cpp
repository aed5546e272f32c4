// SPDX-License-Identifier: Apache-2.0
// Checking a delta that another process sent, and taking it over. Nothing is written before all of it was checked, and
// the check trusts no number in it.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <unordered_map>

#include "host/consistency.h"
#include "host/delta.h"
#include "host/delta_records.h"
#include "host/describe.h"
#include "host/store.h"

namespace {

using words_t = std::span<const uint32_t>;

// The block table as it will be: the store's, or an empty one for a dump, under what the delta has said so far.
struct view_t {
    uint64_t count; // blocks
    uint64_t used;  // bytes of the arena that they take
    bool dump;
    std::unordered_map<uint32_t, store_block_t> told;
};

struct checked_t {
    view_t view;
    uint32_t records;
    std::string wrong;
};

std::string text(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string text(const char *format, ...)
{
    char line[160];
    va_list args;
    va_start(args, format);
    vsnprintf(line, sizeof line, format, args);
    va_end(args);
    return line;
}

const store_block_t *blockIn(const view_t &view, uint32_t number)
{
    const auto told = view.told.find(number);
    if (told != view.told.end())
        return &told->second;
    return !view.dump && number < storeBlocks().size() ? &storeBlocks()[number] : nullptr;
}

store_block_t blockFrom(words_t record)
{
    return {record[2],      record[3], record[4], static_cast<int32_t>(record[5]), static_cast<int32_t>(record[6]),
            record[7] != 0, false};
}

std::string checkBlock(view_t *view, words_t record)
{
    const uint32_t number = record[1];
    const store_block_t block = blockFrom(record);
    if (number >= DELTA_OBJECT)
        return text("block number %u is none", number);
    if (!describePlan(block.type))
        return text("block %u is of unknown type %u", number, block.type);
    const uint64_t room = storeRoom(block.size);
    if (const store_block_t *known = blockIn(*view, number)) {
        if (known->offset != block.offset || storeRoom(known->size) != room)
            return text("block %u has another place or room than before", number);
    } else if (number != view->count || block.offset != view->used) {
        return text("block %u at %u of %u bytes does not follow the one before it", number, block.offset, block.size);
    } else if (room > storeReserved() - view->used) {
        return text("address space is limited, it does not fit a store of %zu bytes", storeReserved());
    } else {
        ++view->count;
        view->used += room;
    }
    view->told[number] = block;
    return {};
}

// Where bytes or a pointer are to go: the plan and the bytes there are, or what is wrong.
std::string findPlace(const view_t &view, uint32_t place, const describe_plan_t **plan, uint32_t *size)
{
    if (place & DELTA_OBJECT) {
        const uint32_t number = place & ~DELTA_OBJECT;
        if (number >= describeObjects().size())
            return text("there is no object %u", number);
        *plan = describePlan(describeObjects()[number].type);
        *size = describeObjects()[number].size;
        return {};
    }
    const store_block_t *block = blockIn(view, place);
    if (!block || !block->used)
        return text("there is no block %u", place);
    *plan = describePlan(block->type);
    *size = block->size;
    return {};
}

// The range lies in one described range of the wanted kind.
bool isDescribed(const describe_plan_t &plan, uint32_t offset, uint32_t length, bool pointer)
{
    const uint32_t at = plan.size ? offset % plan.size : 0;
    const auto leaf = std::partition_point(plan.leaves.begin(), plan.leaves.end(),
                                           [at](const describe_leaf_t &l) { return l.offset + l.size <= at; });
    return leaf != plan.leaves.end() && leaf->pointer == pointer && at >= leaf->offset &&
           length <= leaf->size - (at - leaf->offset) && (!pointer || (at - leaf->offset) % sizeof(void *) == 0);
}

std::string checkRange(const view_t &view, uint32_t place, uint32_t offset, uint32_t length, bool pointer)
{
    const describe_plan_t *plan = nullptr;
    uint32_t size = 0;
    std::string wrong = findPlace(view, place, &plan, &size);
    if (!wrong.empty())
        return wrong;
    if (offset > size || length > size - offset || length == 0 || !isDescribed(*plan, offset, length, pointer))
        return text("%s %u: no %s of %u bytes at %u", place & DELTA_OBJECT ? "object" : "block", place & ~DELTA_OBJECT,
                    pointer ? "pointer" : "field", length, offset);
    return {};
}

std::string checkTarget(const view_t &view, uint32_t kind, uint32_t number, uint32_t offset)
{
    const store_block_t *block = kind == DELTA_TO_BLOCK ? blockIn(view, number) : nullptr;
    const bool good =
        kind == DELTA_TO_NULL || (block && block->used && offset < std::max(block->size, 1U)) ||
        (kind == DELTA_TO_OBJECT && number < describeObjects().size() && offset < describeObjects()[number].size) ||
        (kind == DELTA_TO_FUNCTION && describeFunctionAt(number));
    return good ? std::string() : text("a reference of kind %u to %u at %u leads nowhere", kind, number, offset);
}

// Blocks come ahead of everything that lies in them or leads to them, except that what leads to a block may come
// anywhere: so blocks are looked at first.
std::string checkRecord(view_t *view, words_t record, bool blocks)
{
    const uint32_t op = record[0] & DELTA_OP;
    if (blocks)
        return op == DELTA_BLOCK ? checkBlock(view, record) : std::string();
    if (op == DELTA_BYTES)
        return checkRange(*view, record[1], record[2], record[0] >> DELTA_SHIFT, false);
    if (op != DELTA_POINTER)
        return {};
    std::string wrong = checkRange(*view, record[1], record[2], sizeof(void *), true);
    return wrong.empty() ? checkTarget(*view, record[0] >> DELTA_SHIFT, record[3], record[4]) : wrong;
}

std::string checkAll(view_t *view, words_t words, bool blocks)
{
    for (size_t at = 0; at < words.size();) {
        const words_t rest = words.subspan(at);
        const size_t length = deltaRecordLength(rest);
        if (length == 0)
            return text("the record at word %zu is cut short or of unknown kind", at);
        std::string wrong = checkRecord(view, rest.first(length), blocks);
        if (!wrong.empty())
            return wrong;
        at += length;
    }
    return {};
}

std::string checkCommit(words_t words, uint64_t sequence)
{
    uint32_t records = 0;
    for (size_t at = 0; at < words.size();) {
        const words_t rest = words.subspan(at);
        const size_t length = deltaRecordLength(rest);
        at += length;
        if ((rest[0] & DELTA_OP) != DELTA_COMMIT) {
            ++records;
            continue;
        }
        const uint64_t given = rest[2] | uint64_t{rest[3]} << 32;
        if (at != words.size() || rest[1] != records)
            return text("the commit mark is for %u records, %u came", rest[1], records);
        if (given != sequence)
            return text("sequence %llu came where %llu was due", static_cast<unsigned long long>(given),
                        static_cast<unsigned long long>(sequence));
        return {};
    }
    return "the commit mark is missing";
}

unsigned char *placeAddress(uint32_t place)
{
    return place & DELTA_OBJECT ? describeObjects()[place & ~DELTA_OBJECT].address
                                : storeBase() + storeBlocks()[place].offset;
}

uintptr_t targetAddress(uint32_t kind, uint32_t number, uint32_t offset)
{
    switch (kind) {
    case DELTA_TO_BLOCK:
        return reinterpret_cast<uintptr_t>(storeBase()) + storeBlocks()[number].offset + offset;
    case DELTA_TO_OBJECT:
        return reinterpret_cast<uintptr_t>(describeObjects()[number].address) + offset;
    case DELTA_TO_FUNCTION:
        return describeFunctionAt(number);
    default:
        return 0;
    }
}

std::vector<std::vector<unsigned char>> start; // every object's bytes; empty before deltaKeepStart

// What a copy takes along of an object: from other bytes, or zeros for null.
void setObject(const describe_object_t &object, const unsigned char *from)
{
    const describe_plan_t *plan = describePlan(object.type);
    for (uint32_t record = 0; record + plan->size <= object.size; record += plan->size)
        for (const describe_leaf_t &leaf : plan->leaves) {
            unsigned char *const to = object.address + record + leaf.offset;
            if (from)
                memcpy(to, from + record + leaf.offset, leaf.size);
            else
                memset(to, 0, leaf.size);
        }
}

} // namespace

void deltaKeepStart()
{
    if (start.empty())
        for (const describe_object_t &object : describeObjects())
            start.emplace_back(object.address, object.address + object.size);
}

const unsigned char *deltaStart(uint32_t object)
{
    return object < start.size() ? start[object].data() : nullptr;
}

void deltaBackToStart()
{
    storeClear();
    const auto &objects = describeObjects();
    for (size_t i = 0; i < start.size() && i < objects.size(); ++i)
        setObject(objects[i], start[i].data());
}

void deltaClear()
{
    storeClear();
    for (const describe_object_t &object : describeObjects())
        setObject(object, nullptr);
}

std::string deltaRowWrong(words_t words, uint64_t sequence)
{
    for (size_t at = 0; at < words.size();) {
        const size_t length = deltaRecordLength(words.subspan(at));
        if (length == 0)
            return text("the record at word %zu is cut short or of unknown kind", at);
        at += length;
    }
    return checkCommit(words, sequence);
}

std::string deltaWrong(words_t words, bool dump, uint64_t sequence)
{
    view_t view = {0, 0, dump, {}};
    if (!dump && !storeBlocks().empty()) {
        const store_block_t &last = storeBlocks().back();
        view.count = storeBlocks().size();
        view.used = last.offset + storeRoom(last.size);
    }
    std::string wrong = checkAll(&view, words, true);
    if (wrong.empty())
        wrong = checkAll(&view, words, false);
    if (wrong.empty())
        wrong = checkCommit(words, sequence);
    return wrong.empty() && dump ? consistencyWrong(words, view.used) : wrong;
}

bool deltaTake(words_t words)
{
    // Blocks first: bytes and pointers may lead to any of them.
    for (size_t at = 0; at < words.size(); at += deltaRecordLength(words.subspan(at))) {
        const words_t record = words.subspan(at);
        if ((record[0] & DELTA_OP) == DELTA_BLOCK && !storePut(record[1], blockFrom(record)))
            return false;
    }
    for (size_t at = 0; at < words.size(); at += deltaRecordLength(words.subspan(at))) {
        const words_t record = words.subspan(at);
        const uint32_t op = record[0] & DELTA_OP;
        if (op == DELTA_BYTES) {
            memcpy(placeAddress(record[1]) + record[2], &record[3], record[0] >> DELTA_SHIFT);
        } else if (op == DELTA_POINTER) {
            const uintptr_t address = targetAddress(record[0] >> DELTA_SHIFT, record[3], record[4]);
            memcpy(placeAddress(record[1]) + record[2], &address, sizeof address);
        }
    }
    return true;
}
