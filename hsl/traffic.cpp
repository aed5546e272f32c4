// The fluid model of policers, queues and schedulers. What arrives at a port passes its ingress policer, waits in the
// queue of its priority, leaves as scheduler, shaper and line speed allow, and passes the egress policer.
#include "hsl/traffic.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "hsl/classify.h"
#include "hsl/model.h"
#include "velmar/dce.h"

constexpr double NEVER = std::numeric_limits<double>::infinity();
constexpr double GRAIN = 1e-3;              // bytes: nearer to a bound than that is at it
constexpr unsigned MAX_STRIDES = 200000;    // then the rest is one stride; no setup comes near it
constexpr double BYTES_PER_MBIT = 125000.0; // of a second

struct active_t {
    hslChip_t *chip;
    hslPort_t *port;
    uint32_t group;
};

// Levels.

static bool atBound(const hslLevel_t &level)
{
    return level.now >= level.bound - GRAIN;
}

static double untilBend(const hslLevel_t &level)
{
    if (level.slope < 0)
        return (level.now > level.bound ? level.now - level.bound : level.now) / -level.slope;
    return level.slope > 0 ? (level.bound - level.now) / level.slope : NEVER;
}

static void move(hslLevel_t &level, double seconds)
{
    bool above = level.now > level.bound + GRAIN;
    level.now = std::max(level.now + level.slope * seconds, 0.0);
    if (level.now < GRAIN)
        level.now = 0;
    if (std::fabs(level.now - level.bound) < GRAIN || (!above && level.now > level.bound))
        level.now = level.bound;
}

// Policers.

void hslPolicerSet(hslPolicer_t &policer, double cir, double cbs, double eir, double ebs)
{
    policer.cir = cir;
    policer.eir = eir;
    policer.committed = {cbs, cbs, 0};
    policer.excess = {ebs, ebs, 0};
}

// What a bucket that fills at `rate` pays of `in`.
static double pay(hslLevel_t &bucket, double rate, double in)
{
    double paid = bucket.now > GRAIN ? in : std::min(in, rate);
    bucket.slope = rate - paid;
    if (bucket.slope > 0 && atBound(bucket))
        bucket.slope = 0;
    return paid;
}

static void settlePolicers(hslModel_t &model, bool ingress)
{
    for (auto &chip : model.chips)
        for (auto &[key, policer] : chip.second.policers) {
            if (key.first != ingress)
                continue;
            policer.conform_rate = pay(policer.committed, policer.cir, policer.in);
            policer.exceed_rate = pay(policer.excess, policer.eir, policer.in - policer.conform_rate);
        }
}

static double passes(const hslPolicer_t *policer, double rate)
{
    return policer && policer->in > 0 ? rate * (policer->conform_rate + policer->exceed_rate) / policer->in : rate;
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

// Queues.

// A queue's bound: its threshold, else the port's budget, else an even share of the chip. A lossless one stops its
// sender at the assert level, if that lies below.
static void boundQueues(const active_t &at)
{
    auto &setup = at.port->setup;
    double share = setup.budget ? *setup.budget : at.chip->buffers / std::max(at.chip->ports, 1u);
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p) {
        auto &queue = at.port->traffic.queues[p];
        auto &own = setup.queues[p];
        queue.level.bound = own.threshold ? *own.threshold : share;
        auto &pause = own.pfc && own.pfc->tx ? own.pfc : setup.pause;
        queue.lossless = pause && pause->tx && pause->assert <= queue.level.bound;
        if (queue.lossless)
            queue.level.bound = pause->assert;
    }
}

static double demand(const hslPort_t &port, unsigned p)
{
    auto &queue = port.traffic.queues[p];
    double most = queue.level.now > 0 ? NEVER : queue.in;
    auto &scheduler = port.setup.scheduler;
    bool limited = scheduler && !(scheduler->unlimited >> p & 1) && scheduler->bandwidth[p];
    return limited ? std::min(most, scheduler->bandwidth[p] * BYTES_PER_MBIT) : most;
}

// Shares `room` by weight; who needs less than its share leaves the rest to the others.
static void shareByWeight(hslPort_t &port, std::vector<unsigned> rest, double room)
{
    auto weight = [&](unsigned p) {
        return port.setup.scheduler ? std::max<double>(port.setup.scheduler->weight[p], 1) : 1.0;
    };
    for (bool settled = false; !settled && !rest.empty();) {
        double weights = 0;
        for (auto p : rest)
            weights += weight(p);
        double unit = room / weights;
        auto content =
            std::find_if(rest.begin(), rest.end(), [&](auto p) { return demand(port, p) <= unit * weight(p); });
        settled = content == rest.end();
        if (settled) {
            for (auto p : rest)
                port.traffic.queues[p].out = unit * weight(p);
        } else {
            room -= port.traffic.queues[*content].out = demand(port, *content);
            rest.erase(content);
        }
    }
}

// Strict priorities first, the highest before the others, then the rest by weight.
static void schedule(hslPort_t &port)
{
    auto speed = hslPortSpeed(port.ifindex);
    double room = (speed ? speed : 10000) * BYTES_PER_MBIT;
    if (port.setup.shaper && *port.setup.shaper)
        room = std::min(room, *port.setup.shaper * BYTES_PER_MBIT);
    unsigned boundary = port.setup.scheduler ? port.setup.scheduler->boundary : HSL_PRIORITIES;
    std::vector<unsigned> rest;
    for (unsigned p = HSL_PRIORITIES; p-- > 0;) {
        if (p <= boundary)
            rest.push_back(p);
        else
            room -= port.traffic.queues[p].out = std::min(demand(port, p), room);
    }
    shareByWeight(port, std::move(rest), room);
}

static void settleQueue(hslQueue_t &queue)
{
    bool above = queue.level.now > queue.level.bound + GRAIN; // the threshold fell below what waits
    queue.accepted = above ? 0 : atBound(queue.level) ? std::min(queue.in, queue.out) : queue.in;
    queue.level.slope = queue.accepted - queue.out;
}

// Strides.

static std::vector<active_t> activePorts(hslModel_t &model)
{
    std::vector<active_t> list;
    for (auto &[ifindex, port] : model.ports) {
        auto chip = model.chips.find(port.flat);
        auto &queues = port.traffic.queues;
        bool waiting =
            std::any_of(std::begin(queues), std::end(queues), [](auto &queue) { return queue.level.now > 0; });
        if (chip != model.chips.end() && (waiting || !port.traffic.flows.empty()))
            list.push_back({&chip->second, &port, hslPolicerGroup(chip->second, ifindex)});
    }
    return list;
}

// All rates as they are until the next bend.
static void settle(hslModel_t &model, const std::vector<active_t> &active)
{
    for (auto &chip : model.chips)
        for (auto &entry : chip.second.policers)
            entry.second.in = 0;
    for (auto &at : active)
        for (auto &flow : at.port->traffic.flows)
            if (auto policer = policerOf(at, flow))
                policer->in += flow.rate;
    settlePolicers(model, true);
    for (auto &at : active) {
        auto &traffic = at.port->traffic;
        for (auto &queue : traffic.queues)
            queue.in = queue.out = 0;
        for (auto &flow : traffic.flows)
            traffic.queues[flow.priority].in += passes(policerOf(at, flow), flow.rate);
        boundQueues(at);
        schedule(*at.port);
        for (auto &queue : traffic.queues) {
            settleQueue(queue);
            if (auto policer = policerOf(at, false, traffic.policer[0]))
                policer->in += queue.out;
        }
    }
    settlePolicers(model, false);
    for (auto &at : active)
        for (auto &queue : at.port->traffic.queues)
            queue.forwarded_rate = passes(policerOf(at, false, at.port->traffic.policer[0]), queue.out);
}

static double nextBend(const hslModel_t &model, const std::vector<active_t> &active)
{
    double soonest = NEVER;
    for (auto &chip : model.chips)
        for (auto &entry : chip.second.policers)
            soonest = std::min({soonest, untilBend(entry.second.committed), untilBend(entry.second.excess)});
    for (auto &at : active)
        for (auto &queue : at.port->traffic.queues)
            soonest = std::min(soonest, untilBend(queue.level));
    return soonest;
}

static void pass(hslModel_t &model, const std::vector<active_t> &active, double seconds)
{
    for (auto &chip : model.chips)
        for (auto &entry : chip.second.policers) {
            auto &policer = entry.second;
            policer.conform += policer.conform_rate * seconds;
            policer.exceed += policer.exceed_rate * seconds;
            policer.violate += (policer.in - policer.conform_rate - policer.exceed_rate) * seconds;
            move(policer.committed, seconds);
            move(policer.excess, seconds);
        }
    for (auto &at : active)
        for (auto &queue : at.port->traffic.queues) {
            queue.enqueued += queue.accepted * seconds;
            queue.forwarded += queue.forwarded_rate * seconds;
            (queue.lossless ? queue.held : queue.dropped) += (queue.in - queue.accepted) * seconds;
            move(queue.level, seconds);
        }
}

void hslTrafficAdvance(hslModel_t &model, uint64_t now)
{
    double left = static_cast<double>(now - std::min(now, model.traffic_at)) / 1000;
    model.traffic_at = std::max(now, model.traffic_at);
    for (unsigned stride = 0; model.traffic_runs && left > 0; ++stride) {
        auto active = activePorts(model);
        settle(model, active);
        double bend = nextBend(model, active);
        // Nothing flows, waits or fills: the model rests until a flow is set.
        model.traffic_runs = !active.empty() || bend != NEVER;
        double seconds = stride < MAX_STRIDES ? std::min(left, bend) : left;
        pass(model, active, seconds);
        left -= seconds;
    }
}

// Control.

static constexpr const char *kinds[] = {"unicast", "broadcast", "multicast", "unknown-unicast"};

// Bits a second with a suffix k, M or G, as bytes a second; negative if it is none.
static double parseRate(const std::string &text)
{
    char *end;
    bool plain = !text.empty() && text.find_first_not_of("0123456789.kMG") == std::string::npos;
    double value = plain ? std::strtod(text.c_str(), &end) : -1;
    if (!plain || end == text.c_str())
        return -1;
    static constexpr struct {
        const char *suffix;
        double times;
    } suffixes[] = {{"", 1}, {"k", 1e3}, {"M", 1e6}, {"G", 1e9}};
    for (auto &each : suffixes)
        if (std::string(end) == each.suffix && value * each.times <= 1e15)
            return value * each.times / 8;
    return -1;
}

static bool sameFrames(const hslFlow_t &a, const hslFlow_t &b)
{
    bool marked = a.cos || a.dscp || b.cos || b.dscp;
    return a.kind == b.kind && (marked ? a.cos == b.cos && a.dscp == b.dscp : a.priority == b.priority);
}

static std::string parseFlow(const std::vector<std::string> &words, hslFlow_t *flow)
{
    bool priority = false;
    flow->rate = -1;
    for (auto &word : words) {
        auto equals = word.find('=');
        auto key = word.substr(0, equals), text = equals == std::string::npos ? "" : word.substr(equals + 1);
        uint64_t number = 0;
        bool good = key == "rate" || key == "kind" || hslNumber(text, &number);
        if (key == "rate") {
            good = (flow->rate = parseRate(text)) >= 0;
        } else if (key == "kind") {
            auto kind = std::find(std::begin(kinds), std::end(kinds), text);
            good = kind != std::end(kinds);
            flow->kind = static_cast<hslTrafficKind_t>(good ? kind - kinds : 0);
        } else if (key == "priority") {
            flow->priority = static_cast<unsigned>(number % HSL_PRIORITIES);
            good = priority = good && number < HSL_PRIORITIES;
        } else if (key == "cos" || key == "dscp") {
            (key == "cos" ? flow->cos : flow->dscp) = static_cast<unsigned>(number);
            good = good && number < (key == "cos" ? HSL_PRIORITIES : QOS_DSCPS);
        } else if (key == "policer") {
            flow->policer = static_cast<uint32_t>(number);
            good = good && number <= UINT32_MAX;
        } else {
            good = false;
        }
        if (!good)
            return "traffic does not take '" + word +
                   "'; priority and cos run from 0 to 7, dscp from 0 to 63, rate is bits a second as in 2G or "
                   "500M, kind is unicast, broadcast, multicast or unknown-unicast";
    }
    return priority != (flow->cos || flow->dscp) && flow->rate >= 0 ? "" : HSL_TRAFFIC_USAGE;
}

std::string hslTrafficSet(hslModel_t &model, uint32_t ifindex, const std::vector<std::string> &words)
{
    auto chip = model.chips.find(dce_get_flat_chip_id(ifindex));
    if (!hslIsPort(ifindex) || chip == model.chips.end())
        return "no chip has port " + hslIndexText(ifindex) + "; 'show' lists what there is";
    auto &port = model.ports.try_emplace(ifindex, hslPort_t{ifindex, chip->first, {}, {}, {}}).first->second;
    auto &flows = port.traffic.flows;
    if (words.size() == 1 && words[0] == "off") {
        flows.clear();
        return "";
    }
    hslFlow_t flow{};
    if (auto error = parseFlow(words, &flow); !error.empty())
        return error;
    std::erase_if(flows, [&](auto &old) { return sameFrames(old, flow); });
    if (flow.rate > 0)
        flows.push_back(flow);
    hslClassify(model);
    model.traffic_runs = true;
    return "";
}

// Showing.

static hslJson flowJson(const hslFlow_t &flow)
{
    hslJson out;
    if (flow.cos)
        out["cos"] = *flow.cos;
    if (flow.dscp)
        out["dscp"] = *flow.dscp;
    out["priority"] = flow.priority;
    if (!flow.decided_by.empty())
        out["decided_by"] = flow.decided_by;
    out.update({{"kind", kinds[flow.kind]}, {"rate", hslCount(flow.rate * 8)}});
    if (flow.policer)
        out["policer"] = *flow.policer;
    return out;
}

hslJson hslTrafficList(const hslModel_t &model)
{
    auto list = hslJson::array();
    for (auto &[ifindex, port] : model.ports)
        for (auto &flow : port.traffic.flows) {
            hslJson item{{"port", hslIndexName(ifindex)}, {"ifindex", hslIndexText(ifindex)}};
            item.update(flowJson(flow));
            list.push_back(item);
        }
    return list;
}

// Bytes and frames under one name.
static void putCount(hslJson &out, const std::string &name, double bytes)
{
    out[name + "_bytes"] = hslCount(bytes);
    out[name + "_frames"] = hslFrames(bytes);
}

hslJson hslTrafficJson(const hslTraffic_t &traffic)
{
    hslJson out{{"offered", hslJson::array()}, {"queues", hslJson::array()}};
    for (auto &flow : traffic.flows)
        out["offered"].push_back(flowJson(flow));
    for (bool ingress : {true, false})
        if (traffic.policer[ingress])
            out[ingress ? "ingress_policer" : "egress_policer"] = *traffic.policer[ingress];
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p) {
        auto &queue = traffic.queues[p];
        if (queue.enqueued + queue.dropped + queue.held + queue.level.now <= 0)
            continue;
        hslJson item{{"priority", p}, {"level", hslCount(queue.level.now)}, {"bound", hslCount(queue.level.bound)}};
        putCount(item, "enqueued", queue.enqueued);
        putCount(item, "forwarded", queue.forwarded);
        putCount(item, "dropped", queue.dropped);
        putCount(item, "held", queue.held);
        out["queues"].push_back(item);
    }
    return out;
}

hslJson hslPolicersJson(const hslPolicers_t &policers)
{
    auto list = hslJson::array();
    for (auto &[key, policer] : policers) {
        hslJson item{{"policer", static_cast<uint32_t>(key.second)},
                     {"direction", key.first ? "ingress" : "egress"},
                     {"group", key.second >> 32},
                     {"cir", hslCount(policer.cir)},
                     {"cbs", hslCount(policer.committed.bound)},
                     {"eir", hslCount(policer.eir)},
                     {"ebs", hslCount(policer.excess.bound)}};
        putCount(item, "conform", policer.conform);
        putCount(item, "exceed", policer.exceed);
        putCount(item, "violate", policer.violate);
        list.push_back(item);
    }
    return list;
}
