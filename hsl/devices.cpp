// SPDX-License-Identifier: Apache-2.0
// Reads and clears of the statistics devices: policers, RED, drop reasons, port counters, the chip's own. A clear sets
// to 0 what it names and nothing else.
#include <algorithm>

#include "hsl/counters.h"
#include "platform/records/congestion.h"
#include "platform/records/statistics.h"
#include "velmar/dce.h"

constexpr size_t POLICER_RESULT = 32, RED_RESULT = 72; // bytes
constexpr size_t REASON_KEY = sizeof(cosStats_t);      // of drop reasons: the index, then the flags

static hslChip_t *chipAt(hslModel_t &model, uint32_t target)
{
    auto place = model.chips.find(dce_get_flat_chip_id(target));
    return place == model.chips.end() ? nullptr : &place->second;
}

static hslPort_t *portAt(hslModel_t &model, hslBytes record, size_t at)
{
    auto place = model.ports.find(static_cast<uint32_t>(hslGet(record, at, 4)));
    return place == model.ports.end() ? nullptr : &place->second;
}

static size_t keyAt(size_t n)
{
    return sizeof(cosStats_t) + n * sizeof(cosStatsKey_t);
}

// Where the results stand: behind the keys and the bitmap.
static size_t resultsAt(hslBytes record)
{
    auto results = hslGet(record, offsetof(cosStats_t, num_responses), 2);
    return keyAt(hslGet(record, offsetof(cosStats_t, num_requests), 2)) + (results + 31) / 32 * 4;
}

static size_t keyCount(hslBytes record)
{
    return hslGet(record, offsetof(cosStats_t, num_requests), 2);
}

static hslPolicer_t *policerAt(hslChip_t &chip, hslBytes record, size_t at)
{
    // On a chip without groups nobody writes the second word.
    uint64_t group = chip.type->policer_groups ? hslGet(record, at + 4, 4) : 0;
    bool ingress = hslGet(record, offsetof(cosStats_t, device), 4) == STAT_DEV_INGRESS_POLICER;
    auto place = chip.policers.find({ingress, group << 32 | hslGet(record, at, 4)});
    return place == chip.policers.end() ? nullptr : &place->second;
}

// Reads.

static void readPolicers(hslModel_t &, hslChip_t &chip, hslBytes record, hslBuffer &response)
{
    for (size_t i = 0; i < keyCount(record); ++i)
        if (auto policer = policerAt(chip, record, keyAt(i))) {
            auto at = resultsAt(record) + i * POLICER_RESULT;
            hslPut(response, at + 8, 8, hslCount(policer->conform));
            hslPut(response, at + 16, 8, hslCount(policer->exceed));
            hslPut(response, at + 24, 8, hslCount(policer->violate));
        }
}

// Frames and bytes by colour; of the priority that the key names, on a Mirelle of all.
static void readRed(hslModel_t &model, hslChip_t &chip, hslBytes record, hslBuffer &response)
{
    bool whole = chip.type->family == HSL_MIRELLE;
    for (size_t i = 0; i < keyCount(record); ++i) {
        auto port = portAt(model, record, keyAt(i));
        auto priority = hslGet(record, keyAt(i) + 4, 4);
        for (unsigned colour = 0; port && colour < COLOURS; ++colour) {
            double bytes = 0;
            for (unsigned p = 0; p < HSL_PRIORITIES; ++p)
                bytes += whole || p == priority ? port->traffic.queues[p].red[colour] : 0;
            auto at = resultsAt(record) + i * RED_RESULT + colour * 8;
            hslPut(response, at + offsetof(cosRedResult_t, first), 8, hslFrames(bytes));
            hslPut(response, at + offsetof(cosRedResult_t, second), 8, hslCount(bytes));
        }
    }
}

// Frames by reason; behind them those of each kind of drop, and of all.
static void readReasons(hslModel_t &model, hslChip_t &chip, hslBytes record, hslBuffer &response)
{
    auto port = portAt(model, record, REASON_KEY);
    if (!port)
        return;
    auto reasons = port->traffic.reasons;
    double all = 0;
    for (unsigned kind = 0; kind < DROP_KINDS; ++kind) {
        auto bytes = port->traffic.drops[kind];
        all += bytes;
        if (chip.type->reasons[kind] >= 0)
            reasons[static_cast<uint32_t>(chip.type->reasons[kind])] += bytes;
        hslPut(response, offsetof(cosDropRsnResponse_t, total) + kind * 8, 8, hslFrames(bytes));
    }
    hslPut(response, offsetof(cosDropRsnResponse_t, total) + DROP_KINDS * 8, 8, hslFrames(all));
    for (auto &[reason, bytes] : reasons)
        hslPut(response, offsetof(cosDropRsnResponse_t, counter) + reason * 8, 8, hslFrames(bytes));
}

static void readPorts(hslModel_t &model, hslChip_t &chip, hslBytes record, hslBuffer &response)
{
    auto rows = hslPortRows(static_cast<uint32_t>(hslGet(record, offsetof(cosPortStats_t, kind), 4)));
    auto ports = hslGet(record, offsetof(cosPortStats_t, num_ports), 4);
    for (size_t i = 0, base = 0; i < ports && base + sizeof(cosPortStats_t) <= response.size();
         ++i, base += sizeof(cosPortCounters_t))
        if (auto port = portAt(model, record, base + offsetof(cosPortStats_t, ifindex)))
            hslPutRows(rows, chip, hslPortQuantities(chip, *port), base + offsetof(cosPortStats_t, num_ports),
                       response);
}

static void readAsic(hslModel_t &model, hslChip_t &chip, hslBytes, hslBuffer &response)
{
    hslPutRows(hslAsicRows(), chip, hslChipQuantities(model, chip), 0, response);
}

// Clears.

static void clearPolicers(hslModel_t &, hslChip_t &chip, hslBytes record)
{
    // Every bit of the flags is set here; it is no mark to clear all.
    for (size_t i = 0; i < keyCount(record); ++i)
        if (auto policer = policerAt(chip, record, keyAt(i)))
            policer->conform = policer->exceed = policer->violate = 0;
}

static void clearRed(hslModel_t &model, hslChip_t &chip, hslBytes record)
{
    for (size_t i = 0; i < keyCount(record); ++i) {
        bool all = hslGet(record, keyAt(i) + offsetof(cosStatsKey_t, flags), 4) & 1;
        auto index = hslGet(record, keyAt(i), 4), priority = hslGet(record, keyAt(i) + 4, 4);
        for (auto &[ifindex, port] : model.ports)
            if (priority < HSL_PRIORITIES && (all ? port.flat == chip.flat : ifindex == index))
                for (auto &bytes : port.traffic.queues[priority].red)
                    bytes = 0;
    }
}

static void clearReasons(hslModel_t &model, hslChip_t &chip, hslBytes record)
{
    bool all = hslGet(record, offsetof(cosDropRsn_t, flags), 4) & 1;
    for (auto &[ifindex, port] : model.ports)
        if (all ? port.flat == chip.flat : ifindex == hslGet(record, REASON_KEY, 4)) {
            std::fill(std::begin(port.traffic.drops), std::end(port.traffic.drops), 0);
            port.traffic.reasons.clear();
        }
}

void hslClearPort(hslTraffic_t &traffic)
{
    traffic.peak = traffic.pause_received = 0;
    for (auto &queue : traffic.queues) {
        queue.enqueued = queue.forwarded = queue.dropped = queue.held = 0;
        queue.pause_sent = queue.pause_received = queue.xoff = queue.paused = 0;
        queue.peak = queue.level.now;
        traffic.peak += queue.level.now;
    }
}

static void clearPorts(hslModel_t &model, hslChip_t &chip, hslBytes record)
{
    auto count = hslGet(record, offsetof(cosPortStatsClear_t, num_ports), 4);
    auto list = offsetof(cosPortStatsClear_t, ifindex);
    for (size_t i = 0; i < count && list + i * 4 + 4 <= record.size(); ++i)
        if (auto port = portAt(model, record, list + i * 4))
            hslClearPort(port->traffic);
    if (!count && (hslGet(record, offsetof(cosPortStatsClear_t, mode), 4) & STAT_CLEAR_ALL_PORTS))
        for (auto &entry : model.ports)
            if (entry.second.flat == chip.flat)
                hslClearPort(entry.second.traffic);
}

// The debug devices have one thing to forget: the chip's high-water marks.
static void clearDebug(hslModel_t &model, hslChip_t &chip, hslBytes)
{
    chip.peaks = {};
    for (auto &entry : model.ports)
        for (unsigned p = 0; p < HSL_PRIORITIES && entry.second.flat == chip.flat; ++p) {
            chip.peaks.priority[p] += entry.second.traffic.queues[p].level.now;
            chip.peaks.all += entry.second.traffic.queues[p].level.now;
        }
}

// The table.

struct device_t {
    uint32_t first, last;
    void (*read)(hslModel_t &model, hslChip_t &chip, hslBytes record, hslBuffer &response);
    void (*clear)(hslModel_t &model, hslChip_t &chip, hslBytes record);
};

static constexpr device_t devices[] = {
    {STAT_DEV_RED_MIRELLE, STAT_DEV_RED_TESSEL, readRed, clearRed},
    {STAT_DEV_DROP_REASON, STAT_DEV_DROP_REASON, readReasons, clearReasons},
    {STAT_DEV_INGRESS_POLICER, STAT_DEV_EGRESS_POLICER, readPolicers, clearPolicers},
    {STAT_DEV_PORT, STAT_DEV_PORT, readPorts, clearPorts},
    {STAT_DEV_DEBUG_FIRST, STAT_DEV_DEBUG_LAST, nullptr, clearDebug},
    {STAT_DEV_ASIC, STAT_DEV_ASIC, readAsic, nullptr},
};

static const device_t *deviceOf(hslBytes record)
{
    auto number = hslGet(record, offsetof(cosStats_t, device), 4);
    auto device = std::find_if(std::begin(devices), std::end(devices),
                               [&](auto &row) { return number >= row.first && number <= row.last; });
    return device == std::end(devices) ? nullptr : device;
}

void hslStatsRead(hslModel_t &model, uint32_t target, hslBytes record, hslBuffer &response)
{
    if (hslGet(record, 0, 4) != COS_STATS_READ) {
        hslBlockRead(model, target, record, response);
        return;
    }
    auto chip = chipAt(model, target);
    auto device = deviceOf(record);
    if (chip && device && device->read)
        device->read(model, *chip, record, response);
}

void hslStatsClear(hslModel_t &model, uint32_t target, hslBytes record)
{
    auto chip = chipAt(model, target);
    auto device = deviceOf(record);
    if (chip && device && device->clear)
        device->clear(model, *chip, record);
}
