// The election: processes of one service and instance wait for a lock on RUN/ha/SERVICE.INSTANCE.lock, in a thread of
// its own. Whoever holds the lock is active; the kernel hands it on at once when that process dies.
#include "host/election.h"

#include <algorithm>
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
#include <vector>

#include "host/clock.h"
#include "host/complain.h"
#include "host/holders.h"
#include "host/process.h"
#include "host/raslog.h"
#include "host/replica.h"
#include "velmar/run.h"

namespace {

constexpr uint32_t STAGE_COLD = 1002;
constexpr uint32_t STAGE_WARM = 1003;
constexpr uint32_t STAGE_THA = 1042;
constexpr uint32_t STAGE_ACTIVE = 1001;
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

// A process that holds no copy of the last active one's store leaves the lock to one that does.
bool otherHolderRuns()
{
    const std::vector<holder_t> holders = holdersRead();
    return std::any_of(holders.begin(), holders.end(),
                       [](const holder_t &holder) { return !holderIsSelf(holder) && holderRuns(holder); });
}

bool mayLead()
{
    const std::vector<holder_t> holders = holdersRead();
    return std::any_of(holders.begin(), holders.end(), holderIsSelf) || !otherHolderRuns();
}

// The kernel closes a dead process's descriptors from the highest down and waits some 10 ms for an inotify one: the
// lock stands above all others, so that nobody waits for those. A limit that forbids it leaves the lock where it is.
int raised(int fd)
{
    constexpr int ABOVE_OTHERS = 1000;
    const int high = fcntl(fd, F_DUPFD_CLOEXEC, ABOVE_OTHERS);
    if (high < 0)
        return fd;
    close(fd);
    return high;
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
    for (bool told = false; !mayLead(); told = true) {
        if (!told)
            rasLog("election: the lock is left to a process that holds a copy");
        flock(lock_fd, LOCK_UN);
        nanosleep(&RETRY, nullptr);
        if (!lockFile())
            return nullptr;
    }
    while (processPost(MSGQ_TYPE_VSS, WORD_ELECTED) != 0)
        nanosleep(&RETRY, nullptr);
    return nullptr;
}

// The predecessor counted this process in and died before its dump had left: the lock is for another holder.
void stepBack()
{
    rasLog("election: this process was given no dump and steps back");
    std::vector<holder_t> holders = holdersRead();
    std::erase_if(holders, holderIsSelf);
    holdersWrite(holders);
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
    if (lock_fd >= 0) {
        lock_fd = raised(lock_fd);
        holdersOpen(lock_fd);
        return true;
    }
    const int error = errno;
    complain("cannot open lock file %s: %s", fits ? path : name, strerror(error));
    errno = error;
    return false;
}

void electionStart()
{
    if (lock_fd < 0 || started)
        return;
    started = processThread(waitForLock, nullptr);
    if (started)
        replicaStart();
    else
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

bool electionDriveByHand(uint32_t stage, std::string *ran)
{
    constexpr uint32_t LEADING[] = {STAGE_COLD, STAGE_WARM, STAGE_THA, STAGE_ACTIVE};
    if (role.load() == STANDBY && std::find(std::begin(LEADING), std::end(LEADING), stage) != std::end(LEADING))
        replicaLeave();
    return electionDrive(stage, ran);
}

void vss_process(void *message)
{
    if (processWord(message) != WORD_ELECTED || lock_fd < 0)
        return;
    const bool complete = replicaCatchUp();
    if (!complete && otherHolderRuns()) {
        stepBack();
        return;
    }
    replicaLead(complete);
    enter(ACTIVE);
    rasLog("election: this process is active, %s", complete ? "with its predecessor's state" : "from the start");
    electionDrive(complete ? STAGE_THA : STAGE_COLD, nullptr);
}
