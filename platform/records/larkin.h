// SPDX-License-Identifier: Apache-2.0
// Request and response records of the Larkin family: a 12-byte head and big-endian fields, offset 0 being the command
// word. Relies on the head and the command numbers of platform/records/frame.h.
#ifndef PLATFORM_RECORDS_LARKIN_H
#define PLATFORM_RECORDS_LARKIN_H

#include <cstddef>
#include <cstdint>

#include "platform/records/priority.h"

// ---- Operations

enum larkL2Operation_t : uint8_t { // of DCE_L2_CONFIG
    LARK_L2_PRI_REG_MAP = 8,
    LARK_MCAST_RATE_LIMIT = 19,
    LARK_MCAST_SCHEDULER = 20,
    LARK_MCAST_TAIL_DROP = 21,
};

enum larkCcbOperation_t : uint8_t { // of DCE_CCB_GET and DCE_CCB_SET
    LARK_RED_CHIP = 28,
    LARK_RED_PORT = 30,
    LARK_PAUSE = 31,
    LARK_PFC = 32,
    LARK_RCV_QUEUE = 33,
    LARK_SBP_SIZE = 34,
    LARK_SCHEDULER = 35,
    LARK_TAIL_DROP = 36,
    LARK_PRI_TAIL_DROP = 37,
    LARK_PORT_BUF = 38,
    LARK_EMERGENCY_PAUSE = 39,
};

// ---- Priority TCAMs

// What the driver calls an entry by.
struct larkTcamHandle_t {
    be64 input_key;
    be64 input_mask_key;
    be16 result_key;
    uint8_t reserved_18[2];
    be32 application_handle;
};
QOS_MEMBERS(larkTcamHandle_t, 24, F(0, input_key), F(8, input_mask_key), F(16, result_key), PAD(18, reserved_18),
            F(20, application_handle));

struct larkTcamRegion_t {
    dceHdr_t hdr;
    be32 word_12; // 0
    be16 table;
    be16 region;
    be16 half_20;     // 0
    uint8_t flags_22; // the upper two bits 0, the others never written
    uint8_t byte_23;  // 0
    be16 min_size;    // entries, as the next two
    be16 max_size;
    be16 size;
    be16 growth_factor;
};
QOS_MEMBERS(larkTcamRegion_t, 32, F(0, hdr), F(12, word_12), F(16, table), F(18, region), F(20, half_20),
            F(22, flags_22), F(23, byte_23), F(24, min_size), F(26, max_size), F(28, size), F(30, growth_factor));

// Each selection writes one of the two result words.
struct larkTcamAdd_t {
    dceHdr_t hdr;
    uint8_t reserved_12[30];
    be16 table;
    be16 region;
    uint8_t reserved_46[10];
    be32 value_key; // CoS or DSCP
    be32 port_key;
    uint8_t reserved_64[4];
    be32 port_mask;
    be32 value_mask;
    uint8_t reserved_76[8];
    be32 valid; // which action the entry has
    be32 result[2];
    uint8_t reserved_96[44];
};
QOS_MEMBERS(larkTcamAdd_t, 140, F(0, hdr), PAD(12, reserved_12), F(42, table), F(44, region), PAD(46, reserved_46),
            F(56, value_key), F(60, port_key), PAD(64, reserved_64), F(68, port_mask), F(72, value_mask),
            PAD(76, reserved_76), F(84, valid), F(88, result), PAD(96, reserved_96));

struct larkTcamAdded_t {
    dceHdr_t hdr;
    larkTcamHandle_t handle;
};
QOS_MEMBERS(larkTcamAdded_t, 36, F(0, hdr), F(12, handle));

// The two selections send different lengths of the same record.
template <size_t Tail>
struct larkTcamUpdate_t {
    dceHdr_t hdr;
    be32 word_12; // 0
    uint8_t reserved_16[4];
    larkTcamHandle_t handle;
    be16 table;
    be16 region;
    uint8_t reserved_48[4];
    be32 valid;
    be32 result[2];
    uint8_t reserved_64[Tail];
};
template <size_t Tail>
struct qosMembersOf<larkTcamUpdate_t<Tail>> {
    static constexpr const char *name = "larkTcamUpdate_t";
    QOS_LIST(larkTcamUpdate_t<Tail>, "larkTcamUpdate_t", QOS_AT, F(0, hdr), F(12, word_12), PAD(16, reserved_16),
             F(20, handle), F(44, table), F(46, region), PAD(48, reserved_48), F(52, valid), F(56, result),
             PAD(64, reserved_64))
};
using larkL2TcamUpdate_t = larkTcamUpdate_t<44>;
using larkL3TcamUpdate_t = larkTcamUpdate_t<4>;
static_assert(qosMembersOf<larkL2TcamUpdate_t>::record.size == 108 &&
              qosMembersOf<larkL3TcamUpdate_t>::record.size == 68);

struct larkTcamDelete_t {
    dceHdr_t hdr;
    be32 word_12; // 0
    be16 table;
    be16 region;
    larkTcamHandle_t handle;
    be32 word_44; // 1
    uint8_t reserved_48[4];
};
QOS_MEMBERS(larkTcamDelete_t, 52, F(0, hdr), F(12, word_12), F(16, table), F(18, region), F(20, handle), F(44, word_44),
            PAD(48, reserved_48));

constexpr uint32_t LARK_REG_MAP_MASK = 0x00003FC0;

struct larkL2PriRegMap_t {
    dceHdr_t hdr;
    be32 mask; // LARK_REG_MAP_MASK
    uint8_t reserved_16[16];
    be32 map; // four bits a priority, priority 0 the highest
    uint8_t reserved_36[36];
    be32 ifIndex;
};
QOS_MEMBERS(larkL2PriRegMap_t, 76, F(0, hdr), F(12, mask), PAD(16, reserved_16), F(32, map), PAD(36, reserved_36),
            F(72, ifIndex));

constexpr uint32_t LARK_VLAN_DEF_COS = 1U << 21;

struct larkDefCos_t {
    dceHdr_t hdr;
    uint8_t reserved_12[4];
    be32 valid; // LARK_VLAN_DEF_COS
    uint8_t reserved_20[6];
    be16 def_cos;
};
QOS_MEMBERS(larkDefCos_t, 28, F(0, hdr), PAD(12, reserved_12), F(16, valid), PAD(20, reserved_20), F(26, def_cos));

// ---- Congestion

// Thresholds are bytes of chip buffer.
struct larkTailDrop_t {
    dceHdr_t hdr;
    be32 ifindex;
    be32 threshold;
    be32 word_20; // 0
};
QOS_MEMBERS(larkTailDrop_t, 24, F(0, hdr), F(12, ifindex), F(16, threshold), F(20, word_20));

// Port buffer and emergency pause.
struct larkPortThreshold_t {
    dceHdr_t hdr;
    be32 ifindex;
    be32 threshold;
};
QOS_MEMBERS(larkPortThreshold_t, 20, F(0, hdr), F(12, ifindex), F(16, threshold));

struct larkPause_t {
    dceHdr_t hdr;
    be32 ifindex;
    be32 rx; // truth
    be32 tx; // truth
    be32 assert_threshold;
    be32 de_assert_threshold;
    uint8_t reserved_32[8];
};
QOS_MEMBERS(larkPause_t, 40, F(0, hdr), F(12, ifindex), F(16, rx), F(20, tx), F(24, assert_threshold),
            F(28, de_assert_threshold), PAD(32, reserved_32));

struct larkPfcEntry_t {
    be32 ifindex;
    be16 priority;
    be16 half_6; // 0
    be32 rx;     // truth
    be32 tx;     // truth
    be32 assert_threshold;
    be32 de_assert_threshold;
    be64 reserved_24;
};
QOS_MEMBERS(larkPfcEntry_t, 32, F(0, ifindex), F(4, priority), F(6, half_6), F(8, rx), F(12, tx),
            F(16, assert_threshold), F(20, de_assert_threshold), PAD(24, reserved_24));

struct larkPfc_t {
    dceHdr_t hdr;
    larkPfcEntry_t entry[QOS_NUM_COS];
};
QOS_MEMBERS(larkPfc_t, 268, F(0, hdr), F(12, entry));

struct larkPriTailDropEntry_t {
    be32 ifindex;
    be16 priority;
    be16 reserved_6;
    be32 threshold;
    be32 word_12; // 0
};
QOS_MEMBERS(larkPriTailDropEntry_t, 16, F(0, ifindex), F(4, priority), PAD(6, reserved_6), F(8, threshold),
            F(12, word_12));

struct larkPriTailDrop_t {
    dceHdr_t hdr;
    larkPriTailDropEntry_t entry[QOS_NUM_COS];
};
QOS_MEMBERS(larkPriTailDrop_t, 140, F(0, hdr), F(12, entry));

struct larkMcastRateLimit_t {
    dceHdr_t hdr;
    be16 burstLimit;
    uint8_t reserved_14[2];
    be32 rateLimit;
};
QOS_MEMBERS(larkMcastRateLimit_t, 20, F(0, hdr), F(12, burstLimit), PAD(14, reserved_14), F(16, rateLimit));

// A threshold or a weight for each multicast queue.
struct larkMcastQueue_t {
    be16 queue;
    be16 value;
};
QOS_MEMBERS(larkMcastQueue_t, 4, F(0, queue), F(2, value));

struct larkMcastQueues_t {
    dceHdr_t hdr;
    larkMcastQueue_t entry[QOS_NUM_COS];
};
QOS_MEMBERS(larkMcastQueues_t, 44, F(0, hdr), F(12, entry));

// The only one of a chip; stands in word_8 of both RED records.
constexpr uint16_t LARK_RED_PROFILE = qosChipTraits(QOS_CHIP_LARKIN).own_red_profile;

struct larkRedChip_t {
    dceHdr_t hdr;
    be32 isActive;
    be32 maxThreshold;
    be32 range; // maximum less minimum
    be32 minThreshold;
};
QOS_MEMBERS(larkRedChip_t, 28, F(0, hdr), F(12, isActive), F(16, maxThreshold), F(20, range), F(24, minThreshold));

struct larkRedPort_t {
    dceHdr_t hdr;
    be32 ifindex;
    be16 enabled; // one bit a priority
    uint8_t reserved_18[2];
    be32 profile[QOS_NUM_COS]; // from priority 7 down to 0
};
QOS_MEMBERS(larkRedPort_t, 52, F(0, hdr), F(12, ifindex), F(16, enabled), PAD(18, reserved_18), F(20, profile));

// Request and response alike.
struct larkSbpSize_t {
    dceHdr_t hdr;
    be32 chipBuffers; // bytes, in the response
    be32 portBuffers; // likewise, of one port
};
QOS_MEMBERS(larkSbpSize_t, 20, F(0, hdr), F(12, chipBuffers), F(16, portBuffers));

// ---- Scheduler

constexpr uint16_t LARK_SCH_ENABLE = 0x1FFC;
constexpr uint32_t LARK_SCH_BASE_CREDIT = 9216;

struct larkScheduler_t {
    dceHdr_t hdr;
    be16 enable; // LARK_SCH_ENABLE over what stands there
    uint8_t reserved_14[6];
    be16 half_20; // 0
    be16 priority_policy;
    be32 base_credit;
    be16 weight[QOS_NUM_COS]; // from the chip's class 7 down to 0
};
QOS_MEMBERS(larkScheduler_t, 44, F(0, hdr), F(12, enable), PAD(14, reserved_14), F(20, half_20), F(22, priority_policy),
            F(24, base_credit), F(28, weight));

// ---- Statistics

// Request and response of one size; the counters stand behind the head in the response.
struct larkRcvQueue_t {
    dceHdr_t hdr;
    be32 ifindex;
    be32 log_port_bufs; // buffers in use, in the response
    uint8_t reserved_20[4];
    be32 port_pri_bufs[QOS_NUM_COS]; // by the chip's priority, in the response
    uint8_t reserved_56[64];
};
QOS_MEMBERS(larkRcvQueue_t, 120, F(0, hdr), F(12, ifindex), F(16, log_port_bufs), PAD(20, reserved_20),
            F(24, port_pri_bufs), PAD(56, reserved_56));

enum larkPortKind_t : uint32_t { LARK_KIND_RMON = 0, LARK_KIND_FLOW_CONTROL = 1, LARK_KIND_QUEUE = 2 };

struct larkPortCounters_t {
    dceHdr_t hdr;
    be32 num_ports;          // asked for, 1
    be32 num_ports_answered; // in the response
    be32 kind;
    uint8_t reserved_24[4];
    be32 ifindex;
    uint8_t reserved_32[372];
    be64 rx_discard_pkts; // in the response to the RMON kind
    uint8_t reserved_412[72];
};
QOS_MEMBERS(larkPortCounters_t, 484, F(0, hdr), F(12, num_ports), F(16, num_ports_answered), F(20, kind),
            PAD(24, reserved_24), F(28, ifindex), PAD(32, reserved_32), F(404, rx_discard_pkts),
            PAD(412, reserved_412));

struct larkSwmCounters_t {
    dceHdr_t hdr;
    be32 num_ports; // 1
    be32 word_16;   // 1
    be32 ifindex;
    uint8_t reserved_24[4];
    be64 red_drop_cnt; // in the response
    uint8_t reserved_36[8];
};
QOS_MEMBERS(larkSwmCounters_t, 44, F(0, hdr), F(12, num_ports), F(16, word_16), F(20, ifindex), PAD(24, reserved_24),
            F(28, red_drop_cnt), PAD(36, reserved_36));

struct larkMcastCounters_t {
    dceHdr_t hdr;
    uint8_t reserved_12[88];
    be64 counter[QOS_NUM_COS]; // by queue, in the response
};
QOS_MEMBERS(larkMcastCounters_t, 164, F(0, hdr), PAD(12, reserved_12), F(100, counter));

constexpr uint32_t LARK_CLEAR_PORTS = 40; // of one request

// num_ports interface indexes follow.
struct larkClearSwm_t {
    dceHdr_t hdr;
    be32 num_ports;
    be32 word_16; // 1
};
QOS_MEMBERS(larkClearSwm_t, 20, F(0, hdr), F(12, num_ports), F(16, word_16));

struct larkClearQmg_t {
    dceHdr_t hdr;
};
QOS_MEMBERS(larkClearQmg_t, 12, F(0, hdr));

#endif
