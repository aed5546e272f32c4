// SPDX-License-Identifier: Apache-2.0
// The emulator's traffic model: queues, RED, flow control and policers, what every read shows of them, and what the
// clears take away.
#include "tests/hsl/hsld_fixture.h"

namespace hsld_test {

using Counts = std::vector<uint64_t>;

hslBuffer thresholdOf(size_t priority, uint32_t bytes)
{
    return cos(0x01270805, 108, 28, {{28, PORT}, {44 + 4 * priority, 1}, {76 + 4 * priority, bytes}});
}

hslBuffer redOf(uint32_t command, unsigned priority, uint32_t probability, uint32_t min, uint32_t max,
                uint32_t port = PORT)
{
    const Pokes curve = {{36, probability}, {40, min}, {44, max - min}, {48, max}};
    return poked(cos(command, 84, 28, {{28, port}, {34, priority << 2 | 2, 1}}), curve);
}

class Traffic : public OnItsClock {
protected:
    Counts drops() // frames and bytes, as a drop monitor reads them
    {
        tell(cosBulk({cos(0x0127080A, 448, 448, {{28, PORT}})}));
        return {get64(response, 36 + 432), get64(response, 36 + 440)};
    }
    Counts policed(uint32_t device, uint32_t id, uint32_t group = 0, uint32_t target = CHIP)
    {
        tell(cos(0x06270000, 60, 96, {{28, device}, {34, 1, 2}, {36, 1, 2}, {48, id}, {52, group}}), target);
        return {get64(response, 72), get64(response, 80), get64(response, 88)};
    }
    Counts red(unsigned priority) // frames and bytes, green and yellow
    {
        auto record = cos(0x06270000, 144, 724, {{28, 41}, {34, 8, 2}, {36, 8, 2}});
        for (size_t p = 0; p < 8; ++p)
            record = poked(record, {{48 + 12 * p, PORT}, {52 + 12 * p, p}});
        auto result = answer(record);
        result.erase(result.begin(), result.begin() + 148 + 72 * priority);
        return {get64(result, 8), get64(result, 40), get64(result, 16), get64(result, 48)};
    }
    uint64_t reason(size_t number, uint32_t port = PORT) // frames; from 128 on the totals
    {
        auto record = cos(0x06270000, 56, 1148, {{28, 42}, {34, 1, 2}, {36, 1, 2}, {48, port}});
        return get64(answer(record), 68 + 8 * number);
    }
    uint64_t counter(uint32_t kind, size_t offset) // of the port, from the count of ports on
    {
        auto record = cos(0x06270000, 504, 504, {{28, 49}, {32, 1}, {40, kind}, {48, PORT}});
        return get64(answer(record), 32 + offset);
    }
    void clearCounters() { answer(cos(0x06270001, 44, 44, {{28, 49}, {32, 1}, {40, PORT}})); }
    void clearRed(uint32_t port, uint32_t priority, uint32_t all = 0)
    {
        answer(cos(0x06270001, 60, 28, {{28, 41}, {34, 1, 2}, {48, port}, {52, priority}, {56, all}}));
    }
    void clearPolicer(uint32_t device, uint32_t id, uint32_t group = 0, uint32_t target = CHIP)
    {
        const Pokes named = {{28, device}, {34, 1, 2}, {48, id}, {52, group}, {56, 65535}}; // and all flags
        answer(cos(0x06270001, 60, 60, named), target);
    }
    // A policer 7 on the way in with these rates, for the port.
    void police(uint32_t port, uint64_t cir, uint64_t eir = 0)
    {
        answer(cosBulk({cos(0x09270002, 88, 88, {{28, 0x80000000}, {40, cir, 8}, {56, eir, 8}, {80, 7}}),
                        cos(0x09270004, 40, 40, {{28, 0x80000000}, {32, port}, {36, 7}})}));
    }
};

TEST_F(Traffic, QueuesFillToTheirThresholdAndDrop)
{
    answer(thresholdOf(3, 1000000));
    // 2 of 12 Gbit/s are too many: 4 ms to fill the queue, then 250 MB a second.
    offer("te1/1 priority=3 rate=12G", 3);
    EXPECT_EQ(hslCount(queue(3).level.now), 750000u);
    EXPECT_EQ(drops(), (Counts{0, 0}));
    pass(1001);
    EXPECT_EQ(drops(), (Counts{250000, 250000000}));
    EXPECT_EQ(counter(2, 0x18 + 24), 1255000u);
    EXPECT_EQ(counter(2, 0x58 + 24), 1255000000u / 8);
    EXPECT_EQ(counter(2, 0x128), 1256000u);
    EXPECT_EQ(counter(0, 0x188), 250000u);
    // Cleared, a lower threshold takes nothing until the queue has drained to it, and then all is as before.
    clearCounters();
    answer(thresholdOf(3, 500000));
    for (int i = 0; i < 100; ++i) // many short strides are one long one
        pass(10);
    EXPECT_EQ(drops()[1], 250500000u);
    offer("te1/1 off", uint64_t{40} * 86400 * 1000);
    EXPECT_EQ(queue(3).level.now, 0);
    EXPECT_EQ(drops()[1], 250500000u);
    EXPECT_FALSE(server.model.traffic_runs);
    answer(cos(0x06270001, 40, 40, {{28, 49}, {36, 0x40000000}}));
    EXPECT_EQ(drops()[0], 0u);
}

TEST_F(Traffic, RedThinsOutUntilTheQueueStandsStill)
{
    police(PORT, 750000000, 750000000);
    offer("te1/1 priority=3 rate=12G"); // half of it green, half yellow; 250 MB a second are too many
    struct {
        uint32_t threshold, probability, level;
        uint64_t red;                            // frames a second of one colour
    } cases[] = {{1000000, 255, 166667, 125000}, // 250 MB of 1.5 GB are a sixth of the ramp
                 {1000000, 51, 433333, 125000},  // five sixths of it
                 {1000000, 13, 500000, 125000},  // even its end drops too few, and nothing gets past it
                 {300000, 51, 300000, 75000}};   // half of it drops 150 MB, the threshold the others
    for (auto &test : cases) {
        SCOPED_TRACE(test.level);
        answer(thresholdOf(3, test.threshold));
        answer(redOf(0x01270811, 3, test.probability, 100000, 500000));
        pass(1000);
        clearCounters();
        clearRed(PORT, 3);
        EXPECT_EQ(red(3), (Counts{0, 0, 0, 0}));
        pass(1000);
        EXPECT_EQ(hslCount(queue(3).level.now), test.level);
        auto counted = red(3);
        for (size_t colour : {0, 2}) {
            EXPECT_EQ(counted[colour], test.red);
            EXPECT_EQ(counted[colour + 1], 1000 * test.red);
        }
        EXPECT_EQ(drops()[0], 250000 - 2 * test.red);
        EXPECT_EQ(red(4)[0], 0u);
    }
    // Another queue that uses the profile brings a curve for both.
    answer(redOf(0x01270811, 0, 255, 1000, 2000, PORT + 0x8000));
    pass(1000);
    EXPECT_EQ(hslCount(queue(3).level.bound), 2000u);
    // A clear of another priority or port takes nothing away, one of everything does.
    clearRed(PORT, 4);
    clearRed(PORT + 0x8000, 3);
    EXPECT_NE(red(3)[0], 0u);
    clearRed(0x8BC00000, 3, 1);
    EXPECT_EQ(red(3)[0], 0u);
    for (auto [port, priority] : {std::pair{PORT, 3u}, {PORT + 0x8000, 0u}}) // off
        answer(cos(0x01270811, 84, 28, {{28, port}, {34, priority << 2, 1}}));
    pass(1000);
    EXPECT_EQ(red(3)[0], 0u);
    EXPECT_FALSE(json("show chip 1/0").contains("red_profiles"));
}

TEST_F(Traffic, PauseGoesBothWays)
{
    auto pfc = [](uint32_t p) {
        return cos(0x01270802, 52, 28, {{28, PORT}, {32, p}, {36, 1}, {40, 1}, {44, 100000}, {48, 50000}});
    };
    answer(pfc(3));
    offer("te1/1 priority=3 rate=12G");
    offer("te1/1 priority=4 rate=12G", 2000);
    EXPECT_EQ(queue(3).dropped, 0);
    EXPECT_EQ(hslCount(queue(3).level.now), 100000u);
    EXPECT_EQ(hslCount(queue(3).held + queue(3).enqueued), 3000000000u);
    EXPECT_GT(queue(4).dropped, 1e9);
    // 7292 turns a second between the two levels, two frames each, and 348 a second while the sender stands still.
    EXPECT_NEAR(static_cast<double>(counter(1, 0x60 + 24)), 2 * (14583.3 + 347.7), 10);
    EXPECT_EQ(counter(1, 0x58), counter(1, 0x60 + 24));
    EXPECT_EQ(counter(1, 0xA0), 0u);
    // The peer stops 3, and 4 in vain.
    offer("te1/1 pause priority=3 on");
    offer("te1/1 pause priority=4 on");
    auto three = queue(3).forwarded, four = queue(4).forwarded;
    pass(1000);
    EXPECT_EQ(queue(3).forwarded, three);
    EXPECT_NEAR(queue(4).forwarded - four, 1.25e9, 1);
    EXPECT_NEAR(static_cast<double>(counter(1, 0xA0)), 2 * 597, 2);
    EXPECT_NEAR(static_cast<double>(reason(2)), 596, 1);
    EXPECT_EQ(hslCount(queue(3).paused * 1000), 1000u);
    offer("te1/1 pause priority=3 off", 1000);
    EXPECT_NEAR(queue(3).forwarded - three, 0.625e9, 1);
}

TEST_F(Traffic, EveryDropHasItsReason)
{
    police(PORT + 0x8000, 1000000);
    answer(thresholdOf(3, 1000000));
    offer("te1/1 priority=3 rate=12G");
    offer("te1/1 drop reason=14 rate=8M");
    offer("te1/1 drop reason=127 rate=16M");
    offer("te1/2 priority=3 rate=16M", 1004);
    const std::pair<size_t, uint64_t> cases[] = {{25, 250000},  {14, 1004}, {127, 2008}, {33, 0},
                                                 {128, 250000}, {129, 0},   {132, 3012}, {134, 253012}};
    for (const auto &[number, frames] : cases)
        EXPECT_EQ(reason(number), frames) << number;
    EXPECT_EQ(reason(33, PORT + 0x8000), 1004u);
    answer(cos(0x06270001, 56, 28, {{28, 42}, {34, 1, 2}, {48, PORT}}));
    EXPECT_EQ(reason(14) + reason(25) + reason(134), 0u);
    EXPECT_EQ(drops()[0], 250000u); // another device's
    EXPECT_EQ(reason(33, PORT + 0x8000), 1004u);
    answer(cos(0x06270001, 56, 28, {{28, 42}, {34, 1, 2}, {48, 0x8BC00000}, {52, 1}}));
    EXPECT_EQ(reason(33, PORT + 0x8000), 0u);
}

TEST_F(Traffic, StateReadsShowDepthsAndHighWater)
{
    answer(cos(0x01270806, 40, 28, {{28, PORT}, {32, 1}, {36, 1000000}}));
    answer(thresholdOf(5, 200000));
    answer(cos(0x01270802, 52, 28, {{28, PORT}, {32, 3}, {40, 1}, {44, 80000}, {48, 70000}}));
    offer("te1/1 priority=5 rate=12G", 1000);
    auto check = [&](const std::vector<std::tuple<uint32_t, uint32_t, Poke>> &reads) {
        for (auto &[command, size, expected] : reads)
            expectAnswer(cos(command, size, size, {{28, PORT}, {32, 0x80, 1}}), {expected});
    };
    const uint64_t tail = 249800000;
    check({{0x01270008, 112, {36 + 5 * 8, 1250200000, 8}},
           {0x01270008, 112, {111, 1 << 5, 1}},
           {0x0127000A, 88, {40, 1 << 20 | 200}},
           {0x0127000A, 88, {56 + 5 * 2, 200, 2}},
           {0x0127080A, 328, {56 + 5 * 4, 200000}},
           {0x0127080A, 328, {216 + 3 * 4, 80000}},
           {0x0127080A, 328, {312 + 5, 100, 1}},
           {0x01270007, 160, {140, 9 << 20}},
           {0x01270009, 176, {168, 1}},
           {0x01270007, 44, {34, 1 << 3 | 1 << 2 | 1, 1}},
           {0x01270809, 308, {108 + 5 * 8, tail, 8}},
           {0x0127080B, 952, {772 + 5 * 8, tail / 1000, 8}},
           {0x0127080A, 448, {432, tail / 1000, 8}},
           {0x0127080C, 936, {104 + 5 * 64 + 5 * 8, tail, 8}}});
    for (auto [selector, frames] : {std::pair{5, tail / 1000}, {3, uint64_t{0}}, {8, tail / 1000}})
        expectAnswer(cos(0x0127080E, 36, 148, {{28, PORT}, {32, selector & 15u, 1}}), {{68, frames, 8}});
    // Drained, the marks stay until they are cleared, each by its own device.
    offer("te1/1 off", 1000);
    check({{0x0127000A, 88, {40, 200}},
           {0x0127000A, 88, {56 + 5 * 2, 0, 2}},
           {0x0127000A, 88, {72 + 5 * 2, 200, 2}},
           {0x01270007, 160, {136, 200000}}});
    clearCounters();
    check({{0x0127000A, 88, {40, 0}}, {0x0127000A, 88, {72 + 5 * 2, 0, 2}}, {0x01270007, 160, {136, 200000}}});
    answer(cos(0x06270001, 48, 28, {{28, 50}, {34, 1, 2}}));
    check({{0x01270007, 160, {136, 0}}});
}

TEST_F(Traffic, SchedulerAndShaperShareThePort)
{
    auto scheduler = cos(0x01270002, 144, 144, {{28, PORT}, {32, 6}, {108 + 28, 4000}, {140, 0x7F, 1}});
    for (size_t p = 0; p < 8; ++p)
        hslPut(scheduler, 44 + 4 * p, 4, p == 1 ? 3 : 1);
    answer(scheduler, 0x8BC00000);
    for (auto p : {"0", "1", "7"})
        offer(std::string("te1/1 rate=10G priority=") + p);
    offer("te1/1 priority=2 rate=400M");         // less than its share, the rest goes to 0 and 1
    const std::pair<uint32_t, Counts> cases[] = {// Mbit/s, kB in a second
                                                 {0, {175000, 525000, 50000, 0, 0, 0, 0, 500000}},
                                                 {8000, {112500, 337500, 50000, 0, 0, 0, 0, 500000}},
                                                 {2000, {0, 0, 0, 0, 0, 0, 0, 250000}}};
    for (const auto &[shaper, forwarded] : cases) {
        answer(cos(0x01270003, 40, 28, {{28, 1}, {32, PORT}, {36, shaper}}));
        for (unsigned p = 0; p < 8; ++p)
            queue(p).forwarded = 0;
        pass(1000);
        for (unsigned p = 0; p < 8; ++p)
            EXPECT_NEAR(queue(p).forwarded / 1000, forwarded[p], 0.01) << shaper << " priority " << p;
    }
}

TEST_F(Traffic, PolicersCountWhatTheyPassAndDrop)
{
    auto add = [](uint32_t direction, uint32_t id, uint32_t group = 0) {
        return cos(0x09270002, 88, 88,
                   {{28, direction}, {32, 500000, 8}, {40, 1000000, 8}, {56, 2000000, 8}, {76, group << 28}, {80, id}});
    };
    const uint32_t in = 0x80000000, mirelle2 = 0x88800000, last = 6u << 26 | 2u << 22 | 64u << 15;
    answer(cosBulk({add(in, 7), cos(0x09270004, 40, 40, {{28, in}, {32, PORT}, {36, 7}})}));
    answer(add(in, 8));
    // 5 MB a second: the bucket lasts 125 ms, then 1 conforms, 2 exceed and 2 are too many.
    offer("te1/1 priority=2 rate=40M kind=broadcast", 1125);
    EXPECT_EQ(policed(46, 7), (Counts{1625000, 2000000, 2000000}));
    EXPECT_EQ(policed(46, 8), (Counts{0, 0, 0}));
    EXPECT_EQ(policed(47, 7), (Counts{0, 0, 0}));
    EXPECT_EQ(hslCount(queue(2).enqueued), 3625000u);
    EXPECT_EQ(json("show chip 1/0")["policers"][0]["violate_frames"], 2000);
    // What a clear does not name stays.
    clearPolicer(46, 8);
    EXPECT_EQ(policed(46, 7)[2], 2000000u);
    clearPolicer(46, 7);
    EXPECT_EQ(policed(46, 7), (Counts{0, 0, 0}));
    // The bucket fills while nothing comes. A flow may name its policer; without one nothing is policed.
    offer("te1/1 off", 10000);
    answer(cos(0x09270005, 36, 36, {{28, in}, {32, PORT}}));
    offer("te1/1 priority=2 rate=40M");
    offer("te1/1 priority=2 rate=40M kind=multicast policer=7", 125);
    EXPECT_EQ(policed(46, 7), (Counts{625000, 0, 0}));
    EXPECT_FALSE(json("traffic list")[0].contains("policer"));
    expectHas(json("traffic list")[1], R"({"port": "te1/1", "ifindex": "0x18408000", "priority": 2,
        "kind": "multicast", "rate": 40000000, "policer": 7})");
    // Behind the queue, and of the port's own group.
    for (uint32_t group : {0, 7})
        answer(add(0, 9, group), mirelle2);
    answer(cos(0x09270004, 40, 40, {{32, last}, {36, 9}}), mirelle2);
    offer("te2/64 priority=1 rate=40M", 1125);
    EXPECT_EQ(policed(47, 9, 7, mirelle2), (Counts{1625000, 2000000, 2000000}));
    EXPECT_EQ(policed(47, 9, 0, mirelle2), (Counts{0, 0, 0}));
    for (uint32_t group : {0, 7}) { // a clear names one group
        EXPECT_EQ(policed(47, 9, 7, mirelle2)[0], 1625000u);
        clearPolicer(47, 9, group, mirelle2);
    }
    EXPECT_EQ(policed(47, 9, 7, mirelle2)[0], 0u);
    EXPECT_EQ(hslCount(queue(1, last).forwarded), 3625000u);
    EXPECT_EQ(answer(cos(0x09270003, 36, 36, {{28, 1}, {32, 7}})).size(), 36u); // removed in use
    pass(1000);
    EXPECT_EQ(policed(46, 7), (Counts{0, 0, 0}));
    expectNoWarnings();
}

TEST_F(Traffic, MirelleCountsInItsOwnRecords)
{
    const uint32_t chip = 0x88800000, one = 6u << 26 | 2u << 22 | 1u << 15, two = one + (1u << 15);
    // The chip's queue depth is a hard limit below the share of each port; RED lies below that.
    answer(redOf(0x01270808, 0, 255, 100000, 100000, chip), chip);
    answer(redOf(0x01270808, 5, 255, 20000, 80000, two), chip);
    offer("te2/1 priority=3 rate=12G");
    offer("te2/2 priority=5 rate=12G", 1000);
    const uint64_t tail = 249900; // 250 MB, less what fits the queue
    const uint64_t red = 249970;  // 250 MB, less the half of the ramp that the queue stands at
    const size_t results = 48 + 2 * 12 + 4;
    expectAnswer(cos(0x06270000, 960, 960, {{28, 49}, {32, 2}, {48, one}, {504, two}}),
                 {{424, tail, 8}, {424 + 456, 0, 8}}, chip);
    expectAnswer(cos(0x06270000, 72, 220, {{28, 40}, {34, 2, 2}, {36, 2, 2}, {48, one}, {60, two}}),
                 {{results + 8, 0, 8}, {results + 72 + 8, red, 8}}, chip);
    EXPECT_EQ(get64(response, results + 72 + 40) / 1000, red);
    expectAnswer(cos(0x0127080A, 328, 328, {{28, one}, {32, 0x80, 1}}), {{36, 100000}, {52 + 3 * 4, 100000}}, chip);
    expectAnswer(cos(0x0127080C, 328, 328, {{28, two}, {32, 0x80, 1}}),
                 {{36 + 5 * 4, 30000}, {68 + 5 * 4, 80000}, {68 + 3 * 4, 100000}, {0x84, red, 8}}, chip);
    expectAnswer(cos(0x06270000, 592, 592, {{28, 58}}),
                 {{104, 499870, 8}, {312 + 3 * 8, tail, 8}, {528 + 5 * 8, 1250000000, 8}}, chip);
    expectAnswer(cos(0x06270000, 504, 504, {{28, 49}, {32, 1}, {40, 2}, {48, one}}), {{32 + 0x58 + 24, 1250000000, 8}},
                 chip); // bytes are bytes here
    // Without a queue depth only the share of the port is left.
    answer(cos(0x01270808, 84, 28, {{28, chip}, {34, 1, 1}}), chip);
    pass(1000);
    EXPECT_EQ(hslCount(queue(3, one).level.now), (48u << 20) / 64);
}

TEST_F(Hsld, TrafficFollowsTheDriversClock)
{
    control("traffic te1/1 priority=0 rate=12G");
    control("clock step 100");
    tell(cos(0x0127080A, 448, 448, {{28, PORT}}));
    EXPECT_NEAR(static_cast<double>(get64(response, 440)), 25e9, 5e9);
    // What 64 bits do not hold stays at their end.
    EXPECT_EQ(control("traffic te1/1 priority=1 rate=999999G"), "ok");
    control("clock step 1e9");
    EXPECT_NE(control("show port te1/1").find("\"held_bytes\":0,"), std::string::npos);
    EXPECT_NE(control("show port te1/1").find("\"dropped_bytes\":18446744073709551615"), std::string::npos);
}

} // namespace hsld_test
