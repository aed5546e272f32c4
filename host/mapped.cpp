// SPDX-License-Identifier: Apache-2.0
// The handler of SIGBUS. It runs on whatever thread meets the hole, and makes one system call.
#include "host/mapped.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sys/mman.h>

namespace {

constexpr int GUARDED_MOST = 16;

struct guarded_t {
    uintptr_t base;
    size_t size;
    std::atomic<bool> *lost;
};
guarded_t guarded[GUARDED_MOST];
std::atomic<int> guarded_count;
struct sigaction before;

bool replace(const guarded_t &row)
{
    void *base = reinterpret_cast<void *>(row.base);
    if (mmap(base, row.size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) == MAP_FAILED)
        return false;
    row.lost->store(true);
    return true;
}

// Any other fault ends the process as it would have: the access is made again, without this handler.
void onHole(int, siginfo_t *info, void *)
{
    const int error = errno;
    const uintptr_t at = reinterpret_cast<uintptr_t>(info->si_addr);
    const int count = guarded_count.load(std::memory_order_acquire);
    for (int i = 0; i < count; ++i) {
        if (at - guarded[i].base < guarded[i].size && replace(guarded[i])) {
            errno = error;
            return;
        }
    }
    sigaction(SIGBUS, &before, nullptr);
}

} // namespace

bool mappedGuard(void *base, size_t size, std::atomic<bool> *lost)
{
    const int count = guarded_count.load(std::memory_order_relaxed);
    if (count == GUARDED_MOST)
        return false;
    guarded[count] = {reinterpret_cast<uintptr_t>(base), size, lost};
    guarded_count.store(count + 1, std::memory_order_release);
    if (count > 0)
        return true;
    struct sigaction action = {};
    action.sa_sigaction = onHole;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&action.sa_mask);
    return sigaction(SIGBUS, &action, &before) == 0;
}
