// SPDX-License-Identifier: Apache-2.0
// The scheduler's lists of events and its poll table.
#include "lib/thread_lists.h"

#include <cstdlib>

namespace threadDetail {

thread_master *masterOf(const lib_instance_t *zg)
{
    THREAD_ASSERT(zg != nullptr && zg->master != nullptr);
    return zg->master;
}

int64_t now()
{
    timeval tv;
    velmar_now(&tv);
    return tv.tv_sec * USEC + tv.tv_usec;
}

int64_t due(const thread *timer)
{
    return timer->u.due.sec * USEC + timer->u.due.usec;
}

void insert(thread_list *list, thread *after, thread *event)
{
    thread *before = after ? after->next : list->head;
    event->prev = after;
    event->next = before;
    (after ? after->next : list->head) = event;
    (before ? before->prev : list->tail) = event;
    ++list->count;
}

void append(thread_list *list, thread *event)
{
    insert(list, list->tail, event);
}

thread *take(thread_list *list, thread *event)
{
    (event->prev ? event->prev->next : list->head) = event->next;
    (event->next ? event->next->prev : list->tail) = event->prev;
    event->next = event->prev = nullptr;
    --list->count;
    return event;
}

namespace {

thread_list *readyList(thread_master *m, uint8_t priority)
{
    switch (priority) {
    case THREAD_PRI_HIGH:
        return &m->queue_high;
    case THREAD_PRI_MIDDLE:
        return &m->queue_middle;
    default:
        return &m->queue_low;
    }
}

} // namespace

thread_list *listOf(thread_master *m, const thread *event)
{
    switch (event->type) {
    case THREAD_READ:
        return &m->read;
    case THREAD_WRITE:
        return &m->write;
    case THREAD_TIMER:
        return &m->timer[event->index];
    case THREAD_EVENT:
        return &m->event;
    case THREAD_QUEUE:
        return readyList(m, event->priority);
    case THREAD_READ_HIGH:
        return &m->read_high;
    case THREAD_READ_PEND:
        return &m->read_pend;
    case THREAD_EVENT_LOW:
        return &m->event_low;
    default:
        return nullptr;
    }
}

void makeReady(thread_master *m, thread *event, uint8_t priority)
{
    event->type = THREAD_QUEUE;
    event->priority = priority;
    append(readyList(m, priority), event);
}

thread *thread_get(lib_instance_t *zg, uint8_t type, thread_func_t func, void *arg)
{
    thread_master *m = zg->master;
    thread *event = m->unuse.head;
    if (event) {
        take(&m->unuse, event);
        *event = {};
    } else {
        event = static_cast<thread *>(calloc(1, sizeof(thread)));
        if (!event)
            return nullptr;
        ++m->alloc;
    }
    event->master = m;
    event->zg = zg;
    event->func = func;
    event->arg = arg;
    event->type = type;
    event->sub_type = THREAD_SUB_NORMAL;
    return event;
}

void recycle(thread_master *m, thread *event)
{
    THREAD_ASSERT(event->next == nullptr && event->prev == nullptr);
    THREAD_ASSERT(event->type == THREAD_UNUSED);
    append(&m->unuse, event);
}

void drop(thread_master *m, thread *event)
{
    thread_list *list = listOf(m, event);
    THREAD_ASSERT(list != nullptr);
    take(list, event);
    if (event->sub_type == THREAD_SUB_ASP)
        free(event->arg);
    event->type = THREAD_UNUSED;
    recycle(m, event);
}

void thread_fd_add_to_list(thread_master *m, int fd, short flag)
{
    THREAD_ASSERT(fd > 0 && fd < THREAD_FD_MAX);
    m->master_poll[fd].fd = fd;
    m->master_poll[fd].events = static_cast<short>(m->master_poll[fd].events | flag);
    m->max_fd = std::max(m->max_fd, fd);
}

void thread_fd_clear(thread_master *m, int fd, short flag)
{
    pollfd &entry = m->master_poll[fd];
    entry.events = static_cast<short>(entry.events & ~flag);
    if (entry.events != 0)
        return;
    entry.fd = -1;
    if (fd == m->max_fd)
        while (m->max_fd > 0 && m->master_poll[m->max_fd].fd == -1)
            --m->max_fd;
}

} // namespace threadDetail
