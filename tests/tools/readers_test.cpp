// SPDX-License-Identifier: Apache-2.0
// A group that the node file names: what its members see, and what they are refused, by the tool and by the processes.
#include <grp.h>
#include <sys/stat.h>

#include "tests/support/peer.h"

namespace {
constexpr uid_t MEMBER = 12345;

// The first bytes of what the socket at `path` answers to a member who sends these datagrams there.
std::string answerTo(const std::string &path, const std::vector<std::string> &datagrams, gid_t group)
{
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const std::string folder = path.substr(0, path.rfind('/')) + "/../readers";
    const sockaddr_un to = addressOf(path), own = addressOf(folder + "/own");
    const pid_t child = fork();
    if (child == 0) {
        char answer[64];
        const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
        if (setgroups(0, nullptr) != 0 || setgid(group) != 0 || setuid(MEMBER) != 0 ||
            bind(fd, reinterpret_cast<const sockaddr *>(&own), sizeof own) != 0 || chmod(own.sun_path, 0666) != 0)
            _exit(1);
        for (const std::string &each : datagrams)
            if (sendto(fd, each.data(), each.size(), 0, reinterpret_cast<const sockaddr *>(&to), sizeof to) < 0)
                _exit(1);
        const ssize_t got = recv(fd, answer, sizeof answer, 0);
        _exit(unlink(own.sun_path) != 0 || got < 0 || write(ends[1], answer, static_cast<size_t>(got)) < 0);
    }
    close(ends[1]);
    char answer[64];
    const ssize_t got = read(ends[0], answer, sizeof answer);
    close(ends[0]);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    return {answer, static_cast<size_t>(std::max<ssize_t>(got, 0))};
}

std::string only(const std::string &folder, const std::string &begin)
{
    for (const auto &entry : std::filesystem::directory_iterator(folder))
        if (entry.path().filename().string().rfind(begin, 0) == 0)
            return entry.path();
    return "";
}
} // namespace

TEST(Readers, SeeANodeAndChangeNothing)
{
    const group *const found = getgrnam("games");
    if (geteuid() != 0 || !found || std::system("command -v setpriv >/dev/null") != 0)
        GTEST_SKIP() << "needs root, setpriv and a group games";
    const gid_t group = found->gr_gid;
    const RunDirectory run;
    run.own();
    std::ofstream(run.path + "/node") << "group = games\n";
    const int hsld = startProgram(HSLD_BINARY, {"hsld", "--chip", "1/0:tessel:4"}, run.path, {}, run.path + "/hsld");
    std::filesystem::copy_file(DORVCTL_BINARY, run.path + "/dorvctl"); // where a member gets
    const auto says = [&](const std::string &who, const std::string &arguments) {
        const int status =
            std::system((who + " " + run.path + "/dorvctl " + arguments + " >" + run.path + "/says 2>&1").c_str());
        return slurp(run.path + "/says") + "exit " + std::to_string(statusOf(status)) + "\n";
    };
    EXPECT_TRUE(within([&] { return has(says("", "ctl hsld stat"), "exit 0"); }));
    const int agent = startProgram(DORVALD_BINARY, {"dorvald", "-S", "ethsw", "-s", "1"}, run.path, {"VELMAR_CLOCK="},
                                   run.path + "/dorvald");
    EXPECT_TRUE(within([&] { return has(says("", "apply " EXAMPLES "/tessel.json"), "exit 0"); }));

    const std::string further = "setpriv --groups games --reuid games --regid 12345",
                      member = "setpriv --clear-groups --reuid 12345 --regid games",
                      stranger = "setpriv --clear-groups --reuid 12345 --regid 12345";
    const std::pair<const char *, const char *> rows[] = {{"node", "active"},
                                                          {"show config te1/3", "l2_pri.cos_trust"},
                                                          {"stats queue te1/3", "total"},
                                                          {"trace -n 1", "DBG("},
                                                          {"events", "started"},
                                                          {"log", "QOS_CHIPUP_MSG"},
                                                          {"top --count 1", "queues"},
                                                          {"show chips -j", "Tessel"},
                                                          {"node -j", "\"requests\":"}};
    for (const auto &[arguments, shows] : rows) {
        EXPECT_TRUE(has(says(member, arguments), shows));
        EXPECT_TRUE(has(says(member, arguments), "exit 0\n"));
        EXPECT_TRUE(has(says(stranger, arguments), "exit 3\n"));
    }
    for (const auto &[arguments, shows] : {rows[0], rows[2]}) // a group that is not the one they run in
        EXPECT_TRUE(has(says(further, arguments), shows));
    for (const char *changes : {"send IFDEL ifIndex=te1/3", "apply x", "clear stats", "ctl dorvald quit", "watch"})
        EXPECT_TRUE(has(says(member, changes), "you may only read this node")) << changes;

    for (const char *command : {"quit", "clock step 1", "stage 1002", "trace level 0", "fault list", "nothing"})
        for (const char *process : {"dorvald.", "hsld."})
            EXPECT_TRUE(has(answerTo(only(run.path + "/ctl", process), {command}, group), "error: you may only read"));
    // An address of MI6, then messages. A clear, and one behind a read, are thrown away: what comes is the read's echo.
    const std::string head(20, '\0'), clear("\x29\0\0\1\0", 5), read("\x1e\0\0\2\0", 5);
    EXPECT_EQ(
        answerTo(only(run.path + "/mi6", "qosMIStats.lc"), {head + clear, head + read + clear, head + read}, group)
            .substr(head.size()),
        read);
    EXPECT_TRUE(has(says(member, "node -j"), "\"refused\":2"));
    for (const int pid : {agent, hsld}) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
}
