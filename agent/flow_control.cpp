// SPDX-License-Identifier: Apache-2.0
// The pause, PFC and wire-to-queue handlers.
#include "agent/flow_control.h"

#include "agent/ccb.h"
#include "agent/operation.h"
#include "core/state.h"

namespace {

constexpr qosText_t<const char *> UNKNOWN_FOR_PAUSE = QOS_ERR_TEXT("Failed to find interface %s for pause update");
constexpr qosText_t<const char *> UNKNOWN_FOR_PFC = QOS_ERR_TEXT("Failed to find interface %s for default cos update");

void setFlag(uint32_t &flags, uint32_t flag, bool on)
{
    flags = on ? flags | flag : flags & ~flag;
}

using line_t = qaLine_t<qaName>;
using failed_t = qaLine_t<qaName, qaRc>;

// The two steps ahead of the setting itself: thresholds, then the wire-to-queue map.
using step_t = qaCall_t<qosCcbMsg_t, qaNoLine_t, failed_t, line_t, line_t>;

constexpr step_t thresholdsStep(line_t before)
{
    return qaOptional(qaOperation<QOS_PRI_TAILDROP_MSG>, before,
                      failed_t{QOS_ERR_TEXT("Failed to set pri tail drop threshold for port %s, rc: %d")},
                      line_t{QOS_ERR_TEXT("successfully set tail drop thresholds for port %s")});
}

constexpr step_t mapStep(line_t before)
{
    return qaOptional(qaOperation<QOS_W2QPRI_MSG>, before,
                      failed_t{QOS_ERR_TEXT("Failed to set w2qpri map for port %s, rc: %d")},
                      line_t{QOS_INF_TEXT("successfully set w2qpri map for port %s")});
}

constexpr step_t AHEAD_OF_PAUSE[] = {
    thresholdsStep({QOS_INF_TEXT("set tail drop thresholds after pause config for port %s")}),
    mapStep({QOS_INF_TEXT("set w2qpri map after pause config for port %s")})};
constexpr step_t AHEAD_OF_PFC[] = {
    thresholdsStep({QOS_INF_TEXT("set tail drop thresholds after pfc config for port %s")}),
    mapStep({QOS_INF_TEXT("set w2qpri map after pfc config for port %s")})};

constexpr qaCall_t PAUSE = {qaOperation<QOS_PAUSE_MSG>,
                            qaLine_t<qaChipId>{QOS_ERR_TEXT("NULL PAUSE IOCTL handler for chip %d")}, QOS_MSG_REFUSED,
                            failed_t{QOS_ERR_TEXT("Failed to set pause for interface %s, error = %d")}, qaNoLine_t{}};
constexpr qaCall_t PFC = {qaOperation<QOS_PFC_MSG>,
                          qaLine_t<qaChipId>{QOS_ERR_TEXT("NULL PFC IOCTL handler for chip %d")}, QOS_MSG_REFUSED,
                          failed_t{QOS_ERR_TEXT("Failed to set pfc for interface %s, error = %d")},
                          line_t{QOS_INF_TEXT("Set pfc for interface %s")}};
constexpr qaCall_t W2Q_MAP = {
    qaOperation<QOS_W2QPRI_MSG>, qaLine_t<qaChipId>{QOS_ERR_TEXT("NULL W2QPRIO IOCTL handler for chip %d")},
    QOS_MSG_REFUSED, failed_t{QOS_ERR_TEXT("Failed to set w2qprio for interface %s, error = %d")},
    line_t{QOS_INF_TEXT("Set w2qprio map for interface %s")}};

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

qosMsgStatus_t qaProcessPause(qosCcbMsg_t *body)
{
    QOS_FRAME();
    const qosName_t name = qosNameOf(body->ifName);
    QOS_DBG("Received pause update for interface %s", name.text);
    qosIf_t *interface = qaCcbFindPort(__func__, body, UNKNOWN_FOR_PAUSE);
    if (!interface)
        return QOS_MSG_REFUSED;
    qosIfCcbInfo_t &ccb = qosEdit(interface->ccb);
    ccb.pause.rx = body->pause_rx;
    ccb.pause.tx = body->pause_tx;
    setFlag(ccb.ccbFlags, QOS_CCB_PAUSE, ccb.pause.rx || ccb.pause.tx);
    const qaAbout_t about = {__func__, interface->chip, name.text};
    for (const step_t &step : AHEAD_OF_PAUSE)
        (void)qaRun(step, about, body); // a failure has its line, and the setting itself follows
    const qaCalled_t called = qaRun(PAUSE, about, body);
    if (called.made && called.rc == QOS_MSG_DONE)
        QOS_INF("Set pause (rx: %d, tx: %d) for interface %s", ccb.pause.rx, ccb.pause.tx, name.text);
    return called.rc;
}

qosMsgStatus_t qaProcessPfc(qosCcbMsg_t *body)
{
    QOS_FRAME();
    const qosName_t name = qosNameOf(body->ifName);
    QOS_DBG("Received pfc update for interface %s", name.text);
    qosIf_t *interface = qaCcbFindPort(__func__, body, UNKNOWN_FOR_PFC);
    if (!interface)
        return QOS_MSG_REFUSED;
    const auto on = [body](unsigned priority) { return body->pfc_rx[priority] != 0 ? 1 : 0; };
    QOS_DBG("pfc map: (%d %d %d %d %d %d %d %d)", on(0), on(1), on(2), on(3), on(4), on(5), on(6), on(7));
    qosIfCcbInfo_t &ccb = qosEdit(interface->ccb);
    setFlag(ccb.ccbFlags, QOS_CCB_PFC, storePfc(ccb, body));
    const qaAbout_t about = {__func__, interface->chip, name.text};
    for (const step_t &step : AHEAD_OF_PFC)
        (void)qaRun(step, about, body); // a failure has its line, and the setting itself follows
    return qaRun(PFC, about, body).rc;
}

qosMsgStatus_t qaProcessW2qPri(qosCcbMsg_t *body)
{
    QOS_FRAME();
    const qosName_t name = qosNameOf(body->ifName);
    QOS_DBG("Received w2qpri update for interface %s", name.text);
    const qosIf_t *interface = qaCcbFindPort(__func__, body, UNKNOWN_FOR_PAUSE);
    if (!interface)
        return QOS_MSG_REFUSED;
    return qaRun(W2Q_MAP, {__func__, interface->chip, name.text}, body).rc;
}
