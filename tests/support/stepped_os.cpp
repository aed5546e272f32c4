// SPDX-License-Identifier: Apache-2.0
// What stands in host/os.cpp and host/clock.cpp on a machine, whose place this takes.
#include "tests/support/stepped_os.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>
#include <utility>

#include "velmar/os.h"

namespace fake_os {

int64_t now_us = 1000 * int64_t{1000000};
int64_t until_us = NEVER;
std::vector<int> timeouts;
unsigned last_count;
std::function<void()> on_poll;
int poll_errno;
bool pipe_fails;

} // namespace fake_os

void velmar_now(struct timeval *now)
{
    *now = {static_cast<time_t>(fake_os::now_us / 1000000), static_cast<suseconds_t>(fake_os::now_us % 1000000)};
}

uint64_t velmar_time_base()
{
    return static_cast<uint64_t>(fake_os::now_us / 1000);
}

// A wait without limit that nothing ends would last for ever: it fails with EDEADLK, as does what lasts too long.
int velmar_poll(struct pollfd *fds, unsigned count, int timeout_ms)
{
    fake_os::timeouts.push_back(timeout_ms);
    fake_os::last_count = count;
    if (auto action = std::exchange(fake_os::on_poll, nullptr))
        action();
    if (fake_os::poll_errno != 0) {
        errno = std::exchange(fake_os::poll_errno, 0);
        return -1;
    }
    const int found = poll(fds, count, 0);
    if (found != 0)
        return found;
    // A pass without a wait takes time too, or a timer due in less than a millisecond would never come.
    fake_os::now_us += timeout_ms > 0 ? timeout_ms * int64_t{1000} : timeout_ms == 0 ? 100 : 0;
    if (timeout_ms >= 0 && fake_os::now_us <= fake_os::until_us)
        return 0;
    if (fake_os::until_us != fake_os::NEVER)
        fake_os::now_us = fake_os::until_us;
    errno = EDEADLK;
    return -1;
}

int velmar_select(int nfds, fd_set *readable, fd_set *writable, fd_set *except, const struct timeval *timeout)
{
    timeval none = {};
    const int found = select(nfds, readable, writable, except, &none);
    if (found == 0 && timeout)
        fake_os::now_us += timeout->tv_sec * int64_t{1000000} + timeout->tv_usec;
    return found;
}

int velmar_pipe(int fds[2])
{
    if (!fake_os::pipe_fails)
        return pipe(fds);
    errno = EMFILE;
    return -1;
}
