// SPDX-License-Identifier: Apache-2.0
// Chip capability records of both families, and the driver's chip events.
#ifndef PLATFORM_RECORDS_CAPABILITY_H
#define PLATFORM_RECORDS_CAPABILITY_H

#include <cstddef>
#include <cstdint>

#include "platform/records/chip_traits.h"
#include "platform/records/frame.h"

constexpr uint32_t CHIP_PORTS = 160;
constexpr uint32_t CAP_FLAG_PT_BASED_POL = 0x80000000;
constexpr uint32_t CAP_FLAG_VLAN_BASED_POL = 0x40000000;

struct capPort_t {
    be32 ifindex;
    be32 num_buffers;
    uint8_t reserved_8[3];
    uint8_t pool_and_group; // buffer pool in the high nibble, policer group in the low one
};
QOS_MEMBERS(capPort_t, 12, F(0, ifindex), F(4, num_buffers), PAD(8, reserved_8), F(11, pool_and_group));

enum chipEvent_t : uint32_t { CHIP_EVENT_UP = 3, CHIP_EVENT_DOWN = 4, CHIP_EVENT_BULK_UP = 7 };

// The policer numbers that every capability record carries together.
struct capPolicers_t {
    be32 min_ingr_policer_id;
    be32 num_ingr_policer_ids;
    be32 ingr_infin_policer_id;
    be32 min_egr_policer_id;
    be32 num_egr_policer_ids;
    be32 egr_infin_policer_id;
    be32 num_policer_profiles;
};
QOS_MEMBERS(capPolicers_t, 28, F(0, min_ingr_policer_id), F(4, num_ingr_policer_ids), F(8, ingr_infin_policer_id),
            F(12, min_egr_policer_id), F(16, num_egr_policer_ids), F(20, egr_infin_policer_id),
            F(24, num_policer_profiles));

// The capability record, which is also the driver's chip event.
struct qosChipCap_t {
    be32 event;
    be32 slot; // low byte counts
    be32 chip; // in the slot, low byte counts
    be32 flat_chip;
    be32 chip_ifindex;
    be32 num_ports;
    be32 reserved_24;
    be32 chip_code;
    be32 chip_rev;
    uint8_t reserved_36[144];
    capPolicers_t policers;
    uint8_t reserved_208[276];
    be32 flags;
    uint8_t reserved_488[28];
    be32 egr_td_red_prof;
    be16 reserved_520;
    be16 num_policer_groups;
    be32 chipBuffers;
    be32 numChipBuffPools;
    uint8_t reserved_532[3];
    uint8_t maxRedProfilesPerChip;
    be32 num_port_entries;
    capPort_t ports[CHIP_PORTS];
};
QOS_MEMBERS(qosChipCap_t, 2460, F(0, event), F(4, slot), F(8, chip), F(12, flat_chip), F(16, chip_ifindex),
            F(20, num_ports), PAD(24, reserved_24), F(28, chip_code), F(32, chip_rev), PAD(36, reserved_36),
            F(180, policers), PAD(208, reserved_208), F(484, flags), PAD(488, reserved_488), F(516, egr_td_red_prof),
            PAD(520, reserved_520), F(522, num_policer_groups), F(524, chipBuffers), F(528, numChipBuffPools),
            PAD(532, reserved_532), F(535, maxRedProfilesPerChip), F(536, num_port_entries), F(540, ports));

// Chip ready: a bitmap of 128 flat chip numbers, chip n being bit n modulo 32 of word n / 32, bit 0 the least.
struct qosChipReady_t {
    uint8_t reserved_0[12];
    be32 num_chips;
    be32 bitmap[4];
};
QOS_MEMBERS(qosChipReady_t, 32, PAD(0, reserved_0), F(12, num_chips), F(16, bitmap));

struct qosBulkChip_t {
    uint8_t slot;
    uint8_t chip;
    uint8_t flat_chip;
    uint8_t reserved_3;
    be32 chip_ifindex;
    uint8_t reserved_8[2436];
};
QOS_MEMBERS(qosBulkChip_t, 2444, F(0, slot), F(1, chip), F(2, flat_chip), PAD(3, reserved_3), F(4, chip_ifindex),
            PAD(8, reserved_8));

struct qosBulkChipUp_t {
    be32 event;
    be32 num_chips;
    // qosBulkChip_t entries follow
};
QOS_MEMBERS(qosBulkChipUp_t, 8, F(0, event), F(4, num_chips));

// Basic capability, COS family, request and response alike.
struct cosChipCap_t {
    cosHdr_t hdr;
    be32 chip_code;
    be32 chip_rev;
    uint8_t reserved_36[104];
    capPolicers_t policers;
    uint8_t reserved_168[16];
    be32 num_ports;
    uint8_t reserved_188[272];
};
QOS_MEMBERS(cosChipCap_t, 460, F(0, hdr), F(28, chip_code), F(32, chip_rev), PAD(36, reserved_36), F(140, policers),
            PAD(168, reserved_168), F(184, num_ports), PAD(188, reserved_188));

// Extended capability, COS family.
struct cosExtChipCap_t {
    cosHdr_t hdr;
    be32 chip_code;
    uint8_t reserved_32[8];
    be32 flags;
    uint8_t reserved_44[32];
    be32 num_policer_groups;
    be32 chipBuffers;
    be32 numChipBuffPools;
    uint8_t reserved_88[4];
    be32 num_ports;
    capPort_t ports[CHIP_PORTS];
};
QOS_MEMBERS(cosExtChipCap_t, 2016, F(0, hdr), F(28, chip_code), PAD(32, reserved_32), F(40, flags),
            PAD(44, reserved_44), F(76, num_policer_groups), F(80, chipBuffers), F(84, numChipBuffPools),
            PAD(88, reserved_88), F(92, num_ports), F(96, ports));

// Older capability, DCE family.
struct dceChipCap_t {
    dceHdr_t hdr;
    be32 chip_code;
    be32 chip_rev;
    uint8_t reserved_20[144];
};
QOS_MEMBERS(dceChipCap_t, 164, F(0, hdr), F(12, chip_code), F(16, chip_rev), PAD(20, reserved_20));

#endif
