// The software watchdog: the service manager's notification socket, named by NOTIFY_SOCKET. WATCHDOG_USEC is the time
// after which it gives the process up.
#include "velmar/swd.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "velmar/os.h"

namespace {

constexpr int UNWATCHED_SECONDS = 60;

struct watch_t {
    int fd;
    int interval; // seconds between two hellos
    int64_t last_ms;
};
watch_t watch = {-1, UNWATCHED_SECONDS, 0};

int64_t realMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

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
    watch.fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (watch.fd < 0)
        return false;
    const socklen_t used = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
    if (connect(watch.fd, reinterpret_cast<sockaddr *>(&address), used) == 0)
        return true;
    close(watch.fd);
    watch.fd = -1;
    return false;
}

void tell(const char *text)
{
    (void)send(watch.fd, text, strlen(text), MSG_NOSIGNAL);
}

} // namespace

int swd_register(void *)
{
    const char *name = getenv("NOTIFY_SOCKET");
    if (!name || watch.fd >= 0 || !openSocket(name))
        return watch.fd >= 0 ? 0 : -1;
    const char *limit = getenv("WATCHDOG_USEC");
    const char *whose = getenv("WATCHDOG_PID");
    if (limit && (!whose || atoll(whose) == getpid())) {
        const long long half = atoll(limit) / 2000000;
        watch.interval = half < 1 ? 1 : static_cast<int>(half < 3600 ? half : 3600);
    }
    tell("READY=1");
    return 0;
}

// The scheduler asks on every pass; a datagram goes out only when half of the interval has passed. The watchdog lives
// outside of this process, so its time is the machine's, steps of the clock left out.
int swd_hello(int handle, struct timeval *last)
{
    velmar_now(last);
    if (handle < 0 || watch.fd < 0)
        return UNWATCHED_SECONDS;
    const int64_t now = realMs();
    if (watch.last_ms == 0 || now - watch.last_ms >= int64_t{watch.interval} * 500) {
        tell("WATCHDOG=1");
        watch.last_ms = now;
    }
    return watch.interval;
}
