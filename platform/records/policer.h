// SPDX-License-Identifier: Apache-2.0
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
QOS_MEMBERS(cosPolProfile_t, 56, F(0, hdr), F(28, profile), F(32, conform_cos), F(40, exceed_cos), F(48, violate_cos));

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
QOS_MEMBERS(cosPolicerAdd_t, 88, F(0, hdr), F(28, profile), F(32, committed_burst), F(40, committed_rate),
            F(48, excess_burst), F(56, excess_rate), F(64, conform_action), F(68, exceed_action), F(72, word_72),
            F(76, group), F(80, policer_id), F(84, word_84));

struct cosPolicerRemove_t {
    cosHdr_t hdr;
    be32 ingress;    // truth
    be32 policer_id; // bits 0 to 27; bits 28 to 31 the group, 0 on Tessel
};
QOS_MEMBERS(cosPolicerRemove_t, 36, F(0, hdr), F(28, ingress), F(32, policer_id));

struct cosPolAssoc_t {
    cosHdr_t hdr;
    be32 flags; // bit 31 ingress, bits 22 to 29 the number of policers, 1
    be32 ifindex;
    be32 policer_id;
};
QOS_MEMBERS(cosPolAssoc_t, 40, F(0, hdr), F(28, flags), F(32, ifindex), F(36, policer_id));

struct cosPolDeassoc_t {
    cosHdr_t hdr;
    be32 flags; // bit 31 ingress, bits 23 to 30 the number of policers, 1
    be32 ifindex;
};
QOS_MEMBERS(cosPolDeassoc_t, 36, F(0, hdr), F(28, flags), F(32, ifindex));

// One result record of the policer devices.
struct cosPolResult_t {
    uint8_t reserved_0[8];
    be64 counter[3];
};
QOS_MEMBERS(cosPolResult_t, 32, PAD(0, reserved_0), F(8, counter));

#endif
