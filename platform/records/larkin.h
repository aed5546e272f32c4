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
static_assert(sizeof(larkTcamHandle_t) == 24 && offsetof(larkTcamHandle_t, application_handle) == 20);

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
static_assert(sizeof(larkTcamRegion_t) == 32 && offsetof(larkTcamRegion_t, flags_22) == 22);
static_assert(offsetof(larkTcamRegion_t, table) == 16 && offsetof(larkTcamRegion_t, min_size) == 24);

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
static_assert(sizeof(larkTcamAdd_t) == 140 && offsetof(larkTcamAdd_t, table) == 42);
static_assert(offsetof(larkTcamAdd_t, value_key) == 56 && offsetof(larkTcamAdd_t, port_mask) == 68);
static_assert(offsetof(larkTcamAdd_t, valid) == 84 && offsetof(larkTcamAdd_t, result) == 88);

struct larkTcamAdded_t {
    dceHdr_t hdr;
    larkTcamHandle_t handle;
};
static_assert(sizeof(larkTcamAdded_t) == 36 && offsetof(larkTcamAdded_t, handle) == 12);

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
using larkL2TcamUpdate_t = larkTcamUpdate_t<44>;
using larkL3TcamUpdate_t = larkTcamUpdate_t<4>;
static_assert(sizeof(larkL2TcamUpdate_t) == 108 && sizeof(larkL3TcamUpdate_t) == 68);
static_assert(offsetof(larkL3TcamUpdate_t, handle) == 20 && offsetof(larkL3TcamUpdate_t, table) == 44);
static_assert(offsetof(larkL3TcamUpdate_t, valid) == 52 && offsetof(larkL3TcamUpdate_t, result) == 56);

struct larkTcamDelete_t {
    dceHdr_t hdr;
    be32 word_12; // 0
    be16 table;
    be16 region;
    larkTcamHandle_t handle;
    be32 word_44; // 1
    uint8_t reserved_48[4];
};
static_assert(sizeof(larkTcamDelete_t) == 52 && offsetof(larkTcamDelete_t, table) == 16);
static_assert(offsetof(larkTcamDelete_t, handle) == 20 && offsetof(larkTcamDelete_t, word_44) == 44);

constexpr uint32_t LARK_REG_MAP_MASK = 0x00003FC0;

struct larkL2PriRegMap_t {
    dceHdr_t hdr;
    be32 mask; // LARK_REG_MAP_MASK
    uint8_t reserved_16[16];
    be32 map; // four bits a priority, priority 0 the highest
    uint8_t reserved_36[36];
    be32 ifIndex;
};
static_assert(sizeof(larkL2PriRegMap_t) == 76 && offsetof(larkL2PriRegMap_t, map) == 32);
static_assert(offsetof(larkL2PriRegMap_t, ifIndex) == 72);

constexpr uint32_t LARK_VLAN_DEF_COS = 1U << 21;

struct larkDefCos_t {
    dceHdr_t hdr;
    uint8_t reserved_12[4];
    be32 valid; // LARK_VLAN_DEF_COS
    uint8_t reserved_20[6];
    be16 def_cos;
};
static_assert(sizeof(larkDefCos_t) == 28 && offsetof(larkDefCos_t, valid) == 16);
static_assert(offsetof(larkDefCos_t, def_cos) == 26);

// ---- Congestion

// Thresholds are bytes of chip buffer.
struct larkTailDrop_t {
    dceHdr_t hdr;
    be32 ifindex;
    be32 threshold;
    be32 word_20; // 0
};
static_assert(sizeof(larkTailDrop_t) == 24 && offsetof(larkTailDrop_t, threshold) == 16);

// Port buffer and emergency pause.
struct larkPortThreshold_t {
    dceHdr_t hdr;
    be32 ifindex;
    be32 threshold;
};
static_assert(sizeof(larkPortThreshold_t) == 20 && offsetof(larkPortThreshold_t, threshold) == 16);

struct larkPause_t {
    dceHdr_t hdr;
    be32 ifindex;
    be32 rx; // truth
    be32 tx; // truth
    be32 assert_threshold;
    be32 de_assert_threshold;
    uint8_t reserved_32[8];
};
static_assert(sizeof(larkPause_t) == 40 && offsetof(larkPause_t, assert_threshold) == 24);

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
static_assert(sizeof(larkPfcEntry_t) == 32 && offsetof(larkPfcEntry_t, assert_threshold) == 16);

struct larkPfc_t {
    dceHdr_t hdr;
    larkPfcEntry_t entry[QOS_NUM_COS];
};
static_assert(sizeof(larkPfc_t) == 268 && offsetof(larkPfc_t, entry) == 12);

struct larkPriTailDropEntry_t {
    be32 ifindex;
    be16 priority;
    be16 reserved_6;
    be32 threshold;
    be32 word_12; // 0
};
static_assert(sizeof(larkPriTailDropEntry_t) == 16 && offsetof(larkPriTailDropEntry_t, threshold) == 8);

struct larkPriTailDrop_t {
    dceHdr_t hdr;
    larkPriTailDropEntry_t entry[QOS_NUM_COS];
};
static_assert(sizeof(larkPriTailDrop_t) == 140 && offsetof(larkPriTailDrop_t, entry) == 12);

struct larkMcastRateLimit_t {
    dceHdr_t hdr;
    be16 burstLimit;
    uint8_t reserved_14[2];
    be32 rateLimit;
};
static_assert(sizeof(larkMcastRateLimit_t) == 20 && offsetof(larkMcastRateLimit_t, rateLimit) == 16);

// A threshold or a weight for each multicast queue.
struct larkMcastQueues_t {
    dceHdr_t hdr;
    struct {
        be16 queue;
        be16 value;
    } entry[QOS_NUM_COS];
};
static_assert(sizeof(larkMcastQueues_t) == 44 && offsetof(larkMcastQueues_t, entry) == 12);

// The only one of a chip; stands in word_8 of both RED records.
constexpr uint16_t LARK_RED_PROFILE = qosChipTraits(QOS_CHIP_LARKIN).own_red_profile;

struct larkRedChip_t {
    dceHdr_t hdr;
    be32 isActive;
    be32 maxThreshold;
    be32 range; // maximum less minimum
    be32 minThreshold;
};
static_assert(sizeof(larkRedChip_t) == 28 && offsetof(larkRedChip_t, minThreshold) == 24);

struct larkRedPort_t {
    dceHdr_t hdr;
    be32 ifindex;
    be16 enabled; // one bit a priority
    uint8_t reserved_18[2];
    be32 profile[QOS_NUM_COS]; // from priority 7 down to 0
};
static_assert(sizeof(larkRedPort_t) == 52 && offsetof(larkRedPort_t, profile) == 20);

// Request and response alike.
struct larkSbpSize_t {
    dceHdr_t hdr;
    be32 chipBuffers; // bytes, in the response
    be32 portBuffers; // likewise, of one port
};
static_assert(sizeof(larkSbpSize_t) == 20 && offsetof(larkSbpSize_t, portBuffers) == 16);

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
static_assert(sizeof(larkScheduler_t) == 44 && offsetof(larkScheduler_t, priority_policy) == 22);
static_assert(offsetof(larkScheduler_t, base_credit) == 24 && offsetof(larkScheduler_t, weight) == 28);

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
static_assert(sizeof(larkRcvQueue_t) == 120 && offsetof(larkRcvQueue_t, log_port_bufs) == 16);
static_assert(offsetof(larkRcvQueue_t, port_pri_bufs) == 24);

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
static_assert(sizeof(larkPortCounters_t) == 484 && offsetof(larkPortCounters_t, num_ports_answered) == 16);
static_assert(offsetof(larkPortCounters_t, kind) == 20 && offsetof(larkPortCounters_t, ifindex) == 28);
static_assert(offsetof(larkPortCounters_t, rx_discard_pkts) == 12 + 0x188);

struct larkSwmCounters_t {
    dceHdr_t hdr;
    be32 num_ports; // 1
    be32 word_16;   // 1
    be32 ifindex;
    uint8_t reserved_24[4];
    be64 red_drop_cnt; // in the response
    uint8_t reserved_36[8];
};
static_assert(sizeof(larkSwmCounters_t) == 44 && offsetof(larkSwmCounters_t, ifindex) == 20);
static_assert(offsetof(larkSwmCounters_t, red_drop_cnt) == 28);

struct larkMcastCounters_t {
    dceHdr_t hdr;
    uint8_t reserved_12[88];
    be64 counter[QOS_NUM_COS]; // by queue, in the response
};
static_assert(sizeof(larkMcastCounters_t) == 164 && offsetof(larkMcastCounters_t, counter) == 100);

constexpr uint32_t LARK_CLEAR_PORTS = 40; // of one request

// num_ports interface indexes follow.
struct larkClearSwm_t {
    dceHdr_t hdr;
    be32 num_ports;
    be32 word_16; // 1
};
static_assert(sizeof(larkClearSwm_t) == 20 && offsetof(larkClearSwm_t, word_16) == 16);

struct larkClearQmg_t {
    dceHdr_t hdr;
};
static_assert(sizeof(larkClearQmg_t) == 12);

#endif
