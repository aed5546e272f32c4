// SPDX-License-Identifier: Apache-2.0
// The control socket's thread says who listens, any thread sends copies. Both share a descriptor that stays open once
// it was needed and gets another connection for another listener, so that no copy meets one that is somebody else's by
// now. Each change has a number of its own: who finds a listener gone ends what it found, and not what came meanwhile.
#include "host/tap.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "host/run.h"
#include "host/socket.h"
#include "velmar/run.h"

std::atomic<uint32_t> tap_state;

namespace {

constexpr uint32_t KINDS = CAPTURE_MI | CAPTURE_DRIVER;
constexpr uint32_t CHANGE = KINDS + 1;
constexpr int SEND_BUFFER = 2 << 20; // bytes; the kernel gives what it lets any process have
constexpr char LISTENERS[] = "dorvctl-capture.";

std::atomic<int> tap_fd{-1};
std::atomic<uint32_t> dropped;
std::string listener; // the control socket's thread's, as all below

bool isGone(int error)
{
    return error == EPIPE || error == ECONNRESET || error == ENOTCONN;
}

bool listens()
{
    pollfd end = {tap_fd.load(), 0, 0};
    return (tap_state.load() & KINDS) != 0 && poll(&end, 1, 0) >= 0 && (end.revents & (POLLHUP | POLLERR)) == 0;
}

void become(uint32_t kinds)
{
    tap_state.store(((tap_state.load() & ~KINDS) + CHANGE) | kinds);
}

// A connection, which takes as much as a socket's buffer does; the queue of a datagram socket may be ten long. -1 with
// errno.
int connectTo(const std::string &name)
{
    char path[sizeof(sockaddr_un::sun_path)];
    sockaddr_un address;
    if (velmar_run_path(path, sizeof path, "ctl", name.c_str()) != 0 || !runAddress(&address, path))
        return -1;
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &SEND_BUFFER, sizeof SEND_BUFFER);
    if (fd < 0 || connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return fd;
    const int error = errno;
    close(fd);
    errno = error;
    return -1;
}

// Empty, or why not.
std::string listen(const std::string &name, uint32_t kinds)
{
    if (listens() && listener != name)
        return "error: " + listener + " captures already";
    if (!listens()) {
        become(0);
        const int fd = connectTo(name);
        if (fd < 0)
            return "error: nobody listens at " + name + ": " + strerror(errno);
        if (tap_fd < 0) {
            tap_fd = fd;
        } else {
            dup3(fd, tap_fd, O_CLOEXEC);
            close(fd);
        }
        dropped = 0;
        listener = name;
    }
    become(kinds);
    return "";
}

std::string nextWord(const char **text)
{
    const size_t length = strcspn(*text, " ");
    const std::string word(*text, length);
    *text += length + strspn(*text + length, " ");
    return word;
}

std::string answer()
{
    const uint32_t now = tap_state.load();
    const auto truth = [now](uint32_t kind) { return now & kind ? "true" : "false"; };
    return std::string("ok {\"listener\":") + (now & KINDS ? '"' + listener + '"' : "null") +
           ",\"mi\":" + truth(CAPTURE_MI) + ",\"driver\":" + truth(CAPTURE_DRIVER) +
           ",\"dropped\":" + std::to_string(dropped.load()) + "}";
}

const char *lastPart(const char *path)
{
    const char *const slash = strrchr(path, '/');
    return slash ? slash + 1 : path;
}

capture_head_t headOf(const tap_copy_t &copy)
{
    capture_head_t head = {};
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    head.magic = CAPTURE_MAGIC;
    head.dropped = dropped.load(std::memory_order_relaxed);
    head.time_ns = static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
    head.error = copy.error;
    head.pid = getpid();
    head.kind = copy.kind;
    head.outbound = copy.outbound;
    sockaddr_un own = {};
    socklen_t length = sizeof own - 1; // what it leaves ends the path
    if (getsockname(copy.fd, reinterpret_cast<sockaddr *>(&own), &length) == 0)
        snprintf(head.own, sizeof head.own, "%.*s", static_cast<int>(sizeof head.own) - 1, lastPart(own.sun_path));
    snprintf(head.peer, sizeof head.peer, "%.*s", static_cast<int>(sizeof head.peer) - 1, lastPart(copy.peer));
    return head;
}

} // namespace

void tapCopy(const tap_copy_t &copy, const iovec *vector, size_t count, size_t length)
{
    const int error = errno;
    uint32_t now = tap_state.load(std::memory_order_acquire);
    capture_head_t head = headOf(copy);
    iovec vectors[SOCKET_VECTORS + 2] = {{&head, sizeof head}};
    size_t used = 1;
    for (; used <= count && used < std::size(vectors) && length > 0; ++used) {
        vectors[used] = vector[used - 1];
        vectors[used].iov_len = std::min(vectors[used].iov_len, length);
        length -= vectors[used].iov_len;
    }
    msghdr message = {};
    message.msg_iov = vectors;
    message.msg_iovlen = used;
    if (sendmsg(tap_fd.load(std::memory_order_relaxed), &message, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
        if (isGone(errno))
            tap_state.compare_exchange_strong(now, now & ~KINDS);
        else
            dropped.fetch_add(1, std::memory_order_relaxed);
    }
    errno = error;
}

std::string tapCommand(const char *arg)
{
    if (!*arg)
        return answer();
    const std::string name = nextWord(&arg);
    if (name == "off" && !*arg) {
        become(0);
        shutdown(tap_fd, SHUT_RDWR); // so that the listener knows that this was all
        listener.clear();
        return answer();
    }
    uint32_t kinds = *arg ? 0 : KINDS;
    while (*arg) {
        const std::string kind = nextWord(&arg);
        if (kind != "mi" && kind != "driver")
            return "error: '" + kind + "' is no kind; there are mi and driver";
        kinds |= kind == "mi" ? CAPTURE_MI : CAPTURE_DRIVER;
    }
    if (name.rfind(LISTENERS, 0) != 0 || name.find('/') != std::string::npos)
        return "error: '" + name + "' is no listener's name";
    const std::string refused = listen(name, kinds);
    return refused.empty() ? answer() : refused;
}
