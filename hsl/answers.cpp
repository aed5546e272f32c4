// SPDX-License-Identifier: Apache-2.0
// What responses and chip events carry: capabilities, buffer sizes, TCAM handles, the frame of statistics, what the
// model counts, and bytes that a user has set. All else is zero, as of an idle chip.
#include "hsl/model.h"

#include <algorithm>

#include "hsl/larkin.h"
#include "velmar/dce.h"

static const hslChip_t *chipOf(const hslModel_t &model, uint32_t target, uint32_t port)
{
    int flat = dce_get_flat_chip_id(target);
    auto place = model.chips.find(flat < 0 ? dce_get_flat_chip_id(port) : flat);
    return place == model.chips.end() ? nullptr : &place->second;
}

// Type 6 has 127 port numbers in a slot; a larger chip's ports are of type 3. Port numbers count from 1.
uint32_t hslChipPort(const hslChip_t &chip, unsigned n)
{
    auto slot = static_cast<uint32_t>(dce_get_slot_id(chip.flat));
    auto number = static_cast<uint32_t>(dce_get_slot_chip_id(chip.flat));
    return chip.ports <= 127 ? 6u << 26 | slot << 22 | (n + 1) << 15 | number
                             : 3u << 26 | slot << 21 | (n + 1) << 13 | number;
}

uint32_t hslPolicerGroup(const hslChip_t &chip, uint32_t ifindex)
{
    for (unsigned n = 0; chip.type->policer_groups && n < chip.ports; ++n)
        if (hslChipPort(chip, n) == ifindex)
            return n * chip.type->policer_groups / chip.ports;
    return 0;
}

static void fillPorts(const hslChip_t &chip, capPort_t *ports)
{
    for (unsigned i = 0; i < std::min(chip.ports, CHIP_PORTS); ++i) {
        unsigned pool = i * chip.type->pools / chip.ports;
        ports[i].ifindex = hslChipPort(chip, i);
        auto group = hslPolicerGroup(chip, ports[i].ifindex);
        ports[i].num_buffers = chip.buffers / chip.ports;
        ports[i].pool_and_group = static_cast<uint8_t>(pool << 4 | group);
    }
}

static void fillPolicers(const hslChipType_t &type, capPolicers_t *policers)
{
    static_assert(sizeof *policers == sizeof type.policers);
    auto words = reinterpret_cast<be32 *>(policers);
    for (unsigned i = 0; i < std::size(type.policers); ++i)
        words[i] = type.policers[i];
}

static uint32_t policerFlags(const hslChipType_t &type)
{
    return type.traits().extended ? CAP_FLAG_PT_BASED_POL | CAP_FLAG_VLAN_BASED_POL : 0;
}

static void answerCapability(const hslChip_t &chip, uint32_t command, hslBuffer &response)
{
    auto &type = *chip.type;
    if (command == DCE_CHIP_CAPABILITY) {
        auto cap = reinterpret_cast<dceChipCap_t *>(response.data());
        cap->chip_code = type.traits().codes[0];
        cap->chip_rev = type.rev;
    } else if (command == COS_CHIP_CAPABILITY) {
        auto cap = reinterpret_cast<cosChipCap_t *>(response.data());
        cap->chip_code = type.traits().codes[0];
        cap->chip_rev = type.rev;
        fillPolicers(type, &cap->policers);
        cap->num_ports = chip.ports;
    } else {
        auto cap = reinterpret_cast<cosExtChipCap_t *>(response.data());
        cap->chip_code = type.traits().codes[0];
        cap->flags = policerFlags(type);
        cap->num_policer_groups = type.policer_groups;
        cap->chipBuffers = chip.buffers;
        cap->numChipBuffPools = type.pools;
        cap->num_ports = chip.ports;
        fillPorts(chip, cap->ports);
    }
}

hslBuffer hslChipEvent(const hslChip_t &chip, chipEvent_t event)
{
    hslBuffer body(sizeof(qosChipCap_t));
    auto cap = reinterpret_cast<qosChipCap_t *>(body.data());
    auto &type = *chip.type;
    cap->event = event;
    cap->slot = static_cast<uint32_t>(dce_get_slot_id(chip.flat));
    cap->chip = static_cast<uint32_t>(dce_get_slot_chip_id(chip.flat));
    cap->flat_chip = static_cast<uint32_t>(chip.flat);
    cap->chip_ifindex = dce_get_ifindex(chip.flat);
    cap->num_ports = chip.ports;
    cap->chip_code = type.traits().codes[0];
    cap->chip_rev = type.rev;
    fillPolicers(type, &cap->policers);
    cap->flags = policerFlags(type);
    cap->num_policer_groups = type.policer_groups;
    cap->chipBuffers = chip.buffers;
    cap->numChipBuffPools = type.pools;
    cap->maxRedProfilesPerChip = type.traits().max_shared_profiles;
    cap->num_port_entries = chip.ports;
    fillPorts(chip, cap->ports);
    return body;
}

// The head and the request records come back; a bit of the bitmap for each result, and the results behind it.
static void answerStats(hslBytes record, hslBuffer &response)
{
    auto device = static_cast<uint32_t>(hslGet(record, 28, 4));
    auto head = std::min({record.size(), response.size(), sizeof(cosStats_t)});
    std::copy_n(record.begin() + COS_HEAD, head - COS_HEAD, response.begin() + COS_HEAD);
    if (device == STAT_DEV_PORT) {
        for (size_t at = sizeof(cosStats_t); at + 4 <= response.size() && at + 4 <= record.size(); at += 456)
            hslPut(response, at, 4, hslGet(record, at, 4));
        return;
    }
    auto sizes = hslStatSizes(device);
    auto keys = static_cast<size_t>(hslGet(record, 34, 2)), results = static_cast<size_t>(hslGet(record, 36, 2));
    auto bitmap = sizeof(cosStats_t) + keys * sizes.key;
    auto end = std::min({bitmap, record.size(), response.size()});
    if (end > sizeof(cosStats_t))
        std::copy(record.begin() + sizeof(cosStats_t), record.begin() + static_cast<std::ptrdiff_t>(end),
                  response.begin() + sizeof(cosStats_t));
    if (!sizes.key || hslGet(record, 0, 4) != COS_STATS_READ)
        return;
    hslPut(response, 38, 2, results);
    auto first = bitmap + (results + 31) / 32 * 4;
    for (size_t i = 0; i < results; ++i) {
        auto word = bitmap + i / 32 * 4;
        hslPut(response, word, 4, hslGet(response, word, 4) | uint64_t{1} << i % 32);
        if (device == STAT_DEV_RED_TESSEL) // the priority that was asked for
            hslPut(response, first + i * sizes.result + 4, 4, hslGet(record, sizeof(cosStats_t) + i * 12 + 4, 4));
    }
}

void hslModelAnswer(hslModel_t &model, uint32_t target, const hslCommand_t &row, hslBytes record, hslBuffer &response)
{
    auto port = hslPortOf(row, record);
    auto chip = chipOf(model, target, port);
    auto buffers = chip ? chip->buffers : 0;
    switch (row.command) {
    case DCE_CHIP_CAPABILITY:
    case COS_CHIP_CAPABILITY:
    case COS_EXT_CHIP_CAPABILITY:
        if (chip)
            answerCapability(*chip, row.command, response);
        break;
    case DCE_CCB_GET:
        if (row.operation == 34) {
            hslPut(response, 12, 4, buffers);
            hslPut(response, 16, 4, chip ? buffers / chip->ports : 0);
        }
        break;
    case COS_SBP_SIZE:
        hslPut(response, 28, 4, buffers);
        break;
    case COS_TMC_INFO:
        hslPut(response, 28, 4, chip ? static_cast<uint32_t>(chip->flat) : 0);
        hslPut(response, 32, 4, 1);
        break;
    case DCE_TCAM_ADD:
        hslTcamAnswer(record, model.next_handle - 1, response);
        break;
    case DCE_PORT_COUNTERS:
        hslPut(response, 16, 4, 1);
        break; // interfaces in the answer
    case COS_STATS_READ:
    case COS_STATS_CLEAR:
        answerStats(record, response);
        break;
    }
    if (row.family == HSL_COS)
        hslStatsRead(model, target, record, response);
    else
        hslLarkinRead(model, target, row, record, response);
    for (auto &data : model.data) {
        if (data.command != row.command || (data.port && data.port != port) || data.offset > response.size())
            continue;
        auto fits = std::min(data.bytes.size(), response.size() - data.offset);
        std::copy_n(data.bytes.begin(), fits, response.begin() + static_cast<std::ptrdiff_t>(data.offset));
    }
}
