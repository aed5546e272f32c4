// The process framework: signals, the exit callback, worker threads and the gate behind which host threads may post.
#include "host/process.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <pthread.h>
#include <unistd.h>

#include "host/ctl.h"
#include "host/election.h"
#include "host/node.h"
#include "host/run.h"
#include "velmar/process.h"

namespace {

std::atomic<MSG_Q_ID> queue;
std::atomic<int (*)()> exit_callback;
std::atomic_flag ending = ATOMIC_FLAG_INIT;
std::atomic<int> workers;
bool signals_taken;

// The signals that end the process are blocked in every thread and taken here, so the end is orderly whatever the main
// thread is waiting for.
void *signalThread(void *set)
{
    int number;
    while (sigwait(static_cast<const sigset_t *>(set), &number) != 0)
        ;
    processEnd(0);
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

void processEnd(int status)
{
    if (ending.test_and_set())
        for (;;)
            pause();
    if (int (*callback)() = exit_callback.load())
        callback();
    runCleanup();
    _exit(status);
}

// SIGINT and SIGTERM end the process, and SIGHUP unless whoever started it has it ignored.
void velmar_sigdefaults(const char *progname)
{
    nodeLoad(progname);
    if (signals_taken)
        return;
    static sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    struct sigaction hangup;
    if (sigaction(SIGHUP, nullptr, &hangup) == 0 && hangup.sa_handler != SIG_IGN)
        sigaddset(&set, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    signals_taken = processThread(signalThread, &set);
    if (!signals_taken)
        pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

int ASPInit(const char *, uint32_t, int, int, int (*on_exit)())
{
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
    ctlNoteStage();
    electionStart();
}

int wt_exec(void *(*entry)(void *), void *arg)
{
    return processThread(entry, arg) ? workers.fetch_add(1) : -1;
}
