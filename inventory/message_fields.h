// The field tables of the message header, of the packed bodies and of the update entries that carry them. Messages are
// not kept in the store; they are described so that update entries can be. Only ha/fields.cpp includes this.
#ifndef INVENTORY_MESSAGE_FIELDS_H
#define INVENTORY_MESSAGE_FIELDS_H

#include "inventory/records.h"
#include "velmar/fields.h"

// msg_data, like data in qosCcbIvqRedCfg_t, only marks where the variable part begins: its size is 0.
inline constexpr ha_field_t qosMsgHdr_fields[] = {
    QOS_FIELD(qosMsgHdr_t, msg_type, "~U08"),  QOS_FIELD(qosMsgHdr_t, msg_len, "~U16"),
    QOS_FIELD(qosMsgHdr_t, msg_seqno, "~U08"), QOS_FIELD(qosMsgHdr_t, msg_ack, "~U08"),
    QOS_FIELD(qosMsgHdr_t, msg_data, "~Chr"),
};

inline constexpr ha_field_t dORVALRegMsg_fields[] = {
    QOS_FIELD(dORVALRegMsg_t, slot_id, "~I32"),
};

// portBuffers and maxRedProfilesPerChip are left out.
inline constexpr ha_field_t qosChipUpMsg_fields[] = {
    QOS_FIELD(qosChipUpMsg_t, chip_id, "~I32"),
    QOS_FIELD(qosChipUpMsg_t, chip_ifindex, "~U32"),
    QOS_FIELD(qosChipUpMsg_t, slot_id, "~I32"),
    QOS_FIELD(qosChipUpMsg_t, local_chip_id, "~I32"),
    QOS_FIELD(qosChipUpMsg_t, num_ports, "~I32"),
    QOS_FIELD(qosChipUpMsg_t, chip_type, "~U32"),
    QOS_FIELD(qosChipUpMsg_t, chip_rev, "~U32"),
    QOS_FIELD(qosChipUpMsg_t, num_ingr_policer_ids, "~U32"),
    QOS_FIELD(qosChipUpMsg_t, ingr_infin_policer_id, "~U32"),
    QOS_FIELD(qosChipUpMsg_t, min_ingr_policer_id, "~U32"),
    QOS_FIELD(qosChipUpMsg_t, num_egr_policer_ids, "~U32"),
    QOS_FIELD(qosChipUpMsg_t, egr_infin_policer_id, "~U32"),
    QOS_FIELD(qosChipUpMsg_t, min_egr_policer_id, "~U32"),
    QOS_FIELD(qosChipUpMsg_t, num_policer_profiles, "~U32"),
    QOS_FIELD(qosChipUpMsg_t, pt_based_pol, "~I32"),
    QOS_FIELD(qosChipUpMsg_t, vlan_based_pol, "~I32"),
    QOS_FIELD(qosChipUpMsg_t, num_policer_groups, "~U16"),
    QOS_FIELD(qosChipUpMsg_t, numChipBuffPools, "~U32"),
    QOS_FIELD(qosChipUpMsg_t, chipBuffers, "~U32"),
    QOS_FIELD(qosChipUpMsg_t, portInfo, "qosChipPortInfo_t"),
    QOS_FIELD(qosChipUpMsg_t, egr_td_red_prof, "~U32"),
    QOS_FIELD(qosChipUpMsg_t, status, "~I32"),
};

inline constexpr ha_field_t qosIfAddMsg_fields[] = {
    QOS_FIELD(qosIfAddMsg_t, ifIndex, "~U32"),
    QOS_FIELD(qosIfAddMsg_t, ifName, "~Chr"),
    QOS_FIELD(qosIfAddMsg_t, chip_id, "~I32"),
    QOS_FIELD(qosIfAddMsg_t, status, "~I32"),
};

inline constexpr ha_field_t qosIfDelMsg_fields[] = {
    QOS_FIELD(qosIfDelMsg_t, ifIndex, "~U32"),
    QOS_FIELD(qosIfDelMsg_t, ifName, "~Chr"),
    QOS_FIELD(qosIfDelMsg_t, status, "~I32"),
};

inline constexpr ha_field_t qosL2PriMsg_fields[] = {
    QOS_FIELD(qosL2PriMsg_t, ifIndex, "~U32"),      QOS_FIELD(qosL2PriMsg_t, ifName, "~Chr"),
    QOS_FIELD(qosL2PriMsg_t, chip_ifindex, "~U32"), QOS_FIELD(qosL2PriMsg_t, def_cos, "~U08"),
    QOS_FIELD(qosL2PriMsg_t, def_tc, "~U08"),       QOS_FIELD(qosL2PriMsg_t, cos_trust, "~I32"),
    QOS_FIELD(qosL2PriMsg_t, cos_map, "~U08"),      QOS_FIELD(qosL2PriMsg_t, tc_map, "~U08"),
    QOS_FIELD(qosL2PriMsg_t, status, "~I32"),
};

inline constexpr ha_field_t qosL3PriMsg_fields[] = {
    QOS_FIELD(qosL3PriMsg_t, ifIndex, "~U32"),      QOS_FIELD(qosL3PriMsg_t, ifName, "~Chr"),
    QOS_FIELD(qosL3PriMsg_t, chip_ifindex, "~U32"), QOS_FIELD(qosL3PriMsg_t, dscp_trust, "~I32"),
    QOS_FIELD(qosL3PriMsg_t, dscp_map, "~U08"),     QOS_FIELD(qosL3PriMsg_t, cos_map, "~U08"),
    QOS_FIELD(qosL3PriMsg_t, tc_map, "~U08"),       QOS_FIELD(qosL3PriMsg_t, status, "~I32"),
};

inline constexpr ha_field_t qosCcbMsg_fields[] = {
    QOS_FIELD(qosCcbMsg_t, ifindex, "~U32"),
    QOS_FIELD(qosCcbMsg_t, ifName, "~Chr"),
    QOS_FIELD(qosCcbMsg_t, chip_ifindex, "~U32"),
    QOS_FIELD(qosCcbMsg_t, tc_map, "~U08"),
    QOS_FIELD(qosCcbMsg_t, pause_rx, "~I32"),
    QOS_FIELD(qosCcbMsg_t, pause_tx, "~I32"),
    QOS_FIELD(qosCcbMsg_t, pfc_rx, "~I32"),
    QOS_FIELD(qosCcbMsg_t, pfc_tx, "~I32"),
    QOS_FIELD(qosCcbMsg_t, pri_tail_drop_threshold, "~U08"),
    QOS_FIELD(qosCcbMsg_t, priTailDropSet, "~I32"),
    QOS_FIELD(qosCcbMsg_t, cos, "~I32"),
    QOS_FIELD(qosCcbMsg_t, profileId, "~U16"),
    QOS_FIELD(qosCcbMsg_t, minThreshold, "~U32"),
    QOS_FIELD(qosCcbMsg_t, maxThreshold, "~U32"),
    QOS_FIELD(qosCcbMsg_t, dropProbability, "~U32"),
    QOS_FIELD(qosCcbMsg_t, set, "~I32"),
    QOS_FIELD(qosCcbMsg_t, rateLimit, "~U32"),
    QOS_FIELD(qosCcbMsg_t, burstLimit, "~U32"),
    QOS_FIELD(qosCcbMsg_t, mcTailDrop, "~U32"),
    QOS_FIELD(qosCcbMsg_t, mcastQueueMode, "~U08"),
    QOS_FIELD(qosCcbMsg_t, status, "~I32"),
};

inline constexpr ha_field_t qosSchMsg_fields[] = {
    QOS_FIELD(qosSchMsg_t, ifIndex, "~U32"),      QOS_FIELD(qosSchMsg_t, ifName, "~Chr"),
    QOS_FIELD(qosSchMsg_t, chip_ifindex, "~U32"), QOS_FIELD(qosSchMsg_t, shaper_cfg, "qosShaper_t"),
    QOS_FIELD(qosSchMsg_t, sch_cfg, "qosSch_t"),  QOS_FIELD(qosSchMsg_t, Mcsch_cfg, "qosMcSch_t"),
    QOS_FIELD(qosSchMsg_t, status, "~I32"),
};

// The byte of action flags behind the declared fields is left out.
inline constexpr ha_field_t qosPolParam_fields[] = {
    QOS_FIELD(qosPolParam_t, cir, "~U64"),
    QOS_FIELD(qosPolParam_t, cbs, "~U64"),
    QOS_FIELD(qosPolParam_t, eir, "~U64"),
    QOS_FIELD(qosPolParam_t, ebs, "~U64"),
    QOS_FIELD(qosPolParam_t, conform_ip_tos, "~U08"),
    QOS_FIELD(qosPolParam_t, conform_traffic_class, "~U08"),
    QOS_FIELD(qosPolParam_t, exceed_ip_tos, "~U08"),
    QOS_FIELD(qosPolParam_t, exceed_traffic_class, "~U08"),
};

inline constexpr ha_field_t qosPolPolicerAddMsg_fields[] = {
    QOS_FIELD(qosPolPolicerAddMsg_t, ifindex, "~U32"),
    QOS_FIELD(qosPolPolicerAddMsg_t, ifName, "~Chr"),
    QOS_FIELD(qosPolPolicerAddMsg_t, chip_ifindex, "~U32"),
    QOS_FIELD(qosPolPolicerAddMsg_t, profile_id, "~U32"),
    QOS_FIELD(qosPolPolicerAddMsg_t, conform_cos, "~U08"),
    QOS_FIELD(qosPolPolicerAddMsg_t, exceed_cos, "~U08"),
    QOS_FIELD(qosPolPolicerAddMsg_t, violate_cos, "~U08"),
    QOS_FIELD(qosPolPolicerAddMsg_t, policer_id, "~U32"),
    QOS_FIELD(qosPolPolicerAddMsg_t, pol_grp_idx, "~U16"),
    QOS_FIELD(qosPolPolicerAddMsg_t, dir, "~I32"),
    QOS_FIELD(qosPolPolicerAddMsg_t, policer_req_type, "~U08"),
    QOS_FIELD(qosPolPolicerAddMsg_t, class_default, "~I32"),
    QOS_FIELD(qosPolPolicerAddMsg_t, poll_pol_cntr, "~I32"),
    QOS_FIELD(qosPolPolicerAddMsg_t, is_bum_policer, "~I32"),
    QOS_FIELD(qosPolPolicerAddMsg_t, add_profile, "~I32"),
    QOS_FIELD(qosPolPolicerAddMsg_t, policer_param, "qosPolParam_t"),
    QOS_FIELD(qosPolPolicerAddMsg_t, odata1, "~U32"),
    QOS_FIELD(qosPolPolicerAddMsg_t, odata2, "~U32"),
    QOS_FIELD(qosPolPolicerAddMsg_t, op_cir, "~U64"),
    QOS_FIELD(qosPolPolicerAddMsg_t, op_eir, "~U64"),
    QOS_FIELD(qosPolPolicerAddMsg_t, status, "~I32"),
};

inline constexpr ha_field_t qosPolPolicerDelMsg_fields[] = {
    QOS_FIELD(qosPolPolicerDelMsg_t, ifindex, "~U32"),       QOS_FIELD(qosPolPolicerDelMsg_t, ifName, "~Chr"),
    QOS_FIELD(qosPolPolicerDelMsg_t, chip_ifindex, "~U32"),  QOS_FIELD(qosPolPolicerDelMsg_t, profile_id, "~U32"),
    QOS_FIELD(qosPolPolicerDelMsg_t, policer_id, "~U32"),    QOS_FIELD(qosPolPolicerDelMsg_t, pol_grp_idx, "~U16"),
    QOS_FIELD(qosPolPolicerDelMsg_t, class_default, "~I32"), QOS_FIELD(qosPolPolicerDelMsg_t, is_bum_policer, "~I32"),
    QOS_FIELD(qosPolPolicerDelMsg_t, dir, "~I32"),           QOS_FIELD(qosPolPolicerDelMsg_t, policer_req_type, "~U08"),
    QOS_FIELD(qosPolPolicerDelMsg_t, status, "~I32"),
};

inline constexpr ha_field_t qosPolProfileMsg_fields[] = {
    QOS_FIELD(qosPolProfileMsg_t, chip_ifindex, "~U32"), QOS_FIELD(qosPolProfileMsg_t, profile_id, "~U32"),
    QOS_FIELD(qosPolProfileMsg_t, conform_cos, "~U08"),  QOS_FIELD(qosPolProfileMsg_t, exceed_cos, "~U08"),
    QOS_FIELD(qosPolProfileMsg_t, violate_cos, "~U08"),  QOS_FIELD(qosPolProfileMsg_t, profile_req_type, "~U08"),
    QOS_FIELD(qosPolProfileMsg_t, status, "~I32"),
};

inline constexpr ha_field_t qosLdConfigMsg_fields[] = {
    QOS_FIELD(qosLdConfigMsg_t, cmd, "~U32"),      QOS_FIELD(qosLdConfigMsg_t, ifindex, "~U32"),
    QOS_FIELD(qosLdConfigMsg_t, distance, "~U32"), QOS_FIELD(qosLdConfigMsg_t, num_pfc, "~U08"),
    QOS_FIELD(qosLdConfigMsg_t, status, "~I32"),
};

// `chip` holds a chip number, nothing to relocate.
inline constexpr ha_field_t qosClearStatsMsg_fields[] = {
    QOS_FIELD(qosClearStatsMsg_t, status, "~I32"),
    QOS_FIELD(qosClearStatsMsg_t, ifindex, "~U32"),
    QOS_FIELD(qosClearStatsMsg_t, clearAll, "~I32"),
    QOS_FIELD(qosClearStatsMsg_t, chip, "~U32"),
};

inline constexpr ha_field_t qosPolBumStateNotifyMsg_fields[] = {
    QOS_FIELD(qosPolBumStateNotifyMsg_t, ifindex, "~U32"),
    QOS_FIELD(qosPolBumStateNotifyMsg_t, pol_id, "~U32"),
    QOS_FIELD(qosPolBumStateNotifyMsg_t, dir, "~I32"),
    QOS_FIELD(qosPolBumStateNotifyMsg_t, bum_mon_state, "~I32"),
};

inline constexpr ha_field_t qosBumResetStateMsg_fields[] = {
    QOS_FIELD(qosBumResetStateMsg_t, ifindex, "~U32"),
    QOS_FIELD(qosBumResetStateMsg_t, ifName, "~Chr"),
    QOS_FIELD(qosBumResetStateMsg_t, status, "~I32"),
};

inline constexpr ha_field_t qosQueueDepthMsg_fields[] = {
    QOS_FIELD(qosQueueDepthMsg_t, chip_ifindex, "~U32"),
    QOS_FIELD(qosQueueDepthMsg_t, queueDepth, "~U32"),
    QOS_FIELD(qosQueueDepthMsg_t, status, "~I32"),
};

// status comes last.
inline constexpr ha_field_t qosPolStatsClrMsg_fields[] = {
    QOS_FIELD(qosPolStatsClrMsg_t, ifindex, "~U32"),
    QOS_FIELD(qosPolStatsClrMsg_t, dir, "~I32"),
    QOS_FIELD(qosPolStatsClrMsg_t, num_policers, "~I32"),
    QOS_FIELD(qosPolStatsClrMsg_t, num_pol_grp, "~U08"),
    QOS_FIELD(qosPolStatsClrMsg_t, stats_clr_data, "qosPolStatsClrData_t"),
    QOS_FIELD(qosPolStatsClrMsg_t, status, "~I32"),
};

inline constexpr ha_field_t qosPolStatsClrAllMsg_fields[] = {
    QOS_FIELD(qosPolStatsClrAllMsg_t, ifindex, "~U32"),
    QOS_FIELD(qosPolStatsClrAllMsg_t, is_bum_pol_stats_clr_req, "~I32"),
};

inline constexpr ha_field_t qosCcbIvqRedIfInfo_fields[] = {
    QOS_FIELD(qosCcbIvqRedIfInfo_t, status, "~I32"),
    QOS_FIELD(qosCcbIvqRedIfInfo_t, ifIndex, "~U32"),
    QOS_FIELD(qosCcbIvqRedIfInfo_t, pfc_map, "~U08"),
};

inline constexpr ha_field_t qosCcbIvqRedCfg_fields[] = {
    QOS_FIELD(qosCcbIvqRedCfg_t, status, "~I32"),
    QOS_FIELD(qosCcbIvqRedCfg_t, numEntries, "~I32"),
    QOS_FIELD(qosCcbIvqRedCfg_t, chip_ifindex, "~U32"),
    QOS_FIELD(qosCcbIvqRedCfg_t, data, "qosCcbIvqRedIfInfo_t"),
};

inline constexpr ha_field_t qosGetTmcInfoMsg_fields[] = {
    QOS_FIELD(qosGetTmcInfoMsg_t, status, "~I32"),   QOS_FIELD(qosGetTmcInfoMsg_t, chip_ifindex, "~U32"),
    QOS_FIELD(qosGetTmcInfoMsg_t, tsl_id, "~I32"),   QOS_FIELD(qosGetTmcInfoMsg_t, tmc_id, "~I32"),
    QOS_FIELD(qosGetTmcInfoMsg_t, tmc_type, "~U32"),
};

// An update entry with the body of one message: its type and its table.
#define QOS_UPD_ENTRY(body)                                                                                            \
    using qosUpdEntry_##body##_t = qosUpdEntryOf<body##_t>;                                                            \
    inline constexpr ha_field_t qosUpdEntry_##body##_fields[] = {                                                      \
        QOS_FIELD(qosUpdEntry_##body##_t, upd_link, "struct te_qosUpdEntry_t"),                                        \
        QOS_FIELD(qosUpdEntry_##body##_t, hdr, "qosMsgHdr_t"),                                                         \
        QOS_FIELD(qosUpdEntry_##body##_t, msg_data, #body "_t"),                                                       \
    }
QOS_UPD_ENTRY(dORVALRegMsg);
QOS_UPD_ENTRY(qosChipUpMsg);
QOS_UPD_ENTRY(qosIfAddMsg);
QOS_UPD_ENTRY(qosIfDelMsg);
QOS_UPD_ENTRY(qosL2PriMsg);
QOS_UPD_ENTRY(qosL3PriMsg);
QOS_UPD_ENTRY(qosCcbMsg);
QOS_UPD_ENTRY(qosSchMsg);
QOS_UPD_ENTRY(qosPolPolicerAddMsg);
QOS_UPD_ENTRY(qosPolPolicerDelMsg);
QOS_UPD_ENTRY(qosPolProfileMsg);
QOS_UPD_ENTRY(qosLdConfigMsg);
QOS_UPD_ENTRY(qosClearStatsMsg);
QOS_UPD_ENTRY(qosPolBumStateNotifyMsg);
QOS_UPD_ENTRY(qosBumResetStateMsg);
QOS_UPD_ENTRY(qosQueueDepthMsg);
QOS_UPD_ENTRY(qosPolStatsClrMsg);
QOS_UPD_ENTRY(qosPolStatsClrAllMsg);
QOS_UPD_ENTRY(qosCcbIvqRedIfInfo);
QOS_UPD_ENTRY(qosCcbIvqRedCfg);
QOS_UPD_ENTRY(qosGetTmcInfoMsg);
#undef QOS_UPD_ENTRY

#endif
