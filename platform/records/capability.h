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
static_assert(sizeof(capPort_t) == 12 && offsetof(capPort_t, pool_and_group) == 11);

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
static_assert(sizeof(capPolicers_t) == 28);

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
static_assert(sizeof(qosChipCap_t) == 2460);
static_assert(offsetof(qosChipCap_t, chip_ifindex) == 16 && offsetof(qosChipCap_t, chip_code) == 28);
static_assert(offsetof(qosChipCap_t, policers) == 180 && offsetof(qosChipCap_t, flags) == 484);
static_assert(offsetof(qosChipCap_t, egr_td_red_prof) == 516 && offsetof(qosChipCap_t, num_policer_groups) == 522);
static_assert(offsetof(qosChipCap_t, chipBuffers) == 524 && offsetof(qosChipCap_t, maxRedProfilesPerChip) == 535);
static_assert(offsetof(qosChipCap_t, num_port_entries) == 536 && offsetof(qosChipCap_t, ports) == 540);

// Chip ready: a bitmap of 128 flat chip numbers, chip n being bit n modulo 32 of word n / 32, bit 0 the least.
struct qosChipReady_t {
    uint8_t reserved_0[12];
    be32 num_chips;
    be32 bitmap[4];
};
static_assert(sizeof(qosChipReady_t) == 32 && offsetof(qosChipReady_t, bitmap) == 16);

struct qosBulkChip_t {
    uint8_t slot;
    uint8_t chip;
    uint8_t flat_chip;
    uint8_t reserved_3;
    be32 chip_ifindex;
    uint8_t reserved_8[2436];
};
static_assert(sizeof(qosBulkChip_t) == 2444);

struct qosBulkChipUp_t {
    be32 event;
    be32 num_chips;
    // qosBulkChip_t entries follow
};
static_assert(sizeof(qosBulkChipUp_t) == 8);

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
static_assert(sizeof(cosChipCap_t) == 460 && offsetof(cosChipCap_t, chip_code) == 28);
static_assert(offsetof(cosChipCap_t, policers) == 140 && offsetof(cosChipCap_t, num_ports) == 184);

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
static_assert(sizeof(cosExtChipCap_t) == 2016 && offsetof(cosExtChipCap_t, flags) == 40);
static_assert(offsetof(cosExtChipCap_t, num_policer_groups) == 76 && offsetof(cosExtChipCap_t, num_ports) == 92);

// Older capability, DCE family.
struct dceChipCap_t {
    dceHdr_t hdr;
    be32 chip_code;
    be32 chip_rev;
    uint8_t reserved_20[144];
};
static_assert(sizeof(dceChipCap_t) == 164 && offsetof(dceChipCap_t, chip_code) == 12);

#endif
