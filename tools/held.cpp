// SPDX-License-Identifier: Apache-2.0
// Fills messages from rows, for save and for send.
#include "tools/held.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>

#include "tools/error.h"
#include "tools/names.h"
#include "tools/node.h"
#include "tools/text.h"
#include "tools/values.h"

namespace {

using json = ctlJson;
using assigns_t = std::vector<ctlAssign_t>;

// A field that has another name than the member, by body: what it is filled from.
const std::map<std::string, std::map<std::string, std::string>> MEMBERS = {
    {"qosCcbMsg_t",
     {{"ifindex", "ifIndex"},
      {"pause_rx", "ccb.pause.rx"},
      {"pause_tx", "ccb.pause.tx"},
      {"pfc_rx", "ccb.pfc.rx"},
      {"pfc_tx", "ccb.pfc.tx"},
      {"pri_tail_drop_threshold", "ccb.priTailDropThreshold"}}},
};

// Where a body's fields stand in a row.
const std::map<std::string, std::string> PREFIXES = {{"qosL2PriMsg_t", "l2_pri."}, {"qosL3PriMsg_t", "l3_pri."}};

// Messages whose fields a row of this kind holds.
const std::map<std::string, std::vector<uint8_t>> FILLED = {
    {"port",
     {QOS_IFADD_MSG, QOS_COSTRUST_MSG, QOS_DEFCOS_MSG, QOS_COSMAP_MSG, QOS_COSTCMAP_MSG, QOS_DSCPTRUST_MSG,
      QOS_DSCPMAP_MSG, QOS_DSCPCOSMAP_MSG, QOS_DSCPTCMAP_MSG, QOS_PAUSE_MSG, QOS_PFC_MSG, QOS_PRI_TAILDROP_MSG,
      QOS_W2QPRI_MSG, QOS_SCH_MSG, QOS_PSHAPE_MSG}},
    {"chip", {QOS_CHIPUP_MSG, QOS_GET_CHIP_CAP_MSG}},
    {"node", {QOS_GLB_SCH_MSG, QOS_MC_SCH_MSG}},
};

// A name as a scenario can say it: what is more than letters, digits and the like as bytes.
std::string nameText(const std::string &name)
{
    const bool plain = std::all_of(name.begin(), name.end(), [](unsigned char c) {
        return std::isalnum(c) != 0 || (c < 0x80 && std::string_view("/._-@").find(static_cast<char>(c)) < 5);
    });
    return plain ? name : "x:" + ctlFormatHex(reinterpret_cast<const uint8_t *>(name.data()), name.size());
}

// A member as a value of a scenario; what stands behind the last port of a chip is left out.
json valueOf(const std::string &field, const json &value)
{
    if (value.is_string())
        return nameText(value.get<std::string>());
    if (!value.is_array())
        return ctlIsInterfaceName(field) ? ctlInterfaceJson(value.get<uint32_t>()) : value;
    json list = value;
    while (field.rfind("portInfo.", 0) == 0 && !list.empty() && list.back() == 0)
        list.erase(list.size() - 1);
    if (ctlIsInterfaceName(field))
        for (json &each : list)
            each = ctlInterfaceJson(each.get<uint32_t>());
    return list;
}

// A value of a scenario as it is typed.
ctlAssign_t assignOf(const std::string &name, const json &value)
{
    const auto text = [](const json &each) { return each.is_string() ? each.get<std::string>() : each.dump(); };
    if (value.is_boolean())
        return {name, std::string(value.get<bool>() ? "1" : "0")};
    if (!value.is_array())
        return {name, text(value)};
    std::vector<std::string> elements;
    std::transform(value.begin(), value.end(), std::back_inserter(elements), text);
    return {name, std::move(elements)};
}

// The kind of row that holds a message's fields, empty if none does.
std::string kindOf(const qosMsgInfo_t &info)
{
    for (const auto &[kind, codes] : FILLED)
        if (std::find(codes.begin(), codes.end(), info.code) != codes.end())
            return kind;
    return "";
}

// The interface that a person named: the value of the first field that holds one. Nothing for what is no message, which
// building it will say.
std::optional<uint32_t> namedInterface(const qosMsgInfo_t &info, const assigns_t &assigns, bool chip)
{
    const wireBody &body = ctlBodyOf(info);
    for (const ctlAssign_t &assign : assigns) {
        if (assign.name.rfind('@', 0) == 0 || !std::holds_alternative<std::string>(assign.value))
            continue;
        const ctlFieldRef_t to = ctlFindField(body, assign.name);
        const std::string name = to.field->name;
        if (name != (chip ? "chip_ifindex" : "ifindex") && (chip || name != "ifIndex"))
            continue;
        ctlBytes data(body.size);
        ctlSetText(body, data, to, std::get<std::string>(assign.value));
        return static_cast<uint32_t>(ctlReadInteger(*to.field, data, 0));
    }
    return std::nullopt;
}

// The rows, once they are needed, and what a batch has said so far of each port in each body.
struct held_t {
    double seconds;
    std::ostream &err;
    std::optional<json> rows;
    std::map<std::pair<std::string, uint32_t>, assigns_t> said;

    const json &ask()
    {
        if (rows)
            return *rows;
        rows = json::array();
        if (ctlProcesses("dorvald").empty()) {
            ctlComplain(err, "no dorvald runs here whose record could fill the fields that are not named: they are 0");
            return *rows;
        }
        try {
            rows = ctlAskRows(ctlFindAgent("", seconds), "config", seconds);
        } catch (const ctlError_t &error) {
            throw ctlError_t{CTL_SILENT, "what the agent holds for the fields that are not named: " + error.text +
                                             "; --bare sends 0 for them"};
        }
        return *rows;
    }

    assigns_t fields(const qosMsgInfo_t &info, const assigns_t &assigns)
    {
        const std::string kind = kindOf(info);
        const bool raw =
            std::any_of(assigns.begin(), assigns.end(), [](const ctlAssign_t &each) { return each.name == "@raw"; });
        const auto subject = kind.empty() || raw ? std::nullopt
                             : kind == "node"    ? std::optional<uint32_t>(0)
                                                 : namedInterface(info, assigns, kind == "chip");
        if (!subject)
            return {};
        assigns_t found;
        for (const json &row : ask()) {
            if (row.value("kind", "") != kind || ctlSubject(row) != *subject)
                continue;
            const json filled = ctlFill(ctlShortName(info.code).c_str(), row);
            for (const auto &[field, value] : filled.items())
                if (field != "msg")
                    found.push_back(assignOf(field, value));
        }
        assigns_t &before = said[{ctlBodyOf(info).name, *subject}];
        found.insert(found.end(), before.begin(), before.end());
        for (const ctlAssign_t &assign : assigns)
            if (assign.name.rfind('@', 0) != 0 && assign.name != "status")
                before.push_back(assign);
        return found;
    }
};

} // namespace

bool ctlIsZero(const ctlJson &value)
{
    return value.is_array() ? std::all_of(value.begin(), value.end(), ctlIsZero) : value == 0 || value == "";
}

uint32_t ctlMember(const ctlJson &row, const char *key)
{
    return static_cast<uint32_t>(row.value(key, int64_t{0}));
}

uint32_t ctlElement(const ctlJson &row, const char *key, size_t index)
{
    const auto list = row.find(key);
    return list != row.end() && index < list->size() ? (*list)[index].get<uint32_t>() : 0;
}

bool ctlIsInterfaceName(const std::string &name)
{
    const std::string end = name.size() < 7 ? "" : name.substr(name.size() - 7);
    return end == "ifindex" || end == "ifIndex";
}

ctlJson ctlInterfaceJson(uint32_t ifindex)
{
    const std::string name = ctlFormatInterface(ifindex);
    return name.empty() ? json(ifindex) : json(name);
}

uint32_t ctlSubject(const ctlJson &row)
{
    const std::string kind = row.value("kind", "");
    return ctlMember(row, kind == "port" ? "ifIndex" : kind == "chip" ? "chip_ifindex" : "ifindex");
}

ctlJson ctlFill(const char *message, const ctlJson &row)
{
    json made = {{"msg", message}};
    const qosMsgInfo_t &info = ctlFindMessage(message);
    const wireBody &body = ctlBodyOf(info);
    const auto differing = MEMBERS.find(body.name);
    const auto prefix = PREFIXES.find(body.name);
    for (unsigned i = 0; i < body.numFields; i++) {
        const std::string field = body.fields[i].name;
        std::vector<std::string> members = {prefix == PREFIXES.end() ? field : prefix->second + field, field};
        if (differing != MEMBERS.end() && differing->second.count(field) != 0)
            members = {differing->second.at(field)};
        for (const std::string &member : members) {
            const auto value = row.find(member);
            if (value == row.end())
                continue;
            if (!ctlIsZero(*value))
                made[field] = valueOf(field, *value);
            break;
        }
    }
    if (body.name == std::string("qosCcbMsg_t"))
        made["tc_map"] = ctlIsZero(row.at("l2_pri.tc_map")) ? json("0..7") : row.at("l2_pri.tc_map");
    if (info.code == QOS_PRI_TAILDROP_MSG && (ctlMember(row, "ccb.ccbFlags") & CTL_COS_THRESHOLD) != 0)
        made["priTailDropSet"] = true;
    return made;
}

ctlHeld_t ctlHeldByAgent(double seconds, std::ostream &err)
{
    const auto held = std::make_shared<held_t>(held_t{seconds, err, {}, {}});
    return [held](const qosMsgInfo_t &info, const assigns_t &assigns) { return held->fields(info, assigns); };
}
