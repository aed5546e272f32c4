// The walk over the node's chips, and what goes ahead of it.
#include "agent/clear_stats.h"

#include "agent/drop_monitor.h"
#include "agent/model/clear_walk.h"
#include "agent/policer_stats.h"
#include "core/handler.h"
#include "core/trace.h"
#include "inventory/interfaces.h"
#include "inventory/slots.h"
#include "platform/qa_ioctl.h"

namespace {

enum class debugCounters_t : bool { Left, Cleared };

uint32_t nullEntry(qosWhere_t where, qosClearStatsMsg_t *body)
{
    QOS_ERR_AT(where, "NULL IOCTL handler for clear stats message");
    return qosAnswer(body, QOS_MSG_UNSERVED);
}

// Optional, and without a say in the status.
void clearDebug(qosWhere_t where, const qosChip_t *chip, qosClearStatsMsg_t *body)
{
    const qaIoctl_t entry = qaIoctl(chip, QOS_CLEAR_DBG_STATS);
    if (!entry)
        return;
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT(where, "Failed to clear dbg stats for chip %x, rc: %d", chip->chip_ifindex, rc);
    else
        QOS_INF_AT(where, "Cleared dbg stats for chip %x", chip->chip_ifindex);
}

// A chip that fails does not stop the walk, a chip type without the operation does.
uint32_t clearChips(qosWhere_t where, qosClearStatsMsg_t *body, debugCounters_t debug)
{
    uint32_t rc = QOS_MSG_DONE;
    for (const qosChip_t *chip = qosFirstOwnChip(); chip; chip = tailqNext<&qosChip_t::slot_link>(chip)) {
        const qaIoctl_t entry = qaIoctl(chip, QOS_CLEAR_STATS_MSG);
        if (!entry)
            return nullEntry(where, body);
        qaClearWalkEnter(body, chip);
        rc = entry(body);
        body->status = static_cast<int32_t>(rc);
        if (rc != QOS_MSG_DONE)
            QOS_ERR_AT(where, "Failed to clear stats for chip %x, rc: %d", chip->chip_ifindex, rc);
        else
            QOS_INF_AT(where, "Cleared stats for chip %x", chip->chip_ifindex);
        if (debug == debugCounters_t::Cleared)
            clearDebug(where, chip, body);
        qaClearWalkLeave();
    }
    return rc;
}

uint32_t clearInterface(qosWhere_t where, qosClearStatsMsg_t *body)
{
    const uint32_t ifindex = body->ifindex;
    const qosIf_t *interface = qosLookupIfEntry(ifindex);
    if (!interface) {
        QOS_ERR_AT(where, "Unable to find interface with ifindex %x", ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const qaIoctl_t entry = interface->chip ? qaIoctl(interface->chip, QOS_CLEAR_STATS_MSG) : nullptr;
    if (!entry)
        return nullEntry(where, body);
    const uint32_t rc = entry(body);
    body->status = static_cast<int32_t>(rc);
    qaProcessDropMonitorClearIfMsg(interface);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT(where, "Failed to clear stats for if: %s", interface->ifName);
    else
        QOS_INF_AT(where, "Cleared stats for if: %s", interface->ifName);
    return rc;
}

} // namespace

uint32_t qaProcessClearStatsMsg(qosClearStatsMsg_t *body)
{
    QOS_FRAME();
    if (body->ifindex != QOS_ALL_CHIPS_IFINDEX)
        return clearInterface(__func__, body);
    qosPolStatsClrAllMsg_t policers = {};
    for (const int32_t bum : {0, 1}) {
        policers.is_bum_pol_stats_clr_req = bum;
        qaProcessPolStatsClrAll(&policers);
    }
    qaProcessDropMonitorClearAllMsg(body);
    return clearChips(__func__, body, debugCounters_t::Cleared);
}

uint32_t qaProcessClearRedIntfStatsMsg(qosClearStatsMsg_t *body)
{
    QOS_FRAME();
    return clearChips(__func__, body, debugCounters_t::Left);
}
