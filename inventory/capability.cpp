// SPDX-License-Identifier: Apache-2.0
// Both capability roads.
#include "inventory/capability.h"

#include <algorithm>

#include "channels/driver_request.h"
#include "core/state.h"
#include "core/trace.h"
#include "inventory/chips.h"

namespace {

qosIoctlFn_t *dceTransport()
{
    return qos_velmar_state.is_agent ? qosDceIoctl : qosDceMgrIoctl;
}

qosIoctlFn_t *cosTransport()
{
    return qos_velmar_state.is_agent ? qosCosIoctl : qosCosMgrIoctl;
}

void copyPolicers(qosChip_t *chip, const capPolicers_t &policers)
{
    qosChip_t &stored = qosEdit(*chip);
    stored.min_ingr_policer_id = policers.min_ingr_policer_id;
    stored.num_ingr_policer_ids = policers.num_ingr_policer_ids;
    stored.ingr_infin_policer_id = policers.ingr_infin_policer_id;
    stored.min_egr_policer_id = policers.min_egr_policer_id;
    stored.num_egr_policer_ids = policers.num_egr_policer_ids;
    stored.egr_infin_policer_id = policers.egr_infin_policer_id;
    stored.num_policer_profiles = policers.num_policer_profiles;
}

// Fills the chip's port table; its pool and group are the nibbles of one byte here.
void copyPorts(qosChip_t *chip, const capPort_t *ports)
{
    const unsigned count = std::min<unsigned>(chip->num_ports, QOS_NUM_CHIP_PORTS);
    auto &stored = qosEdit(chip->portInfo);
    for (unsigned i = 0; i < count; ++i) {
        stored[i].ifindex = ports[i].ifindex;
        stored[i].num_buffers = ports[i].num_buffers;
        stored[i].bufPoolId = ports[i].pool_and_group >> 4;
        stored[i].polGroupId = ports[i].pool_and_group & 0x0f;
    }
}

void copyPolicingFlags(qosChip_t *chip, uint32_t flags)
{
    qosEdit(chip->pt_based_pol) = (flags & CAP_FLAG_PT_BASED_POL) != 0;
    qosEdit(chip->vlan_based_pol) = (flags & CAP_FLAG_VLAN_BASED_POL) != 0;
}

} // namespace

qosDriverStatus_t qosGetChipCapability(qosChip_t *chip)
{
    if (qosModelTraits(qos_velmar_state.model).records != qosRecords_t::Cos)
        return qosGetDceChipCapability(chip);
    const qosDriverStatus_t rc = qosGetCoSChipCapability(chip);
    if (rc != QOS_MSG_DONE || !qosChipTraits(chip->chip_type).extended)
        return rc;
    return qosGetExtChipCapability(chip);
}

qosDriverStatus_t qosGetDceChipCapability(qosChip_t *chip)
{
    auto *request = qosDceRequest<dceChipCap_t>(DCE_CHIP_CAPABILITY, 1);
    QOS_DBG("Sending Chip Cap IOCTL, req_len = %d", static_cast<int>(sizeof *request));
    const dceChipCap_t *response;
    uint32_t length;
    const qosDriverStatus_t rc = qosSendRequest(dceTransport(), chip->chip_ifindex, request, &response, &length);
    if (rc != QOS_MSG_DONE) {
        QOS_ERR("IOCTL failed for chip capability");
        return rc;
    }
    QOS_DBG("ioctl response with length = %d", length);
    qosEdit(chip->chip_rev) = response->chip_rev;
    const uint32_t code = response->chip_code;
    const uint32_t chip_type = qosChipTypeOfCode(code);
    if (qosChipTraits(chip_type).records == qosRecords_t::Dce)
        qosEdit(chip->chip_type) = chip_type;
    else
        QOS_ERR("Unsupported chip type %d in chip capability", code);
    qosLogChipCapability(chip);
    return QOS_MSG_DONE;
}

qosDriverStatus_t qosGetCoSChipCapability(qosChip_t *chip)
{
    QOS_DBG("Sending chip capability ioctl");
    auto *request = qosCosRequest<cosChipCap_t>(COS_CHIP_CAPABILITY, sizeof(cosChipCap_t));
    const cosChipCap_t *response;
    uint32_t length;
    const qosDriverStatus_t rc = qosSendRequest(cosTransport(), chip->chip_ifindex, request, &response, &length);
    if (rc != QOS_MSG_DONE) {
        QOS_ERR("IOCTL failed for chip capability");
        return rc;
    }
    QOS_DBG("ioctl response with length  = %d", length);
    const uint32_t code = response->chip_code;
    const uint32_t chip_type = qosChipTypeOfCode(code);
    if (chip_type == QOS_CHIP_TYPES || qosChipTraits(chip_type).records != qosRecords_t::Cos) {
        QOS_ERR("Unsupported chip type %d in chip capability", code);
        return QOS_MSG_REFUSED;
    }
    qosEdit(chip->chip_type) = chip_type;
    qosEdit(chip->chip_rev) = response->chip_rev;
    copyPolicers(chip, response->policers);
    qosEdit(chip->num_ports) = response->num_ports;
    return QOS_MSG_DONE;
}

qosDriverStatus_t qosGetExtChipCapability(qosChip_t *chip)
{
    QOS_DBG("Sending extended chip capability request for chip %d/%d", chip->slot_id, chip->local_chip_id);
    auto *request = qosCosRequest<cosExtChipCap_t>(COS_EXT_CHIP_CAPABILITY, sizeof(cosExtChipCap_t));
    const cosExtChipCap_t *response;
    uint32_t length;
    const qosDriverStatus_t rc = qosSendRequest(cosTransport(), chip->chip_ifindex, request, &response, &length);
    if (rc != QOS_MSG_DONE) {
        QOS_ERR("IOCTL failed for extended chip capability for chip %d/%d", chip->slot_id, chip->local_chip_id);
        return rc;
    }
    QOS_DBG("Extended chip capability IOCTL response with length = %d", length);
    const uint32_t code = response->chip_code;
    if (!qosChipTraits(qosChipTypeOfCode(code)).extended) {
        QOS_ERR("Invalid Chip Id %d in extended chip capability for chip %d/%d", code, chip->slot_id,
                chip->local_chip_id);
        return QOS_MSG_REFUSED;
    }
    qosParseExtChipCapability(chip, response);
    return QOS_MSG_DONE;
}

void qosParseExtChipCapability(qosChip_t *chip, const cosExtChipCap_t *response)
{
    copyPolicingFlags(chip, response->flags);
    qosChip_t &stored = qosEdit(*chip);
    stored.num_policer_groups = static_cast<uint16_t>(response->num_policer_groups);
    stored.maxRedProfilesPerChip = qosChipTraits(chip->chip_type).max_shared_profiles;
    stored.numChipBuffPools = response->numChipBuffPools;
    stored.chipBuffers = response->chipBuffers;
    stored.num_ports = response->num_ports;
    copyPorts(chip, response->ports);
}

void qosCopyCapsToChip(const qosChipCap_t *record, qosChip_t *chip)
{
    const uint32_t code = record->chip_code;
    QOS_INF("chip id: 0x%x", code);
    const uint32_t chip_type = qosChipTypeOfCode(code);
    if (chip_type == QOS_CHIP_TYPES) {
        QOS_ERR("Unknown chip id from IFM: %d", code);
        return;
    }
    qosEdit(chip->chip_type) = chip_type;
    const qosChipTraits_t &traits = qosChipTraits(chip_type);
    if (traits.policers)
        qosCopyPolicerCapsToChip(record, chip);
    if (traits.extended)
        qosCopyExtCapsToChip(record, chip);
}

void qosCopyPolicerCapsToChip(const qosChipCap_t *record, qosChip_t *chip)
{
    qosEdit(chip->chip_rev) = record->chip_rev;
    copyPolicers(chip, record->policers);
}

void qosCopyExtCapsToChip(const qosChipCap_t *record, qosChip_t *chip)
{
    QOS_INF("Copying extended caps for chip: %x", chip->chip_ifindex);
    copyPolicingFlags(chip, record->flags);
    qosChip_t &stored = qosEdit(*chip);
    stored.num_policer_groups = record->num_policer_groups;
    QOS_INF("Num policer groups: %d", chip->num_policer_groups);
    stored.maxRedProfilesPerChip = record->maxRedProfilesPerChip;
    stored.numChipBuffPools = record->numChipBuffPools;
    stored.chipBuffers = record->chipBuffers;
    stored.egr_td_red_prof = record->egr_td_red_prof;
    stored.num_ports = record->num_port_entries;
    copyPorts(chip, record->ports);
}

void qosCopyCapsFromChipUpMsg(qosChipCap_t *record, const qosChipUpMsg_t *message)
{
    const uint32_t chip_type = message->chip_type;
    if (chip_type >= QOS_CHIP_TYPES) {
        QOS_ERR("Unknown chip type %d", chip_type);
        return;
    }
    const qosChipTraits_t &traits = qosChipTraits(chip_type);
    record->chip_code = traits.codes[0];
    if (traits.policers)
        qosCopyPolicerCapsFromChipUpMsg(record, message);
    if (traits.extended)
        qosCopyExtCapsFromChipUpMsg(record, message);
}

void qosCopyPolicerCapsFromChipUpMsg(qosChipCap_t *record, const qosChipUpMsg_t *message)
{
    record->chip_rev = message->chip_rev;
    record->policers.min_ingr_policer_id = message->min_ingr_policer_id;
    record->policers.num_ingr_policer_ids = message->num_ingr_policer_ids;
    record->policers.ingr_infin_policer_id = message->ingr_infin_policer_id;
    record->policers.min_egr_policer_id = message->min_egr_policer_id;
    record->policers.num_egr_policer_ids = message->num_egr_policer_ids;
    record->policers.egr_infin_policer_id = message->egr_infin_policer_id;
    record->policers.num_policer_profiles = message->num_policer_profiles;
}

void qosCopyExtCapsFromChipUpMsg(qosChipCap_t *record, const qosChipUpMsg_t *message)
{
    record->flags = ((message->pt_based_pol & 1) ? CAP_FLAG_PT_BASED_POL : 0) |
                    ((message->vlan_based_pol & 1) ? CAP_FLAG_VLAN_BASED_POL : 0);
    record->num_policer_groups = message->num_policer_groups;
    record->numChipBuffPools = message->numChipBuffPools;
    record->chipBuffers = message->chipBuffers;
    // The profile count goes to the word of the port count, which overwrites it: a chip that came by a message has
    // none.
    record->num_port_entries = message->maxRedProfilesPerChip;
    record->num_port_entries = static_cast<uint32_t>(message->num_ports);
    record->egr_td_red_prof = message->egr_td_red_prof;
    const int ports = std::min<int>(message->num_ports, CHIP_PORTS);
    for (int i = 0; i < ports; ++i) {
        const qosChipPortInfo_t &from = message->portInfo[i];
        record->ports[i].ifindex = from.ifindex;
        record->ports[i].num_buffers = from.num_buffers;
        record->ports[i].pool_and_group = static_cast<uint8_t>((from.bufPoolId & 0x0f) << 4 | (from.polGroupId & 0x0f));
    }
}

void qosLogChipCapability(const qosChip_t *chip)
{
    QOS_INF("Chip Capabilities for chip %d/%d", chip->slot_id, chip->local_chip_id);
    QOS_INF(" Chip Type = %s", qosChipTypeName(chip->chip_type));
    QOS_INF(" Chip Rev = %d", chip->chip_rev);
    QOS_INF(" Num of ports = %d", chip->num_ports);
    QOS_INF(" Num of ingr policers = %d", chip->num_ingr_policer_ids);
    QOS_INF(" Ingress infinite policer id = %d", chip->ingr_infin_policer_id);
    QOS_INF(" Min ingr policer id = %d", chip->min_ingr_policer_id);
    QOS_INF(" Num of egr policers = %d", chip->num_egr_policer_ids);
    QOS_INF(" Egress infinite policer id = %d", chip->egr_infin_policer_id);
    QOS_INF(" Min egr policer id = %d", chip->min_egr_policer_id);
    QOS_INF(" Num of policer profiles = %d", chip->num_policer_profiles);
    if (qosChipTraits(chip->chip_type).extended)
        qosLogExtChipCapability(chip);
}

void qosLogExtChipCapability(const qosChip_t *chip)
{
    QOS_INF(" pt_based_pol = %s", chip->pt_based_pol ? "True" : "False");
    QOS_INF(" vlan_based_pol = %s", chip->vlan_based_pol ? "True" : "False");
    QOS_INF(" number of policer groups = %d", chip->num_policer_groups);
    QOS_INF(" number of buffer pools = %d", chip->numChipBuffPools);
    QOS_INF(" number of chip buffers = %d", chip->chipBuffers);
    QOS_INF(" number of RED profiles per chip = %d", chip->maxRedProfilesPerChip);
    QOS_INF(" default red profile id = %d", chip->egr_td_red_prof);
    const unsigned ports = std::min<unsigned>(chip->num_ports, QOS_NUM_CHIP_PORTS);
    for (unsigned i = 0; i < ports; ++i) {
        const qosChipPortInfo_t &port = chip->portInfo[i];
        QOS_INF(" ifIndex = 0x%08x", static_cast<uint32_t>(port.ifindex));
        QOS_INF("  num_buffers = %d", static_cast<uint32_t>(port.num_buffers));
        QOS_INF("  bufPoolId = %d", static_cast<uint16_t>(port.bufPoolId));
        QOS_INF("  polGroupId = %d", static_cast<uint16_t>(port.polGroupId));
    }
}
