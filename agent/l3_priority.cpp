// SPDX-License-Identifier: Apache-2.0
// The four layer 3 handlers, each the common steps with a row of its own.
#include "agent/l3_priority.h"

#include <cstring>

#include "agent/priority.h"
#include "core/module.h"
#include "core/state.h"

namespace {

void storeTrust(qosIf_t &interface, const qosL3PriMsg_t &body)
{
    qosEdit(interface.l3_pri).dscp_trust = body.dscp_trust;
}

void storeMaps(qosIf_t &interface, const qosL3PriMsg_t &body)
{
    qosIfL3Pri_t &stored = qosEdit(interface.l3_pri);
    memcpy(stored.dscp_map, body.dscp_map, sizeof stored.dscp_map);
    memcpy(stored.cos_map, body.cos_map, sizeof stored.cos_map);
    memcpy(stored.tc_map, body.tc_map, sizeof stored.tc_map);
}

void storeAll(qosIf_t &interface, const qosL3PriMsg_t &body)
{
    storeTrust(interface, body);
    storeMaps(interface, body);
}

} // namespace

void qaRegisterL3PriModule()
{
    QOS_FRAME();
    qosModuleRecord(QOS_MOD_L3PRI, "QOS L3PRI").chip_up = qaL3PriChipUp;
    QOS_INF("Registered L3Pri module with QOS Agent");
}

int qaL3PriChipUp(qosChip_t *chip)
{
    const qaChipInit_t init = qaChipInit(qaL3PriChipInitFn, chip);
    if (!init) {
        QOS_DBG("L3Pri Ignoring chip up for chip %d/%d (%d)", chip->slot_id, chip->local_chip_id, chip->chip_id);
        return QOS_OK;
    }
    return init(chip);
}

using row_t = qaPriRow_t<qosL3PriMsg_t>;

constexpr row_t qaProcessIfDscpTrust = {"qaProcessIfDscpTrust",
                                        storeTrust,
                                        QOS_DBG_TEXT("Received dscp trust update for interface %s"),
                                        QOS_ERR_TEXT("Failed to find interface %s for dscp trust update"),
                                        {qaOperation<QOS_DSCPTRUST_MSG>,
                                         {QOS_ERR_TEXT("NULL DSCP Trust IOCTL handler for chip %d")},
                                         QOS_MSG_REFUSED,
                                         {QOS_ERR_TEXT("Failed to set dscp trust for interface %s, error = %d")},
                                         {QOS_INF_TEXT("Set dscp trust for interface %s")}}};

constexpr row_t qaProcessIfDscpMap = {"qaProcessIfDscpMap",
                                      storeMaps,
                                      QOS_DBG_TEXT("Received dscp mutation update for interface %s"),
                                      QOS_ERR_TEXT("Failed to find interface %s for dscp map update"),
                                      {qaOperation<QOS_DSCPMAP_MSG>,
                                       {QOS_ERR_TEXT("NULL DSCP Mutation IOCTL handler for chip %d")},
                                       QOS_MSG_REFUSED,
                                       {QOS_ERR_TEXT("Failed to set dscp mutation for interface %s, error = %d")},
                                       {QOS_INF_TEXT("Set dscp mutation for interface %s")}}};

constexpr row_t qaProcessIfDscpCosMap = {
    "qaProcessIfDscpCosMap",
    storeAll,
    QOS_DBG_TEXT("Received dscp cos mutation update for interface %s"),
    QOS_ERR_TEXT("Failed to find interface %s for dscp cos map update"),
    {qaOperation<QOS_DSCPCOSMAP_MSG>,
     {QOS_ERR_TEXT("NULL DSCP CoS Mutation IOCTL handler for chip %d")},
     QOS_MSG_REFUSED,
     {QOS_ERR_TEXT("Failed to set dscp cos mutation for interface %s, error = %d")},
     {QOS_INF_TEXT("Set dscp cos mutation for interface %s")}}};

constexpr row_t qaProcessIfDscpTcMap = {"qaProcessIfDscpTcMap",
                                        storeAll,
                                        QOS_DBG_TEXT("Received dscp tc mutation update for interface %s"),
                                        QOS_ERR_TEXT("Failed to find interface %s for dscp tc map update"),
                                        {qaOperation<QOS_DSCPTCMAP_MSG>,
                                         {QOS_ERR_TEXT("NULL DSCP TC Mutation IOCTL handler for chip %d")},
                                         QOS_MSG_REFUSED,
                                         {QOS_ERR_TEXT("Failed to set dscp tc mutation for interface %s, error = %d")},
                                         {QOS_INF_TEXT("Set dscp tc mutation for interface %s")}}};
