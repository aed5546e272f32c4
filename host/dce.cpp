// SPDX-License-Identifier: Apache-2.0
// Chip and port numbering, and the port map.
//
// Chip index: type 34 in bits 26-31, slot in 22-25, chip in the slot in 16-18, rest 0. Port index: slot in bits 22-25
// (21-25 for type 3), its chip in bits 0-2. Slot field 15 with chip 0 of type 34 stands for all chips.
#include "velmar/dce.h"

#include <cstring>

namespace {

constexpr uint32_t TYPE_CHIP = 34;
constexpr uint32_t TYPE_WIDE_SLOT = 3;
constexpr uint32_t ALL_CHIPS = TYPE_CHIP << 26 | 15U << 22;
constexpr uint32_t CHIPS_IN_SLOT = 8;
constexpr uint32_t SLOTS = 16;

constexpr uint32_t MAP_ROWS = 64;
constexpr uint32_t MAP_COLUMNS = 4;
constexpr uint32_t MAP_HEAD_CELLS = 7;
// A port field of 8 bits runs past its slot's 64 rows: the map goes on behind the last slot as far as any index
// reaches.
constexpr uint32_t MAP_SLOTS = 31 + 4;
constexpr uint32_t CELL = 4;
constexpr uint32_t CELL_VALUE = 3; // the 16-bit value begins in the cell's last byte

uint8_t map_bytes[(MAP_HEAD_CELLS + MAP_SLOTS * MAP_ROWS * MAP_COLUMNS + 1) * CELL];

void put16(uint32_t offset, uint32_t value)
{
    const uint16_t native = static_cast<uint16_t>(value);
    memcpy(map_bytes + offset, &native, sizeof native);
}

} // namespace

const uint8_t *ifm_mmap_xsfp;

void ifm_hsl_mmap_xsfp_init()
{
    put16(20, MAP_ROWS);
    put16(22, MAP_COLUMNS);
    // Port p, column q, both from 1: 4 x (p - 1) + q, that is the cells of a slot counted from 1.
    for (uint32_t cell = 0; cell < MAP_SLOTS * MAP_ROWS * MAP_COLUMNS; ++cell)
        put16((MAP_HEAD_CELLS + cell) * CELL + CELL_VALUE, cell % (MAP_ROWS * MAP_COLUMNS) + 1);
    ifm_mmap_xsfp = map_bytes;
}

int32_t dce_get_flat_chip_id(uint32_t ifindex)
{
    uint32_t slot = ifindex >> 22 & 15;
    uint32_t chip = ifindex & 7;
    switch (ifindex >> 26) {
    case TYPE_CHIP:
        chip = ifindex >> 16 & 7;
        if (ifindex == ALL_CHIPS || ifindex != (TYPE_CHIP << 26 | slot << 22 | chip << 16))
            return -1;
        break;
    case TYPE_WIDE_SLOT:
        slot = ifindex >> 21 & 31;
        break;
    case 6:
    case 14:
    case 26:
    case 30:
    case 32:
        break;
    default:
        return -1;
    }
    return slot < SLOTS ? static_cast<int32_t>(slot * CHIPS_IN_SLOT + chip) : -1;
}

uint32_t dce_get_ifindex(int32_t flat_chip)
{
    if (flat_chip < 0 || flat_chip >= static_cast<int32_t>(SLOTS * CHIPS_IN_SLOT))
        return 0;
    const uint32_t flat = static_cast<uint32_t>(flat_chip);
    return TYPE_CHIP << 26 | flat / CHIPS_IN_SLOT << 22 | flat % CHIPS_IN_SLOT << 16;
}

int32_t dce_get_slot_id(int32_t flat_chip)
{
    return flat_chip < 0 ? -1 : flat_chip / static_cast<int32_t>(CHIPS_IN_SLOT);
}

int32_t dce_get_slot_chip_id(int32_t flat_chip)
{
    return flat_chip < 0 ? -1 : flat_chip % static_cast<int32_t>(CHIPS_IN_SLOT);
}
