// The test node: sockets by hand, the agent as a child process.
#include "tests/node.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr size_t HEADER = 20;
constexpr size_t RECORD = 48;
constexpr int START_MS = 60000;

// ERR lines that report a success, or that a chip without the operation brings with it when it or a port comes up.
const char *const NORMAL[] = {"Configured THA to be active",
                              "Default CoS IOCTL (pri map) set on interface",
                              "Bailing out",
                              "successfully set tail drop thresholds for port",
                              "NULL Sch Cfg handler for chip",
                              "in extended chip capability for chip",
                              "Invalid if add received"};

sockaddr_un addressOf(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    return address;
}

std::string slurp(const std::string &path)
{
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Starts the agent with its standard error in `errors`; the child's process id.
int startAgent(const std::vector<std::string> &args, const std::string &run, const std::string &vss,
               const std::string &errors)
{
    std::vector<char *> argv = {const_cast<char *>("dorvald")};
    for (const std::string &arg : args)
        argv.push_back(const_cast<char *>(arg.c_str()));
    argv.push_back(nullptr);
    const int pid = fork();
    if (pid != 0)
        return pid;
    const int fd = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(fd, 1);
    dup2(fd, 2);
    setenv("VELMAR_RUN", run.c_str(), 1);
    setenv("VELMAR_VSS", vss.c_str(), 1);
    setenv("VELMAR_CLOCK", "stepped", 1);
    setenv("VELMAR_TRACE", (run + "/trace.txt").c_str(), 1);
    execv(DORVALD_BINARY, argv.data());
    _exit(127);
}

int statusOf(int wait_status)
{
    return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1;
}

// RUN/mi6/SERVICE.mgr.PID, with .K behind it for the further ones of this process.
std::string managerPath(const TestNode &node, const std::string &service)
{
    const std::string first = node.run + "/mi6/" + service + ".mgr." + std::to_string(getpid());
    std::string path = first;
    for (int k = 2; std::filesystem::exists(path); ++k)
        path = first + "." + std::to_string(k);
    return path;
}

} // namespace

void put16(Bytes &bytes, size_t at, uint32_t value)
{
    bytes.at(at) = static_cast<uint8_t>(value >> 8);
    bytes.at(at + 1) = static_cast<uint8_t>(value);
}

void put32(Bytes &bytes, size_t at, uint32_t value)
{
    put16(bytes, at, value >> 16);
    put16(bytes, at + 2, value);
}

uint32_t get32(const Bytes &bytes, size_t at)
{
    if (at + 4 > bytes.size())
        return 0xdeadbeef;
    return uint32_t{bytes[at]} << 24 | uint32_t{bytes[at + 1]} << 16 | uint32_t{bytes[at + 2]} << 8 | bytes[at + 3];
}

void putNative(Bytes &bytes, size_t at, unsigned width, uint32_t value)
{
    const auto half = static_cast<uint16_t>(value);
    ASSERT_LE(at + width, bytes.size());
    memcpy(bytes.data() + at, width == 2 ? static_cast<const void *>(&half) : &value, width);
}

uint32_t getNative(const Bytes &bytes, size_t at, unsigned width)
{
    uint16_t half = 0;
    uint32_t word = 0;
    if (at + width > bytes.size())
        return 0xdeadbeef;
    memcpy(width == 2 ? static_cast<void *>(&half) : &word, &bytes[at], width);
    return width == 2 ? half : word;
}

Bytes cut(const Bytes &bytes, size_t from, size_t length)
{
    const auto at = [&](size_t n) { return bytes.begin() + static_cast<std::ptrdiff_t>(std::min(n, bytes.size())); };
    return {at(from), at(from + length)};
}

Bytes operator+(Bytes a, const Bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes text(const std::string &name, size_t width)
{
    Bytes bytes(name.begin(), name.end());
    bytes.resize(width);
    return bytes;
}

Bytes message(uint8_t code, const Bytes &body, uint8_t seqno)
{
    return Bytes{code, static_cast<uint8_t>(body.size() >> 8), static_cast<uint8_t>(body.size()), seqno, 0} + body;
}

Bytes chipUpBody(uint32_t chip, uint32_t slot, uint32_t local, uint32_t type, uint32_t ports)
{
    Bytes body(2007);
    put32(body, 4, chip);
    put32(body, 8, slot);
    put32(body, 12, local);
    put32(body, 16, ports);
    put32(body, 20, type);
    put32(body, 2003, 55);
    return body;
}

Bytes ifAddBody(uint32_t ifindex, const std::string &name, uint32_t status)
{
    Bytes body(4);
    put32(body, 0, ifindex);
    body = body + text(name, 20) + Bytes(8);
    put32(body, 28, status);
    return body;
}

Bytes ifDelBody(uint32_t ifindex, uint32_t status)
{
    Bytes body(28);
    put32(body, 0, ifindex);
    put32(body, 24, status);
    return body;
}

Bytes l2Body(uint32_t ifindex, uint32_t chip, uint8_t def_cos, uint8_t def_tc)
{
    Bytes body(54);
    put32(body, 0, ifindex);
    body[4] = 'p';
    put32(body, 24, chip);
    body[28] = def_cos;
    body[29] = def_tc;
    put32(body, 30, 1);
    for (uint8_t i = 0; i < 8; ++i) {
        body[34U + i] = static_cast<uint8_t>(0x10 + i);
        body[42U + i] = static_cast<uint8_t>(0x20 + i);
    }
    put32(body, 50, 55);
    return body;
}

Bytes l3Body(uint32_t ifindex, uint32_t chip)
{
    Bytes body(228);
    put32(body, 0, ifindex);
    body[4] = 'p';
    put32(body, 24, chip);
    put32(body, 28, 1);
    for (uint8_t i = 0; i < 64; ++i) {
        body[32U + i] = static_cast<uint8_t>(0x40 + i);
        body[96U + i] = static_cast<uint8_t>(0x80 + i);
        body[160U + i] = static_cast<uint8_t>(0xc0 + i);
    }
    put32(body, 224, 55);
    return body;
}

Bytes frame(uint16_t type, uint32_t seq, const Bytes &payload)
{
    Bytes bytes(HEADER);
    putNative(bytes, 0, 4, static_cast<uint32_t>(HEADER + payload.size()));
    putNative(bytes, 4, 2, type);
    putNative(bytes, 8, 4, seq);
    return bytes + payload;
}

Bytes withEnd(Bytes data)
{
    data.resize((data.size() + 3) / 4 * 4);
    return data + frame(4, 0, {});
}

Bytes driverHeader(uint32_t kind, uint32_t body_length)
{
    Bytes header(28);
    put32(header, 8, kind);
    put32(header, 24, body_length);
    return header;
}

Bytes goodReply(const Bytes &request)
{
    const uint32_t length = get32(request, 44);
    Bytes record(std::max<uint32_t>(length, 4));
    put32(record, 0, get32(request, RECORD));
    const auto type = static_cast<uint16_t>(getNative(request, 4, 2));
    return withEnd(frame(type, getNative(request, 8, 4), driverHeader(6, length) + record));
}

Bytes eventFrame(uint16_t type, uint32_t kind, const Bytes &body)
{
    return withEnd(frame(type, 0, driverHeader(kind, static_cast<uint32_t>(body.size())) + body));
}

Socket::Socket(const std::string &file) : fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)), path(file)
{
    const sockaddr_un address = addressOf(path);
    EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0) << path << strerror(errno);
}

Socket::~Socket()
{
    close(fd);
    unlink(path.c_str());
}

bool Socket::send(const std::string &to, const Bytes &bytes, int flags) const
{
    const sockaddr_un address = addressOf(to);
    return sendto(fd, bytes.data(), bytes.size(), flags | MSG_NOSIGNAL, reinterpret_cast<const sockaddr *>(&address),
                  sizeof address) == static_cast<ssize_t>(bytes.size());
}

Datagram Socket::receive(int timeout_ms) const
{
    pollfd entry = {fd, POLLIN, 0};
    if (poll(&entry, 1, timeout_ms) <= 0)
        return {};
    Bytes bytes(300000);
    sockaddr_un from{};
    socklen_t length = sizeof from;
    const ssize_t got = recvfrom(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>(&from), &length);
    bytes.resize(got < 0 ? 0 : static_cast<size_t>(got));
    return {bytes, from.sun_path};
}

Driver::Driver(const std::string &run_dir)
    : run(run_dir), sock(run_dir + "/qos/driver"),
      standard([](const Bytes &request) { return std::vector<Bytes>{goodReply(request)}; })
{
    EXPECT_EQ(pipe2(stop, O_CLOEXEC), 0);
    worker = std::thread([this] { serve(); });
}

Driver::~Driver()
{
    close(stop[1]);
    worker.join();
    close(stop[0]);
}

void Driver::serve()
{
    for (;;) {
        pollfd entries[] = {{sock.fd, POLLIN, 0}, {stop[0], POLLIN, 0}};
        poll(entries, 2, -1);
        if (entries[1].revents)
            return;
        const Datagram got = sock.receive();
        std::vector<Bytes> answers;
        {
            const std::lock_guard<std::mutex> guard(lock);
            Reply reply = standard;
            if (!replies.empty()) {
                reply = replies.front();
                replies.pop_front();
            }
            answers = reply(got.bytes);
            seen.push_back(got.bytes);
        }
        for (const Bytes &answer : answers)
            sock.send(got.from, answer);
        arrived.notify_all();
    }
}

void Driver::script(std::vector<Reply> next)
{
    const std::lock_guard<std::mutex> guard(lock);
    replies.assign(next.begin(), next.end());
}

void Driver::always(Reply reply)
{
    const std::lock_guard<std::mutex> guard(lock);
    standard = std::move(reply);
}

std::vector<Bytes> Driver::requests()
{
    const std::lock_guard<std::mutex> guard(lock);
    return std::exchange(seen, {});
}

std::vector<Bytes> Driver::await(size_t count)
{
    std::unique_lock<std::mutex> guard(lock);
    EXPECT_TRUE(arrived.wait_for(guard, std::chrono::seconds(20), [&] { return seen.size() >= count; }));
    return std::exchange(seen, {});
}

Driver::Reply Driver::status(uint32_t code)
{
    return [code](const Bytes &request) {
        Bytes reply = goodReply(request);
        put32(reply, RECORD + 24, code);
        return std::vector<Bytes>{reply};
    };
}

Driver::Reply Driver::none()
{
    return [](const Bytes &) { return std::vector<Bytes>{}; };
}

TraceLog::TraceLog(std::string path) : file(std::move(path)), start(static_cast<long>(slurp(file).size())) {}

std::vector<std::string> TraceLog::lines(int level)
{
    std::istringstream in(slurp(file).substr(static_cast<size_t>(start)));
    std::vector<std::string> found;
    for (std::string line; std::getline(in, line);)
        if (level == 0 || atoi(line.c_str()) == level)
            found.push_back(line.substr(line.find('\t') + 1));
    return found;
}

size_t TraceLog::count(const std::string &part)
{
    const auto all = lines();
    return static_cast<size_t>(
        std::count_if(all.begin(), all.end(), [&](auto &line) { return line.find(part) != std::string::npos; }));
}

void TraceLog::check()
{
    if (ignored)
        return;
    std::vector<bool> met(expected.size());
    for (const std::string &line : lines(4)) {
        bool known = std::any_of(std::begin(NORMAL), std::end(NORMAL),
                                 [&](const char *part) { return line.find(part) != std::string::npos; });
        for (size_t i = 0; i < expected.size(); ++i)
            if (line.find(expected[i]) != std::string::npos)
                met[i] = known = true;
        if (!known)
            ADD_FAILURE() << "unexpected line: " << line;
    }
    for (size_t i = 0; i < expected.size(); ++i)
        EXPECT_TRUE(met[i]) << "no ERR line with: " << expected[i];
}

std::string makeRunDir()
{
    char name[] = "/tmp/dorvald_test.XXXXXX";
    const std::string run = mkdtemp(name);
    for (const char *folder : {"mi6", "qos", "ctl", "ha", "trace"})
        mkdir((run + "/" + folder).c_str(), 0700);
    return run;
}

RunResult runAgent(const std::vector<std::string> &args, const std::string &run_dir)
{
    const std::string own = makeRunDir();
    const int pid = startAgent(args, run_dir.empty() ? own : run_dir, "manual", own + "/stderr");
    int status = 0;
    waitpid(pid, &status, 0);
    const RunResult result = {statusOf(status), slurp(own + "/stderr")};
    std::filesystem::remove_all(own);
    return result;
}

TestNode::TestNode(const NodeOptions &wanted)
    : run(makeRunDir()), log(run + "/trace.txt"), options(wanted), control(run + "/client")
{
    if (!options.node_file.empty())
        std::ofstream(run + "/node") << options.node_file;
    pid = startAgent(options.args, run, options.vss, run + "/stderr");
    // The socket is there before the thread that serves it; the answer comes when the main loop can be reached.
    const std::string path = run + "/ctl/dorvald." + std::to_string(pid);
    for (int ms = 0; ms < START_MS && !ended() && !std::filesystem::exists(path); ++ms)
        usleep(1000);
    while (!ended() && ctl("cli show qos vss").rfind("ok", 0) != 0)
        usleep(1000);
}

TestNode::~TestNode()
{
    if (!ended()) {
        EXPECT_EQ(ctl("quit"), "ok");
    }
    for (int ms = 0; ms < START_MS && !ended(); ++ms)
        usleep(1000);
    if (!ended()) {
        ADD_FAILURE() << "the agent does not quit";
        kill(pid, SIGKILL);
        waitpid(pid, &exit_status, 0);
    }
    EXPECT_EQ(statusOf(exit_status), 0) << errors();
    log.check();
    std::filesystem::remove_all(run);
}

std::string TestNode::errors() const
{
    return slurp(run + "/stderr");
}

bool TestNode::ended()
{
    if (pid > 0 && waitpid(pid, &exit_status, WNOHANG) == pid) {
        pid = -1;
        EXPECT_EQ(statusOf(exit_status), 0) << "the agent ended by itself or crashed\n" << errors();
    }
    return pid < 0;
}

std::string TestNode::ctl(const std::string &command)
{
    const bool sent = control.send(run + "/ctl/dorvald." + std::to_string(pid), Bytes(command.begin(), command.end()));
    if (!sent) {
        ADD_FAILURE() << "control socket: " << strerror(errno) << "\n" << errors();
        return "";
    }
    for (int waited = 0; waited < START_MS; waited += 100) {
        const Bytes answer = control.receive(100).bytes;
        if (!answer.empty())
            return {answer.begin(), answer.end()};
        if (ended())
            return "";
    }
    ADD_FAILURE() << "no answer to " << command;
    return "";
}

void TestNode::cold()
{
    EXPECT_EQ(ctl("stage 1002"), "ok 1002 1 1001 1000");
}

// A pass takes queue messages ahead of descriptors, so the second answer comes behind whatever the first one's pass
// found.
void TestNode::sync()
{
    ctl("cli show qos vss");
    ctl("cli show qos vss");
}

uint32_t TestNode::stat(const std::string &key)
{
    const std::string answer = ctl("stat");
    const size_t at = answer.find("\"" + key + "\":");
    return at == std::string::npos ? 0xdeadbeef
                                   : static_cast<uint32_t>(strtoul(&answer[at + key.size() + 3], nullptr, 10));
}

uint32_t TestNode::counter(const std::string &name)
{
    const std::string answer = ctl("cli show dorvmd mi statistics");
    const size_t at = answer.find(name);
    return at == std::string::npos ? 0xdeadbeef
                                   : static_cast<uint32_t>(strtoul(&answer[answer.find('=', at) + 1], nullptr, 10));
}

std::string TestNode::socketOf(const std::string &service) const
{
    return run + "/mi6/" + service + ".lc" + std::to_string(options.line_card) + "." + std::to_string(pid);
}

Manager::Manager(const TestNode &node, const std::string &name)
    : sock(managerPath(node, name)), agent(node.socketOf(name)), service(name)
{
}

void Manager::send(const Bytes &batch, uint8_t flags, uint16_t mask, int socket_flags) const
{
    Bytes address(20);
    putNative(address, 0, 2, 58);
    std::copy(service.begin(), service.end(), address.begin() + 2);
    putNative(address, 16, 2, mask);
    address[19] = flags;
    EXPECT_TRUE(sock.send(agent, address + batch, socket_flags)) << strerror(errno);
}

Bytes Manager::receive(int timeout_ms)
{
    const Bytes bytes = sock.receive(timeout_ms).bytes;
    from = cut(bytes, 0, 20);
    return cut(bytes, 20, bytes.size());
}

Bytes Manager::exchange(const Bytes &batch)
{
    send(batch);
    return receive();
}

Bytes Manager::tell(uint8_t code, const Bytes &body)
{
    const Bytes echo = exchange(message(code, body, 0x77));
    const Bytes head = {code, static_cast<uint8_t>(body.size() >> 8), static_cast<uint8_t>(body.size()), 0x77, 1};
    EXPECT_EQ(cut(echo, 0, 5), head);
    return cut(echo, 5, echo.size());
}

LiveNode::LiveNode(const NodeOptions &options) : node(options), driver(node.run), manager(node)
{
    node.cold();
    EXPECT_EQ(manager.receive().size(), 9U) << "registration";
}

void LiveNode::addPort()
{
    EXPECT_EQ(get32(manager.tell(1, chipUpBody(CHIP, 1, 0, 1)), 2003), 0U);
    EXPECT_EQ(get32(manager.tell(2, ifAddBody(PORT, "p")), 28), 0U);
    driver.requests(); // what a chip and a port are programmed with is not the test's own
}
