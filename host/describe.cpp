// The store's tables of records, objects and functions, by name.
#include "host/describe.h"

#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct struct_t {
    uint32_t index; // order of registration
    size_t size;
    std::vector<ha_field_t> fields; // names and types stay where the process keeps them
};

struct object_t {
    void *address;
    size_t size;
    std::string type;
};

constexpr const char *BUILT_IN[] = {"~U08", "~U16", "~U32", "~U64", "~I32", "~Chr", "~Ptr", "~Hdl"};
constexpr uint32_t BUILT_INS = sizeof BUILT_IN / sizeof *BUILT_IN;

std::map<std::string, struct_t, std::less<>> structs;
std::map<std::string, object_t, std::less<>> objects;
std::map<std::string, void (*)(), std::less<>> functions;

bool sameFields(const struct_t &known, uint32_t num_fields, const ha_field_t *fields)
{
    if (known.fields.size() != num_fields)
        return false;
    for (uint32_t i = 0; i < num_fields; ++i) {
        const ha_field_t &field = known.fields[i];
        if (field.offset != fields[i].offset || field.size != fields[i].size ||
            strcmp(field.name, fields[i].name) != 0 || strcmp(field.type, fields[i].type) != 0)
            return false;
    }
    return true;
}

} // namespace

int describeStruct(const char *name, size_t size, uint32_t num_fields, const ha_field_t *fields)
{
    if (!name || !*name || (num_fields > 0 && !fields))
        return -1;
    const auto known = structs.find(std::string_view(name));
    if (known != structs.end())
        return known->second.size == size && sameFields(known->second, num_fields, fields) ? 0 : HA_EXISTS;
    for (uint32_t i = 0; i < num_fields; ++i)
        if (!fields[i].name || !fields[i].type || fields[i].offset > size)
            return -1;
    const uint32_t index = BUILT_INS + static_cast<uint32_t>(structs.size());
    structs[name] = {index, size, std::vector<ha_field_t>(fields, fields + num_fields)};
    return 0;
}

int describeObject(const char *name, void *address, size_t size, const char *type)
{
    if (!name || !*name || !address || !type || describeType(type) < 0)
        return -1;
    const auto known = objects.find(std::string_view(name));
    if (known != objects.end()) {
        const object_t &object = known->second;
        return object.address == address && object.size == size && object.type == type ? 0 : HA_EXISTS;
    }
    objects[name] = {address, size, type};
    return 0;
}

int describeFunction(const char *name, void (*function)())
{
    if (!name || !*name || !function)
        return -1;
    const auto known = functions.find(std::string_view(name));
    if (known != functions.end())
        return known->second == function ? 0 : HA_EXISTS;
    functions[name] = function;
    return 0;
}

int64_t describeType(const char *name)
{
    for (uint32_t i = 0; i < BUILT_INS; ++i)
        if (strcmp(BUILT_IN[i], name) == 0)
            return i;
    const auto known = structs.find(std::string_view(name));
    return known == structs.end() ? -1 : int64_t{known->second.index};
}
