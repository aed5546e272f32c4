// Policers on Tessel: entries 31, 32, 33, 40 and 44 of the back-end table, and the builders of the batch's records.
#ifndef PLATFORM_TESSEL_TSL_POLICER_H
#define PLATFORM_TESSEL_TSL_POLICER_H

#include <cstdint>

#include "platform/common/cos_policer.h"

// Each goes to the body's chip index, stores its status in the body and returns it. op_cir and op_eir of an add come
// back as the rates programmed, in bits per second.
uint32_t tslPolicerAdd(qosPolPolicerAddMsg_t *body);
uint32_t tslPolicerRem(qosPolPolicerDelMsg_t *body);
uint32_t tslPolProfileCfg(qosPolProfileMsg_t *body);
uint32_t tslPolStatsGet(qosPolStatsGetMsg_t *body);
// The body's interface index is the chip's.
uint32_t tslPolStatsClr(qosPolStatsClrMsg_t *body);

// Each fills the one record at its place in the request buffer, whose head is there. The two with a result give 0.
uint32_t tslPolAddPolicerAddIoctl(cosPolicerAdd_t *record, qosPolPolicerAddMsg_t *body);
uint32_t tslPolAddPolicerRemIoctl(cosPolicerRemove_t *record, const qosPolPolicerDelMsg_t *body);
inline constexpr auto *tslPolAddProfileUpdIoctl = cosPolFillProfileUpdate;
inline constexpr auto *tslPolAddProfileDelIoctl = cosPolFillProfileDelete;
inline constexpr auto *tslPolAddAssocIoctl = cosPolFillAssoc;
inline constexpr auto *tslPolAddDeassocIoctl = cosPolFillDeassoc;

#endif
