// The event log RUN/trace/raslog, shared by all processes of the run directory: one write a line, so lines stay whole.
#include "host/raslog.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "host/complain.h"
#include "host/run.h"
#include "velmar/run.h"
#include "velmar/trace.h"

namespace {

int log_fd = -1;
char log_origin[64]; // "service.instance tag[pid]"

} // namespace

void rasLog(const char *format, ...)
{
    if (log_fd < 0)
        return;
    char text[512];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    const time_t now = time(nullptr);
    tm utc;
    gmtime_r(&now, &utc);
    char stamp[32];
    strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ", &utc);
    dprintf(log_fd, "%s %s: %s\n", stamp, log_origin, text);
}

int rasevt_init(const char *service, uint32_t instance, const char *tag)
{
    char path[sizeof(sockaddr_un::sun_path)];
    if (velmar_run_path(path, sizeof path, "trace", "raslog") != 0)
        return -1;
    if (log_fd >= 0)
        close(log_fd);
    log_fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (log_fd < 0) {
        complain("cannot open event log %s: %s", path, strerror(errno));
        return -1;
    }
    snprintf(log_origin, sizeof log_origin, "%.15s.%u %.15s[%d]", service, static_cast<unsigned>(instance), tag,
             static_cast<int>(getpid()));
    rasLog("started");
    return 0;
}

void rasevt_exit()
{
    if (log_fd < 0)
        return;
    rasLog("ended");
    close(log_fd);
    log_fd = -1;
}

void do_assert(const char *text, const char *file, int code, ...)
{
    dprintf(STDERR_FILENO, "assertion %s failed in %s, code %d\n", text, file, code);
    rasLog("assertion %s failed in %s, code %d", text, file, code);
    runCleanup();
    _exit(code);
}
