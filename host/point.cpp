// SPDX-License-Identifier: Apache-2.0
// The end of the process at a counted place, in builds for tests.
#include "host/point.h"

#ifdef VELMAR_KILL_POINTS

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <unistd.h>

namespace {

struct count_t {
    const long end;
    std::atomic<long> passed;
};

long numberIn(const char *name)
{
    const char *given = getenv(name);
    return given ? strtol(given, nullptr, 10) : 0;
}

count_t all = {numberIn("VELMAR_KILL_AT"), 0};
count_t commits = {numberIn("VELMAR_KILL_AT_COMMIT"), 0};

void pass(count_t *count)
{
    if (count->end > 0 && ++count->passed == count->end)
        kill(getpid(), SIGKILL);
}

} // namespace

void hostPoint(point_t point)
{
    (void)faultAt(FAULT_POINT);
    pass(&all);
    if (point == point_t::COMMIT)
        pass(&commits);
}

#endif
