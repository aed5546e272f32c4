// SPDX-License-Identifier: Apache-2.0
// The interpreter of copy steps.
#include "platform/common/stat_copy.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "velmar/wire.h"

namespace {

// The value of `width` bytes, of which those from `length` on are 0.
uint64_t readNumber(const unsigned char *response, size_t length, size_t at, unsigned width)
{
    if (width == sizeof(be64) && at + width <= length) {
        be64 whole;
        memcpy(&whole, response + at, sizeof whole);
        return whole;
    }
    uint64_t value = 0;
    for (size_t end = at + width; at < end; ++at)
        value = value << 8 | (at < length ? response[at] : 0);
    return value;
}

void writeNumber(unsigned char *to, unsigned width, uint64_t value)
{
    if (width == sizeof(be64)) {
        be64 whole;
        whole = value;
        memcpy(to, &whole, sizeof whole);
        return;
    }
    for (unsigned i = width; i-- > 0; value >>= 8)
        to[i] = static_cast<unsigned char>(value);
}

void runStep(const statStep_t &step, const unsigned char *response, size_t length, unsigned char *body)
{
    const uint64_t mask = step.bits < 64 ? (uint64_t{1} << step.bits) - 1 : ~uint64_t{0};
    for (unsigned i = 0; i < step.count; ++i) {
        const uint64_t whole = readNumber(response, length, step.from + size_t{step.from_stride} * i, step.from_width);
        const uint64_t value = whole >> (step.shift + step.shift_stride * i) & mask;
        unsigned char *to = body + step.to + size_t{step.to_stride} * i;
        if (step.form == statForm_t::Text)
            statWriteText(reinterpret_cast<char *>(to), step.to_width, value << step.scale);
        else
            writeNumber(to, step.to_width, value);
    }
}

} // namespace

void statCopy(std::span<const statStep_t> steps, const unsigned char *response, size_t length, void *body)
{
    for (const statStep_t &step : steps)
        runStep(step, response, length, static_cast<unsigned char *>(body));
}

void statWriteText(char *text, size_t size, uint64_t counter)
{
    if (size == 0)
        return;
    char digits[20]; // of 64 bits
    const size_t length = static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, counter).ptr - digits);
    const size_t shown = std::min(length, size - 1);
    memcpy(text, digits, shown);
    text[shown] = '\0';
}

void statAddText(char *text, size_t size, uint64_t counter)
{
    char digits[STAT_TEXT_SIZE + 1] = {};
    memcpy(digits, text, std::min<size_t>(size, STAT_TEXT_SIZE));
    statWriteText(text, size, strtoull(digits, nullptr, 10) + counter);
}

void statCutText(char *field, size_t size, const char *text)
{
    const size_t length = std::min(strlen(text), size);
    memcpy(field, text, length);
    memset(field + length, 0, size - length);
}
