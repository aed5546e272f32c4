// SPDX-License-Identifier: Apache-2.0
// What passes between the agent and the ASIC driver: frames, the heads of both record families, and their commands.
//
// A datagram holds a frame header in native byte order; everything behind it is big-endian. A request is frame header,
// driver header, record; a response has the same layout and is followed by an end frame. The record's first word is its
// command. Two families of record exist: DCE with a 12-byte head, COS with one of 28 bytes. docs/wire.md draws
// them.
#ifndef PLATFORM_RECORDS_FRAME_H
#define PLATFORM_RECORDS_FRAME_H

#include <cstddef>
#include <cstdint>

#include "velmar/members.h"

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
QOS_MEMBERS(qosNLHdr_t, 20, F(0, length), F(4, type), F(6, flags), F(8, seq), F(12, sender), PAD(16, reserved_16));

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
QOS_MEMBERS(qosDriverHdr_t, 28, F(0, target), PAD(4, reserved_4), F(8, kind), PAD(12, reserved_12),
            PAD(16, reserved_16), F(20, request_length), F(24, response_length));

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
QOS_MEMBERS(dceHdr_t, 12, F(0, command), F(4, length), F(6, operation), F(7, status), F(8, word_8), F(10, num_records));

struct cosHdr_t {
    be32 command;
    be32 reserved_4;
    be32 in_size;  // bytes of this record
    be32 out_size; // bytes of the response
    be64 reserved_16;
    be32 status; // in a response not 0 if the driver refused
};
QOS_MEMBERS(cosHdr_t, 28, F(0, command), PAD(4, reserved_4), F(8, in_size), F(12, out_size), PAD(16, reserved_16),
            F(24, status));

// Several complete COS records in one, each in as many bytes as the larger of its two sizes.
struct cosBulk_t {
    cosHdr_t hdr; // both sizes start at 36 and grow with each nested record
    be32 flags;   // bit 31 clear
    be16 num_records;
    be16 num_processed; // in the response
};
QOS_MEMBERS(cosBulk_t, 36, F(0, hdr), F(28, flags), F(32, num_records), F(34, num_processed));

// One request record of the statistics commands.
struct cosStatsKey_t {
    be32 id; // interface index or policer id
    be32 index;
    be32 flags; // bit 0 clear all
};
QOS_MEMBERS(cosStatsKey_t, 12, F(0, id), F(4, index), F(8, flags));

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
QOS_MEMBERS(cosStats_t, 48, F(0, hdr), F(28, device), PAD(32, reserved_32), F(33, byte_33), F(34, num_requests),
            F(36, num_responses), F(38, num_returned), F(40, word_40), F(44, word_44));

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

#endif
