// SPDX-License-Identifier: Apache-2.0
// Hooks, watch list and timer of the drop monitor.
#include "agent/drop_monitor.h"

#include "agent/chip_target.h"
#include "agent/drop_poll.h"
#include "agent/monitor.h"
#include "core/handler.h"
#include "core/memory.h"
#include "core/module.h"
#include "lib/linklist.h"
#include "lib/views.h"

qaDropMonitorContext_t dropMonitorContext;

namespace {

constexpr uint8_t POLL_SECONDS = 60;

enum : uint8_t { CMD_ADD = 1, CMD_DELETE = 2 };

constexpr qosText_t<const char *> UNKNOWN = QOS_ERR_TEXT("Failed to find interface %s for drop monitor config");

void traceCount(qosWhere_t where)
{
    QOS_INF_AT(where, " Drop monitor count :%d", dropMonitorContext.monitor_cnt);
}

void clearSaved(qaDropMonitorInfo_t *info)
{
    qaDropMonitorInfo_t &saved = qosEdit(*info);
    saved.redStats.green_drop = 0;
    saved.redStats.red_drop = 0;
    saved.redStats.yellow_drop = 0;
    saved.redStats.is_red_if_drop = 0;
    saved.tdStats.td_drop = 0;
    saved.tdStats.is_td_if_drop = 0;
}

// Clears the watched entries of one port, or of all for null.
void clearEntries(const qosChip_t *chip, const qosIf_t *interface)
{
    for (qaDropMonitorInfo_t &info : listView<qaDropMonitorInfo_t>(chip ? chip->drop_monitor_list : nullptr))
        if (info.monitor_state == 1 && (!interface || info.ifindex == interface->ifIndex))
            clearSaved(&info);
}

// Takes a port off its chip's list: 0, 1 or 24.
qosMsgStatus_t stopWatching(const qosChip_t *chip, uint32_t ifindex)
{
    qaDropMonitorInfo_t key = {};
    key.ifindex = ifindex;
    tnx_listnode_t *node = list_lookup_data_node(chip->drop_monitor_list, &key);
    if (!node) {
        QOS_ERR_AT("qaProcessDropMonitorDel", "Failed to get drop_monitor_info");
        return QOS_MSG_NOT_FOUND;
    }
    qaDropMonitorStop(listPayload<const qaDropMonitorInfo_t>(node));
    list_delete_node(chip->drop_monitor_list, node);
    return QOS_MSG_DONE;
}

} // namespace

void qaRegisterDropMonitorModule()
{
    QOS_FRAME();
    qosModule_t &record = qosModuleRecord(QOS_MOD_DROP_MONITOR, "QOS DROP MONITOR");
    record.init = qaDropMonitorInit;
    record.chip_up = qaDropMonitorChipUp;
    record.chip_down = qaDropMonitorChipDown;
    record.ha_register = qaDropMonitorHaRegister;
    (void)qosVssStageRegister(QOS_MOD_DROP_MONITOR, QOS_STAGE_ACTIVE, qaDropMonitorVssActive, 0);
}

int qaDropMonitorInit()
{
    QOS_FRAME();
    QOS_INF("Drop monitor module init");
    dropMonitorContext.monitor_cnt = 0;
    dropMonitorContext.timer = nullptr;
    dropMonitorContext.monitor_inteval = POLL_SECONDS;
    dropMonitorContext.monitor_callback = qaDropMonitor;
    return QOS_OK;
}

int qaDropMonitorChipUp(qosChip_t *chip)
{
    if (!chip) {
        QOS_ERR("Invalid chip is recieved");
        return QOS_FAILED;
    }
    qosEdit(chip->drop_monitor_list) =
        list_create_ha_dbg(qos_velmar_state.ha, 0, qaDropMonitorCmpData, qaDropMonitorFreeData, "qaDropMonitorCmpData",
                           "qaDropMonitorFreeData", "drop_monitor_list");
    if (chip->drop_monitor_list)
        return QOS_OK;
    QOS_ERR("Failed to create list for drop monitor list");
    return QOS_NO_MEMORY;
}

void qaDropMonitorChipDown(qosChip_t *chip)
{
    list_delete(chip->drop_monitor_list);
    qosEdit(chip->drop_monitor_list) = nullptr;
}

void qaDropMonitorHaRegister()
{
    const ha_hndl_t ha = qos_velmar_state.ha;
    int rc = ha_add_function(ha, "qaDropMonitor", qaDropMonitor);
    if (rc != 0)
        QOS_ERR("Unable to register qaDropMonitor with THA, rc:%d", rc);
    qaRegisterRecord<qaDropMonitorContext_t>(__func__);
    rc = lib_tha_linklist_reg(ha, qaDropMonitorCmpData, "qaDropMonitorCmpData", qaDropMonitorFreeData,
                              "qaDropMonitorFreeData");
    if (rc != 0)
        QOS_ERR("Unable to register functions %s and %s  with THA, rc: %d", "qaDropMonitorCmpData",
                "qaDropMonitorFreeData", rc);
    rc = ha_add_object(ha, "global_qos_drop_monitor_ctxt", &dropMonitorContext, sizeof dropMonitorContext,
                       "qaDropMonitorContext_t", 0, 0);
    if (rc != 0)
        QOS_ERR("Unable to register dropMonitorContext with THA, rc:%d", rc);
    qaRegisterRecord<qosTdMonitorStatsIfMsg_t>(__func__);
    qaRegisterRecord<qosRedMonitorStatsIfMsg_t>(__func__);
    qaRegisterRecord<qaDropMonitorInfo_t>(__func__);
}

int qaDropMonitorVssActive(uint32_t, uint32_t)
{
    qaDropMonitorVssActiveReStartPollTimer();
    return QOS_OK;
}

void qaDropMonitorVssActiveReStartPollTimer()
{
    QOS_INF("Restart Drop monitoring");
    if (dropMonitorContext.monitor_cnt != 0)
        qaDropMonitorSchedulePeriodicRoutine(1);
}

int qaDropMonitorCmpData(const void *a, const void *b)
{
    return static_cast<int32_t>(static_cast<const qaDropMonitorInfo_t *>(a)->ifindex -
                                static_cast<const qaDropMonitorInfo_t *>(b)->ifindex);
}

void qaDropMonitorFreeData(void *record)
{
    qosFree(QOS_MOD_DROP_MONITOR, QOS_MEM_DROP_MONITOR, &record, sizeof(qaDropMonitorInfo_t));
}

void qaDropMonitorStart(qaDropMonitorInfo_t *info, uint32_t start)
{
    if (start == 0)
        return;
    QOS_INF("Starting Drop monitoring");
    qosEdit(info->monitor_state) = 1;
    qaDropMonitorIncrementCnt();
}

void qaDropMonitorStop(const qaDropMonitorInfo_t *info)
{
    if (info->monitor_state != 1)
        return;
    QOS_INF("Stopping Drop monitoring");
    qaDropMonitorDecrementCnt();
}

void qaDropMonitorIncrementCnt()
{
    if (dropMonitorContext.monitor_cnt == 0)
        qaDropMonitorSchedulePeriodicRoutine(1);
    ++dropMonitorContext.monitor_cnt;
    traceCount(__func__);
}

void qaDropMonitorDecrementCnt()
{
    if (--dropMonitorContext.monitor_cnt == 0)
        qaDropMonitorSchedulePeriodicRoutine(0);
    traceCount(__func__);
}

void qaDropMonitorSchedulePeriodicRoutine(uint32_t start)
{
    if (start == 1)
        QOS_INF("Starting drop monitor Polling timer");
    qaMonitorTimer(dropMonitorContext.timer, start, qaDropMonitorPeriodicRoutine, dropMonitorContext.monitor_inteval);
}

int qaDropMonitorPeriodicRoutine(thread *)
{
    dropMonitorContext.timer = nullptr;
    if (dropMonitorContext.monitor_callback)
        dropMonitorContext.monitor_callback();
    if (dropMonitorContext.monitor_cnt != 0)
        qaDropMonitorSchedulePeriodicRoutine(1);
    return 0;
}

void qaDropMonitor()
{
    QOS_INF("Traversing Chip AVL");
    for (const qosChip_t &chip : avlView<const qosChip_t>(qosChipTable))
        qaDropMonitorOnChip(&chip);
}

qosMsgStatus_t qaProcessCfgDropMonitorMsg(qaDropMonitorCfgMsg_t *body)
{
    QOS_FRAME();
    switch (body->cmd) {
    case CMD_ADD:
        return qaProcessDropMonitorAdd(body);
    case CMD_DELETE:
        return qaProcessDropMonitorDel(body);
    default:
        return QOS_MSG_DONE;
    }
}

// The watch counts before the record is in the list, and a list that refuses it does not take that back.
qosMsgStatus_t qaProcessDropMonitorAdd(qaDropMonitorCfgMsg_t *body)
{
    const qosName_t name = qosNameOf(body->ifName);
    QOS_DBG("Received drop monitor config request for interface %s", name.text);
    const qosChip_t *chip = qaTargetChip(__func__, body, UNKNOWN);
    if (!chip)
        return QOS_MSG_REFUSED;
    auto *info = qosMallocRecord<qaDropMonitorInfo_t>(QOS_MOD_DROP_MONITOR, QOS_MEM_DROP_MONITOR);
    if (!info) {
        QOS_ERR("Malloc failed for drop monitor info");
        return qosAnswer(body, QOS_MSG_NO_MEMORY);
    }
    qosEdit(info->ifindex) = body->ifindex;
    qaDropMonitorStart(info, 1);
    if (!listnode_add_sort(chip->drop_monitor_list, info)) {
        QOS_ERR("Failed to add interface to drop monitor list");
        qaDropMonitorFreeData(info);
        return qosAnswer(body, QOS_MSG_NO_MEMORY);
    }
    QOS_INF("Processed drop config request %s", name.text);
    return qosAnswer(body, QOS_MSG_DONE);
}

qosMsgStatus_t qaProcessDropMonitorDel(qaDropMonitorCfgMsg_t *body)
{
    const qosName_t name = qosNameOf(body->ifName);
    const qosChip_t *chip = qaTargetChip(__func__, body, UNKNOWN);
    const qosMsgStatus_t rc = chip ? stopWatching(chip, body->ifindex) : QOS_MSG_REFUSED;
    if (rc != QOS_MSG_DONE) {
        QOS_ERR("Failed to process drop monitor config for interface %s, error = %d", name.text, rc);
        return rc;
    }
    QOS_INF("Processed drop monitor config request %s", name.text);
    return qosAnswer(body, QOS_MSG_DONE);
}

void qaProcessDropMonitorClearIfMsg(const qosIf_t *interface)
{
    clearEntries(interface->chip, interface);
}

qosMsgStatus_t qaProcessDropMonitorClearAllMsg(qosClearStatsMsg_t *)
{
    for (const qosChip_t &chip : avlView<const qosChip_t>(qosChipTable))
        qaDropMonitorClearAllOnChip(&chip);
    return QOS_MSG_DONE;
}

void qaDropMonitorClearAllOnChip(const qosChip_t *chip)
{
    clearEntries(chip, nullptr);
}
