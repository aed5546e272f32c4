// SPDX-License-Identifier: Apache-2.0
// The event log RUN/trace/raslog, shared by all processes of the run directory: one write a line, so lines stay whole.
// Where standard error is a service manager's journal, which says so in JOURNAL_STREAM, the lines go there too.
//
// It is bounded: who finds it full makes it the old one, in place of the one before, and every other process follows to
// the new file with its next line. What one process says again and again is counted.
#include "host/raslog.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "host/complain.h"
#include "host/fault.h"
#include "host/run.h"
#include "velmar/run.h"
#include "velmar/trace.h"
#include "velmar/version.h"

namespace {

constexpr off_t SIZE_MOST = 1 << 20; // bytes; a line beyond them begins a new file
constexpr unsigned REPEATS_SHOWN = 3;

std::mutex log_lock;          // what follows
std::atomic<int> log_fd = -1; // a crash looks at it without the lock
char log_origin[64];          // "service.instance tag[pid]"
char log_path[sizeof(sockaddr_un::sun_path)];
char last_text[512];
unsigned repeats;  // of it, the first one included
unsigned reported; // of them

// Opens the file of the name anew: it may be another one by now, or none. The old one stays where that fails.
bool reopen(const char **why)
{
    const int fd = runOpen(log_path, O_WRONLY | O_APPEND | O_CREAT, why);
    if (fd < 0)
        return false;
    runShare(fd);
    if (log_fd >= 0)
        close(log_fd);
    log_fd = fd;
    return true;
}

// The lock is only tried: who has it does the same, and one that is no process's of ours must not hold anybody up.
void makeOld()
{
    char old[sizeof log_path + 2];
    struct stat name;
    struct stat own;
    if (flock(log_fd, LOCK_EX | LOCK_NB) != 0)
        return;
    snprintf(old, sizeof old, "%s.1", log_path);
    if (stat(log_path, &name) == 0 && fstat(log_fd, &own) == 0 && name.st_ino == own.st_ino)
        rename(log_path, old);
    flock(log_fd, LOCK_UN);
}

// The size of the file that stands at the name.
off_t followName()
{
    const char *why;
    struct stat name;
    struct stat own = {};
    fstat(log_fd, &own);
    if (lstat(log_path, &name) == 0 && name.st_ino == own.st_ino && name.st_dev == own.st_dev)
        return own.st_size;
    return reopen(&why) && fstat(log_fd, &own) == 0 ? own.st_size : 0;
}

void putDigits(char *to, unsigned value, int digits)
{
    for (; digits > 0; value /= 10)
        to[--digits] = static_cast<char>('0' + value % 10);
}

constexpr char STAMP[] = "YYYY-MM-DDTHH:MM:SSZ";

// By hand, as a crash may be in the middle of the library's own. Days are counted from the first of March of the year
// 0, so that a leap day ends its year; an era has 400 years.
void stampOf(time_t now, char (&stamp)[sizeof STAMP])
{
    const unsigned days = static_cast<unsigned>(now / 86400) + 719468, second = static_cast<unsigned>(now % 86400);
    const unsigned era = days / 146097, day = days % 146097;
    const unsigned year = (day - day / 1460 + day / 36524 - day / 146096) / 365;
    const unsigned rest = day - (365 * year + year / 4 - year / 100), month = (5 * rest + 2) / 153;
    memcpy(stamp, STAMP, sizeof STAMP);
    putDigits(stamp, era * 400 + year + (month >= 10), 4);
    putDigits(stamp + 5, month < 10 ? month + 3 : month - 9, 2);
    putDigits(stamp + 8, rest - (153 * month + 2) / 5 + 1, 2);
    putDigits(stamp + 11, second / 3600, 2);
    putDigits(stamp + 14, second / 60 % 60, 2);
    putDigits(stamp + 17, second % 60, 2);
}

// Whether standard error is the journal that the environment names, by its device and inode, and not something that the
// process or its parent put there since.
bool isJournal()
{
    const char *named = getenv("JOURNAL_STREAM");
    struct stat own;
    unsigned long long device, inode;
    return named && sscanf(named, "%llu:%llu", &device, &inode) == 2 && fstat(STDERR_FILENO, &own) == 0 &&
           own.st_dev == device && own.st_ino == inode;
}

void put(const char *text)
{
    char stamp[sizeof STAMP];
    stampOf(time(nullptr), stamp);
    if (isJournal())
        dprintf(STDERR_FILENO, "%s: %s\n", log_origin, text);
    char line[sizeof stamp + sizeof log_origin + sizeof last_text];
    const int length = snprintf(line, sizeof line, "%s %s: %s\n", stamp, log_origin, text);
    if (followName() + length > SIZE_MOST) {
        makeOld();
        followName();
    }
    // What the disk does not take goes to standard error, which somebody else keeps.
    errno = ENOSPC; // where only a part of it was written
    if (faultFails(FAULT_WRITE) || write(log_fd, line, static_cast<size_t>(length)) != length)
        complain("%s: %s", text, strerror(errno));
}

void putCount()
{
    char text[64];
    if (repeats == reported)
        return;
    reported = repeats;
    snprintf(text, sizeof text, "the line before came %u times in a row", repeats);
    put(text);
}

// 10, 100, 1000 and so on.
bool isRound(unsigned count)
{
    while (count >= 10 && count % 10 == 0)
        count /= 10;
    return count == 1;
}

} // namespace

void rasLog(const char *format, ...)
{
    char text[sizeof last_text];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    const std::lock_guard<std::mutex> lock(log_lock);
    if (log_fd < 0)
        return;
    if (strcmp(text, last_text) != 0) {
        putCount();
        memcpy(last_text, text, sizeof text);
        repeats = reported = 0;
    }
    ++repeats;
    if (repeats <= REPEATS_SHOWN) {
        reported = repeats;
        put(text);
    } else if (isRound(repeats)) {
        putCount();
    }
}

void rasLogGone(const char *name)
{
    constexpr const char *FORMAT = "%s is gone without a word: it was killed or crashed";
    if (log_fd >= 0)
        return rasLog(FORMAT, name);
    const std::lock_guard<std::mutex> lock(log_lock);
    const char *why;
    if (velmar_run_path(log_path, sizeof log_path, "trace", "raslog") != 0 ||
        (log_fd = runOpen(log_path, O_WRONLY | O_APPEND, &why)) < 0)
        return;
    char text[sizeof last_text];
    snprintf(text, sizeof text, FORMAT, name);
    snprintf(log_origin, sizeof log_origin, "- %.15s[%d]", program_invocation_short_name, static_cast<int>(getpid()));
    put(text);
    close(log_fd);
    log_fd = -1;
}

// What may run in a handler of a signal: no lock, no memory, one write.
void rasDying(const char *why)
{
    char line[sizeof STAMP + sizeof log_origin + 128];
    char stamp[sizeof STAMP];
    stampOf(time(nullptr), stamp);
    size_t used = 0;
    for (const char *part :
         {static_cast<const char *>(stamp), " ", static_cast<const char *>(log_origin), ": ", why, "\n"})
        for (; *part && used < sizeof line; ++part)
            line[used++] = *part;
    if (log_fd >= 0)
        (void)!write(log_fd, line, used);
}

int rasevt_init(const char *service, uint32_t instance, const char *tag)
{
    {
        const std::lock_guard<std::mutex> lock(log_lock);
        if (velmar_run_path(log_path, sizeof log_path, "trace", "raslog") != 0)
            return -1;
        const char *why;
        if (!reopen(&why)) {
            complain("cannot open event log %s: %s", log_path, why);
            return -1;
        }
        snprintf(log_origin, sizeof log_origin, "%.15s.%u %.15s[%d]", service, static_cast<unsigned>(instance), tag,
                 static_cast<int>(getpid()));
    }
    static std::atomic_flag told;
    if (!told.test_and_set())
        rasLog("version " VELMAR_VERSION);
    rasLog("started");
    return 0;
}

void rasevt_exit()
{
    rasLog("ended");
    const std::lock_guard<std::mutex> lock(log_lock);
    if (log_fd >= 0)
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
