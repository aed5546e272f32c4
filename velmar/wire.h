// SPDX-License-Identifier: Apache-2.0
// Fields of records that leave the process: big-endian or native, always with alignment 1.
//
// A packed record is a plain struct of these types and of char arrays, so the compiler lays it out without padding and
// reading a field is the byte swap. Below every such struct stands its list of members (velmar/members.h), which holds
// it to its layout.
#ifndef VELMAR_WIRE_H
#define VELMAR_WIRE_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace velmar {

template <typename T>
constexpr T byteSwap(T value)
{
    if constexpr (sizeof(T) == 2)
        return static_cast<T>(__builtin_bswap16(static_cast<uint16_t>(value)));
    else if constexpr (sizeof(T) == 4)
        return static_cast<T>(__builtin_bswap32(static_cast<uint32_t>(value)));
    else
        return static_cast<T>(__builtin_bswap64(static_cast<uint64_t>(value)));
}

// An integer of type T kept in the byte order Order. Converts to and from T; never promoted silently into a format
// argument, since a class type does not pass through an ellipsis.
template <typename T, std::endian Order>
struct wireInt {
    unsigned char bytes[sizeof(T)];

    operator T() const
    {
        T value;
        std::memcpy(&value, bytes, sizeof value);
        return Order == std::endian::native ? value : byteSwap(value);
    }
    wireInt &operator=(T value)
    {
        if constexpr (Order != std::endian::native)
            value = byteSwap(value);
        std::memcpy(bytes, &value, sizeof value);
        return *this;
    }
};

} // namespace velmar

using be16 = velmar::wireInt<uint16_t, std::endian::big>;
using be32 = velmar::wireInt<uint32_t, std::endian::big>;
using be64 = velmar::wireInt<uint64_t, std::endian::big>;
using sbe16 = velmar::wireInt<int16_t, std::endian::big>;
using sbe32 = velmar::wireInt<int32_t, std::endian::big>;
using sbe64 = velmar::wireInt<int64_t, std::endian::big>;

// Native byte order at any alignment: socket addresses, frame headers, notices.
using ne16 = velmar::wireInt<uint16_t, std::endian::native>;
using ne32 = velmar::wireInt<uint32_t, std::endian::native>;
using ne64 = velmar::wireInt<uint64_t, std::endian::native>;

static_assert(sizeof(be16) == 2 && alignof(be16) == 1);
static_assert(sizeof(be32) == 4 && alignof(be32) == 1);
static_assert(sizeof(be64) == 8 && alignof(be64) == 1);

#endif
