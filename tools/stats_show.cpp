// SPDX-License-Identifier: Apache-2.0
// What is printed of statistics, and the commands that print it.
#include <algorithm>
#include <cstdio>
#include <iomanip>

#include "tools/drops.h"
#include "tools/error.h"
#include "tools/report.h"
#include "tools/stats.h"
#include "tools/text.h"
#include "tools/values.h"

namespace {

constexpr const char *SERVICE = "qosMIStats";

std::string titleOf(const ctlStatsView_t &view)
{
    std::string title = view.kind;
    for (const char *word : {view.side, view.source})
        title += *word != '\0' ? std::string(" ") + word : "";
    return title;
}

// Rows of a reply whose fields are known by their place alone.
bool isField(const ctlStatsTable_t &table)
{
    return std::string_view(table.view->by) == "field";
}

std::string nameOf(const ctlStatsTable_t &table, const ctlStatsRow_t &row)
{
    return isField(table) ? ctlStatsRowName(*table.view, row.label) : row.label;
}

bool isZero(const ctlStatsTable_t &table, const ctlStatsRow_t &row, bool rates)
{
    for (size_t c = 0; c < row.cells.size(); c++) {
        const ctlStatsCell_t &cell = row.cells[c];
        const bool moves = rates && cell.counter ? cell.rate.value_or(0) != 0 : cell.value.value_or(0) != 0;
        if (moves && !table.view->columns[c].setting)
            return false;
    }
    return true;
}

std::string cellText(const ctlStatsCell_t &cell, bool rates)
{
    if (!cell.value)
        return "-";
    if (rates && cell.counter) {
        char text[64];
        std::snprintf(text, sizeof text, "%.1f", cell.rate.value_or(0));
        return cell.rate ? text : "-";
    }
    return cell.isSigned ? std::to_string(static_cast<int64_t>(*cell.value)) : std::to_string(*cell.value);
}

std::string heading(const std::string &name)
{
    std::string text = name;
    std::replace(text.begin(), text.end(), '_', ' ');
    return text;
}

// Whether there was anything to print.
bool printTable(const ctlStatsTable_t &table, const ctlStatsOptions_t &asked, bool first, std::ostream &out)
{
    const bool rates = asked.rate > 0;
    std::vector<std::vector<std::string>> lines = {{table.view->by}, {""}};
    for (const ctlStatsColumn_t &column : table.view->columns) {
        lines[0].push_back(heading(column.name));
        lines[1].push_back(std::string("[") + column.unit + (rates && column.counter ? "/s]" : "]"));
    }
    for (const ctlStatsRow_t &row : table.rows) {
        if (asked.nonzero && isZero(table, row, rates))
            continue;
        lines.push_back({nameOf(table, row)});
        for (const ctlStatsCell_t &cell : row.cells)
            lines.back().push_back(cellText(cell, rates));
    }
    if (asked.nonzero && lines.size() == 2)
        return false;
    out << (first ? "" : "\n") << ctlShowInterface(table.ifindex) << "  " << titleOf(*table.view);
    if (rates)
        out << "  over " << std::fixed << std::setprecision(1) << table.seconds << " s";
    out << "\n";
    ctlPrintColumns(out, lines);
    return true;
}

ctlJson rowJson(const ctlStatsTable_t &table, const ctlStatsRow_t &row)
{
    const auto number = row.label.size() < 10 ? ctlParseNumber(row.label, UINT32_MAX) : std::nullopt;
    ctlJson json = {{"row", number ? ctlJson(*number) : ctlJson(row.label)}}, rates = ctlJson::object();
    if (isField(table))
        json["name"] = nameOf(table, row);
    for (size_t c = 0; c < row.cells.size(); c++) {
        const ctlStatsCell_t &cell = row.cells[c];
        ctlJson &value = json[table.view->columns[c].name];
        if (cell.value && cell.isSigned)
            value = static_cast<int64_t>(*cell.value);
        else if (cell.value)
            value = *cell.value;
        if (cell.rate)
            rates[table.view->columns[c].name] = *cell.rate;
    }
    json["rates"] = std::move(rates);
    return json;
}

ctlJson tableJson(const ctlStatsTable_t &table, const ctlStatsOptions_t &asked)
{
    ctlJson units = ctlJson::object(), rows = ctlJson::array();
    for (const ctlStatsColumn_t &column : table.view->columns)
        units[column.name] = column.unit;
    for (const ctlStatsRow_t &row : table.rows)
        if (!asked.nonzero || !isZero(table, row, asked.rate > 0))
            rows.push_back(rowJson(table, row));
    return {{"kind", table.view->kind},
            {"side", table.view->side},
            {"source", table.view->source},
            {"interface", ctlShowInterface(table.ifindex)},
            {"ifindex", table.ifindex},
            {"status", table.status},
            {"error", table.fault},
            {"at", ctlUtc(std::chrono::system_clock::now() -
                          std::chrono::round<std::chrono::system_clock::duration>(ctlClock::now() - table.at))},
            {"seconds", table.seconds},
            {"by", table.view->by},
            {"units", units},
            {"rows", rows}};
}

// A kind that is made of others, and takes ports alone.
bool isDrops(const ctlStatsOptions_t &asked)
{
    if (asked.words.empty() || asked.words[0] != ctlDropsView.kind)
        return false;
    if (!asked.ids.empty() || !asked.selector.empty())
        ctlRefuse("--ids goes with policers and --selector with voq, tmc and tmc-chip, and not with drops");
    return true;
}

// Lets time pass and reads what comes meanwhile, since an agent waits for a manager that does not.
void waitOn(const ctlLink_t &link, double seconds)
{
    const auto deadline = ctlDeadline(seconds);
    while (!ctlInterrupted() && ctlClock::now() < deadline)
        ctlReceive(link, deadline);
}

} // namespace

void ctlPrintColumns(std::ostream &out, std::vector<std::vector<std::string>> lines)
{
    std::vector<size_t> widths;
    for (std::vector<std::string> &line : lines) {
        widths.resize(std::max(widths.size(), line.size()));
        for (size_t c = 0; c < line.size(); c++) {
            line[c] = ctlShown(line[c]);
            widths[c] = std::max(widths[c], line[c].size());
        }
    }
    for (const std::vector<std::string> &line : lines) {
        for (size_t c = 0; c < line.size(); c++)
            out << (c == 0 ? "" : "  ") << (c == 0 ? std::left : std::right) << std::setw(static_cast<int>(widths[c]))
                << line[c];
        out << "\n";
    }
}

int ctlPrintStats(const ctlStatsReading_t &reading, const ctlOptions_t &options, const ctlStatsOptions_t &asked,
                  std::ostream &out, std::ostream &err)
{
    int result = reading.fault.empty() ? CTL_DONE : CTL_SILENT;
    ctlJson json = ctlJson::array();
    bool shown = false, zero = false;
    for (const ctlStatsTable_t &table : reading.tables) {
        json.push_back(tableJson(table, asked));
        if (!table.fault.empty()) {
            result = std::max<int>(result, CTL_FAILED);
            ctlComplain(err, ctlShowInterface(table.ifindex) + " " + titleOf(*table.view) + ": " + table.fault);
        } else if (!options.json) {
            shown = printTable(table, asked, !shown, out) || shown;
            zero = true;
        }
    }
    if (zero && !shown)
        out << "all zero\n";
    if (options.json)
        ctlPrintJson(out, json);
    if (!reading.fault.empty())
        ctlComplain(err, reading.fault);
    out.flush();
    return result;
}

int ctlShowStats(const ctlOptions_t &options, const ctlStatsOptions_t &asked, std::ostream &out, std::ostream &err)
{
    const bool drops = isDrops(asked);
    std::vector<ctlStatsQuery_t> queries =
        drops ? ctlPlanDrops({asked.words.begin() + 1, asked.words.end()}) : ctlPlanStats(asked);
    ctlLink_t link = ctlOpenLink(SERVICE);
    if (!drops)
        ctlFillBudgets(link, options, queries);
    const auto read = [&] {
        ctlStatsReading_t reading = ctlReadStats(link, options, queries);
        return drops ? ctlJoinDrops(std::move(reading)) : reading;
    };
    ctlStatsReading_t reading = read();
    if (asked.rate > 0 && reading.fault.empty()) {
        waitOn(link, asked.rate);
        ctlStatsReading_t second = read();
        ctlRateStats(reading, second);
        reading = std::move(second);
    }
    ctlCloseLink(link);
    return ctlPrintStats(reading, options, asked, out, err);
}

int ctlClearStats(const ctlOptions_t &options, const std::vector<std::string> &words, std::ostream &out,
                  std::ostream &err)
{
    const std::vector<ctlStatsQuery_t> queries = ctlPlanClear(words);
    ctlLink_t link = ctlOpenLink(SERVICE);
    const ctlStatsReading_t reading = ctlReadStats(link, options, queries);
    ctlCloseLink(link);
    int result = reading.fault.empty() ? CTL_DONE : CTL_SILENT;
    ctlJson json = ctlJson::array();
    for (const ctlStatsTable_t &table : reading.tables) {
        if (!table.fault.empty()) {
            result = std::max<int>(result, CTL_FAILED);
            ctlComplain(err, ctlShowInterface(table.ifindex) + ": " + table.fault);
        } else if (!options.json) {
            out << ctlShowInterface(table.ifindex) << "  cleared\n";
        }
        json.push_back({{"interface", ctlShowInterface(table.ifindex)},
                        {"ifindex", table.ifindex},
                        {"status", table.status},
                        {"error", table.fault}});
    }
    if (options.json)
        ctlPrintJson(out, json);
    if (!reading.fault.empty())
        ctlComplain(err, reading.fault);
    return result;
}
