// SPDX-License-Identifier: Apache-2.0
// What chips and interfaces keep of layer 2 and layer 3 priority.
#ifndef INVENTORY_PRIORITY_RECORDS_H
#define INVENTORY_PRIORITY_RECORDS_H

#include <cstddef>
#include <cstdint>

#include "inventory/record_queues.h"
#include "platform/records/chip_traits.h"

struct tnx_list_t;

constexpr unsigned QOS_MAP_NAME_SIZE = 64;

// A TCAM entry as the driver named it; opaque to the agent.
struct dce_tcam_handle_t {
    alignas(8) uint64_t input_key;
    alignas(8) uint64_t input_mask_key;
    uint16_t result_key;
    uint32_t application_handle;
};
QOS_MEMBERS(dce_tcam_handle_t, 24, F(0, input_key), F(8, input_mask_key), F(16, result_key), F(20, application_handle));

// Sizes count TCAM entries.
struct qosTcamRegion_t {
    uint32_t region_id;
    uint32_t ref_region_id;
    int32_t insert_above; // truth: stands ahead of the reference region
    uint32_t min_size;
    uint32_t max_size;
    uint32_t size;
    uint32_t growth_factor;
};
QOS_MEMBERS(qosTcamRegion_t, 28, F(0, region_id), F(4, ref_region_id), F(8, insert_above), F(12, min_size),
            F(16, max_size), F(20, size), F(24, growth_factor));

// Named maps are the manager's. The agent receives arrays, so its pointers to maps stay null.
struct qosMapHdr_t {
    char map_name[QOS_MAP_NAME_SIZE];
    tailqHead<qosIf_t> ifList; // interfaces that use the map, through the link of the map's kind
};
QOS_RECORD(qosMapHdr_t, 72, F(map_name), F(ifList));

struct qosCosMutateMap_t {
    qosMapHdr_t hdr;
    uint8_t cos_map[QOS_NUM_COS];
    tnx_list_t *profileList;
};
QOS_RECORD(qosCosMutateMap_t, 84, F(hdr), F(cos_map), F(profileList));

struct qosCosTcMap_t {
    qosMapHdr_t hdr;
    uint8_t tc_map[QOS_NUM_COS];
    tnx_list_t *profileList;
};
QOS_RECORD(qosCosTcMap_t, 84, F(hdr), F(tc_map), F(profileList));

struct qosDscpCosMap_t {
    qosMapHdr_t hdr;
    uint8_t cos_map[QOS_NUM_DSCP];
};
QOS_RECORD(qosDscpCosMap_t, 136, F(hdr), F(cos_map));

struct qosDscpTcMap_t {
    qosMapHdr_t hdr;
    uint8_t tc_map[QOS_NUM_DSCP];
};
QOS_RECORD(qosDscpTcMap_t, 136, F(hdr), F(tc_map));

struct qosDscpMap_t {
    qosMapHdr_t hdr;
    uint8_t dscp_map[QOS_NUM_DSCP];
};
QOS_RECORD(qosDscpMap_t, 136, F(hdr), F(dscp_map));

// The status words and flags here and in qosIfL3Pri_t are the manager's: the agent only shows them.
struct qosIfL2Pri_t {
    uint32_t l2PriFlags;
    uint8_t def_cos;
    uint8_t def_tc;
    uint32_t def_cos_status;
    int32_t cos_trust;
    uint32_t cos_trust_status;
    dce_tcam_handle_t cos_trust_handle[QOS_NUM_COS]; // Larkin: by CoS
    uint8_t tcam_handle_valid;                       // Larkin: bit p says that handle p is valid
    qosCosMutateMap_t *cos_mutate;
    tailqEntry<qosIf_t> cos_map_link;
    uint8_t cos_map[QOS_NUM_COS]; // output CoS by input CoS
    uint32_t cos_map_status;
    qosCosTcMap_t *tc_mutate;
    tailqEntry<qosIf_t> tc_map_link;
    uint8_t tc_map[QOS_NUM_COS]; // traffic class by CoS
    uint32_t tc_map_status;
};
QOS_RECORD(qosIfL2Pri_t, 272, F(l2PriFlags), F(def_cos), F(def_tc), F(def_cos_status), F(cos_trust),
           F(cos_trust_status), F(cos_trust_handle), F(tcam_handle_valid), F(cos_mutate), F(cos_map_link), F(cos_map),
           F(cos_map_status), F(tc_mutate), F(tc_map_link), F(tc_map), F(tc_map_status));

struct qosIfL3Pri_t {
    uint32_t l3PriFlags;
    int32_t dscp_trust;
    uint32_t dscp_trust_status;
    dce_tcam_handle_t dscp_trust_handle[QOS_NUM_DSCP]; // Larkin: by DSCP
    alignas(8) uint64_t tcam_handle_valid;             // Larkin: bit d, from the lowest, says that handle d is valid
    qosDscpMap_t *dscp_mutate;
    tailqEntry<qosIf_t> dscp_map_link;
    uint8_t dscp_map[QOS_NUM_DSCP]; // output DSCP by input DSCP
    uint32_t dscp_map_status;
    qosDscpCosMap_t *dscp_cos_map;
    tailqEntry<qosIf_t> dscp_cos_link;
    uint8_t cos_map[QOS_NUM_DSCP]; // CoS by DSCP
    uint32_t dscp_cos_status;
    qosDscpTcMap_t *dscp_tc_map;
    tailqEntry<qosIf_t> dscp_tc_link;
    uint8_t tc_map[QOS_NUM_DSCP]; // traffic class by DSCP
    uint32_t dscp_tc_status;
};
QOS_RECORD(qosIfL3Pri_t, 1800, F(l3PriFlags), F(dscp_trust), F(dscp_trust_status), F(dscp_trust_handle),
           F(tcam_handle_valid), F(dscp_mutate), F(dscp_map_link), F(dscp_map), F(dscp_map_status), F(dscp_cos_map),
           F(dscp_cos_link), F(cos_map), F(dscp_cos_status), F(dscp_tc_map), F(dscp_tc_link), F(tc_map),
           F(dscp_tc_status));

#endif
