// SPDX-License-Identifier: Apache-2.0
// Hooks of the policer module, and the messages that change policers.
#include "agent/policer.h"

#include "agent/bum_monitor.h"
#include "agent/chip_target.h"
#include "agent/model/policer_groups.h"
#include "agent/monitor.h"
#include "agent/operation.h"
#include "core/memory.h"
#include "core/module.h"
#include "inventory/capability.h"
#include "inventory/ifindex.h"
#include "lib/linklist.h"
#include "lib/views.h"

namespace {

constexpr uint8_t REQ_INSTALL = 1;
constexpr unsigned BUM_POLICERS_OF_PORT = 3; // broadcast, multicast, unknown unicast

struct polList_t {
    tnx_list_t *qosPolCfg_t::*member;
    const char *name;
    qosText_t<> failed;
};

constexpr polList_t POL_LISTS[] = {
    {&qosPolCfg_t::ingr_policer_list, "ingr_policer_list", QOS_ERR_TEXT("Failed to create list for ingress policers")},
    {&qosPolCfg_t::egr_policer_list, "egr_policer_list", QOS_ERR_TEXT("Failed to create list for egress policers")},
    {&qosPolCfg_t::bum_policer_list, "bum_policer_list", QOS_ERR_TEXT("Failed to create list for bum policers")},
};

void deleteLists(qosPolCfg_t &config)
{
    for (const polList_t &row : POL_LISTS) {
        list_delete(config.*row.member);
        qosEdit(config.*row.member) = nullptr;
    }
}

tnx_list_t *directionList(const qosChip_t *chip, int32_t dir)
{
    return dir != 0 ? chip->polCfg.egr_policer_list : chip->polCfg.ingr_policer_list;
}

template <typename Body>
qosMsgStatus_t groupOf(qosWhere_t where, Body *body, uint16_t *group)
{
    const uint32_t ifindex = body->ifindex;
    const qosMsgStatus_t rc = ifindex == QOS_ALL_CHIPS_IFINDEX ? QOS_MSG_DONE : qaPolGetGroupIndex(ifindex, group);
    if (rc == QOS_MSG_DONE)
        return rc;
    QOS_ERR_AT(where, "Failed to get pol grp idx for ifindex :0x%x", ifindex);
    return qosAnswer(body, rc);
}

// Calls the entry for the interface's group, or for all groups of the chip in turn. Only the last result is kept.
template <typename Body>
qosMsgStatus_t callGroups(qosWhere_t where, const qosChip_t *chip, const qaEntry_t<Body> &entry, Body *body)
{
    uint16_t group = 0;
    qosMsgStatus_t rc = groupOf(where, body, &group);
    if (rc != QOS_MSG_DONE)
        return rc;
    const bool whole = body->ifindex == QOS_ALL_CHIPS_IFINDEX;
    const uint16_t end = whole ? qaGetNumPolicerGroups(chip) : static_cast<uint16_t>(group + 1);
    for (; group < end; ++group) {
        body->pol_grp_idx = group;
        rc = entry(body);
    }
    return rc;
}

// A chip without groups has called no entry to write the status.
template <typename Body>
constexpr auto groupCall(qaOperation_t<Body> operation)
{
    return qaCall_t{
        operation,
        qaLine_t<qaChipId>{QOS_ERR_TEXT("NULL Default CoS IOCTL handler for chip %d")},
        QOS_MSG_REFUSED,
        qaLine_t<qaName, qaRc>{QOS_ERR_TEXT("Failed to process policer config for interface %s, error = %d")},
        qaLine_t<qaName>{QOS_INF_TEXT("Processed policer config request %s")},
        qaStatus_t::Stored};
}
constexpr auto ADD = groupCall(qaOperation<QOS_POL_POLICER_ADD_MSG>);
constexpr auto REMOVE = groupCall(qaOperation<QOS_POL_POLICER_REM_MSG>);
constexpr qaCall_t PROFILE = {qaOperation<QOS_POL_PROFILE_MSG>,
                              ADD.null_entry,
                              QOS_MSG_REFUSED,
                              qaLine_t<qaChipSlot, qaChipPort, qaRc>{
                                  QOS_ERR_TEXT("Failed to process policer config for interface %d/%d, error = %d")},
                              qaLine_t<qaChipSlot, qaChipPort>{QOS_INF_TEXT("Processed policer config request %d/%d ")},
                              qaStatus_t::StoredIfFailed};

template <typename Row, typename Body>
qosMsgStatus_t program(qosWhere_t where, const Row &row, const qosChip_t *chip, Body *body)
{
    const qosName_t name = qosNameOf(body->ifName);
    const auto call = [&](const qaEntry_t<Body> &entry) { return callGroups(where, chip, entry, body); };
    return qaRunWith(row, {where, chip, name.text}, body, call).rc;
}

// What an add has done to the agent's lists, for its undo.
struct added_t {
    qaPolPolicerInfo_t *record; // new, and in a list if the add came that far
    bool listed;
    qaPolPolicerInfo_t *updated; // a BUM policer that was there already
    int32_t was_monitored;
};

qosMsgStatus_t install(qosChip_t *chip, qosPolPolicerAddMsg_t *body, added_t *added)
{
    constexpr const char *function = "qaProcessPolicerAdd";
    added->record = qosMallocRecord<qaPolPolicerInfo_t>(QOS_MOD_POL, QOS_MEM_POLICER_INFO);
    qaPolPolicerInfo_t *record = added->record;
    if (!record) {
        QOS_ERR_AT(function, "Malloc failed for policer info");
        return qosAnswer(body, QOS_MSG_NO_MEMORY);
    }
    qaPolPolicerInfo_t &filled = qosEdit(*record);
    const qosMsgStatus_t rc = groupOf(function, body, &filled.pol_grp_idx);
    if (rc != QOS_MSG_DONE)
        return rc;
    filled.ifindex = body->ifindex;
    filled.dir = body->dir;
    filled.policer_id = body->policer_id;
    tnx_list_t *list = directionList(chip, record->dir);
    if (body->is_bum_policer == 1) {
        qaPolAddBumPolicer(record, body->poll_pol_cntr);
        list = chip->polCfg.bum_policer_list;
    }
    added->listed = listnode_add_sort(list, record) != nullptr;
    if (added->listed)
        return QOS_MSG_DONE;
    QOS_ERR_AT(function, "Failed to add policer to the policer list");
    return qosAnswer(body, QOS_MSG_NO_MEMORY);
}

// The key holds group 0, so a policer of another group is not found and its monitoring stays as it is.
void update(const qosChip_t *chip, const qosPolPolicerAddMsg_t *body, added_t *added)
{
    if (body->is_bum_policer != 1)
        return;
    qaPolPolicerInfo_t key = {};
    key.ifindex = body->ifindex;
    key.policer_id = body->policer_id;
    added->updated = listFind(chip->polCfg.bum_policer_list, key);
    if (!added->updated)
        return;
    added->was_monitored = added->updated->bum_info.monitor_bum_policer;
    qaPolAddBumPolicer(added->updated, body->poll_pol_cntr);
}

// The list that is looked into is chosen by poll_pol_cntr: a BUM policer without polling is not found in the one of its
// direction and stays in its own. An updated policer stays as well, its monitoring as before the message.
void undo(const qosChip_t *chip, const qosPolPolicerAddMsg_t *body, const added_t &added)
{
    if (added.updated && body->poll_pol_cntr != 0) {
        qosEdit(added.updated->bum_info.monitor_bum_policer) = added.was_monitored;
        qaBumDecrementMonitorPolicerCnt();
    }
    if (!added.record)
        return;
    if (!added.listed) {
        qaPolFreeData(added.record);
    } else if (body->poll_pol_cntr == 1) {
        qaPolRemBumPolicer(added.record);
        (void)listnode_delete(chip->polCfg.bum_policer_list, added.record);
    } else {
        (void)listnode_delete(directionList(chip, body->dir), added.record);
    }
}

void forget(const qosChip_t *chip, const qosPolPolicerDelMsg_t *body, qaPolPolicerInfo_t *key)
{
    if (body->is_bum_policer != 1) {
        (void)list_delete_data(directionList(chip, body->dir), key); // the chip is told also of one not in it
        return;
    }
    tnx_list_t *list = chip->polCfg.bum_policer_list;
    tnx_listnode_t *node = list_lookup_data_node(list, key);
    if (!node) {
        QOS_ERR_AT("qaProcessPolicerRem", "Failed to get pol_info");
        return;
    }
    qaPolRemBumPolicer(listPayload<const qaPolPolicerInfo_t>(node));
    list_delete_node(list, node);
}

// Takes the group of an interface that the chip's port table lists.
bool takeGroup(qosIf_t *interface)
{
    for (const qosChipPortInfo_t &port : interface->chip->portInfo)
        if (port.ifindex == interface->ifIndex) {
            qosEdit(interface->pol_info.polGroupId) = port.polGroupId;
            return true;
        }
    return false;
}

} // namespace

void qaRegisterPolModule()
{
    QOS_FRAME();
    qosModule_t &record = qosModuleRecord(QOS_MOD_POL, "QOS POL");
    record.init = qaPolInit;
    record.chip_up = qaPolChipUp;
    record.chip_down = qaPolChipDown;
    record.if_add = qaPolIfAdd;
    record.if_del = qaPolIfDel;
    record.ha_register = qaPolHaRegister;
    (void)qosVssStageRegister(QOS_MOD_POL, QOS_STAGE_ACTIVE, qaPolVssActive, 0);
}

int qaPolInit()
{
    QOS_FRAME();
    qaBumInit();
    QOS_INF("Pol module init");
    return QOS_OK;
}

int qaPolChipUp(qosChip_t *chip)
{
    if (!chip) {
        QOS_ERR("Invalid chip is recieved");
        return QOS_FAILED;
    }
    for (const polList_t &row : POL_LISTS) {
        tnx_list_t *list = list_create_ha_dbg(qos_velmar_state.ha, 0, qaPolCmpData, qaPolFreeData, "qaPolCmpData",
                                              "qaPolFreeData", row.name);
        if (!list) {
            qosTrace(__func__, row.failed);
            deleteLists(chip->polCfg);
            return QOS_NO_MEMORY;
        }
        qosEdit(chip->polCfg.*row.member) = list;
    }
    return QOS_OK;
}

void qaPolChipDown(qosChip_t *chip)
{
    deleteLists(chip->polCfg);
}

int qaPolIfAdd(qosIf_t *interface)
{
    if (!interface || !interface->chip) {
        QOS_ERR("Invalid if add received");
        return QOS_FAILED;
    }
    if (takeGroup(interface) || qosGetExtChipCapability(interface->chip) != QOS_MSG_DONE)
        return QOS_OK;
    if (takeGroup(interface))
        QOS_INF(" new ifindex 0x%x is found", interface->ifIndex);
    return QOS_OK;
}

void qaPolIfDel(qosIf_t *interface)
{
    tnx_list_t *list = interface->chip ? interface->chip->polCfg.bum_policer_list : nullptr;
    unsigned deleted = 0;
    tnx_listnode_t *next;
    for (tnx_listnode_t *node = listFirst(list); node; node = next) {
        next = node->next;
        if (listPayload<const qaPolPolicerInfo_t>(node)->ifindex != interface->ifIndex)
            continue;
        list_delete_node(list, node);
        if (++deleted == BUM_POLICERS_OF_PORT) {
            QOS_INF("removed all bum policers of interface from list");
            return;
        }
    }
}

void qaPolHaRegister()
{
    qaBumHaRegister();
    const int rc =
        lib_tha_linklist_reg(qos_velmar_state.ha, qaPolCmpData, "qaPolCmpData", qaPolFreeData, "qaPolFreeData");
    if (rc != 0)
        QOS_ERR("Unable to register functions %s and %s  with THA, rc: %d", "qaPolCmpData", "qaPolFreeData", rc);
    qaRegisterRecord<qaPolPolicerInfo_t>(__func__);
}

int qaPolVssActive(uint32_t, uint32_t)
{
    qaBumVssActiveReStartPollTimer();
    return QOS_OK;
}

int qaPolCmpData(const void *a, const void *b)
{
    const auto *left = static_cast<const qaPolPolicerInfo_t *>(a);
    const auto *right = static_cast<const qaPolPolicerInfo_t *>(b);
    const int groups = left->pol_grp_idx - right->pol_grp_idx;
    return groups != 0 ? groups : static_cast<int32_t>(left->policer_id - right->policer_id);
}

void qaPolFreeData(void *record)
{
    qosFree(QOS_MOD_POL, QOS_MEM_POLICER_INFO, &record, sizeof(qaPolPolicerInfo_t));
}

qosMsgStatus_t qaProcessPolicerAdd(qosPolPolicerAddMsg_t *body)
{
    QOS_FRAME();
    static constexpr qosText_t<const char *> unknown = QOS_ERR_TEXT("Failed to find interface %s for policer coonfig");
    QOS_DBG("Received Policer config request for interface %s", qosNameOf(body->ifName).text);
    qosChip_t *chip = qaTargetChip(__func__, body, unknown);
    if (!chip)
        return QOS_MSG_REFUSED;
    added_t added = {};
    qosMsgStatus_t rc = QOS_MSG_DONE;
    if (body->policer_req_type == REQ_INSTALL)
        rc = install(chip, body, &added);
    else
        update(chip, body, &added);
    if (rc == QOS_MSG_DONE)
        rc = program(__func__, ADD, chip, body);
    if (rc == QOS_MSG_DONE)
        return rc;
    undo(chip, body, added);
    return qosAnswer(body, rc);
}

qosMsgStatus_t qaProcessPolicerRem(qosPolPolicerDelMsg_t *body)
{
    QOS_FRAME();
    static constexpr qosText_t<const char *> unknown = QOS_ERR_TEXT("Failed to find interface %s for policer config");
    QOS_DBG("Received Policer config request for interface %s", qosNameOf(body->ifName).text);
    const qosChip_t *chip = qaTargetChip(__func__, body, unknown);
    if (!chip)
        return QOS_MSG_REFUSED;
    qaPolPolicerInfo_t key = {};
    const qosMsgStatus_t rc = groupOf(__func__, body, &key.pol_grp_idx);
    if (rc != QOS_MSG_DONE)
        return rc;
    key.ifindex = body->ifindex;
    key.policer_id = body->policer_id;
    forget(chip, body, &key);
    return program(__func__, REMOVE, chip, body);
}

qosMsgStatus_t qaProcessProfileCfg(qosPolProfileMsg_t *body)
{
    QOS_FRAME();
    const qosChip_t *chip = qosLookupChip(dce_get_flat_chip_id(body->chip_ifindex));
    if (!chip) {
        QOS_ERR(" chip inst not found");
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    return qaRun(PROFILE, {__func__, chip}, body).rc;
}
