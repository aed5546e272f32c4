// SPDX-License-Identifier: Apache-2.0
// How a record tells its members: one row each, in a list below the struct.
//
//     struct example_t {
//         be32 ifindex;
//         uint8_t reserved0[4];
//         sbe32 status;
//     };
//     QOS_MEMBERS(example_t, 12, F(0, ifindex), PAD(4, reserved0), F(8, status));
//
// The list holds the struct to its layout and is complete: a member without a row does not compile. What reads records
// by name goes by it: the tool's fields (agent/messages/catalogue.cpp) and the rows of the replicated store
// (velmar/fields.h), so neither says anything twice. QOS_MEMBERS is for records laid out alike on every target; in
// QOS_RECORD, for those with pointers, rows have no offset and the size is that with 32-bit pointers.
//
//     F(offset, member)             a member
//     PAD(offset, member)           takes room, nothing reads it by name
//     LOCAL(offset, member)         this process's own: the store leaves it out
//     BACK(offset, member, places)  its store row stands so many places further back
//     SPAN(offset, member, bytes)   its store row is that long, over padding or what has a row of its own
//     TYPED(offset, member, type)   its store row has a type that the member's type does not tell
//     INIT(offset, member, value)   an integer that is this, and not 0, in a copy from a build without the member
//
// QOS_VERSION(example_t, 2) below the list says that a member means something else than in the versions before, where
// its name and type do not tell: builds of different versions of a record do not mirror.
#ifndef VELMAR_MEMBERS_H
#define VELMAR_MEMBERS_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "velmar/wire.h"

enum class memberKind : uint8_t { Unsigned, Signed, Native, Chars, Pointer, Record }; // Native: in the machine's order

struct qosRecord_t;

// What a row says beyond its member.
struct qosMemberUse_t {
    bool reserved = false;
    bool local = false;
    uint8_t back = 0;
    uint32_t storeSize = 0;          // 0: the member's
    const char *storeType = nullptr; // null: that of the member's type
    uint64_t initial = 0;            // in a copy from a build that lacks the member
};

// What follows from a member's type.
struct qosShape_t {
    uint32_t size;  // bytes of all of it
    uint32_t width; // bytes of an element; a text is one element
    uint32_t count; // elements, 0 where it only marks what follows the record
    bool isArray;
    memberKind kind;
    const char *type;          // of an element, in the store's terms; null where the store has none
    const qosRecord_t *record; // what an element is, null unless the kind is Record
};

struct qosMember_t {
    const char *name;
    uint32_t offset;
    uint32_t align;
    const qosShape_t *shape;
    qosMemberUse_t use;
};

struct qosRecord_t {
    const char *name;
    uint32_t size;
    uint32_t align;
    uint32_t numMembers;
    const qosMember_t *members;
};

// The list of a record: `name`, `members` and `record`.
template <typename Record>
struct qosMembersOf;

template <typename Record>
inline constexpr uint32_t qosVersionOf = 1;
#define QOS_VERSION(type, number)                                                                                      \
    template <>                                                                                                        \
    inline constexpr uint32_t qosVersionOf<type> = number

namespace memberDetail {

template <typename M> // std::is_array does not know [0]
concept array = !std::is_pointer_v<M> && !std::is_class_v<M> && requires
{
    (*static_cast<M *>(nullptr))[0];
};

template <typename T>
constexpr const char *integerType()
{
    constexpr const char *names[2][4] = {{"~U08", "~U16", "~U32", "~U64"}, {nullptr, nullptr, "~I32", nullptr}};
    return names[std::is_signed_v<T>][sizeof(T) == 8 ? 3 : sizeof(T) / 2];
}

template <typename M>
struct wireType; // undefined but for the integers of velmar/wire.h

template <typename T, std::endian Order>
struct wireType<velmar::wireInt<T, Order>> {
    using type = T;
    static constexpr memberKind kind = Order != std::endian::big ? memberKind::Native
                                       : std::is_signed_v<T>     ? memberKind::Signed
                                                                 : memberKind::Unsigned;
};

template <typename M>
constexpr qosShape_t shape()
{
    if constexpr (array<M>) {
        using element = std::remove_reference_t<decltype((*static_cast<M *>(nullptr))[0])>;
        if constexpr (std::is_same_v<element, char>)
            return {sizeof(M), sizeof(M), 1, false, memberKind::Chars, "~Chr", nullptr};
        qosShape_t made = shape<element>();
        made.size = sizeof(M);
        made.count *= static_cast<uint32_t>(sizeof(M) / sizeof(element));
        made.isArray = true;
        return made;
    } else if constexpr (std::is_pointer_v<M>) {
        return {sizeof(M), sizeof(M), 1, false, memberKind::Pointer, "~Ptr", nullptr};
    } else if constexpr (std::is_integral_v<M>) {
        constexpr memberKind kind = sizeof(M) == 1 ? memberKind::Unsigned : memberKind::Native;
        return {sizeof(M), sizeof(M), 1, false, kind, integerType<M>(), nullptr};
    } else if constexpr (requires { wireType<M>::kind; }) {
        using T = typename wireType<M>::type;
        return {sizeof(M), sizeof(M), 1, false, wireType<M>::kind, integerType<T>(), nullptr};
    } else {
        using members = qosMembersOf<M>;
        return {sizeof(M), sizeof(M), 1, false, memberKind::Record, members::name, &members::record};
    }
}

template <typename M>
inline constexpr qosShape_t shapeOf = shape<M>();

constexpr uint32_t aligned(uint32_t offset, uint32_t align)
{
    return (offset + align - 1) / align * align;
}

// Whether each row begins where the one ahead of it and its own alignment put it, and the record ends with the last.
constexpr bool gapless(const qosRecord_t &record)
{
    uint32_t end = 0;
    for (uint32_t i = 0; i < record.numMembers; ++i) {
        const qosMember_t &member = record.members[i];
        if (member.offset != aligned(end, member.align))
            return false;
        end = member.offset + member.shape->size;
    }
    return record.size == aligned(end, record.align);
}

} // namespace memberDetail

// Applies `row` to each of up to 48 arguments, commas between.
#define QOS_EACH(row, ...) QOS_AGAIN(QOS_AGAIN(QOS_EACH_1(row, __VA_ARGS__)))
#define QOS_AGAIN(...) __VA_ARGS__
#define QOS_PARENTHESES ()
#define QOS_EACH_FIRST() QOS_EACH_1
#define QOS_EACH_1(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_2(row, __VA_ARGS__))
#define QOS_EACH_2(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_3(row, __VA_ARGS__))
#define QOS_EACH_3(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_4(row, __VA_ARGS__))
#define QOS_EACH_4(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_5(row, __VA_ARGS__))
#define QOS_EACH_5(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_6(row, __VA_ARGS__))
#define QOS_EACH_6(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_7(row, __VA_ARGS__))
#define QOS_EACH_7(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_8(row, __VA_ARGS__))
#define QOS_EACH_8(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_9(row, __VA_ARGS__))
#define QOS_EACH_9(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_10(row, __VA_ARGS__))
#define QOS_EACH_10(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_11(row, __VA_ARGS__))
#define QOS_EACH_11(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_12(row, __VA_ARGS__))
#define QOS_EACH_12(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_13(row, __VA_ARGS__))
#define QOS_EACH_13(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_14(row, __VA_ARGS__))
#define QOS_EACH_14(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_15(row, __VA_ARGS__))
#define QOS_EACH_15(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_16(row, __VA_ARGS__))
#define QOS_EACH_16(row, x, ...) row(x) __VA_OPT__(, QOS_EACH_FIRST QOS_PARENTHESES(row, __VA_ARGS__))

// clang-format off
#define QOS_MEMBER_ROW(member, at, ...)                                                                                \
    {#member, at, __alignof__(R::member), &memberDetail::shapeOf<decltype(R::member)>, {__VA_ARGS__}}
#define QOS_BRACES(row) {}
// clang-format on
#define QOS_STATED_ROW(offset, member, ...)                                                                            \
    QOS_MEMBER_ROW(                                                                                                    \
        member,                                                                                                        \
        [] {                                                                                                           \
            static_assert(offsetof(R, member) == (offset), #member " stands at another offset");                       \
            return uint32_t{offset};                                                                                   \
        }(),                                                                                                           \
        __VA_ARGS__)
#define QOS_FOUND_ROW(member, ...) QOS_MEMBER_ROW(member, offsetof(R, member), __VA_ARGS__)
#define QOS_AT(row) QOS_AT_##row
#define QOS_AT_F(offset, member) QOS_STATED_ROW(offset, member)
#define QOS_AT_PAD(offset, member) QOS_STATED_ROW(offset, member, .reserved = true)
#define QOS_AT_LOCAL(offset, member) QOS_STATED_ROW(offset, member, .local = true)
#define QOS_AT_BACK(offset, member, places) QOS_STATED_ROW(offset, member, .back = places)
#define QOS_AT_SPAN(offset, member, bytes) QOS_STATED_ROW(offset, member, .storeSize = bytes)
#define QOS_AT_TYPED(offset, member, type) QOS_STATED_ROW(offset, member, .storeType = type)
#define QOS_AT_INIT(offset, member, value) QOS_STATED_ROW(offset, member, .initial = value)
#define QOS_IN(row) QOS_IN_##row
#define QOS_IN_F(member) QOS_FOUND_ROW(member)
#define QOS_IN_PAD(member) QOS_FOUND_ROW(member, .reserved = true)
#define QOS_IN_LOCAL(member) QOS_FOUND_ROW(member, .local = true)
#define QOS_IN_BACK(member, places) QOS_FOUND_ROW(member, .back = places)
#define QOS_IN_TYPED(member, type) QOS_FOUND_ROW(member, .storeType = type)
#define QOS_IN_INIT(member, value) QOS_FOUND_ROW(member, .initial = value)

// What qosMembersOf has beside the name. `more`: one initialiser more than rows is still valid, so a member has no row,
// even one that is too small to leave a gap.
#define QOS_LIST(type, text, rows, ...)                                                                                \
    using R = type;                                                                                                    \
    static constexpr qosMember_t members[] = {QOS_EACH(rows, __VA_ARGS__)};                                            \
    static constexpr qosRecord_t record = {name, sizeof(R), alignof(R), sizeof members / sizeof members[0], members};  \
    template <typename T>                                                                                              \
    static constexpr bool more = requires                                                                              \
    {                                                                                                                  \
        T{QOS_EACH(QOS_BRACES, __VA_ARGS__), {}};                                                                      \
    };                                                                                                                 \
    static_assert(memberDetail::gapless(record), text " has a hole between two rows, or one out of order");            \
    static_assert(!more<R>, text " has a member without a row");

#define QOS_MEMBERS(type, bytes, ...)                                                                                  \
    template <>                                                                                                        \
    struct qosMembersOf<type> {                                                                                        \
        static_assert(sizeof(type) == (bytes), #type " has another size");                                             \
        static constexpr const char *name = #type;                                                                     \
        QOS_LIST(type, #type, QOS_AT, __VA_ARGS__)                                                                     \
    }

#define QOS_RECORD(type, bytes, ...) QOS_RECORD_NAMED(type, #type, bytes, __VA_ARGS__)
#define QOS_RECORD_NAMED(type, text, bytes, ...)                                                                       \
    template <>                                                                                                        \
    struct qosMembersOf<type> {                                                                                        \
        static_assert(sizeof(void *) != 4 || sizeof(type) == (bytes), text " has another size");                       \
        static constexpr const char *name = text;                                                                      \
        QOS_LIST(type, text, QOS_IN, __VA_ARGS__)                                                                      \
    }

#endif
