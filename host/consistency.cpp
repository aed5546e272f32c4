// SPDX-License-Identifier: Apache-2.0
// Consistency of a dump, or of the store as it is. A dump is laid out in memory of its own, with every pointer as the
// place that it leads to; the store is looked at where it lies. Then each list, tree and queue is walked as its users
// will walk it. A link is believed only if the other end leads back, so no walk is longer than what there is.
//
//   tnx_list_t      head, tail, count       tnx_listnode_t  next, prev, data
//   tnx_avl_tree_t  root, count, free_list  tnx_avl_node_t  left, right, parent, balance, rank, flag, info
//   both            ha_hndl: by which their users give back what they have
//   struct th_X     tqh_first, tqh_last     struct te_X     tqe_next, tqe_prev; the element is a record X
//
// What a list or tree holds is told by the function that it compares by, and where every other pointer leads by the
// links that the process has named: a dump may not lead its users to a record that they take for another.
#include "host/consistency.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <sys/mman.h>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "host/delta_records.h"
#include "host/describe.h"
#include "host/store.h"

namespace {

// A place in the image plus 1; 0 for null. Functions stand behind all places.
using place_t = uint64_t;
constexpr place_t FUNCTION = place_t{1} << (sizeof(void *) * 8 - 1);
constexpr unsigned DEEPEST = 64; // of a tree that is balanced

struct part_t {
    uint64_t begin; // in the image
    uint32_t size;
    uint32_t type;
};

struct list_fields_t {
    uint32_t type, head, tail, count, store, node, next, prev, data, compare, release;
};
struct tree_fields_t {
    uint32_t type, root, count, compare, pool, spare, store, node, left, right, parent, balance, rank, flag, info;
};

// What the descriptions have that is walked; found anew when there are more of them.
struct shape_t {
    uint64_t hash = 0; // of all descriptions
    list_fields_t list = {};
    tree_fields_t tree = {};
    bool has_lists = false;
    bool has_trees = false;
    std::unordered_map<place_t, const ha_link_t *> containers;         // by what they compare by
    std::unordered_map<uint32_t, std::vector<describe_part_t>> walked; // by type: its lists, trees, queues and pointers
    std::unordered_map<uint32_t, std::vector<describe_part_t>> linked; // and the nodes of lists and trees in it
};
shape_t shape;

struct image_t {
    bool is_store = false; // its pointers are addresses, and objects lie apart
    unsigned char *bytes = nullptr;
    uint64_t size = 0;
    std::vector<part_t> parts;            // blocks in use, then objects: in ascending order
    std::vector<uint64_t> objects;        // where they begin
    std::vector<uint64_t> blocks;         // likewise by number
    std::unordered_set<place_t> nodes;    // of lists and trees, met so far, and what they hold
    std::unordered_set<uint64_t> checked; // where records begin that were looked at
    std::string wrong;
};

bool fail(image_t *image, const char *format, ...) __attribute__((format(printf, 2, 3)));
bool fail(image_t *image, const char *format, ...)
{
    char line[160];
    va_list args;
    va_start(args, format);
    vsnprintf(line, sizeof line, format, args);
    va_end(args);
    if (image->wrong.empty())
        image->wrong = line;
    return false;
}

// ---- The image

uint64_t beginOf(const image_t &image, uint32_t place)
{
    return place & DELTA_OBJECT ? image.objects[place & ~DELTA_OBJECT] : image.blocks[place];
}

// A block may be told twice: the last word counts.
void layOutBlocks(image_t *image, std::span<const uint32_t> words)
{
    std::vector<part_t> told;
    for (size_t at = 0; at < words.size(); at += deltaRecordLength(words.subspan(at))) {
        const uint32_t *const record = &words[at];
        if ((record[0] & DELTA_OP) != DELTA_BLOCK)
            continue;
        told.resize(std::max<size_t>(told.size(), size_t{record[1]} + 1));
        told[record[1]] = {record[2], record[7] ? record[3] : 0, record[4]};
    }
    for (const part_t &block : told) {
        image->blocks.push_back(block.begin);
        if (block.size > 0)
            image->parts.push_back(block);
    }
}

void layOutObjects(image_t *image, uint64_t arena)
{
    image->size = arena;
    for (const describe_object_t &object : describeObjects()) {
        image->objects.push_back(image->size);
        image->parts.push_back({image->size, object.size, object.type});
        image->size += (object.size + 15) / 16 * 16;
    }
}

place_t targetOf(const image_t &image, const uint32_t *record)
{
    switch (record[0] >> DELTA_SHIFT) {
    case DELTA_TO_BLOCK:
        return image.blocks[record[3]] + record[4] + 1;
    case DELTA_TO_OBJECT:
        return image.objects[record[3]] + record[4] + 1;
    case DELTA_TO_FUNCTION:
        return FUNCTION + record[3];
    default:
        return 0;
    }
}

void fillIn(image_t *image, std::span<const uint32_t> words)
{
    for (size_t at = 0; at < words.size(); at += deltaRecordLength(words.subspan(at))) {
        const uint32_t *const record = &words[at];
        const uint32_t op = record[0] & DELTA_OP;
        if (op == DELTA_BYTES) {
            memcpy(image->bytes + beginOf(*image, record[1]) + record[2], record + 3, record[0] >> DELTA_SHIFT);
        } else if (op == DELTA_POINTER) {
            const uintptr_t target = static_cast<uintptr_t>(targetOf(*image, record));
            memcpy(image->bytes + beginOf(*image, record[1]) + record[2], &target, sizeof target);
        }
    }
}

// ---- The store

void layOutStore(image_t *image)
{
    image->is_store = true;
    image->bytes = storeBase();
    const auto &blocks = storeBlocks();
    image->parts.reserve(blocks.size() + describeObjects().size());
    for (const store_block_t &block : blocks)
        if (block.used && block.size > 0)
            image->parts.push_back({block.offset, block.size, block.type});
    layOutObjects(image, blocks.empty() ? 0 : blocks.back().offset + storeRoom(blocks.back().size));
}

// As a dump would tell it: null for what no block, object or function is at.
place_t placeOf(const image_t &image, uintptr_t address)
{
    if (address == 0)
        return 0;
    if (storeHolds(reinterpret_cast<const void *>(address))) {
        const uint32_t at = static_cast<uint32_t>(address - reinterpret_cast<uintptr_t>(storeBase()));
        const store_block_t &block = storeBlocks()[static_cast<size_t>(storeBlockAround(at))];
        return block.used && at - block.offset < std::max(block.size, 1U) ? place_t{at} + 1 : 0;
    }
    if (const int64_t function = describeFunctionNumber(address); function >= 0)
        return FUNCTION + static_cast<place_t>(function);
    const auto &objects = describeObjects();
    for (size_t i = 0; i < objects.size(); ++i) {
        const uintptr_t distance = address - reinterpret_cast<uintptr_t>(objects[i].address);
        if (distance < objects[i].size)
            return image.objects[i] + distance + 1;
    }
    return 0;
}

const unsigned char *bytesAt(const image_t &image, place_t record)
{
    const uint64_t at = record - 1;
    if (!image.is_store || image.objects.empty() || at < image.objects.front())
        return image.bytes + at;
    const auto behind = std::upper_bound(image.objects.begin(), image.objects.end(), at);
    return describeObjects()[static_cast<size_t>(behind - image.objects.begin()) - 1].address + (at - behind[-1]);
}

// ---- Reading it

place_t pointerAt(const image_t &image, place_t record, uint32_t offset)
{
    uintptr_t value;
    memcpy(&value, bytesAt(image, record) + offset, sizeof value);
    return image.is_store ? placeOf(image, value) : value;
}

int32_t numberAt(const image_t &image, place_t record, uint32_t offset)
{
    int32_t value;
    memcpy(&value, bytesAt(image, record) + offset, sizeof value);
    return value;
}

const part_t *partAround(const image_t &image, place_t place)
{
    if (place == 0 || place > image.size)
        return nullptr;
    const auto behind = std::upper_bound(image.parts.begin(), image.parts.end(), place - 1,
                                         [](uint64_t at, const part_t &part) { return at < part.begin; });
    const part_t *const part = behind == image.parts.begin() ? nullptr : &behind[-1];
    return part && place - 1 - part->begin < part->size ? part : nullptr;
}

// A whole record of the type begins there, alone or in a row of them.
bool isRecord(const image_t &image, place_t place, uint32_t type)
{
    const part_t *const part = partAround(image, place);
    const uint32_t size = part && part->type == type ? describePlan(type)->size : 0;
    const uint64_t at = part ? place - 1 - part->begin : 0;
    return size > 0 && at % size == 0 && at + size <= part->size;
}

bool isPointerInside(const image_t &image, place_t place)
{
    const part_t *const part = partAround(image, place);
    return part && place - 1 - part->begin + sizeof(void *) <= part->size;
}

bool isMetAgain(image_t *image, place_t node)
{
    return !image->nodes.insert(node).second;
}

// ---- Lists, trees, queues

place_t functionNamed(const char *name)
{
    const int64_t number = name ? describeFunctionNamed(name) : -1;
    return number < 0 ? 0 : FUNCTION + static_cast<place_t>(number);
}

// What a node holds is of the container's kind, and in no other.
bool holds(image_t *image, place_t compare, place_t payload)
{
    const auto kind = shape.containers.find(compare);
    if (!payload || kind == shape.containers.end())
        return payload != 0;
    const int64_t type = describeType(kind->second->payload);
    return type >= 0 && isRecord(*image, payload, static_cast<uint32_t>(type)) && !isMetAgain(image, payload);
}

bool checkList(image_t *image, place_t list)
{
    const list_fields_t &f = shape.list;
    const place_t compare = pointerAt(*image, list, f.compare);
    uint32_t count = 0;
    place_t before = 0;
    if (numberAt(*image, list, f.store) < 1)
        return fail(image, "a list is of no store");
    for (place_t node = pointerAt(*image, list, f.head); node; node = pointerAt(*image, node, f.next)) {
        if (!isRecord(*image, node, f.node))
            return fail(image, "a list leads to something that is no node of one");
        if (isMetAgain(image, node) || pointerAt(*image, node, f.prev) != before)
            return fail(image, "a list does not close: a node does not lead back to the one before it");
        if (!holds(image, compare, pointerAt(*image, node, f.data)))
            return fail(image, "a list has a node of nothing, or of something else than it holds");
        before = node;
        ++count;
    }
    if (pointerAt(*image, list, f.tail) != before)
        return fail(image, "a list does not end where it says");
    if (count != static_cast<uint32_t>(numberAt(*image, list, f.count)))
        return fail(image, "a list counts %d nodes and has %u", numberAt(*image, list, f.count), count);
    return true;
}

struct subtree_t {
    int32_t count;
    int32_t height;
};

bool checkSubtree(image_t *image, place_t compare, place_t node, place_t parent, int32_t flag, unsigned depth,
                  subtree_t *found)
{
    const tree_fields_t &f = shape.tree;
    *found = {0, 0};
    if (!node)
        return true;
    if (!isRecord(*image, node, f.node))
        return fail(image, "a tree leads to something that is no node of one");
    if (depth > DEEPEST || isMetAgain(image, node) || pointerAt(*image, node, f.parent) != parent ||
        (parent && numberAt(*image, node, f.flag) != flag))
        return fail(image, "a tree does not close: a node does not lead back to its parent");
    if (!holds(image, compare, pointerAt(*image, node, f.info)))
        return fail(image, "a tree has a node of nothing, or of something else than it holds");
    subtree_t left;
    subtree_t right;
    if (!checkSubtree(image, compare, pointerAt(*image, node, f.left), node, 0, depth + 1, &left) ||
        !checkSubtree(image, compare, pointerAt(*image, node, f.right), node, 1, depth + 1, &right))
        return false;
    const int32_t lean = right.height - left.height;
    if (lean < -1 || lean > 1 || numberAt(*image, node, f.balance) != lean ||
        numberAt(*image, node, f.rank) != left.count + 1)
        return fail(image, "a tree's node has another balance or rank than its subtrees");
    *found = {left.count + right.count + 1, std::max(left.height, right.height) + 1};
    return true;
}

bool checkTree(image_t *image, place_t tree)
{
    const tree_fields_t &f = shape.tree;
    const place_t root = pointerAt(*image, tree, f.root);
    subtree_t found;
    if (numberAt(*image, tree, f.store) < 1)
        return fail(image, "a tree is of no store");
    if (!checkSubtree(image, pointerAt(*image, tree, f.compare), root, 0, 0, 0, &found))
        return false;
    if (found.count != numberAt(*image, tree, f.count))
        return fail(image, "a tree counts %d nodes and has %d", numberAt(*image, tree, f.count), found.count);
    if (root && pointerAt(*image, tree, f.compare) < FUNCTION)
        return fail(image, "a tree has no function to compare by");
    for (place_t node = pointerAt(*image, tree, f.spare); node; node = pointerAt(*image, node, f.right))
        if (numberAt(*image, tree, f.pool) == 0 || !isRecord(*image, node, f.node) || isMetAgain(image, node))
            return fail(image, "a tree has free nodes that are none");
    return true;
}

// The queue goes through that of the element's links whose way back is the head.
bool findLink(const image_t &image, place_t first, place_t back, const describe_queue_t &queue, uint32_t *link)
{
    for (const describe_part_t &part : describeParts(queue.element))
        if (part.type == queue.entry && pointerAt(image, first, part.offset + queue.back) == back) {
            *link = part.offset;
            return true;
        }
    return false;
}

bool checkQueue(image_t *image, place_t head, const describe_queue_t &queue)
{
    const place_t first = pointerAt(*image, head, queue.first);
    const place_t last = pointerAt(*image, head, queue.last);
    place_t back = head + queue.first;
    uint32_t link = 0;
    if (first && (!isRecord(*image, first, queue.element) || !findLink(*image, first, back, queue, &link)))
        return fail(image, "a queue's first element does not lead back to it");
    for (place_t at = first; at; at = pointerAt(*image, at, link + queue.next)) {
        if (!isRecord(*image, at, queue.element) || pointerAt(*image, at, link + queue.back) != back)
            return fail(image, "a queue does not close: an element does not lead back to the one before it");
        back = at + link + queue.next;
    }
    if (last != back)
        return fail(image, "a queue does not end where it says");
    return true;
}

// What leads back from a link is written through when its record leaves the queue.
bool checkEntry(image_t *image, place_t record, uint32_t offset, const describe_queue_t &queue)
{
    const place_t back = pointerAt(*image, record, offset + queue.back);
    if (!back)
        return true;
    if (back >= FUNCTION || !isPointerInside(*image, back) || pointerAt(*image, back, 0) != record)
        return fail(image, "a link of a queue does not lead back to what leads to it");
    return true;
}

// ---- Pointers

// A container is its owner's alone, and goes by the functions that its owner knows.
bool isContainer(image_t *image, place_t target, const ha_link_t &link)
{
    const bool is_list = shape.has_lists && isRecord(*image, target, shape.list.type);
    if (pointerAt(*image, target, is_list ? shape.list.compare : shape.tree.compare) != functionNamed(link.compare) ||
        (is_list && pointerAt(*image, target, shape.list.release) != functionNamed(link.release)))
        return fail(image, "%s goes by other functions than its own", link.field);
    return !isMetAgain(image, target) || fail(image, "%s is another's as well", link.field);
}

bool checkPointer(image_t *image, place_t target, const char *field, const ha_link_t *link)
{
    if (!target)
        return true;
    if (!link)
        return fail(image, "%s leads somewhere: in good copies it leads nowhere", field);
    const int64_t type = describeType(link->target);
    const bool leads = type < 0 ? target == functionNamed(link->target)
                                : isRecord(*image, target, static_cast<uint32_t>(type)) &&
                                      (!link->payload || isContainer(image, target, *link));
    return leads || fail(image, "%s does not lead to a %s as it should", field, link->target);
}

bool isContainerPart(uint32_t type)
{
    return (shape.has_lists && (type == shape.list.type || type == shape.list.node)) ||
           (shape.has_trees && (type == shape.tree.type || type == shape.tree.node)) || describeQueue(type);
}

bool checkPointers(image_t *image, place_t record, uint32_t type)
{
    if (isContainerPart(type))
        return true;
    for (const describe_pointer_t &pointer : describePointers(type))
        if (!checkPointer(image, pointerAt(*image, record, pointer.offset), pointer.field, pointer.link))
            return false;
    return true;
}

bool isWalked(uint32_t type)
{
    return (shape.has_lists && type == shape.list.type) || (shape.has_trees && type == shape.tree.type) ||
           describeQueue(type) || !describePointers(type).empty();
}

bool isLinked(uint32_t type)
{
    return isWalked(type) || (shape.has_lists && type == shape.list.node) ||
           (shape.has_trees && type == shape.tree.node);
}

// The parts of a record that are of such types, found once.
const std::vector<describe_part_t> &partsOf(std::unordered_map<uint32_t, std::vector<describe_part_t>> *known,
                                            uint32_t type, bool is(uint32_t))
{
    const auto [entry, is_new] = known->try_emplace(type);
    for (const describe_part_t &part : is_new ? describeParts(type) : std::span<const describe_part_t>())
        if (is(part.type))
            entry->second.push_back(part);
    return entry->second;
}

const std::vector<describe_part_t> &walkedIn(uint32_t type)
{
    return partsOf(&shape.walked, type, isWalked);
}

// Whether `length` bytes at `offset` of a row of records meet one of the links in it, or of the heads and counts.
bool meetsLinks(uint32_t type, uint32_t offset, uint32_t length)
{
    const uint32_t size = std::max(describePlan(type)->size, 1U), from = offset % size;
    for (const describe_part_t &part : partsOf(&shape.linked, type, isLinked)) {
        const uint32_t end = part.offset + describePlan(part.type)->size;
        if (length >= size || (from < end && from + length > part.offset) || from + length > size + part.offset)
            return true;
    }
    return false;
}

bool checkRecord(image_t *image, place_t record, uint32_t type)
{
    for (const describe_part_t &part : walkedIn(type)) {
        const place_t at = record + part.offset;
        if (shape.has_lists && part.type == shape.list.type && !checkList(image, at))
            return false;
        if (shape.has_trees && part.type == shape.tree.type && !checkTree(image, at))
            return false;
        if (!checkPointers(image, at, part.type))
            return false;
        const describe_queue_t *const queue = describeQueue(part.type);
        if (!queue)
            continue;
        if (part.type == queue->head ? !checkQueue(image, at, *queue)
                                     : type == queue->element && !checkEntry(image, record, part.offset, *queue))
            return false;
    }
    return true;
}

void findShape()
{
    if (shape.hash == describeHash())
        return;
    shape = {};
    shape.hash = describeHash();
    const auto type = [](const char *name, uint32_t *to) {
        const int64_t found = describeType(name);
        *to = static_cast<uint32_t>(found);
        return found >= 0;
    };
    const auto has = [](uint32_t of, const char *name, uint32_t *to) {
        const int64_t found = describeField(of, name);
        *to = static_cast<uint32_t>(found);
        return found >= 0;
    };
    list_fields_t &l = shape.list;
    shape.has_lists = type("tnx_list_t", &l.type) && type("tnx_listnode_t", &l.node) && has(l.type, "head", &l.head) &&
                      has(l.type, "tail", &l.tail) && has(l.type, "count", &l.count) && has(l.node, "next", &l.next) &&
                      has(l.node, "prev", &l.prev) && has(l.node, "data", &l.data);
    shape.has_lists = shape.has_lists && has(l.type, "ha_hndl", &l.store) && has(l.type, "cmp", &l.compare) &&
                      has(l.type, "del", &l.release);
    tree_fields_t &t = shape.tree;
    shape.has_trees =
        type("tnx_avl_tree_t", &t.type) && type("tnx_avl_node_t", &t.node) && has(t.type, "root", &t.root) &&
        has(t.type, "count", &t.count) && has(t.type, "compare_function", &t.compare) &&
        has(t.type, "max_nodes", &t.pool) && has(t.type, "free_list", &t.spare) && has(t.node, "left", &t.left) &&
        has(t.node, "right", &t.right) && has(t.node, "parent", &t.parent) && has(t.node, "balance", &t.balance) &&
        has(t.node, "rank", &t.rank) && has(t.node, "flag", &t.flag) && has(t.node, "info", &t.info);
    shape.has_trees = shape.has_trees && has(t.type, "ha_hndl", &t.store);
    for (const ha_link_t &link : describeLinks())
        if (link.payload)
            shape.containers.emplace(functionNamed(link.compare), &link);
}

// The objects that are pointers themselves.
bool checkRoots(image_t *image)
{
    for (uint32_t i = 0; i < image->objects.size(); ++i)
        if (const ha_link_t *const link = describeObjectLink(i);
            link && !checkPointer(image, pointerAt(*image, image->objects[i] + 1, 0), link->field, link))
            return false;
    return true;
}

// The records of a part that lie in [from, end), each once.
bool checkRange(image_t *image, const part_t &part, uint64_t from, uint64_t end)
{
    const uint32_t size = describePlan(part.type)->size;
    if (size == 0 || walkedIn(part.type).empty())
        return true;
    for (uint64_t at = from / size * size; at < end && at + size <= part.size; at += size)
        if ((image->is_store || image->checked.insert(part.begin + at).second) &&
            !checkRecord(image, part.begin + at + 1, part.type))
            return false;
    return true;
}

// The objects, and of the blocks what the words put something into or lead to: of the rest, all zeros, there may be a
// thousand times as much as there are words.
void checkAll(image_t *image, std::span<const uint32_t> words)
{
    if (!checkRoots(image))
        return;
    for (const uint64_t begin : image->objects)
        if (const part_t *const part = partAround(*image, begin + 1); part && !checkRange(image, *part, 0, part->size))
            return;
    for (size_t at = 0; at < words.size(); at += deltaRecordLength(words.subspan(at))) {
        const uint32_t *const record = &words[at];
        const uint32_t op = record[0] & DELTA_OP;
        if (op != DELTA_BYTES && op != DELTA_POINTER)
            continue;
        const uint64_t length = op == DELTA_BYTES ? record[0] >> DELTA_SHIFT : sizeof(void *);
        const part_t *const part = partAround(*image, beginOf(*image, record[1]) + 1);
        if (part && !checkRange(image, *part, record[2], record[2] + length))
            return;
        if (op != DELTA_POINTER || record[0] >> DELTA_SHIFT != DELTA_TO_BLOCK)
            continue;
        const part_t *const target = partAround(*image, image->blocks[record[3]] + 1);
        if (target && !checkRange(image, *target, record[4], uint64_t{record[4]} + 1))
            return;
    }
}

} // namespace

std::string consistencyWrong(std::span<const uint32_t> words, uint64_t arena)
{
    image_t image;
    layOutBlocks(&image, words);
    layOutObjects(&image, arena);
    findShape();
    const size_t size = std::max<size_t>(image.size, 1);
    void *const map = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (map == MAP_FAILED)
        return "there is no memory to check it";
    image.bytes = static_cast<unsigned char *>(map);
    fillIn(&image, words);
    checkAll(&image, words);
    munmap(map, size);
    return image.wrong;
}

bool consistencyTouched(std::span<const uint32_t> words)
{
    findShape();
    for (size_t at = 0; at < words.size(); at += deltaRecordLength(words.subspan(at))) {
        const uint32_t *const record = &words[at];
        const uint32_t op = record[0] & DELTA_OP;
        if (op == DELTA_BLOCK || op == DELTA_POINTER)
            return true;
        if (op != DELTA_BYTES)
            continue;
        const uint32_t type = record[1] & DELTA_OBJECT ? describeObjects()[record[1] & ~DELTA_OBJECT].type
                                                       : storeBlocks()[record[1]].type;
        if (meetsLinks(type, record[2], record[0] >> DELTA_SHIFT))
            return true;
    }
    return false;
}

std::string consistencyOfStore()
{
    image_t image;
    layOutStore(&image);
    findShape();
    if (!checkRoots(&image))
        return image.wrong;
    for (const part_t &part : image.parts)
        if (!checkRange(&image, part, 0, part.size))
            break;
    return image.wrong;
}
