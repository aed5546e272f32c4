// SPDX-License-Identifier: Apache-2.0
// Requests, tables and rates of statistics.
#include "tools/stats.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <unistd.h>

#include "agent/messages/header.h"
#include "tools/error.h"
#include "tools/node.h"
#include "tools/show.h"
#include "tools/text.h"
#include "tools/values.h"
#include "velmar/dce.h"

namespace {

constexpr double LIST_SECONDS = 3;
constexpr size_t FIELD_COLUMNS = 8;
constexpr size_t POLICERS_A_MESSAGE = 32;
constexpr size_t MOST_TARGETS = 16384; // a node of 16 slots with 128 ports, on each of 8 chips
constexpr size_t MOST_REQUESTS = 65536;

// What a request's status holds on its way out. It comes back where nobody served the request: an unknown chip, or a
// message that the agent only acknowledges.
constexpr int32_t UNTOUCHED = -99;

bool isChip(uint32_t ifindex)
{
    return ifindex >> 26 == 34;
}

// ---- Targets

std::vector<uint32_t> knownPorts()
{
    ctlNeedAgent();
    const std::vector<uint32_t> ports = ctlKnownPorts(LIST_SECONDS);
    if (ports.empty())
        throw ctlError_t{CTL_SILENT, "the agent knows no port yet: a chip and its ports come with CHIPUP and IFADD"};
    return ports;
}

uint32_t parseTarget(const std::string &word)
{
    if (word.rfind("0x", 0) == 0)
        if (const auto number = ctlParseNumber(std::string_view(word).substr(2), UINT32_MAX, 16))
            return static_cast<uint32_t>(*number);
    const bool bare = !word.empty() && std::isdigit(static_cast<unsigned char>(word[0])) != 0;
    const auto ifindex = ctlParseInterface(bare ? "te" + word : word);
    if (!ifindex)
        ctlRefuse("'" + word + "' is neither a port such as te1/3 or 1/3, nor a chip such as chip1/0, nor all");
    return *ifindex;
}

void addOnce(std::vector<uint32_t> &list, uint32_t ifindex)
{
    if (std::find(list.begin(), list.end(), ifindex) == list.end())
        list.push_back(ifindex);
    if (list.size() > MOST_TARGETS)
        ctlRefuse("more than " + std::to_string(MOST_TARGETS) + " ports and chips are too many at once");
}

std::vector<uint32_t> parseTargets(const std::vector<std::string> &words)
{
    std::vector<uint32_t> targets;
    for (const std::string &word : words)
        for (const std::string &each : ctlExpandList(word))
            addOnce(targets, parseTarget(each));
    if (targets.empty())
        targets.push_back(QOS_ALL_CHIPS_IFINDEX);
    return targets;
}

// Every target as ports: a chip as those on it, all interfaces as all.
std::vector<uint32_t> asPorts(const std::vector<uint32_t> &targets)
{
    std::vector<uint32_t> ports;
    std::optional<std::vector<uint32_t>> known;
    for (const uint32_t target : targets) {
        const bool all = target == QOS_ALL_CHIPS_IFINDEX;
        if (!all && !isChip(target)) {
            addOnce(ports, target);
            continue;
        }
        if (!known)
            known = knownPorts();
        const size_t before = ports.size();
        for (const uint32_t port : *known)
            if (all || dce_get_flat_chip_id(port) == dce_get_flat_chip_id(target))
                addOnce(ports, port);
        if (ports.size() == before && !all)
            throw ctlError_t{CTL_FAILED, "the agent knows no port on " + ctlShowInterface(target)};
    }
    return ports;
}

// Every target as chips.
std::vector<uint32_t> asChips(const std::vector<uint32_t> &targets)
{
    const bool all = std::count(targets.begin(), targets.end(), QOS_ALL_CHIPS_IFINDEX) != 0;
    std::vector<uint32_t> chips;
    for (const uint32_t target : all ? knownPorts() : targets)
        addOnce(chips, isChip(target) ? target : dce_get_ifindex(dce_get_flat_chip_id(target)));
    return chips;
}

// ---- Requests

struct choice {
    std::vector<const ctlStatsView_t *> views;
    std::vector<std::string> targets;
};

// The views that kind, side and source choose; words that are neither are targets.
choice choose(const std::vector<std::string> &words)
{
    if (words.empty())
        ctlRefuse("the kind is missing; 'dorvctl stats --help' lists them");
    std::vector<std::string> kinds = {"drops"}, own;
    for (const ctlStatsView_t &view : ctlStatsViews()) {
        if (kinds.back() != view.kind)
            kinds.push_back(view.kind);
        if (view.kind == words[0])
            for (const char *word : {view.side, view.source})
                if (*word != '\0')
                    own.push_back(word);
    }
    if (std::find(kinds.begin(), kinds.end(), words[0]) == kinds.end())
        ctlRefuse("no statistics are called '" + words[0] + "'; the nearest is " + ctlNearest(words[0], kinds) +
                  " ('dorvctl stats --help' lists all)");
    choice chosen;
    std::string side, source;
    for (size_t i = 1; i < words.size(); i++) {
        if (std::find(own.begin(), own.end(), words[i]) == own.end())
            chosen.targets.push_back(words[i]);
        else
            (words[i] == "ingress" || words[i] == "egress" ? side : source) = words[i];
    }
    for (const ctlStatsView_t &view : ctlStatsViews())
        if (view.kind == words[0] && (side.empty() ? !view.named : view.side == side) &&
            (*view.source == '\0' || view.source == (source.empty() ? "port" : source)))
            chosen.views.push_back(&view);
    if (chosen.views.empty())
        ctlRefuse(words[0] + " has nothing that is both " + side + " and " + source);
    return chosen;
}

void assign(std::vector<ctlAssign_t> &assigns, const char *field, const std::string &value)
{
    if (field != nullptr)
        assigns.push_back({field, value});
}

ctlStatsQuery_t queryOf(const ctlStatsView_t &view, uint32_t ifindex, const std::string &selector,
                        const std::vector<std::string> &ids)
{
    std::vector<ctlAssign_t> assigns;
    const bool all = ifindex == QOS_ALL_CHIPS_IFINDEX;
    const int32_t flat = dce_get_flat_chip_id(ifindex);
    if (!all && flat < 0 && (view.chip != nullptr || view.number != nullptr))
        ctlRefuse(ctlShowInterface(ifindex) + " is on no chip");
    assign(assigns, "status", std::to_string(UNTOUCHED));
    assign(assigns, view.port, std::to_string(ifindex) + "*" + std::to_string(std::max<size_t>(ids.size(), 1)));
    assign(assigns, view.chip, std::to_string(all ? ifindex : dce_get_ifindex(flat)));
    assign(assigns, view.number, std::to_string(flat));
    if (!ids.empty())
        assigns.push_back({view.ids, ids});
    const std::string request = view.request;
    for (size_t at = 0; at < request.size();) {
        const size_t end = std::min(request.find(' ', at), request.size()), equals = request.find('=', at);
        assigns.push_back({request.substr(at, equals - at), request.substr(equals + 1, end - equals - 1)});
        at = end + 1;
    }
    if (!selector.empty())
        assigns.push_back({"selector", selector});
    return {&view, ifindex, ctlBuildMessage(std::to_string(view.code), assigns)};
}

// ---- Replies

std::optional<uint64_t> numberOf(const wireField &field, const ctlBytes &data, size_t n)
{
    if (field.kind != wireKind::Chars)
        return ctlReadInteger(field, data, n);
    const std::string text = ctlReadChars(field, data, n);
    return ctlParseNumber(text, UINT64_MAX); // nothing where the chip wrote none
}

uint64_t fieldValue(const wireBody &body, const ctlBytes &data, const char *name)
{
    const wireField *field = ctlField(body, name);
    return field != nullptr && ctlCount(body, *field, data.size()) > 0 ? ctlReadInteger(*field, data, 0) : 0;
}

std::string labelOf(const ctlStatsRows_t &rows, const wireBody &body, const ctlBytes &data, size_t n)
{
    if (rows.labels == nullptr)
        return rows.label + (rows.rows > 1 ? std::to_string(n) : "");
    const wireField &field = *ctlField(body, rows.labels);
    return field.kind == wireKind::Chars ? ctlReadChars(field, data, n) : ctlFormatElement(field, data, n);
}

void addRun(ctlStatsTable_t &table, const ctlStatsRows_t &rows, const wireBody &body, const ctlBytes &data)
{
    if (rows.unless != nullptr && fieldValue(body, data, rows.unless) != 0)
        return;
    size_t count = rows.rows;
    if (rows.count != nullptr)
        count = static_cast<size_t>(std::min<uint64_t>(count, fieldValue(body, data, rows.count)));
    if (rows.labels != nullptr) // whatever that number says, there are no more than the reply holds
        count = std::min(count, ctlCount(body, *ctlField(body, rows.labels), data.size()));
    for (size_t n = 0; n < count; n++) {
        ctlStatsRow_t row{labelOf(rows, body, data, n), std::vector<ctlStatsCell_t>(table.view->columns.size())};
        for (size_t c = 0; c < rows.cells.size(); c++) {
            const wireField &field = *ctlField(body, rows.cells[c].field);
            const size_t element = rows.cells[c].first + n;
            if (element < ctlCount(body, field, data.size()))
                row.cells[c] = {numberOf(field, data, element), field.kind == wireKind::Signed,
                                table.view->columns[c].counter, std::nullopt};
        }
        table.rows.push_back(std::move(row));
    }
}

bool isRequestField(const ctlStatsView_t &view, const std::string &name)
{
    for (const char *own : {view.port, view.chip, view.number})
        if (own != nullptr && name == own)
            return true;
    return name == "status" || name.rfind("selector", 0) == 0;
}

// The rows of one field, eight values each. Two words of a pair are one value of 64 bits, and what has 64 bits counts.
void addField(ctlStatsTable_t &table, const wireBody &body, const wireField &field, const ctlBytes &data)
{
    const size_t words = std::strncmp(field.name, "pair", 4) == 0 ? 2 : 1;
    const size_t count = ctlCount(body, field, data.size()) / words;
    for (size_t first = 0; first < count; first += FIELD_COLUMNS) {
        const size_t end = std::min(first + FIELD_COLUMNS, count);
        std::string label = field.name;
        if (count > FIELD_COLUMNS)
            label += "[" + std::to_string(first) + (end - first > 1 ? ".." + std::to_string(end - 1) : "") + "]";
        ctlStatsRow_t row{label, std::vector<ctlStatsCell_t>(table.view->columns.size())};
        for (size_t n = first; n < end; n++) {
            uint64_t value = ctlReadInteger(field, data, n * words);
            if (words == 2)
                value = value << 32 | ctlReadInteger(field, data, n * words + 1);
            row.cells[n - first] = {value, field.kind == wireKind::Signed, field.width * words == 8, std::nullopt};
        }
        table.rows.push_back(std::move(row));
    }
}

// A view that took several messages goes on where it stopped.
void join(std::vector<ctlStatsTable_t> &tables, ctlStatsTable_t &&table)
{
    if (tables.empty() || tables.back().view != table.view || tables.back().ifindex != table.ifindex ||
        !tables.back().fault.empty() || !table.fault.empty()) {
        tables.push_back(std::move(table));
        return;
    }
    for (ctlStatsRow_t &row : table.rows)
        tables.back().rows.push_back(std::move(row));
}

} // namespace

ctlStatsTable_t ctlStatsTableOf(const ctlStatsQuery_t &query, const ctlMessage_t &reply)
{
    ctlStatsTable_t table{query.view, query.ifindex, ctlStatus(reply).value_or(0), "", ctlClock::now(), 0, {}};
    const wireBody &body = ctlBodyOf(*qosMsgInfo(reply.code));
    if (reply.ack == 0)
        table.fault = "the agent passed the request over";
    else if (table.status == UNTOUCHED)
        table.fault = "the agent left the request as it was: unknown chip, or not served";
    else if (table.status != 0)
        table.fault = "status " + std::to_string(table.status) + ", " + ctlStatusText(table.status);
    if (!table.fault.empty())
        return table;
    for (const ctlStatsRows_t &rows : query.view->rows)
        addRun(table, rows, body, reply.body);
    const bool fields = query.view->rows.empty() && !query.view->columns.empty();
    for (unsigned i = 0; fields && i < body.numFields; i++)
        if (!isRequestField(*query.view, body.fields[i].name))
            addField(table, body, body.fields[i], reply.body);
    return table;
}

std::vector<uint32_t> ctlListedPorts(const ctlJson &rows)
{
    std::vector<uint32_t> ports;
    for (const ctlJson &row : rows) {
        const auto inRange = [&](const char *key) {
            return row.contains(key) && row[key].is_number_integer() && row[key] >= 0 && row[key] <= UINT32_MAX;
        };
        if (inRange("ifindex") && inRange("chip"))
            addOnce(ports, row["ifindex"].get<uint32_t>());
    }
    return ports;
}

std::vector<uint32_t> ctlKnownPorts(double seconds)
{
    std::vector<uint32_t> ports;
    std::optional<ctlError_t> fault;
    for (const ctlProcess_t &agent : ctlProcesses("dorvald")) {
        try {
            if (ports.empty())
                ports = ctlListedPorts(ctlAskRows(agent, "ports", seconds));
        } catch (const ctlError_t &error) {
            if (error.exit == CTL_SILENT)
                throw;
            fault = error; // another agent may answer
        }
    }
    if (ports.empty() && fault)
        throw *fault;
    return ports;
}

std::vector<ctlStatsQuery_t> ctlPlanStats(const ctlStatsOptions_t &asked)
{
    const choice chosen = choose(asked.words);
    const std::vector<uint32_t> targets = parseTargets(chosen.targets);
    const ctlStatsView_t &first = *chosen.views[0];
    const std::vector<std::string> ids = asked.ids.empty() ? std::vector<std::string>() : ctlExpandList(asked.ids);
    if (first.ids == nullptr && !ids.empty())
        ctlRefuse("--ids goes with policers, and not with " + std::string(first.kind));
    const bool selects = ctlField(ctlBodyOf(*qosMsgInfo(first.code)), "selector") != nullptr;
    if (!asked.selector.empty() && !selects)
        ctlRefuse("--selector goes with voq, tmc and tmc-chip, and not with " + std::string(first.kind));
    if (first.ids != nullptr && ids.empty())
        ctlRefuse("the agent lists no policers; name some, as in --ids 1..8");
    std::vector<uint32_t> asPlaced;
    if (first.ids != nullptr && std::count(targets.begin(), targets.end(), QOS_ALL_CHIPS_IFINDEX) != 0)
        asPlaced = {QOS_ALL_CHIPS_IFINDEX}; // the agent sums over all chips, one policer a message
    else
        asPlaced = first.port != nullptr ? asPorts(targets) : asChips(targets);
    const size_t slice = asPlaced[0] == QOS_ALL_CHIPS_IFINDEX ? 1 : POLICERS_A_MESSAGE;
    std::vector<ctlStatsQuery_t> queries;
    for (const uint32_t target : asPlaced)
        for (const ctlStatsView_t *view : chosen.views) {
            if (queries.size() + ids.size() / slice >= MOST_REQUESTS)
                ctlRefuse("more than " + std::to_string(MOST_REQUESTS) + " requests are too many at once");
            if (ids.empty())
                queries.push_back(queryOf(*view, target, asked.selector, {}));
            for (size_t at = 0; at < ids.size(); at += slice)
                queries.push_back(
                    queryOf(*view, target, asked.selector,
                            {ids.begin() + static_cast<std::ptrdiff_t>(at),
                             ids.begin() + static_cast<std::ptrdiff_t>(std::min(at + slice, ids.size()))}));
        }
    return queries;
}

std::vector<ctlStatsQuery_t> ctlPlanClear(const std::vector<std::string> &words)
{
    static constexpr ctlStatsView_t one = {
        "clear", "", "", false, QOS_CLEAR_STATS_MSG, "ifindex", nullptr, nullptr, nullptr, "clearAll=0", "", {}, {}};
    static constexpr ctlStatsView_t every = {
        "clear", "", "", false, QOS_CLEAR_STATS_MSG, "ifindex", nullptr, nullptr, nullptr, "clearAll=1", "", {}, {}};
    const std::vector<uint32_t> targets = parseTargets(words);
    if (std::count(targets.begin(), targets.end(), QOS_ALL_CHIPS_IFINDEX) != 0)
        return {queryOf(every, QOS_ALL_CHIPS_IFINDEX, "", {})};
    std::vector<ctlStatsQuery_t> queries;
    for (const uint32_t port : asPorts(targets))
        queries.push_back(queryOf(one, port, "", {}));
    return queries;
}

ctlStatsReading_t ctlReadStats(const ctlLink_t &link, const ctlOptions_t &options,
                               const std::vector<ctlStatsQuery_t> &queries)
{
    static uint8_t next = static_cast<uint8_t>(getpid() * 31); // unlike that of another manager
    ctlStatsReading_t reading;
    const auto deadline = ctlDeadline(options.within);
    for (size_t begin = 0; begin < queries.size();) {
        std::vector<ctlMessage_t> batch;
        size_t bytes = 0, end = begin;
        for (; end < queries.size(); end++) {
            bytes += sizeof(qosMsgHdr_t) + queries[end].message.body.size();
            if (bytes > CTL_BATCH_BYTES)
                break;
            batch.push_back(queries[end].message);
        }
        ctlNumber(batch, next);
        const ctlEcho_t echo = ctlExchange(link, options.slot, batch, std::min(options.timeout, ctlLeft(deadline)));
        if (!echo.fault.empty()) {
            reading.fault = echo.fault;
            break;
        }
        for (size_t i = begin; i < end; i++)
            join(reading.tables, ctlStatsTableOf(queries[i], echo.messages[i - begin]));
        begin = end;
    }
    return reading;
}

void ctlFillBudgets(const ctlLink_t &link, const ctlOptions_t &options, std::vector<ctlStatsQuery_t> &queries)
{
    if (queries.empty() || queries[0].view->budget == nullptr)
        return;
    std::vector<std::string> words = {"thresholds"};
    for (const ctlStatsQuery_t &query : queries)
        words.push_back(ctlShowInterface(query.ifindex));
    const ctlStatsReading_t reading = ctlReadStats(link, options, ctlPlanStats({words}));
    for (ctlStatsQuery_t &query : queries)
        for (const ctlStatsTable_t &table : reading.tables)
            if (table.ifindex == query.ifindex && table.fault.empty()) {
                const wireField &field = *ctlField(ctlBodyOf(*qosMsgInfo(query.message.code)), query.view->budget);
                ctlWriteInteger(field, query.message.body, 0, table.rows.back().cells[0].value.value_or(0));
            }
}

void ctlRateStats(const ctlStatsReading_t &before, ctlStatsReading_t &now)
{
    for (size_t t = 0; t < std::min(before.tables.size(), now.tables.size()); t++) {
        const ctlStatsTable_t &old = before.tables[t];
        ctlStatsTable_t &table = now.tables[t];
        if (old.view != table.view || old.ifindex != table.ifindex || !old.fault.empty())
            continue;
        table.seconds = std::chrono::duration<double>(table.at - old.at).count();
        std::vector<bool> joined(old.rows.size());
        for (ctlStatsRow_t &row : table.rows) {
            // Two rows may have one label; they keep their order.
            size_t same = 0;
            while (same < old.rows.size() && (joined[same] || old.rows[same].label != row.label))
                same++;
            if (same < old.rows.size())
                joined[same] = true;
            for (size_t c = 0; c < row.cells.size(); c++) {
                ctlStatsCell_t &cell = row.cells[c];
                if (!cell.counter || !cell.value || table.seconds <= 0)
                    continue;
                const uint64_t from = same == old.rows.size() ? 0 : old.rows[same].cells[c].value.value_or(0);
                cell.rate = static_cast<double>(*cell.value - (from > *cell.value ? 0 : from)) / table.seconds;
            }
        }
    }
}
