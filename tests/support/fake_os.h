// SPDX-License-Identifier: Apache-2.0
// The host with a clock, a watchdog and waits of a test's own, for tests of single pieces: time stands still but for
// waits, which take none. Descriptors are real, so a pipe with data in it ends a wait.
#ifndef TESTS_SUPPORT_FAKE_OS_H
#define TESTS_SUPPORT_FAKE_OS_H

#include "tests/support/node.h"
#include "velmar/msgq.h"

namespace fake_os {

extern int64_t now_us;
extern std::vector<int> timeouts;     // of the polls so far, in milliseconds
extern unsigned last_count;           // entries of the last poll
extern std::function<void()> on_poll; // runs once, inside the next poll
extern int poll_errno;                // the next poll fails with it
extern bool pipe_fails;
extern int swd_handle;
extern int swd_seconds;
extern size_t greetings; // of the watchdog

MSG_Q_ID queue();        // one for the process, as queues live that long
void post(uint8_t type); // a message of one type to it

// A case; the ERR lines are checked as those of a node. The process has one run directory and one trace.
class Test : public testing::Test {
protected:
    Test();
    ~Test() override { log.check(); }
    TraceLog log;
};

} // namespace fake_os

#endif
