// SPDX-License-Identifier: Apache-2.0
// What the page says: a row for each figure gives where it is found, its name, unit and help.
#include "tools/metrics.h"

#include <algorithm>
#include <map>
#include <vector>

#include "tools/drops.h"
#include "tools/error.h"
#include "tools/link.h"
#include "tools/log.h"
#include "tools/node.h"
#include "tools/show.h"
#include "tools/text.h"
#include "tools/values.h"
#include "velmar/version.h"

namespace {

constexpr int SHARES = 4; // of the time, one for an agent that does not answer

struct metric_t {
    const char *name; // without dorvald_ ahead of it; the unit is its end
    const char *unit; // empty for none
    bool counter;
    const char *help;
};

constexpr bool COUNTER = true, GAUGE = false;

constexpr metric_t up = {"up", "", GAUGE, "1 if the node's only or active agent answers."},
                   statistics_up = {"statistics_up", "", GAUGE,
                                    "1 if every request for statistics of this collection was answered."},
                   statistics_failed = {"statistics_failed", "", GAUGE,
                                        "Ports and kinds of statistics that this collection could not read."},
                   collection = {"collection_seconds", "seconds", GAUGE, "How long this collection took."},
                   exporter_info = {"exporter_info", "", GAUGE, "The exporter's version."},
                   agents = {"agents", "", GAUGE, "Agents on this node by role; those that do not answer are silent."},
                   agent_info = {"agent_info", "", GAUGE, "Role, stage, service, machine and version of an agent."},
                   active = {"active", "", GAUGE, "1 if the agent is the active one."},
                   mirrored = {"mirrored", "", GAUGE,
                               "1 if an active agent has a standby with its state, or a standby a complete copy."},
                   mirror_trouble = {"mirror_trouble", "", GAUGE, "1 if something kept a copy from being followed."},
                   driver_up = {"driver_up", "", GAUGE, "1 if the driver answers; absent until it was asked."},
                   driver_error = {"driver_last_error_info", "", GAUGE,
                                   "The last error that the driver's socket gave."},
                   failed = {"failed_messages", "", COUNTER,
                             "Messages that failed, in the batch log since the exporter began."},
                   refusals = {"driver_refusals", "", COUNTER,
                               "Requests that the driver refused, in the batch log since the exporter began."},
                   reasons = {"port_dropped_for_reason_frames", "frames", COUNTER,
                              "Frames that the port dropped, by the chip's reason."};

// Figures as they stand in an agent's answer.
struct member_t {
    const char *key;
    metric_t metric;
};

constexpr member_t statMembers[] = {
    {"stage", {"stage", "", GAUGE, "The agent's stage by its number."}},
    {"since", {"role_age_seconds", "seconds", GAUGE, "Since when the agent has its role."}},
    {"standbys", {"standbys", "", GAUGE, "Standbys that the agent mirrors to."}},
    {"blocks", {"store_blocks", "", GAUGE, "Blocks in the replicated store."}},
    {"bytes", {"store_bytes", "bytes", GAUGE, "Size of the replicated store."}},
    {"syncs", {"store_syncs", "", COUNTER, "Changes given to the replicated store."}},
    {"refused", {"refused_senders", "", COUNTER, "Datagrams and connections of users who are not let in."}},
    {"driver_since", {"driver_state_age_seconds", "seconds", GAUGE, "Since when the driver answers or is lost."}},
    {"driver_pending",
     {"driver_pending_seconds", "seconds", GAUGE,
      "How long the agent has waited for an answer; absent if it does not."}},
    {"driver_error_since",
     {"driver_error_age_seconds", "seconds", GAUGE, "Since the driver's last error; absent if none."}},
};

constexpr member_t channelMembers[] = {
    {"sent", {"manager_sent_datagrams", "", COUNTER, "Datagrams sent to managers."}},
    {"received", {"manager_received_datagrams", "", COUNTER, "Datagrams received from managers."}},
    {"send_errors", {"manager_send_errors", "", COUNTER, "Sends to managers that failed."}},
    {"interrupted", {"manager_interrupted", "", COUNTER, "Calls of the manager channel that a signal interrupted."}},
    {"would_block", {"manager_would_block", "", COUNTER, "Calls of the manager channel that found nothing to do."}},
    {"receive_timeouts", {"manager_receive_timeouts", "", COUNTER, "Receives of the manager channel that timed out."}},
    {"receive_errors", {"manager_receive_errors", "", COUNTER, "Receives of the manager channel that failed."}},
    {"end_of_file", {"manager_end_of_file", "", COUNTER, "Ends of file on the manager channel."}},
};

// Figures of a queue and of its port, by their column.
struct column_t {
    ctlDropColumn_t column;
    metric_t queue, port;
};

constexpr column_t columns[] = {
    {CTL_USED,
     {"queue_used_bytes", "bytes", GAUGE, "Bytes in the queue."},
     {"port_used_bytes", "bytes", GAUGE, "Bytes in the port's queues."}},
    {CTL_BOUND,
     {"queue_bound_bytes", "bytes", GAUGE, "Bytes that the queue may hold."},
     {"port_bound_bytes", "bytes", GAUGE, "Bytes that the port may hold."}},
    {CTL_FULL,
     {"queue_full", "", GAUGE, "1 if the queue takes no more."},
     {"port_full", "", GAUGE, "1 if the port takes no more."}},
    {CTL_TAIL,
     {"queue_tail_dropped_frames", "frames", COUNTER, "Frames that found the queue full."},
     {"port_tail_dropped_frames", "frames", COUNTER, "Frames that found a queue of the port full."}},
    {CTL_RED,
     {"queue_red_dropped_frames", "frames", COUNTER, "Frames that RED dropped in the queue."},
     {"port_red_dropped_frames", "frames", COUNTER, "Frames that RED dropped on the port."}},
    {CTL_DROPS,
     {"queue_dropped_frames", "frames", COUNTER, "Frames dropped in the queue, tail and RED."},
     {"port_dropped_frames", "frames", COUNTER, "Frames dropped on the port, tail and RED."}},
    {CTL_PAUSE_SENT,
     {"queue_pause_sent_frames", "frames", COUNTER, "PFC frames sent for the priority."},
     {"port_pause_sent_frames", "frames", COUNTER, "Pause and PFC frames that the port sent."}},
    {CTL_PAUSE_RECEIVED,
     {"queue_pause_received_frames", "frames", COUNTER, "PFC frames received for the priority."},
     {"port_pause_received_frames", "frames", COUNTER, "Pause and PFC frames that the port received."}},
    {CTL_SENT,
     {"queue_sent_bytes", "bytes", COUNTER, "Bytes sent from the queue."},
     {"port_sent_bytes", "bytes", COUNTER, "Bytes that the port sent."}},
    {CTL_RECEIVED,
     {"queue_received_bytes", "bytes", COUNTER, "Bytes received in the priority."},
     {"port_received_bytes", "bytes", COUNTER, "Bytes that the port received."}},
};

// ---- The page

using labels_t = std::vector<std::pair<const char *, std::string>>;

std::string labelsText(const labels_t &labels)
{
    std::string text;
    for (const auto &[name, value] : labels) {
        text += (text.empty() ? "{" : ",") + std::string(name) + "=\"";
        for (const char c : ctlShown(value)) {
            if (c == '\\' || c == '"')
                text += '\\';
            text += c;
        }
        text += '"';
    }
    return text.empty() ? "" : text + "}";
}

// Samples by figure, each with its labels once; what is added to one again is summed up.
class page_t {
public:
    void add(const metric_t &metric, const labels_t &labels, uint64_t value)
    {
        found(metric).values[labelsText(labels)] += value;
    }
    void set(const metric_t &metric, double value) { found(metric).real = std::to_string(value); }

    std::string text(bool open) const
    {
        std::string text;
        for (const family_t &family : families_) {
            const std::string name = std::string("dorvald_") + family.metric->name,
                              sample = name + (family.metric->counter ? "_total" : ""),
                              head = " " + (open ? name : sample) + " ";
            text += "# HELP" + head + family.metric->help + "\n";
            text += "# TYPE" + head + (family.metric->counter ? "counter" : "gauge") + "\n";
            if (open && *family.metric->unit != '\0')
                text += "# UNIT" + head + family.metric->unit + "\n";
            if (!family.real.empty())
                text += sample + " " + family.real + "\n";
            for (const auto &[labels, value] : family.values)
                text += sample + labels + " " + std::to_string(value) + "\n";
        }
        return text + (open ? "# EOF\n" : "");
    }

private:
    struct family_t {
        const metric_t *metric;
        std::map<std::string, uint64_t> values{};
        std::string real{};
    };
    family_t &found(const metric_t &metric)
    {
        const auto at = std::find_if(families_.begin(), families_.end(),
                                     [&](const family_t &family) { return family.metric == &metric; });
        return at != families_.end() ? *at : families_.emplace_back(family_t{&metric});
    }
    std::vector<family_t> families_;
};

// ---- What is asked

std::string textIn(const ctlJson &row, const char *key)
{
    return row.contains(key) && row[key].is_string() ? row[key].get<std::string>() : "";
}

void addMembers(page_t &page, std::span<const member_t> members, const labels_t &labels, const ctlJson &row)
{
    for (const member_t &member : members)
        if (row.contains(member.key) && row[member.key].is_number_unsigned())
            page.add(member.metric, labels, row[member.key].get<uint64_t>());
}

void addAgent(page_t &page, const std::string &pid, const ctlJson &row)
{
    if (row.contains("error")) {
        page.add(agents, {{"role", "silent"}}, 1);
        return;
    }
    const labels_t labels = {{"pid", pid}};
    const std::string role = textIn(row, "role"), driver = textIn(row, "driver");
    page.add(agents, {{"role", role}}, 1);
    page.add(agent_info,
             {{"pid", pid},
              {"role", role},
              {"stage", textIn(row, "stage_name")},
              {"service", textIn(row, "service")},
              {"host", textIn(row, "host")},
              {"version", textIn(row, "version")}},
             1);
    page.add(active, labels, role == "active");
    page.add(mirrored, labels,
             role == "active" ? row.contains("standbys") && row["standbys"] != 0
                              : textIn(row, "mirror") == "a complete copy");
    page.add(mirror_trouble, labels, !textIn(row, "mirror_trouble").empty());
    if (driver == "answers" || driver == "lost")
        page.add(driver_up, labels, driver == "answers");
    if (!textIn(row, "driver_error").empty())
        page.add(driver_error, {{"pid", pid}, {"error", textIn(row, "driver_error")}}, 1);
    addMembers(page, statMembers, labels, row);
}

// The agent that the node's figures come from: the only one, or the only active one. Nothing if it does not answer.
std::optional<ctlProcess_t> addAgents(page_t &page, double seconds)
{
    const std::vector<ctlProcess_t> processes = ctlProcesses("dorvald");
    const std::vector<ctlJson> rows = ctlStatRows(processes, seconds / SHARES);
    std::vector<ctlProcess_t> meant;
    for (size_t i = 0; i < rows.size(); i++) {
        addAgent(page, processes[i].pid, rows[i]);
        if (!rows[i].contains("error") && (rows.size() == 1 || textIn(rows[i], "role") == "active"))
            meant.push_back(processes[i]);
    }
    return meant.size() == 1 ? std::optional(meant[0]) : std::nullopt;
}

// The log is what the agent still has of it: batches that are new since the last time are added to what was counted.
void addLog(ctlCollector_t &collector, const ctlProcess_t &agent, double seconds)
{
    const ctlJson rows = ctlLogRows(ctlBehindOk(ctlAsk(agent, "log", seconds)), {}, {});
    if (collector.pid != agent.pid)
        collector.batch = 0;
    collector.pid = agent.pid;
    for (const ctlJson &row : rows)
        if (row["batch"] > collector.batch) {
            collector.batch = row["batch"].get<uint64_t>();
            collector.failed += collector.first ? 0 : row["failed"].get<uint64_t>();
            collector.refusals += collector.first ? 0 : row["driver"].size();
        }
}

void addTable(page_t &page, const ctlStatsTable_t &table)
{
    const std::string port = ctlShowInterface(table.ifindex);
    if (!table.fault.empty()) {
        page.add(statistics_failed, {}, 1);
        return;
    }
    for (const ctlStatsRow_t &row : table.rows) {
        if (table.view != &ctlDropsView) {
            if (row.label.rfind("total ", 0) != 0) // sums of the others
                page.add(reasons, {{"port", port}, {"reason", row.label}}, row.cells[0].value.value_or(0));
            continue;
        }
        const bool whole = row.label == "port";
        for (const column_t &each : columns)
            if (const auto &value = row.cells[each.column].value)
                page.add(whole ? each.port : each.queue,
                         whole ? labels_t{{"port", port}} : labels_t{{"port", port}, {"queue", row.label}}, *value);
    }
}

// Whether all was answered.
bool addStatistics(page_t &page, unsigned slot, const ctlProcess_t &agent, ctlClock::time_point deadline)
{
    std::vector<std::string> ports;
    for (const uint32_t port : ctlListedPorts(ctlAskRows(agent, "ports", ctlLeft(deadline))))
        ports.push_back(ctlShowInterface(port));
    page.add(statistics_failed, {}, 0);
    if (ports.empty())
        return true;
    const std::vector<ctlStatsQuery_t> queries = ctlPlanDrops(ports, ctlLeft(deadline));
    const ctlStatsReading_t reading = ctlReadDrops(slot, queries, ctlLeft(deadline));
    for (const ctlStatsTable_t &table : reading.tables)
        addTable(page, table);
    return reading.fault.empty();
}

// Takes a step whose failure is no more than figures that are left out: whether it went well.
template <typename Step>
bool attempt(const Step &step)
{
    try {
        return step();
    } catch (const ctlError_t &) {
        return false;
    }
}

} // namespace

std::string ctlMetricsPage(ctlCollector_t &collector, bool open_metrics)
{
    page_t page;
    const auto begun = ctlClock::now(), deadline = ctlDeadline(collector.timeout);
    std::optional<ctlProcess_t> agent;
    page.add(up, {}, 0);
    page.add(exporter_info, {{"version", VELMAR_VERSION}}, 1);
    for (const char *role : {"active", "standby", "silent"})
        page.add(agents, {{"role", role}}, 0);
    (void)attempt([&] {
        agent = addAgents(page, collector.timeout);
        return true;
    });
    bool complete = false;
    if (agent) {
        page.add(up, {}, 1);
        (void)attempt([&] {
            addLog(collector, *agent, ctlLeft(deadline));
            return true;
        });
        complete = attempt([&] {
            addMembers(page, channelMembers, {}, ctlAskRows(*agent, "mi", ctlLeft(deadline)).at(0));
            return addStatistics(page, collector.slot, *agent, deadline);
        });
    }
    collector.first = false;
    page.add(failed, {}, collector.failed);
    page.add(refusals, {}, collector.refusals);
    page.add(statistics_up, {}, complete);
    page.set(collection, std::chrono::duration<double>(ctlClock::now() - begun).count());
    return page.text(open_metrics);
}
