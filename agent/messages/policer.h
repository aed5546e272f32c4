// The bodies of policers, their counters and their BUM states.
#ifndef AGENT_MESSAGES_POLICER_H
#define AGENT_MESSAGES_POLICER_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/layout.h"

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
QOS_LAYOUT(qosPolParam_t, sizeof(R) == 40 && offsetof(R, cbs) == 8 && offsetof(R, eir) == 16 &&
                              offsetof(R, ebs) == 24 && offsetof(R, conform_ip_tos) == 32 &&
                              offsetof(R, conform_traffic_class) == 33 && offsetof(R, exceed_ip_tos) == 34 &&
                              offsetof(R, exceed_traffic_class) == 35 && offsetof(R, flags) == 36);

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
QOS_LAYOUT(qosPolPolicerAddMsg_t,
           sizeof(R) == 151 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
               offsetof(R, profile_id) == 28 && offsetof(R, conform_cos) == 32 && offsetof(R, exceed_cos) == 40 &&
               offsetof(R, violate_cos) == 48 && offsetof(R, policer_id) == 56 && offsetof(R, pol_grp_idx) == 60 &&
               offsetof(R, dir) == 62 && offsetof(R, policer_req_type) == 66 && offsetof(R, class_default) == 67 &&
               offsetof(R, poll_pol_cntr) == 71 && offsetof(R, is_bum_policer) == 75 &&
               offsetof(R, add_profile) == 79 && offsetof(R, policer_param) == 83 && offsetof(R, odata1) == 123 &&
               offsetof(R, odata2) == 127 && offsetof(R, op_cir) == 131 && offsetof(R, op_eir) == 139 &&
               offsetof(R, status) == 147);

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
QOS_LAYOUT(qosPolPolicerDelMsg_t, sizeof(R) == 55 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
                                      offsetof(R, profile_id) == 28 && offsetof(R, policer_id) == 32 &&
                                      offsetof(R, pol_grp_idx) == 36 && offsetof(R, class_default) == 38 &&
                                      offsetof(R, is_bum_policer) == 42 && offsetof(R, dir) == 46 &&
                                      offsetof(R, policer_req_type) == 50 && offsetof(R, status) == 51);

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
QOS_LAYOUT(qosPolProfileMsg_t, sizeof(R) == 37 && offsetof(R, profile_id) == 4 && offsetof(R, conform_cos) == 8 &&
                                   offsetof(R, exceed_cos) == 16 && offsetof(R, violate_cos) == 24 &&
                                   offsetof(R, profile_req_type) == 32 && offsetof(R, status) == 33);

// One policer of qosPolStatsGetMsg_t.
struct qosPolStatsRec_t {
    be32 ifindex; // QOS_ALL_CHIPS_IFINDEX in the first record: the sum over all chips
    be32 policer_id;
    be16 pol_grp_idx; // filled by the agent
    uint8_t reserved0[102];
    be64 counter[3]; // the third counts violations
};
QOS_LAYOUT(qosPolStatsRec_t, sizeof(R) == 136 && offsetof(R, policer_id) == 4 && offsetof(R, pol_grp_idx) == 8 &&
                                 offsetof(R, counter) == 112);

// Code 40. Policer counters. Fixed head; num_records records follow, and the first is read whatever the number.
struct qosPolStatsGetMsg_t {
    be32 chip_ifindex;
    sbe32 status;
    sbe32 dir; // 0 ingress, else egress
    be16 num_records;
    qosPolStatsRec_t records[0];
};
QOS_LAYOUT(qosPolStatsGetMsg_t, sizeof(R) == 14 && offsetof(R, status) == 4 && offsetof(R, dir) == 8 &&
                                    offsetof(R, num_records) == 12 && offsetof(R, records) == 14);

// One policer of qosPolStatsClrMsg_t.
struct qosPolStatsClrData_t {
    be32 ifindex;
    be32 policer_id;
};
QOS_LAYOUT(qosPolStatsClrData_t, sizeof(R) == 8 && offsetof(R, policer_id) == 4);

// Code 44. Policers to clear. A body ends behind num_policers entries, which may be fewer or more than declared here.
struct qosPolStatsClrMsg_t {
    sbe32 status;
    be32 ifindex; // of a chip, or QOS_ALL_CHIPS_IFINDEX
    sbe32 dir;    // 0 ingress, else egress
    sbe32 num_policers;
    uint8_t num_pol_grp; // written by the agent
    qosPolStatsClrData_t stats_clr_data[200];
};
QOS_LAYOUT(qosPolStatsClrMsg_t, sizeof(R) == 1617 && offsetof(R, ifindex) == 4 && offsetof(R, dir) == 8 &&
                                    offsetof(R, num_policers) == 12 && offsetof(R, num_pol_grp) == 16 &&
                                    offsetof(R, stats_clr_data) == 17);

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
QOS_LAYOUT(qosPolStatsClrAllMsg_t, sizeof(R) == 8 && offsetof(R, is_bum_pol_stats_clr_req) == 4);

// Code 43. From the agent: a BUM policer has begun or ceased to drop.
struct qosPolBumStateNotifyMsg_t {
    be32 ifindex;
    be32 pol_id;
    sbe32 dir;
    sbe32 bum_mon_state; // 1 in violation, 0 not
};
QOS_LAYOUT(qosPolBumStateNotifyMsg_t,
           sizeof(R) == 16 && offsetof(R, pol_id) == 4 && offsetof(R, dir) == 8 && offsetof(R, bum_mon_state) == 12);

// Code 68. Forget that a port's BUM policers are in violation.
struct qosBumResetStateMsg_t {
    be32 ifindex;
    char ifName[20];
    sbe32 status;
};
QOS_LAYOUT(qosBumResetStateMsg_t, sizeof(R) == 28 && offsetof(R, ifName) == 4 && offsetof(R, status) == 24);

#endif
