// SPDX-License-Identifier: Apache-2.0
// The election: processes of one service and instance wait for a lock on RUN/ha/SERVICE.INSTANCE.lock, in a thread of
// its own. Whoever holds the lock is active; the kernel hands it on at once when that process dies.
#include "host/election.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <time.h>
#include <vector>

#include "host/clock.h"
#include "host/complain.h"
#include "host/holders.h"
#include "host/keeper.h"
#include "host/lock_file.h"
#include "host/process.h"
#include "host/raslog.h"
#include "host/replica.h"
#include "host/run.h"

namespace {

constexpr uint32_t STAGE_COLD = 1002;
constexpr uint32_t STAGE_THA = 1042;
constexpr uint32_t WORD_ELECTED = 1; // the message of type 15 that the winner's thread posts
constexpr uint32_t WORD_LOOK = 9;    // of type 18, for nothing but to be read
constexpr timespec RETRY = {0, 10000000};
constexpr timespec KEEP = {1, 0};
constexpr int64_t KEPT_MS = 2000;         // a look at the names that is older was held up with the whole process
constexpr int64_t HOLDER_WAIT_MS = 10000; // for a process that is listed and runs
constexpr int64_t LIST_WAIT_MS = 5000;    // for a process that knows who holds a copy, where the file does not tell

enum role_t : int { STANDBY, ACTIVE, MANUAL };

const ha_ops_t *ops;
ha_hndl_t handle;
bool started;
std::atomic<bool> was_free;   // nobody led since before this process began, so nobody has worked on what waits
std::atomic<bool> overdue;    // whoever should lead instead was waited for long enough
std::atomic<bool> holds_lock; // and may lead
std::mutex keeping;           // of the names, by the lock's owner
std::atomic<int64_t> kept_at; // milliseconds of the last look at the names
std::atomic<int> role = STANDBY;
std::atomic<int64_t> role_since; // microseconds of the machine's time, which steps of the clock do not move

void enter(role_t next)
{
    role_since.store(machineUs());
    role.store(next);
}

// A wait that has its end: for a process that would do better to lead than this one.
struct patience_t {
    int64_t since; // milliseconds; a pause in the tries begins it anew
    int64_t last;
};
patience_t patience;

int64_t monotonicMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// False once the limit is over. Each of the lines is said once a wait.
bool stillWaits(int64_t limit_ms, const std::string &first, const std::string &last)
{
    constexpr int64_t PAUSE_MS = 1000;
    const int64_t now = monotonicMs();
    if (patience.since == 0 || now - patience.last > PAUSE_MS) {
        patience.since = now;
        rasLog("election: %s", first.c_str());
    }
    patience.last = now;
    if (now - patience.since < limit_ms)
        return true;
    rasLog("election: %s", last.c_str());
    overdue.store(true);
    return false;
}

// A listed process other than this one that runs; null for none.
const holder_t *otherHolder(const holders_t &list)
{
    const auto found = std::find_if(list.listed.begin(), list.listed.end(),
                                    [](const holder_t &holder) { return !holderIsSelf(holder) && holderRuns(holder); });
    return found == list.listed.end() ? nullptr : &*found;
}

// A process that holds no copy of the last active one's store leaves the lock to one that does, and where the file
// tells nothing of that, to whoever may know more.
bool mayLead()
{
    const holders_t list = holdersMine();
    if (!list.known || lockFileIsDoubtful()) {
        const char *const why = list.known ? "another process has a lock file of this name open, which was removed"
                                           : "the lock file was cut or written over";
        const bool connected = replicaIsConnected(); // then the active one is there, and about to make the file anew
        if (!connected && !lockFileIsDoubtful() && replicaHoldsCopy())
            return true;
        return !stillWaits(connected ? INT64_MAX : LIST_WAIT_MS, std::string(why) + ", the lock is left to others",
                           "nobody else took the lock in 5 s, this process leads");
    }
    const holder_t *const other = otherHolder(list);
    if (!other || std::any_of(list.listed.begin(), list.listed.end(), holderIsSelf))
        return true;
    return !stillWaits(HOLDER_WAIT_MS, "the lock is left to a process that holds a copy",
                       "process " + std::to_string(other->pid) +
                           " holds a copy and did not take the lock in 10 s, this process leads without");
}

void *waitForLock(void *)
{
    if (!lockFileTake())
        return nullptr;
    while (!mayLead()) {
        lockFileRelease();
        nanosleep(&RETRY, nullptr);
        if (!lockFileTake())
            return nullptr;
    }
    was_free.store(lockFileWasFree());
    holdersLead();
    holds_lock.store(true);
    while (processPost(MSGQ_TYPE_VSS, WORD_ELECTED) != 0)
        nanosleep(&RETRY, nullptr);
    return nullptr;
}

// The predecessor counted this process in and died before its dump had left: the lock is for another holder.
void stepBack()
{
    rasLog("election: this process was given no dump and steps back");
    std::vector<holder_t> holders = holdersMine().listed;
    std::erase_if(holders, holderIsSelf);
    {
        const std::lock_guard<std::mutex> lock(keeping);
        holdersWrite(holders);
        holds_lock.store(false);
        lockFileRelease();
    }
    if (!processThread(waitForLock, nullptr))
        rasLog("election: cannot start a thread, this process stays standby");
}

[[noreturn]] void end(const char *why)
{
    rasLog("election: %s, this process ends", why);
    complain("%s, this process ends", why);
    processEnd(1, "by itself");
}

// A wait goes on with the socket that a descriptor led to when it began.
void waitAnew()
{
    clockStep(0);
    engineLookAgain();
    processPost(MSGQ_TYPE_ISC, WORD_LOOK);
}

// The lock and the names by which others find this process. True if the lock's name is still unsettled.
bool keepNames()
{
    const std::lock_guard<std::mutex> lock(keeping);
    if (lockFileDirectoryLost())
        end("the run directory was removed or replaced");
    if (runKeepNames())
        waitAnew();
    if (!holds_lock.load())
        return false;
    const name_t name = lockFileKeep();
    if (name == name_t::LOST)
        end("the lock file was removed or replaced and another process leads");
    if (name == name_t::MADE_ANEW)
        rasLog("election: the lock file was removed or replaced, it is made anew");
    else if (holdersMend())
        rasLog("election: the lock file was cut or written over, its list is written anew");
    replicaKeepName();
    kept_at.store(monotonicMs());
    return name == name_t::HELD;
}

void *keepNamesUp(void *)
{
    for (;;)
        nanosleep(keepNames() ? &RETRY : &KEEP, nullptr);
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
    (void)holderIsSelf({}); // which looks itself up while there are descriptors
    ops = record->ops;
    handle = ha;
    replicaJoin(record, ha);
    const char *mode = getenv("VELMAR_VSS");
    const bool manual = mode && strcmp(mode, "manual") == 0;
    if (mode && *mode && !manual && strcmp(mode, "auto") != 0)
        complain("VELMAR_VSS is '%s'; it may be auto or manual, auto is taken", mode);
    enter(manual ? MANUAL : STANDBY);
    if (manual || lockFileIsOpen())
        return true;
    if (lockFileOpen(record))
        return true;
    const int error = errno;
    complain("cannot open lock file %s: %s", lockFilePath(), strerror(error));
    errno = error;
    return false;
}

void electionStart()
{
    if (!lockFileIsOpen() || started)
        return;
    keeperStart();
    started = processThread(waitForLock, nullptr);
    if (started)
        replicaStart();
    if (!started || !processThread(keepNamesUp, nullptr))
        rasLog("election: cannot start a thread, this process stays standby");
}

election_role_t electionRole()
{
    constexpr const char *NAMES[] = {"standby", "active", "manual"};
    return {NAMES[role.load()], static_cast<uint32_t>((machineUs() - role_since.load()) / 1000000)};
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

const char *electionDriveByHand(uint32_t stage, std::string *ran)
{
    if (role.load() == STANDBY)
        return "this process is a standby, its stages are the election's";
    return electionDrive(stage, ran) ? nullptr : "the process has not registered for stages";
}

void electionCheck()
{
    if (!holds_lock.load(std::memory_order_relaxed) || monotonicMs() - kept_at.load() < KEPT_MS)
        return;
    for (int tries = 0; tries < 10 && keepNames(); ++tries)
        nanosleep(&RETRY, nullptr);
}

void vss_process(void *message)
{
    if (processWord(message) != WORD_ELECTED || !holds_lock.load() || role.load() != STANDBY)
        return;
    const bool complete = replicaCatchUp();
    if (!complete && !overdue.load() && otherHolder(holdersMine())) {
        stepBack();
        return;
    }
    replicaLead(complete, was_free.load());
    enter(ACTIVE);
    rasLog("election: this process is active, %s", complete ? "with its predecessor's state" : "from the start");
    electionDrive(complete ? STAGE_THA : STAGE_COLD, nullptr);
}
