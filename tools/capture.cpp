// SPDX-License-Identifier: Apache-2.0
// Commands and their answers go through one socket, so that an agent that is busy holds up nobody; each agent that is
// asked connects to another one and sends its copies there. What waits is taken off before any of it is written, as an
// agent does not wait for room. Only whole blocks are written, so a file is whole whenever it is looked at.
#include "tools/capture.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <span>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include "tools/error.h"
#include "tools/link.h"
#include "tools/node.h"
#include "tools/pcapng.h"
#include "tools/text.h"
#include "velmar/capture.h"
#include "velmar/run.h"

namespace {

constexpr double LOOK_S = 0.5;                // between two looks for agents
constexpr double LAST_S = 1;                  // for the answers at the end
constexpr size_t LONGEST = 256 << 10;         // bytes of a copy with its head
constexpr size_t WRITTEN_AT_ONCE = 256 << 10; // bytes

struct agent_t {
    std::string name; // NAME.PID
    int pid = 0;
    bool joined = false, refused = false, left = false;
};

struct capture_t {
    ctlCapture_t asked;
    std::ostream &err;
    int file = -1;
    int asks = -1, listens = -1;                // the sockets
    std::vector<int> taps = {};                 // the agents' connections
    std::string path = "", own = "";            // of the socket that listens, and its name
    std::map<std::string, agent_t> agents = {}; // by the paths of their control sockets
    std::map<std::string, unsigned> interfaces = {};
    std::map<int, uint32_t> dropped = {}; // by the process, as far as it told
    std::vector<uint8_t> room = std::vector<uint8_t>(LONGEST);
    std::string blocks = ""; // not yet written
    uint64_t packets = 0;
    bool unread = false; // a pipe whose reader has ended
    ~capture_t()
    {
        velmar_run_close(asks);
        if (listens >= 0)
            unlink(path.c_str());
    }
};

// Without its contents: those go once it is plain that there will be others.
int openFile(const std::string &name)
{
    if (name == "-") {
        if (isatty(STDOUT_FILENO))
            ctlRefuse("a capture is no text for a terminal; name a file, or a pipe as in: -w - | tshark -r -");
        return STDOUT_FILENO;
    }
    const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0)
        ctlRefuse(name + ": cannot be written: " + std::strerror(errno));
    return file;
}

// Blocks that are whole. If not all of them can be written a file is cut back to those that were there before.
void write(capture_t &capture)
{
    struct stat before {};
    const bool cuts = fstat(capture.file, &before) == 0 && S_ISREG(before.st_mode);
    int signals = 0; // the second one ends the wait for a reader that does not read
    for (size_t done = 0; done < capture.blocks.size();) {
        const ssize_t put = ::write(capture.file, capture.blocks.data() + done, capture.blocks.size() - done);
        if (put > 0) {
            done += static_cast<size_t>(put);
        } else if (errno == EPIPE) {
            capture.unread = true;
            break;
        } else if (errno != EINTR || ++signals > 1) {
            const int error = errno;
            if (cuts && ftruncate(capture.file, before.st_size) != 0)
                ctlComplain(capture.err, "the last packet of the capture is not whole");
            throw ctlError_t{CTL_SILENT, std::string("the capture could not be written: ") + std::strerror(error)};
        }
    }
    capture.blocks.clear();
}

bool send(const capture_t &capture, const std::string &path, const std::string &command)
{
    sockaddr_un to{};
    to.sun_family = AF_UNIX;
    path.copy(to.sun_path, sizeof to.sun_path - 1);
    return sendto(capture.asks, command.data(), command.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                  reinterpret_cast<const sockaddr *>(&to), sizeof to) >= 0;
}

// Asks those that have not answered yet. The driver is not asked: what it would show its agents show.
void look(capture_t &capture)
{
    const bool all = capture.asked.mi == capture.asked.driver;
    const std::string command = "capture " + capture.own + (all || capture.asked.mi ? " mi" : "") +
                                (all || capture.asked.driver ? " driver" : "");
    const std::vector<ctlProcess_t> processes = ctlProcesses("");
    for (const ctlProcess_t &process : processes) {
        agent_t &agent = capture.agents[process.path];
        agent.name = process.name + "." + process.pid;
        agent.pid = static_cast<int>(ctlParseNumber(process.pid.substr(0, process.pid.find('.')), INT_MAX).value_or(0));
        if (process.name.rfind("hsld", 0) != 0 && !agent.joined && !agent.refused)
            send(capture, process.path, command);
    }
}

ctlJson stateIn(const std::string &answer)
{
    try {
        return ctlParseJson(ctlBehindOk(answer));
    } catch (const ctlJson::exception &) {
        return {};
    }
}

void takeAnswer(capture_t &capture, const std::string &from, const std::string &answer)
{
    const auto found = capture.agents.find(from);
    if (found == capture.agents.end())
        return;
    agent_t &agent = found->second;
    if (answer.rfind("ok", 0) != 0) {
        if (!agent.refused)
            ctlComplain(capture.err, agent.name + " cannot be captured: " + answer);
        agent.refused = true;
        return;
    }
    const ctlJson state = stateIn(answer);
    if (state.contains("dropped") && state["dropped"].is_number_unsigned())
        capture.dropped[agent.pid] = state["dropped"].get<uint32_t>();
    agent.left = !state.contains("listener") || state["listener"] != capture.own;
    if (!agent.joined && !agent.left)
        capture.err << "capturing " << ctlShown(agent.name) << std::endl;
    agent.joined = agent.joined || !agent.left;
}

unsigned interfaceOf(capture_t &capture, const std::string &name)
{
    const auto [found, is_new] = capture.interfaces.insert({name, capture.interfaces.size()});
    if (is_new)
        capture.blocks += pcapngInterface(name);
    return found->second;
}

void takeCopy(capture_t &capture, capture_head_t head, std::span<const uint8_t> bytes)
{
    head.own[sizeof head.own - 1] = head.peer[sizeof head.peer - 1] = '\0';
    const bool mi = head.kind == CAPTURE_MI;
    const std::string own = ctlShown(head.own), peer = ctlShown(head.peer);
    std::string comment = head.outbound ? own + " > " + peer : peer + " > " + own;
    if (head.error != 0)
        comment += std::string("; refused: ") + std::strerror(head.error);
    const unsigned interface = interfaceOf(capture, (mi ? "mi " : "driver ") + own);
    capture.blocks +=
        pcapngPacket({head.time_ns, interface, head.outbound, comment, mi ? PCAPNG_MI : PCAPNG_DRIVER, bytes});
    capture.dropped[head.pid] = head.dropped;
    ++capture.packets;
}

// The answers to commands that are there.
void takeAnswers(capture_t &capture)
{
    velmar_sender_t from;
    for (ssize_t got; (got = velmar_run_receive(capture.asks, capture.room.data(), LONGEST, &from, nullptr)) >= 0;) {
        const auto end = capture.room.begin() + std::min(got, static_cast<ssize_t>(LONGEST));
        takeAnswer(capture, from.address.sun_path, std::string(capture.room.begin(), end));
    }
}

// An agent of this user, or of root.
void takeAgent(capture_t &capture)
{
    const int fd = accept4(capture.listens, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    ucred peer{};
    socklen_t length = sizeof peer;
    if (fd < 0)
        return;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 && (peer.uid == geteuid() || peer.uid == 0))
        capture.taps.push_back(fd);
    else
        close(fd);
}

// Takes one copy, if one is there. The connection of an agent that has ended is closed and becomes -1.
bool takeOne(capture_t &capture, int &tap)
{
    const ssize_t got = recv(tap, capture.room.data(), LONGEST, 0);
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return false;
    capture_head_t head{};
    if (got <= 0) {
        close(tap);
        tap = -1;
        return false;
    }
    std::memcpy(&head, capture.room.data(), std::min(static_cast<size_t>(got), sizeof head));
    if (static_cast<size_t>(got) >= sizeof head && head.magic == CAPTURE_MAGIC)
        takeCopy(capture, head, std::span(capture.room).subspan(sizeof head, static_cast<size_t>(got) - sizeof head));
    return true;
}

// Waits for what comes, but not beyond a time, takes what is there and writes it.
void take(capture_t &capture, ctlClock::time_point until)
{
    std::vector<pollfd> rows = {{capture.file, 0, 0}, {capture.asks, POLLIN, 0}, {capture.listens, POLLIN, 0}};
    for (const int tap : capture.taps)
        rows.push_back({tap, POLLIN, 0});
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - ctlClock::now()).count();
    poll(rows.data(), rows.size(), static_cast<int>(std::clamp<int64_t>(left, 0, 1000)));
    capture.unread = capture.unread || (rows[0].revents & POLLERR) != 0;
    for (int &tap : capture.taps)
        while (capture.blocks.size() < WRITTEN_AT_ONCE && takeOne(capture, tap)) {
        }
    std::erase(capture.taps, -1);
    takeAnswers(capture);
    if (rows[2].revents != 0)
        takeAgent(capture);
    write(capture);
}

int listenAt(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    unlink(path.c_str()); // of a dead process that had this one's number
    if (fd < 0 || fchmod(fd, 0600) != 0 || bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(fd, 64) != 0)
        throw ctlError_t{CTL_SILENT, "cannot open the socket " + path + ": " + std::strerror(errno)};
    return fd;
}

void open(capture_t &capture)
{
    capture.file = openFile(capture.asked.file);
    const std::string run = ctlRunDir();
    char path[sizeof(sockaddr_un::sun_path)];
    capture.asks = velmar_run_bind("ctl", "dorvctl", true, path, sizeof path);
    if (capture.asks < 0)
        throw ctlError_t{CTL_SILENT, std::string("cannot open a socket for the answer: ") + std::strerror(errno)};
    capture.own = "dorvctl-capture." + std::to_string(getpid());
    capture.path = run + "/ctl/" + capture.own;
    capture.listens = listenAt(capture.path);
    if (capture.file != STDOUT_FILENO)
        (void)!ftruncate(capture.file, 0); // a pipe or device has nothing to cut
    capture.blocks = pcapngBegin();
    write(capture);
}

// Nobody sends copies from here on, and what was sent is taken.
void leave(capture_t &capture)
{
    const auto deadline = ctlDeadline(LAST_S);
    for (bool wait = true; wait && ctlClock::now() < deadline;) {
        wait = false;
        for (auto &[path, agent] : capture.agents) {
            if (agent.joined && !agent.left && !send(capture, path, "capture off") && errno != EAGAIN)
                agent.left = true; // it is gone
            wait = wait || (agent.joined && !agent.left);
        }
        wait = wait || !capture.taps.empty();
        take(capture, std::min(deadline, ctlDeadline(wait ? 0.05 : 0)));
    }
}

} // namespace

int ctlCapture(const ctlCapture_t &asked, std::ostream &err)
{
    signal(SIGPIPE, SIG_IGN); // the end of a reader is the end here too
    capture_t capture{asked, err};
    open(capture);
    const auto end = ctlDeadline(asked.seconds);
    const auto isOver = [&] {
        return ctlInterrupted() || capture.unread || (asked.seconds > 0 && ctlClock::now() >= end);
    };
    for (auto next = ctlClock::now(); !isOver();) {
        if (ctlClock::now() >= next) {
            look(capture);
            next = ctlDeadline(LOOK_S);
        }
        take(capture, asked.seconds > 0 ? std::min(next, end) : next);
    }
    leave(capture);
    uint64_t dropped = 0;
    for (const auto &[pid, count] : capture.dropped)
        dropped += count;
    ctlComplain(err, ctlCounted(capture.packets, "packet") + ", " + std::to_string(dropped) + " dropped");
    const bool any =
        std::any_of(capture.agents.begin(), capture.agents.end(), [](const auto &each) { return each.second.joined; });
    if (!any && !capture.unread)
        throw ctlError_t{CTL_SILENT, "no dorvald was there to be captured"};
    return CTL_DONE;
}
