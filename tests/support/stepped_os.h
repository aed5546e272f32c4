// SPDX-License-Identifier: Apache-2.0
// The host's clock and waits in a test's own hands: time stands still but for waits, which take none. Descriptors are
// real, so that a pipe with data in it ends a wait.
#ifndef TESTS_SUPPORT_STEPPED_OS_H
#define TESTS_SUPPORT_STEPPED_OS_H

#include <cstdint>
#include <functional>
#include <vector>

namespace fake_os {

constexpr int64_t NEVER = INT64_MAX;

extern int64_t now_us;
extern int64_t until_us;              // how long the polls go on in all
extern std::vector<int> timeouts;     // of the polls so far, in milliseconds
extern unsigned last_count;           // entries of the last poll
extern std::function<void()> on_poll; // runs once, inside the next poll
extern int poll_errno;                // the next poll fails with it
extern bool pipe_fails;

} // namespace fake_os

#endif
