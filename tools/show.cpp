// The tables of dorvctl show. Three of them are parts of what one printing function prints.
#include "tools/show.h"

#include <algorithm>
#include <iterator>

#include "tools/error.h"
#include "tools/node.h"
#include "tools/show_lines.h"
#include "tools/text.h"

namespace {

using lines_t = std::vector<std::string>;
using enum ctlTimes_t;

// The lines [from, to) of all that were printed.
struct part_t {
    size_t from, to;
};

constexpr const char *INTERFACES_HEAD = "Interface Name  ifIndex    ChipId     ChipIfIndex";

// A name from the manager may look like anything, but interfaces come last.
size_t interfacesAt(const lines_t &lines)
{
    return static_cast<size_t>(std::find(lines.begin(), lines.end(), INTERFACES_HEAD) - lines.begin());
}

size_t chipsAt(const lines_t &lines)
{
    const auto end = lines.begin() + static_cast<std::ptrdiff_t>(interfacesAt(lines));
    const auto isChip = [](const std::string &line) { return line.rfind("Chip ", 0) == 0; };
    return static_cast<size_t>(std::find_if(lines.begin(), end, isChip) - lines.begin());
}

part_t slotsPart(const lines_t &lines)
{
    return {0, chipsAt(lines)};
}

part_t chipsPart(const lines_t &lines)
{
    return {chipsAt(lines), interfacesAt(lines)};
}

part_t interfacesPart(const lines_t &lines)
{
    return {interfacesAt(lines), lines.size()};
}

part_t allLines(const lines_t &lines)
{
    return {0, lines.size()};
}

const std::vector<ctlLine_t> SLOT = {
    {"SlotID : {slot}"},
    {"\tState = {state}"},
    {"\tAgent Registration = {registered}"},
    {"\tNum Upd Entries = {updates}"},
    {"\tNum Pending Entries = {pending}"},
    {"\tNum update buffer full = {buffer_full}"},
};

const std::vector<ctlLine_t> CHIP = {
    {"Chip {chip} ({slot}/{chip_in_slot}):"},
    {"\tChip Type = {type}"},
    {"\tChip Rev = {revision}"},
    {"\tNum of Ports per chip = {ports}"},
    {"\tTMC Chip ID = {tmc_chip}"},
    {"\tNumber of Ingress Policers = {ingress_policers}"},
    {"\tNumber of Egress Policers = {egress_policers}"},
    {"\tIngress infinite policer id = {ingress_infinite_policer}"},
    {"\tEgress infinite policer id = {egress_infinite_policer}"},
    {"\tNum of policer profiles = {policer_profiles}"},
    {""},
    {"\tNum of chip buffers = {chip_buffers}"},
    {"\tNum of port buffers = {port_buffers}"},
    {"\tbuffer status = {buffer_status}"},
};

const std::vector<ctlLine_t> INTERFACE = {
    {"{name$}"},
    {"\tifindex = {ifindex}, ChipId = {chip}, Chip IfIndex = {chip_ifindex}"},
    {"\tL2 Pri Info:"},
    {"\t\tl2PriFlags = {l2_flags}"},
    {"\t\tdef_cos = {def_cos}, def_tc = {def_tc}, def_cos_status = {def_cos_status}"},
    {"\t\tcos_trust = {cos_trust}, cos_trust_status = {cos_trust_status}"},
    {"\t\tcos_trust_handle[{}] =  {cos_trust_handles$}", Many},
    {"\t\tCoS Mutation Map applied = {cos_mutation_map$}", Optional},
    {"\t\tCoS Map:"},
    {"\t\tIn Cos: {}"},
    {"\t\tOut Cos: {cos_map$}", Eight},
    {"\t\tCoS Map Status = {cos_map_status}"},
    {"\t\tCoS TC Mutation Map applied = {cos_tc_mutation_map$}", Optional},
    {"\t\tCos: {}"},
    {"\t\tTC: {cos_tc_map$}", Eight},
    {"\t\tCoS TC Map Status = {cos_tc_map_status}"},
    {"\tL3 Pri Info:"},
    {"\t\tl3PriFlags = {l3_flags}"},
    {"\t\tdscp trust = {dscp_trust}, dscp trust_status = {dscp_trust_status}"},
    {"\t\tdscp_trust_handle[{}] =  {dscp_trust_handles$}", Many},
    {"\t\tDSCP Mutation Map applied = {dscp_mutation_map$}", Optional},
    {"\t\tDSCP Map:"},
    {"{dscp_map}", Dscp},
    {"\t\tDSCP Map Status = {dscp_map_status}"},
    {"\t\tDSCP CoS Mutation Map applied = {dscp_cos_mutation_map$}", Optional},
    {"\t\tDSCP CoS Map:"},
    {"CoS {dscp_cos_map}", Dscp},
    {"\t\tDSCP CoS Map Status = {dscp_cos_map_status}"},
    {"\t\tDSCP TC Mutation Map applied = {dscp_tc_mutation_map$}", Optional},
    {"\t\tDSCP TC Map:"},
    {"TC {dscp_tc_map}", Dscp},
    {"\t\tDSCP TC Map Status = {dscp_tc_map_status}"},
};

const std::vector<ctlLine_t> MI = {
    {"\tMsg Sent           = {sent}"},           {"\tMsg Rcvd           = {received}"},
    {"\tMsg Send errors    = {send_errors}"},    {"\tEINTR errors       = {interrupted}"},
    {"\tEWOULDBLOCK errors = {would_block}"},    {"\tRcv Timeout errors = {receive_timeouts}"},
    {"\tRcv message errros = {receive_errors}"}, {"\tRcv EOF            = {end_of_file}"},
};

const std::vector<ctlLine_t> QUEUE = {
    {"queue name: {name$}, high water: {high_water}"},
    {"Task Queuing     : {} (do not support MSG_Q_PRIORITY)"},
    {"Message Byte Len : {message_bytes}"},
    {"Messages Max     : {messages_max}"},
    {"Messages Queued  : {messages_queued}"},
};

struct table_t {
    const char *name;
    const char *command;                  // of the control socket's cli
    part_t (*part)(const lines_t &);      // what of its output is the table
    size_t heads;                         // lines of it that no record has
    const std::vector<ctlLine_t> *record; // null for one that its rows function takes apart
};

constexpr const char *IF_TABLE = "show dorvmd interface all";
const table_t TABLES[] = {
    {"slots", IF_TABLE, slotsPart, 0, &SLOT},
    {"chips", IF_TABLE, chipsPart, 0, &CHIP},
    {"interfaces", IF_TABLE, interfacesPart, 1, &INTERFACE},
    {"memory", "show dorvmd memory statistics", allLines, 0, nullptr},
    {"mi", "show dorvmd mi statistics", allLines, 0, &MI},
    {"vss", "show qos vss", allLines, 0, nullptr},
    {"queue", "show qos msgq", allLines, 1, &QUEUE},
};

const table_t &tableOf(const std::string &name)
{
    return *std::find_if(std::begin(TABLES), std::end(TABLES),
                         [&](const table_t &table) { return name == table.name; });
}

lines_t linesOf(const table_t &table, const lines_t &printed)
{
    const part_t part = table.part(printed);
    return {printed.begin() + static_cast<std::ptrdiff_t>(part.from),
            printed.begin() + static_cast<std::ptrdiff_t>(part.to)};
}

// A row for each module and type. A module is a name, two lines above its types, and the types.
ctlJson memoryRows(const lines_t &lines)
{
    const std::vector<ctlLine_t> module = {{"{module$}"},
                                           {"MemType Num-Allocs Num-Frees Bytes-Allocd Errors"},
                                           {"===================================================="}};
    ctlJson rows = ctlJson::array();
    for (size_t at = 0; at < lines.size();) {
        const ctlJson head = ctlTakeRecord(module, lines, at);
        ctlJson row = head;
        for (; at < lines.size() && ctlTakeLine("{type} {allocations} {frees} {bytes} {errors}", lines[at], row);
             at++) {
            rows.push_back(row);
            row = head;
        }
    }
    return rows;
}

// "Startup" stands there at stage Active alone, on the same line.
ctlJson vssRows(const lines_t &lines)
{
    ctlJson row;
    size_t at = 0;
    row = ctlTakeRecord({{"QOS VelmarOS State Synchronization summary:"}, {"    VSS HA {ha}"}}, lines, at);
    row["stage"] = nullptr;
    row["startup"] = nullptr;
    if (at + 1 == lines.size() && ctlTakeLine("    Stage: {stage$}, Startup: {startup$}", lines[at], row))
        return ctlJson::array({row});
    row.update(ctlTakeRecord({{"    Stage: {stage$}"}}, lines, at));
    return ctlJson::array({row});
}

} // namespace

std::vector<std::string> ctlShowNames()
{
    lines_t names;
    for (const table_t &table : TABLES)
        names.push_back(table.name);
    return names;
}

ctlJson ctlShowRows(const std::string &name, const std::vector<std::string> &printed)
{
    const table_t &table = tableOf(name);
    const lines_t lines = linesOf(table, printed);
    if (name == "memory")
        return memoryRows(lines);
    if (name == "vss")
        return vssRows(lines);
    ctlJson rows = ctlJson::array();
    for (size_t at = table.heads; at < lines.size();)
        rows.push_back(ctlTakeRecord(*table.record, lines, at));
    return rows;
}

int ctlShowTable(const std::string &name, const ctlShow_t &asked, std::ostream &out)
{
    const table_t &table = tableOf(name);
    const std::string command = std::string("cli ") + table.command;
    const ctlProcess_t agent = ctlFindAgent(asked.pid, asked.timeout);
    const lines_t printed = ctlAskLines(agent, command, asked.timeout);
    if (asked.json)
        ctlPrintJson(out, ctlShowRows(name, printed));
    else
        for (const std::string &line : linesOf(table, printed))
            out << ctlShown(line) << "\n";
    return CTL_DONE;
}
