// SPDX-License-Identifier: Apache-2.0
// The records that are described to the replicated store: name, size and field table of each, in the order in which
// they are registered.
#ifndef HA_FIELDS_H
#define HA_FIELDS_H

#include <cstdint>

#include "inventory/records.h"
#include "velmar/fields.h"
#include "velmar/ha.h"

struct qosHaStruct_t {
    const char *name;
    uint32_t size; // bytes
    uint32_t rows;
    const ha_field_t *fields;
    uint32_t version;
    const ha_detail_t *details; // one for each row
};

// Read by qos_ha_struct_register. The records of trees and lists and those of the modules' own hooks are not in it.
extern const qosHaStruct_t qosHaStructs[];
extern const unsigned qosHaStructCount;

// The row tables of the store's roots and of what joins them, by the names that the manager's side has for them too.
inline constexpr const auto &qosSlot_fields = qosStoreRows<qosSlot_t>;
inline constexpr const auto &qosChip_fields = qosStoreRows<qosChip_t>;
inline constexpr const auto &qosIf_fields = qosStoreRows<qosIf_t>;
inline constexpr const auto &tqhead_fields_qosIf_t = qosStoreRows<tailqHead<qosIf_t>>;
inline constexpr const auto &tqentry_fields_qosIf_t = qosStoreRows<tailqEntry<qosIf_t>>;
inline constexpr const auto &tqhead_fields_qosChip_t = qosStoreRows<tailqHead<qosChip_t>>;
inline constexpr const auto &tqentry_fields_qosChip_t = qosStoreRows<tailqEntry<qosChip_t>>;
inline constexpr const auto &tqhead_fields_qosUpdEntry_t = qosStoreRows<tailqHead<qosUpdEntry_t>>;
inline constexpr const auto &tqentry_fields_qosUpdEntry_t = qosStoreRows<tailqEntry<qosUpdEntry_t>>;

#endif
