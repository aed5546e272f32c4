// SPDX-License-Identifier: Apache-2.0
// Bytes by hand, and bodies out of the field tables of the messages.
#include "tests/support/bytes.h"

#include "agent/messages/catalogue.h"
#include "agent/messages/fields.h"

#include <algorithm>
#include <cstring>

void put16(Bytes &bytes, size_t at, uint32_t value)
{
    bytes.at(at) = static_cast<uint8_t>(value >> 8);
    bytes.at(at + 1) = static_cast<uint8_t>(value);
}

void put32(Bytes &bytes, size_t at, uint32_t value)
{
    put16(bytes, at, value >> 16);
    put16(bytes, at + 2, value);
}

void put64(Bytes &bytes, size_t at, uint64_t value)
{
    put32(bytes, at, static_cast<uint32_t>(value >> 32));
    put32(bytes, at + 4, static_cast<uint32_t>(value));
}

void put(Bytes &bytes, WordsAt words)
{
    for (const auto &[at, value] : words)
        put32(bytes, at, value);
}

void put(Bytes &bytes, size_t at, const Bytes &part)
{
    ASSERT_LE(at + part.size(), bytes.size());
    std::copy(part.begin(), part.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

void putText(Bytes &bytes, size_t at, uint64_t number)
{
    const std::string digits = std::to_string(number);
    put(bytes, at, text(digits, digits.size() + 1));
}

uint32_t get32(const Bytes &bytes, size_t at)
{
    if (at + 4 > bytes.size())
        return 0xdeadbeef;
    return uint32_t{bytes[at]} << 24 | uint32_t{bytes[at + 1]} << 16 | uint32_t{bytes[at + 2]} << 8 | bytes[at + 3];
}

uint64_t get64(const Bytes &bytes, size_t at)
{
    return uint64_t{get32(bytes, at)} << 32 | get32(bytes, at + 4);
}

std::string getText(const Bytes &bytes, size_t at)
{
    const Bytes rest = cut(bytes, at, bytes.size());
    return {rest.begin(), std::find(rest.begin(), rest.end(), 0)};
}

std::vector<uint32_t> wordsAt(const std::vector<Bytes> &records, size_t at)
{
    std::vector<uint32_t> words;
    for (const Bytes &record : records)
        words.push_back(get32(record, at));
    return words;
}

testing::AssertionResult holds(const Bytes &bytes, WordsAt words)
{
    for (const auto &[at, value] : words)
        if (get32(bytes, at) != value)
            return testing::AssertionFailure()
                   << std::hex << get32(bytes, at) << " for " << value << " at " << std::dec << at;
    return testing::AssertionSuccess();
}

void putNative(Bytes &bytes, size_t at, unsigned width, uint32_t value)
{
    const auto half = static_cast<uint16_t>(value);
    ASSERT_LE(at + width, bytes.size());
    memcpy(bytes.data() + at, width == 2 ? static_cast<const void *>(&half) : &value, width);
}

uint32_t getNative(const Bytes &bytes, size_t at, unsigned width)
{
    uint16_t half = 0;
    uint32_t word = 0;
    if (at + width > bytes.size())
        return 0xdeadbeef;
    memcpy(width == 2 ? static_cast<void *>(&half) : &word, &bytes[at], width);
    return width == 2 ? half : word;
}

Bytes cut(const Bytes &bytes, size_t from, size_t length)
{
    const auto at = [&](size_t n) { return bytes.begin() + static_cast<std::ptrdiff_t>(std::min(n, bytes.size())); };
    return {at(from), at(from + length)};
}

Bytes operator+(Bytes a, const Bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes text(const std::string &name, size_t width)
{
    Bytes bytes(name.begin(), name.end());
    bytes.resize(width);
    return bytes;
}

Bytes noise(size_t length, uint32_t seed)
{
    Bytes bytes(length);
    for (auto &byte : bytes)
        byte = static_cast<uint8_t>((seed = seed * 1664525 + 1013904223) >> 24);
    return bytes;
}

// The element of a field at `at`, big-endian.
static void setElement(Bytes &body, const wireField &row, size_t at, const Field &field, uint64_t value)
{
    if (body.size() < at + row.width)
        body.resize(at + row.width);
    if (row.kind == wireKind::Chars) {
        const Bytes chars = text(field.text.empty() ? std::string(1, static_cast<char>(value)) : field.text, row.width);
        std::copy(chars.begin(), chars.end(), body.begin() + static_cast<std::ptrdiff_t>(at));
        return;
    }
    for (size_t byte = 0; byte < std::min<size_t>(row.width, 8); ++byte)
        body[at + row.width - 1 - byte] = static_cast<uint8_t>(value >> 8 * byte);
}

// The row of a name, or null.
static const wireField *rowOf(uint8_t code, const std::string &name)
{
    const wireBody &layout = *qosMsgInfo(code)->body;
    const wireField *const none = layout.fields + layout.numFields;
    const wireField *row = std::find_if(layout.fields, none, [&](const wireField &r) { return name == r.name; });
    return row == none ? nullptr : row;
}

size_t fieldAt(uint8_t code, const std::string &name)
{
    const wireField *row = rowOf(code, name);
    EXPECT_NE(row, nullptr) << name << " in " << int{code};
    return row ? row->offset : 0;
}

void setField(Bytes &body, uint8_t code, const Field &field)
{
    std::string name = field.name;
    const wireField *row = rowOf(code, name);
    const size_t open = name.find('['), close = name.find(']');
    const bool indexed = !row && open != std::string::npos;
    const size_t first = indexed ? std::stoul(name.substr(open + 1)) : 0;
    if (indexed)
        row = rowOf(code, name.erase(open, close + 1 - open));
    ASSERT_NE(row, nullptr) << field.name << " in " << int{code};
    for (size_t n = 0; n < (indexed ? 1 : std::max<size_t>(row->count, 1)); ++n)
        setElement(body, *row, row->offset + (first + n) * row->stride, field, field.value + n * field.step);
}

Bytes untouchedBody(uint8_t code)
{
    Bytes body(qosMsgInfo(code)->body->size);
    if (rowOf(code, "status"))
        setField(body, code, {"status", UNTOUCHED});
    return body;
}

uint32_t environmentOr(const char *name, uint32_t value)
{
    const char *given = getenv(name);
    return given ? static_cast<uint32_t>(strtoul(given, nullptr, 0)) : value;
}

Bytes cosRecord(uint32_t command, uint32_t in, uint32_t out, WordsAt words)
{
    Bytes bytes(in);
    put(bytes, {{0, command}, {8, in}, {12, out}});
    put(bytes, words);
    return bytes;
}

Bytes cosBulk(const std::vector<Bytes> &nested)
{
    Bytes whole(36);
    for (const Bytes &record : nested)
        whole = whole + record;
    const auto length = static_cast<uint32_t>(whole.size());
    put(whole, {{0, 0x00070000}, {8, length}, {12, length}, {32, static_cast<uint32_t>(nested.size()) << 16}});
    return whole;
}

Bytes dceRecord(uint32_t command, uint32_t length, uint8_t operation, uint32_t count, WordsAt words)
{
    Bytes bytes(length);
    put32(bytes, 0, command);
    put16(bytes, 4, length);
    bytes[6] = operation;
    put16(bytes, 10, count);
    put(bytes, words);
    return bytes;
}
