// SPDX-License-Identifier: Apache-2.0
// Policers on both Mirelle types: entries 31, 32, 33, 40 and 44 of the back-end table, and the builders of the batch's
// records. A chip's policers stand in groups, and its rate step depends on its type.
#ifndef PLATFORM_MIRELLE_MRL_POLICER_H
#define PLATFORM_MIRELLE_MRL_POLICER_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "platform/common/cos_policer.h"

// Each goes to the body's chip index, stores its status in the body and returns it. op_cir and op_eir of an add come
// back as the rates programmed, in bits per second. An add for an unknown chip gives 1 and sends nothing.
extern const cosPolEntry_t<qosPolPolicerAddMsg_t> mrlPolicerAdd;
extern const cosPolEntry_t<qosPolPolicerDelMsg_t> mrlPolicerRem;
extern const cosPolEntry_t<qosPolProfileMsg_t> mrlPolProfileCfg;
extern const cosPolEntry_t<qosPolStatsGetMsg_t> mrlPolStatsGet;
// The body's interface index is the chip's. A policer of all interfaces is cleared in each of num_pol_grp groups; an
// unknown interface gives 1 and nothing is sent.
extern const cosPolEntry_t<qosPolStatsClrMsg_t> mrlPolStatsClr;

// Each fills the one record at its place in the request buffer, whose head is there. The first gives 1 for an unknown
// chip, the second 0.
qosDriverStatus_t mrlPolAddPolicerAddIoctl(cosPolicerAdd_t *record, qosPolPolicerAddMsg_t *body);
qosDriverStatus_t mrlPolAddPolicerRemIoctl(cosPolicerRemove_t *record, const qosPolPolicerDelMsg_t *body);
inline constexpr auto *mrlPolAddProfileUpdIoctl = cosPolFillProfileUpdate;
inline constexpr auto *mrlPolAddProfileDelIoctl = cosPolFillProfileDelete;
inline constexpr auto *mrlPolAddAssocIoctl = cosPolFillAssoc;
inline constexpr auto *mrlPolAddDeassocIoctl = cosPolFillDeassoc;

#endif
