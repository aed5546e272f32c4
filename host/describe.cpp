// SPDX-License-Identifier: Apache-2.0
// The store's tables of records, objects and functions, by name, and what follows from them for a copy.
#include "host/describe.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>

#include "host/raslog.h"

namespace {

struct struct_t {
    uint32_t index; // order of registration
    size_t size;
    std::vector<ha_field_t> fields; // names and types stay where the process keeps them
    uint32_t version = 1;
    const ha_detail_t *details = nullptr; // one for each field, or none
};

struct object_t {
    void *address;
    size_t size;
    std::string type;
};

struct built_in_t {
    const char *name;
    uint32_t width;
};
constexpr built_in_t BUILT_IN[] = {{"~U08", 1},
                                   {"~U16", 2},
                                   {"~U32", 4},
                                   {"~U64", 8},
                                   {"~I32", 4},
                                   {"~Chr", 1},
                                   {"~Ptr", sizeof(void *)},
                                   {"~Hdl", sizeof(ha_hndl_t)}};
constexpr uint32_t BUILT_INS = sizeof BUILT_IN / sizeof *BUILT_IN;
static_assert(std::string_view(BUILT_IN[DESCRIBE_POINTER].name) == "~Ptr");

std::map<std::string, struct_t, std::less<>> structs;
std::map<std::string, object_t, std::less<>> objects;
std::map<std::string, void (*)(), std::less<>> functions;
std::span<const ha_link_t> links;

// What follows from the tables; made anew after a registration.
struct derived_t {
    bool made;
    std::vector<describe_plan_t> plans;
    std::vector<std::vector<describe_part_t>> parts;       // by type
    std::unordered_map<uint32_t, describe_queue_t> queues; // by the type of a head or a link
    std::vector<std::vector<describe_pointer_t>> pointers; // by type
    std::vector<const ha_link_t *> object_links;
    std::vector<describe_object_t> objects;
    std::vector<uintptr_t> functions;
    std::unordered_map<uintptr_t, uint32_t> numbers;
    describe_layout_t layout;
    uint64_t hash;
    uint32_t format;
};
derived_t derived;

bool sameFields(const struct_t &known, uint32_t num_fields, const ha_field_t *fields)
{
    if (known.fields.size() != num_fields)
        return false;
    for (uint32_t i = 0; i < num_fields; ++i) {
        const ha_field_t &field = known.fields[i];
        if (field.offset != fields[i].offset || field.size != fields[i].size ||
            strcmp(field.name, fields[i].name) != 0 || strcmp(field.type, fields[i].type) != 0)
            return false;
    }
    return true;
}

// The ranges of one field: those of its type, as often as they fit. A nested record was registered before its user.
void addField(std::vector<describe_leaf_t> &leaves, const ha_field_t &field, uint32_t type)
{
    if (type < BUILT_INS) {
        leaves.push_back({field.offset, field.size, type == DESCRIBE_POINTER});
        return;
    }
    const describe_plan_t &nested = derived.plans[type];
    for (uint32_t at = 0; nested.size && at + nested.size <= field.size; at += nested.size)
        for (const describe_leaf_t &leaf : nested.leaves)
            leaves.push_back({field.offset + at + leaf.offset, leaf.size, leaf.pointer});
}

// Rows need not stand in order of offset, and a row may reach over its neighbour: plain ranges that touch become one,
// and a pointer's range is never part of a plain one.
void settle(describe_plan_t *plan)
{
    std::sort(plan->leaves.begin(), plan->leaves.end(),
              [](const describe_leaf_t &a, const describe_leaf_t &b) { return a.offset < b.offset; });
    std::vector<describe_leaf_t> settled;
    for (describe_leaf_t leaf : plan->leaves) {
        leaf.size = leaf.offset < plan->size ? std::min(leaf.size, plan->size - leaf.offset) : 0;
        describe_leaf_t *last = settled.empty() ? nullptr : &settled.back();
        const uint32_t end = last ? last->offset + last->size : 0;
        if (last && !last->pointer && !leaf.pointer && leaf.offset <= end) {
            last->size = std::max(end, leaf.offset + leaf.size) - last->offset;
            continue;
        }
        if (last && leaf.offset < end) {
            if (last->pointer)
                continue;
            last->size = leaf.offset - last->offset;
        }
        if (leaf.size > 0)
            settled.push_back(leaf);
    }
    plan->leaves = settled;
}

// Likewise the records in one field.
void addParts(std::vector<describe_part_t> &parts, const ha_field_t &field, uint32_t type)
{
    const uint32_t size = derived.plans[type].size;
    for (uint32_t at = 0; type >= BUILT_INS && size && at + size <= field.size; at += size)
        for (const describe_part_t &part : derived.parts[type])
            parts.push_back({field.offset + at + part.offset, part.type});
}

// Null, or the record of that name with the two fields of pointers.
const struct_t *pairNamed(const std::string &name, const char *one, const char *other, uint32_t *at, uint32_t *other_at)
{
    const auto known = structs.find(name);
    const struct_t *const found = known == structs.end() ? nullptr : &known->second;
    if (!found || found->fields.size() != 2 || found->size < 2 * sizeof(void *) ||
        found->fields[0].name != std::string_view(one) || found->fields[1].name != std::string_view(other))
        return nullptr;
    *at = found->fields[0].offset;
    *other_at = found->fields[1].offset;
    return found;
}

void makeQueues()
{
    constexpr std::string_view HEAD = "struct th_";
    derived.queues.clear();
    for (const auto &[name, record] : structs) {
        describe_queue_t queue = {};
        const std::string of = name.substr(std::min(name.size(), HEAD.size()));
        const struct_t *const head = name.compare(0, HEAD.size(), HEAD) == 0
                                         ? pairNamed(name, "tqh_first", "tqh_last", &queue.first, &queue.last)
                                         : nullptr;
        const struct_t *const entry =
            head ? pairNamed("struct te_" + of, "tqe_next", "tqe_prev", &queue.next, &queue.back) : nullptr;
        const auto element = structs.find(of);
        if (!entry || element == structs.end())
            continue;
        queue.head = record.index;
        queue.entry = entry->index;
        queue.element = element->second.index;
        derived.queues[queue.head] = derived.queues[queue.entry] = queue;
    }
}

void makePlans()
{
    std::vector<const std::pair<const std::string, struct_t> *> ordered(structs.size());
    for (const auto &entry : structs)
        ordered[entry.second.index - BUILT_INS] = &entry;
    derived.plans.clear();
    for (uint32_t i = 0; i < BUILT_INS; ++i)
        derived.plans.push_back({BUILT_IN[i].width, {{0, BUILT_IN[i].width, i == DESCRIBE_POINTER}}});
    derived.parts.assign(BUILT_INS, {});
    for (const auto *entry : ordered) {
        describe_plan_t plan = {static_cast<uint32_t>(entry->second.size), {}};
        std::vector<describe_part_t> parts = {{0, entry->second.index}};
        for (const ha_field_t &field : entry->second.fields) {
            const int64_t type = describeType(field.type);
            if (type < 0 || type >= static_cast<int64_t>(derived.plans.size()))
                rasLog("store: %s.%s is of type %s, which was not described before it; it is not copied",
                       entry->first.c_str(), field.name, field.type);
            else {
                addField(plan.leaves, field, static_cast<uint32_t>(type));
                addParts(parts, field, static_cast<uint32_t>(type));
            }
        }
        settle(&plan);
        derived.plans.push_back(plan);
        std::erase_if(parts, [&plan](const describe_part_t &part) {
            return part.offset + derived.plans[part.type].size > plan.size;
        });
        derived.parts.push_back(parts);
    }
    makeQueues();
}

const ha_link_t *linkOf(const char *record, std::string_view field)
{
    for (const ha_link_t &link : links)
        if (link.field == field && (record ? link.record && strcmp(link.record, record) == 0 : !link.record))
            return &link;
    return nullptr;
}

void makePointers()
{
    derived.pointers.assign(derived.plans.size(), {});
    derived.object_links.clear();
    for (const auto &[name, object] : objects)
        derived.object_links.push_back(linkOf(nullptr, name));
    if (links.empty())
        return;
    for (const auto &[name, record] : structs)
        for (const ha_field_t &field : record.fields)
            for (uint32_t at = 0; describeType(field.type) == DESCRIBE_POINTER && at < field.size; at += sizeof(void *))
                derived.pointers[record.index].push_back(
                    {field.offset + at, field.name, linkOf(name.c_str(), field.name)});
}

// FNV-1a.
void mix(uint64_t *hash, const void *bytes, size_t length)
{
    const unsigned char *byte = static_cast<const unsigned char *>(bytes);
    for (size_t i = 0; i < length; ++i)
        *hash = (*hash ^ byte[i]) * 0x100000001b3;
}

void mix(uint64_t *hash, std::string_view text)
{
    mix(hash, text.data(), text.size());
    mix(hash, "", 1);
}

void mix(uint64_t *hash, uint64_t number)
{
    mix(hash, &number, sizeof number);
}

void makeHash()
{
    uint64_t hash = 0xcbf29ce484222325;
    mix(&hash, sizeof(void *));
    for (const auto &[name, record] : structs) {
        mix(&hash, name);
        mix(&hash, record.index);
        mix(&hash, record.size);
        if (record.version != 1) // which builds that know no versions take for granted
            mix(&hash, record.version);
        for (const ha_field_t &field : record.fields) {
            mix(&hash, field.name);
            mix(&hash, field.offset);
            mix(&hash, field.size);
            mix(&hash, field.type);
        }
    }
    for (const auto &[name, object] : objects) {
        mix(&hash, name);
        mix(&hash, object.size);
        mix(&hash, object.type);
    }
    for (const auto &entry : functions)
        mix(&hash, entry.first);
    derived.hash = hash;
}

void makeFormat()
{
    uint64_t orders = 0xcbf29ce484222325;
    for (const describe_record_t &record : derived.layout.records)
        for (const describe_row_t &row : record.rows)
            mix(&orders, row.big_endian);
    derived.format = DESCRIBE_FORMAT << 24 | static_cast<uint32_t>((orders ^ orders >> 32) & 0xffffff);
}

// Rows whose type was not described before them stay out, as they are not copied; one that reaches over the end is cut.
describe_record_t recordOf(const std::string &name, const struct_t &record)
{
    describe_record_t made = {name, record.version, static_cast<uint32_t>(record.size), {}};
    for (size_t i = 0; i < record.fields.size(); ++i) {
        const ha_field_t &field = record.fields[i];
        const int64_t type = describeType(field.type);
        const ha_detail_t detail = record.details ? record.details[i] : ha_detail_t{};
        if (type >= 0 && type < record.index)
            made.rows.push_back({field.name, field.offset, std::min(field.size, made.size - field.offset),
                                 static_cast<uint32_t>(type), detail.big_endian, detail.initial});
    }
    return made;
}

void makeLayout()
{
    describe_layout_t &layout = derived.layout;
    layout = {};
    for (const built_in_t &type : BUILT_IN)
        layout.records.push_back({type.name, 1, type.width, {}});
    layout.records.resize(BUILT_INS + structs.size());
    for (const auto &[name, record] : structs)
        layout.records[record.index] = recordOf(name, record);
    for (const auto &[name, object] : objects)
        layout.objects.push_back(
            {name, static_cast<uint32_t>(object.size), static_cast<uint32_t>(describeType(object.type.c_str()))});
    for (const auto &entry : functions)
        layout.functions.push_back(entry.first);
}

const derived_t &derive()
{
    if (derived.made)
        return derived;
    makePlans();
    derived.objects.clear();
    for (const auto &entry : objects)
        derived.objects.push_back({static_cast<unsigned char *>(entry.second.address),
                                   static_cast<uint32_t>(entry.second.size),
                                   static_cast<uint32_t>(describeType(entry.second.type.c_str()))});
    derived.functions.clear();
    derived.numbers.clear();
    for (const auto &entry : functions) {
        const uintptr_t address = reinterpret_cast<uintptr_t>(entry.second);
        derived.numbers.emplace(address, static_cast<uint32_t>(derived.functions.size()));
        derived.functions.push_back(address);
    }
    makePointers();
    makeHash();
    makeLayout();
    makeFormat();
    derived.made = true;
    return derived;
}

} // namespace

int describeStruct(const char *name, size_t size, uint32_t num_fields, const ha_field_t *fields)
{
    if (!name || !*name || (num_fields > 0 && !fields))
        return -1;
    const auto known = structs.find(std::string_view(name));
    if (known != structs.end())
        return known->second.size == size && sameFields(known->second, num_fields, fields) ? 0 : HA_EXISTS;
    for (uint32_t i = 0; i < num_fields; ++i)
        if (!fields[i].name || !fields[i].type || fields[i].offset > size)
            return -1;
    const uint32_t index = BUILT_INS + static_cast<uint32_t>(structs.size());
    structs[name] = {index, size, std::vector<ha_field_t>(fields, fields + num_fields), 1, nullptr};
    derived.made = false;
    return 0;
}

int describeDetails(const char *name, uint32_t version, uint32_t num_fields, const ha_detail_t *details)
{
    const auto known = structs.find(std::string_view(name));
    if (known == structs.end() || known->second.fields.size() != num_fields)
        return -1;
    known->second.version = version;
    known->second.details = details;
    derived.made = false;
    return 0;
}

void describeLinks(std::span<const ha_link_t> all)
{
    links = all;
    derived.made = false;
}

std::span<const ha_link_t> describeLinks()
{
    return links;
}

int describeObject(const char *name, void *address, size_t size, const char *type)
{
    if (!name || !*name || !address || !type || describeType(type) < 0)
        return -1;
    const auto known = objects.find(std::string_view(name));
    if (known != objects.end()) {
        const object_t &object = known->second;
        return object.address == address && object.size == size && object.type == type ? 0 : HA_EXISTS;
    }
    objects[name] = {address, size, type};
    derived.made = false;
    return 0;
}

int describeFunction(const char *name, void (*function)())
{
    if (!name || !*name || !function)
        return -1;
    const auto known = functions.find(std::string_view(name));
    if (known != functions.end())
        return known->second == function ? 0 : HA_EXISTS;
    functions[name] = function;
    derived.made = false;
    return 0;
}

// Blocks are taken of the same few types over and over, named by the same literals.
int64_t describeType(const char *name)
{
    struct recent_t {
        const char *name;
        const std::string *known; // registered, which is for good
        uint32_t index;
    };
    static thread_local recent_t recent[16];
    recent_t &last = recent[reinterpret_cast<uintptr_t>(name) / 8 % std::size(recent)];
    if (last.name == name && *last.known == name)
        return last.index;
    for (uint32_t i = 0; i < BUILT_INS; ++i)
        if (strcmp(BUILT_IN[i].name, name) == 0)
            return i;
    const auto known = structs.find(std::string_view(name));
    if (known == structs.end())
        return -1;
    last = {name, &known->first, known->second.index};
    return last.index;
}

const describe_plan_t *describePlan(uint32_t type)
{
    const derived_t &now = derive();
    return type < now.plans.size() ? &now.plans[type] : nullptr;
}

std::span<const describe_part_t> describeParts(uint32_t type)
{
    const derived_t &now = derive();
    return type < now.parts.size() ? std::span<const describe_part_t>(now.parts[type])
                                   : std::span<const describe_part_t>();
}

int64_t describeField(uint32_t type, const char *name)
{
    for (const auto &entry : structs)
        for (const ha_field_t &field : entry.second.index == type ? entry.second.fields : std::vector<ha_field_t>())
            if (strcmp(field.name, name) == 0)
                return field.offset;
    return -1;
}

const describe_queue_t *describeQueue(uint32_t type)
{
    const derived_t &now = derive();
    const auto known = now.queues.find(type);
    return known == now.queues.end() ? nullptr : &known->second;
}

std::span<const describe_pointer_t> describePointers(uint32_t type)
{
    const derived_t &now = derive();
    return type < now.pointers.size() ? std::span<const describe_pointer_t>(now.pointers[type])
                                      : std::span<const describe_pointer_t>();
}

const ha_link_t *describeObjectLink(uint32_t object)
{
    const derived_t &now = derive();
    return object < now.object_links.size() ? now.object_links[object] : nullptr;
}

const std::vector<describe_object_t> &describeObjects()
{
    return derive().objects;
}

int64_t describeFunctionNumber(uintptr_t address)
{
    const derived_t &now = derive();
    const auto known = now.numbers.find(address);
    return known == now.numbers.end() ? -1 : int64_t{known->second};
}

int64_t describeFunctionNamed(const char *name)
{
    const auto known = functions.find(std::string_view(name));
    return known == functions.end() ? -1 : describeFunctionNumber(reinterpret_cast<uintptr_t>(known->second));
}

uintptr_t describeFunctionAt(uint32_t number)
{
    const derived_t &now = derive();
    return number < now.functions.size() ? now.functions[number] : 0;
}

const describe_layout_t &describeLayout()
{
    return derive().layout;
}

uint64_t describeHash()
{
    return derive().hash;
}

uint32_t describeFormat()
{
    return derive().format;
}
