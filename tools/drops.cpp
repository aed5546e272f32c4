// SPDX-License-Identifier: Apache-2.0
// Puts the sources together: a row for each figure says where it is found and where it goes.
#include "tools/drops.h"

#include <algorithm>
#include <map>
#include <set>

#include "tools/error.h"
#include "tools/node.h"
#include "tools/show.h"
#include "tools/values.h"
#include "velmar/dce.h"

namespace {

constexpr size_t QUEUES = 8, PORT = QUEUES; // rows
constexpr int32_t NO_SUCH = 25;             // the status of what a family lacks
constexpr bool COUNTER = true, STATE = false, BOUND = true;

constexpr ctlStatsColumn_t columns[CTL_DROP_COLUMNS] = {
    {"used", "bytes", STATE},          {"bound", "bytes", STATE, BOUND},      {"full", "1 if so", STATE},
    {"tail_drops", "frames", COUNTER}, {"red_drops", "frames", COUNTER},      {"drops", "frames", COUNTER},
    {"pause_sent", "frames", COUNTER}, {"pause_received", "frames", COUNTER}, {"sent", "bytes", COUNTER},
    {"received", "bytes", COUNTER}};

enum family_t : unsigned { LARKIN = 1, TESSEL = 2, MIRELLE = 4, ANY = 7 };

struct source_t {
    unsigned families;
    std::vector<std::string> words; // of ctlPlanStats
};

const source_t sources[] = {
    {ANY, {"queue"}},
    {ANY, {"flow-control"}},
    {TESSEL | MIRELLE, {"buffers", "egress"}},
    {TESSEL, {"buffers", "egress", "tmc"}},
    {LARKIN | MIRELLE, {"rcv-queue"}},
    {TESSEL | MIRELLE, {"red"}},
    {TESSEL | MIRELLE, {"drop-reasons"}},
};

constexpr size_t ACROSS = SIZE_MAX; // the row's cells are the queues'

// One figure: the source's row by its label, or without one the row of each queue; the cell there; the column here.
struct figure_t {
    unsigned families;
    const char *kind, *source, *row;
    size_t cell;
    ctlDropColumn_t to;
};

constexpr figure_t figures[] = {
    {ANY, "queue", "", nullptr, 1, CTL_SENT},
    {ANY, "queue", "", "total", 1, CTL_SENT},
    {ANY, "queue", "", nullptr, 3, CTL_RECEIVED},
    {ANY, "queue", "", "total", 3, CTL_RECEIVED},
    {ANY, "flow-control", "", nullptr, 0, CTL_PAUSE_SENT},
    {ANY, "flow-control", "", "global", 0, CTL_PAUSE_SENT},
    {ANY, "flow-control", "", "global 2", 0, CTL_PAUSE_RECEIVED},
    {ANY, "buffers", "port", "pri48", ACROSS, CTL_USED},
    {ANY, "buffers", "port", "pri112", ACROSS, CTL_BOUND},
    {ANY, "buffers", "port", "pri152", ACROSS, CTL_FULL},
    {ANY, "buffers", "tmc", "pair92[32..39]", ACROSS, CTL_TAIL},
    {ANY, "buffers", "tmc", "pair92[88..95]", ACROSS, CTL_PAUSE_RECEIVED},
    {LARKIN, "rcv-queue", "", nullptr, 0, CTL_USED},
    {LARKIN, "rcv-queue", "", "port", 0, CTL_USED},
    {LARKIN, "rcv-queue", "", nullptr, 1, CTL_BOUND},
    {LARKIN, "rcv-queue", "", "port", 1, CTL_BOUND},
    {LARKIN, "rcv-queue", "", "port", 2, CTL_DROPS},
    {MIRELLE, "rcv-queue", "", "port", 2, CTL_TAIL},
    {ANY, "red", "", nullptr, 0, CTL_RED}, // frames of each drop level
    {ANY, "red", "", nullptr, 2, CTL_RED},
    {ANY, "red", "", nullptr, 4, CTL_RED},
    {ANY, "red", "", nullptr, 6, CTL_RED},
    {ANY, "red", "", "port", 0, CTL_RED},
    {ANY, "red", "", "port", 2, CTL_RED},
    {ANY, "red", "", "port", 4, CTL_RED},
};

struct known_t {
    std::map<int32_t, unsigned> families; // by the chip's flat number
    std::set<uint32_t> ports;
    bool any = false; // an agent has told of them
};

// What the agents say of chips and ports.
known_t knownToAgents(double seconds)
{
    known_t known;
    const auto deadline = ctlDeadline(seconds);
    try {
        for (const ctlProcess_t &agent : ctlProcesses("dorvald")) {
            for (const ctlJson &row : ctlAskRows(agent, "chips", ctlLeft(deadline))) {
                const std::string type = row.contains("type") && row["type"].is_string() ? row["type"] : ctlJson("");
                if (row.contains("chip") && row["chip"].is_number_integer())
                    known.families.emplace(row["chip"].get<int32_t>(), type == "Larkin"                ? LARKIN
                                                                       : type == "Tessel"              ? TESSEL
                                                                       : type.rfind("Mirelle", 0) == 0 ? MIRELLE
                                                                                                       : ANY);
            }
            const std::vector<uint32_t> ports = ctlListedPorts(ctlAskRows(agent, "ports", ctlLeft(deadline)));
            known.ports.insert(ports.begin(), ports.end());
            known.any = true;
        }
    } catch (const ctlError_t &) {
        known.any = false; // whoever answers the requests may be asked for everything
    }
    return known;
}

void add(std::optional<uint64_t> &to, const std::optional<uint64_t> &value)
{
    if (value)
        to = to.value_or(0) + *value;
}

void take(const figure_t &figure, const ctlStatsTable_t &from, ctlStatsTable_t &table)
{
    for (const ctlStatsRow_t &row : from.rows) {
        if (figure.row != nullptr && row.label != figure.row)
            continue;
        for (size_t q = 0; q < QUEUES && figure.cell == ACROSS; q++)
            add(table.rows[q].cells[figure.to].value, row.cells[q].value);
        if (figure.cell == ACROSS)
            continue;
        const size_t to = figure.row != nullptr   ? PORT
                          : row.label.size() == 1 ? static_cast<size_t>(row.label[0] - '0')
                                                  : SIZE_MAX;
        if (to <= PORT && (figure.row != nullptr || to < QUEUES))
            add(table.rows[to].cells[figure.to].value, row.cells[figure.cell].value);
    }
}

// What follows from the figures: sums of the queues where the port has none of its own, and all drops.
void settle(ctlStatsTable_t &table)
{
    auto &rows = table.rows;
    const auto value = [&](size_t row, size_t column) -> auto &
    {
        return rows[row].cells[column].value;
    };
    // A port that pauses as a whole has its sum in the place of queue 0 and nothing in the others.
    if (!value(1, CTL_PAUSE_SENT))
        value(0, CTL_PAUSE_SENT).reset();
    for (const size_t column : {CTL_USED, CTL_TAIL, CTL_RED})
        if (!value(PORT, column))
            for (size_t q = 0; q < QUEUES; q++)
                add(value(PORT, column), value(q, column));
    for (size_t row = 0; row <= PORT; row++)
        if (value(row, CTL_TAIL) && value(row, CTL_RED))
            value(row, CTL_DROPS) = *value(row, CTL_TAIL) + *value(row, CTL_RED);
}

ctlStatsTable_t emptyTable(const ctlStatsTable_t &like)
{
    ctlStatsTable_t table{&ctlDropsView, like.ifindex, 0, "", like.at, 0, {}};
    for (size_t row = 0; row <= PORT; row++) {
        table.rows.push_back({row == PORT ? "port" : std::to_string(row), {}});
        for (const ctlStatsColumn_t &column : columns)
            table.rows.back().cells.push_back({std::nullopt, false, column.counter, std::nullopt});
    }
    return table;
}

bool is(const ctlStatsTable_t &table, const std::string &kind)
{
    return table.view->kind == kind;
}

// All tables of one port.
void joinPort(const std::vector<const ctlStatsTable_t *> &port, std::vector<ctlStatsTable_t> &tables)
{
    const bool none = std::all_of(port.begin(), port.end(), [](const auto *each) { return !each->fault.empty(); });
    if (none) {
        tables.push_back(*port[0]);
        return;
    }
    const bool buffers = std::any_of(port.begin(), port.end(),
                                     [](const auto *each) { return is(*each, "buffers") && each->fault.empty(); });
    ctlStatsTable_t table = emptyTable(*port[0]);
    for (const ctlStatsTable_t *each : port)
        for (const figure_t &figure : figures)
            if ((figure.families & (buffers ? MIRELLE : LARKIN)) != 0 && is(*each, figure.kind) &&
                std::string(figure.source) == each->view->source)
                take(figure, *each, table);
    settle(table);
    tables.push_back(std::move(table));
    for (const ctlStatsTable_t *each : port)
        if (each->fault.empty() ? is(*each, "drop-reasons") : each->status != NO_SUCH)
            tables.push_back(*each);
}

} // namespace

const ctlStatsView_t ctlDropsView = {"drops", "",      "", false,   0,       nullptr, nullptr,
                                     nullptr, nullptr, "", "queue", columns, {}};

std::vector<ctlStatsQuery_t> ctlPlanDrops(const std::vector<std::string> &targets, double seconds)
{
    const known_t known = knownToAgents(seconds);
    std::vector<ctlStatsQuery_t> queries;
    std::vector<std::string> ports = targets;
    for (const source_t &source : sources) {
        std::vector<std::string> words = source.words;
        words.insert(words.end(), ports.begin(), ports.end());
        if (&source == &sources[0]) { // what chips and all stand for is asked once
            ports.clear();
            for (const ctlStatsQuery_t &query : ctlPlanStats({words}))
                ports.push_back(ctlShowInterface(query.ifindex));
            words.resize(source.words.size());
            words.insert(words.end(), ports.begin(), ports.end());
        }
        for (ctlStatsQuery_t &query : ctlPlanStats({words})) {
            const auto family = known.families.find(dce_get_flat_chip_id(query.ifindex));
            const bool stranger = known.any && known.ports.count(query.ifindex) == 0;
            // Of a port that nobody announced one refusal tells enough.
            if (stranger ? &source == &sources[0]
                         : family == known.families.end() || (family->second & source.families) != 0)
                queries.push_back(std::move(query));
        }
    }
    return queries;
}

ctlStatsReading_t ctlJoinDrops(ctlStatsReading_t &&reading)
{
    std::vector<uint32_t> order;
    std::map<uint32_t, std::vector<const ctlStatsTable_t *>> ports;
    for (const ctlStatsTable_t &table : reading.tables) {
        if (ports[table.ifindex].empty())
            order.push_back(table.ifindex);
        ports[table.ifindex].push_back(&table);
    }
    ctlStatsReading_t joined{{}, reading.fault};
    for (const uint32_t port : order)
        joinPort(ports[port], joined.tables);
    return joined;
}

ctlStatsReading_t ctlReadDrops(unsigned slot, const std::vector<ctlStatsQuery_t> &queries, double seconds)
{
    ctlOptions_t options;
    options.slot = slot;
    options.timeout = options.within = seconds;
    struct held_t {
        ctlLink_t link = ctlOpenLink("qosMIStats");
        ~held_t() { ctlCloseLink(link); }
    } held;
    return ctlJoinDrops(ctlReadStats(held.link, options, queries));
}
