// SPDX-License-Identifier: Apache-2.0
// Slots: table, events, replay of interface adds.
#include "inventory/slots.h"

#include "core/module.h"
#include "core/state.h"
#include "core/trace.h"
#include "inventory/ifindex.h"

qosSlot_t qosSlotTable[QOS_NUM_SLOTS];
uint32_t qos_global_slot_rdy_cnt;

namespace {

qosSlot_t pastTheTable; // what number 10 finds

void initSlot(qosSlot_t &slot, unsigned id)
{
    slot.slot_id = static_cast<uint8_t>(id);
    slot.slot_state = 0;
    slot.agnt_reg = 0;
    tailqInit(&slot.chipList);
    tailqInit(&slot.updList);
    tailqInit(&slot.pendList);
}

} // namespace

void qosInitSlotTable()
{
    for (unsigned id = 0; id < QOS_NUM_SLOTS; ++id)
        initSlot(qosSlotTable[id], id);
    initSlot(pastTheTable, QOS_NUM_SLOTS);
}

qosSlot_t *qosLookupSlot(uint32_t slot)
{
    if (slot > QOS_NUM_SLOTS)
        return nullptr;
    return slot == QOS_NUM_SLOTS ? &pastTheTable : &qosSlotTable[slot];
}

qosSlot_t *qosLookupTableSlot(uint32_t slot)
{
    return slot == QOS_NUM_SLOTS ? nullptr : qosLookupSlot(slot);
}

uint32_t qosOwnSlotId()
{
    return __expm.slot & 0xff;
}

qosSlot_t *qosLookupOwnSlot()
{
    return qosLookupSlot(qosOwnSlotId());
}

qosChip_t *qosFirstOwnChip()
{
    const qosSlot_t *slot = qosLookupOwnSlot();
    return slot ? tailqFirst(&slot->chipList) : nullptr;
}

int qosProcessSlotUp(uint32_t slot)
{
    QOS_FRAME();
    const uint32_t id = slot & 0xff;
    QOS_DBG("Processing slot up event for slot %d", id);
    qosSlot_t *record = qosLookupSlot(id);
    if (!record) {
        QOS_ERR("Failed to find slot %d entry to process slot up event", id);
        return QOS_FAILED;
    }
    const uint32_t before = record->slot_state;
    record->slot_state = 1;
    if (before == 1) {
        QOS_INF("Ignoring a duplicate slot up event..");
        return QOS_OK;
    }
    qosWalkModules<&qosModule_t::slot_up>([&](qosModule_t &module) { module.slot_up(record); });
    ++qos_global_slot_rdy_cnt;
    QOS_INF("Received Slot %d UP event slot ready cnt %d", id, qos_global_slot_rdy_cnt);
    return qosProcessIfAddOnSlot(record);
}

int qosProcessSlotDown(uint32_t slot)
{
    QOS_FRAME();
    const uint32_t id = slot & 0xff;
    QOS_DBG("Processing slot down event for slot %d", id);
    qosSlot_t *record = qosLookupSlot(id);
    if (!record) {
        QOS_DBG("Failed to find slot entry for slot %d", id);
        return QOS_OK;
    }
    const uint32_t before = record->slot_state;
    record->slot_state = 0;
    if (before == 0) {
        QOS_INF("Ignoring a duplicate slot down event..");
        return QOS_OK;
    }
    qosWalkModules<&qosModule_t::slot_down>([&](qosModule_t &module) { module.slot_down(record); });
    if (qos_global_slot_rdy_cnt != 0)
        --qos_global_slot_rdy_cnt;
    QOS_INF("Received Slot %d Down event slot ready cnt %d", id, qos_global_slot_rdy_cnt);
    return QOS_OK;
}

bool qosIsSlotDown(uint32_t ifindex)
{
    const uint32_t id = static_cast<uint32_t>(qosIfSlot(ifindex)) & 0xff;
    const qosSlot_t *slot = qosLookupSlot(id);
    if (!slot) {
        QOS_ERR("Unable to find slot with id %d", id);
        return false;
    }
    return slot->slot_state == 0;
}

int qosProcessIfAddOnSlot(qosSlot_t *slot)
{
    QOS_FRAME();
    if (!slot) {
        QOS_ERR("\n Slot is NULL. Not expected");
        return QOS_FAILED;
    }
    QOS_INF("Perform IF-ADD for all interfaces on slot %d", slot->slot_id);
    if (tailqEmpty(&slot->chipList)) {
        QOS_ERR("\n Chip List is NULL. Not expected");
        return QOS_FAILED;
    }
    int rc = QOS_OK;
    for (qosChip_t *chip = tailqFirst(&slot->chipList); chip; chip = tailqNext<&qosChip_t::slot_link>(chip)) {
        rc = qosProcessIfAddOnChip(chip);
        if (rc != QOS_OK)
            QOS_ERR("Process IF-ADD failed in one of chip 0x%x on slot:%d", chip->chip_ifindex, slot->slot_id);
    }
    return rc;
}

int qosProcessIfAddOnChip(qosChip_t *chip)
{
    QOS_FRAME();
    if (tailqEmpty(&chip->ifList)) {
        QOS_ERR("\n Slot is NULL. Not expected");
        return QOS_FAILED;
    }
    int rc = QOS_OK;
    for (qosIf_t *port = tailqFirst(&chip->ifList); port; port = tailqNext<&qosIf_t::chip_link>(port)) {
        QOS_INF("Perform IF-ADD for all interfaces on chip 0x%x", chip->chip_ifindex);
        rc = qosProcessNotifyIfAdd(port);
        if (rc != QOS_OK)
            QOS_ERR("Notify IF-ADD failed in one of the interface chip 0x%x", chip->chip_ifindex);
    }
    return rc;
}

int qosProcessNotifyIfAdd(qosIf_t *interface)
{
    QOS_INF("\n Notifying IF-ADD of if:%s to all sub modules", interface->ifName);
    int rc = QOS_OK;
    qosWalkModules<&qosModule_t::if_add>([&](qosModule_t &module) {
        rc = module.if_add(interface);
        if (rc != QOS_OK)
            QOS_ERR_AT("qosProcessNotifyIfAdd", "ifAdd_cb returned error mod_id %d", module.id);
    });
    return rc;
}
