// SPDX-License-Identifier: Apache-2.0
// Policer requests of the COS family: what Tessel and both Mirelle types do alike. A family says in a cosPolFamily_t
// where it differs: its rate step, the group in its records, the names in its trace lines.
//
// All of these follow the contract of platform/qa_ioctl.h: they send, leave the status in the body and return it.
#ifndef PLATFORM_COMMON_COS_POLICER_H
#define PLATFORM_COMMON_COS_POLICER_H

#include <cstdint>

#include "agent/messages/policer.h"
#include "channels/driver_request.h"
#include "core/trace.h"
#include "platform/records/policer.h"

// Groups that an entry of a clear goes to: `count` from `first` on.
struct cosPolGroups_t {
    uint32_t first;
    uint32_t count;
};

struct cosPolFamily_t {
    qosWhere_t add; // the back-end functions that lines are written for
    qosWhere_t remove;
    qosWhere_t profile;
    qosWhere_t stats_get;
    // Fill one record; not 0 ends the request with nothing sent.
    qosDriverStatus_t (*fill_add)(cosPolicerAdd_t *record, qosPolPolicerAddMsg_t *body);
    qosDriverStatus_t (*fill_remove)(cosPolicerRemove_t *record, const qosPolPolicerDelMsg_t *body);
    // Second word of a statistics key.
    uint32_t (*stats_index)(const qosPolStatsRec_t *policer);
    // The groups of a clear's entry for this interface; not 0 ends the clear with nothing sent. Null where there are no
    // groups: an entry is one key, whose second word is as the buffer held it.
    qosDriverStatus_t (*clear_groups)(const qosPolStatsClrMsg_t *body, uint32_t ifindex, cosPolGroups_t *groups);
};

qosDriverStatus_t cosPolicerAdd(const cosPolFamily_t &family, qosPolPolicerAddMsg_t *body);
qosDriverStatus_t cosPolicerRem(const cosPolFamily_t &family, qosPolPolicerDelMsg_t *body);
qosDriverStatus_t cosPolProfileCfg(const cosPolFamily_t &family, qosPolProfileMsg_t *body);
// Reads in slices of 90, which is what one request with its results holds. A failed slice ends the read.
qosDriverStatus_t cosPolStatsGet(const cosPolFamily_t &family, qosPolStatsGetMsg_t *body);
// Clears in slices of 333 keys, an empty request if there is no key at all; likewise.
qosDriverStatus_t cosPolStatsClr(const cosPolFamily_t &family, qosPolStatsClrMsg_t *body);

// An entry of a family: one of the above as it is for the family, called with its body.
template <typename Body>
struct cosPolEntry_t {
    const cosPolFamily_t &family;
    qosDriverStatus_t (*run)(const cosPolFamily_t &family, Body *body);

    qosDriverStatus_t operator()(Body *body) const { return run(family, body); }
};

// The records, each with its head filled by cosBatchRecord. Rates in the body are bits per second; `step` is the chip's
// unit in bytes per second. Filling an add reports the rates as programmed in op_cir and op_eir of the body.
void cosPolFillProfileUpdate(cosPolProfile_t *record, const qosPolPolicerAddMsg_t *body);
void cosPolFillProfileDelete(cosPolProfile_t *record, uint32_t profile_id);
void cosPolFillAdd(cosPolicerAdd_t *record, qosPolPolicerAddMsg_t *body, uint32_t step, uint32_t group);
void cosPolFillRemove(cosPolicerRemove_t *record, const qosPolPolicerDelMsg_t *body, uint32_t group);
void cosPolFillAssoc(cosPolAssoc_t *record, const qosPolPolicerAddMsg_t *body);
void cosPolFillDeassoc(cosPolDeassoc_t *record, const qosPolPolicerDelMsg_t *body);

#endif
