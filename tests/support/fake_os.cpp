// SPDX-License-Identifier: Apache-2.0
// What stands in host/os.cpp and host/swd.cpp on a machine, whose place this takes.
#include "tests/support/fake_os.h"

#include "core/trace.h"
#include "host/swd.h"
#include "velmar/os.h"
#include "velmar/process.h"
#include "velmar/swd.h"

namespace fake_os {

int64_t now_us;
std::vector<int> timeouts;
unsigned last_count;
std::function<void()> on_poll;
int poll_errno;
bool pipe_fails;
int swd_handle;
int swd_seconds;
size_t greetings;

MSG_Q_ID queue()
{
    static const MSG_Q_ID only = msgQCreate(16, MSGQ_MESSAGE_LENGTH, 0, "test_mq");
    return only;
}

void post(uint8_t type)
{
    uint8_t message[MSGQ_MESSAGE_LENGTH] = {};
    message[MSGQ_TYPE_OFFSET] = type;
    msgQSend(queue(), message, sizeof message, 0, 1);
}

static std::string traceFile()
{
    static const struct Directory {
        std::string path = makeRunDir();
        ~Directory() { std::filesystem::remove_all(path); }
    } run;
    static const std::string file = run.path + "/trace.txt";
    static const int ready = setenv("VELMAR_RUN", run.path.c_str(), 1) | setenv("VELMAR_VSS", "manual", 1) |
                             setenv("VELMAR_TRACE", file.c_str(), 1) | qos_trace_init(284, 200, 48);
    EXPECT_EQ(ready, 0);
    return file;
}

Test::Test() : log(traceFile())
{
    now_us = 1000 * int64_t{1000000};
    timeouts.clear();
    last_count = 0;
    on_poll = nullptr;
    poll_errno = 0;
    pipe_fails = false;
    swd_handle = -1;
    swd_seconds = 60;
    greetings = 0;
    dce_trace_lvl_set(VELMAR_DCEDBG_LVL_ERR);
}

} // namespace fake_os

int swd_register(void *)
{
    return fake_os::swd_handle;
}

int swd_hello(int, struct timeval *last)
{
    velmar_now(last);
    ++fake_os::greetings;
    return fake_os::swd_seconds;
}

void swdWaits() {}

void swdStopping() {}

void velmar_now(struct timeval *now)
{
    now->tv_sec = static_cast<time_t>(fake_os::now_us / 1000000);
    now->tv_usec = static_cast<suseconds_t>(fake_os::now_us % 1000000);
}

uint64_t velmar_time_base()
{
    return static_cast<uint64_t>(fake_os::now_us / 1000);
}

// A wait without limit that nothing ends would last for ever: it fails with EDEADLK.
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

int velmar_select(int nfds, fd_set *readable, fd_set *writable, fd_set *except, const struct timeval *)
{
    timeval none = {0, 0};
    return select(nfds, readable, writable, except, &none);
}

int velmar_pipe(int fds[2])
{
    if (fake_os::pipe_fails) {
        errno = EMFILE;
        return -1;
    }
    return pipe(fds);
}
