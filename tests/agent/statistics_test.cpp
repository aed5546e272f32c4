// Statistics: what of a driver's response reaches which byte of a reply, the requests that ask for it, what a failure
// leaves alone, and the order of clears.
//
// What a reply should hold is written down here a second time, by bit positions and not by the agent's steps.

#include "agent/dispatch.h"
#include "agent/messages/catalogue.h"
#include "agent/model/drop_reasons.h"
#include "agent/statistics.h"
#include "platform/common/stat_copy.h"
#include "platform/qa_ioctl.h"
#include "tests/support/inside.h"

namespace {

constexpr uint32_t SECOND_CHIP = 0x88410000; // slot 1, chip 1
constexpr uint32_t READ = 0x06270000, CLEAR = 0x06270001;

// Where the values of a reply come from, as words of the form TO=KIND FROM[.BIT][*COUNT], all without blanks. TO is the
// byte in the body, FROM the byte in the response. Kinds: w, q and b values of 32, 64 and 8 bits; l bytes a word apart;
// h and H 16 bits into 16 and 32; f eight single bits from BIT up, a byte for each; x and X a field of COUNT bits from
// BIT down, into a byte and into 32 bits. Single bits are numbered from the lowest of their byte.
struct Kind {
    unsigned width, bits; // bytes of the body's field, bits of a value
    int step;             // bits from one value to the next in the response
};
const std::map<char, Kind> KINDS = {{'w', {4, 32, 32}}, {'q', {8, 64, 64}}, {'b', {1, 8, 8}},
                                    {'l', {1, 8, 32}},  {'h', {2, 16, 16}}, {'H', {4, 16, 16}},
                                    {'f', {1, 1, -1}},  {'x', {1, 0, 0}},   {'X', {4, 0, 0}}};

void apply(const std::string &moves, const Bytes &response, Bytes &body)
{
    std::istringstream in(moves);
    for (std::string word; in >> word;) {
        unsigned to = 0, from = 0, bit = 0, count = 1;
        char kind = 0;
        const bool dotted = word.find('.') != std::string::npos;
        const int got = dotted ? sscanf(word.c_str(), "%u=%c%u.%u*%u", &to, &kind, &from, &bit, &count)
                               : sscanf(word.c_str(), "%u=%c%u*%u", &to, &kind, &from, &count);
        ASSERT_GE(got, 3) << word;
        const auto [width, bits, step] = KINDS.at(kind);
        const unsigned first = from * 8 + (bits < 8 ? 7 - bit : 0); // counted from the highest of byte 0
        for (unsigned i = 0; i < (kind == 'f' ? 8 : bits ? count : 1); ++i) {
            uint64_t value = 0;
            for (unsigned n = 0; n < (bits ? bits : count); ++n) {
                const unsigned at = first + n + i * static_cast<unsigned>(step);
                value = value << 1 | (at / 8 < response.size() ? response[at / 8] >> (7 - at % 8) & 1U : 0U);
            }
            for (unsigned byte = 0; byte < width; ++byte)
                body.at(to + (i + 1) * width - 1 - byte) = static_cast<uint8_t>(value >> 8 * byte);
        }
    }
}

enum Names { PORT_OF, PLC_OF, TMC_CHIP, TMC_PORT, VOQ_OF };

struct Member {
    uint8_t code;
    uint32_t command, in, out;
    Names names;
    uint32_t body;
    std::string moves;
};

const Member MEMBERS[] = {
    {62, 0x0127080C, 936, 936, TMC_PORT, 860, "52=w36 56=w40*8 92=w104*192"},
    {49, 0x01270008, 112, 112, PORT_OF, 145, "48=q36*8 121=f109 129=f110 137=f111 112=q100 120=x108.0"},
    {50, 0x0127000A, 88, 88, PORT_OF, 148,
     "48=f37 73=b48*8 84=H56*8 116=H72*8 56=H38 60=x40.7 64=X40.6*11 68=X41.3*20 72=b47"},
    {51, 0x0127080A, 328, 328, PORT_OF, 289,
     "48=f36 56=f39 80=w56*8 112=w88*8 144=w120*8 176=w216*8 208=w248*8 240=w280*8 272=b312*8 280=f321 64=w40*4 "
     "288=x327.0"},
    {52, 0x0127080C, 188, 188, PORT_OF, 160, "48=w36*8 80=w68*8 112=w100*8 144=f135 152=f134"},
    {53, 0x01270007, 160, 160, PLC_OF, 156, "48=w32*8 80=w96*8 113=f131.1 112=x129.3 132=w132*6"},
    {54, 0x01270009, 176, 176, PLC_OF, 240, "48=w32*8 80=w64*8 112=w96*8 144=w104*8 176=w136*8 208=w168*8"},
    {55, 0x01270809, 272, 272, PLC_OF, 226,
     "72=w56*8 104=w88*8 136=w120*8 168=w152*8 208=f193 216=f194 48=w32*6 200=w184*2 224=x199.1 225=x199.0"},
    {56, 0x0127080B, 184, 184, PLC_OF, 168, "64=w48*8 96=w80*8 128=w112*8 160=f146.3 48=w32*4"},
    {57, 0x01270007, 44, 44, TMC_CHIP, 72,
     "52=x34.3 53=x34.2 54=x34.1 55=x34.0 56=x35.7 57=x35.6 60=X35.5*2 64=X35.3*2 68=h38 70=h42"},
    {58, 0x01270009, 100, 100, TMC_CHIP, 120, "52=w32*17"},
    {59, 0x01270809, 308, 308, TMC_CHIP, 336, "72=w44*16 136=w108*16 200=w172*16 264=w236*16 56=w32*3 328=w300*2"},
    {60, 0x0127080B, 952, 952, TMC_CHIP, 956,
     "56=l35*8 64=w64*8 128=w128*8 192=w192*8 256=w256*8 320=w320*8 384=w384*8 448=w448*8 512=w512*8 576=w576*8 "
     "648=w644*16 712=w708*16 776=w772*16 840=w836*16 640=w640 904=w900*13"},
    {63, 0x01270008, 68, 68, TMC_PORT, 76, "60=h52*8 52=b39 53=b43 54=b47 56=w48"},
    {61, 0x0127080A, 448, 448, TMC_PORT, 292,
     "60=w52*8 92=w116*8 128=w188*8 160=w252*8 192=w316*8 224=w380*8 52=b39 53=b43 56=w44 124=w180 256=w412 "
     "260=w416*8"},
    {64, 0x0127080E, 36, 148, VOQ_OF, 168, "52=q36*14"},
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

Bytes expectedReply(const Member &member, const Bytes &response)
{
    Bytes body = request(member.body);
    put32(body, 4, 0);
    apply(member.moves, response, body);
    if (member.names == VOQ_OF)
        put(body, 164, cut(body, 8, 4));
    return body;
}

using Devices = std::vector<uint32_t>;

} // namespace

TEST_F(Statistics, EveryMemberMovesEveryValueToItsPlace)
{
    for (const Member &member : MEMBERS)
        for (const uint32_t seed : {1U, 2U, 3U}) {
            SCOPED_TRACE(testing::Message() << int{member.code} << " seed " << seed);
            const Bytes response = noise(member.out, seed);
            inside.driver.always(with(response));
            const Bytes body = request(member.body);
            EXPECT_EQ(answer(member.code, body), expectedReply(member, response));
            EXPECT_EQ(qosMsgInfo(member.code)->min_len, member.body) << "the least length covers the whole reply";
            EXPECT_EQ(records(), std::vector<Bytes>{expectedRequest(member, body)});
        }
}

TEST_F(Statistics, UnservedRequests)
{
    EXPECT_EQ(tell(QOS_IFADD_MSG, ifAddBody(CHANNEL, "c")), 0U);
    inside.driver.requests();
    std::vector<std::pair<uint8_t, uint32_t>> codes = {{25, 182}, {29, 539}, {30, 1261}, {65, 7280}, {69, 182}};
    for (const Member &member : MEMBERS)
        codes.emplace_back(member.code, member.body);
    for (const auto &[code, length] : codes)
        for (const uint32_t ifindex : {PORT + 0x8000, CHANNEL}) {
            SCOPED_TRACE(testing::Message() << int{code} << " for " << std::hex << ifindex);
            EXPECT_EQ(qosMsgInfo(code)->min_len, length);
            Bytes body = request(length);
            put32(body, 0, ifindex);
            Bytes expected = body;
            put32(expected, 4, 25);
            EXPECT_EQ(answer(code, body, 25), expected);
            // The back end answers the same by itself, and says nothing.
            const size_t lines = inside.log.lines().size();
            if (const qaIoctl_t entry = qaIoctlFn[QOS_CHIP_TESSEL][code]) {
                EXPECT_EQ(entry(body.data()), 25U);
                EXPECT_EQ(body, expected);
            }
            EXPECT_EQ(inside.log.lines().size(), lines);
        }
    for (const uint8_t code : {uint8_t{25}, uint8_t{69}}) // a Tessel has neither
        EXPECT_EQ(get32(answer(code, request(182), 25), 4), 25U);
    EXPECT_TRUE(inside.driver.requests().empty());
    inside.expectErr({"Unable to find interface for ifindex 18410000 in db", "Failed to find chip for interface c"});
    inside.expectErr("Invalid if add received"); // what policers make of a port without a chip
    inside.expectErr("NULL RCV QUE STATS handler for chip 88400000");
}

// The same on Tessel and Mirelle, but for units, and for pause: with it a Mirelle gives one sum.
TEST_F(Statistics, TextCounters)
{
    for (const uint32_t type : {1U, 2U, 3U})
        for (const uint32_t ports : {1U, 2U}) { // another count is reported and the counters are taken
            SCOPED_TRACE(testing::Message() << "type " << type << " ports " << ports);
            qosLookupChip(8)->chip_type = type;
            Bytes response = noise(504, type);
            put32(response, 32, ports);
            inside.driver.always(with(response));
            const auto counter = [&](size_t at, bool eights = false) {
                return get64(response, 32 + at) << (eights && type == 1 ? 3 : 0);
            };
            Bytes flow = request(539), queue = request(1261), sum = flow;
            for (Bytes *body : {&flow, &queue, &sum})
                put32(*body, 4, 0);
            for (Bytes *body : {&flow, &sum}) {
                putText(*body, 209, counter(0x58));
                putText(*body, 242, counter(0xA0));
            }
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
            std::vector<Bytes> asked;
            for (const uint32_t kind : {1U, 2U})
                asked.push_back(cosRecord(READ, 504, 504, {{28, 49}, {32, 1}, {40, kind}, {48, PORT}}));
            EXPECT_EQ(records(), asked);
            qosLookupIfEntry(PORT)->ccb.ccbFlags = 1;
            EXPECT_EQ(answer(29, request(539)), type == 1 ? flow : sum);
            EXPECT_EQ(records(), std::vector<Bytes>{asked[0]});
            qosLookupIfEntry(PORT)->ccb.ccbFlags = 0;
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
    const std::tuple<uint32_t, std::vector<const char *>> families[] = {
        {1, {"Lookup indicates drop", "Reserved", "Unknown", "Unknown"}},
        {2, {"reserved", "TIMED_OUT", "L2C_EXM_DA_FID_MEMERR", "L2C_PORT_SECURITY_ERR"}},
        {3, {"reserved", "TIMED_OUT", "L2C_MEMERR", "reserved"}},
    };
    inside.driver.always(with(response));
    for (const auto &[type, texts] : families) {
        qosLookupChip(8)->chip_type = type;
        Bytes expected = request(7280);
        put(expected, {{4, 0}, {48, 4}});
        for (size_t i = 0; i < 4; ++i) {
            put(expected, 56 + 56 * i, text(texts[i], 45));
            put(expected, 56 + 56 * i + 48, cut(response, 68 + 8 * REASONS[i], 8));
        }
        put(expected, 7224, cut(response, 1092, 56));
        EXPECT_EQ(answer(65, request(7280)), expected) << type;
    }
    const Bytes record = cosRecord(READ, 56, 1148, {{28, 42}, {32, 1}, {36, 1U << 16}, {48, PORT}});
    EXPECT_EQ(records(), (std::vector<Bytes>{record, record, record}));
}

TEST(DropReasonTexts, GapsAndFallbacks)
{
    const std::tuple<int32_t, uint32_t, const char *> cases[] = {{0, 0, "reserved"},
                                                                 {1, 34, "IPv4/IPv6 RPF check fail"},
                                                                 {1, 35, "Unknown"},
                                                                 {2, 26, "reserved"},
                                                                 {2, 79, "reserved"},
                                                                 {2, 80, "L3C_MEM_ERR"},
                                                                 {2, 92, "reserved"},
                                                                 {2, 95, "L2C_L3_DECAP_INNER_IP_MC_SWITCHED_DROP"},
                                                                 {2, 128, "reserved"},
                                                                 {3, 98, "L2C_MEMERR"},
                                                                 {3, 97, "L2C_EXM_DA_IGMP_SNOOP_DROP"},
                                                                 {3, 92, "L3C_TRAP_BY_PIM_DECAP"},
                                                                 {3, 114, "M3_SHIM_ERR"},
                                                                 {3, 115, "reserved"},
                                                                 {3, ~0U, "reserved"},
                                                                 {4, 30, "reserved"}};
    for (const auto &[type, number, text] : cases)
        EXPECT_STREQ(qaGetRteDropRsnStr(type, number), text) << type << " " << number;
}

TEST(StatText, CutsAndSums)
{
    char field[6] = "-----";
    statCutText(field, 5, "abcdefg");
    EXPECT_EQ(std::string(field, 6), std::string("abcde\0", 6)) << "a text that fills its field ends without a zero";
    statCutText(field, 5, "ab");
    EXPECT_EQ(std::string(field, 6), std::string("ab\0\0\0\0", 6));
    const std::tuple<std::string, uint64_t, std::string> sums[] = {
        {"", 7, "7"}, {"12", 30, "42"}, {"18446744073709551615", 2, "1"}, {"frames", 3, "3"}};
    for (const auto &[old, add, sum] : sums) {
        char text[33] = {};
        memcpy(text, old.c_str(), old.size());
        statAddText(text, 32, add);
        EXPECT_EQ(text, sum);
    }
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
        {0, false, 0x900000, 0x800000}, {0, false, 0x800000, 0x800000}, {0, false, 0x80000000, 0x80000000},
        {2, false, 100000, 0},          {3, true, 100000, 0},           {3, false, 0x7fffff, 0x800000}};
    for (const auto &[type, pause, before, after] : cases) {
        SCOPED_TRACE(testing::Message() << type << " " << std::hex << before); // 0x80000000 is negative, so not above
        port->chip->chip_type = type;
        port->ccb.pause.tx = pause ? 1 : 0;
        qos_velmar_state.model = pause ? 131 : 1000; // 131 is a Mirelle, where one class has it all
        Bytes body = noise(182, 2);
        put32(body, 12, before);
        const Bytes old = body;
        qaRcvQueSetThresholds(port, bodyIn<qosRcvQueueStatsMsg_t>(body));
        uint32_t sum = before;
        for (unsigned tc = 0; tc < 8; ++tc) {
            sum += get32(body, 52 + 4 * tc);
            EXPECT_EQ(get32(body, 52 + 4 * tc) != 0, tc == 0 || !pause);
        }
        EXPECT_EQ(get32(body, 12), after ? after : sum);
        EXPECT_NE(sum, before);
        EXPECT_EQ(cut(body, 16, 36), cut(old, 16, 36));
        EXPECT_EQ(cut(body, 84, 98), cut(old, 84, 98));
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
    ASSERT_EQ(requests.size(), 19U);
    Devices targets(10, CHIP);
    targets.resize(19, SECOND_CHIP);
    EXPECT_EQ(wordsAt(requests, 20), targets);
    std::vector<Bytes> sent;
    for (const Bytes &one : requests)
        sent.push_back(recordOf(one));
    EXPECT_EQ(wordsAt(sent, 0), Devices(19, CLEAR));
    EXPECT_EQ(wordsAt(sent, 28), (Devices{46, 49, 41, 42, 50, 51, 52, 53, 54, 55, // policers go first
                                          49, 41, 42, 50, 51, 52, 53, 54, 55}));
    const Bytes ports = cosRecord(CLEAR, 40, 40, {{28, 49}, {36, 0x40000000}});
    EXPECT_EQ(sent[1], ports);
    const Bytes reasons = cosRecord(CLEAR, 56, 28, {{28, 42}, {32, 1}, {48, ALL}, {52, 1}});
    EXPECT_EQ(sent[3], reasons);
    EXPECT_EQ(sent[4].size(), 48U);
    EXPECT_EQ(get32(sent[4], 32), 1U);

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
    const Bytes ports = cosRecord(CLEAR, 44, 44, {{28, 49}, {32, 1}, {40, PORT}});
    EXPECT_EQ(sent[0], ports);
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

TEST(StatisticsOnTheRoad, WithoutChipsAndTheLargestReply)
{
    LiveNode live;
    live.driver.always(chipReply(std::make_shared<ChipState>()));
    const Bytes nothing = bodyOf(QOS_CLEAR_STATS_MSG, Field{"ifindex", ALL});
    for (const uint8_t code : {uint8_t{41}, uint8_t{70}})
        EXPECT_EQ(live.manager.tell(code, nothing), nothing) << "without a chip the status comes back as sent";
    live.addPort();
    live.node.expectErr("NULL Sch Cfg handler for chip");
    live.driver.requests();

    // The largest reply of all makes its way.
    live.driver.always([](const Bytes &r) { return with(noise(get32(r, 44), 7))(r); });
    const Bytes whole = live.manager.tell(65, request(7280));
    EXPECT_TRUE(holds(whole, {{4, 0}, {48, 128}}));
}
