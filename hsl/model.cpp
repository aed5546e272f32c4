// SPDX-License-Identifier: Apache-2.0
// The chips, ports and tables behind the driver: declaring and learning them, taking records, and the warnings of what
// hardware would refuse. What a response carries is in answers.cpp, what people see in show.cpp.
#include "hsl/model.h"

#include <algorithm>
#include <set>

#include "hsl/classify.h"
#include "hsl/larkin.h"
#include "platform/records/priority.h"
#include "velmar/dce.h"

constexpr uint32_t ALL_CHIPS = 0x8BC00000;
constexpr size_t MAX_PORTS = 4096;     // that requests may name
constexpr size_t MAX_POLICERS = 16384; // of a chip, and four times as many of all
constexpr size_t MAX_WARNINGS = 500;   // different texts; then only known ones count on

static const hslChipType_t types[] = {
    {QOS_CHIP_LARKIN, HSL_LARKIN, 2, {}, 2u << 20, 1, 0, {-1, -1, -1, -1, -1, -1}},
    {QOS_CHIP_TESSEL, HSL_TESSEL, 1, {1, 4094, 4095, 1, 1022, 1023, 512}, 9u << 20, 1, 0, {25, -1, 33, 33, -1, 2}},
    {QOS_CHIP_MIRELLE, HSL_MIRELLE, 1, {1, 2046, 2047, 1, 1022, 1023, 512}, 24u << 20, 2, 4, {29, -1, -1, -1, -1, -1}},
    {QOS_CHIP_MIRELLE2, HSL_MIRELLE, 1, {1, 4094, 4095, 1, 2046, 2047, 512}, 48u << 20, 4, 8, {29, -1, -1, -1, -1, -1}},
};

const hslChipType_t *hslChipType(const std::string &name)
{
    auto type = std::find_if(std::begin(types), std::end(types), [&](auto &row) { return row.traits().word == name; });
    return type == std::end(types) ? nullptr : type;
}

void hslModelWarn(hslModel_t &model, const std::string &text)
{
    if (model.warnings.size() < MAX_WARNINGS || model.warnings.count(text))
        ++model.warnings[text];
}

int hslParseChip(const std::string &text)
{
    auto slash = text.find('/');
    uint64_t slot, chip;
    if (slash == std::string::npos || !hslNumber(text.substr(0, slash), &slot) ||
        !hslNumber(text.substr(slash + 1), &chip) || slot > 15 || chip > 7 || (slot == 15 && chip == 0))
        return -1;
    return static_cast<int>(slot * 8 + chip);
}

// "buffers=BYTES", with K or M for 2^10 or 2^20 of them.
static bool parseBuffers(const std::string &option, uint64_t *bytes)
{
    if (option.compare(0, 8, "buffers=") != 0 || option.size() < 9)
        return false;
    unsigned shift = option.back() == 'K' ? 10 : option.back() == 'M' ? 20 : 0;
    if (!hslNumber(option.substr(8, option.size() - 8 - (shift ? 1 : 0)), bytes) || !*bytes ||
        *bytes > UINT32_MAX >> shift)
        return false;
    *bytes <<= shift;
    return true;
}

std::string hslModelDeclare(hslModel_t &model, const std::string &text)
{
    auto first = text.find(':'), second = text.find(':', first == std::string::npos ? first : first + 1);
    auto form = "chip '" + text + "' must be SLOT/CHIP:TYPE:PORTS[:buffers=BYTES], as 1/0:tessel:48; ";
    if (second == std::string::npos)
        return form + "a part is missing";
    auto third = std::min(text.find(':', second + 1), text.size());
    int flat = hslParseChip(text.substr(0, first));
    if (flat < 0)
        return form + "slots run from 0 to 15, chips from 0 to 7, and 15/0 stands for all chips";
    auto type = hslChipType(text.substr(first + 1, second - first - 1));
    if (!type)
        return form + "types are larkin, tessel, mirelle, mirelle2";
    uint64_t ports, buffers = type->buffers;
    if (!hslNumber(text.substr(second + 1, third - second - 1), &ports) || ports < 1 || ports > CHIP_PORTS)
        return form + "ports run from 1 to " + std::to_string(CHIP_PORTS);
    if (third < text.size() && !parseBuffers(text.substr(third + 1), &buffers))
        return form + "buffers is a number of bytes, as 9437184, or with K or M behind it";
    auto &chip = model.chips[flat];
    chip.flat = flat;
    chip.type = type;
    chip.ports = static_cast<unsigned>(ports);
    chip.declared = true;
    chip.buffers = static_cast<uint32_t>(buffers);
    return "";
}

uint32_t hslFindPort(const hslModel_t &model, const std::string &text)
{
    uint64_t number;
    if (hslNumber(text, &number))
        return number <= UINT32_MAX ? static_cast<uint32_t>(number) : 0;
    for (auto &entry : model.ports)
        if (hslIndexName(entry.first) == text)
            return entry.first;
    for (auto &entry : model.chips)
        for (unsigned n = 0; n < entry.second.ports; ++n)
            if (hslIndexName(hslChipPort(entry.second, n)) == text)
                return hslChipPort(entry.second, n);
    return 0;
}

static hslChip_t &learnChip(hslModel_t &model, int flat, const hslCommand_t &row)
{
    auto [place, isNew] = model.chips.try_emplace(flat);
    auto &chip = place->second;
    // Any chip is asked for it when a port appears that its agent does not know.
    bool extended = row.command == COS_EXT_CHIP_CAPABILITY;
    if (isNew) {
        bool anyDeclared =
            std::any_of(model.chips.begin(), model.chips.end(), [](auto &entry) { return entry.second.declared; });
        chip.flat = flat;
        chip.ports = 48;
        chip.type = row.family == HSL_DCE ? &types[0] : row.chips == HSL_MIRELLE ? &types[2] : &types[1];
        chip.buffers = chip.type->buffers;
        if (anyDeclared)
            hslModelWarn(model, hslIndexName(dce_get_ifindex(flat)) + " was not declared");
    } else if (!chip.declared && chip.type->family == HSL_TESSEL && row.chips == HSL_MIRELLE && !extended) {
        chip.type = &types[2]; // only now it shows which of the two it is
        chip.buffers = chip.type->buffers;
    }
    if (!(chip.type->family & row.chips) && !extended)
        hslModelWarn(model, hslIndexName(dce_get_ifindex(flat)) + " is a " + chip.type->traits().word + " and has no " +
                                row.name + " " + hslIndexText(row.command));
    return chip;
}

static hslPort_t &learnPort(hslModel_t &model, uint32_t ifindex, hslChip_t *chip)
{
    int own = dce_get_flat_chip_id(ifindex);
    auto name = "port " + hslIndexName(ifindex) + " " + hslIndexText(ifindex);
    if (chip && own != chip->flat)
        hslModelWarn(model, name + " is not on " + hslIndexName(dce_get_ifindex(chip->flat)));
    auto [place, isNew] = model.ports.try_emplace(ifindex);
    if (!isNew)
        return place->second;
    place->second.ifindex = ifindex;
    place->second.flat = own;
    auto known = static_cast<unsigned>(std::count_if(model.ports.begin(), model.ports.end(), [&](auto &entry) {
        return entry.second.flat == own && hslIsPort(entry.first);
    }));
    if (auto home = model.chips.find(own); home != model.chips.end() && known > home->second.ports)
        hslModelWarn(model, name + " is one more than the " + std::to_string(home->second.ports) + " ports of " +
                                hslIndexName(dce_get_ifindex(own)));
    return place->second;
}

static void tellOne(hslToldMap_t &told, const hslCommand_t &row, hslBytes record, uint64_t now)
{
    auto &entry = told[{row.command, row.operation}];
    entry.row = &row;
    entry.record.assign(record.begin(), record.end());
    ++entry.count;
    entry.last = now;
}

std::optional<uint64_t> hslToldValue(const hslToldMap_t &told, uint32_t command, int operation, const char *field,
                                     unsigned index)
{
    auto place = told.find({command, operation});
    auto found = place == told.end() ? nullptr : hslFieldNamed(place->second.row->fields, field);
    if (!found || index >= found->count)
        return {};
    return hslValue(*found, place->second.record, index);
}

// Values above what the hardware takes, and L2 maps whose blocks disagree.
static void checkValues(hslModel_t &model, const std::string &who, const hslCommand_t &row, hslBytes record,
                        const hslChip_t *chip)
{
    for (auto &fault :
         hslSetupFaults(row, record, chip ? chip->buffers : UINT32_MAX, hslPortSpeed(hslPortOf(row, record))))
        hslModelWarn(model, who + " " + row.name + ": " + fault);
    for (auto &field : row.fields) {
        for (unsigned i = 0; field.max && i < field.count; ++i) {
            auto value = hslValue(field, record, i);
            if (value > field.max)
                hslModelWarn(model, who + " " + row.name + ": " + field.name + " " + std::to_string(value) +
                                        " is above " + std::to_string(field.max));
        }
    }
    if (row.command != COS_L2_PRI_MAP)
        return;
    for (unsigned i = 0; i < 4 * QOS_NUM_COS; ++i) {
        // All of the first block are its first entry; the later blocks repeat the second.
        unsigned same = i < QOS_NUM_COS ? 0 : QOS_NUM_COS + i % QOS_NUM_COS;
        if (hslGet(record, 32 + 4 * i, 2) != hslGet(record, 32 + 4 * same, 2)) {
            hslModelWarn(model, who + " L2 priority map: its blocks disagree");
            return;
        }
    }
}

// Tables.

static void tellTcam(hslModel_t &model, hslChip_t &chip, const hslCommand_t &row, hslBytes record)
{
    auto warning = hslTcamTell(chip.tcams, row, record, model.next_handle);
    model.next_handle += row.command == DCE_TCAM_ADD;
    if (!warning.empty())
        hslModelWarn(model, hslIndexName(dce_get_ifindex(chip.flat)) + " " + warning);
}

static bool roomForPolicer(const hslModel_t &model, const hslChip_t &chip)
{
    size_t all = 0;
    for (auto &entry : model.chips)
        all += entry.second.policers.size();
    return chip.policers.size() < MAX_POLICERS && all < 4 * MAX_POLICERS;
}

static void tellPolicer(hslModel_t &model, hslChip_t &chip, hslPort_t *port, const hslCommand_t &row, hslBytes record)
{
    auto value = [&](const char *name) {
        auto field = hslFieldNamed(row.fields, name);
        return field ? hslValue(*field, record, 0) : 0;
    };
    auto bytes = [&](const char *name) { return static_cast<double>(value(name)); };
    bool ingress = value("ingress") != 0;
    auto id = value("policer");
    auto key = std::make_pair(ingress, value("group") << 32 | id);
    auto who = hslIndexName(dce_get_ifindex(chip.flat)) + (ingress ? " ingress" : " egress") + " policer " +
               std::to_string(id);
    auto numbers = chip.type->policers + (ingress ? 0 : 3); // least, how many, the one without limit
    switch (row.command) {
    case COS_POLICER_ADD:
        if (id < numbers[0] || id >= uint64_t{numbers[0]} + numbers[1])
            hslModelWarn(model, who + ": the chip has no such number");
        if (!chip.policers.count(key) && !roomForPolicer(model, chip))
            return hslModelWarn(model, "a chip's policers beyond " + std::to_string(MAX_POLICERS) + " are left out");
        hslPolicerSet(chip.policers[key], bytes("cir"), bytes("cbs"), bytes("eir"), bytes("ebs"));
        break;
    case COS_POLICER_REMOVE:
        if (!chip.policers.erase(key))
            hslModelWarn(model, who + ": removed but never added");
        break;
    case COS_POLICER_ASSOCIATE:
        if (id != numbers[2] && std::none_of(chip.policers.begin(), chip.policers.end(), [&](auto &entry) {
                return entry.first.first == ingress && static_cast<uint32_t>(entry.first.second) == id;
            }))
            hslModelWarn(model, who + ": associated but never added");
        if (port)
            port->traffic.policer[ingress] = static_cast<uint32_t>(id);
        break;
    case COS_POLICER_DEASSOCIATE:
        if (port)
            port->traffic.policer[ingress].reset();
        break;
    }
}

// RED of a chip as a whole is a hard limit of its egress queues.
static void tellEgressDepth(hslChip_t &chip, const hslCommand_t &row, hslBytes record)
{
    auto value = [&](const char *name) { return hslValue(*hslFieldNamed(row.fields, name), record, 0); };
    chip.egress_depth.reset();
    if (value("on"))
        chip.egress_depth = static_cast<uint32_t>(value("max"));
}

// A profile's curve is the chip's: queues that share the profile share its last one. Without a queue it is free.
static void tellRed(hslModel_t &model, hslChip_t &chip, const hslPort_t &port, const hslCommand_t &row, hslBytes record)
{
    auto priority = hslValue(*hslFieldNamed(row.fields, "priority"), record, 0);
    if (auto &red = *port.setup.queues[priority].red; red.on)
        chip.red[red.profile] = red;
    std::set<uint32_t> used;
    for (auto &entry : model.ports)
        for (auto &queue : entry.second.setup.queues)
            if (entry.second.flat == chip.flat && queue.red && queue.red->on)
                used.insert(queue.red->profile);
    std::erase_if(chip.red, [&](auto &entry) { return !used.count(entry.first); });
    if (chip.red.size() > chip.type->traits().max_shared_profiles)
        hslModelWarn(model, hslIndexName(dce_get_ifindex(chip.flat)) + " has more RED profiles in use than its " +
                                std::to_string(chip.type->traits().max_shared_profiles));
}

static void tellTables(hslModel_t &model, hslChip_t &chip, hslPort_t *port, const hslCommand_t &row, hslBytes record)
{
    switch (row.command) {
    case DCE_TCAM_CREATE_REGION:
    case DCE_TCAM_ADD:
    case DCE_TCAM_UPDATE:
    case DCE_TCAM_DELETE:
        tellTcam(model, chip, row, record);
        break;
    case COS_POLICER_ADD:
    case COS_POLICER_REMOVE:
    case COS_POLICER_ASSOCIATE:
    case COS_POLICER_DEASSOCIATE:
        tellPolicer(model, chip, port, row, record);
        break;
    case COS_RED_MIRELLE:
    case COS_RED_TESSEL:
        if (port)
            tellRed(model, chip, *port, row, record);
        else
            tellEgressDepth(chip, row, record);
        break;
    }
}

void hslModelFollow(hslModel_t &model, int flat)
{
    hslClassify(model, flat);
    hslLarkinFollow(model, flat);
}

uint32_t hslModelRefuses(const hslModel_t &model, uint32_t target, const hslCommand_t &row, hslBytes record,
                         std::string *why)
{
    auto chip = model.chips.find(dce_get_flat_chip_id(target));
    static const hslTcams_t none;
    return hslTcamRefuses(chip == model.chips.end() ? none : chip->second.tcams, row, record, why);
}

void hslModelTell(hslModel_t &model, uint32_t target, const hslCommand_t &row, hslBytes record, uint64_t now)
{
    hslTrafficAdvance(model, now);
    auto port = hslPortOf(row, record);
    if (!port && hslIsPort(target))
        port = target;
    bool isPort = hslIsPort(port);
    if (isPort && model.ports.size() >= MAX_PORTS && !model.ports.count(port)) {
        hslModelWarn(model, "ports beyond " + std::to_string(MAX_PORTS) + " are left out");
        isPort = false;
    }
    int flat = dce_get_flat_chip_id(target);
    if (flat < 0 && isPort)
        flat = dce_get_flat_chip_id(port);
    if (flat < 0 && target != ALL_CHIPS)
        hslModelWarn(model, "target " + hslIndexText(target) + " is no chip");
    auto chip = flat < 0 ? nullptr : &learnChip(model, flat, row);
    if (chip)
        ++chip->requests;
    if (row.command == COS_BULK)
        return; // its records follow one by one
    if (port && !isPort && port != ALL_CHIPS && port >> 26 != 34)
        hslModelWarn(model, std::string(row.name) + " for " + hslIndexText(port) + ", which is no port");
    auto who = isPort ? "port " + hslIndexName(port) : hslIndexName(target);
    checkValues(model, who, row, record, chip);
    if (isPort) {
        auto &known = learnPort(model, port, chip);
        tellOne(known.told, row, record, now);
        hslSetupTell(known.setup, row, record);
    } else if (chip)
        tellOne(chip->told, row, record, now);
    else if (target == ALL_CHIPS)
        for (auto &[number, each] : model.chips)
            tellOne(each.told, row, record, now);
    if (row.command == COS_STATS_CLEAR)
        hslStatsClear(model, target, record);
    else if (row.family == HSL_DCE)
        hslLarkinClear(model, target, row, record);
    if (chip)
        tellTables(model, *chip, isPort ? &model.ports.at(port) : nullptr, row, record);
    hslModelFollow(model, isPort && dce_get_flat_chip_id(port) != flat ? -1 : flat);
}
