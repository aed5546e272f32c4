// SPDX-License-Identifier: Apache-2.0
// Poll, transitions and timer of the BUM monitor.
#include "agent/bum_monitor.h"

#include <cstdlib>

#include "agent/dispatch.h"
#include "agent/monitor.h"
#include "agent/policer_stats.h"
#include "core/handler.h"
#include "inventory/chips.h"
#include "inventory/interfaces.h"
#include "lib/views.h"

qaBumContext_t bumContext;

namespace {

constexpr uint8_t POLL_SECONDS = 5;
constexpr uint32_t MOST_RECORDS = UINT16_MAX; // of one statistics body

bool isMonitored(const qaPolPolicerInfo_t &record)
{
    return record.bum_info.monitor_bum_policer == 1;
}

// The policer of a node, or null if it is not monitored.
qaPolPolicerInfo_t *monitored(const tnx_listnode_t *node)
{
    auto *record = listPayload<qaPolPolicerInfo_t>(node);
    return isMonitored(*record) ? record : nullptr;
}

uint32_t countMonitored(const tnx_listnode_t *node)
{
    uint32_t count = 0;
    for (; node && count < MOST_RECORDS; node = node->next)
        if (monitored(node))
            ++count;
    return count;
}

// Any other value than the last is a violation, a smaller one too.
void compare(qaPolPolicerInfo_t *record, uint64_t counter)
{
    qaBumInfo_t &info = record->bum_info;
    const int32_t state = counter != info.violation_cntr ? 1 : 0;
    if (counter != info.violation_cntr)
        qosEdit(info.violation_cntr) = counter;
    if (info.state == state)
        return;
    qosEdit(info.state) = state;
    (void)qaPolSendBumStateChange(record); // the state stays; the line is enough
}

// Reads the next monitored policers from `node` on, as many as one body names; gives the node behind them. What a
// failed read leaves are counters of 0.
const tnx_listnode_t *poll(const qosChip_t *chip, const tnx_listnode_t *node, uint32_t count)
{
    const size_t size = sizeof(qosPolStatsGetMsg_t) + count * sizeof(qosPolStatsRec_t);
    auto *body = static_cast<qosPolStatsGetMsg_t *>(calloc(1, size));
    if (!body) {
        QOS_ERR_AT("qaBumMonitorBumPolicersOnChip", "Mem alloc failed");
        return nullptr;
    }
    body->chip_ifindex = chip->chip_ifindex;
    body->num_records = static_cast<uint16_t>(count);
    const tnx_listnode_t *first = node;
    for (uint32_t filled = 0; filled < count; node = node->next)
        if (const qaPolPolicerInfo_t *record = monitored(node)) {
            body->records[filled].ifindex = record->ifindex;
            body->records[filled++].policer_id = record->policer_id;
        }
    (void)qaProcessPolStatsGetMsg(body);
    uint32_t taken = 0;
    for (const tnx_listnode_t *at = first; at != node; at = at->next)
        if (qaPolPolicerInfo_t *record = monitored(at))
            compare(record, body->records[taken++].counter[2]);
    free(body);
    return node;
}

} // namespace

void qaBumInit()
{
    bumContext.monitor_policer_cnt = 0;
    bumContext.timer = nullptr;
    bumContext.monitorting_inteval = POLL_SECONDS;
    bumContext.bum_callback = qaBumMonitor;
}

// Two of the texts name a routine of the manager's.
void qaBumHaRegister()
{
    const ha_hndl_t ha = qos_velmar_state.ha;
    int rc = ha_add_function(ha, "qaBumMonitor", qaBumMonitor);
    if (rc != 0)
        QOS_ERR("Unable to register qmPolInstallHandler with THA, rc:%d", rc);
    else
        QOS_INF("Successfully registered qmPolInstallHandler with tha");
    qaRegisterRecord<qaBumContext_t>(__func__);
    qaRegisterRecord<qaBumInfo_t>(__func__);
    rc = ha_add_object(ha, "bumContext", &bumContext, sizeof bumContext, "qaBumContext_t", 0, 0);
    if (rc != 0)
        QOS_ERR("Unable to register bumContext with THA, rc:%d", rc);
}

void qaBumVssActiveReStartPollTimer()
{
    QOS_INF("Restart bum monitoring");
    if (bumContext.monitor_policer_cnt != 0)
        qaBumSchedulePeriodicRoutine(1);
}

void qaPolAddBumPolicer(qaPolPolicerInfo_t *record, int32_t poll)
{
    if (poll == 0)
        return;
    qosEdit(record->bum_info.monitor_bum_policer) = 1;
    qaBumIncrementMonitorPolicerCnt();
}

void qaPolRemBumPolicer(const qaPolPolicerInfo_t *record)
{
    if (record->bum_info.monitor_bum_policer == 1)
        qaBumDecrementMonitorPolicerCnt();
}

void qaBumIncrementMonitorPolicerCnt()
{
    if (bumContext.monitor_policer_cnt == 0)
        qaBumSchedulePeriodicRoutine(1);
    ++bumContext.monitor_policer_cnt;
}

void qaBumDecrementMonitorPolicerCnt()
{
    if (--bumContext.monitor_policer_cnt == 0)
        qaBumSchedulePeriodicRoutine(0);
}

void qaBumSchedulePeriodicRoutine(uint32_t start)
{
    qaMonitorTimer(bumContext.timer, start, qaBumPeriodicRoutine, bumContext.monitorting_inteval);
}

int qaBumPeriodicRoutine(thread *)
{
    bumContext.timer = nullptr;
    if (bumContext.bum_callback)
        bumContext.bum_callback();
    if (bumContext.monitor_policer_cnt != 0)
        qaBumSchedulePeriodicRoutine(1);
    return 0;
}

void qaBumMonitor()
{
    for (qosChip_t &chip : avlView<qosChip_t>(qosChipTable))
        qaBumMonitorBumPolicersOnChip(&chip);
}

void qaBumMonitorBumPolicersOnChip(qosChip_t *chip)
{
    const tnx_listnode_t *node = listFirst(chip->polCfg.bum_policer_list);
    while (const uint32_t count = countMonitored(node))
        node = poll(chip, node, count);
}

qosMsgStatus_t qaPolSendBumStateChange(const qaPolPolicerInfo_t *record)
{
    const qosIf_t *interface = qosLookupIfEntry(record->ifindex);
    if (!interface) {
        QOS_ERR("Failed to find interface 0x%x for ifindex", record->ifindex);
        return QOS_MSG_NOT_FOUND;
    }
    qosPolBumStateNotifyMsg_t body;
    body.ifindex = record->ifindex;
    body.pol_id = record->policer_id;
    body.dir = record->dir;
    body.bum_mon_state = record->bum_info.state;
    const qosMsgStatus_t rc = qaSendToMgr(QOS_POL_BUM_STATE_NOTIFY_MSG, &body, sizeof body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to send bum mon state change for interface %s", interface->ifName);
    return rc;
}

// The counters stay: the next poll that sees one move reports the violation anew.
qosMsgStatus_t qaProcessBumResetState(qosBumResetStateMsg_t *body)
{
    QOS_FRAME();
    const qosName_t name = qosNameOf(body->ifName);
    const uint32_t ifindex = body->ifindex;
    const qosIf_t *interface = qosLookupIfEntry(ifindex);
    if (!interface || !interface->chip) {
        if (!interface)
            QOS_ERR("Failed to find interface %s for policer coonfig", name.text);
        else
            QOS_ERR("Failed to find chip for interface %s", name.text);
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    for (qaPolPolicerInfo_t &record : listView<qaPolPolicerInfo_t>(interface->chip->polCfg.bum_policer_list))
        if (isMonitored(record) && record.ifindex == ifindex)
            qosEdit(record.bum_info.state) = 0;
    return qosAnswer(body, QOS_MSG_DONE);
}
