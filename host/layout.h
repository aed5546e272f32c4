// SPDX-License-Identifier: Apache-2.0
// Inside the host library: what a process of another build says of its records, objects and functions, matched by name
// with what this one has.
//
// A description is a row of words of 32 bits in native order; a text is its length and its bytes, filled up to whole
// words. It is bounded, and nothing in it is trusted.
//
//   head      magic, format, byte order, bytes of a pointer, the build's version (text)
//   records   how many; of each its name, version, size, rows; of each row name, offset, size, type, big-endian or not
//   objects   how many; of each name, size, type
//   functions how many; of each the name
#ifndef HOST_LAYOUT_H
#define HOST_LAYOUT_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

std::vector<uint32_t> layoutWords(); // of this process

// A range of another process's record, and where it stands in this one's.
enum class layout_kind_t {
    PLAIN,
    POINTER,
    BACK,    // a pointer that leads to a pointer, also where a record begins at the same place
    ELEMENT, // a pointer of a list's or a tree's node to what it holds, which must be something
};
struct layout_range_t {
    uint32_t from;
    uint32_t to;
    uint32_t size;
    layout_kind_t kind;
};
// What this process's record has in a field that the other one lacks.
struct layout_initial_t {
    uint32_t to;
    uint32_t size;
    unsigned char bytes[sizeof(uint64_t)];
};
// A type of the other process. Without a record of its name here it has nothing that could be copied.
struct layout_type_t {
    int64_t own = -1; // type
    uint32_t from_size = 0;
    uint32_t to_size = 0;
    std::vector<layout_range_t> ranges; // in ascending order of `from`
    std::vector<layout_initial_t> initials;
};
struct layout_object_t {
    int64_t own; // number, -1 for none
    uint32_t type;
    uint32_t size;
};
struct layout_match_t {
    std::string version;              // of the other build
    std::vector<layout_type_t> types; // by the other process's numbers, as the next two
    std::vector<layout_object_t> objects;
    std::vector<int64_t> functions;       // own numbers, -1 for none
    std::vector<uint32_t> objects_lacked; // own ones that the other process does not have
};

// Empty, or why the other process's records cannot be taken: what is wrong with the words, or the first record, field
// or object that means something else in it, by name.
std::string layoutMatch(std::span<const uint32_t> words, layout_match_t *match);

#endif
