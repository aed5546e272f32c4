// SPDX-License-Identifier: Apache-2.0
// What the agent tells the replicated store of itself at start: record types, root objects, functions.
#ifndef HA_REGISTER_H
#define HA_REGISTER_H

#include <cstdint>

// Version table of the registration record: one row of two words.
extern const uint32_t qosVerTable[2];

int qos_ha_register();                      // all three below, in order; 0 whatever they report
[[nodiscard]] int qos_ha_struct_register(); // the last result
[[nodiscard]] int qos_ha_object_register(); // the last result
int qos_ha_avl_register();                  // 0

// The update entry's record type for a message code, or null with a trace.
const char *qos_ha_get_upd_type_str(uint32_t msg_type);

#endif
