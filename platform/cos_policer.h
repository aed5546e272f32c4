// Policer requests of the COS family: what Tessel and both Mirelle types do alike. A family says in a cosPolFamily_t
// where it differs: its rate step, the group in its records, the names in its trace lines.
//
// All of these follow the contract of platform/qa_ioctl.h: they send, leave the status in the body and return it.
#ifndef PLATFORM_COS_POLICER_H
#define PLATFORM_COS_POLICER_H

#include <cstdint>

#include "agent/messages.h"
#include "platform/records.h"

struct cosPolFamily_t {
    const char *add; // names of the back-end functions
    const char *remove;
    const char *profile;
    const char *stats_get;
    // Fill one record; not 0 ends the request with nothing sent.
    uint32_t (*fill_add)(cosPolicerAdd_t *record, qosPolPolicerAddMsg_t *body);
    uint32_t (*fill_remove)(cosPolicerRemove_t *record, const qosPolPolicerDelMsg_t *body);
    // Second word of a statistics key.
    uint32_t (*stats_index)(const qosPolStatsRec_t *policer);
};

uint32_t cosPolicerAdd(const cosPolFamily_t &family, qosPolPolicerAddMsg_t *body);
uint32_t cosPolicerRem(const cosPolFamily_t &family, qosPolPolicerDelMsg_t *body);
uint32_t cosPolProfileCfg(const cosPolFamily_t &family, qosPolProfileMsg_t *body);
// Reads in slices of 90, which is what one request with its results holds. A failed slice ends the read.
uint32_t cosPolStatsGet(const cosPolFamily_t &family, qosPolStatsGetMsg_t *body);

// The records, each with its head filled by cosBatchRecord. Rates in the body are bits per second; `step` is the chip's
// unit in bytes per second. Filling an add reports the rates as programmed in op_cir and op_eir of the body.
void cosPolFillProfileUpdate(cosPolProfile_t *record, const qosPolPolicerAddMsg_t *body);
void cosPolFillProfileDelete(cosPolProfile_t *record, uint32_t profile_id);
void cosPolFillAdd(cosPolicerAdd_t *record, qosPolPolicerAddMsg_t *body, uint32_t step, uint32_t group);
void cosPolFillRemove(cosPolicerRemove_t *record, const qosPolPolicerDelMsg_t *body, uint32_t group);
void cosPolFillAssoc(cosPolAssoc_t *record, const qosPolPolicerAddMsg_t *body);
void cosPolFillDeassoc(cosPolDeassoc_t *record, const qosPolPolicerDelMsg_t *body);

// A clear that grows key by key in the request buffer and goes out in slices of 333:
//     cosPolClear_t clear = cosPolClearStart(target, dir);
//     for (...) {
//         if (const uint32_t rc = cosPolClearRoom(clear))
//             return rc;
//         cosPolClearKey(clear, policer_id);
//     }
//     return cosPolClearEnd(clear);
struct cosPolClear_t {
    uint32_t target;
    int32_t dir;
    uint32_t count; // keys that have not been sent
    bool sent;      // a slice has gone out
};
cosPolClear_t cosPolClearStart(uint32_t target, int32_t dir);
uint32_t cosPolClearRoom(cosPolClear_t &clear); // sends a full slice: 0, or the transport's status
// The next key. Its second word is as the buffer held it and may be written; there must be room.
cosStatsKey_t *cosPolClearKey(cosPolClear_t &clear, uint32_t policer_id);
uint32_t cosPolClearEnd(cosPolClear_t &clear); // sends the rest, an empty request if there was no key at all

#endif
