// SPDX-License-Identifier: Apache-2.0
// Interface indexes: what type, slot, port and speed a 32-bit index names. The type stands in the top six bits; where
// slot and port stand depends on it.
#ifndef INVENTORY_IFINDEX_H
#define INVENTORY_IFINDEX_H

#include <cstdint>

enum qosIfType_t : uint32_t {
    IF_TYPE_2 = 2,      // compares without a port
    IF_TYPE_PORT_3 = 3, // a physical port whose number comes from the shared port map
    IF_TYPE_PORT_6 = 6, // a physical port
    IF_TYPE_14 = 14,
    IF_TYPE_PORT_26 = 26, // a physical port
    IF_TYPE_30 = 30,
    IF_TYPE_31 = 31,
    IF_TYPE_32 = 32,
    IF_TYPE_33 = 33,
    IF_TYPE_CHIP = 34,
    IF_TYPE_61 = 61,
    IF_TYPE_62 = 62,
};

constexpr uint32_t qosIfType(uint32_t ifindex)
{
    return ifindex >> 26;
}

// The types that are ports of a chip and must have one.
constexpr bool qosIfIsPhysical(uint32_t ifindex)
{
    const uint32_t type = qosIfType(ifindex);
    return type == IF_TYPE_PORT_6 || type == IF_TYPE_PORT_26 || type == IF_TYPE_PORT_3;
}

// Slot number, -1 for a type that has no slot.
int32_t qosIfSlot(uint32_t ifindex);

// Physical port number, -1 for a type that has none. That of type 3 is what the shared port map holds, which goes on
// behind the last slot as far as any index reaches: a row or column past its slot's reads the next one's.
int32_t qosIfPort(uint32_t ifindex);

// The two numbers that policer lines print for an index, "slot/port", -1 where there is none. Their port counts from
// another bit than qosIfPort's.
int32_t qaIfindexSlot(uint32_t ifindex);
int32_t qaIfindexPort(uint32_t ifindex);

// Speed of a port in Mbit/s, from the code in its index; 0 for a type or code without one.
uint32_t qaSchGetSpeedFromIf(uint32_t ifindex);

// The order of the interface table: higher types first, in a type by slot, then by port. Negative if a comes first.
int qosIfIndexCompare(uint32_t a, uint32_t b);

#endif
