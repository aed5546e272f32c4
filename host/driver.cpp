// SPDX-License-Identifier: Apache-2.0
// Whether the driver is there, since when, and what went wrong last. Only a change is told to the event log, so a
// request costs two stores.
#include "host/driver.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

#include "host/clock.h"
#include "host/raslog.h"
#include "host/run.h"
#include "velmar/run.h"

namespace {

enum state_t : int { UNKNOWN, THERE, LOST };

constexpr int NO_ANSWER = -1; // among the errors

std::atomic<int> state;
std::atomic<int64_t> since_us;
std::atomic<int64_t> pending_us; // of the request without an answer, 0 for none
std::atomic<int> last_error;
std::atomic<int64_t> error_us;

const char *errorText(int error)
{
    return error == NO_ANSWER ? "a request had no answer in time" : strerror(error);
}

void become(state_t next)
{
    if (state.load(std::memory_order_relaxed) == next || state.exchange(next, std::memory_order_relaxed) == next)
        return;
    since_us.store(machineUs(), std::memory_order_relaxed);
    if (next == THERE)
        rasLog("driver: found, it answers");
    else if (next == UNKNOWN)
        rasLog("driver: one is there again, not asked yet");
    else
        rasLog("driver: lost: %s", errorText(last_error.load()));
}

void fail(int error)
{
    last_error.store(error, std::memory_order_relaxed);
    error_us.store(machineUs(), std::memory_order_relaxed);
    become(LOST);
}

bool isGone(int error)
{
    return error == ECONNREFUSED || error == ENOENT;
}

// One that dies between two requests is missed by whoever asks for it, and not only by the next request. One that came
// since then has answered nothing yet.
void look()
{
    char path[sizeof(sockaddr_un::sun_path)];
    sockaddr_un address;
    const int before = state.load();
    if (before == UNKNOWN || velmar_run_path(path, sizeof path, "qos", "driver") != 0 || !runAddress(&address, path))
        return;
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return;
    const int error = connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 ? 0 : errno;
    close(fd);
    if (before == THERE && isGone(error))
        fail(error);
    if (before == LOST && error == 0 && isGone(last_error.load()))
        become(UNKNOWN);
}

} // namespace

void driverAsked(int error)
{
    if (error != 0)
        fail(error);
    else
        pending_us.store(machineUs(), std::memory_order_relaxed);
}

void driverAnswered()
{
    pending_us.store(0, std::memory_order_relaxed);
    become(THERE);
}

void driverLeft()
{
    if (pending_us.load(std::memory_order_relaxed) == 0)
        return;
    pending_us.store(0, std::memory_order_relaxed);
    fail(NO_ANSWER);
}

std::string driverStat()
{
    static constexpr const char *NAMES[] = {"not asked yet", "answers", "lost"};
    look();
    const int now = state.load(), error = last_error.load();
    const auto text = [](const char *value) { return value ? '"' + std::string(value) + '"' : "null"; };
    const auto seconds = [](int64_t then_us) {
        return then_us != 0 ? std::to_string((machineUs() - then_us) / 1000000) : "null";
    };
    return ",\"driver\":" + text(NAMES[now]) + ",\"driver_since\":" + seconds(since_us.load()) +
           ",\"driver_pending\":" + seconds(pending_us.load()) +
           ",\"driver_error\":" + text(error != 0 ? errorText(error) : nullptr) +
           ",\"driver_error_since\":" + seconds(error_us.load());
}
