// SPDX-License-Identifier: Apache-2.0
// The process frame in the manager role: dorvmd-role as a process beside the driver emulator, asked through its
// terminal as a person would.
#include "tests/support/node.h"

namespace {

// A program in the run directory; ended with the test, which fails unless it then exits with 0.
struct Program {
    int pid;
    Program(const std::string &run, const std::vector<std::string> &args)
        : pid(startProgram(args[0], args, run, {"VELMAR_TRACE=" + run + "/trace.txt"}, run + "/output"))
    {
    }
    ~Program()
    {
        int status = -1;
        kill(pid, SIGTERM);
        waitpid(pid, &status, 0);
        EXPECT_EQ(status, 0);
    }
};

// A terminal's other end.
struct Client {
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    explicit Client(const std::string &run)
    {
        EXPECT_TRUE(within([&] { return reach(fd, run + "/vty"); }));
        EXPECT_TRUE(read().ends_with("dorvmd# "));
    }
    ~Client() { close(fd); }
    // What comes up to a prompt, or to the end.
    std::string read()
    {
        std::string text;
        char bytes[4096];
        for (ssize_t got; !text.ends_with("# ") && (got = recv(fd, bytes, sizeof bytes, 0)) > 0;)
            text.append(bytes, static_cast<size_t>(got));
        return text;
    }
    std::string type(const std::string &keys)
    {
        EXPECT_EQ(send(fd, keys.data(), keys.size(), MSG_NOSIGNAL), static_cast<ssize_t>(keys.size()));
        return read();
    }
    // Typed until the answer has this, or no longer has it: what the driver says takes its time.
    bool comesTo(const std::string &keys, const char *part, bool there)
    {
        return within([&] { return (type(keys).find(part) != std::string::npos) == there; });
    }
};

struct RoleTest : testing::Test {
    const RunDirectory directory{}; // clang 14 takes no default here
    const std::string &run = directory.path;
    TraceLog log{run + "/trace.txt"};
    Program driver{run, {HSLD_BINARY, "--chip", "1/0:mirelle:4"}};
    Socket control{run + "/client"};
    // From then on the emulator ends as it should.
    void SetUp() override { EXPECT_TRUE(has(hsld("stat"), "\"requests\":0")); }
    ~RoleTest() override { log.check(); }
    // A command to the emulator, which must be up.
    std::string hsld(const std::string &command)
    {
        const std::string path = run + "/ctl/hsld." + std::to_string(driver.pid);
        EXPECT_TRUE(within([&] { return control.send(path, command); }));
        return control.receiveText();
    }
};

} // namespace

TEST_F(RoleTest, PortsAndChipsFollowTheDriver)
{
    const Program role(run, {DORVMD_ROLE_BINARY, "--port", "te1/1..te1/2"});
    Client terminal(run);
    // The driver was asked for the basic and for the extended capabilities.
    const std::string table = terminal.type("sh d int all\r");
    for (const char *part : {"Chip 8 (1/0):\r\n\tChip Type = Mirelle\r\n", "\tNum of Ports per chip = 4\r\n",
                             "\tifindex = 0x18408000, ChipId = 8, Chip IfIndex = 0x88400000\r\n", "te1/2\r\n"})
        EXPECT_TRUE(has(table, part));

    EXPECT_EQ(hsld("event chip-down 1/0"), "ok listeners 1");
    EXPECT_TRUE(terminal.comesTo("show dorvmd interface all\n", "Chip 8", false));
    terminal.type("conf t\r");
    EXPECT_TRUE(has(terminal.type("int ten 1/1\r"), "% Result 8\r\n"));
    EXPECT_EQ(hsld("event chip-up 1/0"), "ok listeners 1");
    EXPECT_TRUE(terminal.comesTo("int ten 1/1\r", "Result", false));
    log.expectErr({"qosKorStart: Invoking host_vty_init", "Unknown chip 8 for port add te1/1"});
}

TEST_F(RoleTest, KeysEditTheLine)
{
    const Program role(run, {DORVMD_ROLE_BINARY});
    Client terminal(run), second(run);
    const std::string shown = terminal.type("sho dorvmd m?i s\t\r");
    EXPECT_TRUE(has(shown, "  mi                    DORVMD MI subsytem\r\n"));
    EXPECT_TRUE(has(shown, "statistics \r\n\tMsg Sent           = 0\r\n"));
    EXPECT_TRUE(terminal.type("configure x\x7f\tterminal\r").ends_with("dorvmd(config)# "));
    EXPECT_TRUE(terminal.type("int vlan 7\r").ends_with("dorvmd(config-if-vlan0.7)# "));
    second.type("conf t\r");
    EXPECT_TRUE(second.type("no int vlan 7\r").ends_with("\r\n\r\033[Kdorvmd(config)# "));
    EXPECT_TRUE(terminal.type("\r").ends_with("dorvmd(config-if)# ")); // deleted by the other terminal
    EXPECT_TRUE(terminal.type("\x1a").ends_with("dorvmd# "));
    EXPECT_TRUE(has(terminal.type("x\x15\033[A\033[A\033[A\033[A\033[B\033[A\r"), "Msg Sent")); // the oldest line again
    EXPECT_EQ(terminal.type("\x04"), "");                                                       // the end
    log.expectErr("qosKorStart: Invoking host_vty_init");
}
