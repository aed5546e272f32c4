// SPDX-License-Identifier: Apache-2.0
// The table of faults. A row counts the passages of its places down, and bites at the last: once, or from there on
// until it is cleared.
#include "host/fault.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include "host/clock.h"
#include "host/complain.h"
#include "host/lock_file.h"
#include "host/raslog.h"
#include "host/replica_sides.h"
#include "host/run.h"
#include "host/trace.h"
#include "velmar/run.h"

std::atomic<bool> faults_armed;

namespace {

constexpr int64_t JUMP_MS = 3600 * 1000;
constexpr int64_t JUMP_BACK_MS = 10 * 1000;
constexpr timespec SLOW = {0, 20000000};
constexpr const char *SWEPT[] = {"mi6", "qos", "ctl"}; // folders with names of this process

bool allowed; // VELMAR_FAULTS is there
std::atomic<rlim_t> descriptors_before;
std::atomic<int> foreign[2] = {-1, -1}; // folders that are locked

// ---- What is done at a point

void raiseSignal(int number)
{
    kill(getpid(), number);
}

void useUpDescriptors()
{
    rlimit limit;
    const int lowest = dup(STDERR_FILENO);
    if (lowest < 0 || descriptors_before.load() != 0 || getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    close(lowest);
    descriptors_before.store(limit.rlim_cur);
    limit.rlim_cur = static_cast<rlim_t>(lowest);
    setrlimit(RLIMIT_NOFILE, &limit);
}

void giveDescriptorsBack()
{
    rlimit limit;
    const rlim_t before = descriptors_before.exchange(0);
    if (before == 0 || getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = before;
    setrlimit(RLIMIT_NOFILE, &limit);
}

// A descriptor of its own has a lock of its own, as a stranger's would be.
void lockFolders()
{
    for (size_t i = 0; i < std::size(foreign); ++i) {
        char path[sizeof(sockaddr_un::sun_path)];
        const int fd =
            velmar_run_path(path, sizeof path, SWEPT[i], "") == 0 ? open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
        if (fd >= 0)
            flock(fd, LOCK_EX | LOCK_NB);
        const int old = foreign[i].exchange(fd);
        if (old >= 0)
            close(old);
    }
}

void unlockFolders()
{
    for (std::atomic<int> &fd : foreign) {
        const int old = fd.exchange(-1);
        if (old >= 0)
            close(old);
    }
}

void removeOwnNames()
{
    for (const char *folder : SWEPT) {
        char path[sizeof(sockaddr_un::sun_path)];
        DIR *dir = velmar_run_path(path, sizeof path, folder, "") == 0 ? opendir(path) : nullptr;
        while (const dirent *entry = dir ? readdir(dir) : nullptr)
            if (runOwner(entry->d_name) == getpid())
                unlinkat(dirfd(dir), entry->d_name, 0);
        if (dir)
            closedir(dir);
    }
}

void removeListener()
{
    sockaddr_un address;
    if (replicaAddress(&address))
        unlink(address.sun_path);
}

void cutFile(const char *path)
{
    if (path && truncate(path, 0) != 0)
        rasLog("fault: cannot truncate %s: %s", path, strerror(errno));
}

// ---- The table

enum class lasts_t { ONCE, ON };

struct row_t {
    const char *name;
    const char *words;
    uint32_t places; // 0: who injects it stands in the words
    int wrong;       // fault_wrong_t or an error
    lasts_t lasts;   //
    void (*act)();   // in place of an error
    void (*undo)();  // at "fault clear"
};

constexpr uint32_t TO_STANDBY = FAULT_DUMP | FAULT_DELTA;
constexpr lasts_t ONCE = lasts_t::ONCE;
constexpr lasts_t ON = lasts_t::ON;

const row_t ROWS[] = {
    // Memory
    {"alloc", "a block of the store cannot be had", FAULT_BLOCK, ENOMEM, ONCE, nullptr, nullptr},
    {"arena-full", "no block of the store can be had any more", FAULT_BLOCK, ENOMEM, ON, nullptr, nullptr},
    {"page-protect", "a written page cannot be opened by itself", FAULT_PAGE, ENOMEM, ONCE, nullptr, nullptr},
    {"dump-memory", "no memory to make or to check a dump", FAULT_ROOM, ENOMEM, ONCE, nullptr, nullptr},
    // The driver's socket
    {"driver-send-blocks", "a request would block", FAULT_DRIVER_SEND, EAGAIN, ONCE, nullptr, nullptr},
    {"driver-send-refused", "a request is refused, as by a driver that was restarted", FAULT_DRIVER_SEND, ECONNREFUSED,
     ONCE, nullptr, nullptr},
    {"driver-send-fails", "a request cannot be sent for want of buffers", FAULT_DRIVER_SEND, ENOBUFS, ONCE, nullptr,
     nullptr},
    {"driver-receive-cut", "of an answer only the first half comes", FAULT_DRIVER_RECEIVE, FAULT_CUT, ONCE, nullptr,
     nullptr},
    {"driver-receive-reset", "the connection is reset while an answer is awaited", FAULT_DRIVER_RECEIVE, ECONNRESET,
     ONCE, nullptr, nullptr},
    // The manager's sockets
    {"manager-send-blocks", "a datagram to a manager would block", FAULT_MANAGER_SEND, EAGAIN, ONCE, nullptr, nullptr},
    {"manager-send-refused", "a datagram to a manager is refused", FAULT_MANAGER_SEND, ECONNREFUSED, ONCE, nullptr,
     nullptr},
    {"manager-receive-cut", "of a batch only the first half comes", FAULT_MANAGER_RECEIVE, FAULT_CUT, ONCE, nullptr,
     nullptr},
    // Between active process and standby
    {"standby-send-blocks", "a packet to a standby would block", TO_STANDBY, EAGAIN, ONCE, nullptr, nullptr},
    {"standby-send-fails", "a packet to a standby finds its connection gone", TO_STANDBY, EPIPE, ONCE, nullptr,
     nullptr},
    {"dump-cut", "of a dump only the first half goes out", FAULT_DUMP, FAULT_CUT, ONCE, nullptr, nullptr},
    {"copy-old", "a dump goes by another number than the lock file says", FAULT_DUMP, FAULT_OLD_COPY, ONCE, nullptr,
     nullptr},
    {"delta-cut", "of an update only the first half goes out", FAULT_DELTA, FAULT_CUT, ONCE, nullptr, nullptr},
    {"delta-lost", "an update does not go out", FAULT_DELTA, FAULT_LOST, ONCE, nullptr, nullptr},
    {"delta-repeated", "an update goes out twice", FAULT_DELTA, FAULT_TWICE, ONCE, nullptr, nullptr},
    {"delta-reordered", "an update goes out as the one behind it", FAULT_DELTA, FAULT_OVERTAKES, ONCE, nullptr,
     nullptr},
    {"packet-cut", "of a packet from the other side only the first half comes", FAULT_PACKET, FAULT_CUT, ONCE, nullptr,
     nullptr},
    // Limits and files
    {"descriptors", "no further descriptor can be had", FAULT_POINT, 0, ONCE, useUpDescriptors, giveDescriptorsBack},
    {"disk-full", "files take nothing any more", FAULT_WRITE, ENOSPC, ON, nullptr, nullptr},
    {"read-only", "files and folders cannot be changed any more", FAULT_WRITE | FAULT_LENGTH | FAULT_NAME, EROFS, ON,
     nullptr, nullptr},
    {"lock-truncated", "the lock file is truncated", FAULT_POINT, 0, ONCE, [] { cutFile(lockFilePath()); }, nullptr},
    {"lock-removed", "the lock file is removed", FAULT_POINT, 0, ONCE, [] { unlink(lockFilePath()); }, nullptr},
    {"lock-foreign", "somebody else locks the folders mi6 and qos", FAULT_POINT, 0, ONCE, lockFolders, unlockFolders},
    {"trace-truncated", "this process's trace ring is truncated", FAULT_POINT, 0, ONCE,
     [] { cutFile(traceFirstFile()); }, nullptr},
    {"listener-removed", "the name of the replication socket is removed", FAULT_POINT, 0, ONCE, removeListener,
     nullptr},
    {"names-removed", "the names of this process's other sockets are removed", FAULT_POINT, 0, ONCE, removeOwnNames,
     nullptr},
    // Time and signals
    {"clock-forward", "the clock jumps an hour ahead", FAULT_POINT, 0, ONCE, [] { clockJump(JUMP_MS); }, nullptr},
    {"clock-back", "the clock jumps 10 seconds back", FAULT_POINT, 0, ONCE, [] { clockJump(-JUMP_BACK_MS); }, nullptr},
    {"slow", "the process takes 20 ms longer at each point", FAULT_POINT, 0, ON, [] { nanosleep(&SLOW, nullptr); },
     nullptr},
    {"stopped", "SIGSTOP; SIGCONT from outside ends it", FAULT_POINT, 0, ONCE, [] { raiseSignal(SIGSTOP); }, nullptr},
    {"terminated", "SIGTERM", FAULT_POINT, 0, ONCE, [] { raiseSignal(SIGTERM); }, nullptr},
    {"hangup", "SIGHUP", FAULT_POINT, 0, ONCE, [] { raiseSignal(SIGHUP); }, nullptr},
    {"killed", "SIGKILL", FAULT_POINT, 0, ONCE, [] { raiseSignal(SIGKILL); }, nullptr},
    // Of others: listed here, made there
    {"driver-late", "an answer comes after 15 s; by the driver: fault delay ms=16000", 0, 0, ONCE, nullptr, nullptr},
    {"driver-lost", "an answer does not come; by the driver: fault drop", 0, 0, ONCE, nullptr, nullptr},
    {"driver-repeated", "an answer comes twice; by a driver of one's own", 0, 0, ONCE, nullptr, nullptr},
    {"driver-sequence", "an answer has another number; by the driver: fault wrong-sequence", 0, 0, ONCE, nullptr,
     nullptr},
    {"driver-error", "an error frame instead of an answer; by the driver: fault error", 0, 0, ONCE, nullptr, nullptr},
    {"driver-gone", "the driver ends and comes back; by hand", 0, 0, ONCE, nullptr, nullptr},
    {"event-storm", "more events than can be read; by the driver: event raw, again and again", 0, 0, ONCE, nullptr,
     nullptr},
    {"manager-gone", "a manager ends and leaves its name; by hand", 0, 0, ONCE, nullptr, nullptr},
    {"manager-silent", "a manager never reads; by hand, SIGSTOP", 0, 0, ONCE, nullptr, nullptr},
    {"client-silent", "a control client never reads; by hand, SIGSTOP", 0, 0, ONCE, nullptr, nullptr},
    {"holder-idle", "who is listed never takes the lock; by a listed process that neither leads nor ends", 0, 0, ONCE,
     nullptr, nullptr},
};

struct state_t {
    std::atomic<uint32_t> left; // passages up to the bite, 0 if it is not armed
    std::atomic<uint32_t> bites;
};
state_t states[std::size(ROWS)];

// True if this passage is the one.
bool countDown(const row_t &row, state_t *state)
{
    uint32_t left = state->left.load();
    while (left > 0 && !state->left.compare_exchange_weak(left, left == 1 && row.lasts == ON ? 1 : left - 1))
        ;
    if (left == 1)
        ++state->bites;
    return left == 1;
}

const row_t *findRow(const std::string &name)
{
    for (const row_t &row : ROWS)
        if (name == row.name)
            return &row;
    return nullptr;
}

std::string list()
{
    std::string text = allowed ? "ok\n" : "ok\nthe agent was started without VELMAR_FAULTS: none can be armed\n";
    for (const row_t &row : ROWS) {
        const state_t &state = states[&row - ROWS];
        const uint32_t left = state.left.load();
        std::string now = row.places == 0 ? "elsewhere" : left == 0 ? "off" : "armed " + std::to_string(left);
        if (left > 0 && state.bites.load() > 0)
            now = "bites on";
        char line[192];
        snprintf(line, sizeof line, "%-21s %-10s bites %-5u %s\n", row.name, now.c_str(), state.bites.load(),
                 row.words);
        text += line;
    }
    return text;
}

std::string clear()
{
    faults_armed.store(false);
    for (const row_t &row : ROWS) {
        states[&row - ROWS].left.store(0);
        if (row.undo)
            row.undo();
    }
    return "ok";
}

// Empty, or what is wrong.
std::string arm(const std::string &name, const char *number)
{
    const row_t *const row = findRow(name);
    char *end = nullptr;
    const unsigned long passage = *number ? strtoul(number, &end, 10) : 1;
    if (!row)
        return "no fault '" + name + "'; 'fault' alone lists them";
    if (row->places == 0)
        return "'" + name + "' is not made here: " + row->words;
    if ((end && *end) || *number == '-' || passage == 0 || passage > UINT32_MAX)
        return "'" + std::string(number) + "' is no number of a passage, from 1 on";
    state_t &state = states[row - ROWS];
    state.bites.store(0);
    rasLog("fault: %s is armed for passage %lu: %s", row->name, passage, row->words);
    state.left.store(static_cast<uint32_t>(passage));
    faults_armed.store(true);
    return {};
}

} // namespace

int faultPass(fault_place_t place)
{
    const int error = errno;
    int wrong = FAULT_NOTHING;
    for (const row_t &row : ROWS) {
        if ((row.places & place) == 0 || !countDown(row, &states[&row - ROWS]))
            continue;
        if (row.act)
            row.act();
        else
            wrong = row.wrong;
    }
    errno = error;
    return wrong;
}

ssize_t faultSend(fault_place_t place, int fd, const msghdr *message, int flags)
{
    return faultFails(place) ? -1 : sendmsg(fd, message, flags);
}

ssize_t faultReceive(fault_place_t place, int fd, msghdr *message, int flags)
{
    unsigned char byte;
    const bool armed = faults_armed.load(std::memory_order_relaxed);
    // A look that finds nothing is no passage; what fails is still there afterwards.
    const bool passes = armed && recv(fd, &byte, sizeof byte, MSG_PEEK | MSG_DONTWAIT) > 0;
    const int wrong = passes ? faultAt(place) : FAULT_NOTHING;
    if (wrong > 0) {
        errno = wrong;
        return -1;
    }
    const ssize_t got = recvmsg(fd, message, flags);
    return wrong == FAULT_CUT && got > 0 ? got / 2 : got;
}

// "on", and what is armed from the start: NAME or NAME=N, with commas between.
void faultOpen()
{
    const char *given = getenv("VELMAR_FAULTS");
    allowed = given && *given;
    for (std::string rest = allowed ? given : ""; !rest.empty();) {
        const std::string one = rest.substr(0, rest.find(','));
        rest.erase(0, one.size() + 1);
        const size_t sign = one.find('=');
        if (one == "on")
            continue;
        const std::string wrong = arm(one.substr(0, sign), sign == std::string::npos ? "" : one.c_str() + sign + 1);
        if (!wrong.empty())
            complain("VELMAR_FAULTS: %s", wrong.c_str());
    }
}

std::string faultCommand(const char *arg)
{
    if (!*arg)
        return list();
    if (!allowed)
        return "error: faults are off; start the agent with VELMAR_FAULTS=on";
    const std::string name(arg, strcspn(arg, " "));
    const char *const number = arg + name.size() + strspn(arg + name.size(), " ");
    if (name == "clear" && !*number)
        return clear();
    const std::string wrong = arm(name, number);
    return wrong.empty() ? "ok" : "error: " + wrong;
}
