// SPDX-License-Identifier: Apache-2.0
// The scheduler's loop: what is due, the wait, the event that comes next.
#include <algorithm>
#include <cerrno>

#include "lib/thread_lists.h"
#include "velmar/process.h"
#include "velmar/swd.h"

using namespace threadDetail;

namespace {

constexpr int64_t PAST_USEC = 10; // wait for a timer that became due since the timers were looked at

thread *takeReady(thread_master *m)
{
    for (thread_list *list : {&m->read_pend, &m->queue_high, &m->queue_middle, &m->queue_low})
        if (list->head)
            return take(list, list->head);
    return nullptr;
}

thread *thread_run(thread_master *m, thread *event, thread *out)
{
    *out = *event;
    event->type = THREAD_UNUSED;
    recycle(m, event);
    timeval tv;
    velmar_now(&tv);
    const int64_t passed = (tv.tv_sec - m->heartbeat_last.tv_sec) * USEC + tv.tv_usec - m->heartbeat_last.tv_usec;
    if (passed / USEC >= m->heartbeat_interval) {
        m->heartbeat_last = tv;
        if (m->swd_handle >= 0)
            swd_hello(m->swd_handle, &m->heartbeat_last);
    }
    return out;
}

void queueDueTimers(thread_master *m)
{
    const int64_t at = now();
    for (thread_list &list : m->timer)
        while (list.head && due(list.head) <= at)
            makeReady(m, take(&list, list.head), THREAD_PRI_MIDDLE);
}

Wait timerWait(const thread_master *m)
{
    Wait wait;
    if (m->queue_high.head || m->queue_middle.head || m->queue_low.head) {
        wait.usec = 0;
        return wait;
    }
    const int64_t at = now();
    for (const thread_list &list : m->timer)
        if (list.head) {
            const int64_t left = due(list.head) - at;
            wait.shorten(left < 0 ? PAST_USEC : left);
        }
    return wait;
}

// Makes ready what `flag` was reported for. `copied` entries of the working table are of this pass.
void processFds(lib_instance_t *zg, thread_list *list, short flag, int copied)
{
    thread_master *m = zg->master;
    for (thread *event = list->head; event;) {
        thread *next = event->next;
        const int fd = event->u.fd;
        if (fd < copied && m->working_poll[fd].fd == fd && (m->working_poll[fd].revents & flag)) {
            thread_fd_clear(m, fd, flag);
            take(list, event);
            makeReady(m, event, fd == zg->client_fd || fd == zg->second_fd ? THREAD_PRI_LOW : THREAD_PRI_MIDDLE);
        }
        event = next;
    }
}

// One wait: the result of poll, with what it found made ready.
int pollOnce(lib_instance_t *zg, Guard &guard)
{
    thread_master *m = zg->master;
    const int copied = m->max_fd + 1;
    std::copy_n(m->master_poll, copied, m->working_poll);
    Wait wait = timerWait(m);
    unsigned count = static_cast<unsigned>(copied);
    if (m->gioti) {
        int wait_ms = -1;
        count = std::max(count, gioti_pre_select(m->gioti, m->working_poll, count, THREAD_FD_MAX, &wait_ms));
        if (wait_ms >= 0)
            wait.shorten(wait_ms * int64_t{1000});
    }
    wait = aspWait(m, wait);
    guard.leave();
    const int found = velmar_poll(m->working_poll, count, wait.milliseconds());
    const int error = errno;
    guard.take();
    if (found < 0) {
        errno = error;
        return found;
    }
    drainAsp(zg);
    if (found > 0) {
        processFds(zg, &m->read_high, POLLIN, copied);
        processFds(zg, &m->read, POLLIN, copied);
        processFds(zg, &m->write, POLLOUT, copied);
    }
    if (m->gioti)
        gioti_post_select(m->gioti, m->working_poll, count);
    if (m->event_low.head)
        makeReady(m, take(&m->event_low, m->event_low.head), THREAD_PRI_LOW);
    return found;
}

} // namespace

thread *thread_fetch(lib_instance_t *zg, thread *out)
{
    thread_master *m = masterOf(zg);
    Guard guard(zg);
    for (;;) {
        if (thread *event = takeReady(m))
            return thread_run(m, event, out);
        while (m->event.head)
            makeReady(m, take(&m->event, m->event.head), THREAD_PRI_HIGH);
        queueDueTimers(m);
        if (pollOnce(zg, guard) < 0 && errno != EINTR)
            return nullptr;
    }
}

int thread_call(thread *event)
{
    return event->func(event);
}

int thread_execute(lib_instance_t *zg, thread_func_t func, void *arg, int val)
{
    thread event = {};
    event.master = zg->master;
    event.zg = zg;
    event.func = func;
    event.arg = arg;
    event.type = THREAD_EVENT;
    event.u.val = val;
    return func(&event);
}
