// SPDX-License-Identifier: Apache-2.0
// Policers of a chip without groups, its rates in steps of its own.
#include "platform/tessel/tsl_policer.h"

namespace {

constexpr uint32_t STEP = 4993; // bytes per second

uint32_t noIndex(const qosPolStatsRec_t *)
{
    return 0;
}

constexpr cosPolFamily_t TESSEL = {"tslPolicerAdd",
                                   "tslPolicerRem",
                                   "tslPolProfileCfg",
                                   "tslPolStatsGet",
                                   tslPolAddPolicerAddIoctl,
                                   tslPolAddPolicerRemIoctl,
                                   noIndex,
                                   nullptr};

} // namespace

qosDriverStatus_t tslPolAddPolicerAddIoctl(cosPolicerAdd_t *record, qosPolPolicerAddMsg_t *body)
{
    cosPolFillAdd(record, body, STEP, 0);
    return QOS_MSG_DONE;
}

qosDriverStatus_t tslPolAddPolicerRemIoctl(cosPolicerRemove_t *record, const qosPolPolicerDelMsg_t *body)
{
    cosPolFillRemove(record, body, 0);
    return QOS_MSG_DONE;
}

constexpr cosPolEntry_t<qosPolPolicerAddMsg_t> tslPolicerAdd = {TESSEL, cosPolicerAdd};
constexpr cosPolEntry_t<qosPolPolicerDelMsg_t> tslPolicerRem = {TESSEL, cosPolicerRem};
constexpr cosPolEntry_t<qosPolProfileMsg_t> tslPolProfileCfg = {TESSEL, cosPolProfileCfg};
constexpr cosPolEntry_t<qosPolStatsGetMsg_t> tslPolStatsGet = {TESSEL, cosPolStatsGet};
constexpr cosPolEntry_t<qosPolStatsClrMsg_t> tslPolStatsClr = {TESSEL, cosPolStatsClr};
