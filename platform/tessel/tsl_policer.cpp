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

uint32_t tslPolAddPolicerAddIoctl(cosPolicerAdd_t *record, qosPolPolicerAddMsg_t *body)
{
    cosPolFillAdd(record, body, STEP, 0);
    return QOS_MSG_DONE;
}

uint32_t tslPolAddPolicerRemIoctl(cosPolicerRemove_t *record, const qosPolPolicerDelMsg_t *body)
{
    cosPolFillRemove(record, body, 0);
    return QOS_MSG_DONE;
}

uint32_t tslPolicerAdd(qosPolPolicerAddMsg_t *body)
{
    return cosPolicerAdd(TESSEL, body);
}

uint32_t tslPolicerRem(qosPolPolicerDelMsg_t *body)
{
    return cosPolicerRem(TESSEL, body);
}

uint32_t tslPolProfileCfg(qosPolProfileMsg_t *body)
{
    return cosPolProfileCfg(TESSEL, body);
}

uint32_t tslPolStatsGet(qosPolStatsGetMsg_t *body)
{
    return cosPolStatsGet(TESSEL, body);
}

uint32_t tslPolStatsClr(qosPolStatsClrMsg_t *body)
{
    return cosPolStatsClr(TESSEL, body);
}
