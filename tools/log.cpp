// SPDX-License-Identifier: Apache-2.0
// Asks for the log of batches and puts it into words.
#include "tools/log.h"

#include <algorithm>
#include <cstdio>

#include "platform/records/frame.h"
#include "tools/error.h"
#include "tools/node.h"
#include "tools/show.h"
#include "tools/text.h"
#include "tools/values.h"
#include "velmar/dce.h"

namespace {

struct command_t {
    uint32_t command;
    const char *name;
};

constexpr command_t commands[] = {
    {DCE_CHIP_CAPABILITY, "chip capability"},
    {DCE_VLAN_CONFIG, "VLAN priority"},
    {DCE_L2_CONFIG, "L2 priority"},
    {DCE_TCAM_CREATE_REGION, "TCAM region"},
    {DCE_TCAM_ADD, "TCAM add"},
    {DCE_TCAM_DELETE, "TCAM delete"},
    {DCE_TCAM_UPDATE, "TCAM update"},
    {DCE_CCB_GET, "congestion read"},
    {DCE_CCB_SET, "congestion setting"},
    {DCE_PORT_COUNTERS, "port counters"},
    {DCE_MCAST_COUNTERS, "multicast queue counters"},
    {DCE_CLEAR_QMG, "multicast queue clear"},
    {DCE_SWM_COUNTERS, "RED counters"},
    {DCE_CLEAR_SWM, "port counter clear"},
    {COS_BULK, "bulk"},
    {COS_CHIP_CAPABILITY, "chip capability"},
    {COS_TMC_INFO, "TMC information"},
    {COS_SCHEDULER, "scheduler"},
    {COS_PORT_SHAPER, "port shaper"},
    {COS_MCAST_QUEUE_MODE, "multicast queue mode"},
    {COS_INGRESS_QUEUE_CHIP, "ingress queues of a chip"},
    {COS_INGRESS_QUEUE_PORT, "ingress queues of a port"},
    {COS_EGRESS_QUEUE_CHIP, "egress queues of a chip"},
    {COS_EGRESS_QUEUE_PORT, "egress queues of a port"},
    {COS_SBP_SIZE, "buffer pool size"},
    {COS_PAUSE, "pause"},
    {COS_PFC, "PFC"},
    {COS_W2Q_MAP, "wire to queue map"},
    {COS_PRI_TAIL_DROP, "tail-drop threshold of a priority"},
    {COS_TAIL_DROP, "tail-drop threshold of a port"},
    {COS_RED_MIRELLE, "RED profile"},
    {COS_INGRESS_BUFFERS_CHIP, "ingress buffers of a chip"},
    {COS_INGRESS_BUFFERS_PORT, "ingress buffers of a port"},
    {COS_EGRESS_BUFFERS_CHIP, "egress buffers of a chip"},
    {COS_EGRESS_BUFFERS_PORT, "egress buffers of a port"},
    {COS_IVQ_RED_MAP, "input VOQ RED map"},
    {COS_VOQ_COUNTERS, "VOQ counters"},
    {COS_EXT_CHIP_CAPABILITY, "extended chip capability"},
    {COS_RED_TESSEL, "RED profile"},
    {COS_DEF_COS, "default CoS and TC"},
    {COS_L3_PRI_MAP, "L3 priority map"},
    {COS_L2_PRI_MAP, "L2 priority map"},
    {COS_DSCP_MAP, "DSCP map"},
    {COS_STATS_READ, "statistics read"},
    {COS_STATS_CLEAR, "statistics clear"},
    {COS_POLICER_PROFILE, "policer profile"},
    {COS_POLICER_ADD, "policer add"},
    {COS_POLICER_REMOVE, "policer remove"},
    {COS_POLICER_ASSOCIATE, "policer associate"},
    {COS_POLICER_DEASSOCIATE, "policer deassociate"},
};

uint64_t number(const ctlJson &row, const char *key)
{
    return row.contains(key) && row[key].is_number_unsigned() ? row[key].get<uint64_t>() : 0;
}

const ctlJson *rowWith(const ctlJson &table, const char *key, int64_t value)
{
    for (const ctlJson &row : table)
        if (row.contains(key) && row[key].is_number_integer() && row[key] == value)
            return &row;
    return nullptr;
}

// What is behind a status that has several reasons, as things stand now.
std::string reasonOf(int32_t status, uint32_t ifindex, const ctlJson &interfaces, const ctlJson &chips)
{
    const std::string several = ctlStatusText(status);
    if ((status != 1 && status != 25) || !interfaces.is_array() || !chips.is_array() || ifindex == 0 ||
        ifindex == QOS_ALL_CHIPS_IFINDEX)
        return several;
    if (ifindex >> 26 == 34)
        return rowWith(chips, "chip", dce_get_flat_chip_id(ifindex)) == nullptr
                   ? "the chip is unknown"
                   : "the chip's family has no such operation or table";
    const ctlJson *port = rowWith(interfaces, "ifindex", ifindex);
    if (port == nullptr)
        return "the port was not announced";
    if (!port->contains("chip") ||
        rowWith(chips, "chip", (*port)["chip"].is_number_integer() ? (*port)["chip"].get<int64_t>() : -1) == nullptr)
        return "the port's chip is unknown";
    return "the family of the port's chip has no such operation or table";
}

ctlJson failureOf(const ctlJson &each, const ctlJson &interfaces, const ctlJson &chips)
{
    const auto code = static_cast<uint8_t>(number(each, "code"));
    const auto ifindex = static_cast<uint32_t>(number(each, "ifindex"));
    const bool has = each.contains("status") && each["status"].is_number_integer();
    std::string text = has ? reasonOf(each["status"].get<int32_t>(), ifindex, interfaces, chips) : "";
    if (number(each, "ack") == 0)
        text = "passed over: its body is too short";
    return {{"name", ctlMessageName(code)},
            {"code", code},
            {"port", ifindex != 0 ? ctlJson(ctlShowInterface(ifindex)) : ctlJson()},
            {"ifindex", ifindex},
            {"seq", number(each, "seq")},
            {"ack", number(each, "ack")},
            {"status", has ? each["status"] : ctlJson()},
            {"text", text}};
}

const ctlJson &listIn(const ctlJson &row, const char *key)
{
    static const ctlJson none = ctlJson::array();
    return row.contains(key) && row[key].is_array() ? row[key] : none;
}

std::string driverText(const ctlJson &each)
{
    const std::string operation = each["operation"].get<std::string>();
    if (each["error"].is_string())
        return operation + ": " + each["error"].get<std::string>();
    return operation + " refused with " + each["number"].dump();
}

void printBatch(const ctlJson &row, std::ostream &out)
{
    const uint64_t failed = row["failed"].get<uint64_t>();
    out << row["time"].get<std::string>() << "  batch " << row["batch"] << "  "
        << ctlShown(row["service"].get<std::string>()) << "  " << ctlCounted(row["messages"].get<uint64_t>(), "message")
        << " from " << row["name"].get<std::string>() << " seq " << row["seq"]
        << (failed == 0 ? "  ok" : "  " + std::to_string(failed) + " failed") << "\n";
    for (const ctlJson &each : row["failures"])
        out << "    " << each["name"].get<std::string>() << "  code " << each["code"]
            << (each["port"].is_string() ? "  " + each["port"].get<std::string>() : "") << "  seq " << each["seq"]
            << (each["status"].is_null() ? "" : "  status " + each["status"].dump()) << "  "
            << each["text"].get<std::string>() << "\n";
    for (const ctlJson &each : row["driver"])
        out << "    driver: " << ctlShown(driverText(each)) << "\n";
}

// A table of the agent, null where it has no time to tell it.
ctlJson tableOf(const ctlProcess_t &agent, const char *name)
{
    try {
        return ctlAskRows(agent, name, 0.5);
    } catch (const ctlError_t &) {
        return {};
    }
}

} // namespace

std::string ctlCommandName(uint32_t command)
{
    for (const command_t &each : commands)
        if (each.command == command)
            return each.name;
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", command);
    return text;
}

ctlJson ctlLogRows(const std::string &answer, const ctlJson &interfaces, const ctlJson &chips)
{
    ctlJson list = ctlJson::array();
    for (const ctlJson &row : ctlShowRows(answer)) {
        ctlJson failures = ctlJson::array(), driver = ctlJson::array();
        for (const ctlJson &each : listIn(row, "failures"))
            failures.push_back(failureOf(each, interfaces, chips));
        for (const ctlJson &each : listIn(row, "refusals")) {
            const auto command = static_cast<uint32_t>(number(each, "command"));
            const bool error = each.contains("error") && each["error"].is_string();
            driver.push_back({{"operation", ctlCommandName(command)},
                              {"command", command},
                              {"number", error ? ctlJson() : ctlJson(number(each, "number"))},
                              {"error", error ? each["error"] : ctlJson()}});
        }
        const auto at = std::chrono::system_clock::time_point(
            std::chrono::milliseconds(std::min<uint64_t>(number(row, "at_ms"), uint64_t{1} << 43)));
        const auto code = static_cast<uint8_t>(number(row, "code"));
        list.push_back(
            {{"time", ctlUtc(at, true)},
             {"batch", number(row, "batch")},
             {"service", row.contains("service") && row["service"].is_string() ? row["service"] : ctlJson("")},
             {"messages", number(row, "messages")},
             {"failed", number(row, "failed")},
             {"name", ctlMessageName(code)},
             {"code", code},
             {"seq", number(row, "seq")},
             {"failures", failures},
             {"driver", driver}});
    }
    return list;
}

int ctlShowLog(const ctlLog_t &asked, std::ostream &out)
{
    const ctlProcess_t agent = ctlFindAgent(asked.pid, asked.timeout);
    const std::string answer = ctlBehindOk(ctlAsk(agent, "log", asked.timeout));
    const bool unclear =
        answer.find("\"status\":1}") != std::string::npos || answer.find("\"status\":25}") != std::string::npos;
    ctlJson rows = ctlLogRows(answer, unclear ? tableOf(agent, "ports") : ctlJson(),
                              unclear ? tableOf(agent, "chips") : ctlJson());
    if (asked.failed)
        rows.erase(std::remove_if(rows.begin(), rows.end(),
                                  [](const ctlJson &row) { return row["failed"] == 0 && row["driver"].empty(); }),
                   rows.end());
    if (rows.size() > asked.batches)
        rows.erase(rows.begin(), rows.end() - static_cast<std::ptrdiff_t>(asked.batches));
    if (asked.json)
        ctlPrintJson(out, rows);
    else
        for (const ctlJson &row : rows)
            printBatch(row, out);
    return CTL_DONE;
}
