// SPDX-License-Identifier: Apache-2.0
// The event scheduler: one thread of the operating system, one poll. A `thread` here is a queued call: a function, an
// argument and a kind. thread_fetch sleeps until something is due and gives one event, which the caller runs with
// thread_call. Read, write and timer events are one-shot.
//
// Waiting and the clock go through velmar/os.h. Everything but thread_asp_wakeup belongs to the main thread, unless the
// library instance has a mutex: then adds, cancels and the fetch take it.
#ifndef LIB_THREAD_H
#define LIB_THREAD_H

#include <cstdint>

#include "velmar/msgq.h"
#include "velmar/os.h"

struct gioti_t;
struct lib_instance_t;
struct thread_master;

// Kinds of events.
constexpr uint8_t THREAD_READ = 0;
constexpr uint8_t THREAD_WRITE = 1;
constexpr uint8_t THREAD_TIMER = 2;
constexpr uint8_t THREAD_EVENT = 3;
constexpr uint8_t THREAD_QUEUE = 4; // ready to run
constexpr uint8_t THREAD_UNUSED = 5;
constexpr uint8_t THREAD_READ_HIGH = 6;
constexpr uint8_t THREAD_READ_PEND = 7;
constexpr uint8_t THREAD_EVENT_LOW = 8;

// Subtypes.
constexpr uint8_t THREAD_SUB_NORMAL = 0;
constexpr uint8_t THREAD_SUB_ASP = 1;  // a message of the ASP queue
constexpr uint8_t THREAD_SUB_GIOT = 2; // a call of the GIOT engine

// Ready lists, as priorities of a queued event.
constexpr uint8_t THREAD_PRI_HIGH = 0;
constexpr uint8_t THREAD_PRI_MIDDLE = 1;
constexpr uint8_t THREAD_PRI_LOW = 2;

constexpr int THREAD_FD_MAX = 4096; // descriptors 1 to 4095 can be waited for
constexpr int THREAD_TIMER_LISTS = 4;

struct thread {
    thread *next;
    thread *prev;
    thread_master *master;
    lib_instance_t *zg;
    int (*func)(thread *event);
    void *arg;
    void *spare;
    uint8_t type;
    uint8_t sub_type;
    uint8_t priority; // of a queued event
    uint8_t index;    // of a timer: its list
    union {
        int32_t fd;
        int32_t val;
        struct {
            int32_t sec;
            int32_t usec;
        } due;            // on velmar_now's clock
        msgq_cb_t asp_cb; // receiver of a queue message
        void *giot_val;
    } u;
};
static_assert(sizeof(void *) != 4 || sizeof(thread) == 40);

struct thread_list {
    thread *head;
    thread *tail;
    uint32_t count;
};

struct thread_master {
    thread_list queue_high; // the three ready lists
    thread_list queue_middle;
    thread_list queue_low;
    uint32_t timer_index;                  // the list that takes the next timer
    thread_list timer[THREAD_TIMER_LISTS]; // each in order of due time
    thread_list read_pend;                 // runs ahead of everything
    thread_list read_high;
    thread_list read;
    thread_list write;
    thread_list event;     // for queue_high
    thread_list event_low; // for queue_low
    thread_list unuse;
    pollfd master_poll[THREAD_FD_MAX];  // by descriptor; `fd` -1 where free
    pollfd working_poll[THREAD_FD_MAX]; // the copy that poll gets
    int32_t max_fd;                     // highest descriptor in use, 0 for none
    uint32_t alloc;                     // records ever allocated and still held
    gioti_t *gioti;
    msgq_cb_t asp_handler; // receiver of queue messages whose type has none of its own
    MSG_Q_ID asp_queue;
    int32_t asp_pipe[2]; // wake-up pipe: read end, write end; -1 before thread_asp_start
    thread *asp_read;
    timeval heartbeat_last;     // last contact with the watchdog
    int32_t heartbeat_interval; // seconds
    int32_t swd_handle;         // negative: nobody watches
};

inline void *thread_arg(const thread *event)
{
    return event->arg;
}
inline int thread_fd(const thread *event)
{
    return event->u.fd;
}
inline int thread_val(const thread *event)
{
    return event->u.val;
}

thread_master *thread_master_create(); // null for want of memory
// Frees all records and the master. The descriptors of the wake-up pipe are closed.
void thread_master_finish(thread_master *master);

// Adds give the new event, or null for want of memory. The handler is called with a copy of the record.
using thread_func_t = int (*)(thread *event);
// Once `fd` is readable or writable. Null for a negative descriptor, and for a second write on one; two reads may wait
// on one descriptor.
thread *thread_add_read(lib_instance_t *zg, thread_func_t func, void *arg, int fd);
thread *thread_add_read_high(lib_instance_t *zg, thread_func_t func, void *arg, int fd);
thread *thread_add_write(lib_instance_t *zg, thread_func_t func, void *arg, int fd);
// Ahead of everything that is ready.
thread *thread_add_read_pend(lib_instance_t *zg, thread_func_t func, void *arg, int val);
// After a time from now. Due times of more than 0x7fffffff seconds are cut to that.
thread *thread_add_timer(lib_instance_t *zg, thread_func_t func, void *arg, int seconds);
thread *thread_add_timer_timeval(lib_instance_t *zg, thread_func_t func, void *arg, const timeval *wait);
// As soon as the ready lists are empty; a low one as one of many, one a pass.
thread *thread_add_event(lib_instance_t *zg, thread_func_t func, void *arg, int val);
thread *thread_add_event_low(lib_instance_t *zg, thread_func_t func, void *arg, int val);
// Ready at once.
thread *thread_add_queue_low(lib_instance_t *zg, thread_func_t func, void *arg, int val);
thread *thread_enqueue_read_middle(lib_instance_t *zg, thread_func_t func, void *arg, int fd);

// Takes an event off its list. `event` must be the record that the add gave, and not have run: a record is recycled
// ahead of its handler. For a descriptor the poll flag goes too, also for others that wait on it.
void thread_cancel(thread *event);
// Take off every event with this argument that still waits or is ready, from the lists of thread_add_event, or of
// thread_add_event_low and thread_add_queue_low. Give their number.
int thread_cancel_event(lib_instance_t *zg, void *arg);
int thread_cancel_event_low(lib_instance_t *zg, void *arg);

// The next event, copied to *out; null only if poll failed for another reason than a signal. Called by the main loop.
thread *thread_fetch(lib_instance_t *zg, thread *out);
// Runs an event that thread_fetch gave: its handler's result.
int thread_call(thread *event);
// Calls `func` at once with an event that is on no list.
int thread_execute(lib_instance_t *zg, thread_func_t func, void *arg, int val);

// Whole seconds to a timer's due time, not below 0; 0 for null.
int thread_timer_remain_second(const thread *event);

// Seconds that events may follow each other without a hello to the watchdog.
void thread_heartbeat_set(lib_instance_t *zg, int seconds);

// Lets the scheduler drain `queue`, and tells platform and watchdog of it. A wake-up pipe that fails is traced and ends
// the start: the queue is then looked at on each pass only.
void thread_asp_start(lib_instance_t *zg, msgq_cb_t handler, MSG_Q_ID queue);
// Ends a running poll; `zg` is the library instance. Called by the queue after a post, on any thread.
void thread_asp_wakeup(void *zg);

// Drives a GIOT engine from this loop, where it has no worker thread. 0, or the engine's failure.
[[nodiscard]] int thread_giot_start(lib_instance_t *zg, gioti_t *gioti);

#endif
