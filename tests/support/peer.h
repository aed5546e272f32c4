// SPDX-License-Identifier: Apache-2.0
// The other side of an agent's or tool's sockets, and programs as children: what every test over sockets shares.
#ifndef TESTS_SUPPORT_PEER_H
#define TESTS_SUPPORT_PEER_H

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <poll.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "tests/support/bytes.h"

sockaddr_un addressOf(const std::string &path);

struct Datagram {
    Bytes bytes; // empty if none came in time
    std::string from;
};

// A datagram socket of the test at a path.
class Socket {
public:
    explicit Socket(const std::string &path);
    ~Socket();
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;
    bool send(const std::string &to, const Bytes &bytes, int flags = 0) const;
    bool send(const std::string &to, const std::string &text) const
    {
        return send(to, Bytes(text.begin(), text.end()));
    }
    Datagram receive(int timeout_ms = 20000) const;
    std::string receiveText(int timeout_ms = 20000) const; // a control socket's answer
    int fd;
    std::string path;
};

bool reach(int fd, const std::string &path); // connects
bool ready(int fd, int timeout_ms);          // to be read, or at its end
void leaveSocket(const std::string &path);   // as a process that was killed does

// A socket whose datagrams go to `serve`, on a thread of its own, till the end.
class Server {
public:
    using Serve = std::function<void(const Datagram &)>;
    Server(const std::string &path, Serve serve);
    ~Server();
    Socket sock;

private:
    void loop(const Serve &serve) const;
    int stop[2];
    std::thread worker;
};

std::string slurp(const std::string &path);
std::string makeRunDir(); // with its folders
struct RunDirectory {
    const std::string path = makeRunDir();
    ~RunDirectory() { std::filesystem::remove_all(path); }
    void own() const { setenv("VELMAR_RUN", path.c_str(), 1); } // for the host library in this process
};
size_t countOf(const std::string &text, const std::string &part);
testing::AssertionResult has(const std::string &text, const std::string &part);
// Waits for at most a minute.
bool within(const std::function<bool()> &holds);

// Starts a program in a run directory with these variables besides, given as NAME=value, and appends what it prints to
// `output`. The first argument is its own name. It goes with the test, its clock stands still but for steps, and
// `prepare` is what it does ahead of the program. Gives its process id.
int startProgram(const std::string &binary, const std::vector<std::string> &args, const std::string &run,
                 const std::vector<std::string> &variables, const std::string &output,
                 const std::function<void()> &prepare = nullptr);
int statusOf(int wait_status); // exit status, -1 for a signal

#endif
