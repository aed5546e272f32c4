// SPDX-License-Identifier: Apache-2.0
// Asks the agents, the log and the statistics, each for itself, so that one that is silent hides none of the others.
#include "tools/live.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "tools/error.h"
#include "tools/history.h"
#include "tools/log.h"
#include "tools/node.h"
#include "tools/show.h"
#include "tools/text.h"
#include "tools/values.h"
#include "velmar/dce.h"
#include "velmar/version.h"

namespace {

constexpr size_t EVENTS = 40, FAILURES = 40; // shown
constexpr const char *BATCHES = "log 300";   // looked through for failures
constexpr double STAT_SHARE = 0.25;          // of the time, for an agent that does not answer
constexpr float NOTHING = std::numeric_limits<float>::quiet_NaN();

// Texts that come from elsewhere as they may be shown, keys among them.
ctlJson shown(const ctlJson &json)
{
    if (json.is_string())
        return ctlShown(json.get<std::string>());
    if (!json.is_structured())
        return json;
    ctlJson clean = json.is_array() ? ctlJson::array() : ctlJson::object();
    for (const auto &[key, value] : json.items())
        if (json.is_array())
            clean.push_back(shown(value));
        else
            clean[ctlShown(key)] = shown(value);
    return clean;
}

std::string textIn(const ctlJson &row, const char *key)
{
    return row.contains(key) && row[key].is_string() ? row[key].get<std::string>() : "";
}

uint32_t numberIn(const ctlJson &row, const char *key)
{
    return row.contains(key) && row[key].is_number_unsigned() && row[key] <= UINT32_MAX ? row[key].get<uint32_t>() : 0;
}

// What a person should know ahead of all figures.
class trouble_t {
public:
    explicit trouble_t(ctlJson &list) : list_(list) {}
    void add(const std::string &text) { list_.push_back(ctlShown(text)); }
    // Takes a step whose failure hides no more than its own figures.
    template <typename Step>
    bool attempt(const std::string &what, const Step &step)
    {
        try {
            step();
            return true;
        } catch (const ctlError_t &error) {
            add(what + ": " + error.text);
        } catch (const ctlJson::exception &) {
            add(what + ": the answer is not as it should be");
        }
        return false;
    }

private:
    ctlJson &list_;
};

void lookAtProcess(const ctlProcess_t &process, const ctlJson &row, trouble_t &trouble)
{
    const std::string name = (process.name == "dorvald" ? "Agent" : process.name) + " " + process.pid;
    const std::string driver = textIn(row, "driver"), error = textIn(row, "driver_error");
    if (row.contains("error"))
        trouble.add(name + " does not answer: " + textIn(row, "error"));
    if (const uint32_t pending = numberIn(row, "driver_pending"); pending > 0)
        trouble.add(name + " has waited for the driver's answer for " + std::to_string(pending) +
                    " s, and does nothing else");
    if (driver == "lost")
        trouble.add(name + " has lost its driver" + (error.empty() ? "" : ": " + error));
    if (!textIn(row, "mirror_trouble").empty())
        trouble.add(name + ", mirroring: " + textIn(row, "mirror_trouble"));
}

struct agent_t {
    ctlProcess_t process;
    bool stuck, alone; // waits for its driver; has lost it
};

// The processes, and the agent that the figures come from: the only one, or the only active one.
std::optional<agent_t> lookAtNode(const ctlLive_t &live, ctlJson &frame, trouble_t &trouble)
{
    const std::vector<ctlProcess_t> processes = ctlProcesses("");
    const std::vector<ctlJson> rows = ctlStatRows(processes, live.timeout * STAT_SHARE);
    std::vector<agent_t> active;
    size_t agents = 0;
    for (size_t i = 0; i < rows.size(); i++) {
        frame["node"].push_back(shown(rows[i]));
        lookAtProcess(processes[i], rows[i], trouble);
        if (processes[i].name != "dorvald")
            continue;
        agents++;
        if (!rows[i].contains("error") && (textIn(rows[i], "role") != "standby"))
            active.push_back(
                {processes[i], numberIn(rows[i], "driver_pending") > 0, textIn(rows[i], "driver") == "lost"});
    }
    if (agents == 0)
        trouble.add("No agent runs on this node, in " + ctlRunDir());
    else if (active.size() != 1)
        trouble.add("Of " + ctlCounted(agents, "agent") + " " +
                    (active.empty() ? "none" : std::to_string(active.size())) +
                    (active.size() < 2 ? " is active" : " are active: the figures would be of both"));
    return active.size() == 1 ? std::optional(active[0]) : std::nullopt;
}

void lookAtLog(ctlLive_t &live, const ctlProcess_t &agent, double seconds, ctlJson &frame)
{
    const ctlJson rows = ctlLogRows(ctlBehindOk(ctlAsk(agent, BATCHES, seconds)), live.interfaces, live.chips);
    for (auto row = rows.rbegin(); row != rows.rend() && frame["log"].size() < FAILURES; ++row)
        if ((*row)["failed"] != 0 || !(*row)["driver"].empty())
            frame["log"].push_back(shown(*row));
}

// Which ports there are, and what is to be asked; looked at anew with every step.
void plan(ctlLive_t &live, const ctlProcess_t &agent, ctlClock::time_point deadline)
{
    if (live.agent == agent.pid && ctlClock::now() - live.planned < std::chrono::seconds(CTL_LIVE_STEP))
        return;
    live.interfaces = ctlAskRows(agent, "interfaces", ctlLeft(deadline));
    live.chips = ctlAskRows(agent, "chips", ctlLeft(deadline));
    std::vector<std::string> ports;
    for (const uint32_t port : ctlListedPorts(live.interfaces))
        ports.push_back(ctlShowInterface(port));
    live.queries = ports.empty() ? std::vector<ctlStatsQuery_t>() : ctlPlanDrops(ports, ctlLeft(deadline));
    live.config = nullptr;
    live.planned = ctlClock::now();
    live.agent = agent.pid;
}

std::string familyOf(const ctlLive_t &live, uint32_t ifindex)
{
    for (const ctlJson &chip : live.chips)
        if (chip.contains("chip") && chip["chip"] == dce_get_flat_chip_id(ifindex))
            return textIn(chip, "type");
    return "";
}

ctlJson rounded(const std::optional<double> &rate)
{
    return rate ? ctlJson(std::round(*rate * 10) / 10) : ctlJson();
}

// A port: its rows as lists in the order of the columns, values and rates.
ctlJson portOf(const ctlLive_t &live, const ctlStatsTable_t &table)
{
    ctlJson values = ctlJson::array(), rates = ctlJson::array();
    for (const ctlStatsRow_t &row : table.rows) {
        ctlJson value = ctlJson::array(), rate = ctlJson::array();
        for (const ctlStatsCell_t &cell : row.cells) {
            value.push_back(cell.value ? ctlJson(*cell.value) : ctlJson());
            rate.push_back(rounded(cell.rate));
        }
        values.push_back(value);
        rates.push_back(rate);
    }
    return {{"name", ctlShowInterface(table.ifindex)},
            {"ifindex", table.ifindex},
            {"chip", ctlShowInterface(dce_get_ifindex(dce_get_flat_chip_id(table.ifindex)))},
            {"family", shown(familyOf(live, table.ifindex))},
            {"fault", ctlShown(table.fault)},
            {"values", values},
            {"rates", rates},
            {"reasons", ctlJson::array()}};
}

// Drop reasons come in a table of their own behind their port's.
ctlJson portsOf(const ctlLive_t &live, const ctlStatsReading_t &reading)
{
    ctlJson ports = ctlJson::array();
    for (const ctlStatsTable_t &table : reading.tables) {
        const bool known = !ports.empty() && ports.back()["ifindex"] == table.ifindex;
        if (!known) {
            ports.push_back(portOf(live, table));
            continue;
        }
        ctlJson &port = ports.back();
        if (!table.fault.empty())
            port["fault"] = ctlShown(table.fault);
        for (const ctlStatsRow_t &row : table.rows)
            if (row.label.rfind("total ", 0) != 0) // sums of the others
                port["reasons"].push_back(
                    {ctlShown(row.label), row.cells[0].value.value_or(0), rounded(row.cells[0].rate)});
    }
    return ports;
}

// Puts what happened since the last sample into the past, once in a step. Steps without a reading stay without figures.
void remember(ctlLive_t &live, ctlStatsReading_t reading)
{
    const auto age = std::chrono::duration_cast<std::chrono::seconds>(ctlClock::now() - live.begun).count();
    const uint64_t step = static_cast<uint64_t>(age) / CTL_LIVE_STEP + 1;
    if (step == live.step)
        return;
    constexpr ctlSample_t none = {NOTHING, NOTHING, NOTHING, NOTHING, NOTHING};
    const uint64_t passed = std::min<uint64_t>(step - live.step, CTL_LIVE_SAMPLES);
    for (auto &[port, past] : live.past)
        for (uint64_t i = 0; i < passed; i++)
            past[(step - i) % CTL_LIVE_SAMPLES].fill(none);
    live.step = step;
    ctlRateStats(live.settled, reading);
    const auto rate = [](const ctlStatsRow_t &row, size_t column) {
        return row.cells[column].rate ? static_cast<float>(*row.cells[column].rate) : NOTHING;
    };
    for (const ctlStatsTable_t &table : reading.tables) {
        if (table.view != &ctlDropsView || table.rows.size() != CTL_LIVE_ROWS)
            continue;
        if (live.past.find(table.ifindex) == live.past.end()) {
            if (live.past.size() >= CTL_LIVE_PORTS)
                continue;
            for (auto &rows : live.past[table.ifindex])
                rows.fill(none);
        }
        auto &rows = live.past[table.ifindex][step % CTL_LIVE_SAMPLES];
        for (size_t r = 0; r < CTL_LIVE_ROWS; r++) {
            const ctlStatsRow_t &row = table.rows[r];
            const auto &used = row.cells[CTL_USED].value;
            rows[r] = {used ? static_cast<float>(*used) : NOTHING, rate(row, CTL_DROPS), rate(row, CTL_PAUSE_SENT),
                       rate(row, CTL_SENT), rate(row, CTL_RECEIVED)};
        }
    }
    live.settled = std::move(reading);
}

// Without a driver one request in each step finds out whether it is back; as many as ever would only fill the agent's
// log with their failures.
void lookForDriver(ctlLive_t &live, const ctlProcess_t &agent, ctlClock::time_point deadline)
{
    const auto planned = live.planned;
    plan(live, agent, deadline);
    if (live.planned != planned && !live.queries.empty())
        (void)ctlReadDrops(live.slot, {live.queries[0]}, ctlLeft(deadline));
}

void lookAtStatistics(ctlLive_t &live, const ctlProcess_t &agent, ctlClock::time_point deadline, ctlJson &frame,
                      trouble_t &trouble)
{
    plan(live, agent, deadline);
    ctlStatsReading_t reading;
    if (!live.queries.empty())
        reading = ctlReadDrops(live.slot, live.queries, ctlLeft(deadline));
    remember(live, reading);
    ctlRateStats(live.before, reading);
    frame["ports"] = portsOf(live, reading);
    if (!reading.fault.empty())
        trouble.add("Statistics: " + reading.fault);
    live.before = std::move(reading);
}

bool isAbout(const ctlJson &row, uint32_t ifindex)
{
    return numberIn(row, "ifIndex") == ifindex || numberIn(row, "ifindex") == ifindex;
}

// Interfaces by their names.
ctlJson named(const ctlJson &row)
{
    ctlJson names = row;
    for (auto &[key, value] : names.items())
        if (key.size() >= 7 && strcasecmp(key.c_str() + key.size() - 7, "ifindex") == 0 &&
            numberIn(row, key.c_str()) != 0)
            value = ctlShowInterface(numberIn(row, key.c_str()));
    return names;
}

ctlJson numbersOf(const ctlPast_t &past, const ctlLive_t &live, size_t row, float ctlSample_t::*member)
{
    ctlJson list = ctlJson::array();
    for (uint64_t i = 1; i <= CTL_LIVE_SAMPLES; i++) {
        const float value = past[(live.step + i) % CTL_LIVE_SAMPLES][row].*member;
        list.push_back(std::isnan(value) ? ctlJson() : ctlJson(std::llround(value)));
    }
    return list;
}

} // namespace

ctlJson ctlLiveFrame(ctlLive_t &live)
{
    const auto begun = ctlClock::now(), deadline = ctlDeadline(live.timeout);
    const ctlJson none = ctlJson::array();
    ctlJson frame = {{"time", ctlUtc(std::chrono::system_clock::now(), true)},
                     {"version", VELMAR_VERSION},
                     {"node", none},
                     {"ports", nullptr},
                     {"events", none},
                     {"log", none}},
            troubles = none;
    trouble_t trouble(troubles);
    std::optional<agent_t> agent;
    trouble.attempt("The node", [&] { agent = lookAtNode(live, frame, trouble); });
    trouble.attempt("The event log", [&] {
        for (ctlJson &row : ctlEventRows(EVENTS))
            frame["events"].insert(frame["events"].begin(), shown(row));
    });
    if (agent) {
        trouble.attempt("The log of batches", [&] { lookAtLog(live, agent->process, ctlLeft(deadline), frame); });
        trouble.attempt("Statistics", [&] {
            if (agent->alone)
                lookForDriver(live, agent->process, deadline);
            else if (!agent->stuck) // else nothing would come until it is done
                lookAtStatistics(live, agent->process, deadline, frame, trouble);
        });
    }
    frame["trouble"] = troubles;
    frame["step"] = live.step;
    frame["took"] = std::round(std::chrono::duration<double>(ctlClock::now() - begun).count() * 1000) / 1000;
    return frame;
}

ctlJson ctlLivePort(ctlLive_t &live, uint32_t ifindex)
{
    ctlJson port = {{"ifindex", ifindex}, {"config", ctlJson::array()}, {"fault", ""}, {"past", nullptr}};
    try {
        if (live.config.is_null())
            live.config = ctlAskRows(ctlFindAgent(live.agent, live.timeout), "config", live.timeout);
        for (const ctlJson &row : live.config)
            if (isAbout(row, ifindex))
                port["config"].push_back(shown(named(row)));
    } catch (const ctlError_t &error) {
        port["fault"] = ctlShown(error.text);
    }
    const auto past = live.past.find(ifindex);
    if (past == live.past.end())
        return port;
    ctlJson rows = ctlJson::array();
    for (size_t row = 0; row < CTL_LIVE_ROWS; row++)
        rows.push_back({{"used", numbersOf(past->second, live, row, &ctlSample_t::used)},
                        {"dropped", numbersOf(past->second, live, row, &ctlSample_t::dropped)},
                        {"pause", numbersOf(past->second, live, row, &ctlSample_t::pause_sent)},
                        {"sent", numbersOf(past->second, live, row, &ctlSample_t::sent)},
                        {"received", numbersOf(past->second, live, row, &ctlSample_t::received)}});
    port["past"] = {{"seconds", CTL_LIVE_STEP}, {"rows", rows}};
    return port;
}

std::string ctlLiveText(const ctlJson &json)
{
    std::string text;
    for (const char c : json.dump(-1, ' ', false, ctlJson::error_handler_t::replace))
        switch (c) {
        case '<':
            text += "\\u003c";
            break;
        case '>':
            text += "\\u003e";
            break;
        case '&':
            text += "\\u0026";
            break;
        default:
            text += c;
        }
    return text;
}
