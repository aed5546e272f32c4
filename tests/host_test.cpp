// The platform on plain Linux, through its own operations and the sockets that other programs meet. Whatever needs a
// whole process runs this program again in one of the modes at the end of the file.
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "velmar/ctl.h"
#include "velmar/dce.h"
#include "velmar/ha.h"
#include "velmar/mi6.h"
#include "velmar/msgq.h"
#include "velmar/os.h"
#include "velmar/process.h"
#include "velmar/run.h"
#include "velmar/socket.h"
#include "velmar/swd.h"
#include "velmar/tp.h"
#include "velmar/trace.h"

namespace fs = std::filesystem;
using std::string;

namespace {

string program; // argv[0]

bool within(int seconds, const std::function<bool()> &holds)
{
    const auto due = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > due)
            return false;
        usleep(2000);
    }
    return true;
}

double seconds(const std::function<void()> &work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

string slurp(const fs::path &path)
{
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class Host : public testing::Test {
protected:
    fs::path run;
    std::vector<pid_t> children;

    void SetUp() override
    {
        char dir[] = "/tmp/host-test-XXXXXX";
        run = mkdtemp(dir);
        setenv("VELMAR_RUN", run.c_str(), 1);
        unsetenv("VELMAR_VSS");
        unsetenv("VELMAR_TRACE");
    }
    void TearDown() override
    {
        for (const pid_t pid : children)
            end(pid, SIGKILL);
        fs::remove_all(run);
    }
    // Starts this program in a mode; its output goes to RUN/out.
    pid_t start(const string &mode)
    {
        const pid_t pid = fork();
        if (pid == 0) {
            const int out = open((run / "out").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
            dup2(out, 1);
            dup2(out, 2);
            execl(program.c_str(), program.c_str(), mode.c_str(), nullptr);
            _exit(99);
        }
        children.push_back(pid);
        return pid;
    }
    int wait(pid_t pid)
    {
        int status = 0;
        EXPECT_EQ(pid, waitpid(pid, &status, 0));
        std::erase(children, pid);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }
    int end(pid_t pid, int number)
    {
        kill(pid, number);
        return wait(pid);
    }
    fs::path ctl(pid_t pid) { return run / "ctl" / ("mini." + std::to_string(pid)); }
    pid_t startMini()
    {
        const pid_t pid = start("--mini");
        EXPECT_TRUE(within(10, [&] {
            return ask(pid, "stat").starts_with("ok {") && ask(pid, "msgq 1 0 0 0 0") == "ok";
        })) << slurp(run / "out");
        return pid;
    }
    // Sends a command without waiting; gives the socket on which the answer will arrive.
    int send(pid_t pid, const string &command)
    {
        char path[108];
        const int fd = velmar_run_bind("ctl", "client", true, path, sizeof path);
        sockaddr_un to = {AF_UNIX, {}};
        strncpy(to.sun_path, ctl(pid).c_str(), sizeof to.sun_path - 1);
        sendto(fd, command.data(), command.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&to), sizeof to);
        return fd;
    }
    string answer(int fd, int limit_ms = 5000)
    {
        string text(300000, '\0');
        pollfd entry = {fd, POLLIN, 0};
        const ssize_t got = poll(&entry, 1, limit_ms) == 1 ? recv(fd, text.data(), text.size(), 0) : -1;
        velmar_run_close(fd);
        text.resize(got < 0 ? 0 : static_cast<size_t>(got));
        return text;
    }
    // Bytes of the memory file that comes with an answer which is too long for its datagram.
    off_t wholeAnswer(int fd)
    {
        char text[64];
        iovec data = {text, sizeof text};
        alignas(cmsghdr) char control[64];
        msghdr message = {nullptr, 0, &data, 1, control, sizeof control, 0};
        pollfd entry = {fd, POLLIN, 0};
        const bool got = poll(&entry, 1, 5000) == 1 && recvmsg(fd, &message, 0) > 0 && CMSG_FIRSTHDR(&message);
        velmar_run_close(fd);
        struct stat file = {};
        int whole = -1;
        if (got)
            memcpy(&whole, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof whole);
        fstat(whole, &file);
        close(whole);
        return file.st_size;
    }
    string ask(pid_t pid, const string &command) { return fs::exists(ctl(pid)) ? answer(send(pid, command)) : ""; }
};

int openMi6(const char *service, uint16_t mask)
{
    mi6_addr_t local = {};
    const mi6_addr_t peer = {};
    local.family = AF_MI6;
    memcpy(local.service, service, strnlen(service, sizeof local.service));
    local.slot_mask = mask;
    return mi6_open(&local, &peer);
}

int sendMi6(int fd, const char *service, uint8_t flags, uint16_t mask, const string &data)
{
    mi6_addr_t to = {};
    to.family = AF_MI6;
    strncpy(to.service, service, sizeof to.service);
    to.flags = flags;
    to.slot_mask = mask;
    // Two vectors, so that the payload's parts keep their order behind the address.
    const size_t half = data.size() / 2;
    const iovec vectors[] = {{const_cast<char *>(data.data()), half},
                             {const_cast<char *>(data.data()) + half, data.size() - half}};
    int out_flags = 0;
    return mi6_send(fd, &to, vectors, 2, &out_flags);
}

struct Received {
    ssize_t got;
    int error;
    int flags;
    string data;
    mi6_addr_t from;
    size_t control;
    alignas(cmsghdr) unsigned char cmsg[CMSG_SPACE(32)];
};

Received receive(int fd, int flags = MSG_DONTWAIT, size_t size = 40000, size_t control = 0)
{
    Received r = {};
    r.data.resize(size);
    iovec vectors[] = {{r.data.data(), std::min<size_t>(3, size)}, {r.data.data() + 3, size > 3 ? size - 3 : 0}};
    msghdr message = {};
    message.msg_name = &r.from;
    message.msg_namelen = sizeof r.from;
    message.msg_iov = vectors;
    message.msg_iovlen = 2;
    message.msg_control = r.cmsg;
    message.msg_controllen = control;
    r.got = velmar_recvmsg(fd, &message, flags);
    r.error = errno;
    r.flags = message.msg_flags;
    r.control = message.msg_controllen;
    r.data.resize(r.got < 0 ? 0 : static_cast<size_t>(r.got));
    return r;
}

// The code of the notice at the head of the queue and the flags of its destination; -1 if there is none.
int notice(int fd, uint8_t *flags = nullptr, uint16_t *mask = nullptr)
{
    const Received head = receive(fd);
    if (head.got >= 0 || head.error != 68)
        return -1;
    const Received r = receive(fd, MSG_ERRQUEUE | MSG_DONTWAIT, 100, CMSG_LEN(32));
    const cmsghdr *cmsg = reinterpret_cast<const cmsghdr *>(r.cmsg);
    if (r.got < 0 || r.control != CMSG_LEN(32) || cmsg->cmsg_level != SOL_MI6 || r.flags != MSG_ERRQUEUE)
        return -2;
    mi6_notice_t data;
    memcpy(&data, CMSG_DATA(cmsg), sizeof data);
    if (flags)
        *flags = data.destination.flags;
    if (mask)
        *mask = data.destination.slot_mask;
    return static_cast<int>(data.code);
}

void throwAt(const fs::path &path, const string &data)
{
    sockaddr_un to = {AF_UNIX, {}};
    strncpy(to.sun_path, path.c_str(), sizeof to.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    EXPECT_EQ(static_cast<ssize_t>(data.size()),
              sendto(fd, data.data(), data.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&to), sizeof to))
        << path << ": " << strerror(errno);
    close(fd);
}

fs::path mi6File(const fs::path &run, const char *end)
{
    return run / "mi6" / (string("svc.") + end + "." + std::to_string(getpid()));
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
        EXPECT_EQ(1, wait(start("--node"))) << dir;
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
    const int one = velmar_run_bind("ctl", "c", true, path, sizeof path);
    const int two = velmar_run_bind("ctl", "c", true, again, sizeof again);
    EXPECT_EQ(string(path) + ".2", again);
    for (const int fd : {second, one, two})
        velmar_run_close(fd);
    EXPECT_TRUE(fs::is_empty(run / "ctl"));
}

TEST_F(Host, NodeFile)
{
    const struct {
        string text;
        int status;
        const char *out;
    } cases[] = {
        {"", 0, "1000 1 0 1\n"},
        {"# a card\n model=2008 # comment\n\nslot = 3\nslot_base = 1\ninstance=2", 0, "2008 3 1 2\n"},
        {"slot = 1\nslot 4\n", 1, "/node line 2: expected key = value: 'slot 4'"},
        {"slot = four\n", 1, "/node line 1: the value is not"},
        {"slot = 17\n", 1, "/node line 1: the value is out"},
        {"colour = 1\n", 1, "/node line 1: unknown key"},
        {"#" + string(5000, 'x') + " = 1\nslot=4", 0, "1000 4 0 1\n"},
        {string("slot=1\0 2", 9), 1, "/node line 1: there is a NUL"},
    };
    for (const auto &c : cases) {
        fs::remove(run / "out");
        if (!c.text.empty())
            std::ofstream(run / "node") << c.text;
        EXPECT_EQ(c.status, wait(start("--node"))) << c.text;
        const string out = slurp(run / "out");
        EXPECT_NE(string::npos, out.find(c.out)) << out;
        EXPECT_EQ(1, std::count(out.begin(), out.end(), '\n'));
    }
    fs::remove(run / "node");
    fs::create_directory(run / "node");
    EXPECT_EQ(1, wait(start("--node")));
    EXPECT_NE(string::npos, slurp(run / "out").find("/node: Is a directory"));
}

TEST_F(Host, FailuresAtStartAreNamed)
{
    char error[600];
    ASSERT_NE(nullptr, velmar_run_dir(error, sizeof error));
    fs::create_directory(run / "ha/svc.1.lock");
    const std::pair<const char *, string> cases[] = {
        {"--mini", "mini: cannot open lock file " + (run / "ha/svc.1.lock").string() + ": Is a directory\n"},
        {"--mini=a/b", "mini: service 'a/b' instance '1': the service must not hold a '/'\n"},
    };
    for (const auto &[mode, expected] : cases) {
        fs::remove(run / "out");
        EXPECT_EQ(1, wait(start(mode)));
        EXPECT_EQ(expected, slurp(run / "out"));
    }
}

TEST_F(Host, Mi6ReachesWhomTheAddressNames)
{
    const int manager = openMi6("svc", 0);
    const int other = openMi6("svc2", 0);
    const int card1 = openMi6("svc", 1);
    const int card3 = openMi6("svc", 0x0c); // lowest bit counts
    EXPECT_TRUE(fs::exists(mi6File(run, "lc3")));
    EXPECT_EQ(5, sendMi6(card1, "svc", MI6_MANAGER, 0, "hello"));
    const Received r = receive(manager);
    EXPECT_EQ("hello", r.data);
    EXPECT_EQ(AF_MI6, r.from.family);
    EXPECT_STREQ("svc", r.from.service);
    EXPECT_EQ(1, r.from.slot_mask);
    EXPECT_EQ(MI6_LINE_CARD, r.from.flags);
    EXPECT_EQ(EAGAIN, receive(other).error);

    // A receiver that binds after the first send is met by the next, a second manager too.
    const int card2 = openMi6("svc", 2);
    const int manager2 = openMi6("svc", 0);
    EXPECT_EQ(2, sendMi6(manager, "svc", MI6_LINE_CARD, 0x06, "lc"));
    EXPECT_EQ(EAGAIN, receive(card1).error);
    for (const int fd : {card2, card3}) {
        const Received got = receive(fd);
        EXPECT_EQ("lc", got.data);
        EXPECT_EQ(MI6_MANAGER, got.from.flags);
        EXPECT_EQ(0, got.from.slot_mask);
    }
    EXPECT_EQ(3, sendMi6(card1, "svc", MI6_MANAGER_STANDBY, 0, "two"));
    EXPECT_EQ("two", receive(manager).data);
    EXPECT_EQ("two", receive(manager2).data);

    // One that closed and came back under its old name is reached through its new socket.
    velmar_close(manager2);
    velmar_close(manager);
    const int back = openMi6("svc", 0);
    EXPECT_EQ(4, sendMi6(card1, "svc", MI6_MANAGER, 0, "back"));
    EXPECT_EQ("back", receive(back).data);
    for (const int fd : {back, other, card1, card2, card3})
        velmar_close(fd);
    EXPECT_TRUE(fs::is_empty(run / "mi6"));
}

int bindAt(const fs::path &path)
{
    sockaddr_un address = {AF_UNIX, {}};
    strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    EXPECT_EQ(0, bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address)) << path << ": " << strerror(errno);
    return fd;
}

// The bytes of the datagram at the head of a plain socket, -1 if there is none.
ssize_t taken(int fd)
{
    char bytes[100];
    return recv(fd, bytes, sizeof bytes, MSG_DONTWAIT);
}

TEST_F(Host, Mi6TakesAnyNameBehindTheEnd)
{
    const int card = openMi6("svc", 1);
    const int manager = openMi6("svc", 0);
    const fs::path dir = run / "mi6";
    const std::pair<string, bool> files[] = {{"svc.mgr.tool", true},   {"svc.mgr." + string(70, 'x'), true},
                                             {"svc.mgr.1.2.3", true},  {"svc.mgr.99999999999", true},
                                             {"svc.mgr.", false},      {"svc.mgr", false},
                                             {"svc.lc1.tool", false},  {"svc2.mgr.tool", false},
                                             {"a.svc.mgr.tool", false}};
    std::vector<int> fds;
    for (const auto &[file, meant] : files)
        fds.push_back(bindAt(dir / file));
    std::ofstream(dir / "svc.mgr.notes") << "x";
    EXPECT_EQ(2, sendMi6(card, "svc", MI6_MANAGER, 0, "on"));
    for (size_t i = 0; i < fds.size(); ++i)
        EXPECT_EQ(files[i].second ? 22 : -1, taken(fds[i])) << files[i].first;
    EXPECT_EQ(2, sendMi6(manager, "svc", MI6_LINE_CARD, 1, "on"));
    EXPECT_EQ(22, taken(fds[6]));
    EXPECT_EQ("on", receive(manager).data);

    // A name bound anew while its old socket is still open leads to the new one.
    fs::remove(mi6File(run, "mgr"));
    const int anew = bindAt(mi6File(run, "mgr"));
    EXPECT_EQ(2, sendMi6(card, "svc", MI6_MANAGER, 0, "on"));
    EXPECT_EQ(22, taken(anew));
    EXPECT_EQ(EAGAIN, receive(manager).error);

    // Without a process id a stale file goes by its age, a date in the future is none; other files stay.
    for (const int fd : fds)
        close(fd);
    fs::last_write_time(dir / "svc.mgr.tool", fs::file_time_type::clock::now() - std::chrono::seconds(10));
    fs::last_write_time(dir / "svc.mgr.1.2.3", fs::file_time_type::clock::now() + std::chrono::hours(10));
    EXPECT_EQ(2, sendMi6(card, "svc", MI6_MANAGER, 0, "on"));
    EXPECT_FALSE(fs::exists(dir / "svc.mgr.tool"));
    EXPECT_FALSE(fs::exists(dir / "svc.mgr.1.2.3"));
    EXPECT_TRUE(fs::exists(dir / "svc.mgr.notes"));
    EXPECT_TRUE(fs::exists(dir / "svc.mgr.99999999999")); // young
    close(anew);
    for (const int fd : {card, manager})
        velmar_close(fd);
}

TEST_F(Host, Mi6NoticesAndOddDatagrams)
{
    const int fd = openMi6("svc", 4);
    uint8_t flags = 0;
    uint16_t mask = 0;
    EXPECT_EQ(0, sendMi6(fd, "svc", MI6_MANAGER, 0, "nobody"));
    EXPECT_EQ(6, notice(fd, &flags));
    EXPECT_EQ(MI6_MANAGER, flags);
    // A file without a living owner is no receiver, and goes.
    const fs::path stale = run / "mi6/svc.mgr.3999999";
    close(bindAt(stale));
    EXPECT_EQ(0, sendMi6(fd, "svc", MI6_MANAGER, 0, "nobody"));
    EXPECT_FALSE(fs::exists(stale));
    EXPECT_EQ(6, notice(fd, nullptr, &mask));
    EXPECT_EQ(EAGAIN, receive(fd, MSG_ERRQUEUE | MSG_DONTWAIT).error);

    // Anyone may send a notice: 20 bytes of family 0xffff, then code, 8 bytes, destination.
    string raw(52, '\0');
    raw[0] = raw[1] = '\xff';
    const uint32_t code = 77;
    memcpy(raw.data() + 20, &code, 4);
    raw[32 + 19] = 2;
    string payload = string("\x3a\0qosMI", 7) + string(13, '\0');
    throwAt(mi6File(run, "lc3"), raw.substr(0, 51)); // too short for a notice
    throwAt(mi6File(run, "lc3"), string(19, 'x'));   // too short for an address
    throwAt(mi6File(run, "lc3"), raw);
    throwAt(mi6File(run, "lc3"), payload);
    throwAt(mi6File(run, "lc3"), payload + "longer");
    EXPECT_EQ(77, notice(fd, &flags));
    EXPECT_EQ(2, flags);
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
    velmar_close(fd);
}

TEST_F(Host, Mi6FullReceiverIsWaitedForOnce)
{
    const int manager = openMi6("svc", 0);
    const int card = openMi6("svc", 1);
    int sent = 0;
    double last = 0;
    for (int rc = 0; rc >= 0 && sent < 5000; ++sent)
        last = seconds([&] { rc = sendMi6(card, "svc", MI6_MANAGER, 0, "x"); });
    --sent;
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_GE(sent, 10);
    EXPECT_GE(last, 0.045);
    EXPECT_LT(last, 1);
    EXPECT_EQ(4, notice(card));
    EXPECT_LT(seconds([&] { EXPECT_EQ(-1, sendMi6(card, "svc", MI6_MANAGER, 0, "y")); }), 0.04);
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(-1, notice(card)); // said once
    // The other manager takes the datagram: no failure.
    const int second = openMi6("svc", 0);
    EXPECT_EQ(1, sendMi6(card, "svc", MI6_MANAGER, 0, "z"));
    EXPECT_EQ("z", receive(second).data);
    for (int i = 0; i < sent; ++i)
        EXPECT_EQ("x", receive(manager).data) << i;
    EXPECT_EQ(1, sendMi6(card, "svc", MI6_MANAGER, 0, "w"));
    EXPECT_EQ(5, notice(card));
    EXPECT_EQ("w", receive(manager).data);
    // A receiver that reads in time costs a wait and no notice.
    velmar_close(second);
    while (sendMi6(card, "svc", MI6_MANAGER, 0, "x") >= 0)
        ;
    EXPECT_EQ(4, notice(card));
    receive(manager);
    EXPECT_EQ(1, sendMi6(card, "svc", MI6_MANAGER, 0, "x"));
    EXPECT_EQ(5, notice(card));
    std::thread reader([&] {
        usleep(10000);
        receive(manager);
    });
    EXPECT_EQ(1, sendMi6(card, "svc", MI6_MANAGER, 0, "v"));
    reader.join();
    EXPECT_EQ(-1, notice(card));
    for (const int fd : {manager, card})
        velmar_close(fd);
}

struct Driver {
    char path[108];
    int fd = velmar_run_bind("qos", "driver", false, path, sizeof path);
    ~Driver() { velmar_run_close(fd); }
};

int openQos(uint32_t group)
{
    const int fd = velmar_socket(AF_QOS, SOCK_RAW, 0);
    EXPECT_EQ(0, pal_sock_set_recvbuf(fd, 8192));
    EXPECT_EQ(0, pal_sock_set_sendbuf(fd, 8192));
    qosSockAddr_t address = {};
    address.family = AF_QOS;
    address.group = group;
    EXPECT_EQ(-1, velmar_bind(fd, &address, 27));
    EXPECT_EQ(0, velmar_bind(fd, &address, sizeof address));
    return fd;
}

ssize_t sendQos(int fd, const string &frame)
{
    qosSockAddr_t to = {};
    iovec vector = {const_cast<char *>(frame.data()), frame.size()};
    msghdr message = {};
    message.msg_name = &to;
    message.msg_namelen = sizeof to;
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    return velmar_sendmsg(fd, &message, 0);
}

TEST_F(Host, DriverComesGoesAndAnswers)
{
    const int fd = openQos(1);
    const string frame(4116, 'f');
    EXPECT_EQ(-1, sendQos(fd, frame));
    EXPECT_EQ(ENOENT, errno);
    for (int life = 0; life < 3; ++life) {
        Driver driver;
        ASSERT_EQ(4116, sendQos(fd, frame)) << life;
        char request[5000];
        sockaddr_un from = {};
        socklen_t length = sizeof from;
        ASSERT_EQ(4116, recvfrom(driver.fd, request, sizeof request, 0, reinterpret_cast<sockaddr *>(&from), &length));
        EXPECT_EQ(run / "qos" / ("group1." + std::to_string(getpid())), from.sun_path);
        const string response(37888, 'r');
        ASSERT_EQ(37888,
                  sendto(driver.fd, response.data(), response.size(), 0, reinterpret_cast<sockaddr *>(&from), length));
        EXPECT_EQ(response, receive(fd, 0).data);
        EXPECT_EQ(EAGAIN, receive(fd).error);
    }
    EXPECT_EQ(-1, sendQos(fd, frame));
    EXPECT_EQ(EAGAIN, receive(fd).error); // a driver that went is no stream of errors
    velmar_close(fd);
}

TEST_F(Host, SilentDriverIsLookedUpAgain)
{
    const int fd = openQos(1);
    const Driver old = {};
    EXPECT_EQ(3, sendQos(fd, "one"));
    EXPECT_EQ(3, taken(old.fd));
    fs::remove(old.path); // and the socket stays open
    const Driver anew = {};
    EXPECT_EQ(3, sendQos(fd, "two"));
    EXPECT_EQ(3, taken(anew.fd));
    velmar_close(fd);
}

TEST_F(Host, ErrorOfTheConnectionEndsNoPoll)
{
    const int fd = openQos(1);
    const Driver driver = {};
    EXPECT_EQ(3, sendQos(fd, "one"));
    // A driver that connects and lets go with a datagram unread leaves an error at the other end.
    const auto leaveError = [&] {
        sockaddr_un to = {AF_UNIX, {}};
        strncpy(to.sun_path, (run / "qos" / ("group1." + std::to_string(getpid()))).c_str(), sizeof to.sun_path - 1);
        EXPECT_EQ(3, sendQos(fd, "two"));
        EXPECT_EQ(0, connect(driver.fd, reinterpret_cast<sockaddr *>(&to), sizeof to));
        to.sun_family = AF_UNSPEC;
        EXPECT_EQ(0, connect(driver.fd, reinterpret_cast<sockaddr *>(&to), sizeof to));
        pollfd entry = {fd, POLLIN, 0};
        ASSERT_EQ(1, poll(&entry, 1, 0));
        EXPECT_EQ(POLLERR, entry.revents);
    };
    int pipe_fds[2];
    ASSERT_EQ(0, velmar_pipe(pipe_fds));
    for (const int limit : {0, 60, -1}) {
        leaveError();
        std::thread ender([&] {
            usleep(100000);
            (void)!write(pipe_fds[1], "", 1);
        });
        pollfd entries[] = {{fd, POLLIN, 0}, {pipe_fds[0], POLLIN, 0}};
        int ready = -1;
        const double lasted = seconds([&] { ready = velmar_poll(entries, 2, limit); });
        EXPECT_EQ(limit < 0, ready == 1) << limit;
        EXPECT_EQ(0, entries[0].revents);
        EXPECT_GE(lasted, limit < 0 ? 0.09 : limit / 1000.0 - 0.001);
        ender.join();
        char byte;
        EXPECT_EQ(1, read(pipe_fds[0], &byte, 1));
    }
    for (const int end : {fd, pipe_fds[0], pipe_fds[1]})
        velmar_close(end);
}

TEST_F(Host, DriverThatDoesNotReadFailsTheSend)
{
    const Driver driver = {};
    const int fd = openQos(1);
    ssize_t sent = 0;
    double last = 0;
    for (int i = 0; i < 1000 && sent >= 0; ++i)
        last = seconds([&] { sent = sendQos(fd, string(100, 'x')); });
    EXPECT_EQ(-1, sent);
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_GE(last, 0.9);
    EXPECT_LT(last, 5);
    char byte;
    for (int i = 0; i < 3; ++i)
        recv(driver.fd, &byte, 1, MSG_DONTWAIT);
    EXPECT_EQ(100, sendQos(fd, string(100, 'x')));
    velmar_close(fd);
}

TEST_F(Host, EventSocketTakesFromAnybody)
{
    const int fd = openQos(6);
    {
        const Driver driver = {};
        EXPECT_EQ(3, sendQos(fd, "out"));
    }
    throwAt(run / "qos" / ("group6." + std::to_string(getpid())), "event");
    EXPECT_EQ("event", receive(fd, 0).data);
    velmar_close(fd);
    EXPECT_TRUE(fs::is_empty(run / "qos"));
}

TEST_F(Host, MessageQueue)
{
    static std::atomic<int> woken;
    static MSG_Q_ID queue = msgQCreate(100, 16, 0, "a name that is too long"); // queues live as long as the process
    EXPECT_STREQ("a name that is ", queue->name);
    msgQSetWakeup(
        queue, [](void *arg) { ++*static_cast<std::atomic<int> *>(arg); }, &woken);
    char text[16] = {};
    EXPECT_EQ(-1, msgQReceive(queue, text, sizeof text, 0));
    EXPECT_NE(0, msgQSend(queue, text, 17, 0, 1));
    // Two threads post more than the queue holds, while this one takes: no message is lost or doubled.
    std::atomic<int> refused = 0;
    const auto poster = [&](char who) {
        for (uint32_t i = 0; i < 2000;) {
            char message[16] = {who};
            memcpy(message + 4, &i, 4);
            if (msgQSend(queue, message, 8, 0, 1) == 0)
                ++i;
            else
                ++refused;
        }
    };
    std::thread a(poster, 0);
    std::thread b(poster, 1);
    uint32_t next[2] = {};
    within(20, [&] { return queue->queued == 100; });
    for (int taken = 0; taken < 4000;) {
        if (msgQReceive(queue, text, sizeof text, 0) != 8)
            continue;
        uint32_t number;
        memcpy(&number, text + 4, 4);
        ASSERT_EQ(next[static_cast<int>(text[0])]++, number);
        ++taken;
    }
    a.join();
    b.join();
    EXPECT_EQ(0U, queue->queued);
    EXPECT_EQ(100U, queue->high_water);
    EXPECT_EQ(4000, woken);
    EXPECT_GT(refused, 0);
}

TEST_F(Host, ElectionHandsOnAtOnceAfterAKill)
{
    const pid_t first = startMini();
    EXPECT_TRUE(within(5, [&] { return ask(first, "stat").find("\"stage\":5,") != string::npos; }));
    const string stat = ask(first, "stat");
    for (const char *key :
         {"\"role\":\"active\"", "\"since\":", "\"blocks\":1", "\"bytes\":24", "\"syncs\":", "\"standbys\":0"})
        EXPECT_NE(string::npos, stat.find(key)) << key << " in " << stat;
    const pid_t second = startMini();
    EXPECT_NE(string::npos, ask(second, "stat").find("\"stage\":6,"));
    EXPECT_NE(string::npos, ask(second, "stat").find("\"role\":\"standby\""));
    EXPECT_TRUE(within(5, [&] { return ask(first, "stat").find("\"standbys\":1") != string::npos; }));
    EXPECT_EQ(1000 + SIGKILL, end(first, SIGKILL));
    EXPECT_TRUE(within(5, [&] { return ask(second, "stat").find("\"role\":\"active\"") != string::npos; }));
    EXPECT_TRUE(within(5, [&] { return ask(second, "stat").find("\"stage\":5,") != string::npos; }));
    EXPECT_NE(string::npos, ask(second, "trace show").find("stage 1042\n")) << "with what it was given";
    EXPECT_NE(string::npos, slurp(run / "trace/raslog").find("active"));
}

TEST_F(Host, ControlCommands)
{
    setenv("VELMAR_VSS", "manual", 1);
    const pid_t pid = startMini();
    const struct {
        const char *command;
        const char *answer; // how it begins
    } cases[] = {
        {"stage 1003", "ok 1003 2 3 1001 1000"},
        {"stage 7", "ok 7"},
        {"stage", "error: "},
        {"stage -1", "error: "},
        {"trace level 9", "ok"},
        {"trace level 10", "error: "},
        {"trace", "error: unknown"},
        {"trace show 0", "ok\n"},
        {"trace show x", "error: "},
        {"tp double 21", "ok 42"},
        {"tp none", "error: no test point"},
        {"tp double x", "error: "},
        {"cli show  greeting ", "ok\nhello 5\n"},
        {"cli show", "error: no printing"},
        {"clock step -1", "error: "},
        {"clock step soon", "error: "},
        {"clock step 0.25", "ok"},
        {"msgq 11 26 1 2", "error: usage"},
        {"msgq 256 1 1 2 3", "error: usage"},
        {"msgq 18 0 0 0 0", "ok"},
        {"msgq 21 1 1 1 1", "ok"},
        {"msgq 15 1 1 1 1", "ok"},
        {"", "error: "},
        {"statistics", "error: unknown"},
        {"stat x", "error: stat takes"},
        {"tp mask", "ok 0"},
        {"stat\n", "ok {\"stage\":12,"},
    };
    for (const auto &c : cases) {
        const string got = ask(pid, c.command);
        EXPECT_TRUE(got.starts_with(c.answer)) << c.command << ": " << got;
    }
    EXPECT_NE(string::npos, ask(pid, "stat").find("\"role\":\"manual\""));
    // B, C and A of a raw message lie at 16, 20 and 24.
    EXPECT_EQ("ok", ask(pid, "msgq 11 26 100 200 0x12c"));
    EXPECT_TRUE(within(5, [&] { return ask(pid, "trace show").find("msg 11 26 200 300 100") != string::npos; }));
    const string big = ask(pid, "cli show big");
    EXPECT_GT(big.size(), 190000U);
    EXPECT_TRUE(big.ends_with("\n(cut: the output is longer than an answer takes)\n"));
    EXPECT_EQ(3 + 10000 * 61, wholeAnswer(send(pid, "cli show big")));

    // Clients that do not read their long answers leave the others theirs.
    std::vector<int> deaf;
    for (int i = 0; i < 6; ++i)
        deaf.push_back(send(pid, "cli show big"));
    EXPECT_GT(ask(pid, "cli show big").size(), 190000U);
    EXPECT_TRUE(ask(pid, "stat").starts_with("ok {"));
    for (const int fd : deaf)
        EXPECT_GT(answer(fd).size(), 190000U);
}

TEST_F(Host, CommandsForABusyMainThread)
{
    setenv("VELMAR_VSS", "manual", 1);
    const pid_t pid = startMini();
    const int staged = send(pid, "stage 5000"); // waits in its middle
    EXPECT_TRUE(within(5, [&] { return ask(pid, "stat").starts_with("ok {\"stage\":12,"); }));
    std::vector<int> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(send(pid, "stage 7"));
        ASSERT_TRUE(ask(pid, "stat").starts_with("ok")); // it has been taken off the socket's short queue
    }
    EXPECT_EQ("error: too many commands are waiting", ask(pid, "stage 7"));
    EXPECT_EQ("ok", ask(pid, "clock step 1006"));
    EXPECT_EQ("ok 5000", answer(staged));
    for (const int fd : clients)
        EXPECT_EQ("ok 7", answer(fd));

    // All steps together end where 32 bits of seconds come near.
    string last;
    for (int i = 0; i < 1000 && last.empty(); ++i)
        if (ask(pid, "clock step 1e6") != "ok")
            last = std::to_string(i);
    EXPECT_EQ("999", last);
    EXPECT_EQ("ok", ask(pid, "clock step 1"));
}

TEST_F(Host, ClockStepEndsWaits)
{
    setenv("VELMAR_VSS", "manual", 1);
    const pid_t pid = startMini();
    // Each action waits for 1000 seconds on the main thread; the last one is a blocking receive, which waits for 15.
    const std::pair<const char *, string> waits[] = {
        {"tp poll", "ok 0"}, {"tp select", "ok 0"}, {"tp receive", "ok " + std::to_string(ETIMEDOUT)}};
    for (const auto &[command, expected] : waits) {
        const int fd = send(pid, command);
        usleep(50000);
        EXPECT_EQ("ok", ask(pid, "clock step 10"));
        pollfd entry = {fd, POLLIN, 0};
        EXPECT_EQ(0, poll(&entry, 1, 50)) << command << " ended too early";
        EXPECT_EQ("ok", ask(pid, "clock step 995.5"));
        EXPECT_EQ(expected, answer(fd));
    }
    // A step between reading the clock and waiting belongs to the wait, with a hello to the watchdog in between.
    const int fd = send(pid, "tp hello");
    EXPECT_TRUE(within(5, [&] { return fs::exists(run / "read"); }));
    EXPECT_EQ("ok", ask(pid, "clock step 1006"));
    std::ofstream(run / "stepped") << "x";
    EXPECT_EQ("ok 0", answer(fd));
    // The mini's timer of an hour, in the main loop.
    EXPECT_EQ(string::npos, ask(pid, "trace show").find("tick"));
    EXPECT_EQ("ok", ask(pid, "clock step 3600"));
    EXPECT_TRUE(within(5, [&] { return ask(pid, "trace show").find("tick") != string::npos; }));
}

TEST_F(Host, OrderlyEndAtAnyMoment)
{
    const std::pair<const char *, int> ends[] = {{"", SIGTERM}, {"", SIGINT}, {"tp select", SIGTERM}, {"tp select", 0}};
    for (const auto &[before, number] : ends) {
        fs::remove(run / "exited");
        const pid_t pid = startMini();
        const int fd = *before ? send(pid, before) : -1;
        if (number) {
            EXPECT_EQ(0, end(pid, number));
        } else {
            EXPECT_EQ("ok", ask(pid, "quit"));
            EXPECT_EQ(0, wait(pid));
        }
        EXPECT_TRUE(fs::exists(run / "exited")) << before << number;
        if (fd >= 0)
            velmar_run_close(fd);
        for (const char *folder : {"ctl", "mi6", "qos"})
            EXPECT_TRUE(fs::is_empty(run / folder)) << folder;
    }
    // Before any worker runs.
    const pid_t pid = start("--early");
    EXPECT_TRUE(within(5, [&] { return fs::exists(run / "ctl" / ("early." + std::to_string(pid))); }));
    EXPECT_EQ(0, end(pid, SIGTERM));
    EXPECT_TRUE(fs::is_empty(run / "ctl"));
}

TEST_F(Host, TraceRingOutlivesItsProcess)
{
    setenv("VELMAR_VSS", "manual", 1);
    setenv("VELMAR_TRACE", (run / "copy").c_str(), 1);
    const pid_t pid = startMini();
    EXPECT_EQ("ok 0", ask(pid, "tp trace 300"));
    end(pid, SIGKILL);
    const string ring = run / "trace" / ("MINI-1." + std::to_string(pid));
    char out[100000];
    const int used = velmar_trace_read(ring.c_str(), 3, out, sizeof out);
    ASSERT_GT(used, 0);
    std::istringstream lines(string(out, static_cast<size_t>(used)));
    for (const char *expected : {"4 line 297\\nx", "4 line 298\\nx", "4 line 299\\nx"}) {
        string time;
        string line;
        lines >> time;
        getline(lines, line);
        EXPECT_EQ(string(" ") + expected + string(31 - strlen("line 297\nx"), 'x'), line); // cut to the record length
    }
    // A ring of 256 lines holds no more, and a small buffer gets the newest.
    const int all = velmar_trace_read(ring.c_str(), 10000, out, sizeof out);
    EXPECT_EQ(256, std::count(out, out + all, '\n'));
    const int few = velmar_trace_read(ring.c_str(), 10000, out, 200);
    EXPECT_NE(string::npos, string(out, static_cast<size_t>(few)).find("line 299"));
    EXPECT_EQ(-1, velmar_trace_read((run / "copy").c_str(), 1, out, sizeof out));
    const string copy = slurp(run / "copy");
    EXPECT_NE(string::npos, copy.find("\n4\tline 0\\nx"));
    EXPECT_NE(string::npos, copy.find("\n4\tline 299\\nx"));
}

TEST_F(Host, TraceReaderMeetsNoHalfLine)
{
    int32_t handle = 0;
    const trace_params_t parameters = {1, 64, 0};
    ASSERT_EQ(0, trace_module_init(&handle, 1, 16, "PRESS", &parameters));
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        for (unsigned i = 0; !stop; ++i)
            trace_module_store_lvl(handle, 1, 0, 4, string(40, static_cast<char>('a' + i % 26)).c_str());
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
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // which take more address space than this leaves
    EXPECT_EQ(0, wait(start("--narrow"))) << slurp(run / "out");
#endif
    const ha_field_t fields[] = {{"a", 0, 4, "~U32"}, {"b", 4, 8, "~U08"}};
    EXPECT_EQ(0, ha_add_struct(ha, "rec_t", 8, 2, fields));
    EXPECT_EQ(0, ha_add_struct(ha, "rec_t", 8, 2, fields));
    EXPECT_EQ(HA_EXISTS, ha_add_struct(ha, "rec_t", 8, 1, fields));
    EXPECT_EQ(HA_EXISTS, ha_add_struct(ha, "rec_t", 12, 2, fields));
    static uint32_t object;
    EXPECT_NE(0, ha_add_object(ha, "object", &object, 4, "unheard_t", 0, 0));
    EXPECT_EQ(0, ha_add_object(ha, "object", &object, 4, "~U32", 0, 0));
    EXPECT_EQ(nullptr, ha_calloc(ha, 8, "unheard_t", 0, 1));
    EXPECT_EQ(nullptr, ha_calloc(ha, size_t{1} << 40, "rec_t", 0, 1));

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
    const int transaction = vssd_send_update(ha_get_vssh(ha), std::array<vss_send_update_t, 1>{}.data());
    EXPECT_GT(transaction, 0);
    EXPECT_EQ(0, vssd_wait_update(ha_get_vssh(ha), transaction));
    EXPECT_EQ(0, ha_get_state(ha));
    EXPECT_EQ(0, ha_configure(ha, HA_MODE_STANDBY));
    EXPECT_NE(0, ha_configure(ha, 1));
    EXPECT_EQ(HA_MODE_STANDBY, ha_get_state(ha));
}

TEST_F(Host, Numbering)
{
    for (int32_t flat = 0; flat < 128; ++flat) {
        if (flat == 15 * 8)
            continue; // the all-chips index
        EXPECT_EQ(flat, dce_get_flat_chip_id(dce_get_ifindex(flat)));
        EXPECT_EQ(flat, dce_get_slot_id(flat) * 8 + dce_get_slot_chip_id(flat));
    }
    const std::pair<uint32_t, int32_t> indexes[] = {
        {0x8bc00000, -1},                       // all chips
        {34U << 26 | 2U << 22 | 5U << 16, 21},  // chip
        {34U << 26 | 2U << 22 | 1, -1},         // no chip: the rest is not 0
        {6U << 26 | 3U << 22 | 0x8000 | 2, 26}, // ports
        {32U << 26 | 15U << 22, 120},
        {30U << 26 | 1U << 22 | 7, 15},
        {3U << 26 | 5U << 21 | 1, 41},
        {3U << 26 | 16U << 21, -1}, // slot too high
        {5U << 26 | 1U << 22, -1},
    };
    for (const auto &[index, flat] : indexes)
        EXPECT_EQ(flat, dce_get_flat_chip_id(index)) << std::hex << index;
    ifm_hsl_mmap_xsfp_init();
    ASSERT_NE(nullptr, ifm_mmap_xsfp);
    const auto port = [](uint32_t slot, uint32_t p, uint32_t q) {
        uint16_t counts[2];
        uint16_t value;
        memcpy(counts, ifm_mmap_xsfp + 20, sizeof counts);
        const uint32_t cell = (p - 1) * counts[1] + slot * counts[0] * counts[1] + 7;
        memcpy(&value, ifm_mmap_xsfp + cell * 4 + 4 * (q - 1) + 3, sizeof value);
        return value;
    };
    EXPECT_EQ(1, port(0, 1, 1));
    EXPECT_EQ(256, port(0, 64, 4));
    EXPECT_EQ(4 * 9 + 3, port(7, 10, 3));
    EXPECT_EQ(4 * 63 + 4, port(30, 64, 4));
}

TEST_F(Host, WatchdogHearsEnoughAndNotMore)
{
    EXPECT_LT(swd_register(nullptr), 0);
    sockaddr_un address = {AF_UNIX, {}};
    strncpy(address.sun_path, (run / "notify").c_str(), sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    ASSERT_EQ(0, bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address));
    setenv("NOTIFY_SOCKET", address.sun_path, 1);
    const struct {
        const char *limit;
        int wait;
        int hellos; // of 5 calls without a wait
    } cases[] = {{"10000000", 5, 1}, {"1500000", 1, 5}, {"900000", 0, 1}};
    for (const auto &c : cases) {
        setenv("WATCHDOG_USEC", c.limit, 1);
        const int handle = swd_register(nullptr);
        ASSERT_GE(handle, 0);
        timeval last = {};
        char text[64] = {};
        EXPECT_EQ(-1, recv(fd, text, sizeof text, 0)) << "ready before the main loop";
        for (int i = 0; i < 5; ++i)
            EXPECT_EQ(c.wait, swd_hello(handle, &last));
        EXPECT_EQ(7, recv(fd, text, sizeof text, 0));
        EXPECT_STREQ("READY=1", text);
        EXPECT_GT(last.tv_sec, 0);
        for (int i = 0; i < c.hellos; ++i)
            EXPECT_EQ(10, recv(fd, text, sizeof text, 0)) << c.limit;
        EXPECT_STREQ("WATCHDOG=1", text);
        EXPECT_EQ(-1, recv(fd, text, sizeof text, 0)) << c.limit;
        // Whoever waits for the driver is alive.
        timeval limit = {0, 21000};
        EXPECT_EQ(0, velmar_select(0, nullptr, nullptr, nullptr, &limit));
        EXPECT_EQ(c.hellos == 5 ? 10 : -1, recv(fd, text, sizeof text, 0)) << c.limit;
    }
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
    close(fd);
}

// A process on the platform, as small as one can be: registers, follows its stages and queue, has a timer of an hour.
int32_t mini_trace;
int mini_stage = 6;
int mini_wakeup[2];

void say(const char *format, ...) __attribute__((format(printf, 1, 2)));
void say(const char *format, ...)
{
    char text[128];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    trace_module_store_lvl(mini_trace, 1, 0, 4, text);
}

constexpr uint32_t STAGE_WAITS = 5000;

uint32_t miniRecover(ha_hndl_t, uint32_t stage)
{
    const struct {
        uint32_t stage, next;
        int index;
    } rows[] = {{1002, 1, 0}, {1003, 2, 1}, {1042, 2, 11},   {1, 1001, 2},
                {2, 3, 3},    {3, 1001, 8}, {1001, 1000, 4}, {1000, 0, 5}};
    say("stage %u", stage);
    mini_stage = 12;
    if (stage == STAGE_WAITS)
        velmar_poll(nullptr, 0, 1000000);
    for (const auto &row : rows)
        if (row.stage == stage) {
            mini_stage = row.index;
            return row.next;
        }
    return 0;
}

int miniExit()
{
    const char *dir = getenv("VELMAR_RUN");
    close(open((string(dir) + "/exited").c_str(), O_CREAT | O_WRONLY, 0600));
    return 0;
}

int miniTrace(uintptr_t count, uintptr_t, uintptr_t, tp_arg_t)
{
    for (unsigned i = 0; i < count; ++i)
        say("line %u\n%s", i, string(100, 'x').c_str());
    return 0;
}

int miniSelect(uintptr_t, uintptr_t, uintptr_t, tp_arg_t)
{
    const timeval limit = {1000, 0};
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(mini_wakeup[0], &readable);
    char bytes[64];
    (void)!read(mini_wakeup[0], bytes, sizeof bytes);
    return velmar_select(mini_wakeup[0] + 1, &readable, nullptr, nullptr, &limit);
}

int miniReceive(uintptr_t, uintptr_t, uintptr_t, tp_arg_t)
{
    const int fd = openQos(1);
    const int error = receive(fd, 0).error;
    velmar_close(fd);
    return error;
}

// Reads the clock, says hello once the test has stepped it, and waits.
int miniHello(uintptr_t, uintptr_t, uintptr_t, tp_arg_t)
{
    const fs::path dir = getenv("VELMAR_RUN");
    timeval now;
    velmar_now(&now);
    std::ofstream(dir / "read") << "x";
    within(5, [&] { return fs::exists(dir / "stepped"); });
    swd_hello(-1, &now);
    return velmar_poll(nullptr, 0, 1000000);
}

// A program that is started has no signal blocked.
int miniMask(uintptr_t, uintptr_t, uintptr_t, tp_arg_t)
{
    return system("grep -q '^SigBlk:[[:space:]]*0*$' /proc/self/status");
}

const tp_action_t mini_actions[] = {
    {"hello", miniHello},
    {"mask", miniMask},
    {"double",
     [](uintptr_t number, uintptr_t, uintptr_t, tp_arg_t arg) { return static_cast<int>(number + arg.number); }},
    {"trace", miniTrace},
    {"poll", [](uintptr_t, uintptr_t, uintptr_t, tp_arg_t) { return velmar_poll(nullptr, 0, 1000000); }},
    {"select", miniSelect},
    {"receive", miniReceive},
    {nullptr, nullptr},
};

int showBig(ctl_print_t out, void *arg)
{
    for (int i = 0; i < 10000; ++i)
        out(arg, "%060d\n", i);
    return 0;
}

const ctl_cli_t mini_cli[] = {
    {"show greeting", [](ctl_print_t out, void *arg) { return out(arg, "hello %d\n", 5); }},
    {"show big", showBig},
    {nullptr, nullptr},
};
const ctl_ops_t mini_ops = {[] { return mini_stage; }, [](int level) { return level > 9 ? 1 : 0; }, mini_cli};

void miniMessage(unsigned char *message)
{
    uint32_t words[3];
    memcpy(words, message + 16, sizeof words);
    switch (message[4]) {
    case MSGQ_TYPE_VSS:
        return vss_process(message);
    case MSGQ_TYPE_ISC:
        return isc_process(message);
    case MSGQ_TYPE_SMI:
        return smi_process(message);
    default:
        say("msg %u %u %u %u %u", message[4], message[12], words[0], words[1], words[2]);
    }
}

void miniLoop(MSG_Q_ID queue)
{
    timeval now;
    velmar_now(&now);
    // An hour away, and as far again as the steps that end the waits of its actions.
    time_t due = now.tv_sec + 3600 + 4 * 1006;
    for (;;) {
        velmar_now(&now);
        if (now.tv_sec >= due) {
            say("tick");
            due = now.tv_sec + 100000;
        }
        pollfd entry = {mini_wakeup[0], POLLIN, 0};
        velmar_poll(&entry, 1, static_cast<int>(due - now.tv_sec) * 1000);
        char bytes[64];
        (void)!read(mini_wakeup[0], bytes, sizeof bytes);
        unsigned char message[MSGQ_MESSAGE_LENGTH];
        while (msgQReceive(queue, message, sizeof message, 0) > 0)
            miniMessage(message);
    }
}

int mini(const char *service)
{
    velmar_sigdefaults("mini");
    rasevt_init("svc", 1, "MINI");
    const trace_params_t parameters = {1, 32, 0};
    trace_module_init(&mini_trace, 1, 250, "MINI-1", &parameters);
    giot_t *giot;
    ioss_t *timer;
    ioss_t *ipc;
    static giot_t *engine;
    if (giot_create(&giot) < 0 || timer_ioss_create(&timer, giot_wakeup, giot) < 0 ||
        ipc_ioss_create(&ipc, "MINI", 0, ipc_max_msg_size(0), 4) < 0 || giot_register(giot, ipc) < 0 ||
        giot_register(giot, timer) < 0)
        return 7;
    engine = giot;
    static MSG_Q_ID queue = msgQCreate(1000, MSGQ_MESSAGE_LENGTH, 0, "mini_mq");
    static const ha_ops_t ops = {miniRecover, nullptr, nullptr, nullptr, nullptr, nullptr};
    ha_register_t record = {};
    strncpy(record.service, service, sizeof record.service - 1);
    strcpy(record.instance, "1");
    strcpy(record.atom, "mini");
    record.ops = &ops;
    ha_hndl_t ha;
    const ha_field_t field = {"a", 0, 24, "~U08"};
    const tp_register_t points = {1, nullptr, mini_actions, 0};
    if (ha_register(&record, "Config=vss:", &ha, queue) != 0 || ha_add_struct(ha, "rec_t", 24, 1, &field) != 0 ||
        !ha_calloc(ha, 24, "rec_t", 0, 1) || tp_register(&points) != 0 || openMi6("svc", 1) < 0 || openQos(6) < 0)
        return 1;
    ctl_offer(&mini_ops);
    ASPInit("mini", 1, 0, 0, [] {
        giot_free(&engine);
        return miniExit();
    });
    if (velmar_pipe(mini_wakeup) != 0)
        return 1;
    fcntl(mini_wakeup[0], F_SETFL, O_NONBLOCK);
    msgQSetWakeup(
        queue, [](void *) { (void)!write(mini_wakeup[1], "", 1); }, nullptr);
    KOR_ASPMainLoop(0, queue);
    if (wt_exec(giot_run, giot) < 0)
        return 7;
    miniLoop(queue);
    return 0;
}

// With room for half of the store's arena, but not for its table beside it.
int narrow()
{
    const rlimit limit = {700UL << 20, 700UL << 20};
    ha_register_t record = {};
    strcpy(record.atom, "narrow");
    const ha_field_t field = {"a", 0, 8, "~U08"};
    ha_hndl_t ha;
    velmar_sigdefaults("narrow");
    const void *half = mmap(nullptr, 100UL << 20, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (half == MAP_FAILED || setrlimit(RLIMIT_AS, &limit) != 0 || ha_register(&record, "", &ha, nullptr) != 0 ||
        ha_add_struct(ha, "rec_t", 8, 1, &field) != 0)
        return 1;
    for (int i = 0; i < 100; ++i)
        if (!ha_calloc(ha, 1000000, "rec_t", 0, 1))
            return 2;
    return 0;
}

int early()
{
    velmar_sigdefaults("early");
    char path[108];
    if (velmar_run_bind("ctl", "early", true, path, sizeof path) < 0)
        return 1;
    for (;;)
        pause();
}

int node()
{
    velmar_sigdefaults("node");
    printf("%d %u %u %u\n", sysconModel(), __expm.slot, __expm.slot_base, __expm.instance);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    const string mode = argc > 1 ? argv[1] : "";
    if (mode.starts_with("--mini"))
        return mini(mode == "--mini" ? "svc" : mode.c_str() + strlen("--mini="));
    if (mode == "--narrow")
        return narrow();
    if (mode == "--early")
        return early();
    if (mode == "--node")
        return node();
    program = fs::read_symlink("/proc/self/exe");
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
