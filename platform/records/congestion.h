// SPDX-License-Identifier: Apache-2.0
// Congestion, RED and scheduler records of Tessel and Mirelle.
#ifndef PLATFORM_RECORDS_CONGESTION_H
#define PLATFORM_RECORDS_CONGESTION_H

#include <cstddef>
#include <cstdint>

#include "platform/records/frame.h"
#include "platform/records/priority.h"

// Thresholds are bytes of chip buffer.
struct cosPriTailDrop_t {
    cosHdr_t hdr;
    be32 ifindex;
    uint8_t reserved_32[12];
    be32 valid[QOS_NUM_COS]; // 1: the threshold counts
    be32 threshold[QOS_NUM_COS];
};
QOS_MEMBERS(cosPriTailDrop_t, 108, F(0, hdr), F(28, ifindex), PAD(32, reserved_32), F(44, valid), F(76, threshold));

struct cosTailDrop_t {
    cosHdr_t hdr;
    be32 ifindex;
    be32 valid; // 1
    be32 threshold;
};
QOS_MEMBERS(cosTailDrop_t, 40, F(0, hdr), F(28, ifindex), F(32, valid), F(36, threshold));

struct cosW2qMap_t {
    cosHdr_t hdr;
    be32 ifindex;
    uint8_t tc_map[QOS_NUM_COS];
};
QOS_MEMBERS(cosW2qMap_t, 40, F(0, hdr), F(28, ifindex), F(32, tc_map));

struct cosPause_t {
    cosHdr_t hdr;
    be32 ifindex;
    be32 rx; // truth
    be32 tx; // truth
    be32 assert_threshold;
    be32 de_assert_threshold;
};
QOS_MEMBERS(cosPause_t, 48, F(0, hdr), F(28, ifindex), F(32, rx), F(36, tx), F(40, assert_threshold),
            F(44, de_assert_threshold));

struct cosPfc_t {
    cosHdr_t hdr;
    be32 ifindex;
    be32 priority; // the chip's
    be32 rx;       // truth
    be32 tx;       // truth
    be32 assert_threshold;
    be32 de_assert_threshold;
};
QOS_MEMBERS(cosPfc_t, 52, F(0, hdr), F(28, ifindex), F(32, priority), F(36, rx), F(40, tx), F(44, assert_threshold),
            F(48, de_assert_threshold));

struct cosPortShaper_t {
    cosHdr_t hdr;
    be32 valid; // 1
    be32 ifIndex;
    be32 if_bw; // Mbit/s
};
QOS_MEMBERS(cosPortShaper_t, 40, F(0, hdr), F(28, valid), F(32, ifIndex), F(36, if_bw));

struct cosScheduler_t {
    cosHdr_t hdr;
    be32 ifIndex;
    be32 strict_boundary;
    uint8_t group[QOS_NUM_COS];
    be32 group_weight[QOS_NUM_COS];
    be32 queue_weight[QOS_NUM_COS];
    be32 bandwidth[QOS_NUM_COS]; // Mbit/s
    uint8_t rate_limit_mask;     // a set bit: the priority is not limited
    uint8_t reserved_141[3];
};
QOS_MEMBERS(cosScheduler_t, 144, F(0, hdr), F(28, ifIndex), F(32, strict_boundary), F(36, group), F(44, group_weight),
            F(76, queue_weight), F(108, bandwidth), F(140, rate_limit_mask), PAD(141, reserved_141));

struct cosSbpSize_t {
    cosHdr_t hdr;
    be32 size; // in the response, bytes
};
QOS_MEMBERS(cosSbpSize_t, 32, F(0, hdr), F(28, size));

struct cosMcastQueueMode_t {
    cosHdr_t hdr;
    uint8_t mode; // bit 6 set, bit 5 on
    uint8_t reserved_29[7];
};
QOS_MEMBERS(cosMcastQueueMode_t, 36, F(0, hdr), F(28, mode), PAD(29, reserved_29));

// ---- RED, Tessel and Mirelle

constexpr unsigned RED_DROP_LEVELS = 3;

struct cosRedLevel_t {
    be32 probability; // 0 to 255
    be32 minThreshold;
    be32 range; // maximum less minimum
    be32 maxThreshold;
};
QOS_MEMBERS(cosRedLevel_t, 16, F(0, probability), F(4, minThreshold), F(8, range), F(12, maxThreshold));

struct cosRed_t {
    cosHdr_t hdr;
    be32 ifindex;
    uint8_t reserved_32[2];
    uint8_t priority_and_enable; // bits 2 to 4 the priority, bit 1 enable, bit 0 set on Mirelle
    uint8_t profile;
    cosRedLevel_t level[RED_DROP_LEVELS];
};
QOS_MEMBERS(cosRed_t, 84, F(0, hdr), F(28, ifindex), PAD(32, reserved_32), F(34, priority_and_enable), F(35, profile),
            F(36, level));

// Which priorities of a port's ingress virtual queues use RED.
struct cosIvqRed_t {
    cosHdr_t hdr;
    be32 ifindex;
    uint8_t reserved_32[3];
    uint8_t pfc_map;
};
QOS_MEMBERS(cosIvqRed_t, 36, F(0, hdr), F(28, ifindex), PAD(32, reserved_32), F(35, pfc_map));

// One result record of the RED devices.
struct cosRedResult_t {
    uint8_t reserved_0[4];
    be32 priority;
    be64 first[4]; // by drop level
    be64 second[4];
};
QOS_MEMBERS(cosRedResult_t, 72, PAD(0, reserved_0), F(4, priority), F(8, first), F(40, second));

#endif
