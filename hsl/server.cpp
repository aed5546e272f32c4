// SPDX-License-Identifier: Apache-2.0
// Sockets, outbox, clock and the step of the loop.
#include "hsl/server.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <poll.h>
#include <set>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "velmar/os.h"
#include "velmar/run.h"

constexpr int SOCKET_BUFFER = 4 << 20; // what the machine allows of it
constexpr uint64_t RETRY_MS = 5;       // a full receiver is tried again
constexpr uint64_t GIVE_UP_MS = 1000;
constexpr int BURST = 64; // requests served before the outbox and the other socket have their turn

static uint64_t monotonicMs()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

// The host's clock, which may stand still.
static uint64_t hostMs()
{
    struct timeval now;
    velmar_now(&now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_usec) / 1000;
}

uint64_t hslNow(const hslServer_t &server)
{
    return hostMs() - server.started + server.clock_offset;
}

// Opening.

static int bindAt(const char *name, const char *folder, bool pid)
{
    char path[sizeof(sockaddr_un::sun_path)];
    int fd = velmar_run_bind(folder, name, pid, path, sizeof path);
    if (fd < 0)
        return -1;
    int size = SOCKET_BUFFER;
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    return fd;
}

std::string hslOpen(hslServer_t &server)
{
    char error[256] = "";
    auto run = velmar_run_dir(error, sizeof error);
    if (!run)
        return error;
    server.started = hostMs();
    server.driver = bindAt("driver", "qos", false);
    if (server.driver < 0 && errno == EADDRINUSE)
        return std::string("another driver already serves ") + run +
               "/qos/driver; end it, or set VELMAR_RUN to a run " + "directory of your own";
    if (server.driver >= 0)
        server.control = bindAt("hsld", "ctl", true);
    if (server.control >= 0)
        return "";
    std::string text = std::string("cannot open ") + run + (server.driver < 0 ? "/qos/driver" : "/ctl/hsld.PID") +
                       ": " + std::strerror(errno) + "; check the directory, or set VELMAR_RUN to another";
    hslClose(server);
    return text;
}

void hslClose(hslServer_t &server)
{
    for (int *fd : {&server.driver, &server.control}) {
        if (*fd >= 0)
            velmar_run_close(*fd);
        *fd = -1;
    }
}

// Outbox.

static int sendTo(int fd, const std::string &path, hslBytes bytes)
{
    sockaddr_un to{};
    to.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof to.sun_path)
        return EDESTADDRREQ;
    std::memcpy(to.sun_path, path.data(), path.size());
    auto sent = sendto(fd, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL, reinterpret_cast<sockaddr *>(&to),
                       sizeof to);
    return sent < 0 ? errno : 0;
}

// A listener's file ends in its process id, or in that and ".K". One that refuses but lives may be about to bind.
static bool ownerGone(const std::string &path)
{
    auto dot = path.find('.', path.rfind('/'));
    auto pid = dot == std::string::npos ? 0 : std::atoi(path.c_str() + dot + 1);
    return pid > 0 && kill(pid, 0) != 0 && errno == ESRCH;
}

// Receivers whose first datagram waits for room: what is behind it for them waits too, whatever its own time.
using fullPaths_t = std::set<std::string, std::less<>>;

static bool behindFull(fullPaths_t &full, const hslSend_t &send, uint64_t machine)
{
    if (send.stuck && send.next_try > machine)
        full.insert(send.path);
    return full.count(send.path) != 0;
}

// Sends what is due. A receiver that is full keeps its datagrams in their order and does not hold up the others.
static void pumpOutbox(hslServer_t &server)
{
    auto now = hslNow(server), machine = monotonicMs();
    fullPaths_t full;
    auto spent = [&](hslSend_t &send) {
        if (behindFull(full, send, machine) || send.held || send.due > now)
            return false;
        int error = sendTo(server.driver, send.path, send.bytes);
        if ((error == EAGAIN || error == ENOBUFS) && now < send.give_up) {
            send.next_try = machine + RETRY_MS;
            send.stuck = true;
            full.insert(send.path);
            return false;
        }
        if (error == ECONNREFUSED && send.event && ownerGone(send.path)) {
            unlink(send.path.c_str());
        } else if (error) {
            ++server.errors;
            hslModelWarn(server.model, "could not send to " + send.path + ": " + std::strerror(error));
        }
        return true;
    };
    std::vector<hslSend_t> rest;
    for (auto &send : server.outbox)
        if (!spent(send))
            rest.push_back(std::move(send));
    server.outbox = std::move(rest);
}

unsigned hslSendRaw(hslServer_t &server, hslBytes datagram)
{
    char probe[sizeof(sockaddr_un::sun_path)];
    if (velmar_run_path(probe, sizeof probe, "qos", "group6.") != 0)
        return 0;
    std::string prefix = probe, folder = prefix.substr(0, prefix.rfind('/'));
    std::vector<std::string> paths;
    if (auto dir = opendir(folder.c_str())) {
        while (auto entry = readdir(dir))
            if (!std::strncmp(entry->d_name, "group6.", 7))
                paths.push_back(folder + "/" + entry->d_name);
        closedir(dir);
    }
    std::sort(paths.begin(), paths.end());
    auto now = hslNow(server);
    for (auto &path : paths) {
        if (server.outbox.size() >= HSL_MAX_OUTBOX) {
            hslModelWarn(server.model, "the outbox is full; an event is lost");
            break;
        }
        server.outbox.push_back({now, now + GIVE_UP_MS, path, {datagram.begin(), datagram.end()}, false, true});
    }
    ++server.events;
    pumpOutbox(server);
    return static_cast<unsigned>(paths.size());
}

unsigned hslSendEvent(hslServer_t &server, uint16_t type, uint32_t target, hslBytes body)
{
    auto length = NL_RECORD_OFFSET + body.size();
    hslBuffer datagram((length + 3) / 4 * 4 + sizeof(qosNLHdr_t));
    auto frame = reinterpret_cast<qosNLHdr_t *>(datagram.data());
    frame->length = static_cast<uint32_t>(length);
    frame->type = type;
    frame->seq = ++server.event_seq;
    auto driver = reinterpret_cast<qosDriverHdr_t *>(frame + 1);
    driver->target = target;
    driver->kind = DRV_KIND_EVENT;
    driver->response_length = static_cast<uint32_t>(body.size());
    std::copy(body.begin(), body.end(), datagram.begin() + NL_RECORD_OFFSET);
    auto end = reinterpret_cast<qosNLHdr_t *>(datagram.data() + datagram.size()) - 1;
    end->length = sizeof *end;
    end->type = NLM_DONE;
    end->seq = server.event_seq;
    return hslSendRaw(server, datagram);
}

// The loop.

// Reads one datagram and the path it came from; false if there is none.
static bool receive(int fd, hslBuffer &buffer, std::string *path, velmar_sender_t *served = nullptr)
{
    velmar_sender_t from;
    buffer.resize(1 << 16);
    auto bytes = served ? velmar_run_serve(fd, buffer.data(), buffer.size(), &from)
                        : velmar_run_receive(fd, buffer.data(), buffer.size(), &from, nullptr);
    if (bytes < 0)
        return false;
    buffer.resize(std::min(buffer.size(), static_cast<size_t>(bytes)));
    *path = from.address.sun_path;
    if (served)
        *served = from;
    return true;
}

static std::string tooLong(size_t bytes, const char *more)
{
    return std::string("error: the answer of ") + more + std::to_string(bytes) +
           " bytes does not fit a datagram; ask for less ('show port IFINDEX', 'log N')";
}

// The kernel takes no datagram that is longer than the buffer.
std::string hslTooLong(const hslServer_t &server, size_t bytes)
{
    int most = SOCKET_BUFFER;
    socklen_t length = sizeof most;
    if (server.control >= 0)
        getsockopt(server.control, SOL_SOCKET, SO_SNDBUF, &most, &length);
    return bytes > static_cast<size_t>(most) ? tooLong(bytes, "more than ") : "";
}

static void serveControl(hslServer_t &server)
{
    hslBuffer buffer;
    std::string path;
    velmar_sender_t client;
    while (receive(server.control, buffer, &path, &client)) {
        const std::string command(buffer.begin(), buffer.end());
        if (client.reader) {
            auto answer = command == "stat" ? hslControl(server, command) : "error: you may only read here: stat";
            (void)velmar_run_answer(server.control, &client, answer.data(), answer.size());
            continue;
        }
        auto answer = hslControl(server, command);
        auto bytes = [](const std::string &text) {
            return hslBytes(reinterpret_cast<const uint8_t *>(text.data()), text.size());
        };
        if (sendTo(server.control, path, bytes(answer)) == EMSGSIZE)
            sendTo(server.control, path, bytes(tooLong(answer.size(), "")));
    }
}

static int untilDue(const hslServer_t &server, int timeout_ms)
{
    auto now = hslNow(server), machine = monotonicMs();
    uint64_t wait = timeout_ms < 0 ? INT_MAX : static_cast<uint64_t>(timeout_ms);
    auto upTo = [&](uint64_t due, uint64_t clock) { wait = std::min(wait, due > clock ? due - clock : 0); };
    fullPaths_t full;
    for (auto &send : server.outbox) {
        if (send.held)
            continue;
        bool behind = behindFull(full, send, machine);
        if (send.stuck)
            upTo(send.next_try, machine);
        else if (!behind)
            upTo(send.due, now);
    }
    if (server.stalled_until > now && server.stalled_until != UINT64_MAX)
        upTo(server.stalled_until, now);
    return wait >= INT_MAX ? -1 : static_cast<int>(wait);
}

void hslStep(hslServer_t &server, int timeout_ms, const sigset_t *mask)
{
    bool stalled = server.stalled_until > hslNow(server);
    pollfd fds[2] = {{server.control, POLLIN, 0}, {server.driver, POLLIN, 0}};
    int wait = untilDue(server, timeout_ms);
    timespec limit{wait / 1000, wait % 1000 * 1000000L};
    if (ppoll(fds, stalled ? 1 : 2, wait < 0 ? nullptr : &limit, mask) < 0)
        fds[0].revents = fds[1].revents = 0;
    if (fds[0].revents)
        serveControl(server);
    hslBuffer buffer;
    std::string path;
    // A command of this step may have stalled the driver.
    for (int i = 0; i < BURST && server.stalled_until <= hslNow(server) && receive(server.driver, buffer, &path); ++i)
        hslServe(server, buffer, path);
    pumpOutbox(server);
}
