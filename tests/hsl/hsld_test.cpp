// The driver emulator, through its sockets: every command's lengths and echo, bulks, faults, events, the state behind
// it and its control commands. Offsets stand here as numbers, apart from the emulator's own table.

#include "tests/hsl/hsld_fixture.h"

namespace hsld_test {

TEST_F(Hsld, EveryCommandGetsItsOwnFrame)
{
    // One of each form: with an operation, a tail of its own, a response that is longer; statistics by their device.
    struct {
        hslBuffer record;
        size_t response;
    } rows[] = {{dce(0x10050001, 1, 164), 164},
                {dce(0x17250003, 8, 76, {{72, 4, PORT}}), 12},
                {dce(0x17250003, 20, 44), 12},
                {dce(0x17250033, 0, 32, {{16, 2, 0x1006}, {26, 2, 1}, {28, 2, 1}}), 12},
                {dce(0x17250035, 0, 140, {{42, 2, 0x1006}, {84, 4, 1 << 18}}), 36},
                {dce(0x1725003B, 0, 68, {{44, 2, 0x1006}, {40, 4, 1}, {52, 4, 1 << 18}}), 12},
                {dce(0x0A050006, 0, 32, {{12, 4, 3}}), 12},
                {cos(0x01270003, 40, 28), 28},
                {cos(0x0127080C, 936, 936), 936},
                {cos(0x0127080E, 36, 148), 148},
                // Reads: policers of 33 (two words of bitmap), two ports; clears.
                {cos(0x06270000, 444, 1508, {{28, 4, 47}, {34, 2, 33}, {36, 2, 33}}), 1508},
                {cos(0x06270000, 960, 960, {{28, 4, 49}, {32, 4, 2}, {48, 4, PORT}}), 960},
                {cos(0x06270001, 144, 28, {{28, 4, 40}, {34, 2, 8}}), 28},
                {cos(0x06270001, 72, 72, {{28, 4, 47}, {34, 2, 2}}), 72},
                {cos(0x06270001, 48, 28, {{28, 4, 50}, {34, 2, 1}}), 28}};
    Peer bystander(run, "group1." + std::to_string(getpid()) + ".2");
    for (auto &row : rows) {
        auto command = static_cast<uint32_t>(hslGet(row.record, 0, 4));
        SCOPED_TRACE(hslIndexText(command) + " of " + std::to_string(row.record.size()));
        bool isDce = (command >> 16 & 0xFF) != 0x27;
        uint16_t type = row.record.size() % 8 ? 101 : 105;
        auto bytes = ask(row.record, isDce ? OTHER : CHIP, type);
        auto end = (48 + row.response + 3) / 4 * 4;
        ASSERT_EQ(bytes.size(), end + 20);
        EXPECT_EQ(getNative(bytes, 0, 4), 48 + row.response);
        EXPECT_EQ(getNative(bytes, 4, 2), type);
        EXPECT_EQ(getNative(bytes, 8, 4), seq);
        EXPECT_TRUE(shows(bytes, {{20, 4, isDce ? OTHER : CHIP}, {28, 4, 6}, {44, 4, row.response}, {48, 4, command}}));
        if (isDce) {
            EXPECT_EQ(hslGet(bytes, 52, 2), row.record.size());
            EXPECT_EQ(bytes[54], row.record[6]);
            EXPECT_EQ(bytes[55], 0);
        } else {
            EXPECT_TRUE(shows(bytes, {{56, 4, row.record.size()}, {60, 4, row.response}, {72, 4, 0}}));
        }
        EXPECT_EQ(getNative(bytes, end, 4), 20u);
        EXPECT_EQ(getNative(bytes, end + 4, 2), 4u);
        EXPECT_EQ(getNative(bytes, end + 8, 4), seq);

        // The same record cut by a byte, and with a size that disagrees, is refused.
        auto cut = row.record;
        cut.resize(cut.size() - 1);
        auto wrong = row.record;
        hslPut(wrong, isDce ? 4 : 8, isDce ? 2 : 4, wrong.size() + 4);
        for (auto &bad : {cut, wrong}) {
            auto refused = answer(bad, isDce ? OTHER : CHIP);
            ASSERT_GE(refused.size(), isDce ? 12u : 28u);
            EXPECT_NE(isDce ? refused[7] : hslGet(refused, 24, 4), 0u);
        }
    }
    EXPECT_TRUE(bystander.receive().empty());
    EXPECT_TRUE(agent->receive().empty());
}

TEST_F(Hsld, LongerAnswerMayComeInALongerRequest)
{
    // The record says 60 bytes in and 136 out, and is sent in 136.
    auto record = cos(0x06270000, 60, 136, {{28, 4, 40}, {34, 2, 1}, {36, 2, 1}});
    record.resize(136);
    EXPECT_EQ(hslGet(answer(record), 24, 4), 0u);
    record.resize(100);
    EXPECT_NE(hslGet(answer(record), 24, 4), 0u);
}

TEST_F(Hsld, UnreadableRequestsGetAnErrorFrame)
{
    auto good = cos(0x01271000, 36, 28);
    struct {
        const char *what;
        Poke poke; // of the datagram
        size_t bytes;
        uint32_t number;
    } cases[] = {{"unknown command", {48, 4, 0x01279999}, 84, 95},
                 {"unknown operation", {48, 4, 0x17250003}, 84, 95},
                 {"an event", {28, 4, 2}, 84, 22},
                 {"no record", {48, 1, 1}, 48, 22},
                 {"no driver header", {28, 1, 0}, 30, 22}};
    for (auto &test : cases) {
        SCOPED_TRACE(test.what);
        hslBuffer frame(48);
        auto length = static_cast<uint32_t>(test.bytes);
        std::memcpy(&frame[0], &length, 4);
        hslPut(frame, 28, 4, 6);
        hslPut(frame, 40, 4, 36);
        frame.insert(frame.end(), good.begin(), good.end());
        frame[8] = frame[11] = 7; // the sequence, whatever the byte order
        hslPut(frame, test.poke.offset, test.poke.width, test.poke.value);
        frame.resize(test.bytes);
        agent->send(run + "/qos/driver", frame);
        hslStep(server, 0);
        auto bytes = agent->receive();
        ASSERT_EQ(bytes.size(), 44u);
        EXPECT_EQ(getNative(bytes, 0, 4), 24u);
        EXPECT_EQ(getNative(bytes, 4, 2), 2u);
        EXPECT_EQ(std::memcmp(&bytes[8], &frame[8], 4), 0);
        EXPECT_EQ(hslGet(bytes, 20, 4), test.number);
        EXPECT_EQ(getNative(bytes, 28, 2), 4u);
    }
    EXPECT_EQ(json("stat")["errors"], std::size(cases));
    // Nothing is read behind a datagram of any length.
    for (size_t bytes = 0; bytes < 60; ++bytes)
        hslServe(server, hslBuffer(bytes, 0xFF), "");
}

TEST_F(Hsld, BulkAnswersInPlaceAndEndsAtTheFirstFailure)
{
    auto profile = cos(0x09270000, 56, 56, {{28, 4, 5 << 1}});
    auto add = cos(0x09270002, 88, 88, {{28, 4, 0x80000000}, {80, 4, 7}});
    auto associate = cos(0x09270004, 40, 40, {{28, 4, 0x80000000}, {32, 4, PORT}, {36, 4, 7}});
    auto bulk = cosBulk({profile, add, associate});
    struct {
        const char *fault;
        uint32_t batch, processed, status[3];
        bool associated;
    } cases[] = {{"", 0, 3, {0, 0, 0}, true},
                 {"fault refuse command=0x09270002 status=9", 9, 1, {0, 9, 0}, false},
                 {"fault refuse command=0x09270002 status=9 scope=record", 0, 3, {0, 9, 0}, true},
                 {"fault refuse status=4", 4, 0, {0, 0, 0}, false}};
    for (auto &test : cases) {
        SCOPED_TRACE(test.fault);
        server.model.ports.clear();
        if (*test.fault) {
            ASSERT_EQ(control(test.fault), "ok");
        }
        auto response = answer(bulk);
        ASSERT_EQ(response.size(), bulk.size());
        EXPECT_TRUE(shows(response, {{24, 4, test.batch}, {34, 2, test.processed}}));
        size_t at[] = {36, 92, 180};
        for (int i = 0; i < 3 && test.batch != 4; ++i) {
            EXPECT_TRUE(shows(response, {{at[i], 4, hslGet(bulk, at[i], 4)}, {at[i] + 24, 4, test.status[i]}}));
        }
        EXPECT_EQ(server.model.ports.count(PORT), test.associated);
    }
    // Records that do not fill the bulk, run past it, or are no commands.
    auto many = bulk, past = bulk, unknown = bulk;
    hslPut(many, 32, 2, 4);
    hslPut(past, 180 + 12, 4, 0xFFFFFFF0);
    hslPut(unknown, 92, 4, 0x01279999);
    EXPECT_EQ(hslGet(answer(many), 24, 4), 22u);
    EXPECT_EQ(hslGet(answer(past), 24, 4), 22u);
    auto response = answer(unknown);
    EXPECT_TRUE(shows(response, {{24, 4, 95}, {34, 2, 1}}));
}

TEST_F(Hsld, FaultsSpoilTheAnswer)
{
    auto record = cos(0x01271000, 36, 28, {{28, 4, PORT}});
    auto good = ask(record);
    ASSERT_EQ(good.size(), 96u);
    struct {
        const char *fault;
        size_t bytes;
        std::function<bool(const hslBuffer &)> spoilt;
    } cases[] = {
        {"refuse status=7", 96, [](auto &b) { return hslGet(b, 72, 4) == 7; }},
        {"wrong-command", 96, [](auto &b) { return hslGet(b, 48, 4) == 0x01271001; }},
        {"wrong-type", 96, [](auto &b) { return getNative(b, 4, 2) == 102; }},
        {"wrong-type type=1351", 96, [](auto &b) { return getNative(b, 4, 2) == 1351; }},
        {"wrong-sequence", 96, [&](auto &b) { return getNative(b, 8, 4) == seq - 1; }},
        {"truncate bytes=50", 50, [](auto &b) { return getNative(b, 0, 4) == 76; }},
        {"error number=11", 44, [](auto &b) { return getNative(b, 4, 2) == 2 && hslGet(b, 20, 4) == 11; }},
        {"no-end", 76, [](auto &b) { return getNative(b, 0, 4) == 76; }},
        {"garbage", 96, [](auto &b) { return getNative(b, 4, 2) != 101; }},
        {"drop", 0, [](auto &) { return true; }},
    };
    for (auto &test : cases) {
        SCOPED_TRACE(test.fault);
        // A filter lets others pass; the count ends it.
        ASSERT_EQ(control("fault " + std::string(test.fault) + " command=0x01271000 count=2"), "ok");
        EXPECT_EQ(hslGet(answer(cos(0x01270800, 32, 32)), 24, 4), 0u);
        for (int i = 0; i < 2; ++i) {
            auto bytes = ask(record);
            EXPECT_EQ(bytes.size(), test.bytes);
            EXPECT_TRUE(test.spoilt(bytes));
        }
        EXPECT_EQ(ask(record).size(), 96u);
        EXPECT_EQ(control("fault list"), "ok []");
    }
    // One byte of status must not read as success.
    EXPECT_EQ(control("fault refuse status=0x100 count=forever"), "ok");
    EXPECT_NE(answer(dce(0x0A050004, 0, 12), OTHER)[7], 0);
    EXPECT_EQ(json("fault list")[0]["left"], "forever");
    EXPECT_EQ(control("fault clear"), "ok");
    EXPECT_EQ(answer(dce(0x0A050004, 0, 12), OTHER)[7], 0);
}

TEST_F(Hsld, LateAnswersFollowTheDriversClock)
{
    auto first = cos(0x01271000, 36, 28), second = cos(0x01270800, 32, 32);
    auto command = [](const hslBuffer &bytes) { return hslGet(bytes, 48, 4); };
    // Late without a time: behind the next request's arrival, ahead of its answer.
    control("fault late");
    EXPECT_TRUE(ask(first).empty());
    control("clock step 100");
    hslStep(server, 0);
    EXPECT_TRUE(agent->receive().empty());
    EXPECT_EQ(command(ask(second)), 0x01271000u);
    EXPECT_EQ(command(agent->receive()), 0x01270800u);
    // Late with a time lets others pass; a delay holds them back.
    control("fault late ms=20000");
    EXPECT_TRUE(ask(first).empty());
    EXPECT_EQ(command(ask(second)), 0x01270800u);
    control("clock step 20");
    hslStep(server, 0);
    EXPECT_EQ(command(agent->receive()), 0x01271000u);
    control("fault delay ms=9000");
    EXPECT_TRUE(ask(first).empty());
    EXPECT_TRUE(ask(second).empty());
    control("clock step 9");
    hslStep(server, 0);
    EXPECT_EQ(command(agent->receive()), 0x01271000u);
    EXPECT_EQ(command(agent->receive()), 0x01270800u);
    // A stalled driver reads nothing, but hears its user.
    control("stall 30");
    EXPECT_TRUE(ask(first).empty());
    EXPECT_EQ(json("show")["stalled"], true);
    control("clock step 30");
    hslStep(server, 0);
    EXPECT_EQ(command(agent->receive()), 0x01271000u);
    control("stall");
    EXPECT_TRUE(ask(first).empty());
    control("clock step 1000000");
    hslStep(server, 0);
    EXPECT_TRUE(agent->receive().empty());
    control("resume");
    hslStep(server, 0);
    EXPECT_EQ(command(agent->receive()), 0x01271000u);
}

TEST_F(Hsld, EventsReachEveryListener)
{
    auto pid = std::to_string(getpid());
    Peer one(run, "group6." + pid), two(run, "group6." + pid + ".2");
    auto gone = run + "/qos/group6.2147483646"; // no process has it
    {
        std::ofstream file(gone);
    }
    EXPECT_EQ(control("event chip-up 2/0"), "ok listeners 3");
    EXPECT_NE(access(gone.c_str(), F_OK), 0);
    auto up = one.receive();
    EXPECT_EQ(up, two.receive());
    ASSERT_EQ(up.size(), 48u + 2460 + 20);
    EXPECT_EQ(getNative(up, 0, 4), 48u + 2460);
    EXPECT_EQ(getNative(up, 4, 2), 101u);
    // of the payload
    const std::tuple<size_t, uint32_t> words[] = {{8, 2},       {20, 0},       {24, 2460},     {28, 3},
                                                  {32, 2},      {36, 0},       {40, 16},       {44, 0x88800000},
                                                  {48, 64},     {28 + 28, 33}, {28 + 536, 64}, {28 + 484, 0xC0000000},
                                                  {28 + 180, 1}};
    for (const auto &[offset, value] : words)
        EXPECT_EQ(hslGet(up, 20 + offset, 4), value) << offset;
    // The ports lie on their chip, all different, with pool and group in one byte.
    EXPECT_NE(hslGet(up, 48 + 540, 4), hslGet(up, 48 + 552, 4));
    EXPECT_EQ(up[48 + 540 + 63 * 12 + 11], 0x37);

    control("event chip-down 1/1");
    EXPECT_EQ(hslGet(one.receive(), 48, 4), 4u);
    control("event ready 1/0 2/0");
    auto ready = one.receive();
    ASSERT_EQ(ready.size(), 48u + 32 + 20);
    EXPECT_EQ(getNative(ready, 4, 2), 1351u);
    EXPECT_EQ(hslGet(ready, 48 + 12, 4), 2u);
    EXPECT_EQ(hslGet(ready, 48 + 16, 4), 1u << 8 | 1u << 16);
    control("event bulk");
    auto bulk = one.receive();
    ASSERT_EQ(bulk.size(), 48u + 8 + 3 * 2444 + 20);
    EXPECT_TRUE(shows(bulk, {{48, 4, 7}, {52, 4, 3}}));
    EXPECT_EQ(hslGet(bulk, 56 + 2444, 3), 0x010109u); // slot 1, chip 1, number 9
    EXPECT_EQ(hslGet(bulk, 56 + 2444 + 4, 4), OTHER);
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
        auto bytes = slow.receive();
        for (int tries = 0; bytes.empty() && tries < 200; ++tries) {
            hslStep(server, 1);
            bytes = slow.receive();
        }
        ASSERT_EQ(getNative(bytes, 8, 4), i + 1);
    }
    EXPECT_EQ(json("stat")["errors"], 0);
}

TEST_F(Hsld, PriorityMapsAreDecoded)
{
    auto l2 = cos(0x01271002, 160, 28, {{28, 4, PORT}});
    for (size_t i = 0; i < 32; ++i) {
        l2[32 + 4 * i] = static_cast<uint8_t>(i < 8 ? 2 : 7 - i % 8);
        l2[33 + 4 * i] = static_cast<uint8_t>(i < 8 ? 3 : i % 8);
        l2[35 + 4 * i] = 0xEE; // never written by an agent
    }
    auto l3 = cos(0x01271001, 292, 28, {{28, 4, PORT}, {32, 1, 1}, {36 + 63 * 4, 1, 6}, {37 + 63 * 4, 1, 5}});
    auto mutation = cos(0x01271003, 96, 28, {{28, 4, PORT}, {32, 1, 63}, {95, 1, 1}});
    server.verbose = std::tmpfile();
    answer(cos(0x01271000, 36, 28, {{28, 4, PORT}, {32, 1, 4}, {33, 1, 5}}));
    answer(l2);
    answer(l3);
    answer(mutation);
    answer(l2);
    char line[256] = "";
    std::rewind(server.verbose);
    EXPECT_TRUE(std::fgets(line, sizeof line, server.verbose));
    std::fclose(server.verbose);
    server.verbose = nullptr;
    EXPECT_STREQ(line, "te1/1 0x18408000  default CoS and TC  tc 4, cos 5  -> ok\n");
    auto port = json("show port " + hslIndexText(PORT));
    expectHas(port, R"({"port": "te1/1", "def_cos": {"tc": 4, "cos": 5}, "l3_map": {"trust": 1}, "l2_map":
        {"default tc": 2, "default cos": 3, "tc": [7, 6, 5, 4, 3, 2, 1, 0], "cos": [0, 1, 2, 3, 4, 5, 6, 7]}})");
    EXPECT_EQ(port["l3_map"]["tc"][63], 6);
    EXPECT_EQ(port["l3_map"]["cos"][63], 5);
    EXPECT_EQ(port["dscp_map"]["dscp"][0], 63);
    EXPECT_EQ(port["dscp_map"]["dscp"][63], 1);
    EXPECT_EQ(port["told"][2]["count"], 2); // L2 map
    EXPECT_EQ(port["told"][2]["hex"], hslHexText(l2));
    EXPECT_EQ(json("show")["warnings"], hslJson::array());
    EXPECT_EQ(json("log json")[1]["fields"]["default cos"], 3);
}

TEST_F(Hsld, WhatHardwareWouldRefuseIsAWarning)
{
    auto l2 = [](const std::vector<Poke> &pokes) { return cos(0x01271002, 160, 28, pokes); };
    const std::tuple<hslBuffer, uint32_t, const char *> cases[] = {
        {cos(0x01271000, 36, 28, {{28, 4, PORT}, {33, 1, 8}}), CHIP, "cos 8 is above 7"},
        {l2({{28, 4, PORT}, {100, 1, 1}}), CHIP, "blocks disagree"},
        {l2({{28, 4, PORT + 1}}), CHIP, "is not on chip 1/0"},
        {l2({{28, 4, 0x04000000}}), CHIP, "which is no port"},
        {l2({}), 0x88C00000, "chip 3/0 was not declared"},
        {dce(0x0A050004, 0, 12), CHIP, "chip 1/0 is a tessel and has no clear QMG counters"},
        {cos(0x01270808, 84, 28), CHIP, "has no RED 0x01270808"},
        {cos(0x09270003, 36, 36, {{28, 4, 1}, {32, 4, 7}}), CHIP, "removed but never added"},
        {cos(0x09270002, 88, 88, {{80, 4, 5000}}), CHIP, "no such number"},
        {cos(0x01270806, 40, 28, {{28, 4, PORT}, {32, 4, 1}, {36, 4, 9 << 20}}), CHIP, ""},
        {cos(0x01270806, 40, 28, {{28, 4, PORT}, {32, 4, 1}, {36, 4, (9 << 20) + 1}}), CHIP, "above the chip's buffer"},
        {cos(0x01270805, 108, 28, {{28, 4, PORT}, {76 + 7 * 4, 4, 0xFFFFF000}}), CHIP, "threshold of 7 4294963200"},
        {cos(0x01270801, 48, 28, {{28, 4, PORT}, {40, 4, 5}, {44, 4, 6}}), CHIP, "de-assert 6 is above assert 5"},
        {cos(0x01270811, 84, 28, {{28, 4, PORT}, {40, 4, 9}, {44, 4, 0xFFFFFFFF}, {48, 4, 8}}), CHIP,
         "min 9 is above max 8"},
        {cos(0x01270811, 84, 28, {{28, 4, PORT}, {40, 4, 2}, {44, 4, 7}, {48, 4, 8}}), CHIP, "span is not"},
        {cos(0x01270003, 40, 28, {{28, 4, 1}, {32, 4, PORT}, {36, 4, 10001}}), CHIP, "above the port's 10000"},
        {dce(0x23050002, 37, 140, {{12 + 16 + 8, 4, 3 << 20}, {16 + 16, 2, 1}}), OTHER, "threshold of 1 3145728"},
    };
    for (const auto &[record, target, warning] : cases) {
        SCOPED_TRACE(warning);
        control("clear warnings");
        auto response = answer(record, target);
        EXPECT_EQ(hslGet(response, response.size() < 28 ? 7 : 24, response.size() < 28 ? 1 : 4), 0u);
        auto warnings = json("show")["warnings"];
        ASSERT_EQ(warnings.size(), *warning ? 1u : 0u) << warnings.dump();
        if (*warning) {
            EXPECT_NE(warnings[0]["text"].get<std::string>().find(warning), std::string::npos) << warnings.dump();
        }
    }
    for (uint32_t n = 0; n < 5; ++n) // a chip of four ports
        answer(dce(0x23050002, 36, 24, {{12, 4, 6u << 26 | 1 << 22 | n << 15 | 1}}), OTHER);
    EXPECT_NE(control("show").find("one more than the 4 ports"), std::string::npos);
}

TEST_F(Hsld, AnswersComeFromTheModel)
{
    const uint32_t mirelle2 = 0x88800000;
    auto basic = answer(cos(0x00070001, 460, 460));
    EXPECT_TRUE(shows(basic, {{28, 4, 26}, {32, 4, hslChipType("tessel")->rev}}));
    EXPECT_EQ(hslGet(answer(cos(0x00070002, 36, 36)), 32, 4), 1u);
    EXPECT_TRUE(shows(basic, {{140, 4, 1}, {184, 4, 24}}));
    auto extended = answer(cos(0x01270810, 2016, 2016), mirelle2);
    EXPECT_TRUE(shows(extended, {{28, 4, 33}, {76, 4, 8}, {92, 4, 64}}));
    EXPECT_EQ(hslGet(extended, 96, 4), 6u << 26 | 2u << 22 | 1u << 15);
    EXPECT_EQ(hslGet(answer(dce(0x10050001, 1, 164), OTHER), 12, 4), 24u);
    auto pool = answer(dce(0x23050001, 34, 20), OTHER);
    EXPECT_EQ(hslGet(pool, 12, 4), 4 * hslGet(pool, 16, 4));
    EXPECT_NE(hslGet(answer(cos(0x01270800, 32, 32)), 28, 4), 0u);
    // A chip that nobody declared becomes what its requests need.
    EXPECT_EQ(hslGet(answer(cos(0x01270810, 2016, 2016), 0x89000000), 28, 4), 29u);
    // A Tessel stays one when it is asked for what only the others have.
    answer(cos(0x01270800, 32, 32), 0x89010000);
    EXPECT_EQ(hslGet(answer(cos(0x01270810, 2016, 2016), 0x89010000), 28, 4), 26u);

    // Statistics: request records back, a bit for each result, counts, and bytes set by hand.
    auto red = cos(0x06270000, 144, 724, {{28, 4, 41}, {34, 2, 8}, {36, 2, 8}, {48, 4, PORT}, {136, 4, 5}});
    control("data command=0x06270000 offset=160 hex=0102030405060708");
    auto stats = answer(red);
    EXPECT_TRUE(shows(stats, {{38, 2, 8}, {48, 4, PORT}, {144, 4, 0xFF}}));
    EXPECT_EQ(hslGet(stats, 148 + 7 * 72 + 4, 4), 5u); // priority of the eighth
    EXPECT_EQ(hslGet(stats, 160, 8), 0x0102030405060708u);
    auto policers = answer(cos(0x06270000, 444, 1508, {{28, 4, 46}, {34, 2, 33}, {36, 2, 33}}));
    EXPECT_EQ(hslGet(policers, 444, 8), 0xFFFFFFFF00000001u);
    EXPECT_EQ(hslGet(answer(dce(0x0A050001, 0, 484), OTHER), 16, 4), 1u); // interfaces in the answer
}

TEST_F(Hsld, CongestionSetupStandsByPriority)
{
    control("chip 1/0:tessel:24:buffers=12M");
    EXPECT_EQ(hslGet(answer(cos(0x01270800, 32, 32)), 28, 4), 12u << 20);
    auto scheduler = cos(0x01270002, 144, 144, {{28, 4, PORT}, {32, 4, 6}, {108 + 28, 4, 4000}, {140, 1, 0x7F}});
    auto thresholds = cos(0x01270805, 108, 28, {{28, 4, PORT}, {44 + 12, 4, 1}, {76 + 12, 4, 1000}, {76, 4, 5}});
    for (size_t p = 0; p < 8; ++p) {
        hslPut(scheduler, 44 + 4 * p, 4, p < 4 ? 10 : 15);
        hslPut(scheduler, 76 + 4 * p, 4, 1);
    }
    answer(scheduler, 0x8BC00000);
    EXPECT_EQ(control("log 1"), "ok\nte1/1 0x18408000  scheduler  strict boundary 6, group 0*8, weight 10*4 15*4, "
                                "queue weight 1*8, bandwidth 0*7 4000, unlimited 0 1 2 3 4 5 6  -> ok");
    answer(thresholds);
    answer(cos(0x01270806, 40, 28, {{28, 4, PORT}, {32, 4, 1}, {36, 4, 700}}));
    answer(cos(0x01270803, 40, 28, {{28, 4, PORT}, {32, 8, 0x0102030405060700}}));
    answer(cos(0x01270801, 48, 28, {{28, 4, PORT}, {36, 4, 1}, {40, 4, 9}, {44, 4, 8}}));
    for (uint32_t p : {0, 3}) // each record tells one priority, and the others stay
        answer(cos(0x01270802, 52, 28, {{28, 4, PORT}, {32, 4, p}, {36, 4, 1}, {44, 4, 90 + p}}));
    for (uint32_t p : {2, 3})
        answer(cos(
            0x01270811, 84, 28,
            {{28, 4, PORT}, {34, 1, p << 2 | 2}, {35, 1, 4}, {36, 4, 127}, {40, 4, 20}, {44, 4, p}, {48, 4, 20 + p}}));
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
    EXPECT_EQ(json("show")["warnings"], hslJson::array());

    // The other family: all priorities in one record, RED's in reverse.
    answer(dce(0x23050002, 30, 52, {{12, 4, PORT + 1}, {16, 2, 0x82}, {20, 4, 15}, {44, 4, 3}}), OTHER);
    answer(dce(0x23050002, 37, 140, {{12, 4, PORT + 1}, {16 + 32, 2, 5}, {20 + 32, 4, 77}}), OTHER);
    queues = json("show port " + hslIndexText(PORT + 1))["congestion"]["priorities"];
    EXPECT_EQ(queues[7]["red"], hslJson({{"on", true}, {"profile", 15}}));
    EXPECT_EQ(queues[1]["red"], hslJson({{"on", true}, {"profile", 3}}));
    EXPECT_EQ(queues[5]["threshold"], 77);
}

TEST_F(Hsld, ControlSocketAnswersItsSender)
{
    Peer user(run, "user." + std::to_string(getpid()), "/ctl/");
    std::string command = "stat";
    user.send(run + "/ctl/hsld." + std::to_string(getpid()), command);
    hslStep(server, 0);
    auto bytes = user.receive();
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
              "ok {\"pid\":" + std::to_string(getpid()) + ",\"requests\":0,\"events\":0,\"errors\":0,\"chips\":3}");
    std::istringstream wrong(
        "what;show port;show port 7;event chip-up;log many;event chip-up 9/0;event raw abc;fault;fault delay;fault "
        "drop status=1;"
        "fault refuse count=0;fault refuse status=x;chip 1/9:tessel:4;chip 1/0:tessel:0;"
        "chip 1/0:granite:4;chip 1/0:tessel:4:buffers=;chip 1/0:tessel:4:buffers=5000M;show chip 9/0;"
        "traffic te9/9 off;traffic 0x88400000 priority=1 rate=1;traffic te1/1 priority=8 rate=1;"
        "traffic te1/1 priority=1;traffic te1/1 priority=1 rate=-1;traffic te1/1 priority=1 rate=1Q;"
        "traffic te1/1 priority=1 rate=1 kind=beam;traffic te1/1 drop reason=128 rate=1;"
        "traffic te1/1 drop rate=1;traffic te1/1 reason=1 rate=1;traffic te1/1 pause priority=8 on;"
        "traffic te1/1 pause priority=1;clock step -1;stall soon;data command=1;clear all;");
    for (std::string line; std::getline(wrong, line, ';');)
        EXPECT_EQ(control(line).substr(0, 7), "error: ") << line;
    EXPECT_EQ(control("quit"), "ok");
    EXPECT_TRUE(server.quit);
}

TEST_F(Hsld, ASecondDriverIsTurnedAway)
{
    hslServer_t second;
    EXPECT_NE(hslOpen(second).find("another driver"), std::string::npos);
    EXPECT_EQ(hslGet(answer(cos(0x01271000, 36, 28)), 24, 4), 0u);
    hslClose(server);
    EXPECT_NE(access((run + "/qos/driver").c_str(), F_OK), 0);
    EXPECT_EQ(hslOpen(second), "");
    hslClose(second);
}

} // namespace hsld_test
