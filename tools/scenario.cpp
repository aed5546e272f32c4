// SPDX-License-Identifier: Apache-2.0
// Reads scenarios: a list of batches, a batch being one message, a list of messages, or a repetition of either.
#include "tools/scenario.h"

#include "tools/error.h"
#include "tools/report.h"
#include "tools/values.h"

namespace {

using json = ctlJson;

constexpr size_t SHOWN_VALUE = 80; // characters
constexpr size_t VALUE_COST = 64;  // bytes that a value or message takes beside its text or body

// The value that a repetition stands at: "$if" in a text is its name, "$n" its last number.
struct loopValue {
    std::string name, number;
};

// Repetitions make much of little: what a scenario may grow to, in bytes of texts and bodies.
struct budget {
    size_t bytes;
};

[[noreturn]] void refuseAt(const std::string &where, const std::string &what)
{
    ctlRefuse(where + ": " + what);
}

[[noreturn]] void refuseTooMuch(const std::string &where)
{
    refuseAt(where, "repeated, this is too much for one scenario; divide it");
}

void takeAt(budget &left, size_t bytes, const std::string &where)
{
    if (bytes + VALUE_COST > left.bytes)
        refuseTooMuch(where);
    left.bytes -= bytes + VALUE_COST;
}

// The text at one value of a repetition. What it grows to is watched while it grows.
std::string atValue(const std::string &text, const loopValue &loop, const budget &left, const std::string &where)
{
    std::string said;
    for (size_t at = 0; at < text.size();) {
        const bool name = text.compare(at, 3, "$if") == 0, number = text.compare(at, 2, "$n") == 0;
        const size_t next = name || number ? at + (name ? 3 : 2) : std::min(text.find('$', at + 1), text.size());
        said += name ? loop.name : number ? loop.number : text.substr(at, next - at);
        if (said.size() > left.bytes)
            refuseTooMuch(where);
        at = next;
    }
    return said;
}

// A value as it is named in a refusal.
std::string briefly(const json &value)
{
    const std::string text = value.dump();
    return text.size() > SHOWN_VALUE ? text.substr(0, SHOWN_VALUE) + "..." : text;
}

std::string scalarText(const json &value, const loopValue *loop, budget &left, const std::string &where)
{
    if (value.is_boolean())
        return value.get<bool>() ? "1" : "0";
    if (value.is_number_integer())
        return value.dump();
    if (!value.is_string())
        refuseAt(where, "a value is an integer, a text, true, false, or a list of these, not " + briefly(value));
    std::string text = value.get<std::string>();
    if (loop != nullptr) {
        text = atValue(text, *loop, left, where);
    } else if (text.find("$if") != std::string::npos || text.find("$n") != std::string::npos) {
        refuseAt(where, "$if and $n have a meaning inside of \"send\" alone");
    }
    takeAt(left, text.size(), where);
    return text;
}

ctlAssign_t assignOf(const std::string &name, const json &value, const loopValue *loop, budget &left,
                     const std::string &where)
{
    if (!value.is_array())
        return {name, scalarText(value, loop, left, where)};
    std::vector<std::string> elements;
    for (size_t i = 0; i < value.size(); i++)
        elements.push_back(scalarText(value[i], loop, left, where + "[" + std::to_string(i) + "]"));
    return {name, std::move(elements)};
}

ctlMessage_t messageOf(const json &value, const loopValue *loop, budget &left, const std::string &where)
{
    if (!value.is_object())
        refuseAt(where, "a message is an object with \"msg\" and its fields");
    const auto name = value.find("msg");
    if (name == value.end())
        refuseAt(where, "\"msg\" is missing: the message's name");
    std::vector<ctlAssign_t> assigns;
    for (const auto &[key, field] : value.items())
        if (key != "msg")
            assigns.push_back(assignOf(key, field, loop, left, where + "." + key));
    const std::string called = scalarText(*name, loop, left, where + ".msg");
    ctlMessage_t message;
    try {
        message = ctlBuildMessage(called, assigns);
    } catch (const ctlError_t &error) {
        refuseAt(where, error.text);
    }
    takeAt(left, message.body.size(), where);
    return message;
}

std::vector<loopValue> loopValues(const json &value, budget &left, const std::string &where)
{
    std::vector<loopValue> values;
    const auto add = [&](const json &item, const std::string &place) {
        const std::string text = scalarText(item, nullptr, left, place);
        std::vector<std::string> names;
        try {
            names = ctlExpandList(text);
        } catch (const ctlError_t &error) {
            refuseAt(place, error.text);
        }
        for (std::string &name : names) {
            takeAt(left, name.size(), place);
            const size_t end = std::min(name.find('@'), name.size());
            const size_t begin = name.find_last_not_of("0123456789", end == 0 ? 0 : end - 1);
            const size_t digits = begin == std::string::npos ? 0 : begin + 1;
            std::string number = name.substr(digits, end - digits);
            values.push_back({std::move(name), std::move(number)});
        }
    };
    if (value.is_array())
        for (size_t i = 0; i < value.size(); i++)
            add(value[i], where + "[" + std::to_string(i) + "]");
    else
        add(value, where);
    return values;
}

// Calls `each` with every item of a repetition's "send" and the value it stands at, value by value.
template <typename Each>
void repeat(const json &loop, budget &left, const std::string &where, Each each)
{
    for (const auto &[key, unused] : loop.items())
        if (key != "for" && key != "send")
            refuseAt(where, "'" + key + "' is unknown; the nearest is " + ctlNearest(key, {"for", "send"}));
    const auto send = loop.find("send");
    if (send == loop.end() || !(send->is_array() || send->is_object()))
        refuseAt(where, "\"send\" is missing: the message or the list of messages to repeat");
    const std::vector<loopValue> values = loopValues(loop["for"], left, where + ".for");
    if (values.empty() || send->empty())
        refuseAt(where, values.empty() ? "\"for\" has no value" : "\"send\" has no message");
    for (const loopValue &value : values) {
        if (send->is_object())
            each(*send, value, where + ".send");
        else
            for (size_t i = 0; i < send->size(); i++)
                each((*send)[i], value, where + ".send[" + std::to_string(i) + "]");
    }
}

bool isLoop(const json &value)
{
    return value.is_object() && value.contains("for");
}

// A list of messages and repetitions as one batch.
std::vector<ctlMessage_t> batchOf(const json &list, budget &left, const std::string &where)
{
    std::vector<ctlMessage_t> batch;
    for (size_t i = 0; i < list.size(); i++) {
        const std::string place = where + "[" + std::to_string(i) + "]";
        if (isLoop(list[i]))
            repeat(list[i], left, place, [&](const json &item, const loopValue &value, const std::string &at) {
                batch.push_back(messageOf(item, &value, left, at));
            });
        else
            batch.push_back(messageOf(list[i], nullptr, left, place));
    }
    if (batch.empty())
        refuseAt(where, "the batch is empty");
    return batch;
}

void addBatches(const json &list, budget &left, const std::string &where, ctlScenario_t &scenario)
{
    if (!list.is_array())
        refuseAt(where, "the batches are a list");
    if (list.empty())
        refuseAt(where, "the list of batches is empty");
    for (size_t i = 0; i < list.size(); i++) {
        const std::string place = where + "[" + std::to_string(i) + "]";
        const size_t before = scenario.batches.size();
        if (isLoop(list[i]))
            repeat(list[i], left, place, [&](const json &item, const loopValue &value, const std::string &at) {
                scenario.batches.push_back({messageOf(item, &value, left, at)});
            });
        else if (list[i].is_array())
            scenario.batches.push_back(batchOf(list[i], left, place));
        else
            scenario.batches.push_back({messageOf(list[i], nullptr, left, place)});
        try {
            for (size_t b = before; b < scenario.batches.size(); b++)
                ctlEncode(scenario.batches[b]);
        } catch (const ctlError_t &error) {
            refuseAt(place, error.text);
        }
    }
}

void readTop(const json &top, budget &left, const std::string &file, ctlScenario_t &scenario)
{
    static const std::vector<std::string> known = {"service", "slot", "batches"};
    for (const auto &[key, value] : top.items()) {
        if (key == "service" && value.is_string())
            scenario.service = value.get<std::string>();
        else if (key == "slot" && value.is_number_unsigned() && value >= 1 && value <= 16)
            scenario.slot = value.get<unsigned>();
        else if (key == "service")
            refuseAt(file + ": service", "it is a text, qosMI or qosMIStats");
        else if (key == "slot")
            refuseAt(file + ": slot", "it is a number from 1 to 16");
        else if (key != "batches")
            refuseAt(file, "'" + key + "' is unknown; the nearest is " + ctlNearest(key, known));
    }
    if (!top.contains("batches"))
        refuseAt(file, "\"batches\" is missing");
    addBatches(top["batches"], left, file + ": batches", scenario);
}

std::string lineAndColumn(const std::string &text, size_t byte)
{
    size_t line = 1, column = 1;
    for (size_t i = 0; i + 1 < byte && i < text.size(); i++) {
        column = text[i] == '\n' ? 1 : column + 1;
        line += text[i] == '\n';
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

} // namespace

ctlScenario_t ctlReadScenario(const std::string &text, const std::string &file, size_t most)
{
    json top;
    try {
        top = ctlParseJson(text);
    } catch (const json::parse_error &error) {
        ctlRefuse(file + ": " + lineAndColumn(text, error.byte) + ": this is no JSON");
    } catch (const json::exception &) {
        ctlRefuse(file + ": a number in it is larger than any that JSON holds");
    } catch (const ctlError_t &error) {
        refuseAt(file, error.text);
    }
    ctlScenario_t scenario;
    budget left{most};
    if (top.is_array())
        addBatches(top, left, file + ": batches", scenario);
    else if (top.is_object())
        readTop(top, left, file, scenario);
    else
        refuseAt(file, "a scenario is a list of batches or an object with \"batches\"");
    return scenario;
}
