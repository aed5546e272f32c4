// SPDX-License-Identifier: Apache-2.0
// Statistics: what of a driver's response reaches which byte of a reply, the requests that ask for it, what a failure
// leaves alone, and the order of clears.

#include "agent/dispatch.h"
#include "agent/messages/catalogue.h"
#include "agent/statistics.h"
#include "platform/common/cos_statistics.h"
#include "platform/qa_ioctl.h"
#include "tests/support/inside.h"

namespace {

constexpr uint32_t SECOND_CHIP = 0x88410000; // slot 1, chip 1
constexpr uint32_t CLEAR = 0x06270001;

// The binary replies: what the requests and the replies come to.
const std::pair<uint8_t, uint32_t> MEMBERS[] = {
    {49, 0x3e2a1462}, {50, 0xcdb40e4c}, {51, 0xac0b2c78}, {52, 0x3ea52dc7}, {53, 0x2970a6fc}, {54, 0x75ca07ff},
    {55, 0x64cbeccb}, {56, 0x3ce64242}, {57, 0x1f54e43f}, {58, 0x4316cfda}, {59, 0xe1009ef6}, {60, 0xf3a53eac},
    {61, 0x50bd0daf}, {62, 0x86b5938c}, {63, 0xa797c14c}, {64, 0xa0539493},
};

// A body of noise that asks for PORT.
Bytes request(size_t length)
{
    Bytes body = noise(length, 9);
    put(body, {{0, PORT}, {4, 55}});
    body[8] = 0xb7; // its high bits do not reach a request
    return body;
}

// A Tessel with one port.
struct Statistics : testing::Test {
    Statistics()
    {
        inside.driver.always(chipReply(std::make_shared<ChipState>()));
        add(CHIP, PORT);
    }
    void add(uint32_t chip, uint32_t port)
    {
        inside.add(chip, 1, {port});
        inside.expectErr("NULL Sch Cfg handler for chip"); // no multicast scheduler on a Tessel
    }
    std::vector<Bytes> records(uint32_t target = CHIP) { return inside.records(target); }
    // The devices of the requests since the last call, all of them clears.
    std::vector<uint32_t> cleared()
    {
        const std::vector<Bytes> sent = records(0);
        EXPECT_EQ(wordsAt(sent, 0), std::vector<uint32_t>(sent.size(), CLEAR));
        return wordsAt(sent, 28);
    }
    static Bytes clearBody(uint32_t ifindex, uint32_t all, uint32_t chip = 0)
    {
        return bodyOf(QOS_CLEAR_STATS_MSG, Field{"ifindex", ifindex}, Field{"clearAll", all}, Field{"chip", chip});
    }
    Inside inside;
};

using Devices = std::vector<uint32_t>;

} // namespace

TEST_F(Statistics, EveryMemberMovesEveryValueToItsPlace)
{
    for (const auto &[code, sum] : MEMBERS)
        EXPECT_EQ(inside.traffic(code, request(qosMsgInfo(code)->min_len)), sum) << int{code};
}

TEST_F(Statistics, RedCountersOfOneClassAndOfAll)
{
    Bytes body = noise(836, 7) + Bytes(6 * 88, 0x5a); // what stands behind it in the batch is out of the reply's reach
    put(body, {{0, CHIP}, {4, 55}, {28, PORT}});
    for (const auto &[selected, sum] : {std::pair{0U, 0x3941dd2eU}, {1U, 0xe2685a3cU}}) {
        put32(body, 32, selected);
        EXPECT_EQ(inside.traffic(35, body), sum) << selected;
    }
    inside.driver.always(Driver::status(9));
    Bytes refused = body;
    put32(refused, 4, 22);
    EXPECT_EQ(answer(35, body, 22), refused);
    inside.expectErr({"ASIC Driver failed", "Failed to get red stats for egress port ifIndex  18408000, rc: 22",
                      "Failed to retrieve redIntf Stats for if: 18408000 on chip_if: 88400000, rc: 22"});
}

TEST_F(Statistics, UnservedRequests)
{
    EXPECT_EQ(tell(QOS_IFADD_MSG, ifAddBody(CHANNEL, "c")), 0U);
    inside.driver.requests();
    std::vector<uint8_t> codes = {25, 29, 30, 65, 69};
    for (const auto &[code, sum] : MEMBERS)
        codes.push_back(code);
    for (const uint8_t code : codes) {
        Bytes body = request(qosMsgInfo(code)->min_len), expected = body;
        put32(expected, 4, 25);
        for (const uint32_t ifindex : {PORT + 0x8000, CHANNEL}) {
            put32(body, 0, ifindex);
            put32(expected, 0, ifindex);
            EXPECT_EQ(answer(code, body, 25), expected) << int{code};
            const qaIoctl_t backEnd = qaIoctlFn[QOS_CHIP_TESSEL][code];
            EXPECT_TRUE(!backEnd || backEnd(body.data()) == 25);
        }
    }
    for (const uint8_t code : {uint8_t{25}, uint8_t{69}}) // a Tessel has neither
        EXPECT_EQ(get32(answer(code, request(182), 25), 4), 25U);
    EXPECT_TRUE(inside.driver.requests().empty());
    inside.expectErr({"Unable to find interface for ifindex 18410000 in db", "Failed to find chip for interface c",
                      "Invalid if add received", "NULL RCV QUE STATS handler for chip 88400000"});
}

// The same on Tessel and Mirelle, but for units, and for pause: with it a Mirelle gives one sum.
TEST_F(Statistics, TextCounters)
{
    // Of flow control without and with pause, and of queues.
    const std::tuple<uint32_t, uint32_t, uint32_t, uint32_t> types[] = {{1, 0x1d806ea7, 0x1d806ea7, 0x893e6cdc},
                                                                        {2, 0x1d806ea7, 0x68a2ad2d, 0x80fb4091},
                                                                        {3, 0x1d806ea7, 0x68a2ad2d, 0x80fb4091}};
    for (const auto &[type, flow, paused, queue] : types) {
        qosLookupChip(8)->chip_type = type;
        EXPECT_EQ(inside.traffic(29, request(539)), flow) << type;
        EXPECT_EQ(inside.traffic(30, request(1261)), queue) << type;
        qosLookupIfEntry(PORT)->ccb.ccbFlags = 1;
        EXPECT_EQ(inside.traffic(29, request(539)), paused) << type;
        qosLookupIfEntry(PORT)->ccb.ccbFlags = 0;
    }
    // The counters are taken all the same.
    EXPECT_EQ(inside.log.count("not matching expected count (1)"), 3U * 3 * 4);
    inside.expectErr("not matching expected count (1)");
}

TEST_F(Statistics, DropReasons)
{
    constexpr uint32_t REASONS[] = {0, 27, 98, 127};
    Bytes response = noise(1148, 4);
    put(response, 68, Bytes(128 * 8));
    for (const uint32_t reason : REASONS) // the high word alone must count too
        put64(response, 68 + 8 * reason, uint64_t{reason + 1} << 32);
    const std::tuple<uint32_t, uint32_t, std::vector<const char *>> families[] = {
        {1, 0x2e399300, {"Lookup indicates drop", "Reserved", "Unknown", "Unknown"}},
        {2, 0x5d98e144, {"reserved", "TIMED_OUT", "L2C_EXM_DA_FID_MEMERR", "L2C_PORT_SECURITY_ERR"}},
        {3, 0xedd99b1c, {"reserved", "TIMED_OUT", "L2C_MEMERR", "reserved"}},
    };
    for (const auto &[type, all, texts] : families) {
        qosLookupChip(8)->chip_type = type;
        Bytes expected = request(7280);
        put(expected, {{4, 0}, {48, 4}});
        for (size_t i = 0; i < 4; ++i) {
            put(expected, 56 + 56 * i, text(texts[i], 45));
            put(expected, 56 + 56 * i + 48, cut(response, 68 + 8 * REASONS[i], 8));
        }
        put(expected, 7224, cut(response, 1092, 56));
        inside.driver.always(with(response));
        EXPECT_EQ(answer(65, request(7280)), expected) << type;
        EXPECT_EQ(inside.traffic(65, request(7280)), all) << "each of the 128 reasons";
    }
}

TEST_F(Statistics, TmcInfo)
{
    Bytes body = noise(20, 3);
    put(body, {{0, 55}, {8, 8}}); // the flat number counts, whatever chip_ifindex says
    EXPECT_EQ(inside.traffic(48, body), 0x68f49d75U);
    inside.driver.always(Driver::status(1));
    Bytes refused = body;
    put32(refused, 0, 22);
    EXPECT_EQ(answer(48, body, 22), refused);
    // Neither an unknown chip nor one of another type gets a status.
    put32(body, 8, 9);
    EXPECT_EQ(answer(48, body, 25), body);
    put32(body, 8, 8);
    qosLookupChip(8)->chip_type = 2;
    EXPECT_EQ(answer(48, body, 1), body);
    Bytes asic = noise(528, 1);
    put32(asic, 0, SECOND_CHIP);
    EXPECT_EQ(answer(77, asic, 24), asic);
    inside.expectErr({"ASIC Driver failed", "Failed to get tmc info, rc: 22",
                      "Failed to retrieve TMCInfo for chip 8: error = 22 ", "Failed to find chip 9",
                      "Invalid chip type for getTmcInfo", "chip is not found"});
}

TEST_F(Statistics, ThresholdsOfTheReceiveQueue)
{
    qosIf_t *port = qosLookupIfEntry(PORT);
    // The type, and the budget before and after; 0: the sum of the thresholds and what was there. 0x80000000 is
    // negative.
    const std::tuple<uint32_t, uint32_t, uint32_t> cases[] = {
        {0, 0x900000, 0x800000}, {0, 0x80000000, 0x80000000}, {2, 100000, 0}, {3, 0x7fffff, 0x800000}};
    for (const auto &[type, before, after] : cases) {
        port->chip->chip_type = type;
        Bytes body = noise(182, 2);
        put32(body, 12, before);
        qaRcvQueSetThresholds(port, bodyIn<qosRcvQueueStatsMsg_t>(body));
        uint32_t sum = before;
        for (unsigned tc = 0; tc < 8; ++tc)
            sum += get32(body, 52 + 4 * tc);
        EXPECT_EQ(get32(body, 12), after ? after : sum) << type << " " << std::hex << before;
    }
}

TEST_F(Statistics, ClearOfEverythingGoesChipByChip)
{
    add(SECOND_CHIP, PORT + 0x10000);
    Bytes policer = policerAddBody(PORT, 5);
    EXPECT_EQ(tell(31, policer), 0U);
    inside.driver.requests();
    Bytes body = clearBody(ALL, 1, 77);
    EXPECT_EQ(told(41, body), 0U);
    const std::vector<Bytes> requests = inside.driver.requests();
    Devices targets(10, CHIP);
    targets.resize(19, SECOND_CHIP);
    ASSERT_EQ(wordsAt(requests, 20), targets);
    EXPECT_EQ(wordsAt(requests, 48), Devices(19, CLEAR));
    EXPECT_EQ(wordsAt(requests, 48 + 28), (Devices{46, 49, 41, 42, 50, 51, 52, 53, 54, 55, // policers go first
                                                   49, 41, 42, 50, 51, 52, 53, 54, 55}));
    EXPECT_EQ(recordOf(requests[1]), cosRecord(CLEAR, 40, 40, {{28, 49}, {36, 0x40000000}}));
    EXPECT_EQ(recordOf(requests[3]), cosRecord(CLEAR, 56, 28, {{28, 42}, {32, 1}, {48, ALL}, {52, 1}}));
    EXPECT_EQ(recordOf(requests[4]).size(), 48U);
    EXPECT_EQ(get32(requests[4], 48 + 32), 1U);

    // RED alone walks the same way, without policers and debug counters.
    body = clearBody(PORT, 1);
    EXPECT_EQ(tell(70, body), 0U);
    EXPECT_EQ(cleared(), (Devices{49, 41, 42, 49, 41, 42}));
    EXPECT_EQ(tell(32, policerDelBody(PORT, 5)), 0U);
    inside.driver.requests();

    // A failure is overwritten by the next chip's success.
    const Driver::Reply refused = Driver::status(1), fine = Driver::status(0);
    inside.driver.script({refused, fine, refused}); // port counters, then the second debug device
    body = clearBody(ALL, 1);
    EXPECT_EQ(told(41, body), 0U);
    EXPECT_EQ(cleared(), (Devices{49, 50, 51, 49, 41, 42, 50, 51, 52, 53, 54, 55}));

    qosLookupChip(9)->chip_type = 7; // a type that no row serves: 25, and the walk ends there
    body = clearBody(ALL, 1);
    EXPECT_EQ(told(41, body), 25U);
    EXPECT_EQ(cleared(), (Devices{49, 41, 42, 50, 51, 52, 53, 54, 55}));
    inside.expectErr(
        {"ASIC Driver failed", "failed to clear swm counters for chip 88400000, rc: 22",
         "Failed to clear stats for chip 88400000, rc: 22", "Failed to clear dbg counters for chip: 88400000, dev: 51",
         "Failed to clear dbg stats for chip 88400000, rc: 22", "NULL IOCTL handler for clear stats message"});
}

TEST_F(Statistics, ClearOfOneInterface)
{
    answer(73, bodyOf(QOS_DROP_MONITOR_CFG_MSG, Field{"ifindex", PORT}, Field{"cmd", 1}));
    auto *watched = entriesOf<qaDropMonitorInfo_t>(qosLookupChip(8)->drop_monitor_list).at(0);

    Bytes body = clearBody(PORT, 0, 8);
    EXPECT_EQ(told(41, body), 0U);
    const std::vector<Bytes> sent = records();
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_EQ(sent[0], cosRecord(CLEAR, 44, 44, {{28, 49}, {32, 1}, {40, PORT}}));
    EXPECT_EQ(get32(sent[1], 28), 41U);
    EXPECT_TRUE(holds(sent[2], {{48, PORT}, {52, 0}}));
    // What the monitor remembers goes even where the driver refuses.
    watched->tdStats.td_drop = 5;
    inside.driver.script({Driver::status(1)});
    body = clearBody(PORT, 0);
    EXPECT_EQ(told(41, body), 22U);
    EXPECT_EQ(cleared(), Devices{49});
    EXPECT_EQ(watched->tdStats.td_drop, 0U);

    // A chip that the manager names does not count, and all counters of no chip are not cleared.
    body = clearBody(PORT, 1, 8);
    EXPECT_EQ(told(41, body), 25U);
    Bytes debug = clearBody(ALL, 1, 8);
    EXPECT_EQ(qaIoctlFn[QOS_CHIP_TESSEL][QOS_CLEAR_DBG_STATS](debug.data()), 25U);
    EXPECT_EQ(cosClearDropRsnStats(__func__, bodyIn<qosClearStatsMsg_t>(debug)), 25U);
    body = clearBody(PORT + 0x8000, 0);
    EXPECT_EQ(told(41, body), 25U);
    EXPECT_TRUE(records().empty());
    inside.expectErr({"ASIC Driver failed", "failed to clear swm counters for chip 88400000, rc: 22",
                      "Failed to clear stats for if: p", "Unable to find interface with ifindex 18410000"});
}

TEST(StatisticsWithoutChips, StatusComesBackAsSent)
{
    Bare inside;
    const Bytes nothing = bodyOf(QOS_CLEAR_STATS_MSG, Field{"ifindex", ALL});
    EXPECT_EQ(answer(41, nothing), nothing);
    EXPECT_EQ(answer(70, nothing), nothing);
}
