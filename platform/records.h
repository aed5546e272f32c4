// Every frame, request record, response and event that passes between the agent and the ASIC driver.
//
// A datagram holds a frame header in native byte order; everything behind it is big-endian. A request is frame header,
// driver header, record; a response has the same layout and is followed by an end frame. The record's first word is its
// command. Two families of record exist: DCE with a 12-byte head, COS with one of 28 bytes.
#ifndef PLATFORM_RECORDS_H
#define PLATFORM_RECORDS_H

#include <cstddef>
#include <cstdint>

#include "velmar/wire.h"

// ---- Frames

constexpr uint16_t NLM_ERROR = 2;
constexpr uint16_t NLM_DONE = 4;
constexpr uint16_t NLM_AGENT_REQUEST = 101; // also the type of chip events
constexpr uint16_t NLM_MGR_REQUEST = 105;
constexpr uint16_t NLM_CHIP_READY = 1351;

struct qosNLHdr_t {
    ne32 length; // payload plus this header
    ne16 type;
    ne16 flags;
    ne32 seq;
    ne32 sender;
    uint8_t reserved_16[4];
};
static_assert(sizeof(qosNLHdr_t) == 20 && offsetof(qosNLHdr_t, type) == 4 && offsetof(qosNLHdr_t, seq) == 8);

constexpr uint32_t DRV_KIND_EVENT = 2;
constexpr uint32_t DRV_KIND_IOCTL = 6;

struct qosDriverHdr_t {
    be32 target; // chip index, port interface index or the all-chips index
    uint8_t reserved_4[4];
    be32 kind;
    be32 reserved_12; // 0
    uint8_t reserved_16[4];
    be32 request_length;  // bytes of the request record; 0 in an event
    be32 response_length; // bytes of the response record; of an event its body
};
static_assert(sizeof(qosDriverHdr_t) == 28 && offsetof(qosDriverHdr_t, kind) == 8);
static_assert(offsetof(qosDriverHdr_t, request_length) == 20 && offsetof(qosDriverHdr_t, response_length) == 24);

constexpr uint32_t NL_RECORD_OFFSET = sizeof(qosNLHdr_t) + sizeof(qosDriverHdr_t); // 48
constexpr uint32_t NL_MSG_BUF_SIZE = 4096;
constexpr uint32_t NL_RSP_BUF_SIZE = 37888;

// ---- Record heads

struct dceHdr_t {
    be32 command;
    be16 length;       // of the whole record
    uint8_t operation; // sub-command of the commands that have one
    uint8_t status;    // in a response not 0 if the driver refused
    be16 word_8;       // 0, or 15 in the two RED operations
    be16 num_records;  // of the body, for the commands with an operation
};
static_assert(sizeof(dceHdr_t) == 12 && offsetof(dceHdr_t, status) == 7);

struct cosHdr_t {
    be32 command;
    be32 reserved_4;
    be32 in_size;  // bytes of this record
    be32 out_size; // bytes of the response
    be64 reserved_16;
    be32 status; // in a response not 0 if the driver refused
};
static_assert(sizeof(cosHdr_t) == 28 && offsetof(cosHdr_t, status) == 24);

// Several complete COS records in one, each in as many bytes as the larger of its two sizes.
struct cosBulk_t {
    cosHdr_t hdr; // both sizes start at 36 and grow with each nested record
    be32 flags;   // bit 31 clear
    be16 num_records;
    be16 num_processed; // in the response
};
static_assert(sizeof(cosBulk_t) == 36 && offsetof(cosBulk_t, num_records) == 32);

// One request record of the statistics commands.
struct cosStatsKey_t {
    be32 id; // interface index or policer id
    be32 index;
    be32 flags; // bit 0 clear all
};
static_assert(sizeof(cosStatsKey_t) == 12);

// Statistics read and clear. A response repeats the head and the request records; a bitmap of one bit for each response
// record in 32-bit words and the result records follow.
struct cosStats_t {
    cosHdr_t hdr;
    be32 device;
    uint8_t reserved_32;
    uint8_t byte_33; // 0
    be16 num_requests;
    be16 num_responses; // asked for; in the response, returned
    be16 num_returned;  // in the response
    be32 word_40;       // 0
    be32 word_44;       // 0
    // cosStatsKey_t records follow
};
static_assert(sizeof(cosStats_t) == 48 && offsetof(cosStats_t, num_requests) == 34);

enum cosStatsDevice_t : uint32_t {
    STAT_DEV_RED_MIRELLE = 40,
    STAT_DEV_RED_TESSEL = 41,
    STAT_DEV_DROP_REASON = 42,
    STAT_DEV_INGRESS_POLICER = 46,
    STAT_DEV_EGRESS_POLICER = 47,
    STAT_DEV_PORT = 49,
    STAT_DEV_DEBUG_FIRST = 50,
    STAT_DEV_DEBUG_LAST = 55,
    STAT_DEV_ASIC = 58,
    STAT_DEV_END = 59,
};

// ---- Commands

enum dceCommand_t : uint32_t {
    DCE_CHIP_CAPABILITY = 0x10050001,
    DCE_VLAN_CONFIG = 0x17010001,
    DCE_L2_CONFIG = 0x17250003,
    DCE_TCAM_CREATE_REGION = 0x17250033,
    DCE_TCAM_ADD = 0x17250035,
    DCE_TCAM_DELETE = 0x17250037,
    DCE_TCAM_UPDATE = 0x1725003B,
    DCE_CCB_GET = 0x23050001,
    DCE_CCB_SET = 0x23050002,
    DCE_PORT_COUNTERS = 0x0A050001,
    DCE_MCAST_COUNTERS = 0x0A050003,
    DCE_CLEAR_QMG = 0x0A050004,
    DCE_SWM_COUNTERS = 0x0A050005,
    DCE_CLEAR_SWM = 0x0A050006,
};

enum cosCommand_t : uint32_t {
    COS_BULK = 0x00070000,
    COS_CHIP_CAPABILITY = 0x00070001,
    COS_TMC_INFO = 0x00070002,
    COS_SCHEDULER = 0x01270002,
    COS_PORT_SHAPER = 0x01270003,
    COS_MCAST_QUEUE_MODE = 0x01270005,
    COS_INGRESS_QUEUE_CHIP = 0x01270007,
    COS_INGRESS_QUEUE_PORT = 0x01270008,
    COS_EGRESS_QUEUE_CHIP = 0x01270009,
    COS_EGRESS_QUEUE_PORT = 0x0127000A,
    COS_SBP_SIZE = 0x01270800,
    COS_PAUSE = 0x01270801,
    COS_PFC = 0x01270802,
    COS_W2Q_MAP = 0x01270803,
    COS_PRI_TAIL_DROP = 0x01270805,
    COS_TAIL_DROP = 0x01270806,
    COS_RED_MIRELLE = 0x01270808,
    COS_INGRESS_BUFFERS_CHIP = 0x01270809,
    COS_INGRESS_BUFFERS_PORT = 0x0127080A,
    COS_EGRESS_BUFFERS_CHIP = 0x0127080B,
    COS_EGRESS_BUFFERS_PORT = 0x0127080C,
    COS_IVQ_RED_MAP = 0x0127080D,
    COS_VOQ_COUNTERS = 0x0127080E,
    COS_EXT_CHIP_CAPABILITY = 0x01270810,
    COS_RED_TESSEL = 0x01270811,
    COS_DEF_COS = 0x01271000,
    COS_L3_PRI_MAP = 0x01271001,
    COS_L2_PRI_MAP = 0x01271002,
    COS_DSCP_MAP = 0x01271003,
    COS_STATS_READ = 0x06270000,
    COS_STATS_CLEAR = 0x06270001,
    COS_POLICER_PROFILE = 0x09270000,
    COS_POLICER_ADD = 0x09270002,
    COS_POLICER_REMOVE = 0x09270003,
    COS_POLICER_ASSOCIATE = 0x09270004,
    COS_POLICER_DEASSOCIATE = 0x09270005,
};

// ---- Chip capability and chip events

constexpr uint32_t CHIP_PORTS = 160;
constexpr uint32_t CAP_FLAG_PT_BASED_POL = 0x80000000;
constexpr uint32_t CAP_FLAG_VLAN_BASED_POL = 0x40000000;

enum chipCode_t : uint32_t {
    CHIP_CODE_LARKIN = 24,
    CHIP_CODE_TESSEL = 26,
    CHIP_CODE_MIRELLE_A = 29,
    CHIP_CODE_MIRELLE_B = 31,
    CHIP_CODE_MIRELLE2_A = 32,
    CHIP_CODE_MIRELLE2_B = 33,
};

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

// ---- Priority maps, Tessel and Mirelle

constexpr unsigned QOS_PRIORITIES = 8;
constexpr unsigned QOS_DSCPS = 64;

struct cosL2Entry_t {
    uint8_t tc;
    uint8_t cos;
    uint8_t zero;
    uint8_t reserved_3; // never written
};

// Four blocks of eight entries: the default in the first, the map in the others.
struct cosL2PriMap_t {
    cosHdr_t hdr;
    be32 ifIndex;
    cosL2Entry_t entry[4 * QOS_PRIORITIES];
};
static_assert(sizeof(cosL2PriMap_t) == 160 && offsetof(cosL2PriMap_t, entry) == 32);

struct cosDefCos_t {
    cosHdr_t hdr;
    be32 ifIndex;
    uint8_t def_tc;
    uint8_t def_cos;
    uint8_t zero;
    uint8_t reserved_35; // never written
};
static_assert(sizeof(cosDefCos_t) == 36 && offsetof(cosDefCos_t, def_cos) == 33);

struct cosL3Entry_t {
    uint8_t tc;
    uint8_t cos;
    uint8_t reserved_2[2];
};

struct cosL3PriMap_t {
    cosHdr_t hdr;
    be32 ifIndex;
    uint8_t dscp_trust;
    uint8_t reserved_33[3];
    cosL3Entry_t entry[QOS_DSCPS];
};
static_assert(sizeof(cosL3PriMap_t) == 292 && offsetof(cosL3PriMap_t, entry) == 36);

struct cosDscpMap_t {
    cosHdr_t hdr;
    be32 ifIndex;
    uint8_t dscp_map[QOS_DSCPS];
};
static_assert(sizeof(cosDscpMap_t) == 96 && offsetof(cosDscpMap_t, dscp_map) == 32);

// ---- Congestion and scheduling, Tessel and Mirelle

// Thresholds are bytes of chip buffer.
struct cosPriTailDrop_t {
    cosHdr_t hdr;
    be32 ifindex;
    uint8_t reserved_32[12];
    be32 valid[QOS_PRIORITIES]; // 1: the threshold counts
    be32 threshold[QOS_PRIORITIES];
};
static_assert(sizeof(cosPriTailDrop_t) == 108 && offsetof(cosPriTailDrop_t, valid) == 44);

struct cosTailDrop_t {
    cosHdr_t hdr;
    be32 ifindex;
    be32 valid; // 1
    be32 threshold;
};
static_assert(sizeof(cosTailDrop_t) == 40 && offsetof(cosTailDrop_t, threshold) == 36);

struct cosW2qMap_t {
    cosHdr_t hdr;
    be32 ifindex;
    uint8_t tc_map[QOS_PRIORITIES];
};
static_assert(sizeof(cosW2qMap_t) == 40 && offsetof(cosW2qMap_t, tc_map) == 32);

struct cosPause_t {
    cosHdr_t hdr;
    be32 ifindex;
    be32 rx; // truth
    be32 tx; // truth
    be32 assert_threshold;
    be32 de_assert_threshold;
};
static_assert(sizeof(cosPause_t) == 48 && offsetof(cosPause_t, assert_threshold) == 40);

struct cosPfc_t {
    cosHdr_t hdr;
    be32 ifindex;
    be32 priority; // the chip's
    be32 rx;       // truth
    be32 tx;       // truth
    be32 assert_threshold;
    be32 de_assert_threshold;
};
static_assert(sizeof(cosPfc_t) == 52 && offsetof(cosPfc_t, priority) == 32);

struct cosPortShaper_t {
    cosHdr_t hdr;
    be32 valid; // 1
    be32 ifIndex;
    be32 if_bw; // Mbit/s
};
static_assert(sizeof(cosPortShaper_t) == 40 && offsetof(cosPortShaper_t, if_bw) == 36);

struct cosScheduler_t {
    cosHdr_t hdr;
    be32 ifIndex;
    be32 strict_boundary;
    uint8_t group[QOS_PRIORITIES];
    be32 group_weight[QOS_PRIORITIES];
    be32 queue_weight[QOS_PRIORITIES];
    be32 bandwidth[QOS_PRIORITIES]; // Mbit/s
    uint8_t rate_limit_mask;        // a set bit: the priority is not limited
    uint8_t reserved_141[3];
};
static_assert(sizeof(cosScheduler_t) == 144 && offsetof(cosScheduler_t, group) == 36);
static_assert(offsetof(cosScheduler_t, group_weight) == 44 && offsetof(cosScheduler_t, bandwidth) == 108);
static_assert(offsetof(cosScheduler_t, rate_limit_mask) == 140);

struct cosSbpSize_t {
    cosHdr_t hdr;
    be32 size; // in the response, bytes
};
static_assert(sizeof(cosSbpSize_t) == 32);

struct cosMcastQueueMode_t {
    cosHdr_t hdr;
    uint8_t mode; // bit 6 set, bit 5 on
    uint8_t reserved_29[7];
};
static_assert(sizeof(cosMcastQueueMode_t) == 36 && offsetof(cosMcastQueueMode_t, mode) == 28);

// ---- RED, Tessel and Mirelle

constexpr unsigned RED_DROP_LEVELS = 3;

struct cosRedLevel_t {
    be32 probability; // 0 to 255
    be32 minThreshold;
    be32 range; // maximum less minimum
    be32 maxThreshold;
};
static_assert(sizeof(cosRedLevel_t) == 16);

struct cosRed_t {
    cosHdr_t hdr;
    be32 ifindex;
    uint8_t reserved_32[2];
    uint8_t priority_and_enable; // bits 2 to 4 the priority, bit 1 enable, bit 0 set on Mirelle
    uint8_t profile;
    cosRedLevel_t level[RED_DROP_LEVELS];
};
static_assert(sizeof(cosRed_t) == 84 && offsetof(cosRed_t, priority_and_enable) == 34);
static_assert(offsetof(cosRed_t, level) == 36);

// Which priorities of a port's ingress virtual queues use RED.
struct cosIvqRed_t {
    cosHdr_t hdr;
    be32 ifindex;
    uint8_t reserved_32[3];
    uint8_t pfc_map;
};
static_assert(sizeof(cosIvqRed_t) == 36 && offsetof(cosIvqRed_t, pfc_map) == 35);

// One result record of the RED devices.
struct cosRedResult_t {
    uint8_t reserved_0[4];
    be32 priority;
    be64 first[4]; // by drop level
    be64 second[4];
};
static_assert(sizeof(cosRedResult_t) == 72 && offsetof(cosRedResult_t, second) == 40);

// ---- Policers, Tessel and Mirelle

constexpr uint32_t POL_INGRESS = 0x80000000; // in the first word of add, association and de-association

struct cosPolProfile_t {
    cosHdr_t hdr;
    be32 profile; // bits 1 to 31 the id; bit 0: 1 delete, 0 update
    uint8_t conform_cos[QOS_PRIORITIES];
    uint8_t exceed_cos[QOS_PRIORITIES];
    uint8_t violate_cos[QOS_PRIORITIES];
};
static_assert(sizeof(cosPolProfile_t) == 56 && offsetof(cosPolProfile_t, conform_cos) == 32);

// Bursts are the manager's, rates are bytes per second in whole steps. An action word: bits 0 to 2 traffic class, 3 to
// 8 DSCP (6 to 8 a precedence), 9 rewrite the class, 10 DSCP and not precedence, 11 rewrite either.
struct cosPolicerAdd_t {
    cosHdr_t hdr;
    be32 profile; // bits 21 to 30 the id, bit 31 ingress
    be64 committed_burst;
    be64 committed_rate;
    be64 excess_burst;
    be64 excess_rate;
    be32 conform_action;
    be32 exceed_action;
    be32 word_72; // 0
    be32 group;   // bits 28 to 31, 0 on Tessel
    be32 policer_id;
    be32 word_84; // 0
};
static_assert(sizeof(cosPolicerAdd_t) == 88 && offsetof(cosPolicerAdd_t, committed_burst) == 32);
static_assert(offsetof(cosPolicerAdd_t, conform_action) == 64 && offsetof(cosPolicerAdd_t, policer_id) == 80);

struct cosPolicerRemove_t {
    cosHdr_t hdr;
    be32 ingress;    // truth
    be32 policer_id; // bits 0 to 27; bits 28 to 31 the group, 0 on Tessel
};
static_assert(sizeof(cosPolicerRemove_t) == 36 && offsetof(cosPolicerRemove_t, policer_id) == 32);

struct cosPolAssoc_t {
    cosHdr_t hdr;
    be32 flags; // bit 31 ingress, bits 22 to 29 the number of policers, 1
    be32 ifindex;
    be32 policer_id;
};
static_assert(sizeof(cosPolAssoc_t) == 40 && offsetof(cosPolAssoc_t, policer_id) == 36);

struct cosPolDeassoc_t {
    cosHdr_t hdr;
    be32 flags; // bit 31 ingress, bits 23 to 30 the number of policers, 1
    be32 ifindex;
};
static_assert(sizeof(cosPolDeassoc_t) == 36 && offsetof(cosPolDeassoc_t, ifindex) == 32);

// One result record of the policer devices.
struct cosPolResult_t {
    uint8_t reserved_0[8];
    be64 counter[3];
};
static_assert(sizeof(cosPolResult_t) == 32 && offsetof(cosPolResult_t, counter) == 8);

// ---- Drop monitor, Tessel

// Ingress buffers of a port, of which the monitor reads what it dropped.
struct cosTdMonitor_t {
    cosHdr_t hdr;
    be32 ifindex;
    uint8_t reserved_32[400];
    be64 drop_packets;
    be64 drop_bytes;
};
static_assert(sizeof(cosTdMonitor_t) == 448 && offsetof(cosTdMonitor_t, drop_packets) == 432);

// ---- Statistics, Tessel and Mirelle

constexpr uint8_t STAT_SELECT = 0x80; // in the first byte of a selector: the whole port or PLC

// What a state or counter read is about; the record goes on, zero, to the size of its response.
struct cosStatPort_t {
    cosHdr_t hdr;
    be32 ifindex;
    uint8_t selector[4];
};
static_assert(sizeof(cosStatPort_t) == 36 && offsetof(cosStatPort_t, selector) == 32);

struct cosStatChip_t {
    cosHdr_t hdr;
    uint8_t selector[4];
};
static_assert(sizeof(cosStatChip_t) == 32 && offsetof(cosStatChip_t, selector) == 28);

struct cosTmcInfo_t {
    cosHdr_t hdr;
    sbe32 tmc_id;  // in the response
    be32 tmc_type; // in the response
};
static_assert(sizeof(cosTmcInfo_t) == 36 && offsetof(cosTmcInfo_t, tmc_type) == 32);

enum cosPortKind_t : uint32_t { STAT_KIND_RMON = 0, STAT_KIND_FLOW_CONTROL = 1, STAT_KIND_QUEUE = 2 };

// Device 49. Of a response the data begin at num_ports.
struct cosPortStats_t {
    cosHdr_t hdr;
    be32 device;
    be32 num_ports;
    be32 reserved_36;
    be32 kind;
    be32 reserved_44;
    be32 ifindex;
    uint8_t reserved_52[452];
};
static_assert(sizeof(cosPortStats_t) == 504 && offsetof(cosPortStats_t, num_ports) == 32);
static_assert(offsetof(cosPortStats_t, kind) == 40 && offsetof(cosPortStats_t, ifindex) == 48);

// What device 49 holds of one port, end to end behind the word at 44 and beginning with the interface index.
struct cosPortCounters_t {
    be32 ifindex;
    uint8_t reserved_4[372];
    be64 discarded; // RMON: received frames without a buffer
    uint8_t reserved_384[72];
};
static_assert(sizeof(cosPortCounters_t) == 456 && offsetof(cosPortCounters_t, discarded) == 376);
static_assert(offsetof(cosPortStats_t, ifindex) + sizeof(cosPortCounters_t) == sizeof(cosPortStats_t));

constexpr uint32_t STAT_CLEAR_ALL_PORTS = 0x40000000;
constexpr uint32_t STAT_CLEAR_PORT_LIST = 0; // bit 31 clear

// A clear of all ports ends ahead of the interface index.
struct cosPortStatsClear_t {
    cosHdr_t hdr;
    be32 device;
    be32 num_ports; // 0 for all
    be32 mode;
    be32 ifindex;
};
static_assert(sizeof(cosPortStatsClear_t) == 44 && offsetof(cosPortStatsClear_t, ifindex) == 40);

// Device 58, which has neither keys nor a bitmap.
struct cosAsicStats_t {
    cosHdr_t hdr;
    be32 device;
    be64 counter[70]; // in the response
};
static_assert(sizeof(cosAsicStats_t) == 592 && offsetof(cosAsicStats_t, counter) == 32);

constexpr unsigned QOS_DROP_REASONS = 128;

// Device 42, whose request records are shorter than those of the others.
struct cosDropRsn_t {
    cosHdr_t hdr;
    be32 device;
    uint8_t reserved_32[2];
    be16 num_requests;
    be16 num_responses;
    be16 num_returned;
    uint8_t reserved_40[8];
    be32 ifindex;
    be32 flags; // bit 0 clear all
};
static_assert(sizeof(cosDropRsn_t) == 56 && offsetof(cosDropRsn_t, num_requests) == 34);
static_assert(offsetof(cosDropRsn_t, ifindex) == sizeof(cosStats_t));

struct cosDropRsnResponse_t {
    cosDropRsn_t request;
    be32 bitmap;
    uint8_t reserved_60[8];
    be64 counter[QOS_DROP_REASONS];
    be64 total[7];
};
static_assert(sizeof(cosDropRsnResponse_t) == 1148 && offsetof(cosDropRsnResponse_t, counter) == 68);
static_assert(offsetof(cosDropRsnResponse_t, total) == 1092);

#endif
