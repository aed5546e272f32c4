// velmar/os.h on virtual time. A wait without limit that nothing ends would last for ever: it fails with EDEADLK.
#include "tests/support/fake_os.h"

#include <cerrno>
#include <unistd.h>
#include <utility>

#include "velmar/os.h"

namespace fake_os {

int64_t now_us;
std::vector<int> timeouts;
unsigned last_count;
std::function<void()> on_poll;
int poll_errno;
bool pipe_fails;

void reset()
{
    now_us = 1000 * int64_t{1000000};
    timeouts.clear();
    last_count = 0;
    on_poll = nullptr;
    poll_errno = 0;
    pipe_fails = false;
}

} // namespace fake_os

void velmar_now(struct timeval *now)
{
    now->tv_sec = static_cast<time_t>(fake_os::now_us / 1000000);
    now->tv_usec = static_cast<suseconds_t>(fake_os::now_us % 1000000);
}

uint64_t velmar_time_base()
{
    return static_cast<uint64_t>(fake_os::now_us / 1000);
}

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
    if (timeout_ms < 0) {
        errno = EDEADLK;
        return -1;
    }
    // A pass without a wait takes time too, or a timer due in less than a millisecond would never come.
    fake_os::now_us += timeout_ms > 0 ? timeout_ms * int64_t{1000} : 100;
    return 0;
}

int velmar_select(int nfds, fd_set *readable, fd_set *writable, fd_set *except, const struct timeval *timeout)
{
    timeval none = {0, 0};
    const int found = select(nfds, readable, writable, except, &none);
    if (found == 0 && timeout)
        fake_os::now_us += timeout->tv_sec * int64_t{1000000} + timeout->tv_usec;
    return found;
}

int velmar_pipe(int fds[2])
{
    if (fake_os::pipe_fails) {
        errno = EMFILE;
        return -1;
    }
    return pipe(fds);
}
