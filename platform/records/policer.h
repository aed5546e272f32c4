// Policer records of Tessel and Mirelle.
#ifndef PLATFORM_RECORDS_POLICER_H
#define PLATFORM_RECORDS_POLICER_H

#include <cstddef>
#include <cstdint>

#include "platform/records/frame.h"
#include "platform/records/priority.h"

constexpr uint32_t POL_INGRESS = 0x80000000; // in the first word of add, association and de-association

struct cosPolProfile_t {
    cosHdr_t hdr;
    be32 profile; // bits 1 to 31 the id; bit 0: 1 delete, 0 update
    uint8_t conform_cos[QOS_NUM_COS];
    uint8_t exceed_cos[QOS_NUM_COS];
    uint8_t violate_cos[QOS_NUM_COS];
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

#endif
