// SPDX-License-Identifier: Apache-2.0
// Statistics replies as data: what of a driver's response goes where in a message body.
//
// A family's table is a constant list of steps, made by the macros below from members of the block that the driver
// gives and of the body, and run by statCopy. Offsets into the response count from the block's start, offsets into the
// body from its start; everything is big-endian on both sides. Steps run in order, so where two write the same byte the
// later one stays.
#ifndef PLATFORM_COMMON_STAT_COPY_H
#define PLATFORM_COMMON_STAT_COPY_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

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

// The steps by members. A and B are the block that is read and the body that is filled; a member may be an element of
// an array.
#define STAT_MOVE(to, from) statMove<decltype(B::to), decltype(A::from)>(offsetof(B, to), offsetof(A, from))
#define STAT_RUN(count, to, from) statRun<decltype(B::to), decltype(A::from)>(offsetof(B, to), offsetof(A, from), count)
#define STAT_FIELD(to, from, bit, bits)                                                                                \
    statField<decltype(B::to), decltype(A::from)>(offsetof(B, to), offsetof(A, from), bit, bits)
#define STAT_FLAG(to, from, bit) statFlag<decltype(B::to), decltype(A::from)>(offsetof(B, to), offsetof(A, from), bit)
#define STAT_FLAGS(to, from, bit) statFlags<decltype(B::to), decltype(A::from)>(offsetof(B, to), offsetof(A, from), bit)
// As a text that shows the value times two to the power `scale`.
#define STAT_TEXTS(to, from, scale)                                                                                    \
    statTexts<decltype(B::to), decltype(A::from)>(offsetof(B, to), offsetof(A, from), scale)

namespace statDetail {

template <typename Member>
using leaf = std::remove_all_extents_t<std::remove_reference_t<Member>>;

template <typename Member>
constexpr size_t leaves = sizeof(std::remove_reference_t<Member>) / sizeof(leaf<Member>);

template <typename Member>
constexpr uint8_t width = sizeof(leaf<Member>);

// A counter as text counts as one value.
template <typename Member>
constexpr bool isText = std::is_same_v<leaf<Member>, char>;

} // namespace statDetail

template <typename To, typename From>
constexpr statStep_t statRun(size_t to, size_t from, size_t count)
{
    using namespace statDetail;
    return {static_cast<uint16_t>(to),
            static_cast<uint16_t>(from),
            static_cast<uint16_t>(count),
            width<To>,
            width<From>,
            width<To>,
            width<From>,
            0,
            0,
            8 * width<From>,
            statForm_t::Number,
            0};
}

template <typename To, typename From>
constexpr statStep_t statField(size_t to, size_t from, unsigned bit, unsigned bits)
{
    static_assert(statDetail::leaves<To> == 1 && statDetail::leaves<From> == 1);
    statStep_t step = statRun<To, From>(to, from, 1);
    step.shift = static_cast<uint8_t>(bit);
    step.bits = static_cast<uint8_t>(bits);
    return step;
}

// Read from the byte that holds the bit.
template <typename To, typename From>
constexpr statStep_t statFlag(size_t to, size_t from, unsigned bit)
{
    static_assert(std::is_same_v<statDetail::leaf<To>, uint8_t>);
    return statField<To, uint8_t>(to, from + statDetail::width<From> - 1 - bit / 8, bit % 8, 1);
}

template <typename To, typename From>
constexpr statStep_t statFlags(size_t to, size_t from, unsigned bit)
{
    static_assert(std::is_same_v<To, uint8_t[8]> && statDetail::leaves<From> == 1);
    statStep_t step = statField<uint8_t, From>(to, from, bit, 1);
    step.count = 8;
    step.from_stride = 0;
    step.shift_stride = 1;
    return step;
}

template <typename To, typename From>
constexpr statStep_t statMove(size_t to, size_t from)
{
    using namespace statDetail;
    if constexpr (std::is_same_v<To, uint8_t[8]> && std::is_same_v<From, uint8_t>) {
        return statFlags<To, From>(to, from, 0);
    } else {
        static_assert(leaves<To> == leaves<From>, "a run past the end of a member is a RUN");
        return statRun<To, From>(to, from, leaves<To>);
    }
}

template <typename To, typename From>
constexpr statStep_t statTexts(size_t to, size_t from, uint8_t scale = 0)
{
    using namespace statDetail;
    static_assert(isText<To> && width<From> == 8);
    static_assert(leaves<To> == leaves<From> * STAT_TEXT_SIZE, "a text for each counter");
    statStep_t step = statRun<To, From>(to, from, leaves<From>);
    step.to_width = step.to_stride = STAT_TEXT_SIZE;
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
