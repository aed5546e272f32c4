// SPDX-License-Identifier: Apache-2.0
// Time and waiting on the machine's own clock. Nothing else of the host library stands here, so that a simulated host
// can take this object's place. A poll takes errors of the closed families' sockets away, or they would end every poll.
//
// A limit is counted from the time that its thread read last: a caller computes it from there, and a step between that
// reading and the wait belongs to the wait.
#include "velmar/os.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "host/clock.h"
#include "host/socket.h"
#include "host/swd.h"

namespace {

constexpr unsigned POLL_MAX = 4096;
constexpr unsigned POLL_FEW = 64; // entries of the small table, which costs no stack to speak of
// Nearly every answer comes within this time. It is longer than a tick, so that the kernel has no timer to program.
constexpr int64_t SOON_US = 20000;
// One select never waits longer: it counts its time anew after the process stood still (SIGSTOP), a poll does not.
constexpr int64_t SLICE_US = 1000000;
constexpr int BLIND_MS = 10; // a wait that cannot be told of steps looks for them itself

thread_local int64_t offset_read_ms = -1; // as this thread saw it last

int64_t nowUs()
{
    offset_read_ms = clock_offset_ms.load(std::memory_order_relaxed);
    return clockUs(offset_read_ms);
}

int64_t dueUs(int64_t limit_us)
{
    return (offset_read_ms < 0 ? nowUs() : clockUs(offset_read_ms)) + limit_us;
}

// How long a part of a wait may last of whose limit `left_us` is left; -1 for ever. A clock that moves by steps alone
// ends no wait by itself.
int partMs(int64_t left_us, int waiter)
{
    if (left_us <= 0)
        return 0;
    if (!clockStepped())
        return static_cast<int>((left_us + 999) / 1000);
    return waiter >= 0 ? swdQuietMs() : BLIND_MS;
}

// Waits without a limit, or with `timeout_ms` 0 not at all.
int pollPlain(pollfd *fds, unsigned count, int timeout_ms)
{
    for (;;) {
        const int ready = poll(fds, count, timeout_ms);
        const int left = ready > 0 ? ready - socketDropErrors(fds, count) : ready;
        if (left != 0 || timeout_ms == 0)
            return left;
    }
}

// Waits on `table`, which holds the caller's entries and behind them one for a step of the clock. A step ends the wait
// only if its limit is reached by it.
int pollLimited(pollfd *table, pollfd *fds, unsigned count, int timeout_ms, int waiter)
{
    std::copy(fds, fds + count, table);
    table[count] = {waiter, POLLIN, 0};
    const int64_t due = dueUs(static_cast<int64_t>(timeout_ms) * 1000);
    for (;;) {
        const int64_t left = due - nowUs();
        int ready = poll(table, count + 1, partMs(left, waiter));
        if (ready < 0)
            return ready;
        const bool woken = table[count].revents != 0;
        if (woken)
            clockSeen(waiter);
        const int dropped = ready > woken ? socketDropErrors(table, count) : 0;
        ready -= woken + dropped;
        if (ready == 0 && (woken || dropped > 0 || clockStepped()) && left > 0) {
            if (clockStepped())
                swdWaits();
            continue;
        }
        for (unsigned i = 0; i < count; ++i)
            fds[i].revents = table[i].revents;
        return ready;
    }
}

[[gnu::noinline]] int pollMany(pollfd *fds, unsigned count, int timeout_ms, int waiter)
{
    pollfd table[POLL_MAX + 1];
    return pollLimited(table, fds, count, timeout_ms, waiter);
}

timeval timevalOf(int64_t us)
{
    return {static_cast<time_t>(us / 1000000), static_cast<suseconds_t>(us % 1000000)};
}

// Waits on what is asked and for a step of the clock, as pollLimited does. A signal does not end the wait. The sets
// that are null are empty in `asked`.
int selectLimited(int nfds, fd_set *const *given, const fd_set *asked, int64_t due)
{
    const int waiter = clockWaiter();
    const bool steps = waiter >= 0 && waiter < FD_SETSIZE;
    const int all = steps && waiter >= nfds ? waiter + 1 : nfds;
    for (;;) {
        const int64_t left = due - nowUs();
        const int part = partMs(std::min(left, SLICE_US), steps ? waiter : -1);
        timeval wait = timevalOf(int64_t{part} * 1000);
        swdWaits();
        fd_set sets[] = {asked[0], asked[1], asked[2]};
        if (steps)
            FD_SET(waiter, &sets[0]);
        int ready = select(all, &sets[0], &sets[1], &sets[2], part < 0 ? nullptr : &wait);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready < 0)
            return ready;
        const bool woken = steps && ready > 0 && FD_ISSET(waiter, &sets[0]);
        if (woken) {
            clockSeen(waiter);
            FD_CLR(waiter, &sets[0]);
        }
        ready -= woken;
        if (ready == 0 && left > 0 && (woken || due - nowUs() > 0))
            continue;
        for (int i = 0; i < 3; ++i)
            if (given[i])
                *given[i] = sets[i];
        return ready;
    }
}

} // namespace

void velmar_now(struct timeval *now)
{
    *now = timevalOf(nowUs());
}

uint64_t velmar_time_base()
{
    // Nobody computes a wait from it, so what the thread read last stays.
    return static_cast<uint64_t>(clockUs(clock_offset_ms.load(std::memory_order_relaxed)) / 1000);
}

// Only a wait with a limit that is not over yet has anything to do with a step.
int velmar_poll(struct pollfd *fds, unsigned count, int timeout_ms)
{
    if (const int kept = qosMarkKept(fds, count); kept > 0)
        return kept;
    if (timeout_ms <= 0)
        return pollPlain(fds, count, timeout_ms < 0 ? -1 : 0);
    const int waiter = clockWaiter(); // poll passes over -1
    if (count < POLL_FEW) {
        pollfd table[POLL_FEW];
        return pollLimited(table, fds, count, timeout_ms, waiter);
    }
    if (count <= POLL_MAX)
        return pollMany(fds, count, timeout_ms, waiter);
    errno = EINVAL;
    return -1;
}

// The descriptor for steps is a good part of what a select costs. So a limited wait begins without it, unless a step
// has come already; one that comes in that first moment is seen at its end.
int velmar_select(int nfds, fd_set *readable, fd_set *writable, fd_set *except, const struct timeval *timeout)
{
    qos_sock_t *const driver = socketAlone(nfds, readable, writable, except);
    if (driver && qosKeeps(driver))
        return 1;
    timeval wait = timeout ? *timeout : timeval{};
    if (wait.tv_sec <= 0 && wait.tv_usec <= 0)
        return select(nfds, readable, writable, except, timeout ? &wait : nullptr);
    const int64_t limit = static_cast<int64_t>(wait.tv_sec) * 1000000 + wait.tv_usec;
    const int64_t due = dueUs(limit);
    fd_set *const given[] = {readable, writable, except};
    fd_set asked[3];
    for (int i = 0; i < 3; ++i) {
        if (given[i])
            asked[i] = *given[i];
        else
            FD_ZERO(&asked[i]);
    }
    if (clock_offset_ms.load(std::memory_order_relaxed) == offset_read_ms) {
        const int came = driver && limit > SOON_US ? qosAwait(driver, nfds - 1) : -1;
        if (came > 0)
            return came;
        wait = timevalOf(std::min(limit, SOON_US));
        const int ready = came < 0 ? select(nfds, readable, writable, except, &wait) : 0;
        if (ready > 0 || (ready < 0 && errno != EINTR))
            return ready;
    }
    return selectLimited(nfds, given, asked, due);
}

int velmar_pipe(int fds[2])
{
    return pipe2(fds, O_CLOEXEC);
}
