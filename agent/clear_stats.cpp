// SPDX-License-Identifier: Apache-2.0
// The walk over the node's chips, and what goes ahead of it.
#include "agent/clear_stats.h"

#include "agent/drop_monitor.h"
#include "agent/model/clear_walk.h"
#include "agent/operation.h"
#include "agent/policer_stats.h"
#include "inventory/interfaces.h"
#include "inventory/slots.h"

namespace {

enum class debugCounters_t : bool { Left, Cleared };

constexpr qaCall_t CLEAR = {qaOperation<QOS_CLEAR_STATS_MSG>,
                            qaLine_t<>{QOS_ERR_TEXT("NULL IOCTL handler for clear stats message")},
                            QOS_MSG_UNSERVED,
                            qaLine_t<qaChipIfindex, qaRc>{QOS_ERR_TEXT("Failed to clear stats for chip %x, rc: %d")},
                            qaLine_t<qaChipIfindex>{QOS_INF_TEXT("Cleared stats for chip %x")},
                            qaStatus_t::Stored};
// What is said of an interface stands behind the clear of its monitor.
constexpr qaCall_t CLEAR_INTERFACE = {CLEAR.operation, CLEAR.null_entry, CLEAR.null_answer,
                                      qaNoLine_t{},    qaNoLine_t{},     qaStatus_t::Stored};
// Without a say in the status.
constexpr auto CLEAR_DEBUG =
    qaOptional(qaOperation<QOS_CLEAR_DBG_STATS>, qaNoLine_t{},
               qaLine_t<qaChipIfindex, qaRc>{QOS_ERR_TEXT("Failed to clear dbg stats for chip %x, rc: %d")},
               qaLine_t<qaChipIfindex>{QOS_INF_TEXT("Cleared dbg stats for chip %x")});

// A chip that fails does not stop the walk, a chip type without the operation does.
qosMsgStatus_t clearChips(qosWhere_t where, qosClearStatsMsg_t *body, debugCounters_t debug)
{
    qaCalled_t called = {true, QOS_MSG_DONE};
    for (const qosChip_t *chip = qosFirstOwnChip(); chip; chip = tailqNext<&qosChip_t::slot_link>(chip)) {
        if (qaEntry(chip, CLEAR.operation))
            qaClearWalkEnter(body, chip);
        called = qaRun(CLEAR, {where, chip}, body);
        if (!called.made)
            break;
        if (debug == debugCounters_t::Cleared)
            (void)qaRun(CLEAR_DEBUG, {where, chip}, body); // optional, and a failure has its line
        qaClearWalkLeave();
    }
    return called.rc;
}

qosMsgStatus_t clearInterface(qosWhere_t where, qosClearStatsMsg_t *body)
{
    const uint32_t ifindex = body->ifindex;
    const qosIf_t *interface = qosLookupIfEntry(ifindex);
    if (!interface) {
        QOS_ERR_AT(where, "Unable to find interface with ifindex %x", ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const auto [made, rc] = qaRun(CLEAR_INTERFACE, {where, interface->chip}, body);
    if (!made)
        return rc;
    qaProcessDropMonitorClearIfMsg(interface);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT(where, "Failed to clear stats for if: %s", interface->ifName);
    else
        QOS_INF_AT(where, "Cleared stats for if: %s", interface->ifName);
    return rc;
}

} // namespace

qosMsgStatus_t qaProcessClearStatsMsg(qosClearStatsMsg_t *body)
{
    QOS_FRAME();
    if (body->ifindex != QOS_ALL_CHIPS_IFINDEX)
        return clearInterface(__func__, body);
    qosPolStatsClrAllMsg_t policers = {};
    for (const int32_t bum : {0, 1}) {
        policers.is_bum_pol_stats_clr_req = bum;
        (void)qaProcessPolStatsClrAll(&policers); // always 0
    }
    (void)qaProcessDropMonitorClearAllMsg(body); // always 0
    return clearChips(__func__, body, debugCounters_t::Cleared);
}

qosMsgStatus_t qaProcessClearRedIntfStatsMsg(qosClearStatsMsg_t *body)
{
    QOS_FRAME();
    return clearChips(__func__, body, debugCounters_t::Left);
}
