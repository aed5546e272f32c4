// The field tables of the records that live in memory. Only ha/fields.cpp includes this; the order of the rows is
// fixed.
#ifndef INVENTORY_MEMORY_FIELDS_H
#define INVENTORY_MEMORY_FIELDS_H

#include "inventory/records.h"
#include "velmar/fields.h"

// Head and link of the tail queues of a record type.
#define QOS_TAILQ_FIELDS(record)                                                                                       \
    inline constexpr ha_field_t tqhead_fields_##record[] = {                                                           \
        QOS_FIELD(tailqHead<record>, tqh_first, "~Ptr"),                                                               \
        QOS_FIELD(tailqHead<record>, tqh_last, "~Ptr"),                                                                \
    };                                                                                                                 \
    inline constexpr ha_field_t tqentry_fields_##record[] = {                                                          \
        QOS_FIELD(tailqEntry<record>, tqe_next, "~Ptr"),                                                               \
        QOS_FIELD(tailqEntry<record>, tqe_prev, "~Ptr"),                                                               \
    }
QOS_TAILQ_FIELDS(qosIf_t);
QOS_TAILQ_FIELDS(qosChip_t);
QOS_TAILQ_FIELDS(qosUpdEntry_t);
#undef QOS_TAILQ_FIELDS

inline constexpr ha_field_t dce_tcam_handle_fields[] = {
    QOS_FIELD(dce_tcam_handle_t, input_key, "~U64"),
    QOS_FIELD(dce_tcam_handle_t, input_mask_key, "~U64"),
    QOS_FIELD(dce_tcam_handle_t, result_key, "~U16"),
    QOS_FIELD(dce_tcam_handle_t, application_handle, "~U32"),
};

inline constexpr ha_field_t qosUpdEntry_fields[] = {
    QOS_FIELD(qosUpdEntry_t, upd_link, "struct te_qosUpdEntry_t"),
    QOS_FIELD(qosUpdEntry_t, hdr, "qosMsgHdr_t"),
};

// slot_id, updBufferFull and msgBuf belong to the process and are left out.
inline constexpr ha_field_t qosSlot_fields[] = {
    QOS_FIELD(qosSlot_t, slot_state, "~U32"),
    QOS_FIELD(qosSlot_t, agnt_reg, "~I32"),
    QOS_FIELD(qosSlot_t, chipList, "struct th_qosChip_t"),
    QOS_FIELD(qosSlot_t, updList, "struct th_qosUpdEntry_t"),
    QOS_FIELD(qosSlot_t, pendList, "struct th_qosUpdEntry_t"),
    QOS_FIELD(qosSlot_t, upd_seqno, "~U32"),
    QOS_FIELD(qosSlot_t, num_upd, "~U32"),
    QOS_FIELD(qosSlot_t, num_pend, "~U32"),
};

inline constexpr ha_field_t qosTcamRegion_fields[] = {
    QOS_FIELD(qosTcamRegion_t, region_id, "~U32"),     QOS_FIELD(qosTcamRegion_t, ref_region_id, "~U32"),
    QOS_FIELD(qosTcamRegion_t, insert_above, "~I32"),  QOS_FIELD(qosTcamRegion_t, min_size, "~U32"),
    QOS_FIELD(qosTcamRegion_t, max_size, "~U32"),      QOS_FIELD(qosTcamRegion_t, size, "~U32"),
    QOS_FIELD(qosTcamRegion_t, growth_factor, "~U32"),
};

inline constexpr ha_field_t qosRedProfile_fields[] = {
    QOS_FIELD(qosRedProfile_t, profileId, "~U16"),       QOS_FIELD(qosRedProfile_t, isActive, "~I32"),
    QOS_FIELD(qosRedProfile_t, minThreshold, "~U32"),    QOS_FIELD(qosRedProfile_t, maxThreshold, "~U32"),
    QOS_FIELD(qosRedProfile_t, dropProbability, "~U32"), QOS_FIELD(qosRedProfile_t, chipList, "~Ptr"),
    QOS_FIELD(qosRedProfile_t, ifList, "~Ptr"),
};

inline constexpr ha_field_t qosChipRedCfg_fields[] = {
    QOS_FIELD(qosChipRedCfg_t, redProfile, "~Ptr"),     QOS_FIELD(qosChipRedCfg_t, globalProfile, "~U16"),
    QOS_FIELD(qosChipRedCfg_t, mappedProfile, "~I32"),  QOS_FIELD(qosChipRedCfg_t, redPortList, "~Ptr"),
    QOS_FIELD(qosChipRedCfg_t, activeRedCount, "~U08"),
};

inline constexpr ha_field_t qosLdBufferDist_fields[] = {
    QOS_FIELD(qosLdBufferDist_t, per_pfc_buf, "~U32"),
    QOS_FIELD(qosLdBufferDist_t, ld_port_buf, "~U32"),
    QOS_FIELD(qosLdBufferDist_t, reg_isl_port_buf, "~U32"),
    QOS_FIELD(qosLdBufferDist_t, edge_port_buf, "~U32"),
};

inline constexpr ha_field_t qosChipLdInfo_fields[] = {
    QOS_FIELD(qosChipLdInfo_t, num_ld_isl, "~U08"),
    QOS_FIELD(qosChipLdInfo_t, num_reg_isl_allow, "~U08"),
    QOS_FIELD(qosChipLdInfo_t, ld_buf, "qosLdBufferDist_t"),
    QOS_FIELD(qosChipLdInfo_t, nsm_retry_count, "~U08"),
};

inline constexpr ha_field_t qosPolProfileTbl_fields[] = {
    QOS_FIELD(qosPolProfileTbl_t, profile_hash, "~Ptr"),
    QOS_FIELD(qosPolProfileTbl_t, profile_bitmap, "~Ptr"),
    QOS_FIELD(qosPolProfileTbl_t, max_num_profile_ids, "~U32"),
};

inline constexpr ha_field_t qosPolPolicerTbl_fields[] = {
    QOS_FIELD(qosPolPolicerTbl_t, policer_tree, "~Ptr"),
    QOS_FIELD(qosPolPolicerTbl_t, policer_bitmap, "~Ptr"),
    QOS_FIELD(qosPolPolicerTbl_t, num_policer_banks, "~U16"),
};

inline constexpr ha_field_t qosPolCfg_fields[] = {
    QOS_FIELD(qosPolCfg_t, ingress_pol_tbl, "~Ptr"),  QOS_FIELD(qosPolCfg_t, egress_pol_tbl, "~Ptr"),
    QOS_FIELD(qosPolCfg_t, profile_tbl, "~Ptr"),      QOS_FIELD(qosPolCfg_t, ingr_policer_list, "~Ptr"),
    QOS_FIELD(qosPolCfg_t, egr_policer_list, "~Ptr"), QOS_FIELD(qosPolCfg_t, bum_policer_list, "~Ptr"),
};

inline constexpr ha_field_t qosBumRecord_fields[] = {
    QOS_FIELD(qosBumRecord_t, ifindex, "~U32"),          QOS_FIELD(qosBumRecord_t, protocol, "~I32"),
    QOS_FIELD(qosBumRecord_t, action, "~I32"),           QOS_FIELD(qosBumRecord_t, user_format, "~I32"),
    QOS_FIELD(qosBumRecord_t, provisioned_rate, "~U64"),
};

inline constexpr ha_field_t qosBumProtocolRecord_fields[] = {
    QOS_FIELD(qosBumProtocolRecord_t, proto_enable_status, "~I32"),
    QOS_FIELD(qosBumProtocolRecord_t, config, "qosBumRecord_t"),
    QOS_FIELD(qosBumProtocolRecord_t, rate, "~U64"),
};

inline constexpr ha_field_t qosIfBumInfo_fields[] = {
    QOS_FIELD_SIZED(qosIfBumInfo_t, num_proto_enabled, "~U08", 2),
    QOS_FIELD(qosIfBumInfo_t, bcast, "qosBumProtocolRecord_t"),
    QOS_FIELD(qosIfBumInfo_t, mcast, "qosBumProtocolRecord_t"),
    QOS_FIELD(qosIfBumInfo_t, unknownucast, "qosBumProtocolRecord_t"),
};

inline constexpr ha_field_t qosPolStatsClrData_fields[] = {
    QOS_FIELD(qosPolStatsClrData_t, ifindex, "~U32"),
    QOS_FIELD(qosPolStatsClrData_t, policer_id, "~U32"),
};

inline constexpr ha_field_t qosChipPortInfo_fields[] = {
    QOS_FIELD(qosChipPortInfo_t, ifindex, "~U32"),
    QOS_FIELD(qosChipPortInfo_t, num_buffers, "~U32"),
    QOS_FIELD(qosChipPortInfo_t, bufPoolId, "~U16"),
    QOS_FIELD(qosChipPortInfo_t, polGroupId, "~U16"),
};

// warm_up lasts from one pass of a bulk chip-up to the next and is left out.
inline constexpr ha_field_t qosChip_fields[] = {
    QOS_FIELD(qosChip_t, chip_id, "~I32"),
    QOS_FIELD(qosChip_t, chip_ifindex, "~U32"),
    QOS_FIELD(qosChip_t, slot_id, "~I32"),
    QOS_FIELD(qosChip_t, local_chip_id, "~I32"),
    QOS_FIELD(qosChip_t, tmc_chip_id, "~I32"),
    QOS_FIELD(qosChip_t, chip_state, "~U32"),
    QOS_FIELD(qosChip_t, chip_type, "~U32"),
    QOS_FIELD(qosChip_t, chip_rev, "~U32"),
    QOS_FIELD(qosChip_t, num_ports, "~U32"),
    QOS_FIELD(qosChip_t, num_ingr_policer_ids, "~U32"),
    QOS_FIELD(qosChip_t, ingr_infin_policer_id, "~U32"),
    QOS_FIELD(qosChip_t, min_ingr_policer_id, "~U32"),
    QOS_FIELD(qosChip_t, num_egr_policer_ids, "~U32"),
    QOS_FIELD(qosChip_t, egr_infin_policer_id, "~U32"),
    QOS_FIELD(qosChip_t, min_egr_policer_id, "~U32"),
    QOS_FIELD(qosChip_t, num_policer_profiles, "~U32"),
    QOS_FIELD(qosChip_t, pt_based_pol, "~I32"),
    QOS_FIELD(qosChip_t, vlan_based_pol, "~I32"),
    QOS_FIELD(qosChip_t, num_policer_groups, "~U16"),
    QOS_FIELD(qosChip_t, polCfg, "qosPolCfg_t"),
    QOS_FIELD(qosChip_t, drop_monitor_list, "~Ptr"),
    QOS_FIELD(qosChip_t, numChipBuffPools, "~U32"),
    QOS_FIELD(qosChip_t, chipBuffers, "~U32"),
    QOS_FIELD(qosChip_t, portBuffers, "~U32"),
    QOS_FIELD(qosChip_t, bufStatus, "~U32"),
    QOS_FIELD(qosChip_t, l2psel_tcam, "qosTcamRegion_t"),
    QOS_FIELD(qosChip_t, l2psel_tcam_status, "~U32"),
    QOS_FIELD(qosChip_t, l3psel_tcam, "qosTcamRegion_t"),
    QOS_FIELD(qosChip_t, l3psel_tcam_status, "~U32"),
    QOS_FIELD(qosChip_t, chipRedCfg, "qosChipRedCfg_t"),
    QOS_FIELD(qosChip_t, maxRedProfilesPerChip, "~U08"),
    QOS_FIELD(qosChip_t, ldChipCfg, "qosChipLdInfo_t"),
    QOS_FIELD(qosChip_t, slot, "~Ptr"),
    QOS_FIELD(qosChip_t, slot_link, "struct te_qosChip_t"),
    QOS_FIELD(qosChip_t, ifList, "struct th_qosIf_t"),
    QOS_FIELD(qosChip_t, portInfo, "qosChipPortInfo_t"),
    QOS_FIELD(qosChip_t, egr_td_red_prof, "~U32"),
};

inline constexpr ha_field_t qosMapHdr_fields[] = {
    QOS_FIELD(qosMapHdr_t, map_name, "~Chr"),
    QOS_FIELD(qosMapHdr_t, ifList, "struct th_qosIf_t"),
};

inline constexpr ha_field_t qosCosMutateMap_fields[] = {
    QOS_FIELD(qosCosMutateMap_t, hdr, "qosMapHdr_t"),
    QOS_FIELD(qosCosMutateMap_t, cos_map, "~U08"),
    QOS_FIELD(qosCosMutateMap_t, profileList, "~Ptr"),
};

inline constexpr ha_field_t qosCosTcMap_fields[] = {
    QOS_FIELD(qosCosTcMap_t, hdr, "qosMapHdr_t"),
    QOS_FIELD(qosCosTcMap_t, tc_map, "~U08"),
    QOS_FIELD(qosCosTcMap_t, profileList, "~Ptr"),
};

inline constexpr ha_field_t qosDscpCosMap_fields[] = {
    QOS_FIELD(qosDscpCosMap_t, hdr, "qosMapHdr_t"),
    QOS_FIELD(qosDscpCosMap_t, cos_map, "~U08"),
};

inline constexpr ha_field_t qosDscpTcMap_fields[] = {
    QOS_FIELD(qosDscpTcMap_t, hdr, "qosMapHdr_t"),
    QOS_FIELD(qosDscpTcMap_t, tc_map, "~U08"),
};

inline constexpr ha_field_t qosDscpMap_fields[] = {
    QOS_FIELD(qosDscpMap_t, hdr, "qosMapHdr_t"),
    QOS_FIELD(qosDscpMap_t, dscp_map, "~U08"),
};

inline constexpr ha_field_t qosCcbGlobalCfg_fields[] = {
    QOS_FIELD(qosCcbGlobalCfg_t, flags, "~U32"),
    QOS_FIELD(qosCcbGlobalCfg_t, multicastRate, "~U32"),
    QOS_FIELD(qosCcbGlobalCfg_t, multicastBurst, "~U32"),
    QOS_FIELD(qosCcbGlobalCfg_t, multicastTailDrop, "~U32"),
    QOS_FIELD(qosCcbGlobalCfg_t, mcastRateLimitStatus, "~U32"),
    QOS_FIELD(qosCcbGlobalCfg_t, mcastTailDropStatus, "~U32"),
    QOS_FIELD(qosCcbGlobalCfg_t, redProfileTable, "~Ptr"),
    QOS_FIELD(qosCcbGlobalCfg_t, globalChipRedCfg, "qosChipRedCfg_t"),
    QOS_FIELD(qosCcbGlobalCfg_t, maxRedProfiles, "~U08"),
    QOS_FIELD(qosCcbGlobalCfg_t, maxIngrQueueDepth, "~U32"),
    QOS_FIELD(qosCcbGlobalCfg_t, maxEgrQueueDepth, "~U32"),
    QOS_FIELD(qosCcbGlobalCfg_t, mcastQueueMode, "~U08"),
};

inline constexpr ha_field_t qosIfLdInfo_fields[] = {
    QOS_FIELD(qosIfLdInfo_t, is_link_ld, "~I32"),         QOS_FIELD(qosIfLdInfo_t, is_link_isl, "~I32"),
    QOS_FIELD(qosIfLdInfo_t, ld_distance, "~U32"),        QOS_FIELD(qosIfLdInfo_t, ld_ep_size, "~U32"),
    QOS_FIELD(qosIfLdInfo_t, ld_state, "~U32"),           QOS_FIELD(qosIfLdInfo_t, port_save_state, "~I32"),
    QOS_FIELD(qosIfLdInfo_t, reconfig_distance, "~U32"),  QOS_FIELD(qosIfLdInfo_t, buf_pool_group, "~U16"),
    QOS_FIELD(qosIfLdInfo_t, ld_actual_distance, "~U32"),
};

inline constexpr ha_field_t qosCeePgid_fields[] = {
    QOS_FIELD(qosCeePgid_t, bandwidth, "~U32"),
    QOS_FIELD(qosCeePgid_t, pfc, "~I32"),
};

inline constexpr ha_field_t qosCee_fields[] = {
    QOS_FIELD(qosCee_t, flags, "~U32"),          QOS_FIELD(qosCee_t, pgid, "qosCeePgid_t"),
    QOS_FIELD(qosCee_t, strict_pgid, "~U08"),    QOS_FIELD(qosCee_t, pri_pgid, "~U08"),
    QOS_FIELD(qosCee_t, lossless_remap, "~U08"), QOS_FIELD(qosCee_t, fabric_remap, "~U08"),
};

inline constexpr ha_field_t qosCeeMap_fields[] = {
    QOS_FIELD(qosCeeMap_t, hdr, "qosMapHdr_t"),
    QOS_FIELD(qosCeeMap_t, precedence, "~U32"),
    QOS_FIELD(qosCeeMap_t, cee, "qosCee_t"),
    QOS_FIELD(qosCeeMap_t, profileList, "~Ptr"),
};

inline constexpr ha_field_t qosIfL2Pri_fields[] = {
    QOS_FIELD(qosIfL2Pri_t, l2PriFlags, "~U32"),
    QOS_FIELD(qosIfL2Pri_t, def_cos, "~U08"),
    QOS_FIELD(qosIfL2Pri_t, def_tc, "~U08"),
    QOS_FIELD(qosIfL2Pri_t, def_cos_status, "~U32"),
    QOS_FIELD(qosIfL2Pri_t, cos_trust, "~I32"),
    QOS_FIELD(qosIfL2Pri_t, cos_trust_status, "~U32"),
    QOS_FIELD(qosIfL2Pri_t, cos_trust_handle, "dce_tcam_handle_t"),
    QOS_FIELD(qosIfL2Pri_t, tcam_handle_valid, "~U08"),
    QOS_FIELD(qosIfL2Pri_t, cos_mutate, "~Ptr"),
    QOS_FIELD(qosIfL2Pri_t, cos_map_link, "struct te_qosIf_t"),
    QOS_FIELD(qosIfL2Pri_t, cos_map, "~U08"),
    QOS_FIELD(qosIfL2Pri_t, cos_map_status, "~U32"),
    QOS_FIELD(qosIfL2Pri_t, tc_mutate, "~Ptr"),
    QOS_FIELD(qosIfL2Pri_t, tc_map_link, "struct te_qosIf_t"),
    QOS_FIELD(qosIfL2Pri_t, tc_map, "~U08"),
    QOS_FIELD(qosIfL2Pri_t, tc_map_status, "~U32"),
};

inline constexpr ha_field_t qosIfL3Pri_fields[] = {
    QOS_FIELD(qosIfL3Pri_t, l3PriFlags, "~U32"),
    QOS_FIELD(qosIfL3Pri_t, dscp_trust, "~I32"),
    QOS_FIELD(qosIfL3Pri_t, dscp_trust_status, "~U32"),
    QOS_FIELD(qosIfL3Pri_t, dscp_trust_handle, "dce_tcam_handle_t"),
    QOS_FIELD(qosIfL3Pri_t, tcam_handle_valid, "~U64"),
    QOS_FIELD(qosIfL3Pri_t, dscp_mutate, "~Ptr"),
    QOS_FIELD(qosIfL3Pri_t, dscp_map_link, "struct te_qosIf_t"),
    QOS_FIELD(qosIfL3Pri_t, dscp_map, "~U08"),
    QOS_FIELD(qosIfL3Pri_t, dscp_map_status, "~U32"),
    QOS_FIELD(qosIfL3Pri_t, dscp_cos_map, "~Ptr"),
    QOS_FIELD(qosIfL3Pri_t, dscp_cos_link, "struct te_qosIf_t"),
    QOS_FIELD(qosIfL3Pri_t, cos_map, "~U08"),
    QOS_FIELD(qosIfL3Pri_t, dscp_cos_status, "~U32"),
    QOS_FIELD(qosIfL3Pri_t, dscp_tc_map, "~Ptr"),
    QOS_FIELD(qosIfL3Pri_t, dscp_tc_link, "struct te_qosIf_t"),
    QOS_FIELD(qosIfL3Pri_t, tc_map, "~U08"),
    QOS_FIELD(qosIfL3Pri_t, dscp_tc_status, "~U32"),
};

inline constexpr ha_field_t qosPauseProfile_fields[] = {
    QOS_FIELD(qosPauseProfile_t, maxThreshold, "~U32"),
    QOS_FIELD(qosPauseProfile_t, minThreshold, "~U32"),
    QOS_FIELD(qosPauseProfile_t, rx, "~I32"),
    QOS_FIELD(qosPauseProfile_t, tx, "~I32"),
};

inline constexpr ha_field_t qosIfRedCfg_fields[] = {
    QOS_FIELD(qosIfRedCfg_t, redProfileEnabled, "~I32"),
    QOS_FIELD(qosIfRedCfg_t, redProfile, "~Ptr"),
    QOS_FIELD(qosIfRedCfg_t, globalProfile, "~U16"),
    QOS_FIELD(qosIfRedCfg_t, mappedProfile, "~U16"),
};

inline constexpr ha_field_t qosOnmCfg_fields[] = {
    QOS_FIELD(qosOnmCfg_t, fcoeCos, "~U08"),
    QOS_FIELD(qosOnmCfg_t, fcoeCosBitmap, "~U08"),
    QOS_FIELD(qosOnmCfg_t, onmCfgAckCount, "~U32"),
};

inline constexpr ha_field_t qosShaper_fields[] = {
    QOS_FIELD(qosShaper_t, SchFlags, "~U32"),
    QOS_FIELD(qosShaper_t, if_bw, "~U32"),
    QOS_FIELD(qosShaper_t, port_shp_cfg_status, "~U32"),
};

inline constexpr ha_field_t qosAppmSubProfile_fields[] = {
    QOS_FIELD(qosAppmSubProfile_t, flags, "~U32"),
    QOS_FIELD(qosAppmSubProfile_t, def_cos, "~U08"),
    QOS_FIELD(qosAppmSubProfile_t, cos_trust, "~I32"),
    QOS_FIELD(qosAppmSubProfile_t, cos_mutate, "~Ptr"),
    QOS_FIELD(qosAppmSubProfile_t, tc_mutate, "~Ptr"),
    QOS_FIELD(qosAppmSubProfile_t, cee_map, "~Ptr"),
    QOS_FIELD(qosAppmSubProfile_t, pause, "qosPauseProfile_t"),
    QOS_FIELD(qosAppmSubProfile_t, pfc, "qosPauseProfile_t"),
};

inline constexpr ha_field_t qosIfCcbInfo_fields[] = {
    QOS_FIELD(qosIfCcbInfo_t, ccbFlags, "~U32"),
    QOS_FIELD(qosIfCcbInfo_t, tailDropThreshold, "~U32"),
    QOS_FIELD(qosIfCcbInfo_t, priTailDropThreshold, "~U32"),
    QOS_FIELD(qosIfCcbInfo_t, tailDropStatus, "~U32"),
    QOS_FIELD(qosIfCcbInfo_t, priTailDropStatus, "~U32"),
    QOS_FIELD(qosIfCcbInfo_t, redProfileMap, "~U32"),
    QOS_FIELD(qosIfCcbInfo_t, redProfileStatus, "~U32"),
    QOS_FIELD(qosIfCcbInfo_t, pause, "qosPauseProfile_t"),
    QOS_FIELD(qosIfCcbInfo_t, pfc, "qosPauseProfile_t"),
    QOS_FIELD(qosIfCcbInfo_t, pauseStatus, "~U32"),
    QOS_FIELD(qosIfCcbInfo_t, pfcStatus, "~U32"),
    QOS_FIELD(qosIfCcbInfo_t, w2qpriStatus, "~U32"),
    QOS_FIELD(qosIfCcbInfo_t, redConfig, "qosIfRedCfg_t"),
    QOS_FIELD(qosIfCcbInfo_t, redStatus, "~U32"),
    QOS_FIELD(qosIfCcbInfo_t, onmOverRide, "~I32"),
    QOS_FIELD(qosIfCcbInfo_t, emergencyPause, "~U32"),
    QOS_FIELD(qosIfCcbInfo_t, isLinkLongDistance, "~I32"),
    QOS_FIELD(qosIfCcbInfo_t, longDistance, "~U16"),
    QOS_FIELD(qosIfCcbInfo_t, portBufferSize, "~U32"),
    QOS_FIELD(qosIfCcbInfo_t, onmCfg, "qosOnmCfg_t"),
    QOS_FIELD(qosIfCcbInfo_t, ldIfCfg, "qosIfLdInfo_t"),
    QOS_FIELD(qosIfCcbInfo_t, isDropMonitorEnabled, "~I32"),
};

inline constexpr ha_field_t qosSch_fields[] = {
    QOS_FIELD(qosSch_t, SchFlags, "~U32"),       QOS_FIELD(qosSch_t, sp_count, "~U32"),
    QOS_FIELD(qosSch_t, sp_queue_bw, "~U32"),    QOS_FIELD(qosSch_t, dwrr_weight, "~U32"),
    QOS_FIELD(qosSch_t, sch_cfg_status, "~U32"),
};

inline constexpr ha_field_t qosMcSch_fields[] = {
    QOS_FIELD(qosMcSch_t, mc_dwrr_weight, "~U32"),
    QOS_FIELD(qosMcSch_t, mc_sch_cfg_status, "~U32"),
};

inline constexpr ha_field_t qosIfCeeMap_fields[] = {
    QOS_FIELD(qosIfCeeMap_t, ceeFlags, "~U32"),
    QOS_FIELD(qosIfCeeMap_t, cee_map, "~Ptr"),
    QOS_FIELD(qosIfCeeMap_t, cee_map_link, "struct te_qosIf_t"),
    QOS_FIELD(qosIfCeeMap_t, is_mqc_cee, "~I32"),
};

inline constexpr ha_field_t qosIfPolInfo_fields[] = {
    QOS_FIELD_SIZED(qosIfPolInfo_t, mcastBumPolId, "~U16", 4),
    QOS_FIELD(qosIfPolInfo_t, polGroupId, "~U16"),
};

// bum_info comes ahead of cee_info.
inline constexpr ha_field_t qosIf_fields[] = {
    QOS_FIELD(qosIf_t, ifIndex, "~U32"),
    QOS_FIELD(qosIf_t, ifName, "~Chr"),
    QOS_FIELD(qosIf_t, ifMode, "~U32"),
    QOS_FIELD(qosIf_t, ifMlsCmdCnt, "~U08"),
    QOS_FIELD(qosIf_t, chip, "~Ptr"),
    QOS_FIELD(qosIf_t, chip_link, "struct te_qosIf_t"),
    QOS_FIELD(qosIf_t, slot_link, "struct te_qosIf_t"),
    QOS_FIELD(qosIf_t, l2_pri, "qosIfL2Pri_t"),
    QOS_FIELD(qosIf_t, l3_pri, "qosIfL3Pri_t"),
    QOS_FIELD(qosIf_t, pmap_list_in, "~Ptr"),
    QOS_FIELD(qosIf_t, pmap_list_out, "~Ptr"),
    QOS_FIELD(qosIf_t, precedence_bmp_in, "~U32"),
    QOS_FIELD(qosIf_t, precedence_bmp_out, "~U32"),
    QOS_FIELD(qosIf_t, ccb, "qosIfCcbInfo_t"),
    QOS_FIELD(qosIf_t, shaper_cfg, "qosShaper_t"),
    QOS_FIELD(qosIf_t, sch_cfg, "qosSch_t"),
    QOS_FIELD(qosIf_t, pol_info, "qosIfPolInfo_t"),
    QOS_FIELD(qosIf_t, bum_info, "qosIfBumInfo_t"),
    QOS_FIELD(qosIf_t, cee_info, "qosIfCeeMap_t"),
    QOS_FIELD(qosIf_t, profileList, "~Ptr"),
    QOS_FIELD(qosIf_t, isPortProfiled, "~I32"),
    QOS_FIELD(qosIf_t, parent, "~Ptr"),
    QOS_FIELD(qosIf_t, memPortList, "struct th_qosIf_t"),
    QOS_FIELD(qosIf_t, memLink, "struct te_qosIf_t"),
    QOS_FIELD(qosIf_t, aggType, "~I32"),
};

#endif
