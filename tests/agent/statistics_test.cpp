// Statistics: what of a driver's response reaches which byte of a reply, the requests that ask for it, what a failure
// leaves alone, and the order of clears.

#include "agent/dispatch.h"
#include "agent/messages/catalogue.h"
#include "agent/model/drop_reasons.h"
#include "agent/statistics.h"
#include "platform/qa_ioctl.h"
#include "tests/support/inside.h"

namespace {

constexpr uint32_t SECOND_CHIP = 0x88410000; // slot 1, chip 1
constexpr uint32_t READ = 0x06270000, CLEAR = 0x06270001;

enum Names { PORT_OF, PLC_OF, TMC_CHIP, TMC_PORT, VOQ_OF };

// The binary replies, each as one number: what the bodies made of responses of noise come to.
struct Member {
    uint8_t code;
    uint32_t command, in, out;
    Names names;
    uint32_t body, replies;
};

const Member MEMBERS[] = {
    {62, 0x0127080C, 936, 936, TMC_PORT, 860, 0x0c8c728c}, {49, 0x01270008, 112, 112, PORT_OF, 145, 0xf1c6624a},
    {50, 0x0127000A, 88, 88, PORT_OF, 148, 0x0bfa2e58},    {51, 0x0127080A, 328, 328, PORT_OF, 289, 0xfe326e8c},
    {52, 0x0127080C, 188, 188, PORT_OF, 160, 0x4bed63b7},  {53, 0x01270007, 160, 160, PLC_OF, 156, 0x56d742a1},
    {54, 0x01270009, 176, 176, PLC_OF, 240, 0x9d6dd16e},   {55, 0x01270809, 272, 272, PLC_OF, 226, 0x8209d812},
    {56, 0x0127080B, 184, 184, PLC_OF, 168, 0xe95665cf},   {57, 0x01270007, 44, 44, TMC_CHIP, 72, 0xb56d54a4},
    {58, 0x01270009, 100, 100, TMC_CHIP, 120, 0x39a4ee43}, {59, 0x01270809, 308, 308, TMC_CHIP, 336, 0xb88f35b7},
    {60, 0x0127080B, 952, 952, TMC_CHIP, 956, 0x728fb790}, {63, 0x01270008, 68, 68, TMC_PORT, 76, 0x33ef0a94},
    {61, 0x0127080A, 448, 448, TMC_PORT, 292, 0x96ab2087}, {64, 0x0127080E, 36, 148, VOQ_OF, 168, 0x954f4d33},
};

Bytes expectedRequest(const Member &member, const Bytes &body)
{
    Bytes record = cosRecord(member.command, member.in, member.out, {{28, PORT}});
    const size_t selector = member.names == PLC_OF || member.names == TMC_CHIP ? 28 : 32;
    const bool whole = member.names == PORT_OF || member.names == PLC_OF;
    put32(record, selector, whole ? 0x80000000 : get32(body, 8) & (member.names == VOQ_OF ? 0x0fffffff : 0x7fffffff));
    return record;
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

// A body of noise that asks for PORT.
Bytes request(size_t length, uint32_t seed = 9)
{
    Bytes body = noise(length, seed);
    put(body, {{0, PORT}, {4, 55}});
    body[8] = 0xb7; // its high bits do not reach a request
    return body;
}

using Devices = std::vector<uint32_t>;

} // namespace

TEST_F(Statistics, EveryMemberMovesEveryValueToItsPlace)
{
    for (const Member &member : MEMBERS) {
        SCOPED_TRACE(int{member.code});
        const Bytes body = request(member.body);
        uint32_t replies = 0x811c9dc5;
        for (uint32_t seed = 1; seed <= 8; ++seed) {
            inside.driver.always(with(noise(member.out, seed)));
            for (const uint8_t byte : answer(member.code, body))
                replies = (replies ^ byte) * 0x01000193;
            EXPECT_EQ(records(), std::vector<Bytes>{expectedRequest(member, body)});
        }
        EXPECT_EQ(replies, member.replies);
        EXPECT_EQ(qosMsgInfo(member.code)->min_len, member.body) << "the least length covers the whole reply";
    }
}

TEST_F(Statistics, UnservedRequests)
{
    EXPECT_EQ(tell(QOS_IFADD_MSG, ifAddBody(CHANNEL, "c")), 0U);
    inside.driver.requests();
    std::vector<uint8_t> codes = {25, 29, 30, 65, 69};
    for (const Member &member : MEMBERS)
        codes.push_back(member.code);
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
    for (const uint32_t type : {1U, 2U, 3U}) {
        SCOPED_TRACE(type);
        qosLookupChip(8)->chip_type = type;
        Bytes response = noise(504, type);
        put32(response, 32, std::min(type, 2U)); // a count other than 1 is reported and the counters are taken
        inside.driver.always(with(response));
        const auto counter = [&](size_t at, bool eights = false) {
            return get64(response, 32 + at) << (eights && type == 1 ? 3 : 0);
        };
        Bytes flow = request(539), queue = request(1261);
        put32(flow, 4, 0);
        put32(queue, 4, 0);
        putText(flow, 209, counter(0x58));
        putText(flow, 242, counter(0xA0));
        Bytes sum = flow;
        uint64_t whole = 0;
        for (size_t p = 0; p < 8; ++p) {
            putText(flow, 275 + 33 * p, counter(0x60 + 8 * (p < 2 ? 1 - p : p)));
            whole += counter(0x60 + 8 * p);
            for (size_t group = 0; group < 4; ++group)
                putText(queue, 73 + 264 * group + 33 * p, counter(0x18 + 64 * group + 8 * p, group % 2));
        }
        putText(sum, 275, whole);
        for (size_t i = 0; i < 4; ++i)
            putText(queue, 1129 + 33 * i, counter(0x118 + 8 * i, i % 2));
        EXPECT_EQ(answer(29, request(539)), flow);
        EXPECT_EQ(answer(30, request(1261)), queue);
        qosLookupIfEntry(PORT)->ccb.ccbFlags = 1;
        EXPECT_EQ(answer(29, request(539)), type == 1 ? flow : sum);
        qosLookupIfEntry(PORT)->ccb.ccbFlags = 0;
        const Bytes asked = cosRecord(READ, 504, 504, {{28, 49}, {32, 1}, {40, 1}, {48, PORT}});
        Bytes queues = asked;
        put32(queues, 40, 2);
        EXPECT_EQ(records(), (std::vector<Bytes>{asked, queues, asked}));
    }
    inside.expectErr("max_ifs (2) not matching expected count (1)");
}

TEST_F(Statistics, DropReasons)
{
    constexpr uint32_t REASONS[] = {0, 27, 98, 127};
    Bytes response = noise(1148, 4);
    put(response, 68, Bytes(128 * 8));
    for (const uint32_t reason : REASONS) // the high word alone must count too
        put64(response, 68 + 8 * reason, uint64_t{reason + 1} << 32);
    inside.driver.always(with(response));
    for (const uint32_t type : {1U, 2U, 3U}) {
        qosLookupChip(8)->chip_type = type;
        Bytes expected = request(7280);
        put(expected, {{4, 0}, {48, 4}});
        for (size_t i = 0; i < 4; ++i) {
            put(expected, 56 + 56 * i, text(qaGetRteDropRsnStr(static_cast<int32_t>(type), REASONS[i]), 45));
            put(expected, 56 + 56 * i + 48, cut(response, 68 + 8 * REASONS[i], 8));
        }
        put(expected, 7224, cut(response, 1092, 56));
        EXPECT_EQ(answer(65, request(7280)), expected) << type;
        EXPECT_EQ(records(),
                  std::vector<Bytes>{cosRecord(READ, 56, 1148, {{28, 42}, {32, 1}, {36, 1U << 16}, {48, PORT}})});
    }
}

TEST(DropReasonTexts, GapsAndFallbacks)
{
    const std::tuple<int32_t, uint32_t, const char *> cases[] = {
        {0, 0, "reserved"},
        {1, 0, "Lookup indicates drop"},
        {1, 34, "IPv4/IPv6 RPF check fail"},
        {1, 35, "Unknown"},
        {2, 26, "reserved"},
        {2, 27, "TIMED_OUT"},
        {2, 79, "reserved"},
        {2, 80, "L3C_MEM_ERR"},
        {2, 98, "L2C_EXM_DA_FID_MEMERR"},
        {2, 128, "reserved"},
        {2, 127, "L2C_PORT_SECURITY_ERR"},
        {3, 98, "L2C_MEMERR"},
        {3, 115, "reserved"},
        {3, 92, "L3C_TRAP_BY_PIM_DECAP"},
        {3, 114, "M3_SHIM_ERR"},
        {4, 30, "reserved"},
    };
    for (const auto &[type, number, text] : cases)
        EXPECT_STREQ(qaGetRteDropRsnStr(type, number), text) << type << " " << number;
}

TEST_F(Statistics, TmcInfo)
{
    const Bytes response = noise(36, 8);
    inside.driver.always(with(response));
    Bytes body = noise(20, 3);
    put(body, {{0, 55}, {8, 8}}); // the flat number counts, whatever chip_ifindex says
    Bytes expected = body;
    put32(expected, 0, 0);
    put(expected, 12, cut(response, 28, 8));
    EXPECT_EQ(answer(48, body), expected);
    const std::vector<Bytes> sent = records();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(get32(sent[0], 0), 0x00070002U);
    EXPECT_EQ(sent[0].size(), 36U);

    inside.driver.always(Driver::status(1));
    Bytes refused = expected;
    put32(refused, 0, 22);
    EXPECT_EQ(answer(48, expected, 22), refused);
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
    // The type, whether pause is on, and the budget before and after; 0: the sum of the thresholds and what was there.
    const std::tuple<uint32_t, bool, uint32_t, uint32_t> cases[] = {
        {0, false, 0x900000, 0x800000},
        {0, false, 0x80000000, 0x80000000}, // 0x80000000 is negative, so not above
        {2, false, 100000, 0},
        {3, true, 100000, 0},
        {3, false, 0x7fffff, 0x800000}};
    for (const auto &[type, pause, before, after] : cases) {
        port->chip->chip_type = type;
        port->ccb.pause.tx = pause ? 1 : 0;
        qos_velmar_state.model = pause ? 131 : 1000; // 131 is a Mirelle, where one class has it all
        Bytes body = noise(182, 2);
        put32(body, 12, before);
        qaRcvQueSetThresholds(port, bodyIn<qosRcvQueueStatsMsg_t>(body));
        uint32_t sum = before;
        for (unsigned tc = 0; tc < 8; ++tc) {
            sum += get32(body, 52 + 4 * tc);
            EXPECT_EQ(get32(body, 52 + 4 * tc) != 0, tc == 0 || !pause);
        }
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
}

TEST_F(Statistics, AFailureInTheWalkIsOverwrittenByTheNextChip)
{
    add(SECOND_CHIP, PORT + 0x10000);
    const Driver::Reply refused = Driver::status(1), fine = Driver::status(0);
    inside.driver.script({refused, fine, refused}); // port counters, then the second debug device
    Bytes body = clearBody(ALL, 1);
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
