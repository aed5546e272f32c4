// SPDX-License-Identifier: Apache-2.0
// The bodies of policers, their counters and their BUM states.
#ifndef AGENT_MESSAGES_POLICER_H
#define AGENT_MESSAGES_POLICER_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "velmar/members.h"

// Rates and actions of a policer. Rates are in bits per second, 0x0000ffffffffffff being unlimited.
struct qosPolParam_t {
    be64 cir;
    be64 cbs;
    be64 eir;
    be64 ebs;
    uint8_t conform_ip_tos;
    uint8_t conform_traffic_class;
    uint8_t exceed_ip_tos;
    uint8_t exceed_traffic_class;
    uint8_t flags; // bits 7 to 5 conform, 4 to 2 exceed: rewrite precedence, DSCP, traffic class
    uint8_t reserved0[3];
};
QOS_MEMBERS(qosPolParam_t, 40, F(0, cir), F(8, cbs), F(16, eir), F(24, ebs), F(32, conform_ip_tos),
            F(33, conform_traffic_class), F(34, exceed_ip_tos), F(35, exceed_traffic_class), LOCAL(36, flags),
            PAD(37, reserved0));

// Code 31. A policer to install or update.
struct qosPolPolicerAddMsg_t {
    be32 ifindex; // or QOS_ALL_CHIPS_IFINDEX for the chip as a whole
    char ifName[20];
    be32 chip_ifindex;
    be32 profile_id;
    uint8_t conform_cos[8];
    uint8_t exceed_cos[8];
    uint8_t violate_cos[8];
    be32 policer_id;
    be16 pol_grp_idx;         // written by the agent
    sbe32 dir;                // 0 ingress, else egress
    uint8_t policer_req_type; // 1 installs, anything else updates
    sbe32 class_default;      // truth
    sbe32 poll_pol_cntr;      // non-zero: watch the counter
    sbe32 is_bum_policer;
    sbe32 add_profile; // truth
    qosPolParam_t policer_param;
    be32 odata1;
    be32 odata2;
    be64 op_cir; // programmed rate, bits per second
    be64 op_eir;
    sbe32 status;
};
QOS_MEMBERS(qosPolPolicerAddMsg_t, 151, F(0, ifindex), F(4, ifName), F(24, chip_ifindex), F(28, profile_id),
            F(32, conform_cos), F(40, exceed_cos), F(48, violate_cos), F(56, policer_id), F(60, pol_grp_idx),
            F(62, dir), F(66, policer_req_type), F(67, class_default), F(71, poll_pol_cntr), F(75, is_bum_policer),
            F(79, add_profile), F(83, policer_param), F(123, odata1), F(127, odata2), F(131, op_cir), F(139, op_eir),
            F(147, status));

// Code 32. A policer to remove.
struct qosPolPolicerDelMsg_t {
    be32 ifindex; // or QOS_ALL_CHIPS_IFINDEX for the chip as a whole
    char ifName[20];
    be32 chip_ifindex;
    be32 profile_id;
    be32 policer_id;
    be16 pol_grp_idx; // written by the agent
    sbe32 class_default;
    sbe32 is_bum_policer;
    sbe32 dir; // 0 ingress, else egress
    uint8_t policer_req_type;
    sbe32 status;
};
QOS_MEMBERS(qosPolPolicerDelMsg_t, 55, F(0, ifindex), F(4, ifName), F(24, chip_ifindex), F(28, profile_id),
            F(32, policer_id), F(36, pol_grp_idx), F(38, class_default), F(42, is_bum_policer), F(46, dir),
            F(50, policer_req_type), F(51, status));

// Code 33. The rewrite tables of a profile, by CoS.
struct qosPolProfileMsg_t {
    be32 chip_ifindex;
    be32 profile_id;
    uint8_t conform_cos[8];
    uint8_t exceed_cos[8];
    uint8_t violate_cos[8];
    uint8_t profile_req_type; // 2 deletes, else updates
    sbe32 status;
};
QOS_MEMBERS(qosPolProfileMsg_t, 37, F(0, chip_ifindex), F(4, profile_id), F(8, conform_cos), F(16, exceed_cos),
            F(24, violate_cos), F(32, profile_req_type), F(33, status));

// One policer of qosPolStatsGetMsg_t.
struct qosPolStatsRec_t {
    be32 ifindex; // QOS_ALL_CHIPS_IFINDEX in the first record: the sum over all chips
    be32 policer_id;
    be16 pol_grp_idx; // filled by the agent
    uint8_t reserved0[102];
    be64 counter[3]; // the third counts violations
};
QOS_MEMBERS(qosPolStatsRec_t, 136, F(0, ifindex), F(4, policer_id), F(8, pol_grp_idx), PAD(10, reserved0),
            F(112, counter));

// Code 40. Policer counters. Fixed head; num_records records follow, and the first is read whatever the number.
struct qosPolStatsGetMsg_t {
    be32 chip_ifindex;
    sbe32 status;
    sbe32 dir; // 0 ingress, else egress
    be16 num_records;
    qosPolStatsRec_t records[0];
};
QOS_MEMBERS(qosPolStatsGetMsg_t, 14, F(0, chip_ifindex), F(4, status), F(8, dir), F(12, num_records), F(14, records));

// One policer of qosPolStatsClrMsg_t.
struct qosPolStatsClrData_t {
    be32 ifindex;
    be32 policer_id;
};
QOS_MEMBERS(qosPolStatsClrData_t, 8, F(0, ifindex), F(4, policer_id));

// Code 44. Policers to clear. A body ends behind num_policers entries, which may be fewer or more than declared here.
struct qosPolStatsClrMsg_t {
    sbe32 status;
    be32 ifindex; // of a chip, or QOS_ALL_CHIPS_IFINDEX
    sbe32 dir;    // 0 ingress, else egress
    sbe32 num_policers;
    uint8_t num_pol_grp; // written by the agent
    qosPolStatsClrData_t stats_clr_data[200];
};
QOS_MEMBERS(qosPolStatsClrMsg_t, 1617, BACK(0, status, 5), F(4, ifindex), F(8, dir), F(12, num_policers),
            F(16, num_pol_grp), F(17, stats_clr_data));

// The entries of a clear, as many as num_policers says.
inline const qosPolStatsClrData_t *qosPolStatsClrEntries(const qosPolStatsClrMsg_t *body)
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(body);
    return reinterpret_cast<const qosPolStatsClrData_t *>(bytes + offsetof(qosPolStatsClrMsg_t, stats_clr_data));
}

// Code 45. Clear the counters of all policers, or of the BUM ones.
struct qosPolStatsClrAllMsg_t {
    be32 ifindex;
    sbe32 is_bum_pol_stats_clr_req;
};
QOS_MEMBERS(qosPolStatsClrAllMsg_t, 8, F(0, ifindex), F(4, is_bum_pol_stats_clr_req));

// Code 43. From the agent: a BUM policer has begun or ceased to drop.
struct qosPolBumStateNotifyMsg_t {
    be32 ifindex;
    be32 pol_id;
    sbe32 dir;
    sbe32 bum_mon_state; // 1 in violation, 0 not
};
QOS_MEMBERS(qosPolBumStateNotifyMsg_t, 16, F(0, ifindex), F(4, pol_id), F(8, dir), F(12, bum_mon_state));

// Code 68. Forget that a port's BUM policers are in violation.
struct qosBumResetStateMsg_t {
    be32 ifindex;
    char ifName[20];
    sbe32 status;
};
QOS_MEMBERS(qosBumResetStateMsg_t, 28, F(0, ifindex), F(4, ifName), F(24, status));

#endif
