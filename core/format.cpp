// SPDX-License-Identifier: Apache-2.0
// A small vsnprintf: %s %c %d %i %u %x %X %% with the flags '0' and '-', a width, and h, l, ll, z. A format with
// anything else is handed to the library's.
//
// One pass over the format, which writes as it reads: the text between conversions in words of eight, and the bare %s
// and %d, which nearly all conversions of trace lines are, ahead of everything that takes flags.
#include "core/format.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "velmar/wire.h"

namespace {

struct Conversion {
    bool zero = false;
    bool left = false;
    unsigned width = 0;
    int size = 0; // 0 int, 1 long, 2 long long, 3 size_t, -1 short, -2 char
    char letter = 0;
};

struct Sink {
    char *at;
    char *end; // the last place, kept for the terminator

    size_t fitting(size_t length) const
    {
        const size_t room = static_cast<size_t>(end - at);
        return length < room ? length : room;
    }
    void put(const char *text, size_t length)
    {
        const size_t n = fitting(length);
        memcpy(at, text, n);
        at += n;
    }
    void fill(char c, size_t length)
    {
        const size_t n = fitting(length);
        memset(at, c, n);
        at += n;
    }
    void padded(const Conversion &how, const char *text, size_t length)
    {
        const size_t pad = how.width > length ? how.width - length : 0;
        if (!how.left)
            fill(' ', pad);
        put(text, length);
        if (how.left)
            fill(' ', pad);
    }
};

constexpr std::array<char, 200> digitPairs()
{
    std::array<char, 200> pairs = {};
    for (unsigned i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}
constexpr std::array<char, 200> PAIRS = digitPairs();

constexpr size_t DIGITS_MAX = 24; // a sign and the 20 digits of 64 bits

// Each writes the digits of `value` so that they end before `end`, and gives their begin.
template <typename T>
char *decimal(char *end, T value)
{
    for (; value >= 100; value /= 100)
        memcpy(end -= 2, &PAIRS[2 * static_cast<size_t>(value % 100)], 2);
    if (value >= 10)
        return static_cast<char *>(memcpy(end - 2, &PAIRS[2 * static_cast<size_t>(value)], 2));
    *--end = static_cast<char>('0' + value);
    return end;
}

char *hexadecimal(char *end, uint64_t value, const char *digits)
{
    do
        *--end = digits[value & 15];
    while (value >>= 4);
    return end;
}

// Characters ahead of the first '%' of eight, 8 if there is none. A byte of `x` is 0 where a '%' was; the lowest of the
// bits that mark such bytes is exact, and no other is looked at.
unsigned ahead(uint64_t eight)
{
    constexpr uint64_t ONES = 0x0101010101010101;
    if constexpr (std::endian::native == std::endian::big)
        eight = velmar::byteSwap(eight);
    const uint64_t x = eight ^ ONES * '%';
    const uint64_t marks = (x - ONES) & ~x & ONES * 0x80;
    return static_cast<unsigned>(std::countr_zero(marks)) / 8;
}

// Copies up to the next '%', the end of the format or that of the room; gives the place in the format. Behind what
// counts, up to seven characters more are written, never beyond the room.
const char *putLiteral(Sink &sink, const char *p, const char *stop)
{
    char *at = sink.at;
    char *const end = sink.end;
    while (stop - p >= 8 && end - at >= 8) {
        uint64_t eight;
        memcpy(&eight, p, sizeof eight);
        memcpy(at, &eight, sizeof eight);
        const unsigned n = ahead(eight);
        p += n;
        at += n;
        if (n < 8) {
            sink.at = at;
            return p;
        }
    }
    while (p != stop && at != end && *p != '%')
        *at++ = *p++;
    sink.at = at;
    return p;
}

void putText(Sink &sink, const char *text)
{
    if (!text)
        text = "(null)";
    sink.put(text, strlen(text));
}

void putInt(Sink &sink, int value)
{
    char text[DIGITS_MAX];
    char *const end = text + sizeof text;
    char *begin = decimal(end, value < 0 ? 0U - static_cast<unsigned>(value) : static_cast<unsigned>(value));
    if (value < 0)
        *--begin = '-';
    char *at = sink.at;
    for (char *const stop = sink.end; begin != end && at != stop;)
        *at++ = *begin++;
    sink.at = at;
}

// Reads flags, width, size and letter behind a '%'; gives the place behind them, or null for what is not known here.
const char *parse(const char *p, Conversion &how)
{
    for (; *p == '0' || *p == '-'; ++p)
        (*p == '0' ? how.zero : how.left) = true;
    for (; *p >= '0' && *p <= '9'; ++p)
        how.width = how.width * 10 + static_cast<unsigned>(*p - '0');
    if (*p == 'l' || *p == 'h') {
        const bool twice = p[1] == *p;
        const int size = twice ? 2 : 1;
        how.size = *p == 'l' ? size : -size;
        p += size;
    } else if (*p == 'z') {
        how.size = 3;
        ++p;
    }
    how.letter = *p;
    return *p && strchr("sdiuxXc", *p) ? p + 1 : nullptr;
}

void putNumber(Sink &sink, const Conversion &how, uint64_t value, bool negative)
{
    char text[DIGITS_MAX];
    char *const end = text + sizeof text;
    char *begin;
    if (how.letter == 'x')
        begin = hexadecimal(end, value, "0123456789abcdef");
    else if (how.letter == 'X')
        begin = hexadecimal(end, value, "0123456789ABCDEF");
    else
        begin = decimal(end, value);
    const size_t used = static_cast<size_t>(end - begin) + negative;
    if (how.zero && !how.left && how.width > used) {
        if (negative)
            sink.put("-", 1);
        sink.fill('0', how.width - used);
        sink.put(begin, static_cast<size_t>(end - begin));
        return;
    }
    if (negative)
        *--begin = '-';
    sink.padded(how, begin, used);
}

int64_t narrowed(const Conversion &how, int value)
{
    return how.size == -1 ? static_cast<int16_t>(value) : how.size == -2 ? static_cast<int8_t>(value) : value;
}

uint64_t narrowed(const Conversion &how, unsigned value)
{
    return how.size == -1 ? static_cast<uint16_t>(value) : how.size == -2 ? static_cast<uint8_t>(value) : value;
}

// A list that a function can take arguments from for its caller.
struct Arguments {
    va_list list;
};

// A conversion with flags, a width or a size, or of a rarer letter.
void convert(Sink &sink, const Conversion &how, Arguments &args)
{
    if (how.letter == 's') {
        const char *text = va_arg(args.list, const char *);
        if (!text)
            text = "(null)";
        sink.padded(how, text, strlen(text));
    } else if (how.letter == 'c') {
        const char c = static_cast<char>(va_arg(args.list, int));
        sink.padded(how, &c, 1);
    } else if (how.letter == 'd' || how.letter == 'i') {
        const int64_t value = how.size == 2   ? va_arg(args.list, long long)
                              : how.size == 1 ? va_arg(args.list, long)
                              : how.size == 3 ? static_cast<int64_t>(va_arg(args.list, size_t))
                                              : narrowed(how, va_arg(args.list, int));
        putNumber(sink, how, value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value), value < 0);
    } else {
        const uint64_t value = how.size == 2   ? va_arg(args.list, unsigned long long)
                               : how.size == 1 ? va_arg(args.list, unsigned long)
                               : how.size == 3 ? va_arg(args.list, size_t)
                                               : narrowed(how, va_arg(args.list, unsigned));
        putNumber(sink, how, value, false);
    }
}

} // namespace

size_t qosFormat(char *out, size_t size, const char *format, va_list args)
{
    if (size == 0)
        return 0;
    Arguments own;
    va_copy(own.list, args);
    Sink sink = {out, out + size - 1};
    const char *const stop = format + strlen(format);
    for (const char *p = format;;) {
        p = putLiteral(sink, p, stop);
        if (p == stop || sink.at == sink.end)
            break;
        if (*++p == 's') {
            ++p;
            putText(sink, va_arg(own.list, const char *));
        } else if (*p == 'd') {
            ++p;
            putInt(sink, va_arg(own.list, int));
        } else if (*p == '%') {
            ++p;
            sink.put("%", 1);
        } else {
            Conversion how;
            p = parse(p, how);
            if (!p) {
                va_end(own.list);
                const int length = vsnprintf(out, size, format, args);
                return length < 0 ? 0 : static_cast<size_t>(length) < size ? static_cast<size_t>(length) : size - 1;
            }
            convert(sink, how, own);
        }
    }
    va_end(own.list);
    *sink.at = '\0';
    return static_cast<size_t>(sink.at - out);
}
