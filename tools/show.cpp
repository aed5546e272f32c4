// SPDX-License-Identifier: Apache-2.0
// The tables of dorvctl show: names, and what the control socket's cli calls them.
#include "tools/show.h"

#include <algorithm>
#include <iterator>

#include "tools/error.h"
#include "tools/text.h"

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

int ctlShowTable(const std::string &name, const ctlShow_t &asked, std::ostream &out)
{
    const ctlProcess_t agent = ctlFindAgent(asked.pid, asked.timeout);
    if (asked.json) {
        ctlPrintJson(out, ctlAskRows(agent, name, asked.timeout));
        return CTL_DONE;
    }
    const auto *table =
        std::find_if(std::begin(TABLES), std::end(TABLES), [&](const table_t &each) { return name == each.name; });
    for (const std::string &line : ctlLinesOf(askTable(agent, table->text, asked.timeout)))
        out << ctlShown(line) << "\n";
    return CTL_DONE;
}
