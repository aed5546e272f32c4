// SPDX-License-Identifier: Apache-2.0
// What chips and interfaces keep of policers, and the monitored ones.
#ifndef INVENTORY_POLICER_RECORDS_H
#define INVENTORY_POLICER_RECORDS_H

#include <cstddef>
#include <cstdint>

#include "velmar/members.h"

struct tnx_list_t;
struct tnx_avl_tree_t;
struct thread;

// ---- Policers

struct qosPolProfileTbl_t {
    void *profile_hash;
    uint32_t *profile_bitmap;
    uint32_t max_num_profile_ids;
};
QOS_RECORD(qosPolProfileTbl_t, 12, F(profile_hash), F(profile_bitmap), F(max_num_profile_ids));

struct qosPolPolicerTbl_t {
    tnx_avl_tree_t *policer_tree;
    uint32_t *policer_bitmap[4];
    uint16_t num_policer_banks;
};
QOS_RECORD(qosPolPolicerTbl_t, 24, F(policer_tree), F(policer_bitmap), F(num_policer_banks));

// The tables are the manager's. The lists hold qaPolPolicerInfo_t in the order of qaPolCmpData.
struct qosPolCfg_t {
    qosPolPolicerTbl_t *ingress_pol_tbl;
    qosPolPolicerTbl_t *egress_pol_tbl;
    qosPolProfileTbl_t *profile_tbl;
    tnx_list_t *ingr_policer_list;
    tnx_list_t *egr_policer_list;
    tnx_list_t *bum_policer_list;
};
QOS_RECORD(qosPolCfg_t, 24, F(ingress_pol_tbl), F(egress_pol_tbl), F(profile_tbl), F(ingr_policer_list),
           F(egr_policer_list), F(bum_policer_list));

struct qosIfPolInfo_t {
    uint16_t mcastBumPolId;
    uint16_t polGroupId;
};
QOS_MEMBERS(qosIfPolInfo_t, 4, SPAN(0, mcastBumPolId, 4), F(2, polGroupId));

// ---- BUM: broadcast, unknown-unicast and multicast limits

struct qosBumRecord_t {
    uint32_t ifindex;
    int32_t protocol;
    int32_t action;
    int32_t user_format;
    alignas(8) uint64_t provisioned_rate;
};
QOS_MEMBERS(qosBumRecord_t, 24, F(0, ifindex), F(4, protocol), F(8, action), F(12, user_format),
            F(16, provisioned_rate));

struct qosBumProtocolRecord_t {
    int32_t proto_enable_status;
    qosBumRecord_t config;
    alignas(8) uint64_t rate;
};
QOS_MEMBERS(qosBumProtocolRecord_t, 40, F(0, proto_enable_status), F(8, config), F(32, rate));

// The manager's view; the monitor does not look here.
struct qosIfBumInfo_t {
    uint8_t num_proto_enabled;
    qosBumProtocolRecord_t bcast;
    qosBumProtocolRecord_t mcast;
    qosBumProtocolRecord_t unknownucast;
};
QOS_MEMBERS(qosIfBumInfo_t, 128, SPAN(0, num_proto_enabled, 2), F(8, bcast), F(48, mcast), F(88, unknownucast));

// Polling state of one BUM policer.
struct qaBumInfo_t {
    int32_t monitor_bum_policer;        // 1 while the policer is monitored
    int32_t state;                      // 0 no violation, 1 in violation
    alignas(8) uint64_t violation_cntr; // as last read
};
QOS_MEMBERS(qaBumInfo_t, 16, F(0, monitor_bum_policer), F(4, state), F(8, violation_cntr));

struct qaPolPolicerInfo_t {
    uint32_t ifindex; // or QOS_ALL_CHIPS_IFINDEX
    int32_t dir;      // 0 ingress, else egress
    uint16_t pol_grp_idx;
    uint32_t policer_id;
    qaBumInfo_t bum_info;
};
QOS_MEMBERS(qaPolPolicerInfo_t, 32, F(0, ifindex), F(4, dir), F(8, pol_grp_idx), F(12, policer_id), F(16, bum_info));

struct qaBumContext_t {
    uint16_t monitor_policer_cnt; // policers that are monitored
    uint8_t monitorting_inteval;  // seconds
    thread *timer;                // this process's own: not described to the store
    void (*bum_callback)();       // run at each period
};
QOS_RECORD(qaBumContext_t, 12, F(monitor_policer_cnt), F(monitorting_inteval), LOCAL(timer), F(bum_callback));

#endif
