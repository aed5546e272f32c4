// The list of holders: HOLDERS_MOST records at the start of the lock file, those with process id 0 being empty, and
// behind them the sequence.
#include "host/holders.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/raslog.h"

namespace {

using table_t = std::array<holder_t, HOLDERS_MOST>;
int lock_file = -1;
std::atomic<uint64_t> *given; // behind the table, in a mapping of the file: it is written at every change

// State and start of a process, from /proc/PID/stat; false if there is none.
bool lookAt(int pid, char *state, uint64_t *started)
{
    char path[32];
    char line[1024] = {};
    snprintf(path, sizeof path, "/proc/%d/stat", pid);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    const ssize_t got = fd >= 0 ? read(fd, line, sizeof line - 1) : -1;
    if (fd >= 0)
        close(fd);
    const char *at = got > 0 ? strrchr(line, ')') : nullptr; // ") S 1 ...", state being the third field
    if (!at || !at[1])
        return false;
    *state = at[2];
    for (int field = 2; at && field < 22; ++field)
        at = strchr(at + 1, ' ');
    *started = at ? strtoull(at, nullptr, 10) : 0;
    return at;
}

} // namespace

void holdersOpen(int lock_fd)
{
    constexpr size_t SIZE = sizeof(table_t) + sizeof *given;
    lock_file = lock_fd;
    struct stat found;
    if (fstat(lock_fd, &found) != 0 || (found.st_size < static_cast<off_t>(SIZE) && ftruncate(lock_fd, SIZE) != 0))
        return;
    // Opened anew: a mapping of the lock's own descriptor would keep the lock beyond its close.
    char path[32];
    snprintf(path, sizeof path, "/proc/self/fd/%d", lock_fd);
    const int again = open(path, O_RDWR | O_CLOEXEC);
    if (again < 0)
        return;
    void *map = mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, again, 0);
    close(again);
    if (map != MAP_FAILED)
        given = reinterpret_cast<std::atomic<uint64_t> *>(static_cast<unsigned char *>(map) + sizeof(table_t));
}

void holdersGave(uint64_t sequence)
{
    if (given)
        given->store(sequence);
}

uint64_t holdersGiven()
{
    return given ? given->load() : 0;
}

std::vector<holder_t> holdersRead()
{
    table_t table = {};
    if (lock_file < 0 || pread(lock_file, table.data(), sizeof table, 0) != static_cast<ssize_t>(sizeof table))
        return {};
    std::vector<holder_t> holders;
    for (const holder_t &holder : table)
        if (holder.pid > 0)
            holders.push_back(holder);
    return holders;
}

void holdersWrite(std::span<const holder_t> holders)
{
    table_t table = {};
    for (size_t i = 0; i < holders.size() && i < table.size(); ++i)
        table[i] = holders[i];
    if (lock_file >= 0 && pwrite(lock_file, table.data(), sizeof table, 0) != static_cast<ssize_t>(sizeof table))
        rasLog("election: cannot write the lock file: %s", strerror(errno));
}

holder_t holderOf(int pid, uint32_t copy)
{
    holder_t holder = {pid, copy, 0};
    char state;
    if (!lookAt(pid, &state, &holder.started))
        holder.started = 0;
    return holder;
}

bool holderIsSelf(const holder_t &holder)
{
    static const holder_t self = holderOf(getpid(), 0);
    return holder.pid == self.pid && holder.started == self.started;
}

bool holderRuns(const holder_t &holder)
{
    char state;
    uint64_t started;
    return lookAt(holder.pid, &state, &started) && started == holder.started && !strchr("TtZX", state);
}
