// The event scheduler.
#include "lib/thread.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include "core/trace.h"
#include "lib/lib_instance.h"
#include "velmar/ha.h"
#include "velmar/process.h"
#include "velmar/swd.h"
#include "velmar/trace.h"

namespace {

constexpr int64_t USEC = 1000000;
constexpr int64_t PAST_USEC = 10;        // wait for a timer that became due since the timers were looked at
constexpr int32_t TIME_MAX = 0x7fffffff; // what a time that is out of range becomes
constexpr int32_t HEARTBEAT_SECONDS = 60;

#define THREAD_ASSERT(condition)                                                                                       \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            do_assert("(" #condition ")", __FILE__, 1);                                                                \
    } while (0)

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

// Links `event` behind `after`, or at the head for null.
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

// The list that an event stands on.
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

// Takes an event that will not run off its list.
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

bool aspPending(const thread_master *m)
{
    return m->asp_queue && m->asp_queue->queued.load() != 0;
}

Wait aspWait(thread_master *m, Wait wait)
{
    if (!m->asp_queue)
        return wait;
    if (m->swd_handle >= 0) {
        const int seconds = swd_hello(m->swd_handle, &m->heartbeat_last);
        if (seconds >= 0)
            wait.shorten(seconds * USEC);
    }
    if (aspPending(m))
        wait.shorten(0);
    return wait;
}

// Runs a queue message and frees it.
int dispatchAsp(thread *event)
{
    uint8_t *message = static_cast<uint8_t *>(event->arg);
    switch (message[MSGQ_TYPE_OFFSET]) {
    case MSGQ_TYPE_ISC:
        isc_process(message);
        break;
    case MSGQ_TYPE_SMI:
        smi_process(message);
        break;
    case MSGQ_TYPE_VSS:
        vss_process(message);
        break;
    default:
        if (event->u.asp_cb)
            event->u.asp_cb(message);
    }
    free(message);
    return 0;
}

void drainAsp(lib_instance_t *zg)
{
    thread_master *m = zg->master;
    while (aspPending(m)) {
        uint8_t *message = static_cast<uint8_t *>(calloc(1, MSGQ_MESSAGE_LENGTH));
        if (!message)
            return;
        if (msgQReceive(m->asp_queue, message, MSGQ_MESSAGE_LENGTH, 0) < 0) {
            free(message);
            return;
        }
        const msgq_cb_t own = msgQGetcb(m->asp_queue, message[MSGQ_TYPE_OFFSET]);
        thread *event = thread_get(zg, THREAD_QUEUE, dispatchAsp, message);
        if (!event) {
            QOS_ERR("dropped ASP message queue event");
            free(message);
            continue;
        }
        event->sub_type = THREAD_SUB_ASP;
        event->u.asp_cb = own ? own : m->asp_handler;
        makeReady(m, event, THREAD_PRI_MIDDLE);
    }
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

int callGiot(thread *event)
{
    reinterpret_cast<void (*)(void *)>(event->arg)(event->u.giot_val);
    return 0;
}

// What the engine's gioti_post_select adds a call with.
int addGiotCall(void *zg, void (*func)(void *), void *arg, int)
{
    lib_instance_t *lib = static_cast<lib_instance_t *>(zg);
    const Guard guard(lib);
    thread *event = thread_get(lib, THREAD_QUEUE, callGiot, reinterpret_cast<void *>(func));
    if (!event)
        return -1;
    event->sub_type = THREAD_SUB_GIOT;
    event->u.giot_val = arg;
    makeReady(lib->master, event, THREAD_PRI_MIDDLE);
    return 0;
}

// The wake-up has done its work by ending poll: only the pipe is emptied here.
int readAspPipe(thread *event)
{
    thread_master *m = event->master;
    const int fd = thread_fd(event);
    m->asp_read = nullptr;
    char bytes[32];
    if (read(fd, bytes, sizeof bytes) < 0 && errno != EAGAIN)
        QOS_ERR("ASP msgQ wakeup pipe read failed(%s)", strerror(errno));
    m->asp_read = thread_add_read(event->zg, readAspPipe, nullptr, fd);
    return 0;
}

bool setNonBlocking(int fd)
{
    const int flags = fcntl(fd, F_GETFL);
    return flags >= 0 && fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0;
}

void closeAspPipe(thread_master *m)
{
    for (int32_t &fd : m->asp_pipe) {
        if (fd >= 0)
            close(fd);
        fd = -1;
    }
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

void thread_asp_start(lib_instance_t *zg, msgq_cb_t handler, MSG_Q_ID queue)
{
    thread_master *m = masterOf(zg);
    m->asp_handler = handler;
    m->asp_queue = queue;
    if (velmar_pipe(m->asp_pipe) != 0) {
        m->asp_pipe[0] = m->asp_pipe[1] = -1;
        QOS_ERR("ASP msgQ wakeup pipe create failed");
        return;
    }
    if (!setNonBlocking(m->asp_pipe[0])) {
        closeAspPipe(m);
        QOS_ERR("ASP msgQ wakeup pipe conversion to non-blocking failed");
        return;
    }
    // The main thread itself may post more than the pipe holds before it reads again.
    setNonBlocking(m->asp_pipe[1]);
    m->asp_read = thread_add_read(zg, readAspPipe, nullptr, m->asp_pipe[0]);
    KOR_ASPMainLoop(0, queue);
    m->swd_handle = swd_register(zg);
    velmar_now(&m->heartbeat_last);
}

void thread_asp_wakeup(void *zg)
{
    const lib_instance_t *lib = static_cast<const lib_instance_t *>(zg);
    const char byte = 0;
    ssize_t written;
    do
        written = write(lib->master->asp_pipe[1], &byte, 1);
    while (written < 0 && errno == EINTR);
    // A full pipe wakes the loop as well.
    if (written < 0 && errno != EAGAIN)
        QOS_ERR("ASP msgQ wakeup pipe write failed(%s)", strerror(errno));
}

int thread_giot_start(lib_instance_t *zg, gioti_t *gioti)
{
    masterOf(zg)->gioti = gioti;
    gioti->add_call = addGiotCall;
    gioti->zg = zg;
    return gioti_start(gioti);
}
