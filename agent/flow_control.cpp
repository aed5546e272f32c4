// The pause, PFC and wire-to-queue handlers.
#include "agent/flow_control.h"

#include "agent/ccb.h"
#include "core/handler.h"
#include "core/trace.h"
#include "platform/qa_ioctl.h"

namespace {

constexpr qosText_t<const char *> UNKNOWN_FOR_PAUSE = QOS_ERR_TEXT("Failed to find interface %s for pause update");
constexpr qosText_t<const char *> UNKNOWN_FOR_PFC = QOS_ERR_TEXT("Failed to find interface %s for default cos update");

void setFlag(uint32_t &flags, uint32_t flag, bool on)
{
    flags = on ? flags | flag : flags & ~flag;
}

// The two steps ahead of the setting itself: thresholds, then the wire-to-queue map.
struct ahead_t {
    qosText_t<const char *> thresholds;
    qosText_t<const char *> map;
};

void programAhead(qosWhere_t where, const ahead_t &texts, const qosIf_t *interface, const char *name, qosCcbMsg_t *body)
{
    if (const qaIoctl_t entry = qaIoctl(interface->chip, QOS_PRI_TAILDROP_MSG)) {
        qosTrace(where, texts.thresholds, name);
        const uint32_t rc = entry(body);
        if (rc != QOS_MSG_DONE)
            QOS_ERR_AT(where, "Failed to set pri tail drop threshold for port %s, rc: %d", name, rc);
        else
            QOS_ERR_AT(where, "successfully set tail drop thresholds for port %s", name);
    }
    if (const qaIoctl_t entry = qaIoctl(interface->chip, QOS_W2QPRI_MSG)) {
        qosTrace(where, texts.map, name);
        const uint32_t rc = entry(body);
        if (rc != QOS_MSG_DONE)
            QOS_ERR_AT(where, "Failed to set w2qpri map for port %s, rc: %d", name, rc);
        else
            QOS_INF_AT(where, "successfully set w2qpri map for port %s", name);
    }
}

constexpr ahead_t AHEAD_OF_PAUSE = {QOS_INF_TEXT("set tail drop thresholds after pause config for port %s"),
                                    QOS_INF_TEXT("set w2qpri map after pause config for port %s")};
constexpr ahead_t AHEAD_OF_PFC = {QOS_INF_TEXT("set tail drop thresholds after pfc config for port %s"),
                                  QOS_INF_TEXT("set w2qpri map after pfc config for port %s")};

// Stores the sixteen switches and gives whether any is on.
bool storePfc(qosIfCcbInfo_t &ccb, const qosCcbMsg_t *body)
{
    bool any = false;
    for (unsigned priority = 0; priority < QOS_NUM_COS; ++priority) {
        ccb.pfc[priority].rx = body->pfc_rx[priority];
        ccb.pfc[priority].tx = body->pfc_tx[priority];
        any = any || ccb.pfc[priority].rx || ccb.pfc[priority].tx;
    }
    return any;
}

} // namespace

uint32_t qaProcessPause(qosCcbMsg_t *body)
{
    QOS_FRAME();
    const qosName_t name = qosNameOf(body->ifName);
    QOS_DBG("Received pause update for interface %s", name.text);
    qosIf_t *interface = qaCcbFindPort(__func__, body, UNKNOWN_FOR_PAUSE);
    if (!interface)
        return QOS_MSG_REFUSED;
    qosIfCcbInfo_t &ccb = interface->ccb;
    ccb.pause.rx = body->pause_rx;
    ccb.pause.tx = body->pause_tx;
    setFlag(ccb.ccbFlags, QOS_CCB_PAUSE, ccb.pause.rx || ccb.pause.tx);
    programAhead(__func__, AHEAD_OF_PAUSE, interface, name.text, body);
    const qaIoctl_t entry = qaIoctl(interface->chip, QOS_PAUSE_MSG);
    if (!entry) {
        QOS_ERR("NULL PAUSE IOCTL handler for chip %d", interface->chip->chip_id);
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set pause for interface %s, error = %d", name.text, rc);
    else
        QOS_INF("Set pause (rx: %d, tx: %d) for interface %s", ccb.pause.rx, ccb.pause.tx, name.text);
    return rc;
}

uint32_t qaProcessPfc(qosCcbMsg_t *body)
{
    QOS_FRAME();
    const qosName_t name = qosNameOf(body->ifName);
    QOS_DBG("Received pfc update for interface %s", name.text);
    qosIf_t *interface = qaCcbFindPort(__func__, body, UNKNOWN_FOR_PFC);
    if (!interface)
        return QOS_MSG_REFUSED;
    const auto on = [body](unsigned priority) { return body->pfc_rx[priority] != 0 ? 1 : 0; };
    QOS_DBG("pfc map: (%d %d %d %d %d %d %d %d)", on(0), on(1), on(2), on(3), on(4), on(5), on(6), on(7));
    setFlag(interface->ccb.ccbFlags, QOS_CCB_PFC, storePfc(interface->ccb, body));
    programAhead(__func__, AHEAD_OF_PFC, interface, name.text, body);
    const qaIoctl_t entry = qaIoctl(interface->chip, QOS_PFC_MSG);
    if (!entry) {
        QOS_ERR("NULL PFC IOCTL handler for chip %d", interface->chip->chip_id);
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set pfc for interface %s, error = %d", name.text, rc);
    else
        QOS_INF("Set pfc for interface %s", name.text);
    return rc;
}

uint32_t qaProcessW2qPri(qosCcbMsg_t *body)
{
    QOS_FRAME();
    const qosName_t name = qosNameOf(body->ifName);
    QOS_DBG("Received w2qpri update for interface %s", name.text);
    const qosIf_t *interface = qaCcbFindPort(__func__, body, UNKNOWN_FOR_PAUSE);
    if (!interface)
        return QOS_MSG_REFUSED;
    const qaIoctl_t entry = qaIoctl(interface->chip, QOS_W2QPRI_MSG);
    if (!entry) {
        QOS_ERR("NULL W2QPRIO IOCTL handler for chip %d", interface->chip->chip_id);
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to set w2qprio for interface %s, error = %d", name.text, rc);
    else
        QOS_INF("Set w2qprio map for interface %s", name.text);
    return rc;
}
