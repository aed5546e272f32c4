// The statistics records that traffic fills: policer counters, the drop read of a port, and port counters. What a chip
// counts beyond that stays 0.
#include <algorithm>

#include "hsl/model.h"
#include "velmar/dce.h"

constexpr uint32_t KIND_RMON = 0, KIND_QUEUE = 2; // of port counters
constexpr size_t PORT_RECORD = 456;               // bytes from one port to the next
constexpr uint32_t CLEAR_ALL_PORTS = 0x40000000;  // in the mode word of a clear

static hslPolicer_t *policerAt(hslModel_t &model, uint32_t target, hslBytes record, size_t at)
{
    auto chip = model.chips.find(dce_get_flat_chip_id(target));
    if (chip == model.chips.end())
        return nullptr;
    // On a chip without groups nobody writes the second word.
    uint64_t group = chip->second.type->policer_groups ? hslGet(record, at + 4, 4) : 0;
    bool ingress = hslGet(record, offsetof(cosStats_t, device), 4) == STAT_DEV_INGRESS_POLICER;
    auto place = chip->second.policers.find({ingress, group << 32 | hslGet(record, at, 4)});
    return place == chip->second.policers.end() ? nullptr : &place->second;
}

static hslTraffic_t *trafficAt(hslModel_t &model, hslBytes record, size_t at)
{
    auto place = model.ports.find(static_cast<uint32_t>(hslGet(record, at, 4)));
    return place == model.ports.end() ? nullptr : &place->second.traffic;
}

static void readPolicers(hslModel_t &model, uint32_t target, hslBytes record, hslBuffer &response)
{
    auto keys = hslGet(record, offsetof(cosStats_t, num_requests), 2);
    auto results = hslGet(record, offsetof(cosStats_t, num_responses), 2);
    auto first = sizeof(cosStats_t) + keys * sizeof(cosStatsKey_t) + (results + 31) / 32 * 4;
    for (size_t i = 0; i < std::min(keys, results); ++i) {
        auto policer = policerAt(model, target, record, sizeof(cosStats_t) + i * sizeof(cosStatsKey_t));
        if (!policer)
            continue;
        auto at = first + i * 32;
        hslPut(response, at + 8, 8, hslCount(policer->conform));
        hslPut(response, at + 16, 8, hslCount(policer->exceed));
        hslPut(response, at + 24, 8, hslCount(policer->violate));
    }
}

static double droppedOf(const hslTraffic_t &traffic)
{
    double bytes = 0;
    for (auto &queue : traffic.queues)
        bytes += queue.dropped;
    return bytes;
}

// Frames and bytes sent, frames and bytes received, each for eight priorities from `at` + 0x18, then the four totals.
// Bytes count in units of `unit`.
static void readQueues(const hslTraffic_t &traffic, size_t at, uint32_t unit, hslBuffer &response)
{
    uint64_t totals[4] = {};
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p) {
        auto &queue = traffic.queues[p];
        uint64_t counters[4] = {hslFrames(queue.forwarded), hslCount(queue.forwarded) / unit, hslFrames(queue.enqueued),
                                hslCount(queue.enqueued) / unit};
        for (unsigned i = 0; i < 4; ++i) {
            hslPut(response, at + 0x18 + i * 0x40 + p * 8, 8, counters[i]);
            totals[i] += counters[i];
        }
    }
    for (unsigned i = 0; i < 4; ++i)
        hslPut(response, at + 0x118 + i * 8, 8, totals[i]);
}

static void readPorts(hslModel_t &model, uint32_t target, hslBytes record, hslBuffer &response)
{
    auto chip = model.chips.find(dce_get_flat_chip_id(target));
    uint32_t unit = chip != model.chips.end() && chip->second.type->family == HSL_MIRELLE ? 1 : 8;
    auto kind = hslGet(record, offsetof(cosStats_t, word_40), 4);
    for (size_t i = 0; i < hslGet(record, 32, 4) && (i + 1) * PORT_RECORD + sizeof(cosStats_t) <= response.size();
         ++i) {
        auto traffic = trafficAt(model, record, sizeof(cosStats_t) + i * PORT_RECORD);
        auto data = 32 + i * PORT_RECORD;
        if (traffic && kind == KIND_RMON)
            hslPut(response, data + 0x188, 8, hslFrames(droppedOf(*traffic)));
        else if (traffic && kind == KIND_QUEUE)
            readQueues(*traffic, data, unit, response);
    }
}

void hslTrafficRead(hslModel_t &model, uint32_t target, hslBytes record, hslBuffer &response)
{
    auto device = hslGet(record, offsetof(cosStats_t, device), 4);
    if (hslGet(record, 0, 4) == COS_INGRESS_BUFFERS_PORT) {
        auto traffic = trafficAt(model, record, 28);
        if (!traffic || response.size() != 448)
            return;
        hslPut(response, 432, 8, hslFrames(droppedOf(*traffic)));
        hslPut(response, 440, 8, hslCount(droppedOf(*traffic)));
    } else if (device == STAT_DEV_INGRESS_POLICER || device == STAT_DEV_EGRESS_POLICER) {
        readPolicers(model, target, record, response);
    } else if (device == STAT_DEV_PORT) {
        readPorts(model, target, record, response);
    }
}

static void clearPort(hslTraffic_t &traffic)
{
    for (auto &queue : traffic.queues)
        queue.enqueued = queue.forwarded = queue.dropped = queue.held = 0;
}

void hslTrafficClear(hslModel_t &model, uint32_t target, hslBytes record)
{
    auto device = hslGet(record, offsetof(cosStats_t, device), 4);
    if (device == STAT_DEV_INGRESS_POLICER || device == STAT_DEV_EGRESS_POLICER) {
        // Every bit of the flags is set here; it is no mark to clear all.
        for (size_t i = 0; i < hslGet(record, offsetof(cosStats_t, num_requests), 2); ++i)
            if (auto policer = policerAt(model, target, record, sizeof(cosStats_t) + i * sizeof(cosStatsKey_t)))
                policer->conform = policer->exceed = policer->violate = 0;
        return;
    }
    if (device != STAT_DEV_PORT)
        return;
    auto count = hslGet(record, 32, 4);
    for (size_t i = 0; i < count && 40 + i * 4 + 4 <= record.size(); ++i)
        if (auto traffic = trafficAt(model, record, 40 + i * 4))
            clearPort(*traffic);
    if (!count && (hslGet(record, 36, 4) & CLEAR_ALL_PORTS))
        for (auto &entry : model.ports)
            if (entry.second.flat == dce_get_flat_chip_id(target))
                clearPort(entry.second.traffic);
}
