// SPDX-License-Identifier: Apache-2.0
// Events per second of the scheduler. Reads are compared with a bare poll loop that waits on the same descriptors and
// makes the same reads; both take turns inside one measurement, so that a disturbance meets both, and the counter
// "ratio" is the scheduler's time over the bare loop's.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <unistd.h>
#include <vector>

#include "lib/lib_instance.h"
#include "lib/thread.h"

namespace {

using event_t = struct thread;
using Clock = std::chrono::steady_clock;

constexpr int SLICE = 64; // rounds of one side before it is the turn of the other

struct Pipes {
    std::vector<pollfd> readers;
    std::vector<int> writers;

    explicit Pipes(int count)
    {
        for (int i = 0; i < count; ++i) {
            int fd[2];
            if (pipe(fd) != 0) {
                perror("pipe");
                exit(1);
            }
            readers.push_back({fd[0], POLLIN, 0});
            writers.push_back(fd[1]);
        }
    }
    ~Pipes()
    {
        for (size_t i = 0; i < readers.size(); ++i) {
            close(readers[i].fd);
            close(writers[i]);
        }
    }
    Pipes(const Pipes &) = delete;
    Pipes &operator=(const Pipes &) = delete;
    void fill() const
    {
        for (const int fd : writers)
            (void)!write(fd, "x", 1);
    }
};

struct Library {
    lib_instance_t *lib = lib_create("bench");

    Library() { lib->master = thread_master_create(); }
    ~Library() { lib_stop(lib); }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;
};

long handled;

void readByte(int fd)
{
    char byte;
    handled += read(fd, &byte, 1);
}

int onRead(event_t *event)
{
    readByte(thread_fd(event));
    thread_add_read(event->zg, onRead, nullptr, thread_fd(event));
    return 0;
}

int onTimer(event_t *)
{
    ++handled;
    return 0;
}

void runEvents(lib_instance_t *lib, long count)
{
    event_t event;
    for (const long until = handled + count; handled < until;)
        thread_call(thread_fetch(lib, &event));
}

void pollOnce(Pipes &pipes)
{
    poll(pipes.readers.data(), pipes.readers.size(), -1);
    for (const pollfd &reader : pipes.readers)
        if (reader.revents & POLLIN)
            readByte(reader.fd);
}

// Seconds that `work` takes in a slice of rounds; making the pipes readable is not counted.
template <typename Work>
double secondsOf(const Pipes &pipes, Work &&work)
{
    Clock::duration sum = {};
    for (int i = 0; i < SLICE; ++i) {
        pipes.fill();
        const auto start = Clock::now();
        work();
        sum += Clock::now() - start;
    }
    return std::chrono::duration<double>(sum).count();
}

// All of `range` pipes become readable together.
void reads(benchmark::State &state)
{
    const int count = static_cast<int>(state.range(0));
    Pipes pipes(count);
    Library library;
    for (const pollfd &reader : pipes.readers)
        thread_add_read(library.lib, onRead, nullptr, reader.fd);
    double scheduler = 0, bare = 0;
    for (auto _ : state) {
        const double seconds = secondsOf(pipes, [&] { runEvents(library.lib, count); });
        state.SetIterationTime(seconds);
        scheduler += seconds;
        bare += secondsOf(pipes, [&] { pollOnce(pipes); });
    }
    const double events = static_cast<double>(state.iterations()) * SLICE * count;
    state.counters["events/s"] = events / scheduler;
    state.counters["bare/s"] = events / bare;
    state.counters["ratio"] = scheduler / bare;
}

// Timers that are due at once, while `range` others wait for hours.
void timers(benchmark::State &state)
{
    Library library;
    for (int i = 0; i < state.range(0); ++i)
        thread_add_timer(library.lib, onTimer, nullptr, 3600 + rand() % 3600);
    for (auto _ : state) {
        thread_add_timer(library.lib, onTimer, nullptr, 0);
        runEvents(library.lib, 1);
    }
    state.SetItemsProcessed(state.iterations());
}

// Events without a descriptor or a time.
void events(benchmark::State &state)
{
    Library library;
    for (auto _ : state) {
        thread_add_event(library.lib, onTimer, nullptr, 0);
        runEvents(library.lib, 1);
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(reads)->Arg(1)->Arg(8)->Arg(64)->UseManualTime();
BENCHMARK(timers)->Arg(0)->Arg(100)->Arg(1000);
BENCHMARK(events);

} // namespace
