// SPDX-License-Identifier: Apache-2.0
// A test's own node: the built agent in a run directory of its own, with a scripted driver and managers at the real
// socket paths. Every byte is put and read here by hand, apart from the agent's own records.
//
// Failures are reported through GoogleTest. A node that goes out of scope is told to quit, must end with status 0, and
// fails the test on any ERR line that was not expected and for each expected one that did not come.
#ifndef TESTS_SUPPORT_NODE_H
#define TESTS_SUPPORT_NODE_H

#include <condition_variable>

#include "tests/support/peer.h"

constexpr uint32_t CHIP = 0x88400000; // slot 1, chip 0
constexpr uint32_t PORT = 0x18408000; // type 6, slot 1, port 1, on CHIP
constexpr uint32_t LARKIN_CHIP = 0x88410000;
constexpr uint32_t LARKIN_PORT = 0x18410001;
constexpr uint32_t CHANNEL = 0x38000001; // type 14, on no chip

// Manager messages and bodies.
Bytes message(uint8_t code, const Bytes &body, uint8_t seqno = 0);
Bytes chipUpBody(uint32_t chip, uint32_t slot, uint32_t local, uint32_t type, uint32_t ports = 0);
Bytes ifAddBody(uint32_t ifindex, const std::string &name, uint32_t status = UNTOUCHED);
Bytes ifDelBody(uint32_t ifindex, uint32_t status = UNTOUCHED);
Bytes l2Body(uint32_t ifindex, uint32_t chip, uint8_t def_cos, uint8_t def_tc);
Bytes l3Body(uint32_t ifindex, uint32_t chip);

// Frames of the driver channel.
Bytes frame(uint16_t type, uint32_t seq, const Bytes &payload);
Bytes withEnd(Bytes data);                               // aligned to 4, the end frame behind it
Bytes driverHeader(uint32_t kind, uint32_t body_length); // of a response or event
Bytes replyWith(const Bytes &request, const Bytes &record);
Bytes goodReply(const Bytes &request); // command echoed, the length asked for, all else 0
Bytes eventFrame(uint16_t type, uint32_t kind, const Bytes &body);

// The ASIC driver at RUN/qos/driver. A thread of its own answers each request with the next scripted reply, or with
// goodReply where the script has ended, and keeps the request.
class Driver {
public:
    using Reply = std::function<std::vector<Bytes>(const Bytes &request)>; // the datagrams to send
    explicit Driver(const std::string &run);
    void script(std::vector<Reply> replies);
    void always(Reply reply);                        // in place of goodReply
    std::vector<Bytes> requests();                   // since the last call
    std::vector<Bytes> records(uint32_t target = 0); // theirs, without the headers; all to `target`, if it is given
    std::vector<Bytes> await(size_t count);          // the requests, once there are `count`
    void send(const std::string &socket, const Bytes &bytes) { server.sock.send(run + "/qos/" + socket, bytes); }

    static Reply status(uint32_t code); // a COS response with the driver's status
    static Reply none();

private:
    void serve(const Datagram &request);
    std::string run;
    std::mutex lock;
    std::condition_variable arrived;
    std::deque<Reply> replies;
    Reply standard;
    std::vector<Bytes> seen;
    Server server; // behind what its thread uses
};

// What a process writes to its VELMAR_TRACE file from now on.
class TraceLog {
public:
    explicit TraceLog(std::string file);
    std::vector<std::string> lines(int level = 0); // of one level, or all
    size_t count(const std::string &part);         // lines with it
    bool has(const std::string &part) { return count(part) > 0; }
    void expectErr(const std::string &part) { expected.push_back(part); }
    void expectErr(std::initializer_list<const char *> parts)
    {
        expected.insert(expected.end(), parts.begin(), parts.end());
    }
    void ignoreErrs() { ignored = true; }
    void check(); // the ERR lines against what was expected

private:
    std::string file;
    long start;
    std::vector<std::string> expected;
    bool ignored = false;
};

struct RunResult {
    int status; // exit status, -1 for a signal
    std::string err;
};
RunResult runAgent(const std::vector<std::string> &args, const std::string &run_dir, const std::string &vss = "manual");

struct NodeOptions {
    std::string node_file = "";
    std::vector<std::string> args = {"-s", "1", "-S", "ethsw"};
    std::string vss = "manual";
    unsigned line_card = 1; // N of its lcN sockets
};

class TestNode {
public:
    explicit TestNode(const NodeOptions &options = {});
    ~TestNode();
    TestNode(const TestNode &) = delete;
    std::string ctl(const std::string &command);
    std::string control() const { return run + "/ctl/dorvald." + std::to_string(pid); } // the socket's path
    void cold();                                                                        // drives the cold sequence
    void sync(); // everything that was sent to the agent before has been worked on
    uint32_t stat(const std::string &key);
    uint32_t counter(const std::string &name); // of the manager channel
    std::string socketOf(const std::string &service) const;
    std::string group(unsigned number) const { return "group" + std::to_string(number) + "." + std::to_string(pid); }
    void expectErr(const std::string &part) { log.expectErr(part); }
    void expectErr(std::initializer_list<const char *> parts) { log.expectErr(parts); }

    const std::string run;
    TraceLog log;

private:
    bool ended();
    NodeOptions options;
    int pid = -1;
    int exit_status = -1;
    Socket client;
};

class Manager {
public:
    explicit Manager(const TestNode &node, const std::string &service = "qosMI");
    void send(const Bytes &batch, uint8_t flags = 8, uint16_t mask = 0, int socket_flags = 0) const;
    Bytes receive(int timeout_ms = 20000); // the payload; the sender's 20 bytes are left in `from`
    Bytes exchange(const Bytes &batch);
    Bytes tell(uint8_t code, const Bytes &body); // sends one message: the body of its echo, which must be acknowledged
    bool silent() { return receive(0).empty(); }

    Socket sock;
    Bytes from;

private:
    std::string agent;
    std::string service;
};

// A node at work: stage Active, one manager that has had the registration.
struct LiveNode {
    explicit LiveNode(const NodeOptions &options = {});
    void addPort();                                   // CHIP as a Tessel with PORT on it
    uint32_t status(uint8_t code, const Bytes &body); // that a message comes back with
    TestNode node;
    Driver driver;
    Manager manager;
};

#endif
