// SPDX-License-Identifier: Apache-2.0
// Sockets and children by the system's own calls.
#include "tests/support/peer.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>

static constexpr int PATIENCE_MS = 60000;

sockaddr_un addressOf(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

bool reach(int fd, const std::string &path)
{
    const sockaddr_un address = addressOf(path);
    return connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

bool ready(int fd, int timeout_ms)
{
    pollfd entry = {fd, POLLIN, 0};
    return poll(&entry, 1, timeout_ms) > 0;
}

Socket::Socket(const std::string &file) : fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)), path(file)
{
    const sockaddr_un address = addressOf(path);
    EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0) << path << strerror(errno);
}

Socket::~Socket()
{
    close(fd);
    unlink(path.c_str());
}

bool Socket::send(const std::string &to, const Bytes &bytes, int flags) const
{
    const sockaddr_un address = addressOf(to);
    return sendto(fd, bytes.data(), bytes.size(), flags | MSG_NOSIGNAL, reinterpret_cast<const sockaddr *>(&address),
                  sizeof address) == static_cast<ssize_t>(bytes.size());
}

Datagram Socket::receive(int timeout_ms) const
{
    if (!ready(fd, timeout_ms))
        return {};
    static thread_local Bytes buffer(300000);
    sockaddr_un from{};
    socklen_t length = sizeof from;
    const ssize_t got = recvfrom(fd, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr *>(&from), &length);
    return {cut(buffer, 0, got < 0 ? 0 : static_cast<size_t>(got)), from.sun_path};
}

std::string Socket::receiveText(int timeout_ms) const
{
    const Bytes bytes = receive(timeout_ms).bytes;
    return {bytes.begin(), bytes.end()};
}

void leaveSocket(const std::string &path)
{
    const sockaddr_un address = addressOf(path);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0) << path;
    close(fd);
}

Server::Server(const std::string &path, Serve serve) : sock(path)
{
    EXPECT_EQ(pipe2(stop, O_CLOEXEC), 0);
    worker = std::thread([this, serve = std::move(serve)] { loop(serve); });
}

Server::~Server()
{
    close(stop[1]);
    worker.join();
    close(stop[0]);
}

void Server::loop(const Serve &serve) const
{
    for (;;) {
        pollfd entries[] = {{sock.fd, POLLIN, 0}, {stop[0], POLLIN, 0}};
        poll(entries, 2, -1);
        if (entries[1].revents)
            return;
        serve(sock.receive());
    }
}

std::string slurp(const std::string &path)
{
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

size_t countOf(const std::string &text, const std::string &part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

testing::AssertionResult has(const std::string &text, const std::string &part)
{
    return (text.find(part) != text.npos ? testing::AssertionSuccess() : testing::AssertionFailure() << "no " << part)
           << " in: " << text;
}

std::string makeRunDir()
{
    char name[] = "/tmp/dorvald_test.XXXXXX";
    const std::string run = mkdtemp(name);
    for (const char *folder : {"mi6", "qos", "ctl", "ha", "trace"})
        mkdir((run + "/" + folder).c_str(), 0700);
    return run;
}

bool within(const std::function<bool()> &holds)
{
    for (int ms = 0; ms < PATIENCE_MS; ++ms) {
        if (holds())
            return true;
        usleep(1000);
    }
    return false;
}

int startProgram(const std::string &binary, const std::vector<std::string> &args, const std::string &run,
                 const std::vector<std::string> &variables, const std::string &output,
                 const std::function<void()> &prepare)
{
    std::vector<std::string> environment = variables; // of two values of a name the first counts
    environment.insert(environment.end(), {"VELMAR_RUN=" + run, "VELMAR_CLOCK=stepped"});
    for (char **entry = environ; *entry; ++entry)
        environment.push_back(*entry);
    const auto pointers = [](const std::vector<std::string> &strings) {
        std::vector<char *> found;
        for (const std::string &string : strings)
            found.push_back(const_cast<char *>(string.c_str()));
        found.push_back(nullptr);
        return found;
    };
    const std::vector<char *> argv = pointers(args), envp = pointers(environment);
    const int pid = fork();
    if (pid != 0)
        return pid;
    // Another thread may have held any lock at the fork, an allocator's too: nothing here may take one.
    prctl(PR_SET_PDEATHSIG, SIGKILL); // also when the test itself is ended
    signal(SIGINT, SIG_DFL);          // which whatever a shell runs in the background ignores
    const int fd = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(fd, 1);
    dup2(fd, 2);
    if (prepare)
        prepare();
    execve(binary.c_str(), argv.data(), envp.data());
    _exit(127);
}

int statusOf(int wait_status)
{
    return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1;
}
