// SPDX-License-Identifier: Apache-2.0
// Chips: look-up, creation, deletion, the driver's chip events.
#include "inventory/chips.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "core/memory.h"
#include "core/state.h"
#include "core/trace.h"
#include "inventory/capability.h"
#include "inventory/interfaces.h"
#include "inventory/slots.h"
#include "lib/avl.h"
#include "lib/views.h"
#include "velmar/dce.h"

tnx_avl_tree_t *qosChipTable;

namespace {

// The words of a chip event that most steps need.
struct chipPlace_t {
    uint32_t ifindex;
    int32_t flat;
    uint8_t slot;
    uint8_t chip;
};

chipPlace_t placeOf(const qosChipCap_t *event)
{
    const uint32_t ifindex = event->chip_ifindex;
    return {ifindex, dce_get_flat_chip_id(ifindex), static_cast<uint8_t>(event->slot),
            static_cast<uint8_t>(event->chip)};
}

qosChip_t *newChip(const chipPlace_t &place, uint32_t num_ports, qosSlot_t *slot)
{
    auto *chip = qosMallocRecord<qosChip_t>(QOS_MOD_IFM, QOS_MEM_CHIP);
    if (!chip)
        return nullptr;
    qosChip_t &made = qosEdit(*chip);
    made.slot_id = place.slot;
    made.local_chip_id = place.chip;
    made.chip_id = place.flat;
    made.chip_ifindex = place.ifindex;
    made.chip_state = 0;
    made.num_ports = num_ports;
    made.slot = slot;
    return chip;
}

void freeChip(qosChip_t *chip)
{
    qosFreeRecord(QOS_MOD_IFM, QOS_MEM_CHIP, chip);
}

int insertChip(qosChip_t *chip)
{
    if (!qosChipTable) {
        QOS_ERR_AT("qosProcessChipAdd", "qosChipTable is NULL");
        return QOS_NO_MEMORY;
    }
    if (avl_insert(qosChipTable, chip) != 0) {
        QOS_ERR_AT("qosProcessChipAdd", "Failed to insert chip entry %d in chip table", chip->chip_id);
        return QOS_NO_MEMORY;
    }
    tailqInit(&chip->ifList);
    tailqInsertTail<&qosChip_t::slot_link>(&chip->slot->chipList, chip);
    return QOS_OK;
}

// The result that is printed is always 0: what a hook answered stays with the module.
void notifyChipUp(qosChip_t *chip)
{
    qosWalkModules<&qosModule_t::chip_up>([&](qosModule_t &module) {
        if (module.chip_up(chip) != QOS_OK)
            QOS_ERR_AT("qosProcessChipAdd", "Module %d failed to process chip up, rc: %d", module.id, 0);
    });
}

int learnCapabilities(const qosChipCap_t *event, qosCapSource_t source, qosChip_t *chip)
{
    if (source == QOS_CAPS_IN_EVENT) {
        qosCopyCapsToChip(event, chip);
        return QOS_OK;
    }
    const int rc = static_cast<int>(qosGetChipCapability(chip));
    if (rc != QOS_OK)
        QOS_ERR_AT("qosProcessChipAdd", "Unable to get chip capability for chip: %x, rc: %d", chip->chip_ifindex, rc);
    return rc;
}

qosChipCap_t chipEvent(chipEvent_t event, uint32_t slot, uint32_t chip, uint32_t flat, uint32_t ifindex)
{
    qosChipCap_t record = {};
    record.event = event;
    record.slot = slot;
    record.chip = chip;
    record.flat_chip = flat;
    record.chip_ifindex = ifindex;
    return record;
}

// Pass 1 over one reported chip: it is marked as it is, or added with what the driver says of it.
void bulkChipSeen(const qosBulkChip_t &entry)
{
    const uint32_t ifindex = entry.chip_ifindex;
    const int32_t flat = dce_get_flat_chip_id(ifindex);
    if (qosChip_t *known = qosLookupChip(flat)) {
        QOS_INF_AT("qosProcessBulkChipUp", "Chip ifidx %x, is already in db, ignoring", ifindex);
        qosEdit(known->warm_up) = 1;
        return;
    }
    QOS_ERR_AT("qosProcessBulkChipUp", "Unable to find chip ifidx: %x, slot/chip: %d/%d, flat_chip: %d in db", ifindex,
               entry.slot, entry.chip, entry.flat_chip);
    const qosChipCap_t event = chipEvent(CHIP_EVENT_UP, entry.slot, entry.chip, entry.flat_chip, ifindex);
    QOS_INF_AT("qosProcessBulkChipUp", "Dispatching chip up");
    const int rc = qosProcessChipAdd(&event, QOS_CAPS_FROM_DRIVER);
    if (rc != QOS_OK) {
        QOS_ERR_AT("qosProcessBulkChipUp", "Failed to add chip to db, rc: %d", rc);
        return;
    }
    if (qosChip_t *added = qosLookupChip(flat))
        qosEdit(added->warm_up) = 1;
}

// Pass 2 over one chip of the table: it stays if pass 1 has seen it.
void bulkChipKeep(qosChip_t *chip)
{
    const uint32_t ifindex = chip->chip_ifindex;
    if (chip->warm_up) {
        QOS_INF_AT("qosProcessBulkChipUp", "chip %x is warm up, keeping..", ifindex);
        qosEdit(chip->warm_up) = 0;
        return;
    }
    QOS_INF_AT("qosProcessBulkChipUp", "chip %x is not warm up, deleting..", ifindex);
    const qosChipCap_t event =
        chipEvent(CHIP_EVENT_DOWN, static_cast<uint32_t>(chip->slot_id), static_cast<uint32_t>(chip->local_chip_id),
                  static_cast<uint32_t>(chip->chip_id), ifindex);
    const int rc = qosProcessChipDown(&event);
    if (rc != QOS_OK)
        QOS_ERR_AT("qosProcessBulkChipUp", "unable to process chip down for chip %x, rc: %d", ifindex, rc);
}

} // namespace

int qosCmpChipEntry(const void *a, const void *b)
{
    const int32_t id_a = static_cast<const qosChip_t *>(a)->chip_id;
    const int32_t id_b = static_cast<const qosChip_t *>(b)->chip_id;
    return id_b < id_a ? -1 : id_b > id_a ? 1 : 0;
}

int qosInitChipTable()
{
    const int rc =
        avl_create_ha_dbg(qos_velmar_state.ha, 0, &qosChipTable, 0, qosCmpChipEntry, "qosCmpChipEntry", "qosChipTable");
    if (rc != 0) {
        QOS_ERR("Failed to initialize chip table, error = %d", rc);
        return QOS_NO_MEMORY;
    }
    return QOS_OK;
}

qosChip_t *qosLookupChip(int32_t flat_chip)
{
    qosChip_t key; // only the key counts; the record is too large to clear for a look-up
    key.chip_id = flat_chip;
    return avlFind(qosChipTable, key);
}

int qosProcessChipAdd(const qosChipCap_t *event, qosCapSource_t source)
{
    QOS_FRAME();
    const chipPlace_t place = placeOf(event);
    QOS_DBG("Received Chip Up for %d/%d (%d)", place.slot, place.chip, place.flat);
    QOS_INF("chip ifIdx: 0x%x", place.ifindex);
    if (place.flat < 0) {
        // A record under -1 would be found by every index that names no chip.
        QOS_ERR("No chip has ifIdx 0x%x, chip %d/%d is not added", place.ifindex, place.slot, place.chip);
        return QOS_FAILED;
    }
    if (qosLookupChip(place.flat)) {
        QOS_DBG("Ignoring duplicate CHIP_UP event for chip %d/%d(%d)", place.slot, place.chip, place.flat);
        return QOS_OK;
    }
    qosSlot_t *slot = qosLookupTableSlot(place.slot);
    if (!slot) {
        QOS_ERR("Unable to derive slot for chip %d/%d", place.slot, place.chip);
        return QOS_FAILED;
    }
    qosChip_t *chip = newChip(place, event->num_ports, slot);
    if (!chip) {
        QOS_ERR("Failed to process chip up event for chip %d/%d", place.slot, place.chip);
        return QOS_NO_MEMORY;
    }
    int rc = learnCapabilities(event, source, chip);
    if (rc == QOS_OK) {
        qosLogChipCapability(chip);
        rc = insertChip(chip);
    }
    if (rc != QOS_OK) {
        freeChip(chip);
        return rc;
    }
    notifyChipUp(chip);
    return QOS_OK;
}

int qosProcessChipUp(const qosChipCap_t *event, qosCapSource_t source)
{
    if (qos_velmar_state.is_agent) {
        const chipPlace_t place = placeOf(event);
        QOS_DBG("Ignoring chip up for chip %d/%d", place.slot, place.chip);
        return QOS_OK;
    }
    return qosProcessChipAdd(event, source);
}

int qosProcessChipDown(const qosChipCap_t *event)
{
    QOS_FRAME();
    const chipPlace_t place = placeOf(event);
    if (qos_velmar_state.is_agent) {
        QOS_DBG("Ignoring chip down for chip %d/%d (%d)", place.slot, place.chip, place.flat);
        return QOS_OK;
    }
    qosChip_t *chip = qosLookupChip(place.flat);
    if (!chip) {
        QOS_ERR("Ignoring chip_down event for unknown chip %d/%d (0x%08x)", place.slot, place.chip, place.ifindex);
        return QOS_OK;
    }
    qosSlot_t *slot = qosLookupTableSlot(place.slot);
    if (!slot) {
        QOS_ERR("Unable to derive slot for chip %d/%d", place.slot, place.chip);
        return QOS_FAILED;
    }
    qosWalkModules<&qosModule_t::chip_down>([&](qosModule_t &module) { module.chip_down(chip); });
    // The list that holds the chip, which an event that names another slot must not mistake.
    tailqRemove<&qosChip_t::slot_link>(&chip->slot->chipList, chip);
    (void)avl_remove(qosChipTable, chip); // looked up in it above
    QOS_INF("Chip %d/%d (%d) deleted", place.slot, place.chip, place.flat);
    freeChip(chip);
    return QOS_OK;
}

int qosProcessBulkChipUp(const unsigned char *event, uint32_t length)
{
    QOS_FRAME();
    qosBulkChipUp_t head = {};
    memcpy(&head, event, std::min<size_t>(length, sizeof head));
    const uint32_t num_chips = head.num_chips;
    QOS_INF("Stage: %s, received bulk chip up, num_chips: %d", qosVssStageName(qos_velmar_state.stage), num_chips);
    if (qos_velmar_state.is_agent) {
        QOS_DBG("Ignoring bulk chip up for agent");
        return QOS_OK;
    }
    QOS_INF("pass 1: add chips that are not existing");
    for (uint32_t i = 0; i < num_chips; ++i) {
        const size_t at = sizeof head + i * sizeof(qosBulkChip_t);
        if (at + offsetof(qosBulkChip_t, reserved_8) > length)
            break;
        qosBulkChip_t entry;
        memcpy(&entry, event + at, offsetof(qosBulkChip_t, reserved_8));
        bulkChipSeen(entry);
    }
    QOS_INF("pass 2: remove chips that are not reported as up");
    tnx_avl_node_t *next;
    for (tnx_avl_node_t *node = avl_getfirst(qosChipTable); node; node = next) {
        next = avl_getnext(qosChipTable, node);
        bulkChipKeep(avlPayload<qosChip_t>(node));
    }
    return QOS_OK;
}

int qosProcessChipReady(const qosChipReady_t *event)
{
    QOS_FRAME();
    if (!event) {
        QOS_ERR("NULL chip event pointer for chip ready event");
        return QOS_FAILED;
    }
    QOS_INF("Got chip ready, num_chips: %d", static_cast<uint32_t>(event->num_chips));
    for (unsigned bit = 0; bit < 32 * std::size(event->bitmap); ++bit) {
        if (!(event->bitmap[bit / 32] & (1U << (bit % 32))))
            continue;
        qosChip_t *chip = qosLookupChip(static_cast<int32_t>(bit));
        if (!chip) {
            QOS_DBG("Chip Ready event for unknown chip %d", bit);
            return QOS_FAILED;
        }
        qosEdit(chip->chip_state) = 1;
        QOS_INF("Chip %d/%d (%d) marked as ready", chip->slot_id, chip->local_chip_id, chip->chip_id);
    }
    return QOS_OK;
}

int qosGetChipFromChipId(int32_t flat_chip)
{
    const uint32_t ifindex = dce_get_ifindex(flat_chip);
    const int32_t slot = dce_get_slot_id(flat_chip);
    const int32_t chip = dce_get_slot_chip_id(flat_chip);
    const qosChipCap_t event =
        chipEvent(CHIP_EVENT_UP, static_cast<uint32_t>(slot), static_cast<uint32_t>(chip), 0, ifindex);
    QOS_INF("Faking chip up with ifidx: %d, slot_id: %d, local_chip_id: %d", ifindex, slot, chip);
    const int rc = qosProcessChipUp(&event, QOS_CAPS_FROM_DRIVER);
    if (rc != QOS_OK)
        QOS_ERR("Fake chip up failed, rc: %d", rc);
    return rc;
}

const char *qosChipTypeName(uint32_t chip_type)
{
    return qosChipTraits(chip_type).name;
}

void qosLogIfChipInfo()
{
    if (qosIfTable)
        QOS_INF("Number of interfaces in AVL tree: %d", avl_get_tree_size(qosIfTable));
    if (qosChipTable)
        QOS_INF("Number of chips in the AVL tree: %d", avl_get_tree_size(qosChipTable));
}
