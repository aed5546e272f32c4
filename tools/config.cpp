// SPDX-License-Identifier: Apache-2.0
// show config and save.
#include "tools/config.h"

#include <algorithm>
#include <iomanip>
#include <map>
#include <optional>
#include <set>

#include "agent/messages/scheduler.h"
#include "platform/records/chip_traits.h"
#include "tools/error.h"
#include "tools/held.h"
#include "tools/names.h"
#include "tools/scenario.h"
#include "tools/text.h"
#include "tools/values.h"

namespace {

using json = ctlJson;

constexpr int NAME_WIDTH = 34;
constexpr size_t BATCH = 64; // small messages in one batch
constexpr unsigned PRIORITIES = 8;

// ---- Reading

std::string shownValue(const std::string &key, const json &value)
{
    if (value.is_string())
        return ctlShown(value.get<std::string>());
    return ctlIsInterfaceName(key) ? ctlShowInterface(value.get<uint32_t>()) : value.dump();
}

void printRow(std::ostream &out, const json &row)
{
    const uint32_t ifindex = row.contains("ifIndex") ? ctlMember(row, "ifIndex") : ctlMember(row, "ifindex");
    const uint32_t target = ifindex != 0 ? ifindex : ctlMember(row, "chip_ifindex");
    out << row["kind"].get<std::string>() << (target != 0 ? " " + ctlShowInterface(target) : "") << "\n";
    for (const auto &[key, value] : row.items()) {
        if (key == "kind" || ctlIsZero(value))
            continue;
        std::vector<std::string> values;
        for (const json &each : value.is_array() ? value : json::array({value}))
            values.push_back(shownValue(key, each));
        out << "    " << std::left << std::setw(NAME_WIDTH) << key << " " << ctlFold(values) << "\n";
    }
}

std::set<uint32_t> interfacesOf(const std::vector<std::string> &words)
{
    std::set<uint32_t> found;
    for (const std::string &word : words)
        for (const std::string &name : ctlExpandList(word)) {
            const auto ifindex = ctlParseInterface(name);
            if (!ifindex)
                ctlRefuse("'" + name + "' is no port or chip; they are written te1/3 and chip1/0");
            found.insert(*ifindex);
        }
    return found;
}

json chosenRows(const json &rows, const std::vector<std::string> &words)
{
    const std::set<uint32_t> wanted = ctlInterfacesOf(words, rows);
    json chosen = json::array();
    for (const json &row : rows)
        if (words.empty() || wanted.count(ctlSubject(row)) != 0)
            chosen.push_back(row);
    return chosen;
}

// ---- Saving

// A setting of a port: its message, and what of the row must not be 0 for it to be sent.
struct setting_t {
    const char *message;
    std::vector<const char *> needs;
};

// In the order in which they are sent. A COSMAP ahead of the default CoS would set that too.
const setting_t PORT_SETTINGS[] = {
    {"COSTRUST", {"l2_pri.cos_trust"}},
    {"DEFCOS", {"l2_pri.def_cos", "l2_pri.def_tc"}},
    {"COSMAP", {"l2_pri.cos_map"}},
    {"COSTCMAP", {"l2_pri.tc_map"}},
    {"DSCPTRUST", {"l3_pri.dscp_trust"}},
    {"DSCPMAP", {"l3_pri.dscp_map"}},
    {"DSCPCOSMAP", {"l3_pri.cos_map"}},
    {"DSCPTCMAP", {"l3_pri.tc_map"}},
    {"PAUSE", {"ccb.pause.rx", "ccb.pause.tx"}},
    {"PFC", {"ccb.pfc.rx", "ccb.pfc.tx"}},
    {"PRI_TAILDROP", {"ccb.priTailDropThreshold"}},
    {"SCH",
     {"sch_cfg.SchFlags", "sch_cfg.sp_count", "sch_cfg.sp_queue_bw", "sch_cfg.dwrr_weight", "sch_cfg.sch_cfg_status"}},
    {"PSHAPE", {"shaper_cfg.SchFlags", "shaper_cfg.if_bw", "shaper_cfg.port_shp_cfg_status"}},
};

bool any(const json &row, const std::vector<const char *> &keys)
{
    return std::any_of(keys.begin(), keys.end(), [&](const char *key) { return !ctlIsZero(row.value(key, json(0))); });
}

json settingsOf(const json &port)
{
    json batch = json::array();
    for (const setting_t &setting : PORT_SETTINGS) {
        const std::string name = setting.message;
        const bool weights = name == "PRI_TAILDROP" && (ctlMember(port, "ccb.ccbFlags") & CTL_COS_THRESHOLD) != 0;
        if (!weights && !any(port, setting.needs))
            continue;
        batch.push_back(ctlFill(setting.message, port));
    }
    return batch;
}

// The chips' weights as each chip that comes up sets them anew.
bool isDefaultMulticast(const json &node)
{
    for (unsigned queue = 0; queue < PRIORITIES; queue++)
        if (ctlElement(node, "Mcsch_cfg.mc_dwrr_weight", queue) != qosDefaultMcWeight(queue))
            return false;
    return ctlIsZero(node["Mcsch_cfg.mc_sch_cfg_status"]);
}

json nodeSettings(const json &node)
{
    json batch = json::array();
    if (any(node, {"sch_cfg.SchFlags", "sch_cfg.sp_count", "sch_cfg.sp_queue_bw", "sch_cfg.dwrr_weight"})) {
        json message = ctlFill("GLB_SCH", node);
        for (const char *others : {"Mcsch_cfg.mc_dwrr_weight", "Mcsch_cfg.mc_sch_cfg_status"})
            message.erase(others);
        batch.push_back(message);
    }
    if (any(node, {"Mcsch_cfg.mc_dwrr_weight", "Mcsch_cfg.mc_sch_cfg_status"}) && !isDefaultMulticast(node)) {
        json message = {{"msg", "MC_SCH"}};
        for (const char *member : {"Mcsch_cfg.mc_dwrr_weight", "Mcsch_cfg.mc_sch_cfg_status"})
            message[member] = node[member];
        batch.push_back(message);
    }
    for (const auto &[message, member] :
         {std::pair("INGR_QUEUE_DEPTH", "ingrQueueDepth"), std::pair("EGR_QUEUE_DEPTH", "egrQueueDepth")})
        if (ctlMember(node, member) != 0)
            batch.push_back({{"msg", message}, {"queueDepth", ctlMember(node, member)}});
    return batch;
}

// ---- Long distance

// One pool of a chip, as its last long-distance port split it.
struct pool_t {
    uint32_t links, reserve, long_port, isl_port, edge_port;
};

pool_t poolOf(const json &chip, size_t group)
{
    return {ctlElement(chip, "ldChipCfg.num_ld_isl", group), ctlElement(chip, "ldChipCfg.ld_buf.per_pfc_buf", group),
            ctlElement(chip, "ldChipCfg.ld_buf.ld_port_buf", group),
            ctlElement(chip, "ldChipCfg.ld_buf.reg_isl_port_buf", group),
            ctlElement(chip, "ldChipCfg.ld_buf.edge_port_buf", group)};
}

// How many lossless priorities the split was made for: a long-distance port has their reserves, and an edge port's
// share for each other priority.
std::optional<unsigned> losslessOf(const pool_t &pool)
{
    for (unsigned count = 0; count <= PRIORITIES; count++)
        if (pool.long_port == pool.edge_port * (PRIORITIES - count) + pool.reserve * count)
            return count;
    return std::nullopt;
}

// ---- All of it

void addBatch(json &batches, const json &messages)
{
    for (size_t i = 0; i < messages.size(); i += BATCH)
        batches.push_back(json(messages.begin() + static_cast<std::ptrdiff_t>(i),
                               messages.begin() + static_cast<std::ptrdiff_t>(std::min(i + BATCH, messages.size()))));
}

// ---- What the driver alone holds

constexpr uint64_t CHIP_MAXIMUM = 5000000000; // bytes a second, with the burst below an unlimited rate
constexpr uint64_t UNLIMITED_BURST = 0x1ffffffff;
constexpr uint64_t UNLIMITED_RATE = 0xffffffffffff; // as a message has it
constexpr uint32_t ALL_CHIPS = 0x8BC00000;

// What was told of a port or chip, null where that is not known.
const json &toldOf(const ctlTold_t &told, uint32_t chip, uint32_t port)
{
    static const json none;
    const auto found = told.find(chip);
    if (found == told.end())
        return none;
    for (const json &each : found->second.at("ports"))
        if (each.at("ifindex") == port)
            return each;
    return port == 0 ? found->second : none;
}

// The policer with its rates, null where the driver was not told of it. Groups count where the chip has any.
json policerOf(const json &row, const ctlTold_t &told)
{
    const uint32_t chip = ctlMember(row, "chip_ifindex"), ifindex = ctlMember(row, "ifindex");
    const std::string direction = ctlMember(row, "dir") == 0 ? "ingress" : "egress";
    const json &home = toldOf(told, chip, 0), &port = toldOf(told, chip, ifindex);
    for (const json &each : home.is_null() ? json::array() : home.at("policers")) {
        const bool group = each.at("group") == 0 || each.at("group") == ctlMember(row, "pol_grp_idx");
        if (!group || each.at("direction") != direction || each.at("policer") != ctlMember(row, "policer_id"))
            continue;
        const uint64_t cir = each.at("cir"), cbs = each.at("cbs"), eir = each.at("eir"), ebs = each.at("ebs");
        const bool unlimited = cir == CHIP_MAXIMUM && cbs == UNLIMITED_BURST;
        return {{"msg", "POL_POLICER_ADD"},
                {"ifindex", ifindex == ALL_CHIPS ? json("all") : ctlInterfaceJson(ifindex)},
                {"chip_ifindex", ctlInterfaceJson(chip)},
                {"policer_id", ctlMember(row, "policer_id")},
                {"dir", ctlMember(row, "dir")},
                {"policer_req_type", 1},
                {"class_default", !port.is_null() && port.at(direction + "_policer") == ctlMember(row, "policer_id")},
                {"is_bum_policer", row["kind"] == "bum"},
                {"poll_pol_cntr", ctlMember(row, "bum_info.monitor_bum_policer")},
                {"policer_param.cir", unlimited ? UNLIMITED_RATE : cir * 8},
                {"policer_param.cbs", unlimited ? 0 : cbs},
                {"policer_param.eir", eir * 8},
                {"policer_param.ebs", ebs}};
    }
    return nullptr;
}

// The percentage that comes to `value` by the agent's arithmetic.
template <typename Share>
std::optional<uint32_t> percentOf(uint32_t value, Share share)
{
    for (unsigned percent = 0; percent <= 100; percent++)
        if (share(percent) == value)
            return percent;
    return std::nullopt;
}

// What the driver was told of RED of one priority, null where that is off or not known.
json toldRed(const json &port, unsigned priority, const ctlTold_t &told)
{
    const json &known = toldOf(told, ctlMember(port, "chip_ifindex"), ctlMember(port, "ifIndex"));
    if (!known.is_null())
        for (const json &queue : known.at("congestion").value("priorities", json::array()))
            if (queue.at("priority") == priority && queue.contains("red") && queue.at("red").at("on") == true)
                return queue.at("red");
    return nullptr;
}

// The levels that a message of RED has, null where they are not known. A Tessel's are bytes, a Mirelle's percent of the
// depth of its queues; a Larkin's are its chip's own.
json levelsOf(const json &red, uint32_t type, uint32_t depth)
{
    if (type == QOS_CHIP_LARKIN)
        return json::object();
    if (red.is_null())
        return nullptr;
    const auto share = [depth](unsigned percent) { return depth * percent / 100; };
    const auto scaled = [](unsigned percent) { return static_cast<uint32_t>(percent / 100.0 * 255.0); };
    const uint32_t least = red.at("min"), most = red.at("max");
    const auto odds = percentOf(red.at("probability"), scaled);
    const std::optional<uint32_t> minimum = type == QOS_CHIP_TESSEL ? least : percentOf(least, share);
    const std::optional<uint32_t> maximum = type == QOS_CHIP_TESSEL ? most : percentOf(most, share);
    if (!odds || !minimum || !maximum)
        return nullptr; // told with another depth
    return {{"minThreshold", *minimum}, {"maxThreshold", *maximum}, {"dropProbability", *odds}};
}

// Chips and ports first, then what is set on them; long links last, since they split what the other settings leave.
struct parts_t {
    json chips = json::array(), ports = json::array(), node = json::array(), settings = json::array();
    json links = json::array(), regular = json::array(), watches = json::array(), policers = json::array();
    std::multimap<uint32_t, json>
        red; // by the chip's number of the profile, which it gives in the order of the messages
};

void addPolicer(const json &row, const ctlTold_t &told, parts_t &parts, std::vector<std::string> &lost)
{
    const std::string name = "policer " + std::to_string(ctlMember(row, "policer_id")) + " of " +
                             ctlShowInterface(ctlSubject(row)) + ", " +
                             (ctlMember(row, "dir") == 0 ? "ingress" : "egress") + ": its ";
    if (json message = policerOf(row, told); !message.is_null())
        parts.policers.push_back(std::move(message));
    else
        lost.push_back(name + "rates are not held");
}

void addRed(const json &port, const json &chip, uint32_t depth, const ctlTold_t &told, parts_t &parts,
            std::vector<std::string> &lost)
{
    const uint32_t type = ctlMember(chip, "chip_type");
    std::string priorities;
    for (unsigned priority = 0; priority < PRIORITIES; priority++) {
        const json red = toldRed(port, priority, told);
        const bool tessel = type == QOS_CHIP_TESSEL; // of whose RED the driver alone knows
        if (tessel ? red.is_null() : ctlElement(port, "ccb.redConfig.redProfileEnabled", priority) == 0)
            continue;
        json message = {{"msg", "RED_PROFILE"},
                        {"ifindex", ctlInterfaceJson(ctlMember(port, "ifIndex"))},
                        {"chip_ifindex", "all"},
                        {"cos", priority},
                        {"profileId", tessel ? red.at("profile").get<uint32_t>()
                                             : ctlElement(port, "ccb.redConfig.globalProfile", priority)},
                        {"set", 1}};
        if (const json levels = levelsOf(red, type, depth); levels.is_null()) {
            priorities += (priorities.empty() ? "" : ",") + std::to_string(priority);
        } else {
            message.update(levels);
            parts.red.emplace(ctlElement(port, "ccb.redConfig.mappedProfile", priority), std::move(message));
        }
    }
    if (!priorities.empty())
        lost.push_back("RED of " + ctlShowInterface(ctlSubject(port)) + ", priorities " + priorities +
                       ": its thresholds are not held");
}

void sortIn(const json &row, const std::map<uint32_t, json> &chips, parts_t &parts, std::vector<std::string> &lost)
{
    const std::string kind = row["kind"];
    if (kind == "node")
        parts.node = nodeSettings(row);
    else if (kind == "chip")
        parts.chips.push_back(json::array({ctlFill("CHIPUP", row)}));
    else if (kind == "watch")
        parts.watches.push_back(ctlFill("DROP_MONITOR_CFG", row));
    if (kind == "watch")
        parts.watches.back()["cmd"] = 1;
    if (kind != "port")
        return;
    parts.ports.push_back(ctlFill("IFADD", row));
    if (json settings = settingsOf(row); !settings.empty())
        parts.settings.push_back(std::move(settings));
    const auto chip = chips.find(ctlMember(row, "chip_ifindex"));
    if (chip == chips.end())
        return;
    const json link = ctlLinkOf(row, chip->second, lost);
    if (!link.is_null())
        (link["cmd"] == 1 ? parts.links : parts.regular).push_back(link);
}

} // namespace

std::set<uint32_t> ctlInterfacesOf(const std::vector<std::string> &words, const ctlJson &rows)
{
    const std::set<uint32_t> wanted = interfacesOf(words);
    std::set<uint32_t> missing = wanted;
    for (const json &row : rows)
        missing.erase(ctlSubject(row));
    if (!missing.empty())
        throw ctlError_t{CTL_FAILED, "the agent knows no " + ctlShowInterface(*missing.begin())};
    return wanted;
}

ctlJson ctlLinkOf(const ctlJson &port, const ctlJson &chip, std::vector<std::string> &lost)
{
    const pool_t pool = poolOf(chip, ctlMember(port, "ccb.ldIfCfg.buf_pool_group"));
    const std::string name = ctlShowInterface(ctlMember(port, "ifIndex"));
    if (ctlMember(port, "ccb.ldIfCfg.is_link_ld") == 1) {
        const auto lossless = losslessOf(pool);
        if (!lossless)
            lost.push_back("LD_CFG of " + name + ": for how many lossless priorities is not known, 0 is taken");
        if (pool.links > 1)
            lost.push_back("LD_CFG of " + name + ": which of the pool's long links came last is not known");
        return {{"msg", "LD_CFG"},
                {"cmd", 1},
                {"ifindex", ctlInterfaceJson(ctlMember(port, "ifIndex"))},
                {"distance", ctlMember(port, "ccb.ldIfCfg.ld_distance")},
                {"num_pfc", lossless.value_or(0)}};
    }
    if (pool.links == 0 || pool.isl_port == pool.edge_port || ctlMember(port, "ccb.tailDropThreshold") != pool.isl_port)
        return nullptr;
    return {{"msg", "LD_CFG"}, {"cmd", 3}, {"ifindex", ctlInterfaceJson(ctlMember(port, "ifIndex"))}};
}

ctlJson ctlScenarioOf(const ctlJson &rows, const ctlTold_t &told, std::vector<std::string> &lost)
{
    std::map<uint32_t, json> chips;
    for (const json &row : rows)
        if (row["kind"] == "chip")
            chips[ctlMember(row, "chip_ifindex")] = row;
    parts_t parts;
    uint32_t depth = 0;
    for (const json &row : rows) {
        sortIn(row, chips, parts, lost);
        if (row["kind"] == "node")
            depth = ctlMember(row, "egrQueueDepth");
        else if (row["kind"] == "policer" || row["kind"] == "bum")
            addPolicer(row, told, parts, lost);
        else if (row["kind"] == "port")
            addRed(row, chips[ctlMember(row, "chip_ifindex")], depth, told, parts, lost);
    }
    json red = json::array();
    for (auto &[number, message] : parts.red)
        red.push_back(std::move(message));
    json batches = std::move(parts.chips);
    addBatch(batches, parts.ports);
    addBatch(batches, parts.node);
    for (json &settings : parts.settings)
        batches.push_back(std::move(settings));
    for (const json *list : {&red, &parts.policers, &parts.links, &parts.regular, &parts.watches})
        addBatch(batches, *list);
    if (!parts.policers.empty())
        lost.push_back("actions and profiles of policers");
    lost.push_back(
        "whether these were set is not held: W2QPRI and the maps in PAUSE, PFC and PRI_TAILDROP (the port's own "
        "is taken, 0..7 where it has none), POL_PROFILE, MCAST_RATELIMIT, MCAST_TAILDROP, "
        "SET_MCAST_QUEUE_MODE, IVQ_RED_CFG, RED_PROFILE of chips");
    return batches;
}

int ctlShowConfig(const std::vector<std::string> &ports, const ctlShow_t &asked, std::ostream &out)
{
    const json rows = chosenRows(ctlAskRows(ctlFindAgent(asked.pid, asked.timeout), "config", asked.timeout), ports);
    if (asked.json)
        ctlPrintJson(out, rows);
    else
        for (const json &row : rows)
            printRow(out, row);
    return CTL_DONE;
}

int ctlSaveConfig(const ctlShow_t &asked, std::ostream &out, std::ostream &err)
{
    std::vector<std::string> lost;
    const json rows = ctlAskRows(ctlFindAgent(asked.pid, asked.timeout), "config", asked.timeout);
    ctlTold_t told;
    try {
        if (!ctlProcesses("hsld").empty())
            told = ctlAskDriver(rows, asked.timeout);
    } catch (const ctlError_t &error) {
        lost.push_back("what the driver alone holds: " + error.text);
    }
    const json batches = ctlScenarioOf(rows, told, lost);
    if (batches.empty())
        throw ctlError_t{CTL_FAILED, "the agent holds no chip, port or setting: there is nothing to save"};
    std::string text = "{\"batches\": [\n";
    for (size_t b = 0; b < batches.size(); b++)
        for (size_t m = 0; m < batches[b].size(); m++)
            text += (m == 0 ? "  [" : "   ") + batches[b][m].dump(-1, ' ', false, json::error_handler_t::replace) +
                    (m + 1 < batches[b].size() ? ",\n"
                     : b + 1 < batches.size()  ? "],\n"
                                               : "]\n");
    text += "]}\n";
    out << text;
    for (const std::string &each : lost)
        ctlComplain(err, "not saved: " + each);
    try { // what apply does ahead of sending
        for (const std::vector<ctlMessage_t> &batch : ctlReadScenario(text, "the scenario").batches)
            ctlCheckMaps(batch);
    } catch (const ctlError_t &error) {
        ctlComplain(err, "apply takes this with --force alone: " + error.text);
    }
    return CTL_DONE;
}
