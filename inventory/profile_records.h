// SPDX-License-Identifier: Apache-2.0
// CEE maps and port profiles: the manager's, described for the shared layout and never allocated here.
#ifndef INVENTORY_PROFILE_RECORDS_H
#define INVENTORY_PROFILE_RECORDS_H

#include <cstddef>
#include <cstdint>

#include "inventory/congestion_records.h"
#include "inventory/priority_records.h"
#include "inventory/record_queues.h"

struct tnx_list_t;

struct qosCeePgid_t {
    uint32_t bandwidth; // percent of the link
    int32_t pfc;
};
QOS_MEMBERS(qosCeePgid_t, 8, F(0, bandwidth), F(4, pfc));

struct qosCee_t {
    uint32_t flags;
    qosCeePgid_t pgid[QOS_NUM_COS];
    uint8_t strict_pgid;           // one bit a strict-priority group
    uint8_t pri_pgid[QOS_NUM_COS]; // priority group by priority
    uint8_t lossless_remap;        // priority of remapped lossless frames
    uint8_t fabric_remap;          // priority of remapped fabric frames
};
QOS_MEMBERS(qosCee_t, 80, F(0, flags), F(4, pgid), F(68, strict_pgid), F(69, pri_pgid), F(77, lossless_remap),
            F(78, fabric_remap));

struct qosCeeMap_t {
    qosMapHdr_t hdr;
    uint32_t precedence;
    qosCee_t cee;
    tnx_list_t *profileList;
};
QOS_RECORD(qosCeeMap_t, 160, F(hdr), F(precedence), F(cee), F(profileList));

struct qosIfCeeMap_t {
    uint32_t ceeFlags;
    qosCeeMap_t *cee_map;
    tailqEntry<qosIf_t> cee_map_link;
    int32_t is_mqc_cee;
};
QOS_RECORD(qosIfCeeMap_t, 20, F(ceeFlags), F(cee_map), F(cee_map_link), F(is_mqc_cee));

struct qosAppmSubProfile_t {
    uint32_t flags;
    uint8_t def_cos;
    int32_t cos_trust;
    qosCosMutateMap_t *cos_mutate;
    qosCosTcMap_t *tc_mutate;
    qosCeeMap_t *cee_map;
    qosPauseProfile_t pause;
    qosPauseProfile_t pfc[QOS_NUM_COS];
};
QOS_RECORD(qosAppmSubProfile_t, 168, F(flags), F(def_cos), F(cos_trust), F(cos_mutate), F(tc_mutate), F(cee_map),
           F(pause), F(pfc));

#endif
