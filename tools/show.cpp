// SPDX-License-Identifier: Apache-2.0
// The tables of dorvctl show: names, and what the control socket's cli calls them.
#include "tools/show.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "tools/config.h"
#include "tools/error.h"
#include "tools/held.h"
#include "tools/text.h"
#include "tools/values.h"

namespace {

// As JSON a table is "json NAME".
struct table_t {
    const char *name;
    const char *text;
};

const table_t TABLES[] = {
    {"slots", "show dorvmd slots"},
    {"chips", "show dorvmd chips"},
    {"interfaces", "show dorvmd interfaces"},
    {"memory", "show dorvmd memory statistics"},
    {"mi", "show dorvmd mi statistics"},
    {"vss", "show qos vss"},
    {"queue", "show qos msgq"},
};

// What stands behind the "ok".
std::string askTable(const ctlProcess_t &agent, const std::string &command, double seconds)
{
    const std::string answer = ctlAsk(agent, "cli " + command, seconds);
    if (answer.rfind("error: no printing function", 0) == 0)
        throw ctlError_t{CTL_FAILED, agent.name + "." + agent.pid + " is of an older build: it does not know 'cli " +
                                         command + "'"};
    return ctlBehindOk(answer);
}

// What tells one row from another, and is no setting or count.
bool isName(const std::string &key, const ctlJson &value)
{
    return value.is_string() || key == "slot" || key == "chip" || key == "ifindex" || key == "chip_ifindex";
}

bool isNothing(const ctlJson &value)
{
    return value.is_null() || value == false || ctlIsZero(value);
}

// The rows of the ports named, and where nothing else is wanted those that hold something.
ctlJson chosen(const ctlJson &rows, const std::vector<std::string> &ports, bool nonzero)
{
    const std::set<uint32_t> wanted = ctlInterfacesOf(ports, rows);
    ctlJson kept = ctlJson::array();
    for (const ctlJson &row : rows) {
        bool holds = !nonzero;
        for (const auto &[key, value] : row.items())
            holds = holds || (!isName(key, value) && !isNothing(value));
        if (holds && (ports.empty() || wanted.count(ctlSubject(row)) != 0))
            kept.push_back(row);
    }
    return kept;
}

// A row in one line, without what is 0.
void printRow(std::ostream &out, const ctlJson &row)
{
    std::string line;
    for (const auto &[key, value] : row.items()) {
        if (isNothing(value))
            continue;
        std::vector<std::string> values;
        for (const ctlJson &each : value.is_array() ? value : ctlJson::array({value}))
            values.push_back(each.is_string()          ? each.get<std::string>()
                             : ctlIsInterfaceName(key) ? ctlShowInterface(each.get<uint32_t>())
                                                       : each.dump());
        line += (line.empty() ? "" : "  ") + key + " " + ctlFold(values);
    }
    out << ctlShown(line) << "\n";
}

// The lines of the rows, each of which begins with its name and goes on with its index; ahead of them the heading.
std::vector<std::string> chosenLines(const std::string &text, const ctlJson &rows, bool all)
{
    std::vector<std::string> lines = ctlLinesOf(text), kept;
    if (all)
        return lines;
    std::set<std::string> wanted;
    for (const ctlJson &row : rows) {
        char index[32];
        std::snprintf(index, sizeof index, "\tifindex = 0x%08x,", ctlMember(row, "ifindex"));
        wanted.insert(index);
    }
    bool inside = true;
    for (size_t i = 0; i < lines.size(); i++) {
        if (i + 1 < lines.size() && lines[i + 1].rfind("\tifindex = 0x", 0) == 0)
            inside = wanted.count(lines[i + 1].substr(0, lines[i + 1].find(',') + 1)) != 0;
        if (inside)
            kept.push_back(lines[i]);
    }
    return kept;
}

} // namespace

std::vector<std::string> ctlShowNames()
{
    std::vector<std::string> names;
    for (const table_t &table : TABLES)
        names.push_back(table.name);
    names.push_back("config"); // which tools/config.h prints
    return names;
}

ctlJson ctlShowRows(const std::string &text)
{
    ctlJson rows;
    try {
        rows = ctlParseJson(text);
    } catch (const ctlJson::exception &) {
    } catch (const ctlError_t &) {
    }
    if (!rows.is_array() || !std::all_of(rows.begin(), rows.end(), [](const ctlJson &row) { return row.is_object(); }))
        throw ctlError_t{CTL_FAILED, "the agent's answer is no table in JSON; without -j a table is shown as it is"};
    return rows;
}

ctlJson ctlAskRows(const ctlProcess_t &agent, const std::string &name, double seconds)
{
    return ctlShowRows(askTable(agent, "json " + name, seconds));
}

int ctlShowTable(const std::string &name, const std::vector<std::string> &ports, const ctlShow_t &asked,
                 std::ostream &out)
{
    const ctlProcess_t agent = ctlFindAgent(asked.pid, asked.timeout);
    const auto *table =
        std::find_if(std::begin(TABLES), std::end(TABLES), [&](const table_t &each) { return name == each.name; });
    ctlJson rows;
    if (asked.json || asked.nonzero || !ports.empty())
        rows = chosen(ctlAskRows(agent, name, asked.timeout), ports, asked.nonzero);
    if (asked.json)
        ctlPrintJson(out, rows);
    else if (asked.nonzero)
        for (const ctlJson &row : rows)
            printRow(out, row);
    else
        for (const std::string &line : chosenLines(askTable(agent, table->text, asked.timeout), rows, ports.empty()))
            out << ctlShown(line) << "\n";
    return CTL_DONE;
}
