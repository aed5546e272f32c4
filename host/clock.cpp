// SPDX-License-Identifier: Apache-2.0
// Steps of the clock. Each waiting thread has an event descriptor of its own, so that no thread takes the wake-up of
// another.
#include "host/clock.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <pthread.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>
#include <vector>

std::atomic<int64_t> clock_offset_ms;

namespace {

// All steps together: with the machine's own time this fits 32 bits of seconds.
constexpr int64_t OFFSET_MOST_MS = 1000000000 * int64_t{1000};
// Where a clock begins that moves by steps alone: the same for every process, and far from 0.
constexpr int64_t STEPPED_START_MS = 1000 * int64_t{1000};

std::mutex waiters_lock;
std::vector<int> waiters;
unsigned generation = 1; // moves on in a forked child, whose waiters are its parent's

void leave(int fd)
{
    const std::lock_guard<std::mutex> lock(waiters_lock);
    std::erase(waiters, fd);
    close(fd);
}

void afterFork()
{
    for (const int fd : waiters)
        close(fd);
    waiters.clear();
    ++generation;
}

struct waiter_t {
    int fd = -1;
    unsigned made_in = 0;
    ~waiter_t()
    {
        if (fd >= 0 && made_in == generation)
            leave(fd);
    }
};
thread_local waiter_t own;

void make()
{
    const std::lock_guard<std::mutex> lock(waiters_lock);
    static const int at_fork = pthread_atfork([] { waiters_lock.lock(); }, [] { waiters_lock.unlock(); },
                                              [] {
                                                  afterFork();
                                                  waiters_lock.unlock();
                                              });
    (void)at_fork;
    own.fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    own.made_in = generation;
    if (own.fd >= 0)
        waiters.push_back(own.fd);
}

} // namespace

bool clockStepped()
{
    static const bool stepped = [] {
        const char *wanted = getenv("VELMAR_CLOCK");
        return wanted && strcmp(wanted, "stepped") == 0;
    }();
    return stepped;
}

int64_t machineUs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

int64_t clockUs(int64_t offset_ms)
{
    return (clockStepped() ? STEPPED_START_MS * 1000 : machineUs()) + offset_ms * 1000;
}

uint64_t clockCoarseMs()
{
    if (clockStepped())
        return static_cast<uint64_t>(STEPPED_START_MS + clock_offset_ms.load(std::memory_order_relaxed));
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000 +
           static_cast<uint64_t>(clock_offset_ms.load(std::memory_order_relaxed));
}

int clockWaiter()
{
    if (own.made_in != generation)
        make();
    return own.fd;
}

void clockSeen(int waiter)
{
    eventfd_t count;
    (void)eventfd_read(waiter, &count);
}

bool clockStep(int64_t milliseconds)
{
    const std::lock_guard<std::mutex> lock(waiters_lock);
    const int64_t before = clock_offset_ms.load();
    if (milliseconds < 0 || milliseconds > OFFSET_MOST_MS - before)
        return false;
    clock_offset_ms.store(before + milliseconds);
    for (const int fd : waiters)
        (void)eventfd_write(fd, 1);
    return true;
}

void clockJump(int64_t milliseconds)
{
    clock_offset_ms.fetch_add(milliseconds);
}
