// SPDX-License-Identifier: Apache-2.0
// send, apply, watch and decode, once their arguments are read.
#include "tools/commands.h"

#include <ctime>
#include <poll.h>
#include <unistd.h>

#include "tools/error.h"
#include "tools/link.h"
#include "tools/report.h"
#include "tools/text.h"
#include "tools/values.h"

namespace {

// Numbers that managers at work on one node at the same time are unlikely to share.
uint8_t firstSequence(const ctlOptions_t &options)
{
    if (options.seq >= 0)
        return static_cast<uint8_t>(options.seq);
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint8_t>(getpid() * 31 + now.tv_nsec / 1000);
}

bool isQuery(const ctlMessage_t &message)
{
    return ctlMessageName(message.code).find("_GET_") != std::string::npos;
}

ctlJson listOf(const std::vector<ctlMessage_t> &messages)
{
    ctlJson list = ctlJson::array();
    for (const ctlMessage_t &message : messages)
        list.push_back(ctlMessageJson(message));
    return list;
}

// Text goes to `out` at once, JSON into `list`.
void printDryRun(const ctlOptions_t &options, const std::vector<ctlMessage_t> &batch, size_t number, ctlJson &list,
                 std::ostream &out)
{
    const ctlBytes bytes = ctlEncode(batch);
    const std::string hex = ctlFormatHex(bytes.data(), bytes.size());
    if (options.json) {
        list.push_back({{"batch", number}, {"bytes", bytes.size()}, {"hex", hex}, {"messages", listOf(batch)}});
        return;
    }
    out << "batch " << number << ": " << ctlCounted(batch.size(), "message") << ", " << bytes.size() << " bytes\n";
    for (const ctlMessage_t &message : batch)
        ctlPrintMessage(out, message, options.verbose);
    out << hex << "\n";
}

// Says why a message of an echo was passed over, which its fields cannot show.
void explainUnacknowledged(const ctlMessage_t &message, std::ostream &err)
{
    ctlComplain(err, ctlMessageName(message.code) + " was not carried out: the agent found its body of " +
                         std::to_string(message.body.size()) + " bytes too short (it needs " +
                         std::to_string(qosMsgInfo(message.code)->min_len) + ", and what its counts say)");
}

int reportEcho(const ctlOptions_t &options, const ctlEcho_t &echo, size_t number, ctlJson &list, std::ostream &out,
               std::ostream &err)
{
    int result = echo.fault.empty() ? CTL_DONE : CTL_SILENT;
    for (const ctlMessage_t &message : echo.messages) {
        if (!ctlSucceeded(message))
            result = CTL_FAILED;
        if (message.ack == 0)
            explainUnacknowledged(message, err);
    }
    if (!echo.fault.empty())
        ctlComplain(err, "batch " + std::to_string(number) + ": " + echo.fault);
    if (options.json) {
        list.push_back({{"batch", number},
                        {"echo", echo.fault.empty()},
                        {"exit", result},
                        {"error", echo.fault},
                        {"messages", listOf(echo.messages)}});
        return result;
    }
    for (const ctlMessage_t &message : echo.messages)
        ctlPrintMessage(out, message, options.verbose || isQuery(message));
    out.flush();
    return result;
}

// One message that came by itself. Slot 0 is a sender that is no line card.
void reportSpontaneous(const ctlOptions_t &options, unsigned slot, const ctlMessage_t &message, std::ostream &out)
{
    if (options.json) {
        ctlJson json = {{"slot", slot}};
        json.update(ctlMessageJson(message));
        json["time"] = ctlUtc(std::chrono::system_clock::now(), true);
        ctlPrintJson(out, json);
        return;
    }
    out << ctlUtc() << "  slot " << slot << "  ";
    ctlPrintMessage(out, message, true);
    out.flush();
}

} // namespace

int ctlSendBatches(const ctlOptions_t &options, std::vector<std::vector<ctlMessage_t>> batches, std::ostream &out,
                   std::ostream &err)
{
    uint8_t next = firstSequence(options);
    for (std::vector<ctlMessage_t> &batch : batches) {
        ctlNumber(batch, next);
        ctlEncode(batch); // nothing is sent if one of them is too large
    }
    ctlJson list = ctlJson::array();
    int worst = CTL_DONE;
    if (options.dry_run) {
        for (size_t i = 0; i < batches.size(); i++)
            printDryRun(options, batches[i], i + 1, list, out);
    } else {
        ctlLink_t link = ctlOpenLink(options.service);
        for (size_t i = 0; i < batches.size() && worst != CTL_SILENT; i++) {
            const ctlEcho_t echo = ctlExchange(link, options.slot, batches[i], options.timeout);
            worst = std::max(worst, reportEcho(options, echo, i + 1, list, out, err));
        }
        ctlCloseLink(link);
    }
    if (options.json)
        ctlPrintJson(out, list);
    return worst;
}

namespace {

// Who watches may come ahead of the node, and leaves it to the node to make the run directory. False if none came.
bool awaitNode(ctlClock::time_point deadline, std::ostream &err)
{
    constexpr int LOOK_MS = 20;
    std::string none = ctlNoRunDir(true);
    if (!none.empty())
        ctlComplain(err, none + "; this waits for one");
    for (; !none.empty(); none = ctlNoRunDir(true)) {
        if (ctlInterrupted() || ctlClock::now() >= deadline)
            return false;
        poll(nullptr, 0, LOOK_MS);
    }
    return true;
}

} // namespace

int ctlWatchAgents(const ctlOptions_t &options, const ctlWatch_t &watch, std::ostream &out, std::ostream &err)
{
    const auto deadline = ctlDeadline(watch.timeout > 0 ? watch.timeout : 1e8);
    unsigned seen = 0;
    bool late = !awaitNode(deadline, err);
    ctlLink_t link = late ? ctlLink_t{-1, options.service} : ctlOpenLink(options.service, true);
    for (; !late && (watch.count == 0 || seen < watch.count); late = ctlClock::now() >= deadline) {
        const ctlReceived_t received = ctlReceive(link, deadline);
        if (received.kind == ctlReceived_t::Nothing)
            break;
        if (received.kind == ctlReceived_t::Notice)
            continue;
        const ctlDecoded_t decoded = ctlDecode(received.bytes);
        // An agent starts messages one at a time and leaves number and ack 0. A batch with an acknowledged message is
        // an echo, also where one of it was too short to be acknowledged.
        bool echo = decoded.messages.size() != 1;
        for (const ctlMessage_t &message : decoded.messages)
            echo = echo || message.ack != 0 || message.seq != 0;
        if (echo && !watch.all)
            continue;
        for (const ctlMessage_t &message : decoded.messages)
            reportSpontaneous(options, ctlSlotOf(received.from), message, out);
        if (!decoded.fault.empty())
            ctlComplain(err, "slot " + std::to_string(ctlSlotOf(received.from)) + ": " + decoded.fault);
        seen += static_cast<unsigned>(decoded.messages.size());
    }
    ctlCloseLink(link);
    if (seen >= watch.count)
        return CTL_DONE;
    ctlComplain(err, std::to_string(seen) + " of " + std::to_string(watch.count) + " messages came");
    return CTL_SILENT;
}

int ctlDecodeBatch(const ctlOptions_t &options, const std::string &hex, std::ostream &out, std::ostream &err)
{
    const ctlDecoded_t decoded = ctlDecode(ctlParseHex(hex));
    if (options.json)
        ctlPrintJson(out, listOf(decoded.messages));
    else
        for (const ctlMessage_t &message : decoded.messages)
            ctlPrintMessage(out, message, true);
    if (decoded.fault.empty())
        return CTL_DONE;
    ctlComplain(err, decoded.fault);
    return CTL_FAILED;
}
