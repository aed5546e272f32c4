// SPDX-License-Identifier: Apache-2.0
// The commands of the control socket: one line in, one answer out, "ok", "ok ..." or "error: ...".
#include "hsl/server.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <unistd.h>

#include "velmar/dce.h"

using words_t = std::vector<std::string>;

// A bulk event that an agent's receive buffer can take.
constexpr size_t MAX_BULK_CHIPS =
    (NL_RSP_BUF_SIZE - NL_RECORD_OFFSET - 20 - sizeof(qosBulkChipUp_t)) / sizeof(qosBulkChip_t);

constexpr size_t MAX_TOLD = 1000; // faults, and pieces of data

static std::string tooMany()
{
    return "error: there are " + std::to_string(MAX_TOLD) + " already; 'clear' takes them away";
}

static std::string okJson(const hslJson &json)
{
    // Text that came in by a command may be no UTF-8.
    return "ok " + json.dump(-1, ' ', false, hslJson::error_handler_t::replace);
}

// Seconds as milliseconds; false for text that is no plain number or too large to mean anything.
static bool parseSeconds(const std::string &text, uint64_t *ms)
{
    char *end;
    double seconds = std::strtod(text.c_str(), &end);
    if (text.empty() || *end || !std::isfinite(seconds) || seconds < 0 || seconds > 1e9)
        return false;
    *ms = static_cast<uint64_t>(std::llround(seconds * 1000));
    return true;
}

// Looking.

static std::string controlStat(hslServer_t &server, const words_t &)
{
    return okJson({{"pid", getpid()},
                   {"requests", server.requests},
                   {"events", server.events},
                   {"errors", server.errors},
                   {"chips", server.model.chips.size()}});
}

static std::string controlShow(hslServer_t &server, const words_t &words)
{
    if (words.size() == 3 && words[1] == "port") {
        auto port = server.model.ports.find(hslFindPort(server.model, words[2]));
        if (port == server.model.ports.end())
            return "error: no request has named port " + words[2] + "; a port is an interface index or a name as te1/3";
        return okJson(hslPortJson(port->second, true));
    }
    if (words.size() == 3 && (words[1] == "chip" || words[1] == "told")) {
        auto chip = server.model.chips.find(hslParseChip(words[2]));
        if (chip == server.model.chips.end())
            return "error: no chip " + words[2] + "; 'show' lists them";
        return okJson(words[1] == "chip" ? hslChipJson(chip->second, true) : hslToldJson(server.model, chip->second));
    }
    if (words.size() > 2 && words.size() < 5 && words[1] == "tcam") {
        auto chip = server.model.chips.find(hslParseChip(words[2]));
        auto region = words.size() == 4 ? words[3] : "";
        auto text = chip == server.model.chips.end() ? "" : hslTcamText(chip->second.tcams, region);
        return !text.empty() ? "ok" + text
                             : "error: chip " + words[2] + " has no TCAM region" + (region.empty() ? "" : " ") +
                                   region + "; they are l2 and l3, created when a Larkin comes up";
    }
    if (words.size() != 1)
        return "error: show takes nothing, 'port PORT', 'chip SLOT/CHIP', 'told SLOT/CHIP' or 'tcam SLOT/CHIP "
               "[REGION]'";
    if (auto error = hslTooLong(server, hslModelJsonLeast(server.model)); !error.empty())
        return error;
    hslJson out{{"pid", getpid()},
                {"time", static_cast<double>(hslNow(server)) / 1000},
                {"requests", server.requests},
                {"events", server.events},
                {"errors", server.errors},
                {"waiting", server.outbox.size()},
                {"stalled", server.stalled_until > hslNow(server)},
                {"faults", hslFaultsJson(server.faults)}};
    out.update(hslModelJson(server.model));
    return okJson(out);
}

static hslJson logJson(const hslLog_t &entry)
{
    hslJson out{{"at", static_cast<double>(entry.at) / 1000}, {"target", hslIndexText(entry.target)}};
    if (entry.port)
        out["port"] = hslIndexText(entry.port);
    out["seq"] = entry.seq;
    out["command"] = hslIndexText(static_cast<uint32_t>(hslGet(entry.record, 0, 4)));
    out["name"] = entry.row ? entry.row->name : "unknown";
    if (entry.row && entry.row->operation >= 0)
        out["operation"] = entry.row->operation;
    out["bulk"] = entry.nested;
    if (entry.row)
        out["fields"] = hslFieldsJson(entry.row->fields, entry.record);
    out["status"] = entry.status;
    out["outcome"] = entry.outcome;
    out["hex"] = hslHexText(entry.record);
    return out;
}

static std::string controlLog(hslServer_t &server, const words_t &words)
{
    bool json = words.size() > 1 && words[1] == "json";
    uint64_t count = 20;
    if (words.size() > (json ? 3u : 2u) || (words.size() == (json ? 3u : 2u) && !hslNumber(words.back(), &count)))
        return "error: log takes 'json' and a number of requests, both optional";
    auto first = server.log.size() - std::min<uint64_t>(count, server.log.size());
    auto list = hslJson::array();
    std::string lines = "ok";
    size_t least = 0;
    for (size_t i = first; i < server.log.size(); ++i) {
        if (json) {
            list.push_back(logJson(server.log[i]));
            least += 2 * server.log[i].record.size(); // their digits
        } else {
            lines += "\n" + hslLogText(server.log[i]);
        }
        if (auto error = hslTooLong(server, std::max(least, lines.size())); !error.empty())
            return error;
    }
    return json ? okJson(list) : lines;
}

static std::string controlClear(hslServer_t &server, const words_t &words)
{
    if (words.size() != 2 || (words[1] != "log" && words[1] != "warnings"))
        return "error: clear takes 'log' or 'warnings'";
    if (words[1] == "log")
        server.log.clear();
    else
        server.model.warnings.clear();
    return "ok";
}

// Events.

// The chips that the words from `first` on name, all of them if there are none.
static std::string namedChips(const hslServer_t &server, const words_t &words, size_t first,
                              std::vector<const hslChip_t *> *chips)
{
    for (size_t i = first; i < words.size(); ++i) {
        auto chip = server.model.chips.find(hslParseChip(words[i]));
        if (chip == server.model.chips.end())
            return "no chip '" + words[i] + "'; declare it with 'chip SLOT/CHIP:TYPE:PORTS'";
        chips->push_back(&chip->second);
    }
    if (words.size() <= first)
        for (auto &entry : server.model.chips)
            chips->push_back(&entry.second);
    return chips->empty() ? "there is no chip; declare one with 'chip SLOT/CHIP:TYPE:PORTS'" : "";
}

static hslBuffer bulkEvent(const std::vector<const hslChip_t *> &chips)
{
    hslBuffer body(sizeof(qosBulkChipUp_t) + chips.size() * sizeof(qosBulkChip_t));
    auto head = reinterpret_cast<qosBulkChipUp_t *>(body.data());
    auto entry = reinterpret_cast<qosBulkChip_t *>(head + 1);
    head->event = CHIP_EVENT_BULK_UP;
    head->num_chips = static_cast<uint32_t>(chips.size());
    for (auto chip : chips) {
        entry->slot = static_cast<uint8_t>(dce_get_slot_id(chip->flat));
        entry->chip = static_cast<uint8_t>(dce_get_slot_chip_id(chip->flat));
        entry->flat_chip = static_cast<uint8_t>(chip->flat);
        entry->chip_ifindex = dce_get_ifindex(chip->flat);
        ++entry;
    }
    return body;
}

static hslBuffer readyEvent(const std::vector<const hslChip_t *> &chips)
{
    hslBuffer body(sizeof(qosChipReady_t));
    auto ready = reinterpret_cast<qosChipReady_t *>(body.data());
    for (auto chip : chips) {
        auto &word = ready->bitmap[chip->flat / 32];
        word = uint32_t{word} | 1u << chip->flat % 32;
    }
    for (auto &word : ready->bitmap)
        ready->num_chips = ready->num_chips + static_cast<uint32_t>(std::popcount(uint32_t{word}));
    return body;
}

static std::string controlEvent(hslServer_t &server, const words_t &words)
{
    auto kind = words.size() > 1 ? words[1] : "";
    auto reached = [](unsigned listeners) { return "ok listeners " + std::to_string(listeners); };
    if (kind == "raw") {
        hslBuffer datagram;
        if (words.size() != 3 || !hslHexParse(words[2], &datagram) || datagram.empty())
            return "error: event raw needs the whole datagram as an even number of hexadecimal digits";
        return reached(hslSendRaw(server, datagram));
    }
    bool up = kind == "chip-up", down = kind == "chip-down";
    if (!up && !down && kind != "ready" && kind != "bulk")
        return "error: event takes chip-up, chip-down, ready, bulk or raw";
    if ((up || down) && words.size() != 3)
        return "error: event " + kind + " needs one SLOT/CHIP";
    std::vector<const hslChip_t *> chips;
    if (auto error = namedChips(server, words, 2, &chips); !error.empty())
        return "error: " + error;
    if (up || down)
        return reached(hslSendEvent(server, NLM_AGENT_REQUEST, dce_get_ifindex(chips[0]->flat),
                                    hslChipEvent(*chips[0], up ? CHIP_EVENT_UP : CHIP_EVENT_DOWN)));
    if (kind == "ready")
        return reached(hslSendEvent(server, NLM_CHIP_READY, 0, readyEvent(chips)));
    if (chips.size() > MAX_BULK_CHIPS)
        return "error: a bulk event of " + std::to_string(chips.size()) + " chips fits no receiver; name at most " +
               std::to_string(MAX_BULK_CHIPS);
    return reached(hslSendEvent(server, NLM_AGENT_REQUEST, 0, bulkEvent(chips)));
}

// Changing.

static std::string controlChip(hslServer_t &server, const words_t &words)
{
    if (words.size() != 2)
        return "error: chip needs SLOT/CHIP:TYPE:PORTS[:buffers=BYTES]";
    auto error = hslModelDeclare(server.model, words[1]);
    hslModelFollow(server.model, -1);
    return error.empty() ? "ok" : "error: " + error;
}

static std::string controlTraffic(hslServer_t &server, const words_t &words)
{
    if (words.size() == 2 && words[1] == "list")
        return okJson(hslTrafficList(server.model));
    if (words.size() < 3)
        return "error: traffic takes PORT and what happens there, or 'list'; 'hsld --help' has the forms";
    auto port = hslFindPort(server.model, words[1]);
    if (!port)
        return "error: no port '" + words[1] + "'; a port is an interface index or a name as te1/3";
    auto error = hslTrafficSet(server.model, port, {words.begin() + 2, words.end()});
    return error.empty() ? "ok" : "error: " + error;
}

static std::string controlFault(hslServer_t &server, const words_t &words)
{
    if (words.size() == 2 && words[1] == "list")
        return okJson(hslFaultsJson(server.faults));
    if (words.size() == 2 && words[1] == "clear") {
        server.faults.list.clear();
        return "ok";
    }
    hslFault_t fault;
    if (auto error = hslFaultParse({words.begin() + 1, words.end()}, &fault); !error.empty())
        return "error: " + error;
    if (server.faults.list.size() >= MAX_TOLD)
        return tooMany();
    server.faults.list.push_back(fault);
    return "ok";
}

static std::string controlData(hslServer_t &server, const words_t &words)
{
    if (words.size() == 2 && words[1] == "clear") {
        server.model.data.clear();
        return "ok";
    }
    hslData_t data{};
    bool command = false, hex = false;
    for (size_t i = 1; i < words.size(); ++i) {
        auto equals = words[i].find('=');
        auto key = words[i].substr(0, equals), text = equals == std::string::npos ? "" : words[i].substr(equals + 1);
        uint64_t number = 0;
        bool good = key == "hex" ? hslHexParse(text, &data.bytes) : hslNumber(text, &number) && number <= UINT32_MAX;
        auto value = static_cast<uint32_t>(number);
        if (key == "command")
            data.command = value, command = good;
        else if (key == "port")
            data.port = value;
        else if (key == "offset")
            data.offset = value;
        else if (key == "hex")
            hex = good;
        else
            good = false;
        if (!good)
            return "error: data does not take '" + words[i] + "'";
    }
    if (!command || !hex || data.bytes.empty())
        return "error: data takes command=N offset=N hex=BYTES [port=IFINDEX], or 'clear'";
    if (server.model.data.size() >= MAX_TOLD)
        return tooMany();
    server.model.data.push_back(data);
    return "ok";
}

static std::string controlStall(hslServer_t &server, const words_t &words)
{
    uint64_t ms = 0;
    if (words.size() > 2 || (words.size() == 2 && !parseSeconds(words[1], &ms)))
        return "error: stall takes a number of seconds, or nothing to last until 'resume'";
    server.stalled_until = words.size() == 1 ? UINT64_MAX : hslNow(server) + ms;
    return "ok";
}

static std::string controlResume(hslServer_t &server, const words_t &)
{
    server.stalled_until = 0;
    return "ok";
}

static std::string controlClock(hslServer_t &server, const words_t &words)
{
    uint64_t ms;
    if (words.size() != 3 || words[1] != "step" || !parseSeconds(words[2], &ms))
        return "error: clock takes 'step SECONDS', forward only";
    server.clock_offset += ms;
    return "ok";
}

static std::string controlQuit(hslServer_t &server, const words_t &)
{
    server.quit = true;
    return "ok";
}

struct controlRow_t {
    const char *word;
    std::string (*run)(hslServer_t &server, const words_t &words);
    bool alone = false; // the command takes nothing
};

static const controlRow_t rows[] = {
    {"stat", controlStat, true}, {"show", controlShow},           {"log", controlLog},     {"clear", controlClear},
    {"event", controlEvent},     {"chip", controlChip},           {"fault", controlFault}, {"data", controlData},
    {"stall", controlStall},     {"resume", controlResume, true}, {"clock", controlClock}, {"quit", controlQuit, true},
    {"traffic", controlTraffic},
};

std::string hslControl(hslServer_t &server, const std::string &command)
{
    std::istringstream in(command);
    words_t words;
    for (std::string word; in >> word;)
        words.push_back(word);
    hslTrafficAdvance(server.model, hslNow(server));
    std::string names;
    for (auto &row : rows) {
        if (!words.empty() && words[0] == row.word)
            return row.alone && words.size() > 1 ? "error: " + words[0] + " takes nothing" : row.run(server, words);
        names += (names.empty() ? "" : ", ") + std::string(row.word);
    }
    return "error: no command '" + (words.empty() ? "" : words[0]) + "'; there are " + names;
}
