// SPDX-License-Identifier: Apache-2.0
// Replication: what both sides stand on, and which of them this process is on. One thread waits for anything to happen
// on the connections and rings for the main thread, by a message of type 18; the main thread does the rest.
#include "host/replica.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <semaphore.h>
#include <set>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include "host/delta.h"
#include "host/holders.h"
#include "host/process.h"
#include "host/raslog.h"
#include "host/replica_sides.h"
#include "host/run.h"
#include "host/store.h"
#include "velmar/run.h"

replica_t replica;

namespace {

constexpr uint32_t WORD_TRAFFIC = 2; // the message of type 18 that the thread posts
constexpr uint32_t WORD_NAME = 3;    // likewise, that the socket's name is gone
constexpr uint32_t WORD_COPY = 4;    // the main thread to itself, for the next slice of a dump
constexpr size_t SAID_MOST = 64;
constexpr timespec POST_RETRY = {0, 10000000};
// A standby with a copy looks again after this time: to wake it costs more than to take many updates, and what waits in
// its connection is as safe as what it has taken. The connection has room for far more than comes in the meantime.
constexpr timespec STANDBY_CALM = {0, 2000000};
constexpr size_t PLAIN_MOST = 400; // characters

enum class part_t {
    STANDBY,
    ACTIVE,
};

struct engine_t {
    part_t part = part_t::STANDBY;
    int epoll = -1;
    int timer = -1;
    sem_t served;
    std::atomic<bool> calm;     // the last look need not be followed by another at once
    std::set<std::string> said; // by replicaSayOnce
};
engine_t engine;

void *ringMainThread(void *)
{
    for (;;) {
        epoll_event event;
        if (epoll_wait(engine.epoll, &event, 1, -1) <= 0)
            continue;
        while (processPost(MSGQ_TYPE_ISC, WORD_TRAFFIC) != 0)
            nanosleep(&POST_RETRY, nullptr);
        while (sem_wait(&engine.served) != 0)
            ;
        if (engine.calm.load())
            nanosleep(&STANDBY_CALM, nullptr);
    }
}

void onTimer()
{
    uint64_t ticks;
    if (read(engine.timer, &ticks, sizeof ticks) < 0)
        return;
    if (engine.part == part_t::STANDBY)
        standbyOnTimer();
    else
        activeOnTimer();
}

// For "stat", which another thread asks for.
std::mutex trouble_lock;
std::string trouble; // why there is no standby, or no copy here; empty if nothing is in the way
int trouble_pid;     // as long as this process runs, 0 for always
std::string service; // SERVICE.INSTANCE

} // namespace

bool replicaRuns()
{
    return engine.epoll >= 0;
}

bool replicaWatch(int fd)
{
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = fd;
    return epoll_ctl(engine.epoll, EPOLL_CTL_ADD, fd, &event) == 0;
}

bool replicaUnwatch(int fd)
{
    return epoll_ctl(engine.epoll, EPOLL_CTL_DEL, fd, nullptr) == 0;
}

void replicaSetTimer(long ms, bool at_once)
{
    itimerspec times = {};
    times.it_value = times.it_interval = {ms / 1000, ms % 1000 * 1000000};
    if (at_once)
        times.it_value = {0, 1};
    timerfd_settime(engine.timer, 0, &times, nullptr);
}

void replicaTrouble(const std::string &line, int pid)
{
    const std::lock_guard<std::mutex> lock(trouble_lock);
    trouble = line;
    trouble_pid = pid;
}

std::string replicaTrouble()
{
    const std::lock_guard<std::mutex> lock(trouble_lock);
    const bool over = trouble_pid != 0 && kill(trouble_pid, 0) != 0 && errno == ESRCH;
    return over ? std::string() : trouble;
}

std::string replicaService()
{
    const std::lock_guard<std::mutex> lock(trouble_lock);
    return service;
}

void replicaSayOnce(const std::string &line)
{
    replicaTrouble(line);
    if (engine.said.size() >= SAID_MOST)
        engine.said.clear();
    if (engine.said.insert(line).second)
        rasLog("store: %s", line.c_str());
}

void replicaSaidEnough()
{
    replicaTrouble("");
    engine.said.clear();
}

std::string replicaPlain(const void *text, size_t length)
{
    std::string plain(static_cast<const char *>(text), std::min(length, PLAIN_MOST));
    std::replace_if(
        plain.begin(), plain.end(), [](char c) { return c < ' ' || c > '~' || c == '"' || c == '\\'; }, '?');
    return plain;
}

bool replicaCallAgain()
{
    return processPost(MSGQ_TYPE_ISC, WORD_COPY) == 0;
}

bool replicaAddress(sockaddr_un *address)
{
    char path[sizeof address->sun_path];
    return velmar_run_path(path, sizeof path, "ha", replica.file.c_str()) == 0 && runAddress(address, path);
}

void replicaJoin(const ha_register_t *record, ha_hndl_t ha)
{
    char file[sizeof record->service + sizeof record->instance + 8];
    snprintf(file, sizeof file, "%.*s.%.*s.sock", static_cast<int>(sizeof record->service), record->service,
             static_cast<int>(sizeof record->instance), record->instance);
    replica.ops = record->ops;
    replica.handle = ha;
    replica.file = file;
    const std::lock_guard<std::mutex> lock(trouble_lock);
    service = replica.file.substr(0, replica.file.rfind('.'));
}

void replicaStart()
{
    if (replicaRuns())
        return;
    engine.epoll = epoll_create1(EPOLL_CLOEXEC);
    engine.timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    sem_init(&engine.served, 0, 0);
    if (engine.epoll < 0 || engine.timer < 0 || !replicaWatch(engine.timer) ||
        !processThread(ringMainThread, nullptr)) {
        rasLog("store: nothing will be mirrored to or from this process: %s", strerror(errno));
        return;
    }
    if (storeReserved() < STORE_WHOLE)
        rasLog("store: address space is limited, there is room for %zu MB of records", storeReserved() >> 20);
    deltaKeepStart();
    standbyBegin();
}

namespace {

// The active process counted the copy to its end.
bool isUpToDate(uint32_t copy)
{
    const holders_t list = holdersMine();
    if (!list.known) {
        rasLog("store: the list of copies is lost, this process relies on its own");
        return true;
    }
    for (const holder_t &holder : list.listed)
        if (holderIsSelf(holder) && holder.copy == copy)
            return true;
    rasLog("store: this process was cut off before its predecessor ended, its copy is too old");
    return false;
}

} // namespace

bool replicaCatchUp()
{
    standbyReadAll();
    const uint32_t copy = standbyCopy();
    return copy && isUpToDate(copy) && standbyCopyHolds();
}

void replicaLead(bool complete, bool was_free)
{
    standbyEnd(true);
    replicaSaidEnough();
    replicaTrouble("");
    engine.part = part_t::ACTIVE;
    activeBegin(complete, was_free);
}

void replicaKeepName()
{
    if (!activeHasName())
        processPost(MSGQ_TYPE_ISC, WORD_NAME); // else at the next look
}

void isc_process(void *message)
{
    if (processWord(message) == WORD_NAME)
        activeNameAnew();
    if (processWord(message) == WORD_COPY)
        activeCopyOn();
    if (processWord(message) != WORD_TRAFFIC || !replicaRuns())
        return;
    epoll_event ready[16];
    const int count = epoll_wait(engine.epoll, ready, 16, 0);
    for (int i = 0; i < count; ++i) {
        const int fd = ready[i].data.fd;
        if (fd == engine.timer)
            onTimer();
        else if (!standbyOnReady(fd))
            activeOnReady(fd);
    }
    engine.calm.store(engine.part == part_t::STANDBY && standbyCopy() != 0);
    sem_post(&engine.served);
}
