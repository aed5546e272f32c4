// SPDX-License-Identifier: Apache-2.0
// Formats of trace lines: what they take, and their text when it is read.
#include "host/trace_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

// Letters of trace_kinds_t: an int, a number of 64 bits that is signed or not, size_t, and a text.
constexpr char INT = 'i';
constexpr char LONG = 'l', LONG_LONG = 'L', UNSIGNED_LONG = 'u', UNSIGNED_LONG_LONG = 'U', SIZE = 'z';
constexpr char TEXT = 's';
constexpr size_t CONVERSION_MOST = 16; // characters of a conversion
constexpr size_t WIDTH_DIGITS = 3;     // a ring's file may ask for anything

// A conversion: where it ends, what it takes (0 for "%%"), and how it is printed, 64 bits always as "ll".
struct conversion_t {
    const char *end; // null for one that is not known
    char kind;
    char how[CONVERSION_MOST + 4];
};

char wideKind(char size, bool twice, bool is_signed)
{
    if (size == 'z')
        return SIZE;
    if (is_signed)
        return twice ? LONG_LONG : LONG;
    return twice ? UNSIGNED_LONG_LONG : UNSIGNED_LONG;
}

// Reads the conversion that begins with the '%' at `at`.
conversion_t readConversion(const char *at)
{
    conversion_t conversion = {};
    const char *p = at + 1;
    if (*p == '%') {
        conversion.end = p + 1;
        return conversion;
    }
    p += strspn(p, "0-");
    const size_t digits = strspn(p, "0123456789");
    p += digits;
    size_t used = std::min<size_t>(static_cast<size_t>(p - at), CONVERSION_MOST);
    const bool fits = at + used == p && digits <= WIDTH_DIGITS;
    memcpy(conversion.how, at, used);
    const char size = *p == 'h' || *p == 'l' || *p == 'z' ? *p++ : '\0';
    const bool twice = size && size != 'z' && *p == size;
    p += twice;
    if (!fits || !*p || !strchr("sdiuxXc", *p) || (size && (*p == 's' || *p == 'c')))
        return conversion;
    const bool wide = size == 'l' || size == 'z';
    conversion.kind = *p == 's' ? TEXT : wide ? wideKind(size, twice, *p == 'd' || *p == 'i') : INT;
    for (int i = 0; size && i < (wide || twice ? 2 : 1); ++i)
        conversion.how[used++] = wide ? 'l' : size;
    conversion.how[used] = *p;
    conversion.end = p + 1;
    return conversion;
}

struct packer_t {
    unsigned char *at;
    unsigned char *end;

    bool put(const void *bytes, size_t length)
    {
        if (length > static_cast<size_t>(end - at))
            return false;
        memcpy(at, bytes, length);
        at += length;
        return true;
    }
    bool put(int64_t value) { return put(&value, sizeof value); }
    bool put(uint64_t value) { return put(&value, sizeof value); }
};

// Prints one argument; false if it is not there.
template <typename Value>
bool printValue(const conversion_t &conversion, const unsigned char *&at, const unsigned char *end, char *to,
                size_t size, int *used)
{
    Value value;
    if (static_cast<size_t>(end - at) < sizeof value)
        return false;
    memcpy(&value, at, sizeof value);
    at += sizeof value;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    *used = snprintf(to, size, conversion.how, value);
#pragma GCC diagnostic pop
    return true;
}

bool printText(const conversion_t &conversion, const unsigned char *&at, const unsigned char *end, char *to,
               size_t size, int *used)
{
    if (at == end)
        return false;
    const auto *const stop = static_cast<const unsigned char *>(memchr(at, '\0', static_cast<size_t>(end - at)));
    if (!stop)
        return false;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    *used = snprintf(to, size, conversion.how, reinterpret_cast<const char *>(at));
#pragma GCC diagnostic pop
    at = stop + 1;
    return true;
}

bool print(const conversion_t &conversion, const unsigned char *&at, const unsigned char *end, char *to, size_t size,
           int *used)
{
    switch (conversion.kind) {
    case TEXT:
        return printText(conversion, at, end, to, size, used);
    case INT:
        return printValue<int>(conversion, at, end, to, size, used);
    case LONG:
    case LONG_LONG:
        return printValue<long long>(conversion, at, end, to, size, used);
    default:
        return printValue<unsigned long long>(conversion, at, end, to, size, used);
    }
}

} // namespace

bool traceKinds(const char *format, trace_kinds_t *kinds)
{
    size_t count = 0;
    for (const char *p = strchr(format, '%'); p; p = strchr(p, '%')) {
        const conversion_t conversion = readConversion(p);
        if (!conversion.end || (conversion.kind && count == TRACE_ARGUMENTS_MOST))
            return false;
        if (conversion.kind)
            kinds->letters[count++] = conversion.kind;
        p = conversion.end;
    }
    kinds->letters[count] = '\0';
    return true;
}

int tracePack(unsigned char *to, size_t room, const trace_kinds_t &kinds, va_list args)
{
    packer_t out = {to, to + room};
    for (const char *kind = kinds.letters; *kind; ++kind) {
        bool fits;
        if (*kind == TEXT) {
            const char *const text = va_arg(args, const char *);
            fits = text ? out.put(text, strlen(text) + 1) : out.put("(null)", sizeof "(null)");
        } else if (*kind == INT) {
            const int value = va_arg(args, int);
            fits = out.put(&value, sizeof value);
        } else if (*kind == LONG || *kind == LONG_LONG) {
            fits = out.put(int64_t{*kind == LONG ? va_arg(args, long) : va_arg(args, long long)});
        } else {
            fits = out.put(uint64_t{*kind == SIZE            ? va_arg(args, size_t)
                                    : *kind == UNSIGNED_LONG ? va_arg(args, unsigned long)
                                                             : va_arg(args, unsigned long long)});
        }
        if (!fits)
            return -1;
    }
    return static_cast<int>(out.at - to);
}

size_t traceUnpack(char *to, size_t size, const char *format, const unsigned char *packed, size_t length)
{
    const unsigned char *const end = packed + length;
    size_t used = 0;
    for (const char *p = format; *p && used + 1 < size;) {
        const size_t plain = strcspn(p, "%");
        const size_t part = std::min(plain, size - 1 - used);
        memcpy(to + used, p, part);
        used += part;
        p += plain;
        if (!*p || used + 1 >= size)
            break;
        const conversion_t conversion = readConversion(p);
        if (!conversion.end)
            break;
        p = conversion.end;
        int more = 1;
        if (!conversion.kind)
            to[used] = '%';
        else if (!print(conversion, packed, end, to + used, size - used, &more) || more < 0)
            break;
        used = std::min(used + static_cast<size_t>(more), size - 1);
    }
    to[used] = '\0';
    return used;
}
