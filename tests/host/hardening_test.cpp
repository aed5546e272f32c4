// SPDX-License-Identifier: Apache-2.0
// What surrounds the agent cannot kill it or hold it up: files that shrink, limits, locks and links that others set,
// peers that keep sending or never read, and an end at any moment of the start.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "tests/support/mi6.h"
#include "tests/support/node.h"
#include "velmar/run.h"
#include "velmar/trace.h"

namespace fs = std::filesystem;

namespace {

// A run directory for the host library in this process.
struct OwnDirectory : RunDirectory {
    OwnDirectory() { own(); }
};

// The soft limit of a resource, for a scope.
struct Limit {
    const __rlimit_resource what;
    rlimit before{};
    Limit(__rlimit_resource resource, rlim_t soft) : what(resource)
    {
        getrlimit(what, &before);
        const rlimit now = {soft, before.rlim_max};
        EXPECT_EQ(0, setrlimit(what, &now));
    }
    ~Limit() { setrlimit(what, &before); }
};

bool received(int fd)
{
    return receive(fd).got >= 0;
}

} // namespace

TEST(Hardening, TraceRingThatIsCutShort)
{
    LiveNode live;
    const std::string ring = live.node.run + "/trace/QOS-1." + live.node.group(1).substr(7);
    const off_t whole = static_cast<off_t>(fs::file_size(ring));
    char out[200000];
    for (const off_t left : {off_t{0}, off_t{100}, whole / 2}) {
        EXPECT_EQ(0, truncate(ring.c_str(), left));
        for (int i = 0; i < 10; ++i)
            EXPECT_FALSE(live.manager.exchange(message(60, {}, 0x77)).empty()) << left;
        EXPECT_GE(countOf(live.node.ctl("trace show"), "\n"), 2U) << left;
        EXPECT_GT(velmar_trace_read(ring.c_str(), 10, out, sizeof out), 0) << left;
        if (left < 4096) { // else the writer has not come to the hole
            EXPECT_EQ(whole, static_cast<off_t>(fs::file_size(ring))) << "made anew";
        }
    }
    EXPECT_GE(countOf(slurp(live.node.run + "/trace/raslog"), "was cut short and is made anew"), 1U);
    live.node.log.ignoreErrs();
}

TEST(Hardening, NoRoomForTheTraceRing)
{
    const auto start = [] {
        const Limit limit(RLIMIT_FSIZE, 65536);
        return std::make_unique<TestNode>();
    };
    const auto node = start();
    node->ctl("stage 9");
    EXPECT_GT(countOf(node->ctl("trace show"), "\n"), 1U);
    EXPECT_EQ(1U, countOf(slurp(node->run + "/stderr"), "cannot make trace ring"));
    node->log.ignoreErrs();
}

TEST(Hardening, TraceFileThatIsMovedAway)
{
    LiveNode live;
    const fs::path trace = live.node.run + "/trace.txt";
    for (const bool by_signal : {false, true}) {
        fs::rename(trace, trace.string() + ".1");
        if (by_signal)
            EXPECT_EQ(0, kill(std::stoi(live.node.group(1).substr(7)), SIGHUP));
        else
            EXPECT_EQ("ok", live.node.ctl("reopen"));
        EXPECT_TRUE(within([&] {
            EXPECT_FALSE(live.manager.exchange(message(60, {}, 0x77)).empty());
            return fs::exists(trace) && fs::file_size(trace) > 0;
        })) << by_signal;
    }
    fs::rename(trace, trace.string() + ".2");
    fs::create_directory(trace);
    EXPECT_EQ("error: the trace goes on where it was: Is a directory", live.node.ctl("reopen"));
    EXPECT_FALSE(live.manager.exchange(message(60, {}, 0x77)).empty());
    live.node.log.ignoreErrs();
}

TEST(Hardening, EventLogIsBoundedAndCountsRepeats)
{
    const OwnDirectory run;
    const fs::path log = run.path + "/trace/raslog";
    close(STDIN_FILENO); // the log may get that descriptor
    for (int i = 0; i < 99; ++i)
        rasevt_init("svc", 1, "TEST");
    EXPECT_EQ(3U, countOf(slurp(log), ": started\n"));
    EXPECT_EQ(1U, countOf(slurp(log), ": version "));
    fs::rename(log, run.path + "/moved"); // as who rotates logs does
    rasevt_exit();
    EXPECT_EQ(1U, countOf(slurp(log), ": the line before came 99 times in a row\n"));
    for (int i = 0; i < 12000; ++i) {
        rasevt_init("svc", 1, "TEST");
        rasevt_exit();
    }
    EXPECT_LE(fs::file_size(log), 1U << 20);
    EXPECT_LE(fs::file_size(log.string() + ".1"), 1U << 20);
    EXPECT_NE(std::string::npos, slurp(log).find(": ended\n"));
}

TEST(Hardening, ForeignLocksHoldNobodyUp)
{
    LiveNode live;
    std::vector<int> locks;
    for (const char *folder : {"/mi6", "/qos", "/ctl"}) {
        locks.push_back(open((live.node.run + folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        EXPECT_EQ(0, flock(locks.back(), LOCK_EX));
    }
    leaveSocket(live.node.run + "/mi6/qosMI.mgr.4194303"); // of a process that cannot be
    for (int i = 0; i < 2; ++i)                            // the first echo may leave ahead of the wait
        EXPECT_FALSE(live.manager.exchange(message(60, {}, 0x77)).empty());
    TestNode second; // in a directory of its own
    for (const int fd : locks)
        close(fd);
    live.node.log.ignoreErrs();
}

TEST(Hardening, ADrainEndsUnderAnyLoad)
{
    const OwnDirectory run;
    const Mi6 manager(0);
    const Mi6 card(1);
    // received in a row
    const std::tuple<size_t, int> cases[] = {{1, 64}, {30000, 3}};
    for (const auto &[bytes, most] : cases)
        for (int round = 0; round < 2; ++round) {
            int got = 0;
            EXPECT_GE(card.send(MI6_MANAGER, 0, std::string(bytes, 0)), 0);
            for (; got < 1000 && received(manager); ++got)
                EXPECT_GE(card.send(MI6_MANAGER, 0, std::string(bytes, 0)), 0);
            EXPECT_EQ(EAGAIN, errno);
            EXPECT_EQ(most, got);
            while (received(manager))
                ;
        }
}

TEST(Hardening, ManagersAreKeptWithoutDescriptors)
{
    const OwnDirectory run;
    const Mi6 card(1);
    const Mi6 first(0);
    EXPECT_GE(card.send(MI6_MANAGER, 0, "x"), 0);
    EXPECT_TRUE(received(first));
    const Mi6 second(0); // the folder has changed
    {
        const Limit limit(RLIMIT_NOFILE, 3);
        EXPECT_GE(card.send(MI6_MANAGER, 0, "x"), 0);
        EXPECT_TRUE(received(first));
    }
    EXPECT_GE(card.send(MI6_MANAGER, 0, "x"), 0);
    EXPECT_TRUE(received(first));
    EXPECT_TRUE(received(second));
}

TEST(Hardening, SilentManagersAreWaitedForTogether)
{
    const OwnDirectory run;
    const Mi6 card(1);
    std::deque<Mi6> silent;
    for (int i = 0; i < 40; ++i)
        silent.emplace_back(0);
    rusage before;
    rusage after;
    int failed = 0;
    for (int i = 0; i < 5000 && failed == 0; ++i) {
        getrusage(RUSAGE_THREAD, &before);
        failed = card.send(MI6_MANAGER, 0, "x") < 0;
        getrusage(RUSAGE_THREAD, &after);
    }
    EXPECT_TRUE(failed) << "the queues never filled";
    EXPECT_LT(after.ru_nvcsw - before.ru_nvcsw, 20) << "waits of one datagram";
}

TEST(Hardening, RunDirectoriesThatAreNotTrusted)
{
    const RunDirectory elsewhere;
    const std::tuple<const char *, std::function<void(const std::string &)>> cases[] = {
        {"others may write to it (mode 0777)", [](auto &run) { chmod(run.c_str(), 0777); }},
        {"others may write to it (mode 0720)", [](auto &run) { chmod((run + "/ctl").c_str(), 0720); }},
        {"it is a link",
         [&](auto &run) {
             fs::remove(run + "/mi6");
             fs::create_symlink(elsewhere.path, run + "/mi6");
         }},
        {"/node: it is not a regular file", [](auto &run) { mkfifo((run + "/node").c_str(), 0600); }},
        {"/node: it is a link", [](auto &run) { fs::create_symlink("/etc/hostname", run + "/node"); }},
    };
    for (const auto &[what, spoil] : cases) {
        const RunDirectory run;
        spoil(run.path);
        const RunResult result = runAgent({"-s", "1", "-S", "ethsw"}, run.path);
        EXPECT_EQ(1, result.status) << what;
        EXPECT_NE(std::string::npos, result.err.find(what)) << result.err;
        EXPECT_EQ(1U, countOf(result.err, "\n")) << result.err;
    }
    const OwnDirectory run;
    fs::create_symlink(elsewhere.path + "/target", run.path + "/trace/raslog");
    EXPECT_EQ(-1, rasevt_init("svc", 1, "TEST"));
    EXPECT_TRUE(!fs::exists(elsewhere.path + "/target"));
    char path[108];
    const int fd = velmar_run_bind("ctl", "mode", true, path, sizeof path);
    struct stat found = {};
    EXPECT_EQ(0, stat(path, &found));
    EXPECT_EQ(0600U, found.st_mode & 07777) << "others may send to it";
    velmar_run_close(fd);
}

// An administrator's slip opens every door of the run directory: whoever comes through is told by his credentials.
TEST(Hardening, StrangersAreNotLetIn)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "another user's process takes root to make";
    LiveNode live({.vss = "auto"});
    live.node.log.ignoreErrs(); // a stranger's event, and a registration ahead of the manager
    const std::string &run = live.node.run;
    const std::string paths[] = {live.node.socketOf("qosMI"), live.node.socketOf("qosMIStats"),
                                 run + "/qos/" + live.node.group(6), live.node.control(), run + "/ha/ethsw.1.sock"};
    std::vector<sockaddr_un> doors;
    for (const std::string &path : paths) {
        chmod(path.c_str(), 0666);
        chmod(fs::path(path).parent_path().c_str(), 0755);
        doors.push_back(addressOf(path));
    }
    chmod(run.c_str(), 0755);
    const int pid = fork();
    if (pid == 0) { // without an allocation: the driver's thread may have been in one
        int missed = setresuid(65534, 65534, 65534) != 0;
        for (const sockaddr_un &address : doors) {
            const int fd = socket(AF_UNIX, &address == &doors.back() ? SOCK_SEQPACKET : SOCK_DGRAM, 0);
            missed += connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0;
            (void)send(fd, "quit", 4, 0); // the last one may be cut off ahead of it
        }
        _exit(missed);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    EXPECT_EQ(0, status) << "a door was closed, so that nothing was tried";
    EXPECT_TRUE(within([&] { return live.node.stat("refused") == doors.size(); }));
    EXPECT_EQ(doors.size(), countOf(slurp(run + "/trace/raslog"), "user 65534 is not let in at "));
    live.node.sync();
}

TEST(Hardening, FewDescriptorsEndWithALine)
{
    const RunDirectory run;
    for (int most = 4; most < 9; ++most) {
        const std::string out = run.path + "/out";
        const std::string command = "exec 2>" + out + "; ulimit -n " + std::to_string(most) + "; VELMAR_VSS=manual " +
                                    "VELMAR_RUN=" + run.path + " exec " + DORVALD_BINARY + " -s 1 -S ethsw";
        const int status = system(command.c_str());
        EXPECT_NE(0, status) << most;
        EXPECT_GE(countOf(slurp(out), "dorvald: "), 1U) << most;
    }
}

TEST(Hardening, AnEndDuringTheStartLeavesNothing)
{
    const RunDirectory run;
    for (int i = 0; i < 120; ++i) {
        const int pid = startProgram(DORVALD_BINARY, {"dorvald", "-s", "1", "-S", "ethsw"}, run.path,
                                     {"VELMAR_VSS=manual"}, run.path + "/out");
        usleep(static_cast<useconds_t>(i) * 200);
        const bool up =
            i >= 116 && within([&] { return fs::exists(run.path + "/ctl/dorvald." + std::to_string(pid)); });
        const int number = i % 2 ? SIGTERM : SIGINT;
        kill(pid, number);
        int status = -1;
        waitpid(pid, &status, 0);
        // Ahead of its first line the signal itself ends it.
        EXPECT_TRUE(status == 0 || (!up && WIFSIGNALED(status) && WTERMSIG(status) == number)) << status;
        for (const char *folder : {"/mi6", "/qos", "/ctl"})
            EXPECT_TRUE(fs::is_empty(run.path + folder)) << folder << " after " << i * 200 << " us";
    }
}
