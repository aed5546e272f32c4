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

template <size_t N>
constexpr std::array<ha_field_t, N> storeRows(const qosRecord_t &record)
{
    std::array<ha_field_t, N> rows = {};
    size_t n = 0;
    for (uint32_t i = 0; i < record.numMembers; ++i)
        if (isStored(record.members[i]))
            rows[n++] = storeRow(record.members[i]);
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
inline constexpr auto qosStoreRows =
    memberDetail::storeRows<memberDetail::storeCount(qosMembersOf<Record>::record)>(qosMembersOf<Record>::record);

// Describes a record to the store: 0, or the store's failure.
template <typename Record>
int qosAddStruct(ha_hndl_t ha)
{
    const auto &rows = qosStoreRows<Record>;
    return ha_add_struct(ha, qosMembersOf<Record>::name, sizeof(Record), static_cast<uint32_t>(rows.size()),
                         rows.data());
}

#endif
