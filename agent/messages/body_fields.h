// SPDX-License-Identifier: Apache-2.0
// The field table of a body, made from its list of members and those of the records inside it.
//
// A member of a nested record comes as "shaper_cfg.if_bw", one of an array of records as "portInfo.ifindex" with the
// records' size as its stride; where such a member is an array itself, each of its elements has a row,
// "records.counter[2]". Reserved members have none.
#ifndef AGENT_MESSAGES_BODY_FIELDS_H
#define AGENT_MESSAGES_BODY_FIELDS_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "agent/messages/fields.h"
#include "velmar/members.h"

namespace wireDetail {

// Where a walk over a body puts what it finds, and how much that was. A walk with nothing to write to only counts.
struct table {
    // What a pass over the members does; none of the pointers is looked at in another. Pointers are not tested
    // themselves: under the sanitizers g++ takes no such test of a template's object for constant.
    enum class pass_t : uint8_t { Count, Names, Fields } pass;
    wireField *fields;
    char *chars;       // names end to end ...
    const char *names; // ... and where the fields point to them
    size_t numFields;
    size_t numChars;
};

void notOnTheWire(const char *member); // no constant expression: a member that comes here does not compile

constexpr wireKind kindOf(const qosMember_t &member)
{
    switch (member.shape->kind) {
    case memberKind::Unsigned:
        return wireKind::Unsigned;
    case memberKind::Signed:
        return wireKind::Signed;
    case memberKind::Chars:
        return wireKind::Chars;
    case memberKind::Native:
        return wireKind::Native;
    default:
        notOnTheWire(member.name);
        return wireKind::Native;
    }
}

constexpr void append(table &to, char c)
{
    if (to.pass == table::pass_t::Names)
        to.chars[to.numChars] = c;
    ++to.numChars;
}

constexpr void append(table &to, const char *text)
{
    for (; *text; ++text)
        append(to, *text);
}

constexpr void append(table &to, const wireField &field)
{
    if (to.pass == table::pass_t::Fields)
        to.fields[to.numFields] = field;
    ++to.numFields;
}

// Appends the name of a member of `outer`, `index` being that of an element of its own or -1, and gives its place.
constexpr const char *nameIn(table &to, const qosMember_t &outer, const qosMember_t &member, int index)
{
    const char *name = to.pass == table::pass_t::Fields ? to.names + to.numChars : nullptr;
    append(to, outer.name);
    append(to, '.');
    append(to, member.name);
    if (index >= 0) {
        append(to, '[');
        append(to, static_cast<char>('0' + index));
        append(to, ']');
    }
    append(to, '\0');
    return name;
}

constexpr wireField fieldOf(const char *name, const qosMember_t &member, uint32_t offset)
{
    return {name,
            static_cast<uint16_t>(offset),
            static_cast<uint16_t>(member.shape->width),
            static_cast<uint16_t>(member.shape->count),
            static_cast<uint16_t>(member.shape->width),
            kindOf(member)};
}

// A member of the record, or of the array of records, that `outer` is.
constexpr void addInner(table &to, const qosMember_t &outer, const qosMember_t &member)
{
    const uint32_t offset = outer.offset + member.offset;
    if (!outer.shape->isArray) {
        append(to, fieldOf(nameIn(to, outer, member, -1), member, offset));
        return;
    }
    for (uint32_t i = 0; i < member.shape->count; ++i) {
        const char *name = nameIn(to, outer, member, member.shape->isArray ? static_cast<int>(i) : -1);
        wireField field = fieldOf(name, member, offset + i * member.shape->width);
        field.count = static_cast<uint16_t>(outer.shape->count);
        field.stride = static_cast<uint16_t>(outer.shape->width);
        append(to, field);
    }
}

constexpr void addBody(table &to, const qosRecord_t &body)
{
    for (uint32_t i = 0; i < body.numMembers; ++i) {
        const qosMember_t &member = body.members[i];
        if (member.use.reserved)
            continue;
        if (member.shape->kind != memberKind::Record) {
            append(to, fieldOf(member.name, member, member.offset));
            continue;
        }
        const qosRecord_t &inner = *member.shape->record;
        for (uint32_t k = 0; k < inner.numMembers; ++k)
            if (!inner.members[k].use.reserved)
                addInner(to, member, inner.members[k]);
    }
}

constexpr table countOf(const qosRecord_t &body)
{
    table counted = {};
    addBody(counted, body);
    return counted;
}

} // namespace wireDetail

template <typename Body>
struct wireOf {
    static constexpr const qosRecord_t &record = qosMembersOf<Body>::record;
    static constexpr wireDetail::table counted = wireDetail::countOf(record);
    static constexpr auto names = [] {
        std::array<char, counted.numChars + 1> made = {};
        wireDetail::table to = {wireDetail::table::pass_t::Names, nullptr, made.data(), nullptr, 0, 0};
        wireDetail::addBody(to, record);
        return made;
    }();
    static constexpr auto fields = [] {
        std::array<wireField, counted.numFields> made = {};
        wireDetail::table to = {wireDetail::table::pass_t::Fields, made.data(), nullptr, names.data(), 0, 0};
        wireDetail::addBody(to, record);
        return made;
    }();
    static constexpr wireBody body = {record.name, sizeof(Body), static_cast<uint16_t>(fields.size()), fields.data()};
};

#endif
