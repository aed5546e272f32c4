// The field tables of the records that the policer and the drop monitor module register with the store in their own
// hooks, behind the common list of ha/fields.h.
#ifndef INVENTORY_MONITOR_FIELDS_H
#define INVENTORY_MONITOR_FIELDS_H

#include "inventory/records.h"
#include "velmar/fields.h"

inline constexpr ha_field_t qaBumInfo_fields[] = {
    QOS_FIELD(qaBumInfo_t, monitor_bum_policer, "~I32"),
    QOS_FIELD(qaBumInfo_t, state, "~I32"),
    QOS_FIELD(qaBumInfo_t, violation_cntr, "~U64"),
};

inline constexpr ha_field_t qaPolPolicerInfo_fields[] = {
    QOS_FIELD(qaPolPolicerInfo_t, ifindex, "~U32"),         QOS_FIELD(qaPolPolicerInfo_t, dir, "~I32"),
    QOS_FIELD(qaPolPolicerInfo_t, pol_grp_idx, "~U16"),     QOS_FIELD(qaPolPolicerInfo_t, policer_id, "~U32"),
    QOS_FIELD(qaPolPolicerInfo_t, bum_info, "qaBumInfo_t"),
};

inline constexpr ha_field_t qosTdMonitorStatsIfMsg_fields[] = {
    QOS_FIELD(qosTdMonitorStatsIfMsg_t, ifindex, "~U32"),
    QOS_FIELD(qosTdMonitorStatsIfMsg_t, td_drop, "~U64"),
    QOS_FIELD(qosTdMonitorStatsIfMsg_t, is_td_if_drop, "~U32"),
};

inline constexpr ha_field_t qosRedMonitorStatsIfMsg_fields[] = {
    QOS_FIELD(qosRedMonitorStatsIfMsg_t, ifindex, "~U32"),
    QOS_FIELD(qosRedMonitorStatsIfMsg_t, tmc_type, "~U32"),
    QOS_FIELD(qosRedMonitorStatsIfMsg_t, green_drop, "~U64"),
    QOS_FIELD(qosRedMonitorStatsIfMsg_t, red_drop, "~U64"),
    QOS_FIELD(qosRedMonitorStatsIfMsg_t, yellow_drop, "~U64"),
    QOS_FIELD(qosRedMonitorStatsIfMsg_t, is_red_if_drop, "~U32"),
};

inline constexpr ha_field_t qaDropMonitorInfo_fields[] = {
    QOS_FIELD(qaDropMonitorInfo_t, ifindex, "~U32"),
    QOS_FIELD(qaDropMonitorInfo_t, monitor_state, "~U32"),
    QOS_FIELD(qaDropMonitorInfo_t, redStats, "qosRedMonitorStatsIfMsg_t"),
    QOS_FIELD(qaDropMonitorInfo_t, tdStats, "qosTdMonitorStatsIfMsg_t"),
};

// A timer handle means nothing in another process: both contexts leave it out.
inline constexpr ha_field_t qaBumContext_fields[] = {
    QOS_FIELD(qaBumContext_t, monitor_policer_cnt, "~U16"),
    QOS_FIELD(qaBumContext_t, monitorting_inteval, "~U08"),
    QOS_FIELD(qaBumContext_t, bum_callback, "~Ptr"),
};

inline constexpr ha_field_t qaDropMonitorContext_fields[] = {
    QOS_FIELD(qaDropMonitorContext_t, monitor_cnt, "~U16"),
    QOS_FIELD(qaDropMonitorContext_t, monitor_inteval, "~U08"),
    QOS_FIELD(qaDropMonitorContext_t, monitor_callback, "~Ptr"),
};

#endif
