// The macros that make a row of a replicated record's field table from the record itself, so that offsets and sizes
// are those of the build. The names and the type strings of the rows are fixed; ha_field_t tells the type strings.
#ifndef VELMAR_FIELDS_H
#define VELMAR_FIELDS_H

#include <cstddef>
#include <cstdint>

#include "velmar/ha.h"

// One row. Called by the macros alone.
constexpr ha_field_t qosFieldRow(const char *name, size_t offset, size_t size, const char *type)
{
    return {name, static_cast<uint32_t>(offset), static_cast<uint32_t>(size), type};
}

// The size of a type, for a row; some members are pointers, and that is what is meant.
template <typename Member>
constexpr size_t qosFieldSize = sizeof(Member);

// A member with its own size; for an array that is the size of the whole array.
#define QOS_FIELD(record, member, type) QOS_FIELD_SIZED(record, member, type, qosFieldSize<decltype(record::member)>)

// A row whose size differs from the member's: what it reaches over is padding, or has a row of its own.
#define QOS_FIELD_SIZED(record, member, type, size) qosFieldRow(#member, offsetof(record, member), size, type)

#endif
