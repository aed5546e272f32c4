// SPDX-License-Identifier: Apache-2.0
// The node is captured by a process of its own while this one plays the manager, and two captures are compared: what
// the manager sent, what came back, and what the driver was asked in between. What agents do by themselves is left out,
// timers and events of the driver, since nothing in a capture makes them come again.
#include "tools/replay.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "hsl/commands.h"
#include "platform/records/frame.h"
#include "tools/batch.h"
#include "tools/capture.h"
#include "tools/error.h"
#include "tools/link.h"
#include "tools/pcapng.h"
#include "tools/report.h"
#include "tools/text.h"
#include "velmar/mi6.h"

namespace {

constexpr size_t LONGEST_FILE = 1 << 30;
constexpr double JOIN_SECONDS = 10; // until the agent's sockets are captured

// A batch of the manager's, its echo, and what the driver was asked between the two.
struct exchange_t {
    uint64_t time_ns;
    std::string service;
    unsigned slot;
    ctlBytes batch;
    std::vector<ctlMessage_t> sent = {}, echo = {}; // both empty if the batch is none, or was not echoed
    std::vector<ctlBytes> requests = {};            // from the driver's header on
};

struct recording_t {
    std::vector<exchange_t> exchanges;
    bool has_driver = false;
};

struct difference_t {
    size_t batch; // from 1
    std::string what, field;
    ctlJson recorded, now;
};

// ---- What a capture tells

// "qosMI.lc1.4711", the socket of a service on a slot: in the name of its interface in the capture.
bool readService(const std::string &interface, exchange_t *to)
{
    const size_t begin = interface.rfind(' ') + 1, dot = interface.find('.', begin);
    if (dot == std::string::npos || interface.compare(dot, 3, ".lc") != 0)
        return false;
    to->service = interface.substr(begin, dot - begin);
    const size_t digits = dot + 3, end = interface.find('.', digits);
    to->slot = static_cast<unsigned>(ctlParseNumber(interface.substr(digits, end - digits), 16).value_or(0));
    return to->slot > 0;
}

void takeMi(recording_t &recording, const pcapngRead_t &packet)
{
    const auto begin = packet.bytes.begin() + std::min(packet.bytes.size(), sizeof(mi6_addr_t));
    exchange_t found = {packet.time_ns, "", 0, {begin, packet.bytes.end()}};
    ctlDecoded_t decoded = ctlDecode(found.batch);
    if (!decoded.fault.empty() || !readService(packet.interface, &found))
        decoded.messages.clear();
    if (!packet.outbound) {
        found.sent = std::move(decoded.messages);
        recording.exchanges.push_back(std::move(found));
        return;
    }
    for (auto each = recording.exchanges.rbegin(); each != recording.exchanges.rend(); ++each) {
        if (each->echo.empty() && each->service == found.service && !each->sent.empty() &&
            ctlIsEcho(each->sent, decoded.messages)) {
            each->echo = std::move(decoded.messages);
            return;
        }
    }
}

void takeDriver(recording_t &recording, const pcapngRead_t &packet)
{
    recording.has_driver = true;
    if (packet.outbound && packet.bytes.size() > NL_RECORD_OFFSET && !recording.exchanges.empty() &&
        recording.exchanges.back().echo.empty())
        recording.exchanges.back().requests.emplace_back(packet.bytes.begin() + sizeof(qosNLHdr_t), packet.bytes.end());
}

recording_t recordingOf(int fd, const std::string &name, std::ostream &err)
{
    std::string fault;
    const std::optional<std::string> text = ctlReadAll(fd, LONGEST_FILE, fault);
    if (!text)
        ctlRefuse(name + ": " + fault);
    const std::vector<pcapngRead_t> packets =
        pcapngRead({reinterpret_cast<const uint8_t *>(text->data()), text->size()}, fault);
    if (!fault.empty() && packets.empty())
        ctlRefuse(name + ": " + fault);
    if (!fault.empty())
        ctlComplain(err, name + ": " + fault + ", what is ahead of that is taken");
    recording_t recording;
    for (const pcapngRead_t &packet : packets) {
        const bool refused = packet.comment.find("; refused: ") != std::string::npos;
        if (packet.dissector == PCAPNG_MI && !refused)
            takeMi(recording, packet);
        else if (packet.dissector == PCAPNG_DRIVER && !refused)
            takeDriver(recording, packet);
    }
    return recording;
}

// ---- The capture under way

// A process that captures the node's agents into a memory file until it is told to end.
struct captor_t {
    pid_t pid = -1;
    int file = -1, said = -1; // what it says on its standard error
    std::string lines = "";
    ~captor_t()
    {
        if (pid > 0 && kill(pid, SIGKILL) == 0)
            waitpid(pid, nullptr, 0);
        for (const int fd : {file, said})
            if (fd >= 0)
                close(fd);
    }
};

// Ahead of any socket of this process: the other one would take it for its own.
void begin(captor_t &captor)
{
    int said[2];
    captor.file = memfd_create("replay", MFD_CLOEXEC);
    if (captor.file < 0 || pipe2(said, O_CLOEXEC) != 0)
        throw ctlError_t{CTL_SILENT, std::string("the node cannot be captured: ") + std::strerror(errno)};
    captor.said = said[0];
    std::cout.flush();
    captor.pid = fork();
    if (captor.pid == 0) {
        dup2(said[1], STDERR_FILENO);
        const std::string name = "/proc/self/fd/" + std::to_string(captor.file);
        _exit(ctlGuard(std::cerr, [&] { return ctlCapture({name}, std::cerr); }));
    }
    close(said[1]);
    const auto deadline = ctlDeadline(JOIN_SECONDS);
    while (captor.pid > 0 && captor.lines.find("capturing ") == std::string::npos) {
        pollfd row = {captor.said, POLLIN, 0};
        char text[512];
        const int rc = poll(&row, 1, static_cast<int>(ctlLeft(deadline) * 1000));
        const ssize_t got = rc > 0 ? read(captor.said, text, sizeof text) : 0;
        if (got <= 0)
            break;
        captor.lines.append(text, static_cast<size_t>(got));
    }
    if (captor.lines.find("capturing ") == std::string::npos)
        throw ctlError_t{CTL_SILENT,
                         "no dorvald could be captured" +
                             (captor.lines.empty() ? "; start one, or set VELMAR_RUN" : ": " + captor.lines)};
}

recording_t end(captor_t &captor, std::ostream &err)
{
    kill(captor.pid, SIGTERM);
    std::string fault;
    captor.lines += ctlReadAll(captor.said, 1 << 20, fault).value_or("");
    waitpid(std::exchange(captor.pid, -1), nullptr, 0);
    if (captor.lines.find(", 0 dropped") == std::string::npos)
        throw ctlError_t{CTL_SILENT, "the node was not captured whole, so nothing can be compared: " + captor.lines};
    lseek(captor.file, 0, SEEK_SET);
    return recordingOf(captor.file, "the capture under way", err);
}

// ---- Playing it

struct played_t {
    size_t batches = 0, messages = 0, left_out = 0;
    std::vector<difference_t> silent; // batches that were not echoed now
};

bool waitFor(const exchange_t &exchange, const exchange_t &first, double speed, ctlClock::time_point begun)
{
    if (speed > 0) {
        const auto since = std::chrono::nanoseconds(exchange.time_ns - first.time_ns);
        std::this_thread::sleep_until(begun + std::chrono::duration_cast<ctlClock::duration>(since / speed));
    }
    return !ctlInterrupted();
}

played_t play(const recording_t &recording, const ctlReplay_t &asked)
{
    struct links_t {
        std::vector<ctlLink_t> open;
        ~links_t()
        {
            for (ctlLink_t &link : open)
                ctlCloseLink(link);
        }
        const ctlLink_t &to(const std::string &service)
        {
            for (const ctlLink_t &link : open)
                if (link.service == service)
                    return link;
            return open.emplace_back(ctlOpenLink(service));
        }
    } links;
    played_t played;
    const auto begun = ctlClock::now();
    for (size_t i = 0; i < recording.exchanges.size(); i++) {
        const exchange_t &each = recording.exchanges[i];
        if (each.echo.empty() || ctlEncode(each.sent) != each.batch) {
            played.left_out++;
            continue;
        }
        if (!waitFor(each, recording.exchanges.front(), asked.speed, begun))
            throw ctlError_t{CTL_FAILED, "interrupted ahead of batch " + std::to_string(i + 1)};
        const ctlEcho_t echo =
            ctlExchange(links.to(each.service), asked.slot ? asked.slot : each.slot, each.sent, asked.timeout);
        if (echo.messages.empty() && played.batches == 0)
            throw ctlError_t{CTL_SILENT, echo.fault};
        if (echo.messages.empty())
            played.silent.push_back({i + 1, ctlMessageName(each.sent[0].code), "echo", "came", echo.fault});
        played.batches++;
        played.messages += each.sent.size();
    }
    return played;
}

// ---- The comparison

using differences_t = std::vector<difference_t>;

// The members of two objects, elements of lists one by one. False if nothing differs.
bool compareJson(size_t batch, const std::string &what, const std::string &field, const ctlJson &recorded,
                 const ctlJson &now, differences_t &to)
{
    if (recorded == now)
        return false;
    if (recorded.is_object() && now.is_object()) {
        bool any = false;
        for (const auto &[key, value] : recorded.items())
            any = compareJson(batch, what, field.empty() ? key : field + "." + key, value, now.value(key, ctlJson()),
                              to) ||
                  any;
        return any;
    }
    if (recorded.is_array() && now.is_array() && recorded.size() == now.size()) {
        for (size_t i = 0; i < recorded.size(); i++)
            compareJson(batch, what, field + "[" + std::to_string(i) + "]", recorded[i], now[i], to);
        return true;
    }
    to.push_back({batch, what, field, recorded, now});
    return true;
}

void compareBytes(size_t batch, const std::string &what, const ctlBytes &recorded, const ctlBytes &now, size_t skipped,
                  differences_t &to)
{
    if (recorded.size() != now.size()) {
        to.push_back({batch, what, "bytes", recorded.size() - skipped, now.size() - skipped});
        return;
    }
    for (size_t i = 0; i < recorded.size(); i++)
        if (recorded[i] != now[i]) {
            const std::string place = i < skipped ? "driver header " + std::to_string(i) : std::to_string(i - skipped);
            to.push_back({batch, what, "byte " + place, recorded[i], now[i]});
        }
}

void compareEcho(size_t batch, const exchange_t &recorded, const exchange_t &now, differences_t &to)
{
    for (size_t i = 0; i < recorded.echo.size() && i < now.echo.size(); i++) {
        const ctlMessage_t &was = recorded.echo[i], &is = now.echo[i];
        const std::string what =
            ctlMessageName(was.code) + (recorded.echo.size() > 1 ? " " + std::to_string(i + 1) : "");
        if (was.ack != is.ack)
            to.push_back({batch, what, "msg_ack", was.ack, is.ack});
        if (was.body != is.body && !compareJson(batch, what, "", ctlMessageJson(was).value("fields", ctlJson()),
                                                ctlMessageJson(is).value("fields", ctlJson()), to))
            compareBytes(batch, what, was.body, is.body, 0, to);
    }
}

std::string nameOf(const ctlBytes &request)
{
    const hslCommand_t *const row = hslFindCommand(hslBytes(request).subspan(sizeof(qosDriverHdr_t)));
    return row ? std::string(row->name) : "request of an unknown command";
}

void compareRequests(size_t batch, const exchange_t &recorded, const exchange_t &now, differences_t &to)
{
    constexpr size_t HEAD = sizeof(qosDriverHdr_t);
    for (size_t i = 0; i < std::max(recorded.requests.size(), now.requests.size()); i++) {
        const std::string number = "request " + std::to_string(i + 1) + ", ";
        if (i >= recorded.requests.size() || i >= now.requests.size()) {
            const bool was = i < recorded.requests.size();
            to.push_back({batch, number + nameOf((was ? recorded : now).requests[i]), "sent", was, !was});
            continue;
        }
        const ctlBytes &was = recorded.requests[i], &is = now.requests[i];
        const hslCommand_t *const row = hslFindCommand(hslBytes(was).subspan(HEAD));
        if (was == is)
            continue;
        if (nameOf(was) != nameOf(is))
            to.push_back({batch, number + nameOf(was), "command", nameOf(was), nameOf(is)});
        else if (!row ||
                 !compareJson(batch, number + row->name, "", hslFieldsJson(row->fields, hslBytes(was).subspan(HEAD)),
                              hslFieldsJson(row->fields, hslBytes(is).subspan(HEAD)), to))
            compareBytes(batch, number + nameOf(was), was, is, HEAD, to);
    }
}

// What others sent in between is no part of it.
differences_t compare(const recording_t &recorded, const recording_t &now)
{
    differences_t found;
    auto next = now.exchanges.begin();
    for (size_t i = 0; i < recorded.exchanges.size(); i++) {
        const exchange_t &was = recorded.exchanges[i];
        const auto is = std::find_if(next, now.exchanges.end(), [&](const exchange_t &each) {
            return each.batch == was.batch && each.service == was.service && !each.echo.empty();
        });
        if (was.echo.empty() || is == now.exchanges.end())
            continue;
        compareEcho(i + 1, was, *is, found);
        if (recorded.has_driver)
            compareRequests(i + 1, was, *is, found);
        next = is + 1;
    }
    return found;
}

void print(const differences_t &differences, const ctlReplay_t &asked, const std::string &summary, std::ostream &out)
{
    ctlJson list = ctlJson::array();
    for (const difference_t &each : differences)
        if (asked.json)
            list.push_back({{"batch", each.batch},
                            {"what", each.what},
                            {"field", each.field},
                            {"recorded", each.recorded},
                            {"now", each.now}});
        else
            out << ctlShown("batch " + std::to_string(each.batch) + "  " + each.what + "  " + each.field +
                            "  recorded " + each.recorded.dump() + "  now " + each.now.dump())
                << "\n";
    if (asked.json)
        ctlPrintJson(out, list);
    else
        out << summary << (differences.empty() ? ": the same\n" : "\n");
}

int openCapture(const std::string &name)
{
    const int fd = name == "-" ? dup(STDIN_FILENO) : open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        ctlRefuse(name + ": " + std::strerror(errno));
    return fd;
}

} // namespace

int ctlReplay(const ctlReplay_t &asked, std::ostream &out, std::ostream &err)
{
    const int fd = openCapture(asked.file);
    const recording_t recording = recordingOf(fd, asked.file, err);
    close(fd);
    if (recording.exchanges.empty())
        ctlRefuse(asked.file + ": no manager sends anything in it");
    if (!recording.has_driver)
        ctlComplain(err, asked.file + ": the driver's sockets are not in it, so its requests are not compared");
    captor_t captor;
    begin(captor);
    const played_t played = play(recording, asked);
    differences_t differences = compare(recording, end(captor, err));
    differences.insert(differences.begin(), played.silent.begin(), played.silent.end());
    if (played.left_out > 0)
        ctlComplain(err, ctlCounted(played.left_out, "batch") +
                             " left out: without an echo in the capture, or no whole messages");
    print(differences, asked,
          std::to_string(played.batches) + " batches, " + ctlCounted(played.messages, "message") + ", " +
              ctlCounted(differences.size(), "difference"),
          out);
    return differences.empty() ? CTL_DONE : CTL_FAILED;
}
