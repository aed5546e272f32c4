// Policers on both Mirelle types: entries 31, 32, 33, 40 and 44 of the back-end table, and the builders of the batch's
// records. A chip's policers stand in groups, and its rate step depends on its type.
#ifndef PLATFORM_MIRELLE_MRL_POLICER_H
#define PLATFORM_MIRELLE_MRL_POLICER_H

#include <cstdint>

#include "platform/common/cos_policer.h"

// Each goes to the body's chip index, stores its status in the body and returns it. op_cir and op_eir of an add come
// back as the rates programmed, in bits per second. An add for an unknown chip gives 1 and sends nothing.
uint32_t mrlPolicerAdd(qosPolPolicerAddMsg_t *body);
uint32_t mrlPolicerRem(qosPolPolicerDelMsg_t *body);
uint32_t mrlPolProfileCfg(qosPolProfileMsg_t *body);
uint32_t mrlPolStatsGet(qosPolStatsGetMsg_t *body);
// The body's interface index is the chip's. A policer of all interfaces is cleared in each of num_pol_grp groups; an
// unknown interface gives 1 and nothing is sent.
uint32_t mrlPolStatsClr(qosPolStatsClrMsg_t *body);

// Each fills the one record at its place in the request buffer, whose head is there. The first gives 1 for an unknown
// chip, the second 0.
uint32_t mrlPolAddPolicerAddIoctl(cosPolicerAdd_t *record, qosPolPolicerAddMsg_t *body);
uint32_t mrlPolAddPolicerRemIoctl(cosPolicerRemove_t *record, const qosPolPolicerDelMsg_t *body);
inline constexpr auto *mrlPolAddProfileUpdIoctl = cosPolFillProfileUpdate;
inline constexpr auto *mrlPolAddProfileDelIoctl = cosPolFillProfileDelete;
inline constexpr auto *mrlPolAddAssocIoctl = cosPolFillAssoc;
inline constexpr auto *mrlPolAddDeassocIoctl = cosPolFillDeassoc;

#endif
