// SPDX-License-Identifier: Apache-2.0
// The event scheduler on virtual time: what runs, in which order and when, and what an event leaves behind.
#include "lib/thread.h"

#include <climits>

#include "host/process.h"
#include "lib/lib_instance.h"
#include "tests/support/fake_os.h"
#include "velmar/process.h"

using event_t = struct thread;
using Names = std::vector<std::string>;

namespace {

Names ran;

// The handler of most events here: its argument is its name.
int note(event_t *event)
{
    ran.push_back(static_cast<const char *>(thread_arg(event)));
    return 7;
}

void noteMessage(void *message)
{
    ran.push_back("message " + std::to_string(static_cast<uint8_t *>(message)[MSGQ_TYPE_OFFSET]));
}

void *name(const char *text)
{
    return const_cast<char *>(text);
}

struct Pipe {
    int fd[2];
    Pipe() { EXPECT_EQ(pipe(fd), 0); }
    ~Pipe()
    {
        close(fd[0]);
        close(fd[1]);
    }
    int in() const { return fd[0]; }
    int out() const { return fd[1]; }
};

// One with something to read.
struct Filled : Pipe {
    Filled() { EXPECT_EQ(write(out(), "x", 1), 1); }
};

gioti_t engine = {};
int engine_wait_ms = -1; // what it asks for, once

} // namespace

// The platform's engine: three descriptors, and a call to add after the wait that it asked for.
int gioti_start(gioti_t *)
{
    return 0;
}

unsigned gioti_pre_select(gioti_t *, struct pollfd *fds, unsigned count, unsigned, int *wait_ms)
{
    *wait_ms = engine_wait_ms;
    std::fill_n(fds + count, 3, pollfd{-1, 0, 0});
    return count + 3;
}

void gioti_post_select(gioti_t *gioti, const struct pollfd *, unsigned)
{
    const auto call = [](void *arg) { ran.push_back(arg == &engine ? "engine" : "another"); };
    if (std::exchange(engine_wait_ms, -1) >= 0)
        gioti->add_call(gioti->zg, call, gioti, 0);
}

void engineLookAgain() {}

namespace {

class ThreadTest : public fake_os::Test {
protected:
    void SetUp() override
    {
        ran.clear();
        lib = lib_create("test");
        lib->master = thread_master_create();
        m = lib->master;
    }
    void TearDown() override { lib_stop(lib); }
    bool step()
    {
        event_t event;
        if (!thread_fetch(lib, &event))
            return false;
        EXPECT_EQ(thread_call(&event), 7);
        return true;
    }
    // Runs events until the loop would sleep for ever.
    Names runAll()
    {
        event_t event;
        while (thread_fetch(lib, &event))
            thread_call(&event);
        return std::exchange(ran, {});
    }

    lib_instance_t *lib = nullptr;
    thread_master *m = nullptr;
    const MSG_Q_ID queue = fake_os::queue();
};

TEST_F(ThreadTest, OnePassFillsTheReadyListsInOrder)
{
    const Filled a, b, own[2];
    lib->client_fd = own[0].in();
    lib->second_fd = own[1].in();
    thread_asp_start(lib, noteMessage, queue);
    thread_add_write(lib, note, name("write"), a.out());
    thread_add_read(lib, note, name("second"), own[1].in());
    thread_add_read(lib, note, name("read"), b.in());
    thread_add_read_high(lib, note, name("client"), own[0].in());
    thread_add_read_high(lib, note, name("read high"), a.in());
    thread_add_timer(lib, note, name("timer"), 0);
    thread_add_event_low(lib, note, name("low 1"), 0);
    thread_add_event_low(lib, note, name("low 2"), 0);
    thread_add_event(lib, note, name("event 1"), 0);
    thread_add_event(lib, note, name("event 2"), 0);
    thread_add_queue_low(lib, note, name("queued low"), 0);
    thread_enqueue_read_middle(lib, note, name("queued middle"), b.in());
    thread_add_read_pend(lib, note, name("pending"), 0);
    fake_os::post(11);
    EXPECT_EQ(runAll(), (Names{"pending", "queued middle", "queued low", "event 1", "event 2", "timer", "message 11",
                               "read high", "read", "write", "client", "second", "low 1"}));
    EXPECT_EQ(fake_os::timeouts.front(), 0);
    EXPECT_EQ(fake_os::timeouts.back(), -1); // nothing is ready: the second low event comes with the next thing
    thread_add_timer(lib, note, name("timer"), 2);
    EXPECT_EQ(runAll(), (Names{"low 2", "timer"}));
}

TEST_F(ThreadTest, AReadyEventKeepsItsValueAndItsOwnRecordIsFreeAlready)
{
    static event_t *added;
    added = thread_add_event(
        lib,
        [](event_t *event) {
            EXPECT_EQ(thread_val(event), -5);
            EXPECT_EQ(thread_add_event(event->zg, note, name("again"), 0), added);
            return thread_execute(event->zg, note, name("at once"), 3);
        },
        nullptr, -5);
    EXPECT_EQ(runAll(), (Names{"at once", "again"}));
    EXPECT_EQ(m->alloc, 1u);
}

TEST_F(ThreadTest, DescriptorsAreOneShotAndShareTheirFlag)
{
    const Filled low, a;
    EXPECT_EQ(thread_add_read(lib, note, nullptr, -1), nullptr);
    EXPECT_EQ(thread_enqueue_read_middle(lib, note, nullptr, -1), nullptr);
    thread_add_write(lib, note, name("write"), a.out());
    EXPECT_EQ(thread_add_write(lib, note, name("write"), a.out()), nullptr);
    thread_add_read(lib, note, name("first"), a.in());
    thread_add_read(lib, note, name("second"), a.in());
    EXPECT_EQ(runAll(), (Names{"first", "second", "write"}));
    EXPECT_EQ(m->max_fd, 0);
    EXPECT_EQ(m->master_poll[a.in()].fd, -1);

    // The flag that a cancel clears was the other's too: that one is not reported until the descriptor is added anew.
    event_t *cancelled = thread_add_read(lib, note, name("cancelled"), a.in());
    thread_add_read_high(lib, note, name("deaf"), a.in());
    thread_cancel(cancelled);
    // What an earlier pass reported for it is not taken for news when a lower descriptor alone is polled.
    ASSERT_LT(low.in(), a.in());
    ASSERT_NE(m->working_poll[a.in()].revents & POLLIN, 0);
    thread_add_read(lib, note, name("low"), low.in());
    EXPECT_EQ(runAll(), Names{"low"});
    thread_add_read(lib, note, name("awake"), a.in());
    EXPECT_EQ(runAll(), (Names{"deaf", "awake"}));
}

TEST_F(ThreadTest, TimersComeInTimeAndByList)
{
    for (const char *text : {"0", "1", "2", "3", "4", "5", "6", "7"})
        thread_add_timer(lib, note, name(text), 1); // equal times: one list after the other
    EXPECT_EQ(runAll(), (Names{"0", "4", "1", "5", "2", "6", "3", "7"}));

    const timeval carried = {0, 2500000}, late = {2, 400999};
    event_t *timer = thread_add_timer_timeval(lib, note, name("2.5"), &carried);
    EXPECT_EQ(thread_timer_remain_second(timer), 2);
    EXPECT_EQ(thread_timer_remain_second(nullptr), 0);
    thread_add_timer_timeval(lib, note, name("2.4"), &late);
    thread_add_timer(lib, note, name("1"), 1);
    fake_os::timeouts.clear();
    const int64_t start = fake_os::now_us;
    EXPECT_EQ(runAll(), (Names{"1", "2.4", "2.5"}));
    EXPECT_EQ(fake_os::timeouts[0], 1000);
    EXPECT_EQ(fake_os::timeouts[1], 0);    // a due timer is run after one more look at the descriptors
    EXPECT_EQ(fake_os::timeouts[2], 1400); // the rest below a millisecond is dropped, and passed in polls of 0
    EXPECT_NEAR(static_cast<double>(fake_os::now_us - start), 2.5e6, 1000);
}

TEST_F(ThreadTest, TimesOutOfRangeAreCutToTheEndOfTime)
{
    const std::tuple<timeval, int, int> cases[] = {
        {{0x7fffffff, 0}, 0x7fffffff, 0},
        {{-2000, 0}, 0x7fffffff, 0},
        {{1, -5}, 1001, 0x7fffffff},
        {{INT64_MAX, 0}, 0x7fffffff, 0},
        {{5, INT64_MAX}, 0x7fffffff, 693952},
        {{-1, 0}, 999, 0}, // not negative as a sum: in the past
        {{0x7fffffff - 1000, 0}, 0x7fffffff, 0},
    };
    for (const auto &[wait, sec, usec] : cases) {
        const event_t *timer = thread_add_timer_timeval(lib, note, name("past"), &wait);
        EXPECT_EQ(timer->u.due.sec, sec) << wait.tv_sec;
        EXPECT_EQ(timer->u.due.usec, usec) << wait.tv_usec;
    }
    // The long waits are made of the longest that poll takes.
    EXPECT_EQ(runAll().size(), std::size(cases));
    EXPECT_GT(std::count(fake_os::timeouts.begin(), fake_os::timeouts.end(), INT_MAX), 900);
    EXPECT_EQ(fake_os::now_us / 1000000, 0x7fffffff);
}

TEST_F(ThreadTest, OnlyAFailedPollEndsTheLoop)
{
    thread_add_timer(lib, note, name("timer"), 5);
    fake_os::poll_errno = EINTR;
    EXPECT_TRUE(step());
    EXPECT_EQ(fake_os::timeouts, (std::vector<int>{5000, 5000, 0}));
    thread_add_timer(lib, note, name("timer"), 5);
    fake_os::poll_errno = EBADF;
    event_t event;
    EXPECT_EQ(thread_fetch(lib, &event), nullptr);
    EXPECT_TRUE(step());
}

TEST_F(ThreadTest, QueueMessagesGoToTheirReceivers)
{
    msgQSetWakeup(queue, thread_asp_wakeup, lib);
    thread_asp_start(lib, noteMessage, queue);
    fake_os::on_poll = [&] {
        for (const uint8_t type : {11, 15, 12, 18, 21})
            fake_os::post(type);
    };
    EXPECT_EQ(runAll(), (Names{"message 11", "message 12"}));
    EXPECT_EQ(fake_os::timeouts.front(), -1); // the pipe has ended a wait without limit
    char byte;
    EXPECT_EQ(read(m->asp_pipe[0], &byte, 1), -1); // and is empty again

    // More posts than the pipe holds block nobody and leave no error.
    for (int i = 0; i < 70000; ++i)
        thread_asp_wakeup(lib);
    EXPECT_NE(m->asp_read, nullptr);
    // A message that was taken and will never run is freed with the master.
    fake_os::post(11);
    fake_os::post(11);
    event_t event;
    EXPECT_TRUE(thread_fetch(lib, &event) && thread_call(&event) == 0);
}

TEST_F(ThreadTest, AQueueWithoutItsPipeIsStillSeen)
{
    fake_os::pipe_fails = true;
    thread_asp_start(lib, noteMessage, queue);
    fake_os::post(11);
    EXPECT_EQ(runAll(), Names{"message 11"});
    thread_asp_wakeup(lib);
    log.expectErr({"ASP msgQ wakeup pipe create failed", "ASP msgQ wakeup pipe write failed(Bad file descriptor)"});
}

TEST_F(ThreadTest, TheWatchdogIsGreetedInWaitsAndInBusyTimes)
{
    fake_os::swd_handle = 3;
    fake_os::swd_seconds = 20;
    thread_asp_start(lib, noteMessage, queue);
    thread_add_timer(lib, note, name("timer"), 50);
    EXPECT_TRUE(step());
    EXPECT_EQ(fake_os::timeouts, (std::vector<int>{20000, 20000, 10000, 0}));
    EXPECT_EQ(fake_os::greetings, 4u);

    // No pass while something is ready: then it is the event after the interval that greets.
    thread_heartbeat_set(lib, 5);
    for (int i = 0; i < 6; ++i)
        thread_add_queue_low(lib, note, name("busy"), 0);
    for (int i = 0; i < 6; ++i) {
        EXPECT_TRUE(step());
        EXPECT_EQ(fake_os::greetings, i < 5 ? 4u : 5u) << i;
        fake_os::now_us += 999999 + (i == 4 ? 5 : 0);
    }
}

TEST_F(ThreadTest, CancelFindsEveryList)
{
    const Filled a;
    event_t *added[] = {
        thread_add_read(lib, note, nullptr, a.in()),   thread_add_read_high(lib, note, nullptr, a.in()),
        thread_add_write(lib, note, nullptr, a.out()), thread_add_read_pend(lib, note, nullptr, 0),
        thread_add_event(lib, note, nullptr, 0),       thread_add_event_low(lib, note, nullptr, 0),
        thread_add_queue_low(lib, note, nullptr, 0),   thread_enqueue_read_middle(lib, note, nullptr, a.in()),
        thread_add_timer(lib, note, nullptr, 1),       thread_add_timer(lib, note, nullptr, 1)};
    for (event_t *event : added)
        thread_cancel(event);
    EXPECT_EQ(runAll(), Names{});
    EXPECT_EQ(m->unuse.count, m->alloc);

    // By argument: waiting and ready ones of one class.
    char *mine = static_cast<char *>(name("mine"));
    thread_add_event(lib, note, name("first"), 0);
    thread_add_event(lib, note, mine, 0);
    EXPECT_TRUE(step()); // moves both to the high list
    thread_add_event(lib, note, mine, 0);
    thread_add_event_low(lib, note, mine, 0);
    thread_add_queue_low(lib, note, mine, 0);
    EXPECT_EQ(thread_cancel_event(lib, mine), 2);
    EXPECT_EQ(thread_cancel_event_low(lib, mine), 2);
    EXPECT_EQ(runAll(), Names{"first"});
}

TEST_F(ThreadTest, AnEngineSharesTheLoop)
{
    EXPECT_EQ(thread_giot_start(lib, &engine), 0);
    engine_wait_ms = 30;
    thread_add_timer(lib, note, name("timer"), 1);
    EXPECT_EQ(runAll(), (Names{"engine", "timer"}));
    EXPECT_EQ(fake_os::timeouts[0], 30);
    EXPECT_EQ(fake_os::last_count, 4u);
}

TEST_F(ThreadTest, TheMutexIsFreeWhilePollWaits)
{
    ASSERT_EQ(lib_init_kor_thread_lock(lib), 0);
    thread_asp_start(lib, noteMessage, queue);
    fake_os::on_poll = [&] {
        std::thread([&] {
            thread_add_event(lib, note, name("other thread"), 0);
            thread_asp_wakeup(lib);
        }).join();
    };
    EXPECT_EQ(runAll(), Names{"other thread"});
}

using ThreadDeathTest = ThreadTest;

TEST_F(ThreadDeathTest, BrokenConditionsStopTheProcess)
{
    const Pipe a;
    EXPECT_DEATH(thread_add_read(lib, note, nullptr, 0), "fd > 0");
    EXPECT_DEATH(thread_add_write(lib, note, nullptr, THREAD_FD_MAX), "fd < THREAD_FD_MAX");
    event_t *write = thread_add_write(lib, note, nullptr, a.out());
    EXPECT_DEATH((thread_cancel(write), thread_cancel(write)), "assertion");
    lib_instance_t bare = {};
    EXPECT_DEATH(thread_add_timer(&bare, note, nullptr, 1), "master != nullptr");
}

} // namespace
