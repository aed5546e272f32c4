// SPDX-License-Identifier: Apache-2.0
// How one value, or a row of equal values, stands in a driver record, and its words for people. Records are big-endian;
// a read behind the record's end gives 0, so a decoder needs no length of its own.
#ifndef HSL_FIELDS_H
#define HSL_FIELDS_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

using hslBytes = std::span<const uint8_t>;
using hslBuffer = std::vector<uint8_t>;
using hslJson = nlohmann::ordered_json;

struct hslField_t {
    const char *name;
    uint16_t offset;
    uint8_t width;     // bytes of one value; 0 a nibble, the high one first
    uint8_t count = 1; // values in the row
    uint8_t stride = 0;
    uint8_t shift = 0;
    uint8_t bits = 0; // 0 the whole width
    uint8_t max = 0;  // greatest value the hardware takes, 0 if it takes all
    bool hex = false;
    bool set = false; // a mask, whose words are the numbers of its bits
};

constexpr hslField_t hslByte(const char *name, uint16_t offset, uint8_t count = 1, uint8_t stride = 1)
{
    return {name, offset, 1, count, stride};
}
constexpr hslField_t hslHalf(const char *name, uint16_t offset, uint8_t count = 1, uint8_t stride = 2)
{
    return {name, offset, 2, count, stride};
}
constexpr hslField_t hslWord(const char *name, uint16_t offset, uint8_t count = 1, uint8_t stride = 4)
{
    return {name, offset, 4, count, stride};
}
constexpr hslField_t hslQuad(const char *name, uint16_t offset)
{
    return {name, offset, 8};
}
constexpr hslField_t hslNibbles(const char *name, uint16_t offset, uint8_t count)
{
    return {name, offset, 0, count};
}
constexpr hslField_t hslBits(const char *name, uint16_t offset, uint8_t width, uint8_t shift, uint8_t bits)
{
    return {name, offset, width, 1, 0, shift, bits};
}
constexpr hslField_t hslUpTo(hslField_t field, uint8_t max)
{
    field.max = max;
    return field;
}
constexpr hslField_t hslHex(hslField_t field)
{
    field.hex = true;
    return field;
}

constexpr hslField_t hslSet(hslField_t field)
{
    field.set = true;
    return field;
}

// `width` bytes at `offset`, 1, 2, 4 or 8; hslPut writes nothing that does not fit.
uint64_t hslGet(hslBytes record, size_t offset, unsigned width);
void hslPut(hslBuffer &record, size_t offset, unsigned width, uint64_t value);

uint64_t hslValue(const hslField_t &field, hslBytes record, unsigned index);
// Null if no field has the name.
const hslField_t *hslFieldNamed(std::span<const hslField_t> fields, const char *name);
// "default tc 0, tc 0 1 2 3 4 5 6 7"; three and more equal values in a row fold to "0*8".
std::string hslFieldsText(std::span<const hslField_t> fields, hslBytes record);
// The same as an object: a number, or an array where the field repeats.
hslJson hslFieldsJson(std::span<const hslField_t> fields, hslBytes record);

std::string hslHexText(hslBytes bytes);
bool hslHexParse(const std::string &text, hslBuffer *bytes); // false for an odd count or another character
bool hslNumber(const std::string &text, uint64_t *value);    // decimal, or hexadecimal behind 0x
std::string hslIndexText(uint32_t ifindex);                  // "0x18400000"
// "1/3" for a port, "chip 1/0", "all chips", else the index itself.
std::string hslIndexName(uint32_t ifindex);

// Index types that name ports on a chip.
bool hslIsPort(uint32_t ifindex);

#endif
