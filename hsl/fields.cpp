// SPDX-License-Identifier: Apache-2.0
// Reads, writes and names values of driver records. Relies on nothing but the numbering of interface indexes.
#include "hsl/fields.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

constexpr uint32_t TYPE_CHIP = 34;
constexpr uint32_t ALL_CHIPS = 0x8BC00000;

uint64_t hslGet(hslBytes record, size_t offset, unsigned width)
{
    uint64_t value = 0;
    for (size_t i = offset; i < offset + width; ++i)
        value = value << 8 | (i < record.size() ? record[i] : 0u);
    return value;
}

void hslPut(hslBuffer &record, size_t offset, unsigned width, uint64_t value)
{
    if (offset + width > record.size())
        return;
    for (size_t i = offset + width; i > offset; --i, value >>= 8)
        record[i - 1] = static_cast<uint8_t>(value);
}

uint64_t hslValue(const hslField_t &field, hslBytes record, unsigned index)
{
    if (field.width == 0) {
        auto byte = hslGet(record, field.offset + index / 2, 1);
        return index % 2 ? byte & 15 : byte >> 4;
    }
    auto value = hslGet(record, field.offset + index * field.stride, field.width) >> field.shift;
    return field.bits ? value & ((uint64_t{1} << field.bits) - 1) : value;
}

const hslField_t *hslFieldNamed(std::span<const hslField_t> fields, const char *name)
{
    auto found = std::find_if(fields.begin(), fields.end(), [&](auto &field) { return !strcmp(field.name, name); });
    return found == fields.end() ? nullptr : &*found;
}

static std::string bitsText(uint64_t mask)
{
    std::string text;
    for (unsigned bit = 0; bit < 64; ++bit)
        if (mask >> bit & 1)
            text += " " + std::to_string(bit);
    return text.empty() ? " none" : text;
}

// The values of a field, each behind a blank, equal neighbours folded.
static std::string valuesText(const hslField_t &field, hslBytes record)
{
    std::string text;
    for (unsigned i = 0, next; i < field.count; i = next) {
        auto value = hslValue(field, record, i);
        for (next = i + 1; next < field.count && hslValue(field, record, next) == value;)
            ++next;
        auto word = " " + (field.hex ? hslIndexText(static_cast<uint32_t>(value)) : std::to_string(value));
        if (next - i > 2)
            text += word + "*" + std::to_string(next - i);
        else
            text += next - i == 2 ? word + word : word;
    }
    return text;
}

std::string hslFieldsText(std::span<const hslField_t> fields, hslBytes record)
{
    std::string text;
    for (auto &field : fields) {
        text += (text.empty() ? "" : ", ") + std::string(field.name);
        text += field.set ? bitsText(hslValue(field, record, 0)) : valuesText(field, record);
    }
    return text;
}

hslJson hslFieldsJson(std::span<const hslField_t> fields, hslBytes record)
{
    hslJson object = hslJson::object();
    for (auto &field : fields) {
        if (field.count == 1) {
            object[field.name] = hslValue(field, record, 0);
            continue;
        }
        auto &values = object[field.name] = hslJson::array();
        for (unsigned i = 0; i < field.count; ++i)
            values.push_back(hslValue(field, record, i));
    }
    return object;
}

std::string hslHexText(hslBytes bytes)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (auto byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

static int digitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    c = static_cast<char>(c | 0x20);
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

bool hslHexParse(const std::string &text, hslBuffer *bytes)
{
    bytes->clear();
    if (text.size() % 2)
        return false;
    for (size_t i = 0; i < text.size(); i += 2) {
        int high = digitValue(text[i]), low = digitValue(text[i + 1]);
        if (high < 0 || low < 0)
            return false;
        bytes->push_back(static_cast<uint8_t>(high << 4 | low));
    }
    return true;
}

bool hslNumber(const std::string &text, uint64_t *value)
{
    bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    auto digits = hex ? text.substr(2) : text;
    if (digits.empty() || digits.size() > (hex ? 16u : 19u))
        return false;
    *value = 0;
    for (char c : digits) {
        int digit = digitValue(c);
        if (digit < 0 || (!hex && digit > 9))
            return false;
        *value = *value * (hex ? 16 : 10) + static_cast<unsigned>(digit);
    }
    return true;
}

std::string hslIndexText(uint32_t ifindex)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", ifindex);
    return text;
}

bool hslIsPort(uint32_t ifindex)
{
    auto type = ifindex >> 26;
    return type == 6 || type == 26 || type == 32 || type == 14 || type == 30 || type == 3;
}

std::string hslIndexName(uint32_t ifindex)
{
    auto type = ifindex >> 26;
    auto slot = std::to_string(ifindex >> 22 & 15);
    if (ifindex == ALL_CHIPS)
        return "all chips";
    if (type == TYPE_CHIP)
        return "chip " + slot + "/" + std::to_string(ifindex >> 16 & 7);
    if (type == 6 || type == 26 || type == 32) { // a port, with the speed that its index carries
        static constexpr const char *speeds[8] = {"te", "", "ge", "fo", "hu", "", "", ""};
        return speeds[ifindex >> 12 & 7] + slot + "/" + std::to_string(ifindex >> 15 & 127);
    }
    if (type == 14 || type == 30)
        return "slot " + slot;
    if (type == 3) { // a port, and behind a colon its lane where the port is broken out
        auto lane = ifindex >> 9 & 15;
        return std::to_string(ifindex >> 21 & 31) + "/" + std::to_string(ifindex >> 13 & 255) +
               (lane ? ":" + std::to_string(lane) : "");
    }
    return "interface";
}
