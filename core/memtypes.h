// SPDX-License-Identifier: Apache-2.0
// The allocation types of qosMalloc and qosFree: what memory of each type is called in the store and in the memory
// statistics. The list is shared with the manager.
#ifndef CORE_MEMTYPES_H
#define CORE_MEMTYPES_H

#include <cstdint>

struct qosMemType_t {
    const char *display; // row text of the memory statistics
    const char *ha_type; // a record registered with the store, or "non-ha-type": heap memory, not replicated
    uint16_t tag;        // tells kinds of one type apart in the store
};

extern const qosMemType_t qosMemTypes[45];

// Called by qosMalloc and qosFree. A type outside the list is heap memory: "non-ha-type" and tag 546.
const char *qos_ha_get_type_str(unsigned type);
uint16_t qos_ha_get_tag(unsigned type);
int qos_ha_get_group(unsigned type); // one group for all: 0

#endif
