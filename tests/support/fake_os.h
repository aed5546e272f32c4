// A simulated host's clock and waiting: time stands still but for waits, which take none. Descriptors are real, so a
// pipe with data in it ends a wait.
#ifndef TESTS_SUPPORT_FAKE_OS_H
#define TESTS_SUPPORT_FAKE_OS_H

#include <cstdint>
#include <functional>
#include <vector>

namespace fake_os {

extern int64_t now_us;
extern std::vector<int> timeouts;     // of the polls so far, in milliseconds
extern unsigned last_count;           // entries of the last poll
extern std::function<void()> on_poll; // runs once, inside the next poll
extern int poll_errno;                // the next poll fails with it
extern bool pipe_fails;

void reset();

} // namespace fake_os

#endif
