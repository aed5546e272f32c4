// What the tests of dorvctl share: a run directory of their own, processes on the other side that follow a script, and
// the program itself.
#ifndef TESTS_CTL_PEER_H
#define TESTS_CTL_PEER_H

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "tools/batch.h"
#include "tools/error.h"
#include "velmar/mi6.h"
#include "velmar/run.h"

// The run directory of this test process, made before anything asks for it and removed at the end.
struct ownRun : testing::Environment {
    static std::string path;
    void SetUp() override
    {
        char name[] = "/tmp/dorvctl-test-XXXXXX";
        path = mkdtemp(name);
        setenv("VELMAR_RUN", name, 1);
        char error[256];
        ASSERT_STREQ(velmar_run_dir(error, sizeof error), name);
    }
    void TearDown() override
    {
        if (path.rfind("/tmp/dorvctl-test-", 0) == 0)
            std::filesystem::remove_all(path);
    }
};
inline std::string ownRun::path;
inline testing::Environment *const environment = testing::AddGlobalTestEnvironment(new ownRun);

inline sockaddr_un addressOf(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

// A process on the other side: a socket and a thread that hands each datagram to `serve`.
class peer {
public:
    using server = std::function<void(peer &, const std::string &data, const sockaddr_un &from)>;

    peer(const std::string &folder, const std::string &name, server serve)
        : path_(ownRun::path + "/" + folder + "/" + name + "." + std::to_string(getpid())),
          fd_(socket(AF_UNIX, SOCK_DGRAM, 0)), serve_(std::move(serve))
    {
        const sockaddr_un address = addressOf(path_);
        if (bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
            ADD_FAILURE() << path_ << ": " << std::strerror(errno);
        thread_ = std::thread([this] { loop(); });
    }
    ~peer()
    {
        ended_ = true;
        thread_.join();
        close(fd_);
        unlink(path_.c_str());
    }

    int descriptor() const { return fd_; }

    void reply(const std::string &data, const sockaddr_un &to)
    {
        sendto(fd_, data.data(), data.size(), 0, reinterpret_cast<const sockaddr *>(&to), sizeof to);
    }

    // Sends to every manager's socket, as the agent of a slot.
    void tellManagers(const ctlBytes &bytes, unsigned slot = 1, const std::string &service = "qosMI")
    {
        mi6_addr_t own{};
        own.family = 58;
        service.copy(own.service, sizeof own.service - 1);
        own.slot_mask = static_cast<uint16_t>(1u << (slot - 1));
        own.flags = 2;
        std::string data(reinterpret_cast<const char *>(&own), sizeof own);
        data.append(bytes.begin(), bytes.end());
        const std::string folder = ownRun::path + "/mi6/";
        DIR *directory = opendir(folder.c_str());
        while (const dirent *entry = readdir(directory))
            if ((service + ".mgr.").compare(0, std::string::npos, entry->d_name, service.size() + 5) == 0)
                reply(data, addressOf(folder + entry->d_name));
        closedir(directory);
    }

private:
    void loop()
    {
        char data[65536];
        while (!ended_) {
            pollfd readable = {fd_, POLLIN, 0};
            if (poll(&readable, 1, 10) <= 0)
                continue;
            sockaddr_un from{};
            socklen_t length = sizeof from;
            const ssize_t got = recvfrom(fd_, data, sizeof data, 0, reinterpret_cast<sockaddr *>(&from), &length);
            if (got > 0)
                serve_(*this, std::string(data, static_cast<size_t>(got)), from);
        }
    }

    std::string path_;
    int fd_;
    server serve_;
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

#ifdef DORVCTL_BINARY
// Runs the program: it must end with `exit` and say `says`. Wrong use costs one line.
inline void expectProgram(const char *arguments, int exit, const char *says)
{
    FILE *pipe = popen((std::string(DORVCTL_BINARY " ") + arguments + " 2>&1").c_str(), "r");
    std::string said(8192, '\0');
    said.resize(fread(said.data(), 1, said.size(), pipe));
    while (fgetc(pipe) != EOF)
        ;
    const int status = pclose(pipe);
    ASSERT_TRUE(WIFEXITED(status)) << arguments;
    EXPECT_EQ(WEXITSTATUS(status), exit) << arguments << ": " << said;
    EXPECT_NE(said.find(says), std::string::npos) << arguments << ": " << said;
    EXPECT_TRUE(exit != CTL_USAGE || std::count(said.begin(), said.end(), '\n') == 1) << said;
}
#endif

#endif
