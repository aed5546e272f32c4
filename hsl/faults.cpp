// SPDX-License-Identifier: Apache-2.0
// The faults' names, options and matching.
#include "hsl/faults.h"

#include <algorithm>

struct kindRow_t {
    const char *name;
    const char *option; // the option that gives `value`, or null
    uint32_t least, most;
};

static const kindRow_t kinds[FAULT_KINDS] = {
    {"refuse", "status", 1, UINT32_MAX}, {"delay", "ms", 1, 3600000},      {"drop", nullptr, 0, 0},
    {"late", "ms", 1, 3600000},          {"wrong-command", nullptr, 0, 0}, {"wrong-type", "type", 0, 0xFFFF},
    {"wrong-sequence", nullptr, 0, 0},   {"truncate", "bytes", 0, 0xFFFF}, {"error", "number", 0, UINT32_MAX},
    {"no-end", nullptr, 0, 0},           {"garbage", nullptr, 0, 0},
};

const char *hslFaultName(hslFaultKind_t kind)
{
    return kinds[kind].name;
}

static std::string kindNames()
{
    std::string names;
    for (auto &row : kinds)
        names += (names.empty() ? "" : ", ") + std::string(row.name);
    return names;
}

static std::string parseOption(const std::string &word, hslFault_t *fault)
{
    auto &row = kinds[fault->kind];
    auto equals = word.find('=');
    auto key = word.substr(0, equals);
    auto text = equals == std::string::npos ? "" : word.substr(equals + 1);
    if (key == "count" && text == "forever") {
        fault->count = FAULT_FOREVER;
        return "";
    }
    if (key == "scope" && fault->kind == FAULT_REFUSE && (text == "record" || text == "batch")) {
        fault->record_only = text == "record";
        return "";
    }
    bool own = row.option && key == row.option;
    if (!own && key != "command" && key != "count")
        return std::string(row.name) + " has no option '" + word + "'; it takes command=N, count=N|forever" +
               (row.option ? ", " + std::string(row.option) + "=N" : "") +
               (fault->kind == FAULT_REFUSE ? ", scope=record|batch" : "");
    uint64_t value;
    if (!hslNumber(text, &value))
        return key + " needs a number, decimal or 0x...; not '" + text + "'";
    if (own && (value < row.least || value > row.most))
        return key + " must lie between " + std::to_string(row.least) + " and " + std::to_string(row.most);
    if (key == "command" && value > UINT32_MAX)
        return "command has 32 bits";
    if (key == "count" && !value)
        return "count must be at least 1; 'fault clear' takes faults away";
    if (own)
        fault->value = static_cast<uint32_t>(value);
    else if (key == "command")
        fault->command = static_cast<uint32_t>(value);
    else
        fault->count = value;
    return "";
}

std::string hslFaultParse(const std::vector<std::string> &words, hslFault_t *fault)
{
    auto name = words.empty() ? "" : words[0];
    auto row = std::find_if(std::begin(kinds), std::end(kinds), [&](auto &kind) { return kind.name == name; });
    if (row == std::end(kinds))
        return "no fault '" + name + "'; there are " + kindNames();
    *fault = {};
    fault->kind = static_cast<hslFaultKind_t>(row - kinds);
    for (size_t i = 1; i < words.size(); ++i)
        if (auto error = parseOption(words[i], fault); !error.empty())
            return error;
    if (fault->kind == FAULT_DELAY && !fault->value)
        return "delay needs ms=N";
    return "";
}

hslFaultSet_t hslFaultsTake(hslFaults_t &faults, uint32_t command, bool nested)
{
    hslFaultSet_t set;
    for (auto &fault : faults.list) {
        bool meets = fault.command ? *fault.command == command : !nested;
        if (nested && fault.kind != FAULT_REFUSE)
            meets = false;
        if (!meets || set.of[fault.kind])
            continue;
        set.of[fault.kind] = fault;
        ++fault.done;
        if (fault.count != FAULT_FOREVER)
            --fault.count;
    }
    std::erase_if(faults.list, [](auto &fault) { return fault.count == 0; });
    return set;
}

hslJson hslFaultsJson(const hslFaults_t &faults)
{
    auto list = hslJson::array();
    for (auto &fault : faults.list) {
        hslJson item{{"kind", kinds[fault.kind].name}};
        if (fault.command)
            item["command"] = hslIndexText(*fault.command);
        if (fault.value)
            item[kinds[fault.kind].option] = *fault.value;
        if (fault.record_only)
            item["scope"] = "record";
        item["left"] = fault.count == FAULT_FOREVER ? hslJson("forever") : hslJson(fault.count);
        item["done"] = fault.done;
        list.push_back(item);
    }
    return list;
}
