// SPDX-License-Identifier: Apache-2.0
// The process framework: signals, the exit callback, worker threads and the gate behind which host threads may post.
#include "host/process.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

#include "host/complain.h"
#include "host/election.h"
#include "host/fault.h"
#include "host/lock_file.h"
#include "host/node.h"
#include "host/run.h"
#include "host/swd.h"
#include "host/trace.h"
#include "velmar/process.h"

namespace {

std::atomic<MSG_Q_ID> queue;
std::atomic<int (*)()> exit_callback;
std::atomic_flag ending = ATOMIC_FLAG_INIT;
std::atomic<int> workers;
bool signals_taken;
thread_local bool ends_here; // this thread has the end in hand

sem_t signalled;
std::atomic<bool> end_asked;

// A signal is caught and handed on to a thread, so the end is orderly whatever the main thread is waiting for. It is
// not blocked instead: programs that the process starts would have it blocked too.
void onSignal(int number)
{
    const int error = errno;
    if (number != SIGHUP)
        end_asked = true;
    sem_post(&signalled);
    errno = error;
}

void *signalThread(void *)
{
    for (;;) {
        if (sem_wait(&signalled) != 0)
            continue;
        if (end_asked)
            processEnd(0);
        traceReopen();
    }
}

} // namespace

MSG_Q_ID processQueue()
{
    return queue.load(std::memory_order_acquire);
}

int processPost(uint8_t type, uint32_t word)
{
    unsigned char message[MSGQ_MESSAGE_LENGTH] = {};
    message[MSGQ_TYPE_OFFSET] = type;
    memcpy(message + PROCESS_WORD_OFFSET, &word, sizeof word);
    return msgQSend(processQueue(), message, sizeof message, 0, 1);
}

uint32_t processWord(const void *message)
{
    uint32_t word;
    memcpy(&word, static_cast<const unsigned char *>(message) + PROCESS_WORD_OFFSET, sizeof word);
    return word;
}

bool processThread(void *(*entry)(void *), void *arg)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    for (const int fault : {SIGBUS, SIGSEGV, SIGFPE, SIGILL})
        sigdelset(&all, fault); // their handlers run where they arise; blocked they kill
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    const int rc = pthread_create(&thread, &attributes, entry, arg);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return rc == 0;
}

bool processEnding()
{
    return ending.test();
}

void processEnd(int status)
{
    if (ending.test_and_set())
        for (;;)
            pause();
    ends_here = true;
    swdStopping();
    if (int (*callback)() = exit_callback.load())
        callback();
    runCleanup();
    _exit(status);
}

namespace {

// The main thread that leaves by itself while the end goes on elsewhere waits for it: the status is the end's.
void leaveTheEndAlone()
{
    while (ending.test() && !ends_here)
        pause();
}

} // namespace

// A file that grows against its limit fails in its write, and ends nobody. SIGINT and SIGTERM end the process.
// SIGHUP says that the trace file was moved, and ends nothing.
void velmar_sigdefaults(const char *progname)
{
    complainAs(progname);
    nodeLoad(progname);
    faultOpen();
    if (signals_taken)
        return;
    signal(SIGXFSZ, SIG_IGN);
    atexit(leaveTheEndAlone);
    sem_init(&signalled, 0, 0);
    lockFileMakeRoom();
    signals_taken = processThread(signalThread, nullptr);
    if (!signals_taken)
        return;
    struct sigaction action = {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        sigaction(number, &action, nullptr);
        sigaddset(&set, number);
    }
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

int ASPInit(const char *, uint32_t, int, int, int (*on_exit)())
{
    static const int at_exit = atexit(leaveTheEndAlone); // ahead of what was registered since the start
    (void)at_exit;
    exit_callback.store(on_exit);
    return 0;
}

void ASPExit()
{
    exit_callback.store(nullptr);
}

void KOR_ASPMainLoop(int, MSG_Q_ID main_queue)
{
    queue.store(main_queue, std::memory_order_release);
    electionStart();
}

int wt_exec(void *(*entry)(void *), void *arg)
{
    return processThread(entry, arg) ? workers.fetch_add(1) : -1;
}
