// The election: processes of one service and instance wait for a lock on RUN/ha/SERVICE.INSTANCE.lock, in a thread of
// its own. Whoever holds the lock is active; the kernel hands it on at once when that process dies.
#include "host/election.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "host/clock.h"
#include "host/complain.h"
#include "host/process.h"
#include "host/raslog.h"
#include "host/replica.h"
#include "velmar/run.h"

namespace {

constexpr uint32_t STAGE_COLD = 1002;
constexpr uint32_t STAGE_THA = 1042;
constexpr uint32_t WORD_ELECTED = 1; // the message of type 15 that the winner's thread posts
constexpr timespec RETRY = {0, 10000000};

enum role_t : int { STANDBY, ACTIVE, MANUAL };

const ha_ops_t *ops;
ha_hndl_t handle;
int lock_fd = -1;
bool started;
std::atomic<int> role = STANDBY;
std::atomic<uint64_t> role_since; // milliseconds of the clock

void enter(role_t next)
{
    role_since.store(clockCoarseMs());
    role.store(next);
}

using holders_t = std::array<int32_t, ELECTION_HOLDERS>; // process ids, 0 for none

holders_t readHolders()
{
    holders_t holders = {};
    if (pread(lock_fd, holders.data(), sizeof holders, 0) != static_cast<ssize_t>(sizeof holders))
        return {};
    return holders;
}

// Neither dead nor stopped.
bool runs(int pid)
{
    char path[32];
    char line[256] = {};
    snprintf(path, sizeof path, "/proc/%d/stat", pid);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    const ssize_t got = fd >= 0 ? read(fd, line, sizeof line - 1) : -1;
    if (fd >= 0)
        close(fd);
    const char *state = got > 0 ? strrchr(line, ')') : nullptr; // ") S ..."
    return state && state[1] && !strchr("TtZX", state[2]);
}

bool otherHolderRuns()
{
    const holders_t holders = readHolders();
    return std::any_of(holders.begin(), holders.end(),
                       [](int32_t pid) { return pid > 0 && pid != getpid() && runs(pid); });
}

// A process that holds no copy of the last active one's store leaves the lock to one that does.
bool mayLead()
{
    return electionIsHolder() || !otherHolderRuns();
}

bool lockFile()
{
    while (flock(lock_fd, LOCK_EX) != 0)
        if (errno != EINTR) {
            rasLog("election: cannot lock: %s", strerror(errno));
            return false;
        }
    return true;
}

void *waitForLock(void *)
{
    if (!lockFile())
        return nullptr;
    while (!mayLead()) {
        flock(lock_fd, LOCK_UN);
        nanosleep(&RETRY, nullptr);
        if (!lockFile())
            return nullptr;
    }
    while (processPost(MSGQ_TYPE_VSS, WORD_ELECTED) != 0)
        nanosleep(&RETRY, nullptr);
    return nullptr;
}

// The predecessor counted this process as a holder and died before its dump had left: the lock is for another one.
void stepBack()
{
    rasLog("election: this process was given no dump and leaves the lock to one that holds it");
    std::vector<int> others;
    for (const int32_t pid : readHolders())
        if (pid > 0 && pid != getpid())
            others.push_back(pid);
    electionSetHolders(others);
    flock(lock_fd, LOCK_UN);
    if (!processThread(waitForLock, nullptr))
        rasLog("election: cannot start a thread, this process stays standby");
}

// Null, or what is wrong with the service or the instance, whose names become part of a path.
const char *wrongName(const ha_register_t *record)
{
    if (memchr(record->service, '/', strnlen(record->service, sizeof record->service)))
        return "service";
    return memchr(record->instance, '/', strnlen(record->instance, sizeof record->instance)) ? "instance" : nullptr;
}

} // namespace

bool electionJoin(const ha_register_t *record, ha_hndl_t ha)
{
    if (const char *wrong = wrongName(record)) {
        complain("service '%.*s' instance '%.*s': the %s must not hold a '/'", static_cast<int>(sizeof record->service),
                 record->service, static_cast<int>(sizeof record->instance), record->instance, wrong);
        errno = EINVAL;
        return false;
    }
    ops = record->ops;
    handle = ha;
    replicaJoin(record, ha);
    const char *mode = getenv("VELMAR_VSS");
    const bool manual = mode && strcmp(mode, "manual") == 0;
    if (mode && *mode && !manual && strcmp(mode, "auto") != 0)
        complain("VELMAR_VSS is '%s'; it may be auto or manual, auto is taken", mode);
    enter(manual ? MANUAL : STANDBY);
    if (manual || lock_fd >= 0)
        return true;
    char name[sizeof record->service + sizeof record->instance + 8];
    char path[sizeof(sockaddr_un::sun_path)];
    snprintf(name, sizeof name, "%.*s.%.*s.lock", static_cast<int>(sizeof record->service), record->service,
             static_cast<int>(sizeof record->instance), record->instance);
    const bool fits = velmar_run_path(path, sizeof path, "ha", name) == 0;
    if (fits)
        lock_fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lock_fd >= 0)
        return true;
    const int error = errno;
    complain("cannot open lock file %s: %s", fits ? path : name, strerror(error));
    errno = error;
    return false;
}

void electionSetHolders(const std::vector<int> &pids)
{
    holders_t holders = {};
    for (size_t i = 0; i < pids.size() && i < holders.size(); ++i)
        holders[i] = pids[i];
    if (lock_fd >= 0 && pwrite(lock_fd, holders.data(), sizeof holders, 0) != static_cast<ssize_t>(sizeof holders))
        rasLog("election: cannot write the lock file: %s", strerror(errno));
}

bool electionIsHolder()
{
    const holders_t holders = readHolders();
    return std::find(holders.begin(), holders.end(), getpid()) != holders.end();
}

void electionStart()
{
    if (lock_fd < 0 || started)
        return;
    replicaStart();
    started = processThread(waitForLock, nullptr);
    if (!started)
        rasLog("election: cannot start a thread, this process stays standby");
}

election_role_t electionRole()
{
    constexpr const char *NAMES[] = {"standby", "active", "manual"};
    return {NAMES[role.load()], static_cast<uint32_t>((clockCoarseMs() - role_since.load()) / 1000)};
}

bool electionDrive(uint32_t stage, std::string *ran)
{
    if (!ops || !ops->recover)
        return false;
    while (stage != 0) {
        if (ran)
            *ran += ' ' + std::to_string(stage);
        stage = ops->recover(handle, stage);
    }
    return true;
}

void vss_process(void *message)
{
    if (processWord(message) != WORD_ELECTED || lock_fd < 0)
        return;
    const bool holds_dump = replicaCatchUp();
    if (!holds_dump && otherHolderRuns()) {
        stepBack();
        return;
    }
    replicaLead();
    electionSetHolders({});
    enter(ACTIVE);
    rasLog("election: this process is active, %s", holds_dump ? "with its predecessor's state" : "from the start");
    electionDrive(holds_dump ? STAGE_THA : STAGE_COLD, nullptr);
    replicaListen();
}
