// SPDX-License-Identifier: Apache-2.0
// The module "QOS IFM": interface add, delete, look-up.
#include "inventory/interfaces.h"

#include <algorithm>

#include "core/memory.h"
#include "core/state.h"
#include "core/strings.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "inventory/ifindex.h"
#include "inventory/show.h"
#include "lib/avl.h"
#include "lib/kor.h"
#include "lib/lib_instance.h"
#include "lib/linklist.h"
#include "lib/views.h"
#include "velmar/dce.h"

tnx_avl_tree_t *qosIfTable;

namespace {

// Links a new record into the table and, with a chip, into the chip's list.
void linkInterface(qosIf_t *interface, qosChip_t *chip)
{
    // Fails for want of a node alone. The record then serves the chip's walks, and a look-up does not find it.
    (void)avl_insert(qosIfTable, interface);
    if (chip) {
        qosEdit(interface->chip) = chip;
        tailqInsertTail<&qosIf_t::chip_link>(&chip->ifList, interface);
    }
}

const char *const qos_show_ifTableCmd_help[] = {"Show running system information", "DORVMD show commands",
                                                "DORVMD Interface", "All interfaces", nullptr};
const cli_element_t qos_show_ifTableCmd = {"show dorvmd interface all", cliShow<qosShowWhole<qosShowIfTablePart>>,
                                           qos_show_ifTableCmd_help};

bool isAddable(uint32_t ifindex)
{
    const uint32_t type = qosIfType(ifindex);
    return qosIfIsPhysical(ifindex) || type == IF_TYPE_14 || type == IF_TYPE_30;
}

} // namespace

void qaRegisterIfmModule()
{
    QOS_FRAME();
    qosModule_t &record = qosModuleRecord(QOS_MOD_IFM, "QOS IFM");
    record.init = qaIfmInit;
    record.start = qaIfmStart;
}

int qaIfmInit()
{
    QOS_FRAME();
    return qosInitIfClis();
}

int qaIfmStart()
{
    QOS_FRAME();
    return qosInitIfTable();
}

int qosInitIfClis()
{
    if (!qos_velmar_state.is_agent)
        (void)cli_install_gen(qos_velmar_state.lib->ctree, EXEC_MODE, QOS_CLI_LEVEL, QOS_CLI_FLAGS,
                              &qos_show_ifTableCmd);
    return QOS_OK;
}

int qosInitIfTable()
{
    const int rc =
        avl_create_ha_dbg(qos_velmar_state.ha, 0, &qosIfTable, 0, qosCmpIfEntry, "qosCmpIfEntry", "qosIfTable");
    if (rc != 0) {
        QOS_ERR("Failed to initialize interface table, error = %d", rc);
        return QOS_NO_MEMORY;
    }
    return QOS_OK;
}

int qosCmpIfEntry(const void *a, const void *b)
{
    return qosIfIndexCompare(static_cast<const qosIf_t *>(a)->ifIndex, static_cast<const qosIf_t *>(b)->ifIndex);
}

qosIf_t *qosLookupIfEntry(uint32_t ifindex)
{
    qosIf_t key; // only the key counts; the record is too large to clear for a look-up
    key.ifIndex = ifindex;
    return avlFind(qosIfTable, key);
}

qosIf_t *qosProcessPortAdd(uint32_t ifindex, const char *name)
{
    QOS_FRAME();
    if (!qosIfTable) {
        QOS_ERR("qosIfTable is NULL");
        return nullptr;
    }
    if (qosIf_t *existing = qosLookupIfEntry(ifindex)) {
        QOS_ERR("ifEntry already exists for interface %s", name);
        return existing;
    }
    qosChip_t *chip = nullptr;
    qosSlot_t *slot = nullptr;
    if (qosIfIsPhysical(ifindex) && qosValidatePortAdd(ifindex, name, &chip, &slot) != QOS_OK)
        return nullptr;
    auto *interface = qosMallocRecord<qosIf_t>(QOS_MOD_IFM, QOS_MEM_IF);
    if (!interface) {
        QOS_ERR("Failed to create interface entry");
        return nullptr;
    }
    qosEdit(interface->ifIndex) = ifindex;
    qosCopyText(qosEdit(interface->ifName), name);
    qosEdit(interface->ifMode) = 0;
    tailqInit(&interface->memPortList);
    qosEdit(interface->profileList) = list_new_ha_dbg(qos_velmar_state.ha, 0, "profileList");
    linkInterface(interface, chip);
    QOS_INF("Added Interface %s", interface->ifName);
    return interface;
}

int qosValidatePortAdd(uint32_t ifindex, const char *name, qosChip_t **chip, qosSlot_t **slot)
{
    const int32_t flat = isAddable(ifindex) ? dce_get_flat_chip_id(ifindex) : -1;
    if (flat < 0) {
        QOS_ERR("Unable to derive chip index from ifindex for port %s", name);
        return QOS_FAILED;
    }
    *chip = qosLookupChip(flat);
    if (*chip) {
        *slot = (*chip)->slot;
        if (!*slot) {
            QOS_ERR("Unable to derive slot for port %s", name);
            return QOS_FAILED;
        }
        return QOS_OK;
    }
    QOS_ERR("Unknown chip %d for port add %s", flat, name);
    QOS_INF("dispatch a fake chip up");
    if (qosGetChipFromChipId(flat) != QOS_OK)
        return QOS_FAILED;
    *chip = qosLookupChip(flat);
    return *chip ? QOS_OK : QOS_FAILED;
}

int qosProcessPortDelete(uint32_t ifindex)
{
    QOS_FRAME();
    if (!qosIfTable) {
        QOS_ERR("qosIfTable is NULL");
        return QOS_FAILED;
    }
    qosIf_t *interface = qosLookupIfEntry(ifindex);
    if (!interface) {
        QOS_DBG("Ignoring port delete event for unknown port 0x%08x", ifindex);
        return QOS_OK;
    }
    QOS_DBG("Processing Port Delete event for port %s", interface->ifName);
    if (interface->parent)
        tailqRemove<&qosIf_t::memLink>(&interface->parent->memPortList, interface);
    if (qosIfType(ifindex) != IF_TYPE_31)
        qosWalkModules<&qosModule_t::if_del>([&](qosModule_t &module) { module.if_del(interface); });
    (void)avl_remove(qosIfTable, interface); // looked up in it above
    QOS_DBG("Deleted port %s", interface->ifName);
    if (interface->profileList)
        list_delete(interface->profileList);
    if (interface->chip)
        tailqRemove<&qosIf_t::chip_link>(&interface->chip->ifList, interface);
    qosFreeRecord(QOS_MOD_IFM, QOS_MEM_IF, interface);
    return QOS_OK;
}

uint32_t qosGetBufPoolGroup(const qosIf_t *interface)
{
    const qosChip_t *chip = interface->chip;
    if (!chip) {
        QOS_ERR("Interface:%s does not have a valid chip", interface->ifName);
        return QOS_FAILED;
    }
    if (chip->chip_type >= QOS_CHIP_TYPES) {
        QOS_ERR("Invalid chip type:%d for interface:%s", chip->chip_type, interface->ifName);
        return 0;
    }
    if (!qosChipTraits(chip->chip_type).extended)
        return 0;
    const unsigned ports = std::min<unsigned>(chip->num_ports, QOS_NUM_CHIP_PORTS);
    for (unsigned i = 0; i < ports; ++i)
        if (chip->portInfo[i].ifindex == interface->ifIndex)
            return chip->portInfo[i].bufPoolId;
    return 0;
}
