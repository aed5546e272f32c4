// The process frame in the manager role: dorvmd-role as a process beside the driver emulator, asked through its
// terminal as a person would.
#include <filesystem>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/node.h"

namespace {

constexpr int LONGEST_MS = 20000;

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
    int fd = -1;
    explicit Client(const std::string &path)
    {
        const sockaddr_un address = addressOf(path);
        for (int ms = 0; ms < LONGEST_MS; ms += 10) {
            fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
            if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
                return;
            close(fd);
            poll(nullptr, 0, 10);
        }
        fd = -1;
    }
    ~Client() { close(fd); }
    // What comes up to a prompt, or to the end.
    std::string read()
    {
        std::string text;
        for (pollfd ready = {fd, POLLIN, 0}; poll(&ready, 1, LONGEST_MS) == 1;) {
            char bytes[4096];
            const ssize_t got = ::read(fd, bytes, sizeof bytes);
            if (got <= 0)
                break;
            text.append(bytes, static_cast<size_t>(got));
            if (text.ends_with("# "))
                break;
        }
        return text;
    }
    std::string type(const std::string &keys)
    {
        EXPECT_EQ(send(fd, keys.data(), keys.size(), MSG_NOSIGNAL), static_cast<ssize_t>(keys.size()));
        return read();
    }
};

struct RoleTest : testing::Test {
    const std::string run = makeRunDir();
    TraceLog log{run + "/trace.txt"};
    Program driver{run, {HSLD_BINARY, "--chip", "1/0:mirelle:4"}};
    Socket control{run + "/client"};
    ~RoleTest() override
    {
        log.check();
        std::filesystem::remove_all(run);
    }
    // A command to the emulator, which must be up.
    std::string hsld(const std::string &command)
    {
        const std::string path = run + "/ctl/hsld." + std::to_string(driver.pid);
        EXPECT_TRUE(within([&] { return control.send(path, command); }));
        return control.receiveText();
    }
};

bool has(const std::string &text, const char *part)
{
    return text.find(part) != std::string::npos;
}

} // namespace

TEST_F(RoleTest, PortsAndChipsFollowTheDriver)
{
    EXPECT_TRUE(has(hsld("stat"), "\"requests\":0"));
    const Program role(run, {DORVMD_ROLE_BINARY, "--port", "te1/1..te1/2"});
    Client terminal(run + "/vty");
    EXPECT_TRUE(terminal.read().ends_with("dorvmd# "));
    // The driver was asked for the basic and for the extended capabilities.
    const std::string table = terminal.type("sh d int all\r");
    EXPECT_TRUE(has(table, "Chip 8 (1/0):\r\n\tChip Type = Mirelle\r\n"));
    EXPECT_TRUE(has(table, "\tifindex = 0x18408000, ChipId = 8, Chip IfIndex = 0x88400000\r\n"));
    EXPECT_TRUE(has(table, "\tNum of Ports per chip = 4\r\n"));
    EXPECT_TRUE(has(table, "te1/2\r\n"));

    EXPECT_EQ(hsld("event chip-down 1/0"), "ok listeners 1");
    while (has(terminal.type("show dorvmd interface all\n"), "Chip 8"))
        ;
    terminal.type("conf t\r");
    EXPECT_TRUE(has(terminal.type("int ten 1/1\r"), "% Result 8\r\n"));
    EXPECT_EQ(hsld("event chip-up 1/0"), "ok listeners 1");
    while (has(terminal.type("\x1a"
                             "conf t\rint ten 1/1\r"),
               "Result"))
        ;
    log.expectErr({"qosKorStart: Invoking host_vty_init", "Unknown chip 8 for port add te1/1"});
}

TEST_F(RoleTest, KeysEditTheLine)
{
    const Program role(run, {DORVMD_ROLE_BINARY});
    Client terminal(run + "/vty"), second(run + "/vty");
    terminal.read(), second.read();
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
