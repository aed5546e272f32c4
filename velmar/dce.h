// SPDX-License-Identifier: Apache-2.0
// Chip and port numbering, shared with the driver.
#ifndef VELMAR_DCE_H
#define VELMAR_DCE_H

#include <cstdint>

// Flat chip number of a chip or port interface index: slot x 8 + chip in the slot; -1 for an index that names no chip,
// the all-chips index included.
int32_t dce_get_flat_chip_id(uint32_t ifindex);
// The chip's interface index, slot and number in its slot, from its flat number.
uint32_t dce_get_ifindex(int32_t flat_chip);
int32_t dce_get_slot_id(int32_t flat_chip);
int32_t dce_get_slot_chip_id(int32_t flat_chip);

// The shared port map, null until ifm_hsl_mmap_xsfp_init has made it. A head of 28 bytes with the rows and columns of a
// slot at 20 and 22, 16 bits each in native byte order, then a cell of 4 bytes for each port.
extern const uint8_t *ifm_mmap_xsfp;
void ifm_hsl_mmap_xsfp_init();

#endif
