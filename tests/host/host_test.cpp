// SPDX-License-Identifier: Apache-2.0
// The platform on plain Linux, through its own operations and the sockets that other programs meet. What needs a whole
// process runs the agent, or a child of this one.
#include <chrono>

#include "host/clock.h"
#include "host/ctl.h"
#include "tests/support/chip_reply.h"
#include "tests/support/mi6.h"
#include "velmar/ctl.h"
#include "velmar/dce.h"
#include "velmar/ha.h"
#include "velmar/msgq.h"
#include "velmar/os.h"
#include "velmar/process.h"
#include "velmar/run.h"
#include "velmar/swd.h"
#include "velmar/trace.h"

namespace fs = std::filesystem;
using std::string;

namespace {

double seconds(const std::function<void()> &work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

class Host : public testing::Test {
protected:
    Host()
    {
        directory.own();
        unsetenv("VELMAR_VSS");
        unsetenv("VELMAR_TRACE");
    }
    const RunDirectory directory;
    const fs::path run = directory.path;
};

// What a memory file holds that comes with an answer which is too long for its datagram.
string wholeAnswer(const TestNode &node, const string &command)
{
    const Socket client(node.run + "/whole");
    client.send(node.control(), command);
    char text[64];
    iovec data = {text, sizeof text};
    alignas(cmsghdr) char control[64];
    msghdr message = {nullptr, 0, &data, 1, control, sizeof control, 0};
    pollfd entry = {client.fd, POLLIN, 0};
    int file = -1;
    if (poll(&entry, 1, 60000) == 1 && recvmsg(client.fd, &message, 0) > 0 && CMSG_FIRSTHDR(&message))
        memcpy(&file, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof file);
    const string whole = slurp("/proc/self/fd/" + std::to_string(file));
    close(file);
    return whole;
}

// The notice at the head of the queue: its code and the flags of its destination, both -1 if there is none.
using Notice = std::pair<int, int>;
Notice noticeAt(int fd)
{
    const Received head = receive(fd);
    if (head.got >= 0 || head.error != 68)
        return {-1, -1};
    const Received r = receive(fd, MSG_ERRQUEUE | MSG_DONTWAIT, 100, CMSG_LEN(32));
    const cmsghdr *cmsg = reinterpret_cast<const cmsghdr *>(r.cmsg);
    EXPECT_TRUE(r.got >= 0 && r.control == CMSG_LEN(32) && cmsg->cmsg_level == SOL_MI6 && r.flags == MSG_ERRQUEUE);
    mi6_notice_t data;
    memcpy(&data, CMSG_DATA(cmsg), sizeof data);
    return {static_cast<int>(data.code), data.destination.flags};
}

void throwAt(const fs::path &path, const string &data)
{
    const Socket thrower(path.parent_path() / "thrower");
    EXPECT_TRUE(thrower.send(path, data)) << path << ": " << strerror(errno);
}

fs::path mi6File(const fs::path &run, const char *end)
{
    return run / "mi6" / (string("svc.") + end + "." + std::to_string(getpid()));
}

// What a process makes of its node file, in a child.
[[noreturn]] void showNode()
{
    velmar_sigdefaults("node");
    fprintf(stderr, "%d %u %u %u\n", sysconModel(), __expm.slot, __expm.slot_base, __expm.instance);
    _exit(0);
}

TEST_F(Host, RunDirectoryIsMadeOrRefusedClearly)
{
    char error[600];
    const fs::path made = run / "new";
    setenv("VELMAR_RUN", made.c_str(), 1);
    ASSERT_STREQ(made.c_str(), velmar_run_dir(error, sizeof error));
    EXPECT_EQ(fs::perms::owner_all, fs::status(made).permissions());
    for (const char *folder : {"mi6", "qos", "ctl", "ha", "trace"})
        EXPECT_TRUE(fs::is_directory(made / folder)) << folder;

    std::ofstream(run / "file") << "x";
    const fs::path deep = run / "no" / "parent";
    setenv("VELMAR_RUN", deep.c_str(), 1);
    ASSERT_STREQ(deep.c_str(), velmar_run_dir(error, sizeof error)) << error;
    EXPECT_EQ(fs::perms::owner_all, fs::status(run / "no").permissions());
    // Whatever may be bound or locked in the longest directory fits.
    const size_t most = 65;
    const std::pair<string, string> refused[] = {
        {run / "file" / "below", "cannot make"},
        {run / "file", "not a directory"},
        {run / string(most - run.native().size(), 'x'), "at most " + std::to_string(most)}};
    for (const auto &[dir, words] : refused) {
        setenv("VELMAR_RUN", dir.c_str(), 1);
        EXPECT_EQ(nullptr, velmar_run_dir(error, sizeof error));
        EXPECT_NE(string::npos, string(error).find(words)) << error;
        EXPECT_EXIT(showNode(), testing::ExitedWithCode(1), "") << dir;
    }
}

TEST_F(Host, SocketFilesHaveOneLivingOwner)
{
    char path[108];
    char again[108];
    const int first = velmar_run_bind("qos", "driver", false, path, sizeof path);
    ASSERT_GE(first, 0);
    EXPECT_EQ(-1, velmar_run_bind("qos", "driver", false, again, sizeof again));
    EXPECT_EQ(EADDRINUSE, errno);
    EXPECT_EQ(-1, velmar_run_path(path, sizeof path, "qos", string(100, 'n').c_str()));
    EXPECT_EQ(ENAMETOOLONG, errno);
    close(first); // the file stays behind
    EXPECT_TRUE(fs::exists(run / "qos/driver"));
    const int second = velmar_run_bind("qos", "driver", false, again, sizeof again);
    EXPECT_GE(second, 0);
    // Of processes that are gone the sockets go with the next bind, in each folder.
    const string dead[] = {run / "qos/group1.4194303", run / "qos/group6.4194303.2", run / "ctl/dorvald.4194303"};
    const string living = run / ("qos/group1." + std::to_string(getpid()));
    for (const string &file : dead)
        leaveSocket(file);
    leaveSocket(living);
    for (const char *folder : {"qos", "ctl"})
        velmar_run_close(velmar_run_bind(folder, "new", true, path, sizeof path));
    for (const string &file : dead)
        EXPECT_FALSE(fs::exists(file)) << file;
    EXPECT_TRUE(fs::exists(living));
    const int one = velmar_run_bind("ctl", "c", true, path, sizeof path);
    const int two = velmar_run_bind("ctl", "c", true, again, sizeof again);
    EXPECT_EQ(string(path) + ".2", again);
    for (const int fd : {second, one, two})
        velmar_run_close(fd);
    EXPECT_TRUE(fs::is_empty(run / "ctl"));
}

TEST_F(Host, NodeFile)
{
    const std::tuple<string, int, string> cases[] = {
        {"", 0, "1000 1 0 1"},
        {"# a card\n model=2008 # comment\n\nslot = 3\nslot_base = 1\ninstance=2", 0, "2008 3 1 2"},
        {"slot = 1\nslot 4\n", 1, "/node line 2: expected key = value: 'slot 4'"},
        {"slot = four\n", 1, "/node line 1: the value is not"},
        {"slot = 17\n", 1, "/node line 1: the value is out"},
        {"colour = 1\n", 1, "/node line 1: unknown key"},
        {"#" + string(5000, 'x') + " = 1\nslot=4", 0, "1000 4 0 1"},
        {string("slot=1\0 2", 9), 1, "/node line 1: there is a NUL"},
        {"directory", 1, "/node: Is a directory"},
    };
    for (const auto &[text, status, said] : cases) {
        fs::remove(run / "node");
        if (text == "directory")
            fs::create_directory(run / "node");
        else if (!text.empty())
            std::ofstream(run / "node") << text;
        // One line, in which it stands.
        EXPECT_EXIT(showNode(), testing::ExitedWithCode(status), testing::MatchesRegex("[^\n]*" + said + "[^\n]*\n"))
            << text;
    }
}

TEST_F(Host, FailuresAtStartAreNamed)
{
    const fs::path lock = run / "ha/svc.1.lock";
    fs::create_directory(lock);
    for (const auto &[service, expected] :
         {std::pair{"svc", "cannot open lock file " + lock.string() + ": Is a directory"},
          {"a/b", "service 'a/b' instance '1': the service must not hold a '/'"}}) {
        const RunResult result = runAgent({"-s", "1", "-S", service}, run, "auto");
        EXPECT_EQ(1, result.status);
        EXPECT_EQ("dorvald: " + expected + "\n", result.err);
    }
}

TEST_F(Host, Mi6ReachesWhomTheAddressNames)
{
    const Mi6 card1(1);
    const Mi6 card3(0x0c); // lowest bit counts
    const Mi6 manager(0);
    const fs::path dir = run / "mi6";
    EXPECT_TRUE(fs::exists(mi6File(run, "lc3")));
    const std::pair<string, bool> files[] = {{"svc.mgr.tool", true},   {"svc.mgr." + string(70, 'x'), true},
                                             {"svc.mgr.1.2.3", true},  {"svc.mgr.99999999999", true},
                                             {"svc.mgr.", false},      {"svc.mgr", false},
                                             {"svc.lc1.tool", false},  {"svc2.mgr.tool", false},
                                             {"a.svc.mgr.tool", false}};
    std::deque<Socket> sockets; // any name behind the end is meant
    for (const auto &[file, meant] : files)
        sockets.emplace_back(dir / file);
    std::ofstream(dir / "svc.mgr.notes") << "x";
    EXPECT_EQ(5, card1.send(MI6_MANAGER, 0, "hello"));
    for (size_t i = 0; i < sockets.size(); ++i)
        EXPECT_EQ(files[i].second ? 25U : 0U, sockets[i].receive(0).bytes.size()) << files[i].first;
    const Received r = receive(manager);
    EXPECT_EQ("hello", r.data);
    EXPECT_EQ(AF_MI6, r.from.family);
    EXPECT_STREQ("svc", r.from.service);
    EXPECT_EQ(1, r.from.slot_mask);
    EXPECT_EQ(MI6_LINE_CARD, r.from.flags);

    // A receiver that binds after the first send is met by the next, a second manager too.
    const Mi6 card2(2);
    const Mi6 manager2(0);
    EXPECT_EQ(2, manager.send(MI6_LINE_CARD, 0x06, "lc"));
    EXPECT_EQ(EAGAIN, receive(card1).error);
    for (const int fd : {int{card2}, int{card3}}) {
        const Received got = receive(fd);
        EXPECT_EQ("lc", got.data);
        EXPECT_EQ(MI6_MANAGER, got.from.flags);
        EXPECT_EQ(0, got.from.slot_mask);
    }
    EXPECT_EQ(3, card1.send(MI6_MANAGER_STANDBY, 0, "two"));
    EXPECT_EQ("two", receive(manager).data);
    EXPECT_EQ("two", receive(manager2).data);

    // A name bound anew while its old socket is still open leads to the new one.
    fs::remove(mi6File(run, "mgr"));
    {
        const Socket anew(mi6File(run, "mgr"));
        EXPECT_EQ(2, card1.send(MI6_MANAGER, 0, "on"));
        EXPECT_EQ(22U, anew.receive(0).bytes.size());
        EXPECT_EQ(EAGAIN, receive(manager).error);
    }
    // Without a process id a stale file goes by its age, a date in the future is none; other files stay.
    for (const Socket &socket : sockets)
        close(socket.fd);
    fs::last_write_time(dir / "svc.mgr.tool", fs::file_time_type::clock::now() - std::chrono::seconds(10));
    fs::last_write_time(dir / "svc.mgr.1.2.3", fs::file_time_type::clock::now() + std::chrono::hours(10));
    EXPECT_EQ(2, card1.send(MI6_MANAGER, 0, "on"));
    EXPECT_FALSE(fs::exists(dir / "svc.mgr.tool"));
    EXPECT_FALSE(fs::exists(dir / "svc.mgr.1.2.3"));
    EXPECT_TRUE(fs::exists(dir / "svc.mgr.notes"));
    EXPECT_TRUE(fs::exists(dir / "svc.mgr.99999999999")); // young
}

TEST_F(Host, Mi6NoticesAndOddDatagrams)
{
    const Mi6 fd(4);
    EXPECT_EQ(0, fd.send(MI6_MANAGER, 0, "nobody"));
    EXPECT_EQ(Notice(6, MI6_MANAGER), noticeAt(fd));
    EXPECT_EQ(0, fd.send(MI6_LINE_CARD, 2, "nobody"));
    EXPECT_EQ(Notice(6, MI6_LINE_CARD), noticeAt(fd));
    // A file without a living owner is no receiver, and goes.
    const fs::path stale = run / "mi6/svc.mgr.3999999";
    leaveSocket(stale);
    EXPECT_EQ(0, fd.send(MI6_MANAGER, 0, "nobody"));
    EXPECT_FALSE(fs::exists(stale));
    EXPECT_EQ(6, noticeAt(fd).first);
    EXPECT_EQ(EAGAIN, receive(fd, MSG_ERRQUEUE | MSG_DONTWAIT).error);

    // Anyone may send a notice: 20 bytes of family 0xffff, then code, 8 bytes, destination.
    const Bytes bytes = notice(77, 2, 0);
    const string raw(bytes.begin(), bytes.end());
    string payload = string("\x3a\0qosMI", 7) + string(13, '\0');
    throwAt(mi6File(run, "lc3"), raw.substr(0, 51)); // too short for a notice
    throwAt(mi6File(run, "lc3"), string(19, 'x'));   // too short for an address
    throwAt(mi6File(run, "lc3"), raw);
    throwAt(mi6File(run, "lc3"), payload);
    throwAt(mi6File(run, "lc3"), payload + "longer");
    EXPECT_EQ(Notice(77, 2), noticeAt(fd));
    EXPECT_EQ(0, receive(fd).got);
    const Received cut = receive(fd, MSG_DONTWAIT, 4);
    EXPECT_EQ("long", cut.data);
    EXPECT_TRUE(cut.flags & MSG_TRUNC);

    // A control buffer that is too small is filled as far as it goes.
    throwAt(mi6File(run, "lc3"), raw);
    EXPECT_EQ(68, receive(fd).error);
    const Received small = receive(fd, MSG_ERRQUEUE | MSG_DONTWAIT, 100, CMSG_LEN(20));
    EXPECT_EQ(MSG_ERRQUEUE | MSG_CTRUNC, small.flags);
    EXPECT_EQ(CMSG_LEN(20), small.control);
    EXPECT_EQ(CMSG_LEN(20), reinterpret_cast<const cmsghdr *>(small.cmsg)->cmsg_len);
}

TEST_F(Host, Mi6FullReceiverIsWaitedForOnce)
{
    const Mi6 manager(0);
    const Mi6 card(1);
    int sent = 0;
    double last = 0;
    for (int rc = 0; rc >= 0 && sent < 5000; ++sent)
        last = seconds([&] { rc = card.send(MI6_MANAGER, 0, "x"); });
    --sent;
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_GE(sent, 10);
    EXPECT_GE(last, 0.045);
    EXPECT_LT(last, 1);
    EXPECT_EQ(4, noticeAt(card).first);
    EXPECT_LT(seconds([&] { EXPECT_EQ(-1, card.send(MI6_MANAGER, 0, "y")); }), 0.04);
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(-1, noticeAt(card).first); // said once
    // The other manager takes the datagram: no failure.
    const Mi6 second(0);
    EXPECT_EQ(1, card.send(MI6_MANAGER, 0, "z"));
    EXPECT_EQ("z", receive(second).data);
    for (int i = 0; i < sent; ++i)
        EXPECT_EQ("x", receive(manager).data) << i;
    EXPECT_EQ(1, card.send(MI6_MANAGER, 0, "w"));
    EXPECT_EQ(5, noticeAt(card).first);
    EXPECT_EQ("w", receive(manager).data);
}

TEST_F(Host, WaitsForTheDriver)
{
    const int fd = velmar_socket(AF_QOS, SOCK_RAW, 0);
    qosSockAddr_t address = {};
    address.family = AF_QOS;
    address.group = 1;
    EXPECT_EQ(-1, velmar_bind(fd, &address, 27));
    EXPECT_EQ(0, velmar_bind(fd, &address, sizeof address));
    const Socket driver(run / "qos/driver");
    const sockaddr_un own = addressOf(run / "qos" / ("group1." + std::to_string(getpid())));
    // A driver that connects and lets go with a datagram unread leaves an error at the other end.
    const auto leaveError = [&] {
        char frame[] = "two";
        iovec vector = {frame, 3};
        const msghdr message = {&address, sizeof address, &vector, 1, nullptr, 0, 0};
        EXPECT_EQ(3, velmar_sendmsg(fd, &message, 0));
        sockaddr_un to = own;
        EXPECT_EQ(0, connect(driver.fd, reinterpret_cast<sockaddr *>(&to), sizeof to));
        to.sun_family = AF_UNSPEC;
        EXPECT_EQ(0, connect(driver.fd, reinterpret_cast<sockaddr *>(&to), sizeof to));
        pollfd entry = {fd, POLLIN, 0};
        ASSERT_EQ(1, poll(&entry, 1, 0));
        EXPECT_EQ(POLLERR, entry.revents);
    };
    leaveError();
    EXPECT_EQ(EAGAIN, receive(fd).error); // nor is it anything to be received
    fd_set alone;
    FD_ZERO(&alone);
    FD_SET(fd, &alone);
    const timeval second = {1, 0};
    leaveError(); // but a wait for this socket alone ends with it
    EXPECT_EQ(1, velmar_select(fd + 1, &alone, nullptr, nullptr, &second));
    char start[3];
    iovec vector = {start, sizeof start};
    msghdr message = {nullptr, 0, &vector, 1, nullptr, 0, 0};
    EXPECT_EQ(-1, velmar_recvmsg(fd, &message, 0));
    EXPECT_EQ(ECONNRESET, errno);
    // What such a wait received is there for whoever looks, until it is taken, cut to the room.
    EXPECT_EQ(5, sendto(driver.fd, "first", 5, 0, reinterpret_cast<const sockaddr *>(&own), sizeof own));
    EXPECT_EQ(1, velmar_select(fd + 1, &alone, nullptr, nullptr, &second));
    EXPECT_EQ(1, velmar_select(fd + 1, &alone, nullptr, nullptr, &second));
    pollfd kept[] = {{-1, POLLIN, 0}, {fd, POLLIN, 0}};
    EXPECT_EQ(1, velmar_poll(kept, 2, -1));
    EXPECT_EQ(POLLIN, kept[1].revents);
    EXPECT_EQ(3, velmar_recvmsg(fd, &message, 0));
    EXPECT_EQ(MSG_TRUNC, message.msg_flags & MSG_TRUNC);
    EXPECT_EQ(0, memcmp(start, "fir", 3));
    EXPECT_EQ(0, velmar_poll(kept, 2, 0));
    EXPECT_EQ(EAGAIN, receive(fd).error);
    int pipe_fds[2];
    ASSERT_EQ(0, velmar_pipe(pipe_fds));
    for (const int limit : {0, 60, -1}) {
        leaveError();
        std::thread ender([&] {
            if (limit < 0)
                (void)!write(pipe_fds[1], "", 1);
        });
        pollfd entries[] = {{fd, POLLIN, 0}, {pipe_fds[0], POLLIN, 0}};
        int ready = -1;
        const double lasted = seconds([&] { ready = velmar_poll(entries, 2, limit); });
        EXPECT_EQ(limit < 0, ready == 1) << limit;
        EXPECT_EQ(0, entries[0].revents);
        EXPECT_GE(lasted, limit / 1000.0 - 0.001);
        ender.join();
    }
    for (const int end : {fd, pipe_fds[0], pipe_fds[1]})
        velmar_close(end);
}

TEST_F(Host, MessageQueue)
{
    static std::atomic<int> woken;
    static MSG_Q_ID queue = msgQCreate(100, 16, 0, "a name that is too long"); // queues live as long as the process
    EXPECT_STREQ("a name that is ", queue->name);
    EXPECT_EQ(nullptr, msgQCreate(0, 16, 0, "none"));
    EXPECT_EQ(nullptr, msgQCreate(16, 0, 0, "none"));
    msgQSetWakeup(
        queue, [](void *arg) { ++*static_cast<std::atomic<int> *>(arg); }, &woken);
    uint32_t got[4] = {};
    EXPECT_EQ(-1, msgQReceive(queue, reinterpret_cast<char *>(got), sizeof got, 0));
    EXPECT_NE(0, msgQSend(queue, got, 17, 0, 1));
    // Two threads post more than the queue holds, while this one takes: no message is lost or doubled.
    std::atomic<int> refused = 0;
    const auto poster = [&](uint32_t who) {
        for (uint32_t message[] = {who, 0}; message[1] < 2000;)
            msgQSend(queue, message, sizeof message, 0, 1) == 0 ? void(++message[1]) : void(++refused);
    };
    std::thread posters[] = {std::thread(poster, 0), std::thread(poster, 1)};
    uint32_t next[2] = {};
    within([&] { return queue->queued == 100; });
    for (int taken = 0; taken < 4000;) {
        if (msgQReceive(queue, reinterpret_cast<char *>(got), sizeof got, 0) != 8)
            continue;
        ASSERT_EQ(next[got[0]]++, got[1]);
        ++taken;
    }
    for (std::thread &each : posters)
        each.join();
    EXPECT_EQ(0U, queue->queued);
    EXPECT_EQ(100U, queue->high_water);
    EXPECT_EQ(4000, woken);
    EXPECT_GT(refused, 0);
}

TEST(Control, Commands)
{
    LiveNode live;
    TestNode &node = live.node;
    // how it begins
    const std::tuple<const char *, const char *> cases[] = {
        {"stage 1003", "ok 1003 2 3 1001 1000"},
        {"stage 7", "ok 7"},
        {"stage -1", "error: "},
        {"trace level 9", "ok"},
        {"trace level 10", "error: "},
        {"trace", "error: unknown"},
        {"trace show 0", "ok\n"},
        {"trace show x", "error: "},
        {"tp lib:hareboot 21", "ok 21"},   // another slot's number is handed back, and nothing runs
        {"tp lib:hareboot 1", "ok 32512"}, // the node's own: there is no script here
        {"tp lib:hafailover 7", "ok 7"},
        {"tp lib:hafailover", "ok 32512"},
        {"msgq 11 5 1 2 3", "ok"},
        {"msgq 12 5 1 2 3", "ok"},
        {"msgq 15 0 0 0 0", "ok"}, // the platform's, with nothing behind them
        {"msgq 18 0 0 0 0", "ok"},
        {"msgq 21 0 0 0 0", "ok"},
        {"tp none", "error: no test point"},
        {"tp lib:hareboot x", "error: "},
        {"cli show  qos vss ", "ok\nQOS"},
        {"cli show", "error: no printing"},
        {"clock step -1", "error: "},
        {"clock step soon", "error: "},
        {"clock step 0.25", "ok"},
        {"msgq 11 26 1 2", "error: usage"},
        {"msgq 256 1 1 2 3", "error: usage"},
        {"", "error: "},
        {"statistics", "error: unknown"},
        {"stat x", "error: stat takes"},
        {"reopen x", "error: reopen takes"},
        {"stat\n", "ok {\"stage\":12,"},
    };
    for (const auto &[command, answer] : cases) {
        const string got = node.ctl(command);
        EXPECT_TRUE(got.starts_with(answer)) << command << ": " << got;
    }
    node.sync();
    node.expectErr({"Module 5 has not registered for msgq callbacks", "Invalid msg type c"});
    const string stat = node.ctl("stat");
    for (const char *key : {"\"role\":\"manual\"", "\"since\":", "\"blocks\":", "\"bytes\":", "\"syncs\":",
                            "\"standbys\":0", "\"version\":\""})
        EXPECT_NE(string::npos, stat.find(key)) << key << " in " << stat;

    // An answer that is too long is cut behind a line, and all of it comes in a memory file.
    EXPECT_EQ(live.manager.receive().size(), 9U) << "the stages' registration";
    live.addPort();
    for (uint32_t n = 2; n <= 80; ++n)
        live.manager.tell(QOS_IFADD_MSG, ifAddBody(portNumber(n), "p"));
    const string show = "cli show dorvmd interface all";
    const string cut_off = "(cut: the output is longer than an answer takes)\n";
    const string big = node.ctl(show);
    ASSERT_TRUE(big.ends_with("\n" + cut_off));
    EXPECT_GT(big.size(), 190000U);
    const string whole = wholeAnswer(node, show);
    EXPECT_GT(whole.size(), big.size());
    EXPECT_TRUE(whole.starts_with(big.substr(0, big.size() - cut_off.size())));
    // Clients that do not read their long answers leave the others theirs.
    std::deque<Socket> deaf;
    for (int i = 0; i < 6; ++i) {
        deaf.emplace_back(node.run + "/deaf" + std::to_string(i));
        deaf.back().send(node.control(), show);
    }
    EXPECT_EQ(node.ctl(show), big);
    for (const Socket &client : deaf)
        EXPECT_EQ(client.receiveText(), big);
}

// Behind a wait for the driver as many commands wait as may, and a message on another socket.
TEST(Control, CommandsForABusyMainThread)
{
    LiveNode live;
    live.addPort();
    Manager statistics(live.node, "qosMIStats");
    live.driver.script({Driver::none()});
    live.manager.send(message(QOS_COSTRUST_MSG, l2Body(PORT, CHIP, 1, 1)));
    live.driver.await(1); // the main thread waits for the answer
    std::deque<Socket> clients;
    for (int i = 0; i < 64; ++i) {
        clients.emplace_back(live.node.run + "/c" + std::to_string(i));
        clients.back().send(live.node.control(), string("cli show dorvmd mi statistics"));
        ASSERT_TRUE(live.node.ctl("stat").starts_with("ok")); // it has been taken off the socket's short queue
    }
    EXPECT_EQ("error: too many commands are waiting", live.node.ctl("stage 7"));
    statistics.send(message(200, {}));
    EXPECT_EQ("ok", live.node.ctl("clock step 15"));
    EXPECT_EQ(28U, get32(live.manager.receive(), 5 + 50));
    std::map<string, int> counts; // the message counted or not
    for (const Socket &client : clients) {
        const string shown = client.receiveText();
        ++counts[shown.substr(shown.find("Msg Rcvd"), sizeof "Msg Rcvd           = 123")];
    }
    ASSERT_EQ(2U, counts.size()) << counts.begin()->first;
    EXPECT_EQ(4, counts.begin()->second) << "commands that came ahead of the message";
    live.node.log.ignoreErrs();

    // All steps together end where 32 bits of seconds come near.
    string last;
    for (int i = 0; i < 1000 && last.empty(); ++i)
        if (live.node.ctl("clock step 1e6") != "ok")
            last = std::to_string(i);
    EXPECT_EQ("999", last);
    EXPECT_EQ("ok", live.node.ctl("clock step 1"));
}

// The first four are all that the loop is told of at first, and it drops them: with the next one they come again. Long
// answers come part by part: others overtake them, their clients' next commands do not, and nothing is printed for who
// is gone.
TEST_F(Host, CommandsInTheirTurn)
{
    static bool last;
    static int parts;
    static constexpr ctl_cli_t SHOWS[] = {{"long",
                                           [](ctl_print_t out, void *arg, ctl_cursor_t *cursor) {
                                               ++parts;
                                               out(arg, "%d", static_cast<int>(++cursor->words[0] > 1));
                                               return !last;
                                           }},
                                          {nullptr, nullptr}};
    static constexpr ctl_ops_t OPS = {nullptr, nullptr, SHOWS};
    ctl_offer(&OPS);
    char message[MSGQ_MESSAGE_LENGTH];
    const MSG_Q_ID queue = msgQCreate(100, sizeof message, 0, "q");
    KOR_ASPMainLoop(0, queue);
    ASSERT_EQ(0, ctlOpen("x"));
    const auto tell = [&](const Socket &client, const char *command) {
        client.send(run / ("ctl/x." + std::to_string(getpid())), string(command));
        ctlServe();
    };
    const auto pass = [&] {
        for (uint32_t left = queue->queued; left > 0 && msgQReceive(queue, message, sizeof message, 0) > 0; --left)
            smi_process(message);
    };
    std::deque<Socket> clients;
    for (int i = 0; i < 6; ++i) {
        tell(clients.emplace_back(run / ("c" + std::to_string(i))), "tp none");
        while (i < 4 && msgQReceive(queue, message, sizeof message, 0) > 0)
            ;
    }
    while (queue->queued > 0)
        pass();
    const string none = "error: no test point action 'none'";
    for (const Socket &client : clients)
        EXPECT_EQ(none, client.receiveText(0));

    tell(clients[0], "cli long");
    tell(clients[0], "tp none");
    pass();
    tell(clients[1], "tp none");
    pass();
    EXPECT_EQ(none, clients[1].receiveText(0));
    EXPECT_EQ("", clients[0].receiveText(0));
    last = true;
    while (queue->queued > 0)
        pass();
    EXPECT_TRUE(clients[0].receiveText(0).starts_with("ok\n011"));
    EXPECT_EQ(none, clients[0].receiveText(0));
    last = false;
    tell(clients[5], "cli long");
    pass();
    clients.pop_back();
    const int before = parts;
    while (queue->queued > 0)
        pass();
    EXPECT_EQ(before, parts);
}

TEST_F(Host, ClockStepsEndWaits)
{
    const std::function<int()> waits[] = {[] { return velmar_poll(nullptr, 0, 1000000); },
                                          [] {
                                              const timeval limit = {1000, 0};
                                              return velmar_select(0, nullptr, nullptr, nullptr, &limit);
                                          }};
    for (const auto &wait : waits) {
        // Steps between reading the clock and waiting belong to the wait, with a hello to the watchdog in between; the
        // first alone is too short.
        std::atomic<bool> read = false, ended = false;
        std::thread waiter([&] {
            timeval now;
            velmar_now(&now);
            read = true;
            swd_hello(-1, &now);
            EXPECT_EQ(0, wait());
            ended = true;
        });
        EXPECT_TRUE(within([&] { return read.load(); }));
        EXPECT_TRUE(clockStep(10000));
        usleep(50000);
        EXPECT_FALSE(ended);
        EXPECT_TRUE(clockStep(995500));
        waiter.join();
    }
}

TEST_F(Host, TraceRingHoldsTheNewestLines)
{
    setenv("VELMAR_TRACE", (run / "copy").c_str(), 1);
    int32_t handle = 0;
    for (int pid = 4194301; pid < 4194313; ++pid) // of processes that cannot be
        std::ofstream(run / "trace" / ("RING." + std::to_string(pid))) << "old";
    const trace_params_t parameters = {1, 32, 0};
    ASSERT_EQ(0, trace_module_init(&handle, 1, 250, "RING", &parameters));
    for (int i = 0; i < 300; ++i)
        trace_module_store_lvl(handle, 1, 0, 4, ("line " + std::to_string(i) + "\n" + string(100, 'x')).c_str());
    EXPECT_EQ(8, std::distance(fs::directory_iterator(run / "trace"), {})) << "seven of the dead stay";
    const string ring = run / "trace" / ("RING." + std::to_string(getpid()));
    char out[100000];
    const int used = velmar_trace_read(ring.c_str(), 3, out, sizeof out);
    ASSERT_GT(used, 0);
    std::istringstream lines(string(out, static_cast<size_t>(used)));
    string time, line;
    for (char n = '7'; lines >> time && getline(lines, line); ++n)
        EXPECT_EQ(string(" 4 line 29") + n + "\\n" + string(22, 'x'), line); // cut to the record length
    EXPECT_TRUE(line.starts_with(" 4 line 299"));
    // A ring of 256 lines holds no more, and a small buffer gets the newest.
    const int all = velmar_trace_read(ring.c_str(), 10000, out, sizeof out);
    EXPECT_EQ(256, std::count(out, out + all, '\n'));
    const int few = velmar_trace_read(ring.c_str(), 10000, out, 200);
    EXPECT_NE(string::npos, string(out, static_cast<size_t>(few)).find("line 299"));
    EXPECT_EQ(-1, velmar_trace_read((run / "copy").c_str(), 1, out, sizeof out));
    const string copy = slurp(run / "copy");
    EXPECT_NE(string::npos, copy.find("4\tline 0\\nx"));
    EXPECT_NE(string::npos, copy.find("\n4\tline 299\\nx"));
}

__attribute__((format(printf, 2, 3))) bool storeArgs(int32_t handle, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const bool kept = trace_module_store_args(handle, 1, 0, 4, format, args);
    va_end(args);
    return kept;
}

// Lines that are kept as texts, and as arguments of two formats; a text too long for that is refused.
TEST_F(Host, TraceReaderMeetsNoHalfLine)
{
    int32_t handle = 0;
    const trace_params_t parameters = {1, 64, 0};
    ASSERT_EQ(0, trace_module_init(&handle, 1, 16, "PRESS", &parameters));
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        for (unsigned i = 0; !stop; ++i) {
            const string text(40, static_cast<char>('a' + i % 26));
            if (i % 3 == 0)
                trace_module_store_lvl(handle, 1, 0, 4, text.c_str());
            else if (i % 3 == 1)
                EXPECT_TRUE(storeArgs(handle, "%s", text.c_str()));
            else
                EXPECT_TRUE(storeArgs(handle, "%c%s", text[0], text.c_str() + 1));
        }
    });
    const string ring = run / "trace" / ("PRESS." + std::to_string(getpid()));
    char out[2000];
    for (int round = 0; round < 500; ++round) {
        const int used = velmar_trace_read(ring.c_str(), 16, out, sizeof out);
        std::istringstream lines(string(out, static_cast<size_t>(used)));
        for (string time, level, text; lines >> time >> level >> text;)
            EXPECT_EQ(string(40, text[0]), text);
    }
    stop = true;
    writer.join();
    EXPECT_FALSE(storeArgs(handle, "%s", string(60, 'x').c_str()));
}

TEST_F(Host, Store)
{
    setenv("VELMAR_VSS", "manual", 1);
    ha_register_t record = {};
    strcpy(record.service, "svc");
    strcpy(record.instance, "1");
    strcpy(record.atom, "a/b");
    ha_hndl_t ha = 0;
    EXPECT_NE(0, ha_register(&record, "Config=vss:", &ha, nullptr));
    strcpy(record.atom, "store");
    ASSERT_EQ(0, ha_register(&record, "Config=vss:", &ha, nullptr));
    const ha_field_t fields[] = {{"a", 0, 4, "~U32"}, {"b", 4, 8, "~U08"}};
    const auto task = static_cast<void (*)()>([] {}), stranger = static_cast<void (*)()>([] { abort(); });
    for (int twice = 0; twice < 2; ++twice) {
        EXPECT_EQ(0, ha_add_struct(ha, "rec_t", 8, 2, fields));
        EXPECT_EQ(0, ha_add_function(ha, "function", task));
    }
    EXPECT_EQ(HA_EXISTS, ha_add_struct(ha, "rec_t", 8, 1, fields));
    EXPECT_EQ(HA_EXISTS, ha_add_struct(ha, "rec_t", 12, 2, fields));
    EXPECT_EQ(-1, ha_add_function(ha, "", task));
    EXPECT_EQ(HA_EXISTS, ha_add_function(ha, "function", stranger));
    static uint32_t object;
    EXPECT_NE(0, ha_add_object(ha, "object", &object, 4, "unheard_t", 0, 0));
    EXPECT_EQ(0, ha_add_object(ha, "object", &object, 4, "~U32", 0, 0));
    EXPECT_EQ(nullptr, ha_calloc(ha, 8, "unheard_t", 0, 1));
    EXPECT_EQ(nullptr, ha_calloc(ha, SIZE_MAX / 2, "rec_t", 0, 1));

    // Sizes around a granule and a page, and one above what is kept by exact size; a freed one comes back zeroed.
    for (const size_t size : {size_t{1}, size_t{16}, size_t{17}, size_t{2568}, size_t{4097}, size_t{1000000}}) {
        unsigned char *one = static_cast<unsigned char *>(ha_calloc(ha, size, "rec_t", 0, 1));
        unsigned char *two = static_cast<unsigned char *>(ha_calloc(ha, size, "rec_t", 0, 1));
        ASSERT_TRUE(one && two && two >= one + size) << size;
        memset(one, 0xee, size);
        EXPECT_EQ(0, two[0] | two[size - 1]);
        EXPECT_EQ(one, ha_convert_address(ha, one));
        EXPECT_EQ(0, ha_free(ha, one));
        EXPECT_NE(0, ha_free(ha, one));
        EXPECT_NE(0, ha_free(ha, two + 16));
        EXPECT_EQ(one, ha_calloc(ha, size, "rec_t", 0, 1));
        EXPECT_EQ(0, one[0] | one[size - 1]);
    }
    EXPECT_NE(0, ha_free(ha, &object));
    EXPECT_EQ(nullptr, ha_convert_address(ha, &object));
    // Enough to grow past several steps of commitment, then all of it given back.
    for (int i = 0; i < 2000; ++i)
        ASSERT_NE(nullptr, ha_calloc(ha, 2568, "rec_t", 0, 1));
    EXPECT_EQ(0, ha_free_all(ha));
    unsigned char *fresh = static_cast<unsigned char *>(ha_calloc(ha, 100, "rec_t", 0, 1));
    EXPECT_EQ(0, fresh[0] | fresh[99]);
    EXPECT_EQ(0, ha_sync(ha, -1, 1));
    EXPECT_LT(ha_sync(0, -1, 1), 0);
    EXPECT_EQ(0, ha_get_state(ha));
    EXPECT_EQ(0, ha_configure(ha, HA_MODE_STANDBY));
    EXPECT_NE(0, ha_configure(ha, 1));
    EXPECT_EQ(HA_MODE_STANDBY, ha_get_state(ha));
}

TEST_F(Host, WatchdogHearsEnoughAndNotMore)
{
    EXPECT_LT(swd_register(nullptr), 0);
    const Socket notified(run / "notify");
    const auto said = [&] { return notified.receiveText(0); };
    setenv("NOTIFY_SOCKET", notified.path.c_str(), 1);
    // The wait, and the hellos of 5 calls without one.
    const std::tuple<const char *, int, int> cases[] = {
        {"10000000", 5, 1}, {"1500000", 1, 5}, {"900000", 0, 1}, {"99999999999", 3600, 1}};
    for (const auto &[limit_us, wait, hellos] : cases) {
        SCOPED_TRACE(limit_us);
        setenv("WATCHDOG_USEC", limit_us, 1);
        const int handle = swd_register(nullptr);
        ASSERT_GE(handle, 0);
        timeval last = {};
        EXPECT_EQ("", said()) << "ready before the main loop";
        for (int i = 0; i < 5; ++i)
            EXPECT_EQ(wait, swd_hello(handle, &last));
        EXPECT_EQ("READY=1", said());
        EXPECT_GT(last.tv_sec, 0);
        for (int i = 0; i < hellos; ++i)
            EXPECT_EQ("WATCHDOG=1", said());
        EXPECT_EQ("", said());
        // Whoever waits for the driver is alive.
        timeval limit = {0, 21000};
        EXPECT_EQ(0, velmar_select(0, nullptr, nullptr, nullptr, &limit));
        EXPECT_EQ(hellos == 5 ? "WATCHDOG=1" : "", said());
    }
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
}

} // namespace
