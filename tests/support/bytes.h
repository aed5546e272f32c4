// SPDX-License-Identifier: Apache-2.0
// Bytes of the wires, put and read by hand or by the names of a body's fields, and random numbers. Offsets count from
// the front; what stands behind the end of a short text of bytes reads as 0xdeadbeef.
#ifndef TESTS_SUPPORT_BYTES_H
#define TESTS_SUPPORT_BYTES_H

#include <cstdint>
#include <gtest/gtest.h>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "agent/messages/codes.h"

using Bytes = std::vector<uint8_t>;
using WordsAt = std::initializer_list<std::pair<size_t, uint32_t>>; // of 32 bits, at their offsets

// Big-endian words, and those of a frame header in the machine's order.
void put16(Bytes &bytes, size_t at, uint32_t value);
void put32(Bytes &bytes, size_t at, uint32_t value);
void put64(Bytes &bytes, size_t at, uint64_t value);
void put(Bytes &bytes, WordsAt words);
void put(Bytes &bytes, size_t at, const Bytes &part);
void putText(Bytes &bytes, size_t at, uint64_t number); // its digits and a zero
uint32_t get32(const Bytes &bytes, size_t at);
uint64_t get64(const Bytes &bytes, size_t at);
std::string getText(const Bytes &bytes, size_t at);                          // up to a zero
std::vector<uint32_t> wordsAt(const std::vector<Bytes> &records, size_t at); // one of each
testing::AssertionResult holds(const Bytes &bytes, WordsAt words);           // the first that differs, if any
void putNative(Bytes &bytes, size_t at, unsigned width, uint32_t value);
uint32_t getNative(const Bytes &bytes, size_t at, unsigned width);
Bytes cut(const Bytes &bytes, size_t from, size_t length);
Bytes operator+(Bytes a, const Bytes &b);
Bytes text(const std::string &name, size_t width);
Bytes noise(size_t length, uint32_t seed); // bytes that differ from place to place and by seed

// One field of a body by its name in the field tables: "def_cos", "cos_map[3]", "data[1].pfc_map". Without an index all
// elements are meant, each `step` above the one before; a field of characters takes a number as its first one.
struct Field {
    Field(std::string field, uint64_t number, uint64_t above = 0) : name(std::move(field)), value(number), step(above)
    {
    }
    Field(std::string field, std::string chars) : name(std::move(field)), value(0), step(0), text(std::move(chars)) {}
    std::string name;
    uint64_t value, step;
    std::string text;
};
void setField(Bytes &body, uint8_t code, const Field &field);
size_t fieldAt(uint8_t code, const std::string &name); // its offset
template <typename... Fields>
void set(Bytes &body, uint8_t code, const Fields &...fields)
{
    (setField(body, code, fields), ...);
}
// The body of a code, zero but for these. In its status stands what the manager puts there, to be told from what the
// agent writes.
constexpr uint32_t UNTOUCHED = 55;
Bytes untouchedBody(uint8_t code);
template <typename... Fields>
Bytes bodyOf(uint8_t code, const Fields &...fields)
{
    Bytes body = untouchedBody(code);
    set(body, code, fields...);
    return body;
}

// Driver records of both families: the head, and words behind it.
Bytes cosRecord(uint32_t command, uint32_t in, uint32_t out, WordsAt words = {});
Bytes cosBulk(const std::vector<Bytes> &nested);
Bytes dceRecord(uint32_t command, uint32_t length, uint8_t operation = 0, uint32_t count = 0, WordsAt words = {});

uint32_t environmentOr(const char *name, uint32_t value); // a number that repeats a run

struct Random {
    std::mt19937_64 engine;
    explicit Random(uint64_t seed) : engine(seed) {}
    uint64_t roll() { return engine(); }
    uint32_t below(uint32_t n) { return static_cast<uint32_t>(engine() % n); }
    bool oneIn(uint32_t n) { return below(n) == 0; }
    bool percent(uint32_t n) { return below(100) < n; }
};

#endif
