// SPDX-License-Identifier: Apache-2.0
// Both Mirelle types: policer groups and rate steps, RED profiles as they are mapped and scaled, budgets out of the
// port table, the statistics that Tessel does not share, and what a failure leaves.

#include "agent/model/thresholds.h"
#include "platform/qa_ioctl.h"
#include "tests/support/inside.h"

namespace {

constexpr uint32_t READ = 0x06270000, CLEAR = 0x06270001;
constexpr uint32_t UNKNOWN = 0x18600000;
constexpr int32_t FLAT = 8; // of CHIP

// Ports 1 to 3 in groups 0, 2 and 2 with 1000, 2000 and 3000 buffers, on one chip with four groups.
struct Mirelle : testing::TestWithParam<uint32_t> {
    Mirelle()
    {
        inside.driver.always(chipReply(std::make_shared<ChipState>()));
        Bytes up = chipUpBody(CHIP, 1, 0, GetParam(), 3);
        put16(up, 64, 4);
        for (uint32_t n = 1; n <= 3; ++n) {
            put(up, {{79 + 12 * (n - 1), portNumber(n)}, {83 + 12 * (n - 1), 1000 * n}});
            put16(up, 89 + 12 * (n - 1), n == 1 ? 0 : 2);
        }
        put32(up, 1999, 0x1234);
        answer(1, up);
        inside.expectErr("NULL Sch Cfg handler for chip"); // no multicast scheduler
        for (uint32_t n = 1; n <= 3; ++n)
            answer(2, ifAddBody(portNumber(n), "p"));
        inside.driver.requests();
        egrQueueDepth = 0;
    }
    std::vector<Bytes> records() { return inside.records(CHIP); }
    qosIf_t *port(uint32_t n) { return qosLookupIfEntry(portNumber(n)); }
    static uint32_t backEnd(uint8_t code, Bytes &body) { return qaIoctlFn[GetParam()][code](body.data()); }
    void refuse(std::initializer_list<const char *> lines)
    {
        inside.driver.script({Driver::status(3)});
        inside.expectErr("ASIC Driver failed");
        inside.expectErr(lines);
    }
    Inside inside;
};

using List = std::vector<Bytes>;
using Words = std::vector<uint32_t>;

Bytes redBody(uint32_t n, uint32_t cos, uint32_t profile, uint32_t on)
{
    return bodyOf(QOS_RED_PROFILE_MSG, Field{"ifindex", portNumber(n)}, Field{"chip_ifindex", CHIP}, Field{"cos", cos},
                  Field{"profileId", profile}, Field{"minThreshold", 30}, Field{"maxThreshold", 90},
                  Field{"dropProbability", 50}, Field{"set", on});
}

Bytes redRecord(uint32_t ifindex, uint8_t flags, uint8_t profile, std::array<uint32_t, 4> level)
{
    Bytes bytes = cosRecord(0x01270808, 84, 28, {{28, ifindex}});
    bytes[34] = flags;
    bytes[35] = profile;
    for (size_t at = 36; at < 84; at += 16)
        put(bytes, {{at, level[0]}, {at + 4, level[1]}, {at + 8, level[2]}, {at + 12, level[3]}});
    return bytes;
}

INSTANTIATE_TEST_SUITE_P(Types, Mirelle, testing::Values(2U, 3U));

} // namespace

TEST_P(Mirelle, PolicersHaveGroups)
{
    answer(31, policerAddBody(portNumber(3), 7));
    const List found = records();
    ASSERT_EQ(found.size(), 1U);
    EXPECT_TRUE(holds(found[0], {{36, 0x09270002}, {36 + 76, 0x20000000}, {36 + 80, 7}}));
    answer(32, policerDelBody(portNumber(3), 0x1234567a));
    EXPECT_EQ(get32(records().at(0), 36 + 32), 0x2234567aU);

    answer(31, policerAddBody(ALL, 7)); // once a group
    EXPECT_EQ(wordsAt(records(), 36 + 76), (Words{0, 1U << 28, 2U << 28, 3U << 28}));
}

TEST_P(Mirelle, PolicerCountersNameTheGroupAndClearsGoToAllOfThem)
{
    Bytes body(14 + 136);
    put(body, {{0, CHIP}, {14, portNumber(2)}, {18, 9}});
    put16(body, 12, 1);
    answer(40, body);
    EXPECT_TRUE(holds(records().at(0), {{48, 9}, {52, 2}, {56, 65535}}));

    Bytes clear(1617);
    put(clear, {{4, CHIP}, {8, 1}, {12, 3}, {17, ALL}, {21, 5}, {25, portNumber(3)}, {29, 6}, {33, ALL}, {37, 7}});
    answer(44, clear);
    const uint32_t keys[][2] = {{5, 0}, {5, 1}, {5, 2}, {5, 3}, {6, 2}, {7, 0}, {7, 1}, {7, 2}, {7, 3}};
    Bytes expected = cosRecord(CLEAR, 48 + 12 * 9, 48 + 12 * 9, {{28, 47}, {32, 9}});
    for (size_t i = 0; i < 9; ++i)
        put(expected, {{48 + 12 * i, keys[i][0]}, {52 + 12 * i, keys[i][1]}, {56 + 12 * i, 65535}});
    EXPECT_EQ(records(), List{expected});

    // 200 policers in four groups each take three requests; a last one of no known group, and none is sent.
    for (uint32_t i = 0; i < 200; ++i)
        put(clear, {{17 + 8 * i, ALL}, {21 + 8 * i, i}});
    put32(clear, 12, 200);
    answer(44, clear);
    EXPECT_EQ(wordsAt(records(), 32), (Words{333, 333, 134}));
    put32(clear, 17 + 8 * 199, UNKNOWN);
    EXPECT_EQ(get32(answer(44, clear, 1), 0), 1U);
    EXPECT_TRUE(records().empty());
    inside.expectErr({"Failed to find interface 0x18600000 for ifindex", "Failed to get policer group id",
                      "Failed to process policer stats clear req on chip"});
}

TEST_P(Mirelle, RedProfilesAreMappedAndScaledToTheDepth)
{
    const uint32_t first = 3 * (FLAT % 3);
    const auto mapped = [](unsigned i) { return static_cast<uint8_t>(first + i); };
    answer(34, redBody(1, 5, 300, 1));
    EXPECT_EQ(records(), List{redRecord(portNumber(1), 5 << 2 | 3, mapped(0), {127, 0, 0, 0})}) << "no depth yet";
    egrQueueDepth = 100000000; // times 60 or 90 it wraps in 32 bits
    const std::array<uint32_t, 4> level = {127, 3000000000U / 100, 1705032704U / 100, 410065408U / 100};
    EXPECT_EQ(get32(answer(34, redBody(2, 5, 300, 1)), 183), 0U);
    answer(34, redBody(2, 6, 301, 1));
    answer(34, redBody(2, 7, 302, 1));
    answer(34, redBody(2, 7, 302, 1)); // applied again: the number is 0 and no user is added
    EXPECT_EQ(records(), (List{redRecord(portNumber(2), 5 << 2 | 3, mapped(0), level),
                               redRecord(portNumber(2), 6 << 2 | 3, mapped(1), level),
                               redRecord(portNumber(2), 7 << 2 | 3, mapped(2), level),
                               redRecord(portNumber(2), 7 << 2 | 3, 0, level)}));
    const auto &entries = qosLookupChip(FLAT)->chipRedCfg;
    EXPECT_EQ(entries[0].activeRedCount, 2);
    EXPECT_EQ(entries[2].activeRedCount, 1);
    answer(34, redBody(2, 5, 300, 0)); // another user is left
    EXPECT_EQ(entries[0].globalProfile, 300);
    records();

    EXPECT_EQ(get32(answer(34, redBody(1, 1, 303, 1), 1), 183), 1U) << "a fourth profile";
    EXPECT_TRUE(records().empty());
    EXPECT_EQ(port(1)->ccb.redConfig[1].redProfileEnabled, 1);
    inside.expectErr({"profile 303 cannot be mapped, no free profiles",
                      "Unable to get mapped profile for chip 88400000, profile 303",
                      "Failed to set/unset red profile on an interface on chip 88400000, rc: 1"});

    refuse({"Failed to set red for port p, rc: 22", "on chip 88400000, rc: 22"});
    answer(34, redBody(2, 7, 302, 0), 22); // refused, but given back all the same
    EXPECT_EQ(entries[2].globalProfile, 65535);
    answer(34, redBody(3, 2, 304, 0));
    EXPECT_EQ(records(),
              (List{redRecord(portNumber(2), 7 << 2 | 1, mapped(2), {}), redRecord(portNumber(3), 2 << 2 | 1, 0, {})}));
    inside.expectErr("Red profile 304 not allocated for chip 88400000");

    Bytes other_speed = redBody(3, 2, 304, 1);
    put32(other_speed, 0, portNumber(3) ^ 0x2000); // the same port; the record names it as it was added
    answer(34, other_speed);
    EXPECT_EQ(get32(records().at(0), 28), portNumber(3));

    Bytes depth(12);
    put32(depth, 4, 70000);
    answer(72, depth);
    EXPECT_EQ(records(), List{redRecord(CHIP, 3, 0x34, {255, 70000, 1, 70000})});
    EXPECT_EQ(egrQueueDepth, 70000U);
}

TEST_P(Mirelle, BudgetsComeFromThePortTableAndTheQueueModeGoesToTheChip)
{
    EXPECT_EQ(port(3)->ccb.tailDropThreshold, 3000U);
    Bytes body(187);
    put32(body, 0, portNumber(3));
    qosLookupChip(FLAT)->num_ports = 2;
    EXPECT_EQ(backEnd(39, body), 24U);
    EXPECT_EQ(port(3)->ccb.tailDropThreshold, 0U);
    EXPECT_TRUE(records().empty());
    inside.expectErr("Failed to find portinfo for if:p");

    EXPECT_EQ(get32(answer(78, body), 24), CHIP);
    body[182] = 3;
    answer(78, body);
    EXPECT_EQ(records(), (List{cosRecord(0x01270005, 36, 36, {{28, 0x40000000}}),
                               cosRecord(0x01270005, 36, 36, {{28, 0x60000000}})}));
    refuse(
        {"Failed to set mcast queue mode settings rc: 22", "Failed to set mcastqueue mode on chip 88400000, rc: 22"});
    EXPECT_EQ(get32(answer(78, body, 22), 183), 22U);
    qosLookupChip(FLAT)->chip_type = 1;
    EXPECT_EQ(get32(answer(78, body, 1), 183), 1U);
    inside.expectErr("NULL MCAST QUEUE MODE IOCTL handler for chip 88400000, type: 1");
}

TEST_P(Mirelle, CapabilityIsReadAndCopied)
{
    Bytes response = noise(2016, 3);
    put(response, {{28, GetParam() == 2 ? 31U : 32U}, {76, 6}, {80, 0x11223344}, {84, 9}, {92, 1}});
    inside.driver.always(with(response));
    qosLookupChip(FLAT)->num_policer_profiles = 99;
    Bytes body = chipUpBody(CHIP, 1, 0, 0);
    Bytes expected = body;
    EXPECT_EQ(backEnd(1, body), 0U);
    put(expected, {{16, 1}, {52, 99}, {66, 9}, {70, 0x11223344}, {2003, 0}});
    put16(expected, 64, 6);
    expected[78] = GetParam() == 2 ? 16 : 15;
    put(expected, 79, cut(response, 96, 8));
    expected[88] = response[107] >> 4;
    expected[90] = response[107] & 15;
    EXPECT_EQ(body, expected);
    body = chipUpBody(0x88410000, 1, 1, 0);
    EXPECT_EQ(backEnd(1, body), 1U);
    inside.expectErr("Unknown chip 1/1");
}

TEST_P(Mirelle, AnUnknownInterfaceIsAskedForNowhere)
{
    // 24 with a line, 25 in the status
    const std::tuple<uint8_t, size_t, uint32_t> cases[] = {
        {25, 0, 25}, {69, 0, 25},  {27, 0, 24}, {29, 0, 24},  {30, 0, 24},
        {34, 0, 24}, {35, 28, 24}, {39, 0, 24}, {75, 12, 24}, {76, 12, 25},
    };
    for (const auto &[code, ifindex, rc] : cases) {
        Bytes body(1261);
        put32(body, ifindex, UNKNOWN);
        EXPECT_EQ(backEnd(code, body), rc) << int{code};
        EXPECT_EQ(get32(body, 4), rc == 25 ? 25U : 0U) << int{code};
    }
    EXPECT_EQ(inside.log.count("Failed to get ifentry for ifindex"), 7U);
    Bytes policer = policerAddBody(UNKNOWN, 7);
    EXPECT_EQ(backEnd(31, policer), 1U);
    inside.expectErr({"Failed to get ifentry for ifindex", " failed to update addIoctl"});
    EXPECT_TRUE(records().empty());
}

TEST_P(Mirelle, QueueReplies)
{
    Bytes response = noise(504, 5);
    Bytes request = noise(182, 9);
    put(request, {{0, portNumber(2)}, {4, 55}, {12, 1000}});
    putText(request, 149, 40);
    EXPECT_EQ(inside.traffic(25, request), 0x862aa3ccU);
    inside.driver.always([&response](const Bytes &r) { return with(cut(response, 0, 328))(r); });
    uint32_t used = 0;
    for (size_t p = 0; p < 8; ++p)
        used += get32(response, 36 + 4 * p);
    for (const auto &[each, whole] : {std::pair{0x200000U, 0xe00000U}, // the sum, its limit, and one that is negative
                                      {0x300000U, 0x1000000U},
                                      {0x20000000U, 0xe0000000U}}) {
        for (size_t p = 0; p < 8; ++p)
            put32(response, 68 + 4 * p, p == 3 ? 0xffffffff : each);
        put64(response, 0x84, 5);
        const Bytes send = answer(69, request);
        EXPECT_TRUE(holds(send, {{8, used}, {12, whole}, {52, each}, {64, 0}}));
        EXPECT_EQ(cut(send, 20, 32), cut(response, 36, 32));
        EXPECT_EQ(getText(send, 149), "45");
        EXPECT_EQ(records(), List{cosRecord(0x0127080C, 328, 328, {{28, portNumber(2)}, {32, 0x80000000}})});
    }
    refuse(
        {"Failed to get send queue stats for port p, rc: 22", "Failed to retrieve QosRcvQue Stats for if: p, rc: 22"});
    Bytes expected = request;
    put32(expected, 4, 22);
    EXPECT_EQ(answer(69, request, 22), expected);
}

TEST_P(Mirelle, RedAndAsicCounters)
{
    Bytes request = noise(836, 7);
    put(request, {{0, CHIP}, {4, 55}, {8, 3}, {28, portNumber(2)}});
    EXPECT_EQ(inside.traffic(35, request), 0xc62838e6U);
    put32(request, 8, 0x04000000); // the count in the first byte alone
    EXPECT_EQ(answer(35, request)[37], 4);
    request = noise(528, 9);
    put32(request, 0, CHIP);
    EXPECT_EQ(inside.traffic(77, request), 0xa393f87bU);
}

TEST_P(Mirelle, DropMonitorReadsInSlicesAndMarksWhatDropped)
{
    constexpr uint32_t PORTS = 11;
    inside.driver.always([](const Bytes &request) {
        const Bytes asked = recordOf(request);
        Bytes response = noise(get32(request, 44), 2);
        const bool tail = get32(asked, 28) == 49;
        const size_t n = tail ? get32(asked, 32) : get32(asked, 36) >> 16;
        for (size_t i = 0; i < n; ++i) // the third port of each slice, in its high word
            if (tail)
                put64(response, 424 + 456 * i, i == 2 ? uint64_t{5} << 32 : 0);
            else
                put(response, 60 + 12 * n + 72 * i, Bytes(11) + Bytes{i == 2 ? uint8_t{7} : uint8_t{0}} + Bytes(12));
        return with(response)(request);
    });
    Bytes td(12 + 24 * PORTS), red(12 + 36 * PORTS);
    put32(td, 8, PORTS);
    put32(red, 8, PORTS);
    auto *td_records = bodyIn<qosTdMonitorStatsMsg_t>(td)->records;
    auto *red_records = bodyIn<qosRedMonitorStatsMsg_t>(red)->records;
    for (uint32_t i = 0; i < PORTS; ++i) {
        td_records[i].ifindex = red_records[i].ifindex = portNumber(i + 1);
        td_records[i].td_drop = red_records[i].green_drop = 9;
    }
    EXPECT_EQ(backEnd(75, td), 0U);
    EXPECT_EQ(backEnd(76, red), 0U);
    for (uint32_t i = 0; i < PORTS; ++i) {
        SCOPED_TRACE(i);
        const bool dropped = i % 8 == 2;
        EXPECT_EQ(td_records[i].td_drop, dropped ? uint64_t{5} << 32 : 9);
        EXPECT_EQ(td_records[i].is_td_if_drop, dropped);
        EXPECT_EQ(red_records[i].green_drop, dropped ? 0U : 9U);
        EXPECT_EQ(red_records[i].yellow_drop, dropped ? uint64_t{7} << 32 : 0);
        EXPECT_EQ(red_records[i].red_drop, 0U);
        EXPECT_EQ(red_records[i].is_red_if_drop, dropped);
    }
    Bytes ports = cosRecord(READ, 48 + 456 * 3, 48 + 456 * 3, {{28, 49}, {32, 3}});
    for (uint32_t i = 0; i < 3; ++i)
        put32(ports, 48 + 456 * i, portNumber(9 + i));
    const List found = records();
    ASSERT_EQ(found.size(), 4U);
    EXPECT_EQ(found[1], ports);
    EXPECT_EQ(
        found[3],
        cosRecord(
            READ, 84, 48 + 84 * 3 + 4,
            {{28, 40}, {32, 3}, {36, 3U << 16}, {48, portNumber(9)}, {60, portNumber(10)}, {72, portNumber(11)}}));
}

TEST_P(Mirelle, ClearsUseTheirOwnRedDeviceAndEndAtTheFirstFailure)
{
    Bytes body(16);
    put32(body, 4, portNumber(2));
    answer(41, body);
    const List found = records();
    ASSERT_EQ(found.size(), 3U);
    Bytes red = cosRecord(CLEAR, 144, 28, {{28, 40}, {32, 8}});
    for (uint32_t p = 0; p < 8; ++p)
        put(red, {{48 + 12 * p, portNumber(2)}, {52 + 12 * p, p}});
    EXPECT_EQ(found[1], red);
    put(body, {{4, ALL}, {8, 1}});
    answer(41, body); // all of the chip, and no debug counters
    const List whole = records();
    EXPECT_EQ(wordsAt(whole, 28), (Words{49, 40, 42}));
    EXPECT_EQ(get32(whole.at(1), 56), 1U) << "all interfaces";
    refuse({"failed to clear swm counters", "Failed to clear stats for"});
    answer(41, body, 22);
    EXPECT_EQ(wordsAt(records(), 28), Words{49});
}
