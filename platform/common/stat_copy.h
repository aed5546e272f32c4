// Statistics replies as data: what of a driver's response goes where in a message body.
//
// A family's table is a constant list of steps, made by the functions below and run by statCopy. Offsets into the
// response count from the point that the caller hands over, offsets into the body from its start; everything is
// big-endian on both sides. Steps run in order, so where two write the same byte the later one stays.
#ifndef PLATFORM_COMMON_STAT_COPY_H
#define PLATFORM_COMMON_STAT_COPY_H

#include <cstddef>
#include <cstdint>
#include <span>

// A counter as decimal text, terminated.
constexpr unsigned STAT_TEXT_SIZE = 33;

enum class statForm_t : uint8_t { Number, Text };

// `count` values, each made of `bits` bits that stand `shift` bits above the end of the `from_width` bytes at `from`.
// The next value is `from_stride` bytes or `shift_stride` bits further on, and goes `to_stride` bytes further on.
struct statStep_t {
    uint16_t to;
    uint16_t from;
    uint16_t count;
    uint8_t to_width; // bytes; a number is cut or extended to it
    uint8_t from_width;
    uint8_t to_stride;
    uint8_t from_stride;
    uint8_t shift;
    uint8_t shift_stride;
    uint8_t bits;
    statForm_t form;
    uint8_t scale; // a text shows the value times two to this power, in 64 bits
};

constexpr statStep_t statArray(uint16_t to, uint8_t to_width, uint16_t from, uint8_t from_width, uint16_t count)
{
    return {to,
            from,
            count,
            to_width,
            from_width,
            to_width,
            from_width,
            0,
            0,
            static_cast<uint8_t>(8 * from_width),
            statForm_t::Number,
            0};
}

constexpr statStep_t statWords(uint16_t to, uint16_t from, uint16_t count = 1)
{
    return statArray(to, 4, from, 4, count);
}

constexpr statStep_t statQuads(uint16_t to, uint16_t from, uint16_t count = 1)
{
    return statArray(to, 8, from, 8, count);
}

constexpr statStep_t statBytes(uint16_t to, uint16_t from, uint16_t count = 1)
{
    return statArray(to, 1, from, 1, count);
}

// The low byte of each word.
constexpr statStep_t statLowBytes(uint16_t to, uint16_t from, uint16_t count = 1)
{
    return statArray(to, 1, from, 4, count);
}

// A field of `bits` bits, the lowest of them `shift` bits above the end of the `from_width` bytes at `from`.
constexpr statStep_t statField(uint16_t to, uint8_t to_width, uint16_t from, uint8_t from_width, uint8_t shift,
                               uint8_t bits)
{
    statStep_t step = statArray(to, to_width, from, from_width, 1);
    step.shift = shift;
    step.bits = bits;
    return step;
}

// One bit of a byte, as a byte.
constexpr statStep_t statFlag(uint16_t to, uint16_t from, uint8_t bit)
{
    return statField(to, 1, from, 1, bit, 1);
}

// Eight bits, a byte for each, beginning with the one `shift` bits above the end of the `from_width` bytes at `from`.
constexpr statStep_t statFlags(uint16_t to, uint16_t from, uint8_t from_width = 1, uint8_t shift = 0)
{
    statStep_t step = statField(to, 1, from, from_width, shift, 1);
    step.count = 8;
    step.from_stride = 0;
    step.shift_stride = 1;
    return step;
}

// 64-bit counters as texts.
constexpr statStep_t statTexts(uint16_t to, uint16_t from, uint16_t count = 1, uint8_t scale = 0)
{
    statStep_t step = statArray(to, STAT_TEXT_SIZE, from, 8, count);
    step.form = statForm_t::Text;
    step.scale = scale;
    return step;
}

// Bytes of a body that a list of steps needs.
constexpr size_t statReach(std::span<const statStep_t> steps)
{
    size_t reach = 0;
    for (const statStep_t &step : steps) {
        const size_t end = step.to + size_t{step.to_stride} * (step.count - 1U) + step.to_width;
        reach = end > reach ? end : reach;
    }
    return reach;
}

// Runs the steps. Of the response `length` bytes can be read; what a step finds behind them is 0.
void statCopy(std::span<const statStep_t> steps, const unsigned char *response, size_t length, void *body);

// A counter as decimal text, cut to `size` bytes with its terminator; what stands behind that is left.
void statWriteText(char *text, size_t size, uint64_t counter);

// Adds a counter to a decimal text of at most `size` bytes, terminator included; the text is read as strtoull reads it,
// one without a number as 0. The sum wraps in 64 bits. A text that is not terminated is read to its end.
void statAddText(char *text, size_t size, uint64_t counter);

// A text into a field of `size` bytes, cut to it and then not terminated; the rest of the field becomes 0.
void statCutText(char *field, size_t size, const char *text);

#endif
