// SPDX-License-Identifier: Apache-2.0
// The software watchdog: the service manager's notification socket, named by NOTIFY_SOCKET. WATCHDOG_USEC is the time
// after which it gives the process up. The main loop's first hello also says that the process is ready.
#include "host/swd.h"
#include "velmar/swd.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "host/clock.h"

namespace {

constexpr int UNWATCHED_SECONDS = 60;

struct watch_t {
    std::atomic<int> fd; // -1: nobody listens
    int wait_s;          // seconds that a caller may wait
    int64_t quiet_ms;    // no second hello before that, 0 for one at every call
    int64_t last_ms;     // of the last hello, 0 before the first
};
watch_t watch = {-1, UNWATCHED_SECONDS, UNWATCHED_SECONDS * 500, 0};

bool openSocket(const char *name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const size_t length = strlen(name);
    if (length < 2 || length >= sizeof address.sun_path || (*name != '/' && *name != '@'))
        return false;
    memcpy(address.sun_path, name, length);
    if (*name == '@')
        address.sun_path[0] = '\0'; // an abstract name is as long as its address
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return false;
    const socklen_t used = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), used) != 0) {
        close(fd);
        return false;
    }
    watch.fd = fd;
    return true;
}

// A caller asks on each of its passes and waits whole seconds in between. With a limit of 2 seconds and more it waits
// half of that; a hello that is left out because of the last one then still leaves a quarter. Below there is no room
// for leaving one out, and under 4/3 seconds none for a wait: then the passes come fast enough for some to be quiet.
void setLimit(long long limit_us)
{
    if (limit_us <= 0)
        return;
    const bool ample = limit_us >= 2000000;
    const long long wait = ample ? limit_us / 2000000 : limit_us * 3 / 4000000;
    watch.wait_s = static_cast<int>(wait < 3600 ? wait : 3600);
    watch.quiet_ms = ample ? int64_t{watch.wait_s} * 500 : 0;
    if (watch.wait_s == 0)
        watch.quiet_ms = limit_us / 4000;
}

void tell(const char *text)
{
    (void)send(watch.fd, text, strlen(text), MSG_NOSIGNAL);
}

void hello()
{
    const int64_t now = machineUs() / 1000;
    if (watch.last_ms == 0)
        tell("READY=1");
    if (watch.last_ms != 0 && now - watch.last_ms < watch.quiet_ms)
        return;
    tell("WATCHDOG=1");
    watch.last_ms = now;
}

} // namespace

void swdWaits()
{
    if (watch.fd >= 0 && watch.last_ms != 0)
        hello();
}

int swdQuietMs()
{
    if (watch.fd < 0 || watch.last_ms == 0)
        return -1;
    return watch.wait_s > 0 ? watch.wait_s * 1000 : static_cast<int>(watch.quiet_ms);
}

void swdStopping()
{
    if (watch.fd >= 0)
        tell("STOPPING=1");
}

int swd_register(void *)
{
    const char *name = getenv("NOTIFY_SOCKET");
    if (watch.fd < 0 && (!name || !openSocket(name)))
        return -1;
    const char *limit = getenv("WATCHDOG_USEC");
    const char *whose = getenv("WATCHDOG_PID");
    if (limit && (!whose || strtoll(whose, nullptr, 10) == getpid()))
        setLimit(strtoll(limit, nullptr, 10));
    watch.last_ms = 0;
    return 0;
}

// The scheduler asks on every pass, between reading the clock and waiting: a step that comes there is not for this call
// to see. The watchdog lives outside of this process, so its time is the machine's, steps of the clock left out.
int swd_hello(int handle, struct timeval *last)
{
    const int64_t at = clockUs(clock_offset_ms.load(std::memory_order_relaxed));
    *last = {static_cast<time_t>(at / 1000000), static_cast<suseconds_t>(at % 1000000)};
    if (handle < 0 || watch.fd < 0)
        return UNWATCHED_SECONDS;
    hello();
    return watch.wait_s;
}
