// SPDX-License-Identifier: Apache-2.0
// The generic I/O and timer engine (GIOT). It runs as the loop of a worker thread, or piece by piece inside a
// scheduler's loop. Its IPC subsystem serves the control socket; nothing on this host uses the timer subsystem, which
// is there to be attached and asks for no time.
#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <vector>

#include "host/ctl.h"
#include "host/process.h"
#include "velmar/process.h"

enum class ioss_kind_t { TIMER, IPC };

struct ioss_t {
    ioss_kind_t kind;
    giot_t *giot; // the engine that it is attached to
};

struct giot_t {
    int wake;
    std::mutex lock; // what follows
    std::condition_variable left;
    std::vector<ioss_t *> subsystems;
    bool stop;
    bool running;
    pthread_t runner;
};

namespace {

constexpr uint32_t IPC_MESSAGE_MAX = 65536;
constexpr unsigned ENGINE_FDS = 2;
constexpr auto STOP_LIMIT = std::chrono::seconds(1);

std::mutex runs_lock;
giot_t *runs; // the engine whose loop a worker thread is in

void enterLoop(giot_t *giot)
{
    const std::lock_guard<std::mutex> lock(runs_lock);
    runs = giot;
}

bool serves(giot_t *giot, ioss_kind_t kind)
{
    const std::lock_guard<std::mutex> lock(giot->lock);
    return std::any_of(giot->subsystems.begin(), giot->subsystems.end(),
                       [kind](const ioss_t *ioss) { return ioss->kind == kind; });
}

// Appends what the engine waits for; gives the new count.
unsigned fill(giot_t *giot, pollfd *fds, unsigned count, unsigned room)
{
    if (room - count < ENGINE_FDS)
        return count;
    fds[count++] = {giot->wake, POLLIN, 0};
    if (ctlDescriptor() >= 0 && serves(giot, ioss_kind_t::IPC))
        fds[count++] = {ctlDescriptor(), POLLIN, 0};
    return count;
}

bool isReady(const pollfd *fds, unsigned count, int fd)
{
    return fd >= 0 &&
           std::any_of(fds, fds + count, [fd](const pollfd &entry) { return entry.fd == fd && entry.revents != 0; });
}

void clearWake(giot_t *giot)
{
    eventfd_t count;
    (void)eventfd_read(giot->wake, &count);
}

void serveCalled(void *)
{
    ctlServe();
}

} // namespace

void engineLookAgain()
{
    const std::lock_guard<std::mutex> lock(runs_lock);
    if (runs)
        giot_wakeup(runs);
}

int giot_create(giot_t **giot)
{
    giot_t *made = new giot_t{};
    made->wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (made->wake < 0) {
        delete made;
        return -1;
    }
    *giot = made;
    return 0;
}

int giot_register(giot_t *giot, ioss_t *ioss)
{
    if (!giot || !ioss)
        return -1;
    {
        const std::lock_guard<std::mutex> lock(giot->lock);
        ioss->giot = giot;
        giot->subsystems.push_back(ioss);
    }
    giot_wakeup(giot);
    return 0;
}

void giot_wakeup(giot_t *giot)
{
    (void)eventfd_write(giot->wake, 1);
}

// Stops the loop and frees the engine. On the loop's own thread, if the loop does not end in time and in the end of the
// process the memory stays: the main thread may be about to start the loop.
void giot_free(giot_t **giot)
{
    giot_t *engine = *giot;
    *giot = nullptr;
    if (!engine)
        return;
    {
        std::unique_lock<std::mutex> lock(engine->lock);
        engine->stop = true;
        giot_wakeup(engine);
        if (engine->running && pthread_equal(engine->runner, pthread_self()))
            return;
        if (!engine->left.wait_for(lock, STOP_LIMIT, [engine] { return !engine->running; }))
            return;
    }
    if (processEnding())
        return;
    close(engine->wake);
    delete engine;
}

void *giot_run(void *arg)
{
    giot_t *giot = static_cast<giot_t *>(arg);
    if (!giot) // the end was faster than the start
        return nullptr;
    {
        const std::lock_guard<std::mutex> lock(giot->lock);
        giot->runner = pthread_self();
        giot->running = true;
    }
    enterLoop(giot);
    for (;;) {
        {
            const std::lock_guard<std::mutex> lock(giot->lock);
            if (giot->stop) {
                enterLoop(nullptr);
                giot->running = false;
                giot->left.notify_all();
                return nullptr;
            }
        }
        pollfd fds[ENGINE_FDS];
        const unsigned count = fill(giot, fds, 0, ENGINE_FDS);
        if (poll(fds, count, -1) <= 0)
            continue;
        if (isReady(fds, count, giot->wake))
            clearWake(giot);
        if (isReady(fds, count, ctlDescriptor()))
            ctlServe();
    }
}

int timer_ioss_create(ioss_t **ioss, void (*)(giot_t *), giot_t *)
{
    *ioss = new ioss_t{ioss_kind_t::TIMER, nullptr};
    return 0;
}

uint32_t ipc_max_msg_size(int)
{
    return IPC_MESSAGE_MAX;
}

int ipc_ioss_create(ioss_t **ioss, const char *, int, uint32_t max_msg_size, int)
{
    if (max_msg_size == 0 || max_msg_size > IPC_MESSAGE_MAX)
        return -1;
    *ioss = new ioss_t{ioss_kind_t::IPC, nullptr};
    return 0;
}

// Also takes a timer subsystem.
void ipc_ioss_free(ioss_t **ioss)
{
    ioss_t *subsystem = *ioss;
    *ioss = nullptr;
    if (!subsystem)
        return;
    if (giot_t *giot = subsystem->giot) { // freed after its subsystems
        const std::lock_guard<std::mutex> lock(giot->lock);
        std::erase(giot->subsystems, subsystem);
        giot_wakeup(giot);
    }
    if (!processEnding())
        delete subsystem;
}

int gioti_start(gioti_t *gioti)
{
    return gioti && gioti->giot ? 0 : -1;
}

unsigned gioti_pre_select(gioti_t *gioti, struct pollfd *fds, unsigned count, unsigned room, int *)
{
    return fill(gioti->giot, fds, count, room);
}

void gioti_post_select(gioti_t *gioti, const struct pollfd *fds, unsigned count)
{
    if (isReady(fds, count, gioti->giot->wake))
        clearWake(gioti->giot);
    if (isReady(fds, count, ctlDescriptor()))
        gioti->add_call(gioti->zg, serveCalled, nullptr, 0);
}
