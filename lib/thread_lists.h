// SPDX-License-Identifier: Apache-2.0
// What the files of the scheduler share: the lists and the poll table, the instance's mutex, the length of a wait. For
// lib/thread*.cpp alone.
//
// lib/thread_lists.cpp keeps lists and poll table, lib/thread.cpp adds and cancels, lib/thread_fetch.cpp is the loop,
// lib/thread_asp.cpp ties the message queue and the GIOT engine to it.
#ifndef LIB_THREAD_LISTS_H
#define LIB_THREAD_LISTS_H

#include <algorithm>
#include <climits>
#include <cstdint>
#include <pthread.h>

#include "lib/lib_instance.h"
#include "lib/thread.h"
#include "velmar/trace.h"

#define THREAD_ASSERT(condition)                                                                                       \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            do_assert("(" #condition ")", __FILE__, 1);                                                                \
    } while (0)

namespace threadDetail {

constexpr int64_t USEC = 1000000;

// The instance's optional mutex, held for a scope. Null does nothing.
struct Guard {
    pthread_mutex_t *lock;

    explicit Guard(const lib_instance_t *zg) : lock(zg->lock) { take(); }
    ~Guard() { leave(); }
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;
    void take()
    {
        if (lock)
            pthread_mutex_lock(lock);
    }
    void leave()
    {
        if (lock)
            pthread_mutex_unlock(lock);
    }
};

// A wait in microseconds that candidates make shorter.
struct Wait {
    int64_t usec = -1; // no limit

    void shorten(int64_t candidate)
    {
        if (usec < 0 || candidate < usec)
            usec = candidate;
    }
    int milliseconds() const { return usec < 0 ? -1 : static_cast<int>(std::min<int64_t>(usec / 1000, INT_MAX)); }
};

thread_master *masterOf(const lib_instance_t *zg); // which must have one

// Microseconds on velmar_now's clock.
int64_t now();
int64_t due(const thread *timer);

// Links `event` behind `after`, or at the head for null.
void insert(thread_list *list, thread *after, thread *event);
void append(thread_list *list, thread *event);
thread *take(thread_list *list, thread *event);
// The list that an event stands on.
thread_list *listOf(thread_master *m, const thread *event);
void makeReady(thread_master *m, thread *event, uint8_t priority);

// A record, recycled or new, on no list; null for want of memory.
thread *thread_get(lib_instance_t *zg, uint8_t type, thread_func_t func, void *arg);
// Keeps an unlinked, unused record for thread_get.
void recycle(thread_master *m, thread *event);
// Takes an event that will not run off its list.
void drop(thread_master *m, thread *event);

// Adds to, or takes from, what a descriptor is waited for; `flag` is POLLIN or POLLOUT.
void thread_fd_add_to_list(thread_master *m, int fd, short flag);
void thread_fd_clear(thread_master *m, int fd, short flag);

// Of lib/thread_asp.cpp: shortens a wait for the message queue and the watchdog; makes the queue's messages ready; the
// wake-up pipe's end.
Wait aspWait(thread_master *m, Wait wait);
void drainAsp(lib_instance_t *zg);
void closeAspPipe(thread_master *m);

} // namespace threadDetail

#endif
