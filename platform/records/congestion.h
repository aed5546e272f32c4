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
    uint8_t tc_map[QOS_NUM_COS];
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
    uint8_t group[QOS_NUM_COS];
    be32 group_weight[QOS_NUM_COS];
    be32 queue_weight[QOS_NUM_COS];
    be32 bandwidth[QOS_NUM_COS]; // Mbit/s
    uint8_t rate_limit_mask;     // a set bit: the priority is not limited
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

#endif
