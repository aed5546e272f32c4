// SPDX-License-Identifier: Apache-2.0
// The kernel ends a process's memory first and closes its descriptors, the lock among them, behind that: milliseconds
// for tens of megabytes. But it ends memory with its last user only. So there is another one, a process that shares the
// memory and nothing else, has no descriptor, never runs, and goes when the first one is gone. The lock itself is as it
// was, and so is who may hold it.
#include "host/keeper.h"

#include <csignal>
#include <linux/close_range.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "host/process.h"

namespace {

// A sanitizer would take what shares the memory for a thread of this process.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool WATCHED = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
constexpr bool WATCHED = true;
#else
constexpr bool WATCHED = false;
#endif
#else
constexpr bool WATCHED = false;
#endif
constexpr timespec AFTERWARDS = {0, 20000000}; // the lock's next owner has its hands free by then
alignas(16) unsigned char stack[16384];
pid_t owner;

// Shares the memory of all threads and the library's data of the one that started it, which does nothing.
int keep(void *)
{
    sigset_t died;
    sigemptyset(&died);
    sigaddset(&died, SIGUSR1); // blocked, as all are
    if (prctl(PR_SET_PDEATHSIG, SIGUSR1) != 0)
        _exit(0);
    const sched_param none = {};
    (void)sched_setscheduler(0, SCHED_IDLE, &none);
    (void)prctl(PR_SET_NAME, "memory");
    while (getppid() == owner)
        (void)sigwaitinfo(&died, nullptr);
    nanosleep(&AFTERWARDS, nullptr);
    _exit(0);
}

// Gives the descriptors up ahead of the other process: who is born with them holds lock and sockets of a process that
// was killed until it first runs, which may be long on a busy machine.
void *startKeeping(void *)
{
    if (syscall(SYS_close_range, 0U, ~0U, CLOSE_RANGE_UNSHARE) == 0)
        (void)clone(keep, stack + sizeof stack, CLONE_VM, nullptr);
    for (;;)
        pause();
}

} // namespace

void keeperStart()
{
    if (WATCHED)
        return;
    owner = getpid();
    (void)processThread(startKeeping, nullptr);
}
