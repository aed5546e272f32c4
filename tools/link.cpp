// SPDX-License-Identifier: Apache-2.0
// The manager's MI6 socket.
#include "tools/link.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <grp.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/error.h"
#include "velmar/run.h"
#include "velmar/socket.h"

namespace {

constexpr int NOTICE_IS_NEXT = 68; // errno of a receive that meets a notice

std::atomic<bool> interrupted{false}; // lock-free, as a handler needs it

void onSignal(int)
{
    interrupted = true;
}

mi6_addr_t addressOf(const std::string &service)
{
    mi6_addr_t address{};
    address.family = static_cast<uint16_t>(AF_MI6);
    service.copy(address.service, sizeof address.service - 1);
    return address;
}

int millisecondsTo(ctlClock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - ctlClock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, 60 * 60 * 1000));
}

// Reads the notice that stands at the head of the queue.
bool readNotice(int fd, ctlReceived_t &received)
{
    uint8_t data[100];
    alignas(cmsghdr) uint8_t control[CMSG_SPACE(sizeof(mi6_notice_t)) + 32];
    iovec vector = {data, sizeof data};
    msghdr message{};
    message.msg_name = &received.from;
    message.msg_namelen = sizeof received.from;
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    if (velmar_recvmsg(fd, &message, MSG_ERRQUEUE | MSG_DONTWAIT) < 0)
        return false;
    const cmsghdr *header = CMSG_FIRSTHDR(&message);
    if (header == nullptr || header->cmsg_level != SOL_MI6 || header->cmsg_len < CMSG_LEN(sizeof(mi6_notice_t)))
        return false;
    mi6_notice_t notice;
    std::memcpy(&notice, CMSG_DATA(header), sizeof notice);
    received.kind = ctlReceived_t::Notice;
    received.notice = notice.code;
    received.from = notice.destination;
    return true;
}

// Whether a datagram was there; one that makes no sense is passed over.
bool readOne(int fd, ctlReceived_t &received)
{
    received.bytes.resize(65536);
    received.from = {};
    iovec vector = {received.bytes.data(), received.bytes.size()};
    msghdr message{};
    message.msg_name = &received.from;
    message.msg_namelen = sizeof received.from;
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    const ssize_t length = velmar_recvmsg(fd, &message, MSG_DONTWAIT);
    if (length < 0)
        return errno == NOTICE_IS_NEXT && readNotice(fd, received);
    received.bytes.resize(static_cast<size_t>(length));
    received.kind = ctlReceived_t::Datagram;
    return true;
}

bool isAbout(const mi6_addr_t &to, const mi6_addr_t &destination)
{
    return (to.slot_mask & destination.slot_mask) != 0 &&
           std::strncmp(to.service, destination.service, sizeof to.service) == 0;
}

// Sends at once, or as soon as the agent has room again; empty, or what is wrong. Reads while it waits: agents wait
// for managers too.
std::string sendBatch(const ctlLink_t &link, const mi6_addr_t &to, const ctlBytes &bytes, ctlClock::time_point deadline)
{
    iovec vector = {const_cast<uint8_t *>(bytes.data()), bytes.size()};
    for (;;) {
        int flags = 0;
        if (mi6_send(link.fd, &to, &vector, 1, &flags) >= 0)
            return "";
        if (errno != EAGAIN)
            return std::string("cannot send: ") + std::strerror(errno);
        if (ctlInterrupted() || ctlClock::now() >= deadline)
            return "the agent is there and does not read: its queue is full";
        ctlReceive(link, ctlClock::now() + std::chrono::milliseconds(20));
    }
}

std::string chosenRun()
{
    const char *const given = getenv("VELMAR_RUN");
    return given && *given ? given : geteuid() == 0 ? "/run/velmar" : "/tmp/velmar-" + std::to_string(geteuid());
}

// What another user's processes answer would not reach a socket of root's, so root asks in the name of the user whose
// run directory it is.
void becomeOwner()
{
    const std::string run = chosenRun();
    struct stat found {};
    if (geteuid() != 0 || lstat(run.c_str(), &found) != 0 || !S_ISDIR(found.st_mode) || found.st_uid == 0)
        return;
    if (setgroups(0, nullptr) != 0 || setgid(found.st_gid) != 0 || setuid(found.st_uid) != 0)
        throw ctlError_t{CTL_SILENT,
                         run + " belongs to another user, whom this one cannot become: " + std::strerror(errno)};
    setenv("VELMAR_RUN", run.c_str(), 1);
}

} // namespace

ctlClock::time_point ctlDeadline(double seconds)
{
    return ctlClock::now() + std::chrono::duration_cast<ctlClock::duration>(std::chrono::duration<double>(seconds));
}

double ctlLeft(ctlClock::time_point deadline)
{
    return std::max(std::chrono::duration<double>(deadline - ctlClock::now()).count(), 0.0);
}

std::string ctlNoRunDir(bool fresh)
{
    struct stat found {};
    const std::string wanted = chosenRun();
    return stat((wanted + (fresh ? "" : "/ctl")).c_str(), &found) == 0 || errno != ENOENT
               ? ""
               : "no dorvald runs with " + wanted + ", which is no run directory yet";
}

std::string ctlRunDir(bool fresh)
{
    becomeOwner();
    if (const std::string none = ctlNoRunDir(fresh); !none.empty())
        throw ctlError_t{CTL_SILENT, none + "; start one, or set VELMAR_RUN"};
    char error[256] = "";
    const char *run = velmar_run_dir(error, sizeof error);
    if (run == nullptr)
        throw ctlError_t{CTL_SILENT, error};
    return run;
}

ctlLink_t ctlOpenLink(const std::string &service, bool fresh)
{
    const std::string run = ctlRunDir(fresh);
    const mi6_addr_t local = addressOf(service), peer{};
    const int fd = mi6_open(&local, &peer);
    if (fd < 0)
        throw ctlError_t{CTL_SILENT, "cannot open a manager's socket in " + run + "/mi6: " + std::strerror(errno)};
    return {fd, service};
}

void ctlCloseLink(ctlLink_t &link)
{
    if (link.fd >= 0)
        velmar_close(link.fd);
    link.fd = -1;
}

ctlReceived_t ctlReceive(const ctlLink_t &link, ctlClock::time_point deadline)
{
    ctlReceived_t received{ctlReceived_t::Nothing, {}, 0, {}};
    while (!ctlInterrupted()) {
        pollfd readable = {link.fd, POLLIN, 0};
        const int ready = poll(&readable, 1, millisecondsTo(deadline));
        if (ready > 0 && readOne(link.fd, received))
            return received;
        if (ctlClock::now() >= deadline)
            break;
    }
    received.kind = ctlReceived_t::Nothing;
    return received;
}

unsigned ctlSlotOf(const mi6_addr_t &from)
{
    const unsigned mask = from.slot_mask;
    if ((from.flags & (MI6_LINE_CARD | MI6_LINE_CARD_STANDBY)) == 0 || mask == 0)
        return 0;
    return static_cast<unsigned>(__builtin_ctz(mask)) + 1;
}

ctlEcho_t ctlExchange(const ctlLink_t &link, unsigned slot, const std::vector<ctlMessage_t> &batch, double seconds)
{
    const auto deadline = ctlDeadline(seconds);
    mi6_addr_t to = addressOf(link.service);
    to.slot_mask = static_cast<uint16_t>(1u << (slot - 1));
    to.flags = MI6_LINE_CARD;
    ctlEcho_t echo;
    echo.fault = sendBatch(link, to, ctlEncode(batch), deadline);
    if (!echo.fault.empty())
        return echo;
    // Others may send without a pause, so that there is always something to receive.
    for (bool late = false; !late; late = ctlClock::now() >= deadline) {
        const ctlReceived_t received = ctlReceive(link, deadline);
        if (received.kind == ctlReceived_t::Nothing)
            break;
        if (received.kind == ctlReceived_t::Notice) {
            if (received.notice != MI6_DESTINATION_INVALID || !isAbout(to, received.from))
                continue;
            echo.fault = "no agent serves " + link.service + " on slot " + std::to_string(slot) +
                         "; is dorvald running with this run directory?";
            return echo;
        }
        if (ctlSlotOf(received.from) != slot)
            continue;
        ctlDecoded_t decoded = ctlDecode(received.bytes);
        if (!decoded.fault.empty() || !ctlIsEcho(batch, decoded.messages))
            continue;
        echo.messages = std::move(decoded.messages);
        return echo;
    }
    echo.fault = ctlInterrupted() ? "interrupted before the echo came"
                                  : "no echo from slot " + std::to_string(slot) +
                                        " in time; the agent is busy, in Standby, or refused the batch "
                                        "('dorvctl node' shows its stage, 'dorvctl trace' its lines)";
    return echo;
}

void ctlCatchSignals()
{
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool ctlInterrupted()
{
    return interrupted;
}
