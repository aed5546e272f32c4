// SPDX-License-Identifier: Apache-2.0
// The four layer 2 handlers: the common steps, and what follows them.
#include "agent/l2_priority.h"

#include <cstring>

#include "agent/messages/congestion.h"
#include "agent/priority.h"
#include "core/module.h"
#include "core/state.h"

namespace {

void storeMaps(qosIf_t &interface, const qosL2PriMsg_t &body)
{
    qosIfL2Pri_t &stored = qosEdit(interface.l2_pri);
    memcpy(stored.cos_map, body.cos_map, sizeof stored.cos_map);
    memcpy(stored.tc_map, body.tc_map, sizeof stored.tc_map);
}

void storeTrust(qosIf_t &interface, const qosL2PriMsg_t &body)
{
    qosEdit(interface.l2_pri).cos_trust = body.cos_trust;
    storeMaps(interface, body);
}

void storeDefault(qosIf_t &interface, const qosL2PriMsg_t &body)
{
    qosIfL2Pri_t &stored = qosEdit(interface.l2_pri);
    stored.def_cos = body.def_cos;
    stored.def_tc = body.def_tc;
    storeMaps(interface, body);
}

// The traffic class of the default CoS follows the map, so a changed map may bring a changed default along.
qosMsgStatus_t followMap(qosWhere_t where, qosIf_t *interface, qosL2PriMsg_t *body, qosMsgStatus_t rc)
{
    if (interface->l2_pri.def_tc == body->def_tc)
        return rc;
    qosEdit(interface->l2_pri).def_tc = body->def_tc;
    const qosName_t name = qosNameOf(body->ifName);
    return qaRun(qaProcessIfDefCos.call, {where, interface->chip, name.text, 0, 0, rc}, body).rc;
}

constexpr auto W2Q_AFTER_DEF_COS = qaOptional(
    qaOperation<QOS_W2QPRI_MSG>, qaLine_t<qaName>{QOS_INF_TEXT("set w2qpri map after def cos config for port %s")},
    qaLine_t<qaName, qaRc>{QOS_ERR_TEXT("Failed to set w2qpri map for interface %s, error = %d")},
    qaLine_t<qaName>{QOS_INF_TEXT("Set w2qpri map for interface %s")});

// With pause sending on, the wire-to-queue map follows the default CoS. The body's status stays the first step's.
qosMsgStatus_t followPause(qosWhere_t where, qosIf_t *interface, qosL2PriMsg_t *body, qosMsgStatus_t rc)
{
    if (interface->ccb.pause.tx != 1)
        return rc;
    const qosName_t name = qosNameOf(body->ifName);
    qosCcbMsg_t w2q = {};
    w2q.ifindex = body->ifIndex;
    memcpy(w2q.tc_map, body->tc_map, sizeof w2q.tc_map);
    const qaCalled_t called = qaRun(W2Q_AFTER_DEF_COS, {where, interface->chip, name.text}, &w2q);
    return called.made ? called.rc : rc;
}

} // namespace

void qaRegisterL2PriModule()
{
    QOS_FRAME();
    qosModuleRecord(QOS_MOD_L2PRI, "QOS L2PRI").chip_up = qaL2PriChipUp;
    QOS_INF("Registered L2Pri module with QOS Agent");
}

int qaL2PriChipUp(qosChip_t *chip)
{
    const qaChipInit_t init = qaChipInit(qaL2PriChipInitFn, chip);
    if (!init) {
        QOS_DBG("L2Pri Ignoring chip up for chip %d/%d (%d)", chip->slot_id, chip->local_chip_id, chip->chip_id);
        return QOS_OK;
    }
    return init(chip);
}

using row_t = qaPriRow_t<qosL2PriMsg_t>;

constexpr row_t qaProcessIfCosTrust = {"qaProcessIfCosTrust",
                                       storeTrust,
                                       QOS_DBG_TEXT("Received cos trust update for interface %s"),
                                       QOS_ERR_TEXT("Failed to find interface %s for cos trust update"),
                                       {qaOperation<QOS_COSTRUST_MSG>,
                                        {QOS_ERR_TEXT("NULL CoS Trust IOCTL handler for chip %d")},
                                        QOS_MSG_REFUSED,
                                        {QOS_ERR_TEXT("Failed to set cos trust for interface %s, error = %d")},
                                        {QOS_INF_TEXT("Set cos trust for interface %s")}}};

constexpr row_t qaProcessIfDefCos = {"qaProcessIfDefCos",
                                     storeDefault,
                                     QOS_DBG_TEXT("Received default cos update for interface %s"),
                                     QOS_ERR_TEXT("Failed to find interface %s for default cos update"),
                                     {qaOperation<QOS_DEFCOS_MSG>,
                                      {QOS_ERR_TEXT("NULL Default CoS IOCTL handler for chip %d")},
                                      QOS_MSG_REFUSED,
                                      {QOS_ERR_TEXT("Failed to set def cos for interface %s, error = %d")},
                                      {QOS_INF_TEXT("Set default cos for interface %s")}},
                                     followPause};

constexpr row_t qaProcessIfCosMap = {"qaProcessIfCosMap",
                                     storeMaps,
                                     QOS_DBG_TEXT("Received cos mutation update for interface %s"),
                                     QOS_ERR_TEXT("Failed to find interface %s for cos map update"),
                                     {qaOperation<QOS_COSMAP_MSG>,
                                      {QOS_ERR_TEXT("NULL CoS Mutation IOCTL handler for chip %d")},
                                      QOS_MSG_REFUSED,
                                      {QOS_ERR_TEXT("Failed to set cos mutation for interface %s, error = %d")},
                                      {QOS_INF_TEXT("Set cos mutation for interface %s")}},
                                     followMap};

constexpr row_t qaProcessIfCosTcMap = {"qaProcessIfCosTcMap",
                                       storeMaps,
                                       QOS_DBG_TEXT("Received cos tc mutation update for interface %s"),
                                       QOS_ERR_TEXT("Failed to find interface %s for cos map update"),
                                       {qaOperation<QOS_COSTCMAP_MSG>,
                                        {QOS_ERR_TEXT("NULL CoS TC Mutation IOCTL handler for chip %d")},
                                        QOS_MSG_REFUSED,
                                        {QOS_ERR_TEXT("Failed to set cos tc mutation for interface %s, error = %d")},
                                        {QOS_INF_TEXT("Set cos tc mutation for interface %s")}},
                                       followMap};
