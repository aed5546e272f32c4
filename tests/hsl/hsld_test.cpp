// SPDX-License-Identifier: Apache-2.0
// The driver emulator, through its sockets: every command's lengths and echo, bulks, faults, events, the state behind
// it and its control commands. Offsets stand here as numbers, apart from the emulator's own table.
#include "tests/hsl/hsld_fixture.h"

namespace hsld_test {

TEST_F(Hsld, EveryCommandGetsItsOwnFrame)
{
    // One of each form: as long as the request or not, an operation, a length that the record gives.
    const std::pair<hslBuffer, uint32_t> rows[] = {
        {dce(0x10050001, 1, 164), 164},
        {dce(0x17250003, 20, 44), 12},
        {dce(0x17250033, 0, 32, {{16, 0x1006, 2}, {26, 1, 2}, {28, 1, 2}}), 12},
        {dce(0x17250035, 0, 140, {{42, 0x1006, 2}, {84, 1 << 18}}), 36},
        {dce(0x1725003B, 0, 68, {{44, 0x1006, 2}, {40, 1}, {52, 1 << 18}}), 12},
        {dce(0x0A050006, 0, 32, {{12, 3}}), 12},
        {cos(0x01270003, 40, 28), 28},
        {cos(0x0127080E, 36, 148), 148},
        // 33 policers have two words of bitmap.
        {cos(0x06270000, 444, 1508, {{28, 47}, {34, 33, 2}, {36, 33, 2}}), 1508},
        {cos(0x06270001, 144, 28, {{28, 40}, {34, 8, 2}}), 28},
        {cos(0x06270001, 72, 72, {{28, 47}, {34, 2, 2}}), 72}};
    Peer bystander(run, "group1." + std::to_string(getpid()) + ".2");
    for (const auto &[record, length] : rows) {
        auto command = get32(record, 0), target = isCos(record) ? CHIP : OTHER, end = (48 + length + 3) / 4 * 4;
        SCOPED_TRACE(hslIndexText(command) + " of " + std::to_string(record.size()));
        uint16_t type = record.size() % 8 ? 101 : 105;
        auto bytes = ask(record, target, type);
        ASSERT_EQ(bytes.size(), end + 20);
        expectFrame(bytes, 0, 48 + length, type, seq);
        expectFrame(bytes, end, 20, 4, seq);
        EXPECT_TRUE(shows(bytes, {{20, target}, {28, 6}, {44, length}, {48, command}}));
        EXPECT_TRUE(isCos(record) ? shows(bytes, {{56, record.size()}, {60, length}, {72, 0}})
                                  : shows(bytes, {{52, record.size(), 2}, {54, record[6], 1}, {55, 0, 1}}));
        // The same record cut by a byte, and with a size that disagrees, is refused.
        auto size = isCos(record) ? Poke{8, record.size() + 4} : Poke{4, record.size() + 4, 2};
        EXPECT_NE(tell({record.begin(), record.end() - 1}, target), 0u);
        EXPECT_NE(tell(poked(record, {size}), target), 0u);
    }
    EXPECT_TRUE(bystander.receive().empty());
    EXPECT_TRUE(agent->receive().empty());
    // A record that says 60 bytes in and 136 out may be sent in 136.
    auto longer = cos(0x06270000, 60, 136, {{28, 40}, {34, 1, 2}, {36, 1, 2}});
    longer.resize(136);
    EXPECT_EQ(tell(longer), 0u);
    longer.resize(100);
    EXPECT_NE(tell(longer), 0u);
}

TEST_F(Hsld, UnreadableRequestsGetAnErrorFrame)
{
    const std::tuple<Poke, uint32_t, uint32_t> cases[] = {{{48, 0x01279999}, 84, 95}, // unknown command
                                                          {{48, 0x17250003}, 84, 95}, // and operation
                                                          {{28, 2}, 84, 22},          // an event
                                                          {{48, 1, 1}, 48, 22},       // no record
                                                          {{28, 0, 1}, 30, 22}};      // no driver header
    for (const auto &[poke, length, number] : cases) {
        auto frame = poked(framed(cos(0x01271000, 36, 28)), {poke});
        putNative(frame, 0, 4, length);
        frame.resize(length);
        auto bytes = exchange(frame);
        ASSERT_EQ(bytes.size(), 44u);
        expectFrame(bytes, 0, 24, 2, seq);
        expectFrame(bytes, 24, 20, 4, seq);
        EXPECT_EQ(get32(bytes, 20), number) << poke.offset;
    }
    EXPECT_EQ(json("stat")["errors"], std::size(cases));
    // Nothing is read behind a datagram of any length.
    for (size_t bytes = 0; bytes < 60; ++bytes)
        hslServe(server, hslBuffer(bytes, 0xFF), "");
}

TEST_F(Hsld, BulkAnswersInPlaceAndEndsAtTheFirstFailure)
{
    auto profile = cos(0x09270000, 56, 56, {{28, 5 << 1}});
    auto add = cos(0x09270002, 88, 88, {{28, 0x80000000}, {80, 7}});
    auto associate = cos(0x09270004, 40, 40, {{28, 0x80000000}, {32, PORT}, {36, 7}});
    auto bulk = cosBulk({profile, add, associate});
    struct {
        const char *fault;
        uint32_t batch, processed, status[3];
        bool associated;
    } cases[] = {{"fault clear", 0, 3, {0, 0, 0}, true},
                 {"fault refuse command=0x09270002 status=9", 9, 1, {0, 9, 0}, false},
                 {"fault refuse command=0x09270002 status=9 scope=record", 0, 3, {0, 9, 0}, true},
                 {"fault refuse status=4", 4, 0, {0, 0, 0}, false}};
    for (auto &test : cases) {
        SCOPED_TRACE(test.fault);
        server.model.ports.clear();
        EXPECT_EQ(control(test.fault), "ok");
        EXPECT_EQ(tell(bulk), test.batch);
        ASSERT_EQ(response.size(), bulk.size());
        EXPECT_EQ(hslGet(response, 34, 2), test.processed);
        size_t at[] = {36, 92, 180};
        for (int i = 0; i < 3 && test.batch != 4; ++i)
            EXPECT_TRUE(shows(response, {{at[i], get32(bulk, at[i])}, {at[i] + 24, test.status[i]}}));
        EXPECT_EQ(server.model.ports.count(PORT), test.associated);
    }
    // Records that do not fill the bulk, run past it, or are no commands.
    EXPECT_EQ(tell(poked(bulk, {{32, 4, 2}})), 22u);
    EXPECT_EQ(tell(poked(bulk, {{180 + 12, 0xFFFFFFF0}})), 22u);
    EXPECT_EQ(tell(poked(bulk, {{92, 0x01279999}})), 95u);
    EXPECT_EQ(hslGet(response, 34, 2), 1u);
}

TEST_F(Hsld, FaultsSpoilTheAnswer)
{
    auto record = cos(0x01271000, 36, 28, {{28, PORT}});
    const std::tuple<std::string, size_t, std::function<bool(const hslBuffer &)>> cases[] = {
        {"refuse status=7", 96, [](auto &b) { return get32(b, 72) == 7; }},
        {"wrong-command", 96, [](auto &b) { return get32(b, 48) == 0x01271001; }},
        {"wrong-type", 96, [](auto &b) { return getNative(b, 4, 2) == 102; }},
        {"wrong-type type=1351", 96, [](auto &b) { return getNative(b, 4, 2) == 1351; }},
        {"wrong-sequence", 96, [&](auto &b) { return getNative(b, 8, 4) == seq - 1; }},
        {"truncate bytes=50", 50, [](auto &b) { return getNative(b, 0, 4) == 76; }},
        {"error number=11", 44, [](auto &b) { return getNative(b, 4, 2) == 2 && get32(b, 20) == 11; }},
        {"no-end", 76, [](auto &b) { return getNative(b, 0, 4) == 76; }},
        {"garbage", 96, [](auto &b) { return getNative(b, 4, 2) != 101; }},
        {"drop", 0, [](auto &) { return true; }},
    };
    for (const auto &[fault, length, spoilt] : cases) {
        SCOPED_TRACE(fault);
        // A filter lets others pass; the count ends it.
        ASSERT_EQ(control("fault " + fault + " command=0x01271000 count=2"), "ok");
        EXPECT_EQ(tell(cos(0x01270800, 32, 32)), 0u);
        for (int i = 0; i < 2; ++i) {
            auto bytes = ask(record);
            EXPECT_EQ(bytes.size(), length);
            EXPECT_TRUE(spoilt(bytes));
        }
        EXPECT_EQ(ask(record).size(), 96u);
        EXPECT_EQ(control("fault list"), "ok []");
    }
    // One byte of status must not read as success.
    EXPECT_EQ(control("fault refuse status=0x100 count=forever"), "ok");
    EXPECT_NE(tell(dce(0x0A050004, 0, 12), OTHER), 0u);
    EXPECT_EQ(json("fault list")[0]["left"], "forever");
    EXPECT_EQ(control("fault clear"), "ok");
    EXPECT_EQ(tell(dce(0x0A050004, 0, 12), OTHER), 0u);
}

TEST_F(Hsld, LateAnswersFollowTheDriversClock)
{
    // What the user says, which requests come (1, 2) or answers are waited for (w), and whose answers come (- for
    // none).
    const std::tuple<std::string, std::string, std::string> steps[] = {
        // Late without a time: behind the next request's arrival, ahead of its answer.
        {"fault late", "1", "-"},
        {"clock step 100", "w2w", "-12"},
        // Late with a time lets others pass; a delay holds them back.
        {"fault late ms=20000", "12", "-2"},
        {"clock step 20", "w", "1"},
        {"fault delay ms=9000", "12", "--"},
        {"clock step 9", "ww", "12"},
        // A stalled driver reads nothing, but hears its user.
        {"stall 30", "1", "-"},
        {"clock step 30", "w", "1"},
        {"stall", "1", "-"},
        {"clock step 1000000", "w", "-"},
        {"resume", "w", "1"},
    };
    for (const auto &[said, asked, expected] : steps) {
        EXPECT_EQ(control(said), "ok");
        EXPECT_EQ(json("show")["stalled"], said.starts_with("stall") || said == "clock step 1000000");
        hslStep(server, 0);
        std::string got;
        for (const char what : asked) {
            auto bytes =
                what == 'w' ? agent->receive() : ask(what == '1' ? cos(0x01271000, 36, 28) : cos(0x01270800, 32, 32));
            auto command = get32(bytes, 48);
            got += bytes.empty() ? '-' : command == 0x01271000 ? '1' : command == 0x01270800 ? '2' : '?';
        }
        EXPECT_EQ(got, expected) << said;
    }
}

TEST_F(Hsld, EventsReachEveryListener)
{
    auto pid = std::to_string(getpid());
    Peer one(run, "group6." + pid), two(run, "group6." + pid + ".2");
    auto gone = run + "/qos/group6.2147483646"; // no process has it
    std::ofstream(gone).flush();
    EXPECT_EQ(control("event chip-up 2/0"), "ok listeners 3");
    EXPECT_NE(access(gone.c_str(), F_OK), 0);
    auto up = one.receive();
    EXPECT_EQ(up, two.receive());
    ASSERT_EQ(up.size(), 48u + 2460 + 20);
    expectFrame(up, 0, 48 + 2460, 101, 1);
    EXPECT_TRUE(shows(up, {{28, 2}, {40, 0}, {44, 2460}, {48, 3}, {52, 2}, {56, 0}, {60, 16}, {64, 0x88800000}}));
    EXPECT_TRUE(shows(up, {{68, 64}, {76, 33}, {48 + 180, 1}, {48 + 484, 0xC0000000}, {48 + 536, 64}}));
    // The ports lie on their chip, all different, with pool and group in one byte.
    EXPECT_NE(get32(up, 48 + 540), get32(up, 48 + 552));
    EXPECT_EQ(up[48 + 540 + 63 * 12 + 11], 0x37);

    control("event chip-down 1/1");
    EXPECT_EQ(get32(one.receive(), 48), 4u);
    control("event ready 1/0 2/0");
    auto ready = one.receive();
    ASSERT_EQ(ready.size(), 48u + 32 + 20);
    expectFrame(ready, 0, 48 + 32, 1351, 3);
    EXPECT_TRUE(shows(ready, {{48 + 12, 2}, {48 + 16, 1u << 8 | 1u << 16}}));
    control("event bulk");
    auto bulk = one.receive();
    ASSERT_EQ(bulk.size(), 48u + 8 + 3 * 2444 + 20);
    // The second chip is in slot 1, as its chip 1 and as number 9.
    EXPECT_TRUE(shows(bulk, {{48, 7}, {52, 3}, {56 + 2444, 0x010109, 3}, {56 + 2444 + 4, OTHER}}));
    control("event raw 0a0B");
    EXPECT_EQ(one.receive(), (hslBuffer{10, 11}));
}

TEST_F(Hsld, AFullListenerGetsItsEventsLaterAndInOrder)
{
    Peer slow(run, "group6." + std::to_string(getpid())), quick(run, "group6." + std::to_string(getpid()) + ".2");
    const unsigned events = 600; // more than a queue of this machine holds
    for (unsigned i = 0; i < events; ++i) {
        EXPECT_EQ(control("event ready 1/0"), "ok listeners 2");
        EXPECT_EQ(getNative(quick.receive(), 8, 4), i + 1);
    }
    for (unsigned i = 0; i < events; ++i) {
        hslBuffer bytes;
        for (int tries = 0; (bytes = slow.receive()).empty() && tries < 200; ++tries)
            hslStep(server, 1);
        ASSERT_EQ(getNative(bytes, 8, 4), i + 1);
    }
    EXPECT_EQ(json("stat")["errors"], 0);
}

TEST_F(Hsld, PriorityMapsAreDecoded)
{
    auto l2 = cos(0x01271002, 160, 28, {{28, PORT}});
    for (size_t i = 0; i < 32; ++i) // the last byte of each is never written by an agent
        hslPut(l2, 32 + 4 * i, 4, i < 8 ? 0x020300EE : 0x070000EE - (i % 8 << 24) + (i % 8 << 16));
    auto l3 = cos(0x01271001, 292, 28, {{28, PORT}, {32, 1, 1}, {36 + 63 * 4, 6, 1}, {37 + 63 * 4, 5, 1}});
    auto mutation = cos(0x01271003, 96, 28, {{28, PORT}, {32, 63, 1}, {95, 1, 1}});
    server.verbose = std::tmpfile();
    answer(cos(0x01271000, 36, 28, {{28, PORT}, {32, 4, 1}, {33, 5, 1}}));
    for (auto &record : {l2, l3, mutation, l2})
        answer(record);
    char line[256] = "";
    std::rewind(server.verbose);
    EXPECT_TRUE(std::fgets(line, sizeof line, server.verbose));
    std::fclose(server.verbose);
    server.verbose = nullptr;
    EXPECT_STREQ(line, "te1/1 0x18408000  default CoS and TC  tc 4, cos 5  -> ok\n");
    auto port = json("show port " + hslIndexText(PORT));
    expectHas(port, R"({"port": "te1/1", "def_cos": {"tc": 4, "cos": 5}, "l3_map": {"trust": 1}, "l2_map":
        {"default tc": 2, "default cos": 3, "tc": [7, 6, 5, 4, 3, 2, 1, 0], "cos": [0, 1, 2, 3, 4, 5, 6, 7]}})");
    const std::pair<const char *, hslJson> members[] = {{"/l3_map/tc/63", 6},     {"/l3_map/cos/63", 5},
                                                        {"/dscp_map/dscp/0", 63}, {"/dscp_map/dscp/63", 1},
                                                        {"/told/2/count", 2},     {"/told/2/hex", hslHexText(l2)}};
    for (const auto &[at, value] : members)
        EXPECT_EQ(port[hslJson::json_pointer(at)], value) << at;
    expectNoWarnings();
    EXPECT_EQ(json("log json")[1]["fields"]["default cos"], 3);
}

TEST_F(Hsld, WhatHardwareWouldRefuseIsAWarning)
{
    auto l2 = [](const Pokes &pokes) { return cos(0x01271002, 160, 28, pokes); };
    const std::tuple<hslBuffer, uint32_t, const char *> cases[] = {
        {cos(0x01271000, 36, 28, {{28, PORT}, {33, 8, 1}}), CHIP, "cos 8 is above 7"},
        {l2({{28, PORT}, {100, 1, 1}}), CHIP, "blocks disagree"},
        {l2({{28, PORT + 1}}), CHIP, "is not on chip 1/0"},
        {l2({{28, 0x04000000}}), CHIP, "which is no port"},
        {l2({}), 0x88C00000, "chip 3/0 was not declared"},
        {dce(0x0A050004, 0, 12), CHIP, "chip 1/0 is a tessel and has no clear QMG counters"},
        {cos(0x01270808, 84, 28), CHIP, "has no RED 0x01270808"},
        {cos(0x09270003, 36, 36, {{28, 1}, {32, 7}}), CHIP, "removed but never added"},
        {cos(0x09270002, 88, 88, {{80, 5000}}), CHIP, "no such number"},
        {cos(0x01270806, 40, 28, {{28, PORT}, {32, 1}, {36, 9 << 20}}), CHIP, ""},
        {cos(0x01270806, 40, 28, {{28, PORT}, {32, 1}, {36, (9 << 20) + 1}}), CHIP, "above the chip's buffer"},
        {cos(0x01270805, 108, 28, {{28, PORT}, {76 + 7 * 4, 0xFFFFF000}}), CHIP, "threshold of 7 4294963200"},
        {cos(0x01270801, 48, 28, {{28, PORT}, {40, 5}, {44, 6}}), CHIP, "de-assert 6 is above assert 5"},
        {cos(0x01270811, 84, 28, {{28, PORT}, {40, 9}, {44, 0xFFFFFFFF}, {48, 8}}), CHIP, "min 9 is above max 8"},
        {cos(0x01270811, 84, 28, {{28, PORT}, {40, 2}, {44, 7}, {48, 8}}), CHIP, "span is not"},
        {cos(0x01270003, 40, 28, {{28, 1}, {32, PORT}, {36, 10001}}), CHIP, "above the port's 10000"},
        {dce(0x23050002, 37, 140, {{12 + 16 + 8, 3 << 20}, {16 + 16, 1, 2}}), OTHER, "threshold of 1 3145728"},
    };
    for (const auto &[record, target, warning] : cases) {
        SCOPED_TRACE(warning);
        control("clear warnings");
        EXPECT_EQ(tell(record, target), 0u);
        auto warnings = json("show")["warnings"];
        EXPECT_EQ(warnings.size(), *warning ? 1u : 0u);
        EXPECT_NE(warnings.dump().find(warning), std::string::npos) << warnings.dump();
    }
    for (uint32_t n = 0; n < 5; ++n) // a chip of four ports
        answer(dce(0x23050002, 36, 24, {{12, 6u << 26 | 1 << 22 | n << 15 | 1}}), OTHER);
    EXPECT_NE(control("show").find("one more than the 4 ports"), std::string::npos);
}

TEST_F(Hsld, AnswersComeFromTheModel)
{
    const uint32_t mirelle2 = 0x88800000;
    expectAnswer(cos(0x00070002, 36, 36), {{32, 1}});
    expectAnswer(cos(0x00070001, 460, 460), {{28, 26}, {32, hslChipType("tessel")->rev}, {140, 1}, {184, 24}});
    expectAnswer(cos(0x01270810, 2016, 2016), {{28, 33}, {76, 8}, {92, 64}, {96, 6u << 26 | 2u << 22 | 1u << 15}},
                 mirelle2);
    expectAnswer(dce(0x10050001, 1, 164), {{12, 24}}, OTHER);
    tell(dce(0x23050001, 34, 20), OTHER);
    EXPECT_EQ(get32(response, 12), 4 * get32(response, 16));
    EXPECT_NE(get32(answer(cos(0x01270800, 32, 32)), 28), 0u);
    // A chip that nobody declared becomes what its requests need.
    expectAnswer(cos(0x01270810, 2016, 2016), {{28, 29}}, 0x89000000);
    // A Tessel stays one when it is asked for what only the others have.
    answer(cos(0x01270800, 32, 32), 0x89010000);
    expectAnswer(cos(0x01270810, 2016, 2016), {{28, 26}}, 0x89010000);

    // Statistics: request records back, a bit for each result, counts, and bytes set by hand.
    auto red = cos(0x06270000, 144, 724, {{28, 41}, {34, 8, 2}, {36, 8, 2}, {48, PORT}, {136, 5}});
    control("data command=0x06270000 offset=160 hex=0102030405060708");
    expectAnswer(red, {{38, 8, 2}, {48, PORT}, {144, 0xFF}, {160, 0x0102030405060708, 8}, {148 + 7 * 72 + 4, 5}});
    expectAnswer(cos(0x06270000, 444, 1508, {{28, 46}, {34, 33, 2}, {36, 33, 2}}), {{444, 0xFFFFFFFF00000001, 8}});
    expectAnswer(dce(0x0A050001, 0, 484), {{16, 1}}, OTHER); // interfaces in the answer
}

TEST_F(Hsld, CongestionSetupStandsByPriority)
{
    control("chip 1/0:tessel:24:buffers=12M");
    EXPECT_EQ(get32(answer(cos(0x01270800, 32, 32)), 28), 12u << 20);
    auto scheduler = cos(0x01270002, 144, 144, {{28, PORT}, {32, 6}, {108 + 28, 4000}, {140, 0x7F, 1}});
    auto thresholds = cos(0x01270805, 108, 28, {{28, PORT}, {44 + 12, 1}, {76 + 12, 1000}, {76, 5}});
    for (size_t p = 0; p < 8; ++p)
        scheduler = poked(scheduler, {{44 + 4 * p, p < 4 ? 10u : 15u}, {76 + 4 * p, 1}});
    answer(scheduler, 0x8BC00000);
    EXPECT_EQ(control("log 1"), "ok\nte1/1 0x18408000  scheduler  strict boundary 6, group 0*8, weight 10*4 15*4, "
                                "queue weight 1*8, bandwidth 0*7 4000, unlimited 0 1 2 3 4 5 6  -> ok");
    answer(thresholds);
    answer(cos(0x01270806, 40, 28, {{28, PORT}, {32, 1}, {36, 700}}));
    answer(cos(0x01270803, 40, 28, {{28, PORT}, {32, 0x0102030405060700, 8}}));
    answer(cos(0x01270801, 48, 28, {{28, PORT}, {36, 1}, {40, 9}, {44, 8}}));
    for (uint32_t p : {0, 3}) // each record tells one priority, and the others stay
        answer(cos(0x01270802, 52, 28, {{28, PORT}, {32, p}, {36, 1}, {44, 90 + p}}));
    for (uint32_t p : {2, 3})
        answer(cos(0x01270811, 84, 28,
                   {{28, PORT}, {34, p << 2 | 2, 1}, {35, 4, 1}, {36, 127}, {40, 20}, {44, p}, {48, 20 + p}}));
    auto setup = json("show port te1/1")["congestion"];
    expectHas(setup,
              R"({"budget": 700, "w2q": [1, 2, 3, 4, 5, 6, 7, 0], "scheduler": {"unlimited": [0, 1, 2, 3, 4, 5, 6]},
        "pause": {"rx": false, "tx": true, "assert": 9, "de-assert": 8}})");
    auto queues = setup["priorities"];
    expectHas(queues[0], R"({"threshold": null, "pfc": {"assert": 90}})"); // not marked valid
    expectHas(queues[2], R"({"red": {"max": 22}})");
    expectHas(queues[3], R"({"threshold": 1000, "pfc": {"assert": 93},
        "red": {"on": true, "profile": 4, "min": 20, "max": 23, "probability": 127}})");
    expectHas(queues[6], R"({"strict": false, "bandwidth": null})");
    expectHas(queues[7], R"({"strict": true, "bandwidth": 4000})");
    expectNoWarnings();

    // The other family: all priorities in one record, RED's in reverse.
    answer(dce(0x23050002, 30, 52, {{12, PORT + 1}, {16, 0x82, 2}, {20, 15}, {44, 3}}), OTHER);
    answer(dce(0x23050002, 37, 140, {{12, PORT + 1}, {16 + 32, 5, 2}, {20 + 32, 77}}), OTHER);
    queues = json("show port " + hslIndexText(PORT + 1))["congestion"]["priorities"];
    EXPECT_EQ(queues[7]["red"], hslJson({{"on", true}, {"profile", 15}}));
    EXPECT_EQ(queues[1]["red"], hslJson({{"on", true}, {"profile", 3}}));
    EXPECT_EQ(queues[5]["threshold"], 77);
}

TEST_F(Hsld, ControlSocketAnswersItsSender)
{
    Peer user(run, "user." + std::to_string(getpid()), "/ctl/");
    user.send(run + "/ctl/hsld." + std::to_string(getpid()), std::string("stat"));
    hslStep(server, 0);
    auto bytes = user.receive();
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
              "ok {\"pid\":" + std::to_string(getpid()) + ",\"requests\":0,\"events\":0,\"errors\":0,\"chips\":3}");
    expectErrors("what;show port;show port 7;event chip-up;log many;event chip-up 9/0;event raw abc;fault;fault delay;"
                 "fault drop status=1;fault refuse count=0;fault refuse status=x;chip 1/9:tessel:4;chip 1/0:tessel:0;"
                 "chip 1/0:granite:4;chip 1/0:tessel:4:buffers=;chip 1/0:tessel:4:buffers=5000M;show chip 9/0;"
                 "traffic te9/9 off;traffic 0x88400000 priority=1 rate=1;traffic te1/1 priority=8 rate=1;"
                 "traffic te1/1 priority=1;traffic te1/1 priority=1 rate=-1;traffic te1/1 priority=1 rate=1Q;"
                 "traffic te1/1 priority=1 rate=1 kind=beam;traffic te1/1 drop reason=128 rate=1;"
                 "traffic te1/1 drop rate=1;traffic te1/1 reason=1 rate=1;traffic te1/1 pause priority=8 on;"
                 "traffic te1/1 pause priority=1;clock step -1;stall soon;data command=1;clear all;");
    EXPECT_EQ(control("quit"), "ok");
    EXPECT_TRUE(server.quit);
}

TEST_F(Hsld, ASecondDriverIsTurnedAway)
{
    hslServer_t second;
    EXPECT_NE(hslOpen(second).find("another driver"), std::string::npos);
    EXPECT_EQ(tell(cos(0x01271000, 36, 28)), 0u);
    hslClose(server);
    EXPECT_NE(access((run + "/qos/driver").c_str(), F_OK), 0);
    EXPECT_EQ(hslOpen(second), "");
    hslClose(second);
}

} // namespace hsld_test
