// SPDX-License-Identifier: Apache-2.0
// The course of traffic over time. What arrives at a port passes its ingress policer, waits in the queue of its
// priority, and passes the egress policer; every stride settles all rates, finds the next bend and passes up to it.
#include "hsl/traffic.h"

#include <algorithm>
#include <cmath>

#include "hsl/queues.h"

// Ports, flows and policers that are settled in strides of one advance, which takes a tenth of a second then. What
// exact strides do not reach goes by in as many that grow.
constexpr size_t ADVANCE_WORK = 20000;
constexpr size_t FLOWS_OF_WORK = 8; // that cost as much as a port
constexpr size_t POLICERS_OF_WORK = 4;
constexpr size_t LEAST_STRIDES = 4;

struct active_t {
    hslChip_t *chip;
    hslPort_t *port;
    uint32_t group;
};

// What moves in an advance. A port or a policer that rests goes on to rest until it is told something, so one look at
// all there are does for all strides.
struct moving_t {
    std::vector<active_t> ports;
    std::vector<hslPolicer_t *> policers[2]; // egress, ingress
};

// Policers.

void hslPolicerSet(hslPolicer_t &policer, double cir, double cbs, double eir, double ebs)
{
    policer.cir = cir;
    policer.eir = eir;
    policer.committed = {cbs, cbs};
    policer.excess = {ebs, ebs};
}

// What a bucket that fills at `rate` pays of `in`.
static double pay(hslLevel_t &bucket, double rate, double in)
{
    double paid = bucket.now > HSL_GRAIN ? in : std::min(in, rate);
    bucket.slope = rate - paid;
    if (bucket.slope > 0 && hslAtBound(bucket))
        bucket.slope = 0;
    return paid;
}

static void settlePolicers(const std::vector<hslPolicer_t *> &policers)
{
    for (auto policer : policers) {
        policer->conform_rate = pay(policer->committed, policer->cir, policer->in);
        policer->exceed_rate = pay(policer->excess, policer->eir, policer->in - policer->conform_rate);
    }
}

// The part of what a policer takes that conforms, and the part that exceeds.
static std::pair<double, double> shares(const hslPolicer_t *policer)
{
    if (!policer || policer->in <= 0)
        return {1, 0};
    return {policer->conform_rate / policer->in, policer->exceed_rate / policer->in};
}

static hslPolicer_t *policerOf(const active_t &at, bool ingress, const std::optional<uint32_t> &id)
{
    if (!id)
        return nullptr;
    auto place = at.chip->policers.find({ingress, uint64_t{at.group} << 32 | *id});
    return place == at.chip->policers.end() ? nullptr : &place->second;
}

static hslPolicer_t *policerOf(const active_t &at, const hslFlow_t &flow)
{
    return policerOf(at, true, flow.policer ? flow.policer : at.port->traffic.policer[1]);
}

// Strides.

static std::vector<active_t> activePorts(hslModel_t &model)
{
    std::vector<active_t> list;
    for (auto &[ifindex, port] : model.ports) {
        auto chip = model.chips.find(port.flat);
        if (chip != model.chips.end() && hslPortActive(port.traffic))
            list.push_back({&chip->second, &port, hslPolicerGroup(chip->second, ifindex)});
    }
    return list;
}

static bool entersPort(const hslFlow_t &flow)
{
    return !flow.reason && !flow.elsewhere;
}

// The active ports, and the policers that fill up or that a port leads to.
static moving_t findMoving(hslModel_t &model)
{
    moving_t moving{activePorts(model), {}};
    for (auto &chip : model.chips)
        for (auto &[key, policer] : chip.second.policers)
            if (!hslAtBound(policer.committed) || !hslAtBound(policer.excess))
                moving.policers[key.first].push_back(&policer);
    for (auto &at : moving.ports) {
        for (auto &flow : at.port->traffic.flows)
            if (auto policer = entersPort(flow) ? policerOf(at, flow) : nullptr)
                moving.policers[1].push_back(policer);
        if (auto policer = policerOf(at, false, at.port->traffic.policer[0]))
            moving.policers[0].push_back(policer);
    }
    for (auto &list : moving.policers) {
        std::sort(list.begin(), list.end());
        list.erase(std::unique(list.begin(), list.end()), list.end());
    }
    return moving;
}

// What the ingress policers leave of the flows, as the arrivals of the queues.
static void arrive(const active_t &at)
{
    auto &traffic = at.port->traffic;
    traffic.drop_rate[DROP_INGRESS_POLICER] = 0;
    for (auto &queue : traffic.queues)
        queue.in = queue.out = queue.yellow = 0;
    for (auto &flow : traffic.flows) {
        if (!entersPort(flow))
            continue;
        auto [conform, exceed] = shares(policerOf(at, flow));
        auto &queue = traffic.queues[flow.priority];
        queue.in += flow.rate * (conform + exceed);
        queue.yellow += flow.rate * exceed;
        traffic.drop_rate[DROP_INGRESS_POLICER] += flow.rate * std::max(1 - conform - exceed, 0.0);
    }
    for (auto &queue : traffic.queues)
        queue.yellow = queue.in > 0 ? queue.yellow / queue.in : 0;
}

static void depart(const active_t &at)
{
    auto &traffic = at.port->traffic;
    auto [conform, exceed] = shares(policerOf(at, false, traffic.policer[0]));
    traffic.drop_rate[DROP_EGRESS_POLICER] = 0;
    for (auto &queue : traffic.queues) {
        queue.forwarded_rate = queue.out * (conform + exceed);
        traffic.drop_rate[DROP_EGRESS_POLICER] += std::max(queue.out - queue.forwarded_rate, 0.0);
    }
}

// All rates as they are until the next bend.
static void settle(const moving_t &moving)
{
    for (auto &list : moving.policers)
        for (auto policer : list)
            policer->in = 0;
    for (auto &at : moving.ports)
        for (auto &flow : at.port->traffic.flows)
            if (auto policer = entersPort(flow) ? policerOf(at, flow) : nullptr)
                policer->in += flow.rate;
    settlePolicers(moving.policers[1]);
    for (auto &at : moving.ports) {
        arrive(at);
        hslSettlePort(*at.chip, *at.port);
        if (auto policer = policerOf(at, false, at.port->traffic.policer[0]))
            for (auto &queue : at.port->traffic.queues)
                policer->in += queue.out;
    }
    settlePolicers(moving.policers[0]);
    for (auto &at : moving.ports)
        depart(at);
}

static double nextBend(const moving_t &moving)
{
    double soonest = HSL_NEVER;
    for (auto &list : moving.policers)
        for (auto policer : list)
            soonest = std::min({soonest, hslUntilBend(policer->committed), hslUntilBend(policer->excess)});
    for (auto &at : moving.ports) {
        auto &traffic = at.port->traffic;
        soonest = std::min({soonest, hslUntilBend(traffic.pool), hslUntilBend(traffic.reserve)});
        for (auto &queue : traffic.queues)
            soonest = std::min(soonest, hslUntilBend(queue.level));
    }
    return soonest;
}

// Levels have no summit inside of a stride, so its end shows their highest.
static void raisePeaks(const std::vector<active_t> &active)
{
    std::map<hslChip_t *, hslPeaks_t> levels;
    for (auto &at : active)
        for (unsigned p = 0; p < HSL_PRIORITIES; ++p) {
            auto level = at.port->traffic.queues[p].level.now;
            levels[at.chip].priority[p] += level;
            levels[at.chip].all += level;
        }
    for (auto &[chip, now] : levels) {
        for (unsigned p = 0; p < HSL_PRIORITIES; ++p)
            chip->peaks.priority[p] = std::max(chip->peaks.priority[p], now.priority[p]);
        chip->peaks.all = std::max(chip->peaks.all, now.all);
    }
}

static void pass(const moving_t &moving, double seconds)
{
    for (auto &list : moving.policers)
        for (auto policer : list) {
            policer->conform += policer->conform_rate * seconds;
            policer->exceed += policer->exceed_rate * seconds;
            policer->violate += (policer->in - policer->conform_rate - policer->exceed_rate) * seconds;
            hslMove(policer->committed, seconds);
            hslMove(policer->excess, seconds);
        }
    for (auto &at : moving.ports)
        hslPassPort(*at.port, seconds);
    raisePeaks(moving.ports);
}

// How many strides an advance may take to the bends themselves.
static size_t exactStrides(const moving_t &moving)
{
    size_t policers = moving.policers[0].size() + moving.policers[1].size(), flows = 0;
    for (auto &at : moving.ports)
        flows += at.port->traffic.flows.size();
    auto work = 1 + moving.ports.size() + flows / FLOWS_OF_WORK + policers / POLICERS_OF_WORK;
    return std::max(LEAST_STRIDES, ADVANCE_WORK / work);
}

void hslTrafficAdvance(hslModel_t &model, uint64_t now)
{
    double all = static_cast<double>(now - std::min(now, model.traffic_at)) / 1000;
    double left = all, growth = 0;
    model.traffic_at = std::max(now, model.traffic_at);
    if (!model.traffic_runs || left <= 0)
        return;
    auto moving = findMoving(model);
    auto exact = exactStrides(moving);
    for (size_t stride = 0; model.traffic_runs && left > 0; ++stride) {
        settle(moving);
        double bend = nextBend(moving);
        // Nothing flows, waits or fills: the model rests until a flow is set.
        model.traffic_runs = !moving.ports.empty() || bend != HSL_NEVER;
        double gone = std::max(all - left, all * 1e-12);
        if (stride == exact)
            growth = std::pow(all / gone, 1.0 / static_cast<double>(exact)) - 1;
        double seconds = stride < 2 * exact ? std::min(left, std::max(bend, gone * growth)) : left;
        pass(moving, seconds);
        left -= seconds;
        std::erase_if(moving.ports, [](auto &at) { return !hslPortActive(at.port->traffic); });
    }
}
