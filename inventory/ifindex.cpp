// SPDX-License-Identifier: Apache-2.0
// Slot, port, speed and order of interface indexes.
#include "inventory/ifindex.h"

#include <cstring>

#include "velmar/dce.h"

namespace {

constexpr uint32_t bits(uint32_t value, unsigned low, unsigned high)
{
    return (value >> low) & ((1U << (high - low + 1)) - 1);
}

uint16_t read16(const uint8_t *at)
{
    uint16_t value;
    memcpy(&value, at, sizeof value);
    return value;
}

// The shared port map has a head of seven 4-byte places with rows and columns of a slot at 20 and 22, then a 4-byte
// cell for each (row, column) of each slot; a cell's answer is the 16 bits at offset 3 of its place.
int32_t portOfMap(uint32_t ifindex)
{
    constexpr int32_t HEAD_CELLS = 7;
    constexpr int32_t CELL = 4; // bytes
    if (!ifm_mmap_xsfp)
        ifm_hsl_mmap_xsfp_init();
    if (!ifm_mmap_xsfp)
        return -1;
    const int32_t rows = read16(ifm_mmap_xsfp + 20);
    const int32_t columns = read16(ifm_mmap_xsfp + 22);
    const int32_t slot_field = static_cast<int32_t>(bits(ifindex, 21, 25));
    const int32_t slot = slot_field ? slot_field - 1 : 0;
    const int32_t row = static_cast<int32_t>(bits(ifindex, 13, 20));
    const int32_t column = static_cast<int32_t>(bits(ifindex, 9, 12));
    const int32_t cell = (row - 1) * columns + slot * rows * columns + HEAD_CELLS;
    return read16(ifm_mmap_xsfp + CELL * (cell + (column ? column - 1 : 0)) + 3);
}

// What stands for the port in the table's order.
int32_t orderPort(uint32_t ifindex)
{
    if (qosIfIsPhysical(ifindex))
        return qosIfPort(ifindex);
    return qosIfType(ifindex) == IF_TYPE_2 ? -1 : static_cast<int32_t>(ifindex & 0xffff);
}

template <typename T>
int compareUp(T a, T b)
{
    return b < a ? 1 : b > a ? -1 : 0;
}

} // namespace

int32_t qosIfSlot(uint32_t ifindex)
{
    switch (qosIfType(ifindex)) {
    case IF_TYPE_PORT_6:
    case IF_TYPE_PORT_26:
    case IF_TYPE_14:
    case IF_TYPE_30:
    case IF_TYPE_32:
    case IF_TYPE_33:
    case IF_TYPE_CHIP:
        return static_cast<int32_t>(bits(ifindex, 22, 25));
    case IF_TYPE_PORT_3:
        return static_cast<int32_t>(bits(ifindex, 21, 25));
    case IF_TYPE_61:
    case IF_TYPE_62:
        return static_cast<int32_t>(bits(ifindex, 20, 25));
    default:
        return -1;
    }
}

int32_t qosIfPort(uint32_t ifindex)
{
    switch (qosIfType(ifindex)) {
    case IF_TYPE_PORT_6:
    case IF_TYPE_PORT_26:
    case IF_TYPE_32:
        return static_cast<int32_t>(bits(ifindex, 15, 21));
    case IF_TYPE_PORT_3:
        return portOfMap(ifindex);
    case IF_TYPE_62:
        return static_cast<int32_t>(bits(ifindex, 10, 19));
    case IF_TYPE_61:
        return static_cast<int32_t>(bits(ifindex, 12, 19));
    default:
        return -1;
    }
}

int32_t qaIfindexSlot(uint32_t ifindex)
{
    return qosIfSlot(ifindex);
}

int32_t qaIfindexPort(uint32_t ifindex)
{
    switch (qosIfType(ifindex)) {
    case IF_TYPE_PORT_6:
    case IF_TYPE_PORT_26:
    case IF_TYPE_32:
    case IF_TYPE_33:
        return static_cast<int32_t>(bits(ifindex, 7, 11));
    case IF_TYPE_14:
    case IF_TYPE_30:
        return static_cast<int32_t>(bits(ifindex, 9, 13));
    case IF_TYPE_PORT_3:
        return portOfMap(ifindex);
    default:
        return -1;
    }
}

uint32_t qaSchGetSpeedFromIf(uint32_t ifindex)
{
    uint32_t code;
    switch (qosIfType(ifindex)) {
    case IF_TYPE_PORT_6:
    case IF_TYPE_PORT_26:
    case IF_TYPE_32:
        code = bits(ifindex, 12, 14);
        break;
    case IF_TYPE_PORT_3:
        code = bits(ifindex, 6, 8);
        break;
    case IF_TYPE_62:
        code = bits(ifindex, 6, 9);
        break;
    case IF_TYPE_61:
        code = bits(ifindex, 4, 7);
        break;
    default:
        return 0;
    }
    switch (code) {
    case 0:
        return 10000;
    case 2:
        return 1000;
    case 3:
        return 40000;
    case 4:
        return 100000;
    default:
        return 0;
    }
}

int qosIfIndexCompare(uint32_t a, uint32_t b)
{
    if (qosIfType(a) != qosIfType(b))
        return static_cast<int>(qosIfType(b)) - static_cast<int>(qosIfType(a));
    const int32_t slot_a = qosIfSlot(a);
    const int32_t slot_b = qosIfSlot(b);
    if (slot_a != slot_b)
        return compareUp(slot_a, slot_b);
    if (slot_a != -1)
        return compareUp(orderPort(a), orderPort(b));
    return compareUp(a, b);
}
