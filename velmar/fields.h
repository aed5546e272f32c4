// SPDX-License-Identifier: Apache-2.0
// The field table by which the replicated store knows a record, made from the record's list of members.
#ifndef VELMAR_FIELDS_H
#define VELMAR_FIELDS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "velmar/ha.h"
#include "velmar/members.h"

namespace memberDetail {

constexpr bool isStored(const qosMember_t &member)
{
    return !member.use.reserved && !member.use.local;
}

void noStoreType(const char *member); // no constant expression: a member that comes here does not compile

constexpr ha_field_t storeRow(const qosMember_t &member)
{
    const char *type = member.use.storeType ? member.use.storeType : member.shape->type;
    if (!type)
        noStoreType(member.name);
    return {member.name, member.offset, member.use.storeSize ? member.use.storeSize : member.shape->size, type};
}

void noInitial(const char *member); // likewise

constexpr bool isInteger(memberKind kind)
{
    return kind == memberKind::Unsigned || kind == memberKind::Signed || kind == memberKind::Native;
}

constexpr ha_detail_t storeDetail(const qosMember_t &member)
{
    const qosShape_t &shape = *member.shape;
    if (member.use.initial != 0 && !isInteger(shape.kind))
        noInitial(member.name);
    return {isInteger(shape.kind) && shape.kind != memberKind::Native && shape.width > 1, member.use.initial};
}

// The members in the order of the store's rows, and of each what `made` gives.
template <size_t N, typename Made>
constexpr std::array<Made, N> storeRows(const qosRecord_t &record, Made (*made)(const qosMember_t &))
{
    std::array<Made, N> rows = {};
    size_t n = 0;
    for (uint32_t i = 0; i < record.numMembers; ++i)
        if (isStored(record.members[i]))
            rows[n++] = made(record.members[i]);
    for (uint32_t i = record.numMembers; i-- > 0;) {
        if (!isStored(record.members[i]))
            continue;
        --n;
        for (size_t place = 0; place < record.members[i].use.back; ++place)
            std::swap(rows[n + place], rows[n + place + 1]);
    }
    return rows;
}

constexpr size_t storeCount(const qosRecord_t &record)
{
    size_t n = 0;
    for (uint32_t i = 0; i < record.numMembers; ++i)
        n += isStored(record.members[i]);
    return n;
}

} // namespace memberDetail

template <typename Record>
inline constexpr auto qosStoreRows = memberDetail::storeRows<memberDetail::storeCount(qosMembersOf<Record>::record)>(
    qosMembersOf<Record>::record, memberDetail::storeRow);
template <typename Record>
inline constexpr auto qosStoreDetails = memberDetail::storeRows<memberDetail::storeCount(qosMembersOf<Record>::record)>(
    qosMembersOf<Record>::record, memberDetail::storeDetail);

// Describes a record to the store: 0, or the store's failure.
template <typename Record>
int qosAddStruct(ha_hndl_t ha)
{
    const auto &rows = qosStoreRows<Record>;
    const uint32_t count = static_cast<uint32_t>(rows.size());
    const char *const name = qosMembersOf<Record>::name;
    const int rc = ha_add_struct(ha, name, sizeof(Record), count, rows.data());
    if (rc == 0)
        (void)ha_add_details(ha, name, qosVersionOf<Record>, count, qosStoreDetails<Record>.data());
    return rc;
}

#endif
