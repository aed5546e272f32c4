// Inside the host library: what the process told the store about its records, objects and functions.
#ifndef HOST_DESCRIBE_H
#define HOST_DESCRIBE_H

#include <cstddef>
#include <cstdint>

#include "velmar/ha.h"

// 0; HA_EXISTS if the name is taken by something else; -1 for a description that makes no sense. An identical repeat is
// accepted.
int describeStruct(const char *name, size_t size, uint32_t num_fields, const ha_field_t *fields);
int describeObject(const char *name, void *address, size_t size, const char *type);
int describeFunction(const char *name, void (*function)());

// The index of a type's description, in order of registration, built-in types first; -1 for an unknown one.
int64_t describeType(const char *name);

#endif
