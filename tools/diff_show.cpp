// SPDX-License-Identifier: Apache-2.0
// The command: asks agent and driver, and prints where they part.
#include <algorithm>

#include "tools/config.h"
#include "tools/diff.h"
#include "tools/error.h"
#include "tools/held.h"
#include "tools/text.h"
#include "tools/values.h"

namespace {

using json = ctlJson;

struct asked_t {
    std::vector<ctlDifference_t> found;
    bool anew; // the driver was told nothing of any port
};

asked_t askOnce(const ctlProcess_t &agent, const std::vector<std::string> &ports, double seconds)
{
    const json config = ctlAskRows(agent, "config", seconds);
    const json side = ctlAskRows(agent, "driver", seconds);
    const std::set<uint32_t> wanted = ctlInterfacesOf(ports, config);
    const ctlTold_t told = ctlAskDriver(config, seconds);
    std::vector<ctlDifference_t> found;
    try {
        found = ctlCompare(config, side, told);
    } catch (const json::exception &error) {
        throw ctlError_t{CTL_FAILED, std::string("agent or driver is of another build: ") + error.what()};
    }
    if (!wanted.empty())
        std::erase_if(found, [&](const ctlDifference_t &each) { return wanted.count(each.ifindex) == 0; });
    const bool anew =
        std::all_of(told.begin(), told.end(), [](const auto &chip) { return chip.second.at("ports").empty(); });
    return {std::move(found), anew};
}

std::string shown(const json &value)
{
    if (value.is_null())
        return "not told";
    std::vector<std::string> values;
    for (const json &each : value.is_object() ? json::array() : value.is_array() ? value : json::array({value}))
        values.push_back(each.is_null() ? "none" : each.dump());
    std::string text = ctlFold(values);
    if (value.is_object())
        for (const auto &[field, inner] : value.items())
            text += (text.empty() ? "" : ", ") + field + " " + shown(inner);
    return text;
}

void print(std::ostream &out, const ctlDifference_t &each)
{
    out << ctlShown(ctlShowInterface(each.ifindex) + "  " + each.field + "  agent " + shown(each.agent) + "  driver " +
                    shown(each.driver) + " (" + each.record + ")  mend: " + each.mend)
        << "\n";
}

} // namespace

ctlTold_t ctlAskDriver(const ctlJson &config, double seconds)
{
    ctlTold_t told;
    const ctlProcess_t driver = ctlFindProcess("hsld");
    for (const json &chip : config) {
        if (chip.at("kind") != "chip")
            continue;
        const uint32_t ifindex = ctlMember(chip, "chip_ifindex");
        const std::string name = ctlShowInterface(ifindex);
        const std::string answer =
            ctlAsk(driver, "show told " + name.substr(name.find_first_of("0123456789")), seconds);
        if (answer.rfind("error: no chip", 0) != 0)
            told[ifindex] = ctlParseJson(ctlBehindOk(answer));
    }
    return told;
}

int ctlShowDifferences(const std::vector<std::string> &ports, const ctlShow_t &asked, std::ostream &out,
                       std::ostream &err)
{
    const ctlProcess_t agent = ctlFindAgent(asked.pid, asked.timeout);
    auto [found, anew] = askOnce(agent, ports, asked.timeout);
    if (!found.empty()) { // a batch may have come between the two answers: what is there twice stays
        const std::vector<ctlDifference_t> again = askOnce(agent, ports, asked.timeout).found;
        std::erase_if(found, [&](const ctlDifference_t &each) {
            return std::find(again.begin(), again.end(), each) == again.end();
        });
    }
    if (anew && !found.empty())
        ctlComplain(err, "the driver was told nothing of any port, as if it had begun anew: save > FILE and apply FILE "
                         "tell it what the agent holds");
    json list = json::array();
    for (const ctlDifference_t &each : found)
        if (asked.json)
            list.push_back({{"interface", ctlShowInterface(each.ifindex)},
                            {"ifindex", each.ifindex},
                            {"field", each.field},
                            {"record", each.record},
                            {"agent", each.agent},
                            {"driver", each.driver},
                            {"mend", each.mend}});
        else
            print(out, each);
    if (asked.json)
        ctlPrintJson(out, list);
    return found.empty() ? CTL_DONE : CTL_FAILED;
}
