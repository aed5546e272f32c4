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
    memcpy(interface.l2_pri.cos_map, body.cos_map, sizeof interface.l2_pri.cos_map);
    memcpy(interface.l2_pri.tc_map, body.tc_map, sizeof interface.l2_pri.tc_map);
}

void storeTrust(qosIf_t &interface, const qosL2PriMsg_t &body)
{
    interface.l2_pri.cos_trust = body.cos_trust;
    storeMaps(interface, body);
}

void storeDefault(qosIf_t &interface, const qosL2PriMsg_t &body)
{
    interface.l2_pri.def_cos = body.def_cos;
    interface.l2_pri.def_tc = body.def_tc;
    storeMaps(interface, body);
}

using row_t = qaPriRow_t<qosL2PriMsg_t>;

constexpr row_t COS_TRUST = {"qaProcessIfCosTrust",
                             QOS_COSTRUST_MSG,
                             storeTrust,
                             QOS_DBG_TEXT("Received cos trust update for interface %s"),
                             QOS_ERR_TEXT("Failed to find interface %s for cos trust update"),
                             QOS_ERR_TEXT("NULL CoS Trust IOCTL handler for chip %d"),
                             QOS_ERR_TEXT("Failed to set cos trust for interface %s, error = %d"),
                             QOS_INF_TEXT("Set cos trust for interface %s")};

constexpr row_t DEF_COS = {"qaProcessIfDefCos",
                           QOS_DEFCOS_MSG,
                           storeDefault,
                           QOS_DBG_TEXT("Received default cos update for interface %s"),
                           QOS_ERR_TEXT("Failed to find interface %s for default cos update"),
                           QOS_ERR_TEXT("NULL Default CoS IOCTL handler for chip %d"),
                           QOS_ERR_TEXT("Failed to set def cos for interface %s, error = %d"),
                           QOS_INF_TEXT("Set default cos for interface %s")};

constexpr row_t COS_MAP = {"qaProcessIfCosMap",
                           QOS_COSMAP_MSG,
                           storeMaps,
                           QOS_DBG_TEXT("Received cos mutation update for interface %s"),
                           QOS_ERR_TEXT("Failed to find interface %s for cos map update"),
                           QOS_ERR_TEXT("NULL CoS Mutation IOCTL handler for chip %d"),
                           QOS_ERR_TEXT("Failed to set cos mutation for interface %s, error = %d"),
                           QOS_INF_TEXT("Set cos mutation for interface %s")};

constexpr row_t COS_TC_MAP = {"qaProcessIfCosTcMap",
                              QOS_COSTCMAP_MSG,
                              storeMaps,
                              QOS_DBG_TEXT("Received cos tc mutation update for interface %s"),
                              QOS_ERR_TEXT("Failed to find interface %s for cos map update"),
                              QOS_ERR_TEXT("NULL CoS TC Mutation IOCTL handler for chip %d"),
                              QOS_ERR_TEXT("Failed to set cos tc mutation for interface %s, error = %d"),
                              QOS_INF_TEXT("Set cos tc mutation for interface %s")};

// The traffic class of the default CoS follows the map, so a changed map may bring a changed default along.
uint32_t handleMap(const row_t &row, qosL2PriMsg_t *body)
{
    const qaPriOutcome_t outcome = qaPriHandle(row, body);
    qosIf_t *interface = outcome.interface;
    if (!interface || interface->l2_pri.def_tc == body->def_tc)
        return outcome.rc;
    interface->l2_pri.def_tc = body->def_tc;
    const qaIoctl_t entry = qaIoctl(interface->chip, QOS_DEFCOS_MSG);
    if (!entry) {
        qosTrace(row.function, DEF_COS.null_entry, interface->chip->chip_id);
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    const uint32_t joined = outcome.rc | entry(body);
    qaPriTraceResult(DEF_COS, row.function, qosNameOf(body->ifName).text, joined);
    return joined;
}

// With pause sending on, the wire-to-queue map follows the default CoS. The body's status stays the first step's.
uint32_t followPause(const qosIf_t *interface, const qosL2PriMsg_t *body, uint32_t rc)
{
    const qaIoctl_t entry = qaIoctl(interface->chip, QOS_W2QPRI_MSG);
    if (interface->ccb.pause.tx != 1 || !entry)
        return rc;
    const qosName_t name = qosNameOf(body->ifName);
    qosCcbMsg_t w2q = {};
    w2q.ifindex = body->ifIndex;
    memcpy(w2q.tc_map, body->tc_map, sizeof w2q.tc_map);
    QOS_INF_AT(DEF_COS.function, "set w2qpri map after def cos config for port %s", name.text);
    rc = entry(&w2q);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT(DEF_COS.function, "Failed to set w2qpri map for interface %s, error = %d", name.text, rc);
    else
        QOS_INF_AT(DEF_COS.function, "Set w2qpri map for interface %s", name.text);
    return rc;
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

uint32_t qaProcessIfCosTrust(qosL2PriMsg_t *body)
{
    QOS_FRAME();
    return qaPriHandle(COS_TRUST, body).rc;
}

uint32_t qaProcessIfDefCos(qosL2PriMsg_t *body)
{
    QOS_FRAME();
    const qaPriOutcome_t outcome = qaPriHandle(DEF_COS, body);
    return outcome.interface ? followPause(outcome.interface, body, outcome.rc) : outcome.rc;
}

uint32_t qaProcessIfCosMap(qosL2PriMsg_t *body)
{
    QOS_FRAME();
    return handleMap(COS_MAP, body);
}

uint32_t qaProcessIfCosTcMap(qosL2PriMsg_t *body)
{
    QOS_FRAME();
    return handleMap(COS_TC_MAP, body);
}
