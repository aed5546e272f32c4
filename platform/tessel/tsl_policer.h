// SPDX-License-Identifier: Apache-2.0
// Policers on Tessel: entries 31, 32, 33, 40 and 44 of the back-end table, and the builders of the batch's records.
#ifndef PLATFORM_TESSEL_TSL_POLICER_H
#define PLATFORM_TESSEL_TSL_POLICER_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "platform/common/cos_policer.h"

// Each goes to the body's chip index, stores its status in the body and returns it. op_cir and op_eir of an add come
// back as the rates programmed, in bits per second.
extern const cosPolEntry_t<qosPolPolicerAddMsg_t> tslPolicerAdd;
extern const cosPolEntry_t<qosPolPolicerDelMsg_t> tslPolicerRem;
extern const cosPolEntry_t<qosPolProfileMsg_t> tslPolProfileCfg;
extern const cosPolEntry_t<qosPolStatsGetMsg_t> tslPolStatsGet;
// The body's interface index is the chip's.
extern const cosPolEntry_t<qosPolStatsClrMsg_t> tslPolStatsClr;

// Each fills the one record at its place in the request buffer, whose head is there. The two with a result give 0.
qosDriverStatus_t tslPolAddPolicerAddIoctl(cosPolicerAdd_t *record, qosPolPolicerAddMsg_t *body);
qosDriverStatus_t tslPolAddPolicerRemIoctl(cosPolicerRemove_t *record, const qosPolPolicerDelMsg_t *body);
inline constexpr auto *tslPolAddProfileUpdIoctl = cosPolFillProfileUpdate;
inline constexpr auto *tslPolAddProfileDelIoctl = cosPolFillProfileDelete;
inline constexpr auto *tslPolAddAssocIoctl = cosPolFillAssoc;
inline constexpr auto *tslPolAddDeassocIoctl = cosPolFillDeassoc;

#endif
