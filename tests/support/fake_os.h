// SPDX-License-Identifier: Apache-2.0
// The host with a clock, waits and a watchdog of a test's own, for tests of single pieces.
#ifndef TESTS_SUPPORT_FAKE_OS_H
#define TESTS_SUPPORT_FAKE_OS_H

#include "tests/support/node.h"
#include "tests/support/stepped_os.h"
#include "velmar/msgq.h"

namespace fake_os {

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
