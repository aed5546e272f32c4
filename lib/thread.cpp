// SPDX-License-Identifier: Apache-2.0
// The event scheduler: its life, adds and cancels.
#include "lib/thread.h"

#include <algorithm>
#include <cstdlib>

#include "lib/thread_lists.h"

using namespace threadDetail;

namespace {

constexpr int32_t TIME_MAX = 0x7fffffff; // what a time that is out of range becomes
constexpr int32_t HEARTBEAT_SECONDS = 60;

thread *addFd(lib_instance_t *zg, uint8_t type, thread_func_t func, void *arg, int fd, short flag)
{
    thread_master *m = masterOf(zg);
    if (fd < 0)
        return nullptr;
    const Guard guard(zg);
    if (type == THREAD_WRITE && fd < THREAD_FD_MAX && (m->master_poll[fd].events & flag))
        return nullptr;
    thread *event = thread_get(zg, type, func, arg);
    if (!event)
        return nullptr;
    thread_fd_add_to_list(m, fd, flag);
    event->u.fd = fd;
    append(listOf(m, event), event);
    return event;
}

thread *addValue(lib_instance_t *zg, uint8_t type, uint8_t priority, thread_func_t func, void *arg, int val)
{
    thread_master *m = masterOf(zg);
    const Guard guard(zg);
    thread *event = thread_get(zg, type, func, arg);
    if (!event)
        return nullptr;
    event->priority = priority;
    event->u.val = val;
    append(listOf(m, event), event);
    return event;
}

int cancelByArg(thread_master *m, thread_list *list, const void *arg)
{
    int dropped = 0;
    for (thread *event = list->head; event;) {
        thread *next = event->next;
        if (event->arg == arg) {
            drop(m, event);
            ++dropped;
        }
        event = next;
    }
    return dropped;
}

} // namespace

thread_master *thread_master_create()
{
    thread_master *m = static_cast<thread_master *>(calloc(1, sizeof(thread_master)));
    if (!m)
        return nullptr;
    velmar_now(&m->heartbeat_last);
    m->heartbeat_interval = HEARTBEAT_SECONDS;
    m->swd_handle = -1;
    m->asp_pipe[0] = m->asp_pipe[1] = -1;
    for (int fd = 0; fd < THREAD_FD_MAX; ++fd)
        m->master_poll[fd].fd = m->working_poll[fd].fd = -1;
    return m;
}

void thread_master_finish(thread_master *master)
{
    if (!master)
        return;
    const thread_list *const lists[] = {
        &master->queue_high, &master->queue_middle, &master->queue_low, &master->read_high, &master->read_pend,
        &master->read,       &master->write,        &master->timer[0],  &master->timer[1],  &master->timer[2],
        &master->timer[3],   &master->event,        &master->event_low, &master->unuse};
    for (const thread_list *list : lists)
        for (thread *event = list->head; event;) {
            thread *next = event->next;
            if (event->type != THREAD_UNUSED && event->sub_type == THREAD_SUB_ASP)
                free(event->arg);
            free(event);
            event = next;
        }
    closeAspPipe(master);
    free(master);
}

thread *thread_add_read(lib_instance_t *zg, thread_func_t func, void *arg, int fd)
{
    return addFd(zg, THREAD_READ, func, arg, fd, POLLIN);
}

thread *thread_add_read_high(lib_instance_t *zg, thread_func_t func, void *arg, int fd)
{
    return addFd(zg, THREAD_READ_HIGH, func, arg, fd, POLLIN);
}

thread *thread_add_write(lib_instance_t *zg, thread_func_t func, void *arg, int fd)
{
    return addFd(zg, THREAD_WRITE, func, arg, fd, POLLOUT);
}

thread *thread_add_read_pend(lib_instance_t *zg, thread_func_t func, void *arg, int val)
{
    return addValue(zg, THREAD_READ_PEND, THREAD_PRI_HIGH, func, arg, val);
}

thread *thread_add_timer(lib_instance_t *zg, thread_func_t func, void *arg, int seconds)
{
    const timeval wait = {seconds, 0};
    return thread_add_timer_timeval(zg, func, arg, &wait);
}

thread *thread_add_timer_timeval(lib_instance_t *zg, thread_func_t func, void *arg, const timeval *wait)
{
    thread_master *m = masterOf(zg);
    const Guard guard(zg);
    thread *timer = thread_get(zg, THREAD_TIMER, func, arg);
    if (!timer)
        return nullptr;
    timeval tv;
    velmar_now(&tv);
    // The clamps keep the sums in range; what they cut is out of range anyway.
    constexpr int64_t FAR = int64_t{1} << 61;
    int64_t usec = tv.tv_usec + std::clamp<int64_t>(wait->tv_usec, -FAR, FAR);
    int64_t sec = tv.tv_sec + std::clamp<int64_t>(wait->tv_sec, -FAR, FAR);
    if (usec >= USEC) {
        sec += usec / USEC;
        usec %= USEC;
    }
    timer->u.due.sec = sec < 0 || sec > TIME_MAX ? TIME_MAX : static_cast<int32_t>(sec);
    timer->u.due.usec = usec < 0 ? TIME_MAX : static_cast<int32_t>(usec);

    timer->index = static_cast<uint8_t>(m->timer_index);
    m->timer_index = (m->timer_index + 1) % THREAD_TIMER_LISTS;
    thread_list *list = &m->timer[timer->index];
    thread *after = list->tail;
    while (after && due(after) > due(timer))
        after = after->prev;
    insert(list, after, timer);
    return timer;
}

thread *thread_add_event(lib_instance_t *zg, thread_func_t func, void *arg, int val)
{
    return addValue(zg, THREAD_EVENT, THREAD_PRI_HIGH, func, arg, val);
}

thread *thread_add_event_low(lib_instance_t *zg, thread_func_t func, void *arg, int val)
{
    return addValue(zg, THREAD_EVENT_LOW, THREAD_PRI_LOW, func, arg, val);
}

thread *thread_add_queue_low(lib_instance_t *zg, thread_func_t func, void *arg, int val)
{
    return addValue(zg, THREAD_QUEUE, THREAD_PRI_LOW, func, arg, val);
}

thread *thread_enqueue_read_middle(lib_instance_t *zg, thread_func_t func, void *arg, int fd)
{
    masterOf(zg);
    return fd < 0 ? nullptr : addValue(zg, THREAD_QUEUE, THREAD_PRI_MIDDLE, func, arg, fd);
}

void thread_cancel(thread *event)
{
    thread_master *m = event->master;
    const Guard guard(event->zg);
    if (event->type == THREAD_WRITE) {
        THREAD_ASSERT(m->master_poll[event->u.fd].events & POLLOUT);
        thread_fd_clear(m, event->u.fd, POLLOUT);
    } else if (event->type == THREAD_READ || event->type == THREAD_READ_HIGH) {
        thread_fd_clear(m, event->u.fd, POLLIN);
    }
    drop(m, event);
}

int thread_cancel_event(lib_instance_t *zg, void *arg)
{
    thread_master *m = masterOf(zg);
    const Guard guard(zg);
    return cancelByArg(m, &m->event, arg) + cancelByArg(m, &m->queue_high, arg);
}

int thread_cancel_event_low(lib_instance_t *zg, void *arg)
{
    thread_master *m = masterOf(zg);
    const Guard guard(zg);
    return cancelByArg(m, &m->event_low, arg) + cancelByArg(m, &m->queue_low, arg);
}

int thread_timer_remain_second(const thread *event)
{
    if (!event)
        return 0;
    const int64_t left = due(event) - now();
    return left < 0 ? 0 : static_cast<int>(left / USEC);
}

void thread_heartbeat_set(lib_instance_t *zg, int seconds)
{
    masterOf(zg)->heartbeat_interval = seconds;
}
