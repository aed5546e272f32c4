// SPDX-License-Identifier: Apache-2.0
// The test node: the agent as a child process, its driver and managers.
#include "tests/support/node.h"
#include "tests/support/mi6.h"

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

// Starts the agent with its standard error in `errors`; the child's process id.
int startAgent(std::vector<std::string> args, const std::string &run, const std::string &vss, const std::string &errors)
{
    args.insert(args.begin(), "dorvald");
    return startProgram(DORVALD_BINARY, args, run, {"VELMAR_VSS=" + vss, "VELMAR_TRACE=" + run + "/trace.txt"}, errors);
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

Bytes message(uint8_t code, const Bytes &body, uint8_t seqno)
{
    return Bytes{code, static_cast<uint8_t>(body.size() >> 8), static_cast<uint8_t>(body.size()), seqno, 0} + body;
}

Bytes chipUpBody(uint32_t chip, uint32_t slot, uint32_t local, uint32_t type, uint32_t ports)
{
    return bodyOf(QOS_CHIPUP_MSG, Field{"chip_ifindex", chip}, Field{"slot_id", slot}, Field{"local_chip_id", local},
                  Field{"num_ports", ports}, Field{"chip_type", type});
}

Bytes ifAddBody(uint32_t ifindex, const std::string &name, uint32_t status)
{
    return bodyOf(QOS_IFADD_MSG, Field{"ifIndex", ifindex}, Field{"ifName", name}, Field{"status", status});
}

Bytes ifDelBody(uint32_t ifindex, uint32_t status)
{
    return bodyOf(QOS_IFDEL_MSG, Field{"ifIndex", ifindex}, Field{"status", status});
}

Bytes l2Body(uint32_t ifindex, uint32_t chip, uint8_t def_cos, uint8_t def_tc)
{
    return bodyOf(QOS_COSTRUST_MSG, Field{"ifIndex", ifindex}, Field{"ifName", 'p'}, Field{"chip_ifindex", chip},
                  Field{"def_cos", def_cos}, Field{"def_tc", def_tc}, Field{"cos_trust", 1}, Field{"cos_map", 0x10, 1},
                  Field{"tc_map", 0x20, 1});
}

Bytes l3Body(uint32_t ifindex, uint32_t chip)
{
    return bodyOf(QOS_DSCPTRUST_MSG, Field{"ifIndex", ifindex}, Field{"ifName", 'p'}, Field{"chip_ifindex", chip},
                  Field{"dscp_trust", 1}, Field{"dscp_map", 0x40, 1}, Field{"cos_map", 0x80, 1},
                  Field{"tc_map", 0xc0, 1});
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

Bytes replyWith(const Bytes &request, const Bytes &record)
{
    const auto type = static_cast<uint16_t>(getNative(request, 4, 2));
    const Bytes header = driverHeader(6, static_cast<uint32_t>(record.size()));
    return withEnd(frame(type, getNative(request, 8, 4), header + record));
}

Bytes goodReply(const Bytes &request)
{
    Bytes record(std::max<uint32_t>(get32(request, 44), 4));
    put32(record, 0, get32(request, RECORD));
    return replyWith(request, record);
}

Bytes eventFrame(uint16_t type, uint32_t kind, const Bytes &body)
{
    return withEnd(frame(type, 0, driverHeader(kind, static_cast<uint32_t>(body.size())) + body));
}

Driver::Driver(const std::string &run_dir)
    : run(run_dir), standard([](const Bytes &request) { return std::vector<Bytes>{goodReply(request)}; }),
      server(run_dir + "/qos/driver", [this](const Datagram &request) { serve(request); })
{
}

void Driver::serve(const Datagram &request)
{
    std::vector<Bytes> answers;
    {
        const std::lock_guard<std::mutex> guard(lock);
        Reply reply = standard;
        if (!replies.empty()) {
            reply = replies.front();
            replies.pop_front();
        }
        answers = reply(request.bytes);
        seen.push_back(request.bytes);
    }
    for (const Bytes &answer : answers)
        server.sock.send(request.from, answer);
    arrived.notify_all();
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

std::vector<Bytes> Driver::records(uint32_t target)
{
    std::vector<Bytes> found = requests();
    for (Bytes &request : found) {
        EXPECT_TRUE(target == 0 || get32(request, HEADER) == target) << std::hex << get32(request, HEADER);
        request = cut(request, RECORD, request.size());
    }
    return found;
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

RunResult runAgent(const std::vector<std::string> &args, const std::string &run_dir, const std::string &vss)
{
    const RunDirectory own;
    const int pid = startAgent(args, run_dir.empty() ? own.path : run_dir, vss, own.path + "/stderr");
    int status = 0;
    waitpid(pid, &status, 0);
    return {statusOf(status), slurp(own.path + "/stderr")};
}

TestNode::TestNode(const NodeOptions &wanted)
    : run(makeRunDir()), log(run + "/trace.txt"), options(wanted), client(run + "/client")
{
    if (!options.node_file.empty())
        std::ofstream(run + "/node") << options.node_file;
    pid = startAgent(options.args, run, options.vss, run + "/stderr");
    // The socket is there before the thread that serves it; the answer comes when the main loop can be reached.
    within([&] { return ended() || std::filesystem::exists(control()); });
    while (!ended() && ctl("cli show qos vss").rfind("ok", 0) != 0)
        usleep(1000);
}

TestNode::~TestNode()
{
    if (!ended()) {
        EXPECT_EQ(ctl("quit"), "ok");
    }
    if (!within([this] { return ended(); })) {
        ADD_FAILURE() << "the agent does not quit";
        kill(pid, SIGKILL);
        waitpid(pid, &exit_status, 0);
    }
    EXPECT_EQ(statusOf(exit_status), 0) << slurp(run + "/stderr");
    log.check();
    std::filesystem::remove_all(run);
}

bool TestNode::ended()
{
    if (pid > 0 && waitpid(pid, &exit_status, WNOHANG) == pid) {
        pid = -1;
        EXPECT_EQ(statusOf(exit_status), 0) << "the agent ended by itself or crashed\n" << slurp(run + "/stderr");
    }
    return pid < 0;
}

std::string TestNode::ctl(const std::string &command)
{
    if (!client.send(control(), command)) {
        ADD_FAILURE() << "control socket: " << strerror(errno) << "\n" << slurp(run + "/stderr");
        return "";
    }
    for (int waited = 0; waited < START_MS; waited += 100) {
        const std::string answer = client.receiveText(100);
        if (!answer.empty())
            return answer;
        if (ended())
            return "";
    }
    ADD_FAILURE() << "no answer to " << command;
    return "";
}

void TestNode::cold()
{
    within([this] { return ctl("stat").find("\"role\":\"standby\"") == std::string::npos; }); // the election is its own
    EXPECT_EQ(ctl("stage 1002"), "ok 1002 1 1001 1000");
}

// A pass takes queue messages ahead of descriptors, so the second answer comes behind whatever the first one's pass
// found.
void TestNode::sync()
{
    ctl("cli show qos vss");
    ctl("cli show qos vss");
}

// The number behind the first `mark` that follows `name`.
static uint32_t numberIn(const std::string &text, const std::string &name, char mark)
{
    const size_t at = text.find(name);
    return at == std::string::npos ? 0xdeadbeef
                                   : static_cast<uint32_t>(strtoul(&text[text.find(mark, at) + 1], nullptr, 10));
}

uint32_t TestNode::stat(const std::string &key)
{
    return numberIn(ctl("stat"), "\"" + key + "\"", ':');
}

uint32_t TestNode::counter(const std::string &name)
{
    return numberIn(ctl("cli show dorvmd mi statistics"), name, '=');
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
    EXPECT_TRUE(sock.send(agent, mi6Head(service, flags, mask) + batch, socket_flags)) << strerror(errno);
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

uint32_t LiveNode::status(uint8_t code, const Bytes &body)
{
    return get32(manager.tell(code, body), fieldAt(code, "status"));
}

void LiveNode::addPort()
{
    EXPECT_EQ(status(QOS_CHIPUP_MSG, chipUpBody(CHIP, 1, 0, 1)), 0U);
    EXPECT_EQ(status(QOS_IFADD_MSG, ifAddBody(PORT, "p")), 0U);
    driver.requests(); // what a chip and a port are programmed with is not the test's own
}
