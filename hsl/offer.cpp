// SPDX-License-Identifier: Apache-2.0
// Traffic as a user tells it and as it is shown.
#include <algorithm>

#include "hsl/larkin.h"
#include "hsl/model.h"
#include "platform/records/priority.h"
#include "velmar/dce.h"

static constexpr const char *FORMS =
    "traffic takes PORT SELECTION rate=R [kind=K] [policer=ID], where SELECTION is priority=P, cos=N, dscp=N or the "
    "last "
    "two, PORT drop reason=N rate=R, PORT pause priority=P|all on|off, 'PORT off', or 'list'";
constexpr size_t MAX_FLOWS = 4096; // of all ports together
static constexpr const char *kinds[] = {"unicast", "broadcast", "multicast", "unknown-unicast"};
static constexpr const char *drops[DROP_KINDS] = {"tail-drop",      "red",    "ingress-policer",
                                                  "egress-policer", "reason", "pause"};

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

// One word of a flow; false for one that it does not take.
static bool parseWord(const std::string &word, hslFlow_t *flow, bool *priority)
{
    auto equals = word.find('=');
    auto key = word.substr(0, equals), text = equals == std::string::npos ? "" : word.substr(equals + 1);
    if (key == "rate")
        return (flow->rate = parseRate(text)) >= 0;
    if (key == "kind") {
        auto kind = std::find(std::begin(kinds), std::end(kinds), text);
        flow->kind = static_cast<hslTrafficKind_t>(kind - std::begin(kinds));
        return kind != std::end(kinds);
    }
    uint64_t number = 0;
    if (!hslNumber(text, &number))
        return false;
    if (key == "priority") {
        flow->priority = static_cast<unsigned>(number % HSL_PRIORITIES);
        return *priority = number < HSL_PRIORITIES;
    }
    if (key == "cos" || key == "dscp") {
        (key == "cos" ? flow->cos : flow->dscp) = static_cast<unsigned>(number);
        return number < (key == "cos" ? HSL_PRIORITIES : QOS_NUM_DSCP);
    }
    auto &to = key == "policer" ? flow->policer : flow->reason;
    to = static_cast<uint32_t>(number);
    return key == "policer" ? number <= UINT32_MAX : key == "reason" && number < HSL_REASONS;
}

static std::string parseFlow(const std::vector<std::string> &words, hslFlow_t *flow)
{
    bool priority = false, dropped = words[0] == "drop";
    flow->rate = -1;
    for (size_t i = dropped; i < words.size(); ++i)
        if (!parseWord(words[i], flow, &priority))
            return "traffic does not take '" + words[i] +
                   "'; priority and cos run from 0 to 7, dscp from 0 to 63, reason from 0 to 127, rate is bits a "
                   "second as in 2G or 500M, kind "
                   "is "
                   "unicast, broadcast, multicast or unknown-unicast";
    int selections = dropped + priority + (flow->cos || flow->dscp);
    return dropped == flow->reason.has_value() && selections == 1 && flow->rate >= 0 ? "" : FORMS;
}

static bool sameFrames(const hslFlow_t &a, const hslFlow_t &b)
{
    bool marked = a.cos || a.dscp || b.cos || b.dscp;
    return a.kind == b.kind && a.reason == b.reason &&
           (marked ? a.cos == b.cos && a.dscp == b.dscp : a.priority == b.priority);
}

static std::string setPause(hslTraffic_t &traffic, const std::vector<std::string> &words)
{
    auto &who = words.size() == 3 ? words[1] : words[0];
    uint64_t priority = 0;
    bool all = who == "priority=all";
    if ((!all &&
         (who.rfind("priority=", 0) != 0 || !hslNumber(who.substr(9), &priority) || priority >= HSL_PRIORITIES)) ||
        (words[2] != "on" && words[2] != "off"))
        return "traffic PORT pause takes priority=0 to 7 or priority=all, then on or off";
    bool on = words[2] == "on";
    auto &queue = traffic.queues[priority];
    bool &state = all ? traffic.peer_pauses : queue.peer_pauses;
    if (state != on) // the frame that asks for it; what follows is counted as time passes
        ++(all ? traffic.pause_received : queue.pause_received);
    state = on;
    return "";
}

static void stop(hslTraffic_t &traffic)
{
    traffic.flows.clear();
    traffic.peer_pauses = false;
    for (auto &queue : traffic.queues)
        queue.peer_pauses = false;
}

static std::string setTraffic(hslModel_t &model, uint32_t ifindex, const std::vector<std::string> &words)
{
    auto chip = model.chips.find(dce_get_flat_chip_id(ifindex));
    if (!hslIsPort(ifindex) || chip == model.chips.end())
        return "no chip has port " + hslIndexText(ifindex) + "; 'show' lists what there is";
    auto &traffic = model.ports.try_emplace(ifindex, hslPort_t{ifindex, chip->first, {}, {}, {}}).first->second.traffic;
    model.traffic_runs = true;
    if (words[0] == "pause")
        return words.size() == 3 ? setPause(traffic, words) : FORMS;
    if (words.size() == 1 && words[0] == "off") {
        stop(traffic);
        return "";
    }
    hslFlow_t flow{};
    if (auto error = parseFlow(words, &flow); !error.empty())
        return error;
    std::erase_if(traffic.flows, [&](auto &old) { return sameFrames(old, flow); });
    size_t flows = 0; // copies of what is offered to ports left out
    for (auto &[index, port] : model.ports)
        flows += hslIsPort(index) ? port.traffic.flows.size() : 0;
    if (flow.rate > 0 && flows >= MAX_FLOWS)
        return "there are " + std::to_string(MAX_FLOWS) + " flows already; rate=0 ends one, 'off' all of a port";
    if (flow.rate > 0)
        traffic.flows.push_back(flow);
    return "";
}

std::string hslTrafficSet(hslModel_t &model, uint32_t ifindex, const std::vector<std::string> &words)
{
    auto error = setTraffic(model, ifindex, words);
    hslModelFollow(model, dce_get_flat_chip_id(ifindex));
    return error;
}

// Showing.

static hslJson flowJson(const hslFlow_t &flow)
{
    if (flow.reason)
        return {{"reason", *flow.reason}, {"rate", hslCount(flow.rate * 8)}};
    hslJson out;
    if (flow.cos)
        out["cos"] = *flow.cos;
    if (flow.dscp)
        out["dscp"] = *flow.dscp;
    out["priority"] = flow.priority;
    if (!flow.decided_by.empty())
        out["decided_by"] = flow.decided_by;
    out.update({{"kind", kinds[flow.kind]}, {"rate", hslCount(flow.rate * 8)}});
    if (flow.policer && *flow.policer != HSL_MCAST_LIMIT)
        out["policer"] = *flow.policer;
    return out;
}

static hslJson pausesJson(const hslTraffic_t &traffic)
{
    auto list = hslJson::array();
    if (traffic.peer_pauses)
        list.push_back("all");
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p)
        if (traffic.queues[p].peer_pauses)
            list.push_back(p);
    return list;
}

hslJson hslTrafficList(const hslModel_t &model)
{
    auto list = hslJson::array();
    for (auto &[ifindex, port] : model.ports) {
        hslJson who{{"port", hslIndexName(ifindex)}, {"ifindex", hslIndexText(ifindex)}};
        for (auto &flow : port.traffic.flows) {
            if (!hslIsPort(ifindex)) // copies of what is offered to ports
                break;
            list.push_back(who);
            list.back().update(flowJson(flow));
        }
        if (auto pauses = pausesJson(port.traffic); !pauses.empty()) {
            list.push_back(who);
            list.back()["peer_pauses"] = pauses;
        }
    }
    return list;
}

// Bytes and frames under one name.
static void putCount(hslJson &out, const std::string &name, double bytes)
{
    out[name + "_bytes"] = hslCount(bytes);
    out[name + "_frames"] = hslFrames(bytes);
}

// Nothing for a queue that nothing happened to.
static hslJson queueJson(const hslQueue_t &queue)
{
    double red = queue.red[COLOUR_GREEN] + queue.red[COLOUR_YELLOW];
    if (queue.enqueued + queue.dropped + queue.held + red + queue.level.now + queue.pause_received <= 0)
        return {};
    hslJson out{
        {"level", hslCount(queue.level.now)}, {"peak", hslCount(queue.peak)}, {"bound", hslCount(queue.level.bound)}};
    putCount(out, "enqueued", queue.enqueued);
    putCount(out, "forwarded", queue.forwarded);
    putCount(out, "dropped", queue.dropped);
    putCount(out, "red", red);
    putCount(out, "held", queue.held);
    out["pause_sent"] = hslCount(queue.pause_sent);
    out["pause_received"] = hslCount(queue.pause_received);
    out["xoff_ms"] = hslCount(queue.xoff * 1000);
    out["paused_ms"] = hslCount(queue.paused * 1000);
    return out;
}

hslJson hslTrafficJson(const hslTraffic_t &traffic)
{
    hslJson out{{"offered", hslJson::array()}, {"queues", hslJson::array()}};
    for (auto &flow : traffic.flows)
        out["offered"].push_back(flowJson(flow));
    if (auto pauses = pausesJson(traffic); !pauses.empty())
        out["peer_pauses"] = pauses;
    for (bool ingress : {true, false})
        if (traffic.policer[ingress])
            out[ingress ? "ingress_policer" : "egress_policer"] = *traffic.policer[ingress];
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p)
        if (auto queue = queueJson(traffic.queues[p]); !queue.empty()) {
            hslJson item{{"priority", p}};
            item.update(queue);
            out["queues"].push_back(item);
        }
    for (unsigned kind = 0; kind < DROP_KINDS; ++kind)
        if (traffic.drops[kind] > 0)
            out["dropped_frames"][drops[kind]] = hslFrames(traffic.drops[kind]);
    return out;
}

hslJson hslPolicersJson(const hslPolicers_t &policers)
{
    auto list = hslJson::array();
    for (auto &[key, policer] : policers) {
        auto id = static_cast<uint32_t>(key.second);
        hslJson item{{"policer", id == HSL_MCAST_LIMIT ? hslJson("multicast rate limit") : hslJson(id)},
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
