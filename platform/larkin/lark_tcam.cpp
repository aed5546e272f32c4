// SPDX-License-Identifier: Apache-2.0
// Regions, entries and maps. The two selections differ in table number, bit places and words, which stand in a row.
#include "platform/larkin/lark_tcam.h"

#include "agent/model/chip_priority.h"
#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/text.h"
#include "core/trace.h"
#include "inventory/interfaces.h"
#include "platform/common/port.h"
#include "platform/common/priority_entry.h"
#include "platform/records/larkin.h"

namespace {

struct selection_t {
    uint16_t table;
    uint8_t value_shift; // of the CoS or DSCP in the key
    uint32_t value_mask;
    uint32_t port_mask;
    uint32_t valid;
    uint8_t result; // which of the two result words
    uint32_t entries;
    qosWhere_t init;
    qosWhere_t add;
    qosWhere_t update;
    qosText_t<> create_failed;
    qosText_t<> add_failed;
    qosText_t<> update_failed;
};

constexpr selection_t L2 = {0x1006,
                            28,
                            0x70000000,
                            0x1F000000,
                            1U << 18,
                            0,
                            24,
                            "larkInitL2PSelTcam",
                            "larkAddL2PselTcamEntry",
                            "larkUpdateL2PSelTcamEntry",
                            QOS_ERR_TEXT("IOCTL failed for L2Psel TCAM create"),
                            QOS_ERR_TEXT("IOCTL failed for L2Psel TCAM Add"),
                            QOS_ERR_TEXT("IOCTL failed for L2Psel TCAM Update")};

constexpr selection_t L3 = {0x2005,
                            4,
                            0x000003F0,
                            0x07C00000,
                            1U << 22,
                            1,
                            64,
                            "larkInitL3PSelTcam",
                            "larkAddL3PselTcamEntry",
                            "larkUpdateL3PSelTcamEntry",
                            QOS_ERR_TEXT("IOCTL failed for L3Psel TCAM create"),
                            QOS_ERR_TEXT("IOCTL failed for L3Psel TCAM Add"),
                            QOS_ERR_TEXT("IOCTL failed for L3Psel TCAM Update")};

constexpr uint16_t REGION = 1;

qosDriverStatus_t createRegion(const selection_t &selection, const qosChip_t *chip, qosTcamRegion_t *region)
{
    qosEdit(*region) = {REGION, 0, 0, selection.entries, 256, selection.entries, 12};
    auto *record = qosDceRequest<larkTcamRegion_t>(DCE_TCAM_CREATE_REGION, 0, 0, qosRequestBuffer_t::AsIs);
    record->word_12 = 0;
    record->table = selection.table;
    record->region = static_cast<uint16_t>(region->region_id);
    record->half_20 = 0;
    record->flags_22 &= 0x3f;
    record->byte_23 = 0;
    record->min_size = static_cast<uint16_t>(region->min_size);
    record->max_size = static_cast<uint16_t>(region->max_size);
    record->size = static_cast<uint16_t>(region->size);
    record->growth_factor = static_cast<uint16_t>(region->growth_factor);
    const qosDriverStatus_t rc = qosDceSend(chip->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        qosTrace(selection.init, selection.create_failed);
    return rc;
}

// The chip that holds the port's entries, or null with a line.
const qosChip_t *chipOf(qosWhere_t where, const qosIf_t *interface)
{
    if (!interface->chip)
        QOS_ERR_AT(where, "Invalid chip pointer for ifEntry %s", interface->ifName);
    return interface->chip;
}

void readHandle(const larkTcamHandle_t &from, dce_tcam_handle_t *to)
{
    to->input_key = from.input_key;
    to->input_mask_key = from.input_mask_key;
    to->result_key = from.result_key;
    to->application_handle = from.application_handle;
}

void writeHandle(const dce_tcam_handle_t &from, larkTcamHandle_t *to)
{
    to->input_key = from.input_key;
    to->input_mask_key = from.input_mask_key;
    to->result_key = from.result_key;
    to->application_handle = from.application_handle;
}

qosDriverStatus_t addEntry(const selection_t &selection, const qosIf_t *interface, uint32_t value, uint32_t result,
                           dce_tcam_handle_t *handle)
{
    const qosChip_t *chip = chipOf(selection.add, interface);
    if (!chip)
        return QOS_MSG_REFUSED;
    auto *record = qosDceRequest<larkTcamAdd_t>(DCE_TCAM_ADD);
    record->table = selection.table;
    record->region = REGION;
    record->value_key = value << selection.value_shift;
    record->port_key = interface->ifIndex;
    record->port_mask = selection.port_mask;
    record->value_mask = selection.value_mask;
    record->valid = selection.valid;
    record->result[selection.result] = result;
    const larkTcamAdded_t *response;
    uint32_t length;
    const qosDriverStatus_t rc = qosSendRequest(qosDceIoctl, chip->chip_ifindex, record, &response, &length);
    if (rc != QOS_MSG_DONE)
        qosTrace(selection.add, selection.add_failed);
    else
        readHandle(response->handle, &qosEdit(*handle));
    return rc;
}

template <typename Record>
qosDriverStatus_t updateEntry(const selection_t &selection, const qosIf_t *interface, const dce_tcam_handle_t &handle,
                              uint32_t result)
{
    const qosChip_t *chip = chipOf(selection.update, interface);
    if (!chip)
        return QOS_MSG_REFUSED;
    auto *record = qosDceRequest<Record>(DCE_TCAM_UPDATE);
    writeHandle(handle, &record->handle);
    record->table = selection.table;
    record->region = REGION;
    record->valid = selection.valid;
    record->result[selection.result] = result;
    const qosDriverStatus_t rc = qosDceSend(chip->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        qosTrace(selection.update, selection.update_failed);
    return rc;
}

// Without trust the port's entries go.
qosDriverStatus_t sendDscpTrust(qosL3PriMsg_t *body)
{
    return body->dscp_trust != 0 ? larkSetL3PriMap(body) : larkDelL3PriMap(body);
}

constexpr uint64_t bitOf(unsigned dscp)
{
    return uint64_t{1} << dscp;
}

// A CoS or traffic class in its place of three bits.
constexpr uint32_t threeBits(uint32_t value, unsigned shift)
{
    return (value & 7) << shift;
}

qosDriverStatus_t setL2Entry(qosIf_t *interface, unsigned cos, const qosL2PriMsg_t *body)
{
    const char *name = interface->ifName;
    const uint32_t result = threeBits(body->cos_map[cos], 24) | threeBits(qaChipPriority(body->tc_map[cos]), 13);
    if (interface->l2_pri.tcam_handle_valid & 1U << cos) {
        const qosDriverStatus_t rc = larkUpdateL2PSelTcamEntry(interface, cos, result);
        if (rc != QOS_MSG_DONE)
            QOS_ERR_AT("larkSetL2PriMap", "TCAM Update failed for L2 Pri Map for interface %s, error = %d", name, rc);
        return rc;
    }
    const qosDriverStatus_t rc = larkAddL2PselTcamEntry(interface, cos, result);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT("larkSetL2PriMap", "TCAM Add failed for L2 Pri Map for interface %s, error = %d", name, rc);
    return rc;
}

qosDriverStatus_t setL3Entry(qosIf_t *interface, unsigned dscp, const qosL3PriMsg_t *body)
{
    const char *name = interface->ifName;
    const uint32_t tc = qaChipPriority(body->tc_map[dscp]);
    const uint32_t trust = body->dscp_trust != 0;
    const uint32_t result = trust << 31 | threeBits(body->cos_map[dscp], 28) | threeBits(tc, 13);
    QOS_DBG_AT("larkSetL3PriMap", "\tDSCP = %d, iWirePri = %d, QPri = %d", dscp, body->cos_map[dscp], tc);
    if (interface->l3_pri.tcam_handle_valid & bitOf(dscp)) {
        const qosDriverStatus_t rc = larkUpdateL3PSelTcamEntry(interface, dscp, result);
        if (rc != QOS_MSG_DONE)
            QOS_ERR_AT("larkSetL3PriMap", "TCAM Update failed for L3 Pri Map for interface %s, error = %d", name, rc);
        return rc;
    }
    const qosDriverStatus_t rc = larkAddL3PselTcamEntry(interface, dscp, result);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT("larkSetL3PriMap", "TCAM Add failed for L3 Pri Map for interface %s, error = %d", name, rc);
    return rc;
}

} // namespace

qosDriverStatus_t larkInitL2PSelTcam(qosChip_t *chip)
{
    const qosDriverStatus_t rc = createRegion(L2, chip, &chip->l2psel_tcam);
    qosEdit(chip->l2psel_tcam_status) = rc;
    return rc;
}

qosDriverStatus_t larkInitL3PSelTcam(qosChip_t *chip)
{
    const qosDriverStatus_t rc = createRegion(L3, chip, &chip->l3psel_tcam);
    qosEdit(chip->l3psel_tcam_status) = rc;
    return rc;
}

int larkL2PriChipUp(qosChip_t *chip)
{
    const qosDriverStatus_t rc = larkInitL2PSelTcam(chip);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to initialize L2PSel TCAM");
    return static_cast<int>(rc);
}

int larkL3PriChipUp(qosChip_t *chip)
{
    const qosDriverStatus_t rc = larkInitL3PSelTcam(chip);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to initialize L3PSel TCAM");
    return static_cast<int>(rc);
}

qosDriverStatus_t larkAddL2PselTcamEntry(qosIf_t *interface, unsigned cos, uint32_t result)
{
    qosIfL2Pri_t &pri = interface->l2_pri;
    dce_tcam_handle_t &handle = pri.cos_trust_handle[cos];
    const qosDriverStatus_t rc = addEntry(L2, interface, cos, result, &handle);
    if (rc != QOS_MSG_DONE)
        return rc;
    qosEdit(pri.tcam_handle_valid) = static_cast<uint8_t>(pri.tcam_handle_valid | 1U << cos);
    QOS_DBG("Added L2PSel Tcam entry with handle = %016llx:%016llx:%04x:%x",
            static_cast<unsigned long long>(handle.input_key), static_cast<unsigned long long>(handle.input_mask_key),
            handle.result_key, handle.application_handle);
    return rc;
}

qosDriverStatus_t larkAddL3PselTcamEntry(qosIf_t *interface, unsigned dscp, uint32_t result)
{
    qosIfL3Pri_t &pri = interface->l3_pri;
    dce_tcam_handle_t &handle = pri.dscp_trust_handle[dscp];
    const qosDriverStatus_t rc = addEntry(L3, interface, dscp, result, &handle);
    if (rc != QOS_MSG_DONE)
        return rc;
    qosEdit(pri.tcam_handle_valid) |= bitOf(dscp);
    QOS_DBG("Added L3PSel Tcam entry with handle = %016llx:%016llx:%04x:%x",
            static_cast<unsigned long long>(handle.input_key), static_cast<unsigned long long>(handle.input_mask_key),
            handle.result_key, handle.application_handle);
    return rc;
}

qosDriverStatus_t larkUpdateL2PSelTcamEntry(const qosIf_t *interface, unsigned cos, uint32_t result)
{
    return updateEntry<larkL2TcamUpdate_t>(L2, interface, interface->l2_pri.cos_trust_handle[cos], result);
}

qosDriverStatus_t larkUpdateL3PSelTcamEntry(const qosIf_t *interface, unsigned dscp, uint32_t result)
{
    return updateEntry<larkL3TcamUpdate_t>(L3, interface, interface->l3_pri.dscp_trust_handle[dscp], result);
}

qosDriverStatus_t larkDelL3PSelTcamEntry(qosIf_t *interface, unsigned dscp)
{
    const qosChip_t *chip = chipOf(__func__, interface);
    if (!chip)
        return QOS_MSG_REFUSED;
    auto *record = qosDceRequest<larkTcamDelete_t>(DCE_TCAM_DELETE);
    record->table = L3.table;
    record->region = REGION;
    writeHandle(interface->l3_pri.dscp_trust_handle[dscp], &record->handle);
    record->word_44 = 1;
    const qosDriverStatus_t rc = qosDceSend(chip->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("IOCTL failed for L3Psel TCAM Delete");
    else
        qosEdit(interface->l3_pri.tcam_handle_valid) &= ~bitOf(dscp);
    return rc;
}

qosDriverStatus_t larkSetL2PriRegMap(const qosIf_t *interface, const qosL2PriMsg_t *body)
{
    constexpr unsigned LAST = QOS_NUM_COS - 1;
    qosDriverStatus_t rc = QOS_MSG_REFUSED;
    if (const qosChip_t *chip = chipOf(__func__, interface)) {
        auto *record = qosDceRequest<larkL2PriRegMap_t>(DCE_L2_CONFIG, LARK_L2_PRI_REG_MAP, 1);
        record->mask = LARK_REG_MAP_MASK;
        uint32_t map = 0;
        for (unsigned priority = 0; priority < LAST; ++priority)
            map = map << 4 | (qaChipPriority(body->tc_map[priority]) & 0xf);
        record->map = map << 4 | LAST; // the highest priority keeps its class whatever the map says
        record->ifIndex = interface->ifIndex;
        rc = qosDceSend(chip->chip_ifindex, record);
    }
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Unable to set l2PriRegMap for if: %s, rc: %d", interface->ifName, rc);
    return rc;
}

qosDriverStatus_t larkSetL2PriMap(qosL2PriMsg_t *body)
{
    qosIf_t *interface = portFind<portMiss_t::Map>(__func__, body);
    if (!interface)
        return QOS_MSG_REFUSED;
    qosDriverStatus_t rc = QOS_MSG_DONE;
    for (unsigned cos = 0; cos < QOS_NUM_COS && rc == QOS_MSG_DONE; ++cos)
        rc = setL2Entry(interface, cos, body);
    return qosAnswer(body, larkSetL2PriRegMap(interface, body));
}

qosDriverStatus_t larkSetL3PriMap(qosL3PriMsg_t *body)
{
    qosIf_t *interface = portFind<portMiss_t::Map>(__func__, body);
    if (!interface)
        return QOS_MSG_REFUSED;
    qosDriverStatus_t rc = QOS_MSG_DONE;
    for (unsigned dscp = 0; dscp < QOS_NUM_DSCP && rc == QOS_MSG_DONE; ++dscp)
        rc = setL3Entry(interface, dscp, body);
    return qosAnswer(body, rc);
}

qosDriverStatus_t larkDelL3PriMap(qosL3PriMsg_t *body)
{
    qosIf_t *interface = portFind<portMiss_t::Map>(__func__, body);
    if (!interface)
        return QOS_MSG_REFUSED;
    qosDriverStatus_t rc = QOS_MSG_DONE;
    for (unsigned dscp = 0; dscp < QOS_NUM_DSCP && rc == QOS_MSG_DONE; ++dscp) {
        if (interface->l3_pri.tcam_handle_valid & bitOf(dscp))
            rc = larkDelL3PSelTcamEntry(interface, dscp);
    }
    if (rc != QOS_MSG_DONE)
        QOS_ERR("TCAM Delete failed for L3 Pri Map for interface %s, error = %d", interface->ifName, rc);
    return qosAnswer(body, rc);
}

constexpr larkL2Entry_t larkSetIfCosTrust = {"larkSetIfCosTrust", larkSetL2PriMap,
                                             QOS_ERR_TEXT("Cos Trust IOCTL failed for interface %s, error = %d"),
                                             QOS_DBG_TEXT("Cos Trust IOCTL set on interface %s")};

constexpr larkL2Entry_t larkSetIfCosMap = {"larkSetIfCosMap", larkSetL2PriMap,
                                           QOS_ERR_TEXT("Cos Mutation IOCTL failed for interface %s, error = %d"),
                                           QOS_DBG_TEXT("Cos Mutation IOCTL set on interface %s")};

constexpr larkL2Entry_t larkSetIfCosTcMap = {"larkSetIfCosTcMap", larkSetL2PriMap,
                                             QOS_ERR_TEXT("Cos TC Mutation IOCTL failed for interface %s, error = %d"),
                                             QOS_DBG_TEXT("Cos TC Mutation IOCTL set on interface %s")};

qosDriverStatus_t larkSetIfDefCos(qosL2PriMsg_t *body)
{
    auto *record = qosDceRequest<larkDefCos_t>(DCE_VLAN_CONFIG);
    record->valid = LARK_VLAN_DEF_COS;
    record->def_cos = body->def_cos;
    const qosDriverStatus_t rc = qosDceSend(body->ifIndex, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Default CoS IOCTL failed for interface %s, error = %d", qosNameOf(body->ifName).text, rc);
    return larkSetL2PriMap(body);
}

constexpr larkL3Entry_t larkSetIfDscpTrust = {"larkSetIfDscpTrust", sendDscpTrust,
                                              QOS_ERR_TEXT("DSCP Trust IOCTL failed for interface %s, error = %d"),
                                              QOS_DBG_TEXT("DSCP Trust IOCTL set on interface %s")};

constexpr larkL3Entry_t larkSetIfDscpCosMap = {
    "larkSetIfDscpCosMap", larkSetL3PriMap, QOS_ERR_TEXT("DSCP Cos Mutation IOCTL failed for interface %s, error = %d"),
    QOS_DBG_TEXT("DSCP Cos Mutation IOCTL set on interface %s")};

constexpr larkL3Entry_t larkSetIfDscpTcMap = {
    "larkSetIfDscpTcMap", larkSetL3PriMap, QOS_ERR_TEXT("DSCP TC Mutation IOCTL failed for interface %s, error = %d"),
    QOS_DBG_TEXT("DSCP TC Mutation IOCTL set on interface %s")};
