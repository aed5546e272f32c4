// SPDX-License-Identifier: Apache-2.0
// What stands in host/swd.cpp on a machine, whose place this takes.
#include "tests/support/fake_os.h"

#include "core/trace.h"
#include "host/swd.h"
#include "velmar/os.h"
#include "velmar/process.h"
#include "velmar/swd.h"

namespace fake_os {

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
    static const RunDirectory run;
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
