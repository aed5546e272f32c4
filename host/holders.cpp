// SPDX-License-Identifier: Apache-2.0
// The list of holders: one record at the start of the lock file, written as a whole and never mapped, since anybody may
// cut the file. A check at its end tells it from anything else; holders with process id 0 are none.
#include "host/holders.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

#include "host/fault.h"
#include "host/raslog.h"

namespace {

constexpr uint64_t MAGIC = 0x32737265646c6f48;

struct record_t {
    uint64_t magic;
    uint64_t given;
    holder_t leader;
    std::array<holder_t, HOLDERS_MOST> listed;
    uint64_t check; // of all words ahead of it
};
static_assert(sizeof(record_t) == 296);

std::mutex list_lock; // what follows
int lock_file = -1;
holders_t mine;
record_t written; // the last record of the owner
int failure;      // errno of the last write, which is told once

// FNV-1a over words.
uint64_t checkOf(const record_t &record)
{
    std::array<uint64_t, offsetof(record_t, check) / sizeof(uint64_t)> words;
    memcpy(words.data(), &record, sizeof words);
    uint64_t hash = 0xcbf29ce484222325;
    for (const uint64_t word : words)
        hash = (hash ^ word) * 0x100000001b3;
    return hash;
}

record_t recordOf(const holders_t &list)
{
    record_t record = {};
    record.magic = MAGIC;
    record.given = list.given;
    record.leader = list.leader;
    for (size_t i = 0; i < list.listed.size() && i < record.listed.size(); ++i)
        record.listed[i] = list.listed[i];
    record.check = checkOf(record);
    return record;
}

bool readRecord(int file, record_t *record)
{
    return file >= 0 && pread(file, record, sizeof *record, 0) == static_cast<ssize_t>(sizeof *record) &&
           record->magic == MAGIC && record->check == checkOf(*record);
}

bool writeRecord(int file, const record_t &record)
{
    return !faultFails(FAULT_WRITE) && pwrite(file, &record, sizeof record, 0) == static_cast<ssize_t>(sizeof record);
}

void writeMine()
{
    written = recordOf(mine);
    if (lock_file < 0)
        return;
    errno = 0;
    if (writeRecord(lock_file, written)) {
        failure = 0;
        return;
    }
    const int error = errno ? errno : ENOSPC; // of which only a part was written
    if (error != failure)
        rasLog("election: cannot write the lock file, a takeover must do without the list of copies: %s",
               strerror(error));
    failure = error;
    if (faultFails(FAULT_LENGTH) || ftruncate(lock_file, 0) != 0)
        failure = error;
}

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

bool isThere(const holder_t &holder, const char *states_of_none)
{
    char state;
    uint64_t started;
    errno = 0;
    if (lookAt(holder.pid, &state, &started))
        return started == holder.started && !strchr(states_of_none, state);
    // Without a descriptor to look closer, whoever has the number counts.
    return (errno == EMFILE || errno == ENFILE) && kill(holder.pid, 0) == 0;
}

} // namespace

holders_t holdersIn(int lock_fd)
{
    record_t record;
    if (!readRecord(lock_fd, &record))
        return {};
    holders_t list = {true, record.leader, record.given, {}};
    for (const holder_t &holder : record.listed)
        if (holder.pid > 0)
            list.listed.push_back(holder);
    return list;
}

void holdersOpen(int lock_fd)
{
    const std::lock_guard<std::mutex> lock(list_lock);
    lock_file = lock_fd;
}

void holdersTake(const holders_t &list)
{
    const std::lock_guard<std::mutex> lock(list_lock);
    mine = list;
    written = recordOf(mine);
}

holders_t holdersMine()
{
    const std::lock_guard<std::mutex> lock(list_lock);
    return mine;
}

void holdersWrite(std::span<const holder_t> holders)
{
    const std::lock_guard<std::mutex> lock(list_lock);
    mine.known = true;
    mine.listed.assign(holders.begin(), holders.begin() + std::min<size_t>(holders.size(), HOLDERS_MOST));
    writeMine();
}

void holdersGave(uint64_t sequence)
{
    const std::lock_guard<std::mutex> lock(list_lock);
    mine.given = sequence;
    if (mine.listed.size() > 1) // one alone has nobody to differ from, and a pair is spared the write
        writeMine();
}

void holdersLead()
{
    const std::lock_guard<std::mutex> lock(list_lock);
    mine.leader = holderOf(getpid(), 0);
    if (mine.known) // a file that tells nothing goes on so until there is something to tell
        writeMine();
}

bool holdersMend()
{
    const std::lock_guard<std::mutex> lock(list_lock);
    record_t found;
    if (readRecord(lock_file, &found) && memcmp(&found, &written, sizeof found) == 0)
        return false;
    const bool is_new = failure == 0;
    writeMine();
    return is_new && failure == 0;
}

void holdersBlank(int file)
{
    const record_t record = recordOf({true, {}, 0, {}});
    if (!writeRecord(file, record) && ftruncate(file, 0) != 0)
        return; // either way it says nothing
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
    return isThere(holder, "TtZX");
}

bool holderExists(const holder_t &holder)
{
    return isThere(holder, "ZX");
}
