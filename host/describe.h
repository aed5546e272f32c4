// SPDX-License-Identifier: Apache-2.0
// Inside the host library: what the process told the store about its records, objects and functions.
#ifndef HOST_DESCRIBE_H
#define HOST_DESCRIBE_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "velmar/ha.h"

// 0; HA_EXISTS if the name is taken by something else; -1 for a description that makes no sense. An identical repeat is
// accepted.
int describeStruct(const char *name, size_t size, uint32_t num_fields, const ha_field_t *fields);
int describeDetails(const char *name, uint32_t version, uint32_t num_fields, const ha_detail_t *details);
void describeLinks(std::span<const ha_link_t> all); // in place of those before
std::span<const ha_link_t> describeLinks();
int describeObject(const char *name, void *address, size_t size, const char *type);
int describeFunction(const char *name, void (*function)());

// The index of a type's description, in order of registration, built-in types first; -1 for an unknown one.
int64_t describeType(const char *name);

// What a copy of a record takes along, nested records dissolved: ranges in ascending order that do not meet. Bytes
// between them stay behind.
struct describe_leaf_t {
    uint32_t offset;
    uint32_t size;
    bool pointer; // one pointer or a row of them
};
struct describe_plan_t {
    uint32_t size; // of one record; a block or object may hold several
    std::vector<describe_leaf_t> leaves;
};
const describe_plan_t *describePlan(uint32_t type); // null for no such type

// The records that a record consists of, itself at 0 and those inside of those that it has; built-in types left out.
struct describe_part_t {
    uint32_t offset;
    uint32_t type;
};
std::span<const describe_part_t> describeParts(uint32_t type); // none for no such type
int64_t describeField(uint32_t type, const char *name);        // its offset in the record, -1 for none

// The pointers that are fields of the record itself, and where each leads: null for one that leads nowhere. None for
// all records while no links are known.
struct describe_pointer_t {
    uint32_t offset;
    const char *field;
    const ha_link_t *link;
};
std::span<const describe_pointer_t> describePointers(uint32_t type);
const ha_link_t *describeObjectLink(uint32_t object); // of an object that is a pointer; null for any other

// A tail queue: "struct th_X" is its head, "struct te_X" a link in the record X.
struct describe_queue_t {
    uint32_t head, entry, element; // types
    uint32_t first, last;          // offsets in the head
    uint32_t next, back;           // offsets in the link
};
const describe_queue_t *describeQueue(uint32_t type); // of a head's or a link's type; null for any other

// Objects and functions by number, in the order of their names, so that processes of one layout number them alike.
struct describe_object_t {
    unsigned char *address;
    uint32_t size;
    uint32_t type;
};
const std::vector<describe_object_t> &describeObjects();
int64_t describeFunctionNumber(uintptr_t address); // -1 for a function that has no name
int64_t describeFunctionNamed(const char *name);   // likewise
uintptr_t describeFunctionAt(uint32_t number);     // 0 for no such number

// All of it by name, as a process of another build is told. Types go by their place among the records.
constexpr uint32_t DESCRIBE_POINTER = 6; // the built-in type of a pointer
struct describe_row_t {
    std::string_view name;
    uint32_t offset;
    uint32_t size;
    uint32_t type; // ahead of the record's own
    bool big_endian;
    uint64_t initial;
};
struct describe_record_t {
    std::string_view name;
    uint32_t version;
    uint32_t size;
    std::vector<describe_row_t> rows; // none of a built-in type
};
struct describe_root_t {
    std::string_view name;
    uint32_t size;
    uint32_t type;
};
struct describe_layout_t {
    std::vector<describe_record_t> records; // built-in types first
    std::vector<describe_root_t> objects;   // by number, as the functions
    std::vector<std::string_view> functions;
};
const describe_layout_t &describeLayout();

// Of all descriptions: processes whose hashes differ cannot hold each other's records as they are.
uint64_t describeHash();
// How this process describes its layout to one of another hash, in the highest 8 bits, and a hash of the byte orders in
// the others. 0 from builds that describe nothing.
constexpr uint32_t DESCRIBE_FORMAT = 1;
uint32_t describeFormat();

#endif
