// SPDX-License-Identifier: Apache-2.0
// A row for each command says what its words are.
#include "tools/complete.h"

#include <algorithm>
#include <cctype>

#include "tools/drops.h"
#include "tools/error.h"
#include "tools/names.h"
#include "tools/node.h"
#include "tools/show.h"
#include "tools/stats.h"
#include "tools/top.h"
#include "tools/values.h"
#include "velmar/dce.h"

namespace {

using words_t = std::vector<std::string>;

constexpr double SECONDS = 0.3; // a person is waiting for the next letter

void append(words_t &list, const words_t &more)
{
    list.insert(list.end(), more.begin(), more.end());
}

void appendOnce(words_t &list, const std::string &word)
{
    if (!word.empty() && std::find(list.begin(), list.end(), word) == list.end())
        list.push_back(word);
}

words_t messageNames()
{
    words_t names;
    for (unsigned code = 0; code < QOS_MSG_CODES; code++)
        names.push_back(ctlShortName(code));
    return names;
}

// Whether a shell takes the word as nothing but a word: it is put on the command line as it is.
bool isPlain(const std::string &word)
{
    return std::all_of(word.begin(), word.end(),
                       [](unsigned char c) { return std::isalnum(c) || c == '_' || c == '-' || c == '.'; });
}

// Ports, their chips, and all.
words_t interfaceNames()
{
    words_t ports, chips;
    try {
        for (const uint32_t port : ctlKnownPorts(SECONDS)) {
            ports.push_back(ctlShowInterface(port));
            appendOnce(chips, ctlFormatInterface(dce_get_ifindex(dce_get_flat_chip_id(port))));
        }
    } catch (const ctlError_t &) {
        // Nobody to ask: ports are typed as ever.
    }
    append(ports, chips);
    ports.push_back("all");
    return ports;
}

words_t processNames(const char *name, bool pids)
{
    words_t names;
    try {
        for (const ctlProcess_t &process : ctlProcesses(name))
            if (isPlain(process.name))
                appendOnce(names, pids ? process.pid : process.name);
    } catch (const ctlError_t &) {
    }
    return names;
}

// The fields of the message that stands behind "send" or the last "+", or the values of the field that `last` begins.
words_t sendWords(const words_t &before, const std::string &last)
{
    const auto begin = std::find(before.rbegin(), before.rend(), "+").base();
    if (begin == before.end())
        return messageNames();
    const wireBody &body = ctlBodyOf(ctlFindMessage(*begin));
    words_t list;
    const size_t equals = last.find('=');
    if (equals != std::string::npos) {
        if (ctlIsInterface(*ctlFindField(body, last.substr(0, equals)).field))
            for (const std::string &name : interfaceNames())
                list.push_back(last.substr(0, equals + 1) + name);
        return list;
    }
    for (unsigned i = 0; i < body.numFields; i++)
        list.push_back(body.fields[i].name + std::string("="));
    list.push_back("+");
    return list;
}

// Kinds, and behind one its sides, its sources and ports.
words_t statsWords(const words_t &before)
{
    words_t list;
    for (const ctlStatsView_t &view : ctlStatsViews()) {
        if (before.empty()) {
            appendOnce(list, view.kind);
        } else if (before[0] == view.kind) {
            appendOnce(list, view.side);
            appendOnce(list, view.source);
        }
    }
    if (!before.empty())
        append(list, interfaceNames());
    else
        list.push_back(ctlDropsView.kind);
    return list;
}

words_t controlWords(const words_t &before)
{
    if (before.empty())
        return processNames("", false);
    if (before.size() > 1)
        return {};
    if (before[0].rfind("hsld", 0) == 0)
        return {"stat", "show",    "log",   "clear",  "chip",  "event", "fault",
                "data", "traffic", "stall", "resume", "clock", "quit"};
    return {"stat", "trace", "log", "capture", "reopen", "clock", "stage", "tp", "msgq", "cli", "quit"};
}

words_t plainWords(const std::string &command, const words_t &before, const std::string &last)
{
    words_t list;
    if (command == "send")
        return sendWords(before, last);
    if (command == "stats")
        return statsWords(before);
    if (command == "ctl")
        return controlWords(before);
    const bool some = command == "show" && !before.empty() && (before[0] == "config" || before[0] == "interfaces");
    if (command == "top" || command == "diff" || some || (command == "clear" && !before.empty()))
        return interfaceNames();
    if (command == "clear")
        return {"stats"};
    if (command == "show" && before.empty()) {
        list = ctlShowNames();
        append(list, messageNames());
    }
    if (command == "trace" && before.empty()) {
        list = processNames("dorvald", false);
        append(list, processNames("dorvald", true));
    }
    return list;
}

words_t valuesOf(const std::string &option)
{
    if (option == "--service" || option == "-S")
        return {"qosMI", "qosMIStats"};
    if (option == "--sort")
        return ctlTopOrders();
    if (option == "--pid")
        return processNames("dorvald", true);
    return {};
}

// The candidates, which may still begin in another way.
words_t candidates(const ctlGrammar_t &grammar, const words_t &words, const std::string &last)
{
    words_t list;
    if (words.size() < 2) {
        for (const auto &[name, options] : grammar)
            list.push_back(name);
        return list;
    }
    const auto command = grammar.find(words[0]);
    if (command == grammar.end())
        return {};
    words_t plain; // without options and what belongs to them
    std::string option;
    for (size_t i = 1; i + 1 < words.size(); i++) {
        if (!option.empty() || words[i].rfind('-', 0) != 0) {
            if (option.empty())
                plain.push_back(words[i]);
            option.clear();
            continue;
        }
        for (const ctlFlag_t &flag : command->second)
            if (flag.name == words[i] && flag.value)
                option = flag.name;
    }
    if (!option.empty())
        return valuesOf(option);
    if (last.rfind('-', 0) != 0)
        return plainWords(words[0], plain, last);
    for (const ctlFlag_t &flag : command->second)
        list.push_back(flag.name);
    return list;
}

} // namespace

std::vector<std::string> ctlComplete(const ctlGrammar_t &grammar, const std::vector<std::string> &words)
{
    const std::string last = words.empty() ? "" : words.back();
    words_t list;
    try {
        list = candidates(grammar, words, last);
    } catch (const ctlError_t &) {
        // A message or field that does not exist has nothing to go on with.
    }
    std::erase_if(list, [&](const std::string &word) { return word.rfind(last, 0) != 0; });
    return list;
}
