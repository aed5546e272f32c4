// SPDX-License-Identifier: Apache-2.0
// Registration with the replicated store. A failure is traced and stops nothing.
#include "ha/register.h"

#include <iterator>

#include "agent/messages/catalogue.h"
#include "agent/messages/chip.h"
#include "agent/messages/congestion.h"
#include "agent/messages/drop_monitor.h"
#include "agent/messages/policer.h"
#include "agent/messages/statistics.h"
#include "core/state.h"
#include "core/text.h"
#include "core/trace.h"
#include "ha/fields.h"
#include "inventory/chips.h"
#include "inventory/interfaces.h"
#include "inventory/slots.h"
#include "lib/avl.h"
#include "lib/linklist.h"

const uint32_t qosVerTable[2] = {1, 1};

namespace {

void registerTreeFunction(avl_compare_t compare, const char *name)
{
    const int rc = lib_tha_avl_tree_reg(qos_velmar_state.ha, compare, name);
    if (rc != 0)
        QOS_ERR_AT("qos_ha_avl_register", "Unable to register function %s with THA, rc: %d", name, rc);
    else
        QOS_INF_AT("qos_ha_avl_register", "Successfully registered function %s with THA", name);
}

// Where the pointers of the store lead; all others are null as long as the agent runs.
constexpr const char *POLICER_COMPARE = "qaPolCmpData", *POLICER_RELEASE = "qaPolFreeData", *LIST = "tnx_list_t",
                     *TREE = "tnx_avl_tree_t", *POLICER = "qaPolPolicerInfo_t";
constexpr ha_link_t links[] = {
    {nullptr, "qosIfTable", TREE, "qosIf_t", "qosCmpIfEntry", nullptr},
    {nullptr, "qosChipTable", TREE, "qosChip_t", "qosCmpChipEntry", nullptr},
    {"qosIf_t", "chip", "qosChip_t", nullptr, nullptr, nullptr},
    {"qosChip_t", "slot", "qosSlot_t", nullptr, nullptr, nullptr},
    {"qosIf_t", "profileList", LIST, "", nullptr, nullptr}, // which stays empty
    {"qosChipRedCfg_t", "redProfile", "qosRedProfile_t", nullptr, nullptr, nullptr},
    {"qosPolCfg_t", "ingr_policer_list", LIST, POLICER, POLICER_COMPARE, POLICER_RELEASE},
    {"qosPolCfg_t", "egr_policer_list", LIST, POLICER, POLICER_COMPARE, POLICER_RELEASE},
    {"qosPolCfg_t", "bum_policer_list", LIST, POLICER, POLICER_COMPARE, POLICER_RELEASE},
    {"qosChip_t", "drop_monitor_list", LIST, "qaDropMonitorInfo_t", "qaDropMonitorCmpData", "qaDropMonitorFreeData"},
    {"qaDropMonitorContext_t", "monitor_callback", "qaDropMonitor", nullptr, nullptr, nullptr},
    {"qaBumContext_t", "bum_callback", "qaBumMonitor", nullptr, nullptr, nullptr},
};

} // namespace

int qos_ha_register()
{
    QOS_FRAME();
    // Each failure has its line, and registration goes on.
    (void)qos_ha_struct_register();
    (void)qos_ha_object_register();
    qos_ha_avl_register();
    (void)ha_add_links(qos_velmar_state.ha, std::size(links), links);
    return QOS_OK;
}

int qos_ha_struct_register()
{
    int rc = QOS_OK;
    for (unsigned i = 0; i < qosHaStructCount; ++i) {
        const qosHaStruct_t &record = qosHaStructs[i];
        rc = ha_add_struct(qos_velmar_state.ha, record.name, record.size, record.rows, record.fields);
        if (rc != 0)
            QOS_ERR("Failed to register %s, rc: %d", record.name, rc);
        else
            QOS_INF("Successfully registered %s with THA", record.name);
        if (rc == 0)
            (void)ha_add_details(qos_velmar_state.ha, record.name, record.version, record.rows, record.details);
    }
    return rc;
}

int qos_ha_object_register()
{
    const struct {
        const char *name;
        void *address;
        size_t size;
        const char *type;
        qosText_t<int> failed;
        qosText_t<> added;
    } objects[] = {
        {"qosIfTable", &qosIfTable, sizeof qosIfTable, "~Ptr",
         QOS_ERR_TEXT("Unable to add qosIfTable to THA Db, rc: %d"),
         QOS_INF_TEXT("Successfully added qosIfTable to THA db")},
        {"qosChipTable", &qosChipTable, sizeof qosChipTable, "~Ptr",
         QOS_ERR_TEXT("Unable to add qosChipTable to THA Db, rc: %d"),
         QOS_INF_TEXT("Successfully added qosChipTable to THA db")},
        {"qosSlotTable", qosSlotTable, sizeof qosSlotTable, "qosSlot_t",
         QOS_ERR_TEXT("Unable to add qosSlotTable to THA Db, rc: %d"),
         QOS_INF_TEXT("Successfully added qosSlotTable to THA db")},
        {"qos_global_slot_rdy_cnt", &qos_global_slot_rdy_cnt, sizeof qos_global_slot_rdy_cnt, "~U32",
         QOS_ERR_TEXT("Unable to add qos_global_slot_rdy_cnt to THA Db, rc: %d"),
         QOS_INF_TEXT("Successfully added qos_global_slot_rdy_cnt to THA db")},
    };
    int rc = QOS_OK;
    for (const auto &object : objects) {
        rc = ha_add_object(qos_velmar_state.ha, object.name, object.address, object.size, object.type, 0, 0);
        if (rc != 0)
            qosTrace(__func__, object.failed, rc);
        else
            qosTrace(__func__, object.added);
    }
    return rc;
}

int qos_ha_avl_register()
{
    // The lists of interfaces and modules. The modules' own hooks register them again, with their functions, and tell.
    (void)lib_tha_linklist_reg(qos_velmar_state.ha);
    registerTreeFunction(qosCmpChipEntry, "qosCmpChipEntry");
    registerTreeFunction(qosCmpIfEntry, "qosCmpIfEntry");
    return QOS_OK;
}

const char *qos_ha_get_upd_type_str(uint32_t msg_type)
{
    static constexpr struct {
        uint8_t first;
        uint8_t last;
        const char *name;
    } variants[] = {
        {QOS_AGTREG_MSG, QOS_AGTREG_MSG, "qosUpdEntry_dORVALRegMsg_t"},
        {QOS_CHIPUP_MSG, QOS_CHIPUP_MSG, "qosUpdEntry_qosChipUpMsg_t"},
        {QOS_IFADD_MSG, QOS_IFADD_MSG, "qosUpdEntry_qosIfAddMsg_t"},
        {QOS_IFDEL_MSG, QOS_IFDEL_MSG, "qosUpdEntry_qosIfDelMsg_t"},
        {QOS_COSTRUST_MSG, QOS_COSTCMAP_MSG, "qosUpdEntry_qosL2PriMsg_t"},
        {QOS_DSCPTRUST_MSG, QOS_DSCPTCMAP_MSG, "qosUpdEntry_qosL3PriMsg_t"},
        {QOS_PAUSE_MSG, QOS_W2QPRI_MSG, "qosUpdEntry_qosCcbMsg_t"},
        {QOS_SCH_MSG, QOS_MC_SCH_MSG, "qosUpdEntry_qosSchMsg_t"},
        {QOS_MCAST_RATELIMIT_MSG, QOS_MCAST_TAILDROP_MSG, "qosUpdEntry_qosCcbMsg_t"},
        {QOS_POL_POLICER_ADD_MSG, QOS_POL_POLICER_ADD_MSG, "qosUpdEntry_qosPolPolicerAddMsg_t"},
        {QOS_POL_POLICER_REM_MSG, QOS_POL_POLICER_REM_MSG, "qosUpdEntry_qosPolPolicerDelMsg_t"},
        {QOS_POL_PROFILE_MSG, QOS_POL_PROFILE_MSG, "qosUpdEntry_qosPolProfileMsg_t"},
        {QOS_RED_PROFILE_MSG, QOS_RED_PROFILE_MSG, "qosUpdEntry_qosCcbMsg_t"},
        {QOS_RED_CHIP_INIT_MSG, QOS_RED_CHIP_INIT_MSG, "qosUpdEntry_qosCcbMsg_t"},
        {QOS_LD_CFG_MSG, QOS_SET_DEF_TAILDROP_MSG, "qosUpdEntry_qosLdConfigMsg_t"},
        {QOS_CLEAR_STATS_MSG, QOS_CLEAR_STATS_MSG, "qosUpdEntry_qosClearStatsMsg_t"},
        {QOS_POL_BUM_STATE_NOTIFY_MSG, QOS_POL_BUM_STATE_NOTIFY_MSG, "qosUpdEntry_qosPolBumStateNotifyMsg_t"},
        {QOS_POL_STATS_CLR_MSG, QOS_POL_STATS_CLR_MSG, "qosUpdEntry_qosPolStatsClrMsg_t"},
        {QOS_POL_STATS_CLR_ALL_MSG, QOS_POL_STATS_CLR_ALL_MSG, "qosUpdEntry_qosPolStatsClrAllMsg_t"},
        {QOS_IVQ_RED_CFG, QOS_IVQ_RED_CHIP_CFG, "qosUpdEntry_qosCcbIvqRedIfInfo_t"},
        {QOS_GET_TMC_INFO_MSG, QOS_GET_TMC_INFO_MSG, "qosUpdEntry_qosGetTmcInfoMsg_t"},
        {QOS_BUM_RESET_MON_STATE_MSG, QOS_BUM_RESET_MON_STATE_MSG, "qosUpdEntry_qosBumResetStateMsg_t"},
        {QOS_CLEAR_RED_INTF_RED_STATS_MSG, QOS_CLEAR_RED_INTF_RED_STATS_MSG, "qosUpdEntry_qosClearStatsMsg_t"},
        {QOS_INGR_QUEUE_DEPTH_MSG, QOS_EGR_QUEUE_DEPTH_MSG, "qosUpdEntry_qosQueueDepthMsg_t"},
        {QOS_DROP_MONITOR_NOTIFY_MSG, QOS_DROP_MONITOR_NOTIFY_MSG, "qosUpdEntry_qosDropMonitorNotifyMsg_t"},
    };
    for (const auto &variant : variants)
        if (msg_type >= variant.first && msg_type <= variant.last)
            return variant.name;
    QOS_ERR("Unsupported message type %s on update list\n", qosMsgName(msg_type));
    return nullptr;
}
