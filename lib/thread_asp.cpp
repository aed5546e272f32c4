// SPDX-License-Identifier: Apache-2.0
// What else feeds the scheduler: the platform's message queue with its wake-up pipe, and a GIOT engine.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "core/trace.h"
#include "lib/thread_lists.h"
#include "velmar/ha.h"
#include "velmar/process.h"
#include "velmar/swd.h"

using namespace threadDetail;

namespace {

bool aspPending(const thread_master *m)
{
    return m->asp_queue && m->asp_queue->queued.load() != 0;
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

} // namespace

threadDetail::Wait threadDetail::aspWait(thread_master *m, Wait wait)
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

void threadDetail::drainAsp(lib_instance_t *zg)
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

void threadDetail::closeAspPipe(thread_master *m)
{
    for (int32_t &fd : m->asp_pipe) {
        if (fd >= 0)
            close(fd);
        fd = -1;
    }
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
