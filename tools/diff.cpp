// SPDX-License-Identifier: Apache-2.0
// Works out what each chip family is told of a record, and sets it beside what it was told. The driver's records and
// their fields go by the names of the emulator's command table.
#include "tools/diff.h"

#include <algorithm>
#include <set>

#include "platform/records/chip_traits.h"
#include "tools/config.h"
#include "tools/held.h"
#include "tools/values.h"

namespace {

using json = ctlJson;

constexpr unsigned PRIORITIES = 8;
constexpr unsigned DSCPS = 64;
constexpr uint32_t ALL_CHIPS = 0x8BC00000;
constexpr uint32_t OWN_SCHEDULER = 2; // bit of SchFlags: the global one does not apply

enum families_t : unsigned {
    NONE = 0,
    LARKIN = 1,
    TESSEL = 2,
    MIRELLE = 4,
    COS = TESSEL | MIRELLE,
    EVERY = LARKIN | COS
};

families_t familyOf(const json &chip)
{
    switch (ctlMember(chip, "chip_type")) {
    case QOS_CHIP_LARKIN:
        return LARKIN;
    case QOS_CHIP_TESSEL:
        return TESSEL;
    case QOS_CHIP_MIRELLE:
    case QOS_CHIP_MIRELLE2:
        return MIRELLE;
    default:
        return NONE;
    }
}

// The chips count priorities 0 and 1 the other way round.
unsigned chipPriority(unsigned priority)
{
    return priority < 2 ? 1 - priority : priority;
}

// Null is what the driver was never told: of a whole record it stands for zeros, one value of a list it lacks.
bool isSame(const json &agent, const json &driver)
{
    return driver.is_null() ? ctlIsZero(agent) : agent == driver;
}

json truthOf(const json &value)
{
    if (value.is_null())
        return value;
    if (!value.is_array())
        return value == 0 || value == false ? 0 : 1;
    json list = json::array();
    for (const json &each : value)
        list.push_back(truthOf(each));
    return list;
}

// A message as words of send.
std::string wordsOf(const json &message)
{
    std::string text = message.at("msg").get<std::string>();
    for (const auto &[field, value] : message.items())
        if (field != "msg")
            text += " " + field + "=" + (value.is_string() ? value.get<std::string>() : value.dump());
    return text;
}

std::string sendFor(const char *message, uint32_t ifindex)
{
    const bool upper = ctlField(ctlBodyOf(ctlFindMessage(message)), "ifIndex") != nullptr;
    return std::string("send ") + message + (upper ? " ifIndex=" : " ifindex=") + ctlShowInterface(ifindex);
}

// A port or chip with what the driver was told of it.
struct place_t {
    uint32_t ifindex;
    uint32_t chip;
    json told;       // records by name
    json congestion; // of a Tessel's or Mirelle's port

    // A field of a record, null where the record was never told.
    json field(const char *record, const char *name) const
    {
        return told.contains(record) ? told.at(record).value(name, json()) : json();
    }
};

struct comparison_t {
    const json &config;
    const json &side; // what else decides, by port
    const ctlTold_t &told;
    std::vector<ctlDifference_t> found;

    void compare(const place_t &at, const std::string &field, const char *record, const json &agent, const json &driver,
                 const std::string &mend)
    {
        if (!isSame(agent, driver))
            found.push_back({at.ifindex, at.chip, field, record, agent, driver, mend});
    }
    const json &row(const char *kind, const char *key, uint32_t ifindex) const
    {
        static const json none = json::object();
        const auto place = std::find_if(config.begin(), config.end(), [&](const json &each) {
            return each.at("kind") == kind && ctlMember(each, key) == ifindex;
        });
        return place == config.end() ? none : *place;
    }
};

place_t portPlace(const comparison_t &all, uint32_t ifindex, uint32_t chip)
{
    place_t place = {ifindex, chip, json::object(), json::object()};
    if (const auto known = all.told.find(chip); known != all.told.end())
        for (const json &port : known->second.at("ports"))
            if (port.at("ifindex") == ifindex) {
                place.told = port.at("told");
                place.congestion = port.at("congestion");
            }
    return place;
}

// ---- Members that the driver is told as they are

struct plain_t {
    const char *member;
    const char *record;
    const char *field;
    const char *message;
    unsigned families;
    bool truth = false; // any number but 0 is told as 1
};

constexpr plain_t PLAIN[] = {
    {"l2_pri.def_cos", "default CoS and TC", "cos", "DEFCOS", COS},
    {"l2_pri.def_tc", "default CoS and TC", "tc", "DEFCOS", COS},
    {"l2_pri.def_cos", "L2 priority map", "default cos", "DEFCOS", COS},
    {"l2_pri.def_tc", "L2 priority map", "default tc", "DEFCOS", COS},
    {"l2_pri.cos_map", "L2 priority map", "cos", "COSTRUST", COS},
    {"l2_pri.tc_map", "L2 priority map", "tc", "COSTRUST", COS},
    {"l3_pri.dscp_trust", "L3 priority map", "trust", "DSCPTRUST", COS},
    {"l3_pri.cos_map", "L3 priority map", "cos", "DSCPTRUST", COS},
    {"l3_pri.tc_map", "L3 priority map", "tc", "DSCPTRUST", COS},
    {"l3_pri.dscp_map", "DSCP mutation map", "dscp", "DSCPMAP", COS},
    {"l2_pri.def_cos", "default CoS", "cos", "DEFCOS", LARKIN},
    {"ccb.pause.rx", "pause", "rx", "PAUSE", EVERY, true},
    {"ccb.pause.tx", "pause", "tx", "PAUSE", EVERY, true},
    {"shaper_cfg.if_bw", "port shaper", "rate", "PSHAPE", COS},
};

void comparePlain(comparison_t &all, const json &port, const place_t &at, families_t family)
{
    for (const plain_t &row : PLAIN)
        if ((row.families & family) != 0)
            all.compare(at, row.member, row.record, row.truth ? truthOf(port.at(row.member)) : port.at(row.member),
                        at.field(row.record, row.field), sendFor(row.message, at.ifindex));
}

// ---- Priorities of a Larkin: entries of its TCAM, and a map of registers that holds when the TCAM is full

json entriesOf(const comparison_t &all, const place_t &at, const char *table)
{
    json entries = json::array();
    if (const auto chip = all.told.find(at.chip); chip != all.told.end())
        for (const json &entry : chip->second.at("tcam"))
            if (entry.at("table") == table && entry.at("port") == at.ifindex)
                entries.push_back(entry);
    return entries;
}

// A list by what the entries look up, with null for each that is missing.
json byValue(const json &entries, const char *field, size_t count)
{
    json list(count, json());
    for (const json &entry : entries)
        if (entry.at("value") < count)
            list[entry.at("value").get<size_t>()] = entry.at(field);
    return list;
}

json chipClasses(const json &map)
{
    json list = json::array();
    for (const json &tc : map)
        list.push_back(chipPriority(tc.get<unsigned>()) & 7);
    return list;
}

json lowBits(const json &map)
{
    json list = json::array();
    for (const json &cos : map)
        list.push_back(cos.get<unsigned>() & 7);
    return list;
}

// A missing entry is told again by its message, unless the agent has its handle and so would change what is not there.
// Regions for entries are set up once, when the agent learns of the chip: a driver that lost them takes no entry.
std::string entryMessage(const comparison_t &all, const char *message, const place_t &at, const json &entries,
                         uint64_t handles, size_t count)
{
    if (const auto chip = all.told.find(at.chip); chip == all.told.end() || chip->second.at("tcam_regions") == 0)
        return "save > FILE, start the agent anew, apply FILE";
    const json found = byValue(entries, "cos", count);
    for (size_t value = 0; value < count; value++)
        if (found.at(value).is_null() && (handles >> value & 1) != 0)
            return "save > FILE, send IFDEL ifIndex=" + ctlShowInterface(at.ifindex) + ", apply FILE";
    return sendFor(message, at.ifindex);
}

void compareL2Entries(comparison_t &all, const json &port, const place_t &at, const json &side)
{
    const json entries = entriesOf(all, at, "l2"), registers = at.field("L2 priority register map", "tc");
    if (entries.empty() && registers.is_null() && ctlIsZero(port.at("l2_pri.cos_map")) &&
        ctlIsZero(port.at("l2_pri.tc_map")))
        return;
    const std::string mend =
        entryMessage(all, "COSTRUST", at, entries, side.at("l2_handles").get<uint64_t>(), PRIORITIES);
    all.compare(at, "l2_pri.cos_map", "L2 TCAM entries", lowBits(port.at("l2_pri.cos_map")),
                byValue(entries, "cos", PRIORITIES), mend);
    all.compare(at, "l2_pri.tc_map", "L2 TCAM entries", chipClasses(port.at("l2_pri.tc_map")),
                byValue(entries, "tc", PRIORITIES), mend);
    json classes = json::array();
    for (unsigned cos = 0; cos + 1 < PRIORITIES; cos++)
        classes.push_back(chipPriority(ctlElement(port, "l2_pri.tc_map", cos)) & 15);
    classes.push_back(PRIORITIES - 1); // whatever the map says
    all.compare(at, "l2_pri.tc_map", "L2 priority register map", classes, registers, sendFor("COSTRUST", at.ifindex));
}

void compareL3Entries(comparison_t &all, const json &port, const place_t &at, const json &side)
{
    const json entries = entriesOf(all, at, "l3");
    const bool trusted = ctlMember(port, "l3_pri.dscp_trust") != 0;
    if (!trusted && entries.empty())
        return; // without trust a map may have entries, but needs none
    const std::string mend = entryMessage(all, "DSCPTRUST", at, entries, side.at("l3_handles").get<uint64_t>(), DSCPS);
    all.compare(at, "l3_pri.dscp_trust", "L3 TCAM entries", json(DSCPS, trusted ? 1 : 0),
                truthOf(byValue(entries, "trust", DSCPS)), mend);
    all.compare(at, "l3_pri.cos_map", "L3 TCAM entries", lowBits(port.at("l3_pri.cos_map")),
                byValue(entries, "cos", DSCPS), mend);
    all.compare(at, "l3_pri.tc_map", "L3 TCAM entries", chipClasses(port.at("l3_pri.tc_map")),
                byValue(entries, "tc", DSCPS), mend);
}

// ---- Pause and PFC

// PFC as the driver was told it, a field by the agent's priority. A Larkin's record has all of them at once.
json pfcOf(const place_t &at, const char *name, families_t family)
{
    if (family == LARKIN) {
        const json values = at.field("per-priority pause", name);
        const json priorities = at.field("per-priority pause", "priority");
        json list(PRIORITIES, json());
        for (size_t i = 0; i < values.size(); i++)
            list[priorities.at(i).get<size_t>() % PRIORITIES] = values.at(i);
        return values.is_null() ? values : list;
    }
    json list(PRIORITIES, json());
    for (const json &queue : at.congestion.value("priorities", json::array()))
        if (queue.contains("pfc"))
            list[chipPriority(queue.at("priority").get<unsigned>()) % PRIORITIES] = queue.at("pfc").at(name);
    const bool none = std::all_of(list.begin(), list.end(), [](const json &each) { return each.is_null(); });
    return none ? json() : list;
}

void comparePfc(comparison_t &all, const json &port, const place_t &at, families_t family, const json &side)
{
    const std::string mend = sendFor("PFC", at.ifindex);
    const json lossless = truthOf(port.at("ccb.pfc.tx")), tx = truthOf(pfcOf(at, "tx", family));
    for (const auto &[member, name] : {std::pair("ccb.pfc.rx", "rx"), std::pair("ccb.pfc.tx", "tx")})
        all.compare(at, member, "per-priority pause", truthOf(port.at(member)), truthOf(pfcOf(at, name, family)), mend);
    if (lossless != tx)
        return; // levels are of no use where it is not known whether pause is sent
    for (const char *level : {"assert", "de-assert"}) {
        json agent = pfcOf(at, level, family);
        const json driver = agent;
        for (unsigned priority = 0; priority < PRIORITIES; priority++)
            if (lossless.at(priority) == 1)
                agent[priority] = side.at(level);
        all.compare(at, std::string("PFC ") + level + " level", "per-priority pause", agent, driver, mend);
    }
}

void comparePause(comparison_t &all, const json &port, const place_t &at, const json &side)
{
    if (ctlMember(port, "ccb.pause.tx") == 0 || at.field("pause", "tx") != 1)
        return;
    for (const char *level : {"assert", "de-assert"})
        all.compare(at, std::string("pause ") + level + " level", "pause", side.at(level), at.field("pause", level),
                    sendFor("PAUSE", at.ifindex));
}

// ---- Budget and thresholds

// What would tell the driver the port's budget: the port announced again, or in a pool of a long link the link.
std::string budgetMessage(const comparison_t &all, const json &port)
{
    for (const json &other : all.config) {
        const bool pool = other.at("kind") == "port" && other.at("chip_ifindex") == port.at("chip_ifindex") &&
                          other.at("ccb.ldIfCfg.buf_pool_group") == port.at("ccb.ldIfCfg.buf_pool_group");
        if (!pool || ctlMember(other, "ccb.ldIfCfg.is_link_ld") != 1)
            continue;
        std::vector<std::string> lost;
        const json link = ctlLinkOf(other, all.row("chip", "chip_ifindex", ctlMember(port, "chip_ifindex")), lost);
        return sendFor("LD_CFG", ctlMember(other, "ifIndex")) + " cmd=2 + " + wordsOf(link);
    }
    return sendFor("IFADD", ctlMember(port, "ifIndex"));
}

// The driver's thresholds by traffic class, null where none was told.
json thresholdsOf(const place_t &at, families_t family)
{
    const json values = at.field("per-priority tail drop", "threshold");
    if (values.is_null())
        return values;
    json list(PRIORITIES, json());
    for (unsigned i = 0; i < PRIORITIES; i++)
        if (family == LARKIN)
            list[chipPriority(at.told.at("per-priority tail drop").at("priority").at(i).get<unsigned>() % PRIORITIES)] =
                values.at(i);
        else if (at.told.at("per-priority tail drop").at("valid").at(i) == 1)
            list[i] = values.at(i);
    return list;
}

// A split may follow a map of classes that came with a message and is not held: any that fits counts as the same.
void compareThresholds(comparison_t &all, const json &port, const place_t &at, families_t family, const json &side)
{
    const json &budget = port.at("ccb.tailDropThreshold"), told = at.field("tail drop", "threshold");
    if (!isSame(budget, told)) // the message takes a walk over all ports
        all.compare(at, "ccb.tailDropThreshold", "tail drop", budget, told, budgetMessage(all, port));
    const json &splits = side.at("thresholds");
    const json driver = thresholdsOf(at, family);
    const auto split = [&](size_t number) {
        const auto first = splits.begin() + static_cast<std::ptrdiff_t>(number * PRIORITIES);
        return json(first, first + PRIORITIES);
    };
    for (size_t number = 0; number < splits.size() / PRIORITIES; number++)
        if (isSame(split(number), driver))
            return;
    all.compare(at, "thresholds of classes", "per-priority tail drop",
                split(ctlIsZero(port.at("l2_pri.tc_map")) ? 1 : 0), driver, sendFor("PRI_TAILDROP", at.ifindex));
}

// ---- Schedulers

bool isSet(const json &row)
{
    for (const char *member : {"sch_cfg.SchFlags", "sch_cfg.sp_count", "sch_cfg.sp_queue_bw", "sch_cfg.dwrr_weight"})
        if (!ctlIsZero(row.at(member)))
            return true;
    return false;
}

// The fields of a scheduler's record. A speed that is not 0 stands for each bandwidth, as the global one has it.
json cosScheduler(const json &row, uint32_t speed, uint32_t all_speed)
{
    const unsigned strict = std::min(ctlMember(row, "sch_cfg.sp_count"), PRIORITIES);
    const bool lowest = strict + 1 >= PRIORITIES; // even the lowest priority is strict
    const unsigned first = lowest ? 0 : PRIORITIES - strict;
    json weights = json::array(), bandwidths = json::array();
    unsigned unlimited = 0xff;
    for (unsigned p = 0; p < PRIORITIES; p++) {
        const uint32_t weight = lowest && p == 0 ? 0 : ctlElement(row, "sch_cfg.dwrr_weight", p);
        uint32_t bandwidth = all_speed != 0 ? all_speed : ctlElement(row, "sch_cfg.sp_queue_bw", p);
        if (lowest && p == 0 && bandwidth == 0)
            bandwidth = speed;
        const bool limited = strict != 0 && p >= first;
        weights.push_back(std::max(weight, 1u));
        bandwidths.push_back(limited ? bandwidth : 0);
        unlimited &= ~(limited ? 1u << p : 0u);
    }
    return {{"strict boundary", lowest ? 0 : PRIORITIES - 1 - strict},
            {"weight", weights},
            {"queue weight", weights},
            {"bandwidth", bandwidths},
            {"unlimited", unlimited}};
}

json larkinScheduler(const json &row)
{
    const uint32_t strict = ctlMember(row, "sch_cfg.sp_count");
    json weights(PRIORITIES, json());
    for (unsigned tc = 0; tc < PRIORITIES; tc++) {
        const int64_t steps = (int64_t{static_cast<int32_t>(ctlElement(row, "sch_cfg.dwrr_weight", tc))} + 2) / 5;
        weights[PRIORITIES - 1 - chipPriority(tc)] = static_cast<uint16_t>(steps != 0 ? steps : 1);
    }
    return {{"policy", strict + 1 < PRIORITIES ? PRIORITIES - 1 - strict : 0},
            {"weight of 7 6 5 4 3 2 0 1", std::move(weights)}};
}

// A scheduler that the driver may have been told, and the message that tells it.
struct scheduler_t {
    json fields;
    std::string mend;
};

// Which of them came last is not held. `any` says whether the driver must have been told one.
void compareSchedulers(comparison_t &all, const place_t &at, const std::vector<scheduler_t> &may, bool any)
{
    if (!at.told.contains("scheduler")) {
        if (any)
            all.found.push_back({at.ifindex, at.chip, "sch_cfg", "scheduler", may[0].fields, json(), may[0].mend});
        return;
    }
    const json &driver = at.told.at("scheduler");
    const auto fits = [&](const scheduler_t &each) {
        return std::all_of(each.fields.items().begin(), each.fields.items().end(),
                           [&](const auto &field) { return driver.value(field.key(), json()) == field.value(); });
    };
    if (std::any_of(may.begin(), may.end(), fits))
        return;
    for (const auto &[field, value] : may[0].fields.items())
        all.compare(at, "sch_cfg: " + field, "scheduler", value, driver.value(field, json()), may[0].mend);
}

void comparePortScheduler(comparison_t &all, const json &port, const place_t &at, const json &side)
{
    const json &node = all.row("node", "ifindex", 0);
    const uint32_t speed = ctlMember(side, "speed");
    const bool own = isSet(port);
    const bool global = isSet(node) && (ctlMember(port, "sch_cfg.SchFlags") & OWN_SCHEDULER) == 0;
    std::vector<scheduler_t> may = {{cosScheduler(port, speed, 0), sendFor("SCH", at.ifindex)}};
    if (global)
        may.insert(own ? may.end() : may.begin(), {cosScheduler(node, speed, speed), "send GLB_SCH"});
    compareSchedulers(all, at, may, own || global);
}

// ---- Random early detection

void compareRed(comparison_t &all, const json &port, const place_t &at, families_t family)
{
    json driver = json::array(), agent = truthOf(port.at("ccb.redConfig.redProfileEnabled"));
    const json told = at.field("RED on port", "on for");
    const unsigned mask = told.is_null() ? 0 : told.get<unsigned>();
    for (unsigned p = 0; p < PRIORITIES; p++)
        driver.push_back(family == LARKIN ? mask >> p & 1 : 0);
    for (const json &queue : at.congestion.value("priorities", json::array()))
        if (family != LARKIN && queue.contains("red"))
            driver[queue.at("priority").get<unsigned>() % PRIORITIES] = queue.at("red").at("on") == true ? 1 : 0;
    for (unsigned p = 0; p < PRIORITIES; p++) {
        const std::string mend = sendFor("RED_PROFILE", at.ifindex) + " chip_ifindex=all cos=" + std::to_string(p) +
                                 " profileId=" + std::to_string(ctlElement(port, "ccb.redConfig.globalProfile", p)) +
                                 (agent.at(p) == 1 ? " set=1 and its levels, which are not held" : " set=0");
        all.compare(at, "ccb.redConfig.redProfileEnabled[" + std::to_string(p) + "]", "RED", agent.at(p), driver.at(p),
                    mend);
    }
}

// ---- Chips

using policerKey_t = std::tuple<std::string, uint32_t, uint32_t>; // direction, group, number

std::string policerText(const policerKey_t &key)
{
    const auto &[direction, group, number] = key;
    return direction + " policer " + std::to_string(number) + (group != 0 ? " of group " + std::to_string(group) : "");
}

std::string policerMessage(const char *message, const policerKey_t &key, uint32_t ifindex, uint32_t chip, int type)
{
    return sendFor(message, ifindex) + " chip_ifindex=" + ctlShowInterface(chip) +
           " policer_id=" + std::to_string(std::get<2>(key)) + " dir=" + (std::get<0>(key) == "ingress" ? "0" : "1") +
           " policer_req_type=" + std::to_string(type);
}

void comparePolicers(comparison_t &all, const place_t &at, const json &policers, families_t family)
{
    std::set<policerKey_t> driver, held;
    for (const json &policer : policers)
        if (policer.at("policer").is_number())
            driver.insert(
                {policer.at("direction"), policer.at("group").get<uint32_t>(), policer.at("policer").get<uint32_t>()});
    for (const json &row : all.config) {
        if ((row.at("kind") != "policer" && row.at("kind") != "bum") || ctlMember(row, "chip_ifindex") != at.chip)
            continue;
        const uint32_t ifindex = ctlMember(row, "ifindex");
        policerKey_t key = {ctlMember(row, "dir") == 0 ? "ingress" : "egress",
                            family == MIRELLE ? ctlMember(row, "pol_grp_idx") : 0, ctlMember(row, "policer_id")};
        if (driver.count(key) == 0)
            all.found.push_back(
                {ifindex == ALL_CHIPS ? at.ifindex : ifindex, at.chip, policerText(key), "policer add", 1, 0,
                 policerMessage("POL_POLICER_ADD", key, ifindex, at.chip, 2) + " and its rates, which are not held"});
        held.insert(key);
        if (ifindex != ALL_CHIPS)
            continue;
        for (const policerKey_t &each : driver) // one of the whole chip stands in every group
            if (std::get<0>(each) == std::get<0>(key) && std::get<2>(each) == std::get<2>(key))
                held.insert(each);
    }
    for (const policerKey_t &key : driver)
        if (held.count(key) == 0)
            all.found.push_back({at.ifindex, at.chip, policerText(key), "policer add", 0, 1,
                                 policerMessage("POL_POLICER_REM", key, ALL_CHIPS, at.chip, 1)});
}

void compareLarkinChip(comparison_t &all, const place_t &at, const json &node)
{
    std::vector<scheduler_t> may;
    bool any = isSet(node);
    if (any)
        may.push_back({larkinScheduler(node), "send GLB_SCH"});
    for (const json &port : all.config) {
        if (port.at("kind") != "port" || ctlMember(port, "chip_ifindex") != at.chip)
            continue;
        const bool own = isSet(port);
        may.insert(own ? may.begin() : may.end(), {larkinScheduler(port), sendFor("SCH", ctlMember(port, "ifIndex"))});
        any = any || own;
    }
    if (!may.empty())
        compareSchedulers(all, at, may, any);
    json weights = json::array();
    for (unsigned queue = 0; queue < PRIORITIES; queue++)
        weights.push_back(std::max(ctlElement(node, "Mcsch_cfg.mc_dwrr_weight", queue), 1u) & 0xffff);
    all.compare(at, "Mcsch_cfg.mc_dwrr_weight", "multicast scheduler", weights,
                at.field("multicast scheduler", "weight"), "send MC_SCH");
}

void compareChip(comparison_t &all, const json &chip)
{
    const uint32_t ifindex = ctlMember(chip, "chip_ifindex");
    const families_t family = familyOf(chip);
    const json &node = all.row("node", "ifindex", 0);
    const auto known = all.told.find(ifindex);
    const json told = known != all.told.end() ? known->second : json::object();
    const place_t at = {ifindex, ifindex, told.value("told", json::object()), json::object()};
    if (family == LARKIN)
        compareLarkinChip(all, at, node);
    if (family == MIRELLE)
        all.compare(at, "egrQueueDepth", "RED", node.at("egrQueueDepth"), told.value("egress_queue_depth", json()),
                    "send EGR_QUEUE_DEPTH queueDepth=" + node.at("egrQueueDepth").dump());
    if ((family & COS) != 0)
        comparePolicers(all, at, told.value("policers", json::array()), family);
}

void comparePort(comparison_t &all, const json &port)
{
    const uint32_t ifindex = ctlMember(port, "ifIndex"), chip = ctlMember(port, "chip_ifindex");
    const json &home = all.row("chip", "chip_ifindex", chip);
    const auto side =
        std::find_if(all.side.begin(), all.side.end(), [&](const json &row) { return row.at("ifIndex") == ifindex; });
    const families_t family = home.empty() ? NONE : familyOf(home);
    if (family == NONE || side == all.side.end())
        return; // on no chip, so there is nobody to tell
    const place_t at = portPlace(all, ifindex, chip);
    comparePlain(all, port, at, family);
    comparePause(all, port, at, *side);
    comparePfc(all, port, at, family, *side);
    compareThresholds(all, port, at, family, *side);
    if (family == LARKIN) {
        compareL2Entries(all, port, at, *side);
        compareL3Entries(all, port, at, *side);
    } else {
        comparePortScheduler(all, port, at, *side);
    }
    if (family != TESSEL)
        compareRed(all, port, at, family);
}

} // namespace

std::vector<ctlDifference_t> ctlCompare(const ctlJson &config, const ctlJson &side, const ctlTold_t &told)
{
    comparison_t all = {config, side, told, {}};
    for (const json &row : config)
        if (row.at("kind") == "chip")
            compareChip(all, row);
        else if (row.at("kind") == "port")
            comparePort(all, row);
    return all.found;
}
