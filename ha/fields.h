// The records that are described to the replicated store: name, size and field table of each, in the order in which
// they are registered.
#ifndef HA_FIELDS_H
#define HA_FIELDS_H

#include <cstdint>

#include "velmar/ha.h"

struct qosHaStruct_t {
    const char *name;
    uint32_t size; // bytes
    uint32_t rows;
    const ha_field_t *fields;
};

// Read by qos_ha_struct_register. The records of trees and lists and those of the modules' own hooks are not in it.
extern const qosHaStruct_t qosHaStructs[];
extern const unsigned qosHaStructCount;

#endif
