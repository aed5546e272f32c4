// SPDX-License-Identifier: Apache-2.0
// Settings of a Larkin as its queues follow them, its multicast queues, and the buffer that a port's queues share.
#include "hsl/larkin.h"

#include <algorithm>
#include <cmath>

#include "hsl/queues.h"
#include "platform/records/larkin.h"
#include "velmar/dce.h"

constexpr double BYTES_PER_MBIT = 125000.0; // of a second
constexpr uint32_t RED_CERTAIN = 255;       // a probability of 1; the record has none
constexpr uint32_t UNLIMITED = 0xFF;        // every priority

// Settings.

unsigned hslLarkinQueue(const hslPort_t &port, unsigned wire)
{
    auto tc = hslToldValue(port.told, DCE_L2_CONFIG, LARK_L2_PRI_REG_MAP, "tc", wire);
    return static_cast<unsigned>(tc.value_or(wire) % HSL_PRIORITIES);
}

static void followWire(hslChip_t &chip, hslPort_t &port)
{
    auto curve = [&](const char *name) {
        return static_cast<uint32_t>(hslToldValue(chip.told, DCE_CCB_SET, LARK_RED_CHIP, name).value_or(0));
    };
    for (auto &queue : port.setup.queues) {
        queue.pfc.reset();
        queue.red.reset();
    }
    for (unsigned wire = 0; wire < HSL_PRIORITIES; ++wire) {
        auto &told = port.setup.wire[wire];
        auto &queue = port.setup.queues[hslLarkinQueue(port, wire)];
        if (told.pfc && (!queue.pfc || (told.pfc->tx && !queue.pfc->tx)))
            queue.pfc = told.pfc;
        if (told.red && !(queue.red && queue.red->on))
            queue.red = told.red;
        // The chip has one curve; the word of a port says which of the two names it goes by.
        if (told.red && told.red->on && curve("active"))
            chip.red[told.red->profile] =
                hslRed_t{true, told.red->profile, true, curve("min"), curve("max"), RED_CERTAIN, 0};
    }
}

// Priorities above the boundary are strict; none is limited.
template <typename Weight>
static hslScheduler_t scheduler(uint32_t boundary, Weight weight)
{
    hslScheduler_t out{};
    out.boundary = boundary;
    out.unlimited = UNLIMITED;
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p) {
        out.group[p] = p;
        out.weight[p] = static_cast<uint32_t>(weight(p));
        out.queue_weight[p] = 1;
    }
    return out;
}

static void followScheduler(const hslChip_t &chip, hslPort_t &port)
{
    auto field = [&](const char *name, unsigned index = 0) {
        return hslToldValue(chip.told, DCE_CCB_SET, LARK_SCHEDULER, name, index);
    };
    if (auto policy = field("policy"))
        port.setup.scheduler = scheduler(static_cast<uint32_t>(*policy), [&](unsigned p) {
            return *field("weight of 7 6 5 4 3 2 0 1", HSL_PRIORITIES - 1 - p); // the words name the agent's classes
        });
}

// Multicast.

static void followLimit(hslChip_t &chip)
{
    auto rate = hslToldValue(chip.told, DCE_L2_CONFIG, LARK_MCAST_RATE_LIMIT, "rate");
    auto burst = hslToldValue(chip.told, DCE_L2_CONFIG, LARK_MCAST_RATE_LIMIT, "burst");
    std::pair<bool, uint64_t> key{true, HSL_MCAST_LIMIT};
    if (!rate || !*rate) {
        chip.policers.erase(key);
        return;
    }
    auto &limit = chip.policers[key];
    double cir = static_cast<double>(*rate) * BYTES_PER_MBIT, cbs = static_cast<double>(*burst);
    if (limit.cir != cir || limit.committed.bound != cbs) // else the bucket is as full as it is
        hslPolicerSet(limit, cir, cbs, 0, 0);
}

static bool leavesPort(const hslFlow_t &flow)
{
    return flow.kind != TRAFFIC_UNICAST && !flow.reason;
}

static std::vector<hslFlow_t> multicastFlows(hslModel_t &model, const hslChip_t &chip)
{
    std::vector<hslFlow_t> flows;
    for (auto &[ifindex, port] : model.ports) {
        if (port.flat != chip.flat || !hslIsPort(ifindex))
            continue;
        for (auto &flow : port.traffic.flows) {
            flow.elsewhere = leavesPort(flow);
            if (!flow.elsewhere)
                continue;
            flows.push_back(flow);
            flows.back().elsewhere = false;
            flows.back().policer = HSL_MCAST_LIMIT;
        }
    }
    return flows;
}

static void followMulticast(hslModel_t &model, hslChip_t &chip)
{
    auto field = [&](larkL2Operation_t operation, const char *name, unsigned index) {
        return hslToldValue(chip.told, DCE_L2_CONFIG, operation, name, index);
    };
    followLimit(chip);
    auto flows = multicastFlows(model, chip);
    auto ifindex = dce_get_ifindex(chip.flat);
    bool told = field(LARK_MCAST_TAIL_DROP, "queue", 0) || field(LARK_MCAST_SCHEDULER, "tc", 0);
    if (flows.empty() && !told && !model.ports.count(ifindex))
        return;
    auto &port = model.ports.try_emplace(ifindex, hslPort_t{ifindex, chip.flat, {}, {}, {}}).first->second;
    port.traffic.flows = std::move(flows);
    for (unsigned i = 0; i < HSL_PRIORITIES; ++i)
        if (auto queue = field(LARK_MCAST_TAIL_DROP, "queue", i))
            port.setup.queues[*queue % HSL_PRIORITIES].threshold =
                static_cast<uint32_t>(*field(LARK_MCAST_TAIL_DROP, "threshold", i));
    if (field(LARK_MCAST_SCHEDULER, "tc", 0)) {
        port.setup.scheduler = scheduler(HSL_PRIORITIES - 1, [](unsigned) { return 1; });
        for (unsigned i = 0; i < HSL_PRIORITIES; ++i)
            port.setup.scheduler->weight[*field(LARK_MCAST_SCHEDULER, "tc", i) % HSL_PRIORITIES] =
                static_cast<uint32_t>(*field(LARK_MCAST_SCHEDULER, "weight", i));
    }
}

void hslLarkinFollow(hslModel_t &model, int only)
{
    for (auto &[flat, chip] : model.chips) {
        if (chip.type->family != HSL_LARKIN || (only >= 0 && only != flat))
            continue;
        chip.red.clear();
        for (auto &[ifindex, port] : model.ports)
            if (port.flat == flat && hslIsPort(ifindex)) {
                followWire(chip, port);
                followScheduler(chip, port);
            }
        followMulticast(model, chip);
    }
}

// Shared buffer.

static bool shares(const hslQueue_t &queue, bool losslessOnly)
{
    return queue.lossless || !losslessOnly;
}

// Queues that share a bound, as one level.
static hslLevel_t together(const hslTraffic_t &traffic, double bound, bool losslessOnly)
{
    hslLevel_t sum;
    sum.bound = bound;
    for (auto &queue : traffic.queues)
        if (shares(queue, losslessOnly)) {
            sum.now += queue.level.now;
            sum.slope += queue.level.slope;
        }
    if (std::fabs(sum.now - bound) < HSL_GRAIN)
        sum.now = bound;
    return sum;
}

// At their bound no more comes in than leaves, and each grows in proportion; above it, where the bound fell below what
// waits, nothing comes to those that wait. Frames that leave at once take no buffer.
static void cutGrowth(hslTraffic_t &traffic, const hslLevel_t &sum, bool losslessOnly)
{
    bool above = sum.now > sum.bound + HSL_GRAIN;
    if (!hslAtBound(sum) || (sum.slope <= 0 && !above))
        return;
    double growth = 0;
    for (auto &queue : traffic.queues)
        growth += shares(queue, losslessOnly) ? std::max(queue.level.slope, 0.0) : 0;
    for (auto &queue : traffic.queues) {
        auto &level = queue.level;
        if (!shares(queue, losslessOnly) || (!above && level.slope <= 0))
            continue;
        if (above)
            level.slope = level.now > 0 ? -queue.out : 0;
        else
            level.slope *= 1 - sum.slope / growth;
        level.pull = 0;
        queue.loses = true;
        queue.lossless = losslessOnly; // nobody is paused for the sake of the budget
    }
}

void hslLarkinShare(hslPort_t &port)
{
    auto &setup = port.setup;
    auto &traffic = port.traffic;
    double budget = std::min(setup.budget.value_or(UINT32_MAX), setup.port_buffer.value_or(UINT32_MAX));
    double reserve = setup.emergency.value_or(0) ? *setup.emergency : UINT32_MAX;
    cutGrowth(traffic, together(traffic, reserve, true), true);
    cutGrowth(traffic, together(traffic, budget, false), false);
    traffic.reserve = together(traffic, reserve, true);
    traffic.pool = together(traffic, budget, false);
}
