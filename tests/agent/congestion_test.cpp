// SPDX-License-Identifier: Apache-2.0
// Congestion control, scheduling, RED and long-distance links on a Tessel chip: the whole sequence of driver requests
// of each message, byte by byte, what a failure half way leaves, and the arithmetic behind the thresholds.

#include "agent/long_distance.h"
#include "agent/model/thresholds.h"
#include "agent/scheduler.h"
#include "platform/qa_ioctl.h"
#include "platform/tessel/tsl_congestion.h"
#include "platform/tessel/tsl_red.h"
#include "tests/support/inside.h"

namespace {

constexpr uint32_t BUFFER = 6000000;           // of the chip
constexpr uint32_t BUDGET = 10 * BUFFER / 120; // a 10 Gbit/s port's default
constexpr uint32_t RESERVE = 40996 + 23600;    // a lossless class of a Tessel port: assert plus reserve
constexpr uint32_t PRI_TAIL_DROP = 0x01270805;
constexpr uint32_t TAIL_DROP = 0x01270806;

using List = std::vector<Bytes>;

Bytes priTailDrop(uint32_t port, const std::vector<uint32_t> &thresholds)
{
    Bytes bytes = cosRecord(PRI_TAIL_DROP, 108, 28, {{28, port}});
    for (size_t i = 0; i < 8; ++i)
        put(bytes, {{44 + 4 * i, 1}, {76 + 4 * i, thresholds[i]}});
    return bytes;
}

Bytes tailDrop(uint32_t port, uint32_t threshold)
{
    return cosRecord(TAIL_DROP, 40, 28, {{28, port}, {32, 1}, {36, threshold}});
}

// The default map, highest first, as words.
Bytes w2q(uint32_t port)
{
    return cosRecord(0x01270803, 40, 28, {{28, port}, {32, 0x07060504}, {36, 0x03020100}});
}

Bytes pause(uint32_t rx, uint32_t tx)
{
    return cosRecord(0x01270801, 48, 28, {{28, PORT}, {32, rx}, {36, tx}, {40, 23600}, {44, 14000}});
}

Bytes pfc(uint32_t priority, uint32_t rx, uint32_t tx)
{
    return cosRecord(0x01270802, 52, 28, {{28, PORT}, {32, priority}, {36, rx}, {40, tx}, {44, 23600}, {48, 14000}});
}

std::vector<uint32_t> eight(uint32_t value)
{
    return std::vector<uint32_t>(8, value);
}

Bytes ccbBody(uint32_t port)
{
    return bodyOf(QOS_PFC_MSG, Field{"ifindex", port}, Field{"ifName", 'p'}, Field{"chip_ifindex", CHIP},
                  Field{"tc_map", 7, ~0ULL});
}

Bytes schBody(uint32_t port, uint32_t strict)
{
    return bodyOf(QOS_SCH_MSG, Field{"ifIndex", port}, Field{"chip_ifindex", 0x1234}, Field{"sch_cfg.sp_count", strict},
                  Field{"sch_cfg.sp_queue_bw", 0, 100}, Field{"sch_cfg.dwrr_weight", 10, 1},
                  Field{"sch_cfg.dwrr_weight[2]", 0});
}

Bytes ldBody(uint32_t command, uint32_t port, uint32_t distance = 0, uint8_t num_pfc = 0)
{
    return bodyOf(QOS_LD_CFG_MSG, Field{"cmd", command}, Field{"ifindex", port}, Field{"distance", distance},
                  Field{"num_pfc", num_pfc});
}

class Congestion : public ::testing::Test {
protected:
    void SetUp() override
    {
        live.driver.always([](const Bytes &request) {
            Bytes reply = goodReply(request);
            if (get32(request, 48) == 0x01270800)
                put32(reply, 48 + 28, BUFFER);
            return List{reply};
        });
        live.addPort();
    }
    // The status that a message comes back with.
    uint32_t status(uint8_t code, const Bytes &body) { return live.status(code, body); }
    // The congestion requests since the last call; other modules' are left out.
    void expectSent(const List &expected, uint32_t target = CHIP)
    {
        List got = live.driver.records(target);
        std::erase_if(got, [](const Bytes &record) {
            return get32(record, 0) >> 16 != 0x0127 || get32(record, 0) == 0x01270810;
        });
        EXPECT_EQ(got, expected);
    }
    void addPorts(unsigned count)
    {
        for (uint32_t n = 2; n <= count; ++n)
            live.manager.tell(2, ifAddBody(port(n), "p" + std::to_string(n)));
        live.driver.requests();
    }
    static uint32_t port(uint32_t n) { return PORT + ((n - 1) << 15); }

    LiveNode live;
};

} // namespace

TEST_F(Congestion, PauseAndPfcInOrder)
{
    Bytes body = ccbBody(PORT);
    put32(body, 40, 1);
    EXPECT_EQ(status(12, body), 0U);
    expectSent({priTailDrop(PORT, eight(BUDGET)), w2q(PORT), pause(0, 1)});
    live.manager.tell(5, l2Body(PORT, CHIP, 1, 1));
    EXPECT_TRUE(holds(live.driver.records().back(), {{0, 0x01270803}, {28, PORT}})) << "the queue map comes last";
    put(body, {{40, 0}, {36, 1}});
    live.manager.tell(12, body); // receiving alone does not change the split
    expectSent({priTailDrop(PORT, eight(BUDGET / 8)), w2q(PORT), pause(1, 0)});

    put(body, {{44 + 4 * 3, 1}, {76 + 4 * 0, 1}, {76 + 4 * 3, 1}});
    EXPECT_EQ(status(13, body), 0U);
    const uint32_t share = (BUDGET - 2 * RESERVE) / 6;
    expectSent({priTailDrop(PORT, {share, RESERVE, share, RESERVE, share, share, share, share}), w2q(PORT),
                pfc(1, 0, 1), pfc(0, 0, 0), pfc(2, 0, 0), pfc(3, 1, 1), pfc(4, 0, 0), pfc(5, 0, 0), pfc(6, 0, 0),
                pfc(7, 0, 0)});
}

TEST_F(Congestion, FailuresHalfWay)
{
    Bytes body = ccbBody(PORT);
    put32(body, 76 + 4 * 5, 1);
    // The thresholds fail and the rest succeeds: the status is the last step's. Then the fourth priority fails.
    live.driver.script({Driver::status(9)});
    EXPECT_EQ(status(13, body), 0U);
    EXPECT_EQ(live.driver.requests().size(), 10U);
    std::vector<Driver::Reply> replies(5, Driver::status(0));
    replies.push_back(Driver::status(9));
    live.driver.script(replies);
    EXPECT_EQ(status(13, body), 22U);
    EXPECT_EQ(live.driver.requests().size(), 6U);
    live.node.expectErr({"Failed to set pri tail drop threshold for port p, rc: 22", "Failed to set taildrop",
                         "ASIC Driver failed", "Failed to set PFC for port p, cos 3", "Failed to set pfc for"});

    for (const uint8_t code : {12, 13, 14, 18}) {
        EXPECT_EQ(status(code, ccbBody(PORT + (9U << 15))), 1U);
        EXPECT_EQ(status(code, ccbBody(CHANNEL)), 1U);
    }
    live.node.expectErr(
        {"Failed to find interface p for pause update", "Failed to find interface p for default cos update"});
    Bytes unknown(44, 0xee);
    EXPECT_EQ(live.manager.tell(42, unknown)[12], 0xee);
    live.node.expectErr("Unable to find if eeeeeeee in db");
}

TEST_F(Congestion, WeightsAndDepths)
{
    Bytes body = ccbBody(PORT);
    body[108] = 100; // CoS 0, which goes to class 7
    put32(body, 116, 1);
    EXPECT_EQ(status(14, body), 0U);
    std::vector<uint32_t> expected = eight(188);
    expected[7] = BUDGET - 7 * 188;
    expectSent({priTailDrop(PORT, expected)});
    addPorts(3);
    const Bytes depth = bodyOf(71, Field{"queueDepth", 4711});
    EXPECT_EQ(status(71, depth), 55U); // no status from this one
    EXPECT_EQ(wordsAt(live.driver.records(), 28), (std::vector{port(1), port(2), port(3)})) << "in the table's order";
    EXPECT_EQ(status(72, depth), 1U);
    live.node.expectErr("QOS EGRESS QUEUE DEPTH handler for chip 88400000, type: 1");
}

TEST_F(Congestion, LongDistance)
{
    addPorts(3);
    const auto x = [](uint32_t metres) { return 1792 + 9684 + 10 * metres / 1000 * 1262; };
    const uint32_t lossless = (x(10000) / 84 + 1) * 188 + 9600 + x(10000) + 9600;
    const uint32_t unit = (BUFFER - lossless) / (12 + 7);
    const uint32_t ld = unit * 7 + lossless;
    EXPECT_EQ(status(37, ldBody(1, port(2), 10000, 1)), 55U);
    const auto sequence = [](const std::vector<std::pair<uint32_t, uint32_t>> &ports) {
        List all;
        for (const auto &[p, budget] : ports)
            all.insert(all.end(), {tailDrop(p, budget), priTailDrop(p, eight(budget / 8))});
        return all;
    };
    expectSent(sequence({{port(1), unit}, {port(3), unit}, {port(2), ld}}));
    live.manager.tell(37, ldBody(3, port(3)));
    expectSent(sequence({{port(3), BUFFER / 12}}));
    live.manager.tell(37, ldBody(4, port(3)));
    expectSent({tailDrop(port(3), unit), tailDrop(port(3), unit), priTailDrop(port(3), eight(unit / 8))});
    live.manager.tell(37, ldBody(2, port(2)));
    expectSent(sequence({{port(2), BUDGET}, {port(1), BUDGET}, {port(2), BUDGET}, {port(3), BUDGET}}));
    EXPECT_EQ(get32(live.manager.tell(42, bodyOf(42, Field{"ifindex", port(3)})), 8), BUDGET);
    live.manager.tell(37, ldBody(4, port(3)));
    live.manager.tell(37, ldBody(1, port(20), 1, 1));
    live.manager.tell(37, ldBody(9, port(1)));
    live.node.expectErr({"No LD ISL present on the same chip, nothing needed", "Invalid ifindex:0x184a0000"});
    expectSent({});
}

TEST_F(Congestion, Schedulers)
{
    addPorts(2);
    const std::tuple<uint32_t, uint32_t, uint32_t, uint32_t> rows[] = {
        {0, 7, 8, 255}, {1, 6, 7, 127}, {6, 1, 2, 3}, {7, 0, 0, 0}, {8, 0, 0, 0}, {200, 0, 0, 0},
    };
    for (const auto &[strict, boundary, first, mask] : rows) {
        SCOPED_TRACE(strict);
        const Bytes echo = live.manager.tell(19, schBody(PORT, strict));
        EXPECT_EQ(get32(echo, 152), 0U);
        EXPECT_EQ(get32(echo, 80), strict < 7 ? 10U : 0U) << "the message's own weight 0";
        const Bytes sent = live.driver.records(ALL).at(0);
        EXPECT_EQ(get32(sent, 32), boundary);
        EXPECT_EQ(sent[140], mask);
        for (uint32_t p = 0; p < 8; ++p) {
            const uint32_t weight = p == 2 || (p == 0 && strict >= 7) ? 1 : 10 + p;
            const uint32_t bandwidth = p < first || strict == 0 ? 0 : p == 0 ? 10000 : 100 * p;
            EXPECT_EQ(sent[36 + p], p);
            EXPECT_TRUE(holds(sent, {{44 + 4 * p, weight}, {76 + 4 * p, weight}, {108 + 4 * p, bandwidth}})) << p;
        }
    }
    EXPECT_TRUE(live.node.log.has("strict bndry 6, Pri 7, group = 7, grp wt = 17, qpri wt = 17, bw = 700"));
    Bytes limited = schBody(PORT, 8); // the lowest queue keeps a bandwidth of its own
    put32(limited, 48, 250);
    live.manager.tell(19, limited);
    EXPECT_EQ(get32(live.driver.records().at(0), 108), 250U);
    // The global scheduler skips a port that has its own and gives every queue the port's bandwidth.
    Bytes own = schBody(PORT, 1);
    put32(own, 40, 2);
    live.manager.tell(19, own);
    live.driver.requests();
    EXPECT_EQ(status(20, schBody(0, 1)), 0U);
    live.node.expectErr("Failed to program Global Scheudler as per port scheduler present");
    const List records = live.driver.records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_TRUE(holds(records[0], {{28, port(2)}, {108 + 28, 10000}}));

    live.manager.tell(21, bodyOf(21, Field{"ifIndex", PORT}, Field{"shaper_cfg.if_bw", 2500}));
    expectSent({cosRecord(0x01270003, 40, 28, {{28, 1}, {32, PORT}, {36, 2500}})}, 0);
}

TEST_F(Congestion, Red)
{
    Bytes body = ccbBody(PORT);
    set(body, 34, Field{"chip_ifindex", ALL}, Field{"cos", 5}, Field{"profileId", 260}, Field{"minThreshold", 1000},
        Field{"maxThreshold", 3000}, Field{"set", 1});
    for (const auto &[percent, chip] : {std::pair<uint32_t, uint32_t>{100, 255}, {50, 127}, {1, 2}}) {
        set(body, 34, Field{"dropProbability", percent});
        EXPECT_EQ(status(34, body), 0U);
        Bytes expected = cosRecord(0x01270811, 84, 28, {{28, PORT}, {32, (5 << 2 | 1 << 1) << 8 | 4}});
        for (size_t at = 36; at < 84; at += 16)
            put(expected, {{at, chip}, {at + 4, 1000}, {at + 8, 2000}, {at + 12, 3000}});
        expectSent({expected}, ALL);
    }
    set(body, 34, Field{"set", 0}, Field{"chip_ifindex", CHIP}); // removal names the priority and the profile alone
    EXPECT_EQ(status(34, body), 0U);
    expectSent({cosRecord(0x01270811, 84, 28, {{28, PORT}, {32, 5 << 2 << 8 | 4}})});
    set(body, 34, Field{"chip_ifindex", CHIP + (3U << 16)});
    EXPECT_EQ(status(34, body), 25U);
    live.node.expectErr("Unable to locate chip in db with ifidx: 18408000");
}

TEST_F(Congestion, IngressRed)
{
    Bytes ivq =
        bodyOf(47, Field{"numEntries", 2}, Field{"chip_ifindex", CHIP}, Field{"data[0].ifIndex", PORT},
               Field{"data[0].pfc_map", 0x81}, Field{"data[1].ifIndex", PORT + 0x8000}, Field{"data[1].pfc_map", 0x18});
    // An earlier failure is forgotten when the last one succeeds.
    live.driver.script({Driver::status(9)});
    EXPECT_EQ(status(47, ivq), 0U);
    const Bytes first = cosRecord(0x0127080d, 36, 28, {{28, PORT}, {32, 0x81}});
    expectSent({first, cosRecord(0x0127080d, 36, 28, {{28, PORT + 0x8000}, {32, 0x18}})});
    for (const uint32_t none : {0U, 0x80000000U}) {
        put32(ivq, 4, none);
        EXPECT_EQ(status(47, ivq), 0U);
    }
    const Bytes one = bodyOf(46, Field{"ifIndex", PORT}, Field{"pfc_map", 0x81});
    EXPECT_EQ(status(46, one), 0U);
    live.driver.script({Driver::status(9)});
    EXPECT_EQ(status(46, one), 22U);
    expectSent({first, first}, ALL);
    live.node.expectErr({"Failed to set ivq red for port 18408000", "Failed to do ivq red chip config",
                         "ivq red chip cfg done for chip", "ASIC Driver failed", "ivq red cfg done for if 18408000",
                         "Failed to do RED config for if 18408000, rc: 22",
                         "Failed to do ivq red cfg for if 18408000"});
}

// Without a chip, on chips that lack the operation and for bodies that are too short the driver hears nothing.
TEST(Routing, NothingIsSent)
{
    LiveNode live;
    Bytes port(9), chip(12);
    put32(chip, 8, CHIP);
    EXPECT_EQ(live.status(34, ccbBody(PORT)), 1U);
    EXPECT_EQ(live.status(46, port), 25U);
    EXPECT_EQ(live.status(47, chip), 25U);
    EXPECT_EQ(get32(live.manager.tell(35, Bytes(76)), 4), 25U) << "an unknown chip asks for no more than the request";
    live.manager.tell(1, chipUpBody(CHIP, 1, 0, 2));
    live.driver.requests();
    EXPECT_EQ(live.status(46, port), 25U);
    EXPECT_EQ(live.status(47, chip), 1U);
    live.node.expectErr({"Chip is NULL when RED PROFILE is applied ", "chip list is empty",
                         "Unable to locate chip in db with ifidx: 88400000",
                         "Unable to locate chip in db with ifidx: 0", "NULL IVQ RED CFG ioctl handler for chip 8",
                         "NULL IVQ RED CHIP UPD IOCTL handler for chip 88400000, type: 2"});
    // Bodies one byte short of what stands in them stay as they are. The code, of the number inside the body where it
    // stands and itself, and the bytes that it asks for.
    const std::tuple<uint8_t, size_t, uint32_t, uint64_t> rows[] = {
        {35, 32, 1, 836},          // another chip's reply, whatever is asked for
        {40, 10, 2, 14 + 2 * 136}, // the low half is the count
        {40, 10, 0, 14 + 136},     // the first record is worked on in any case
        {44, 12, 3, 17 + 3 * 8},   {44, 12, 0x7fffffff, 17 + 0x7fffffff * uint64_t{8}},
        {47, 4, 1, 12 + 9},        {47, 4, 0x7fffffff, 12 + 0x7fffffff * uint64_t{9}}};
    for (const auto &[code, word_at, word, needed] : rows) {
        Bytes body(static_cast<size_t>(std::min<uint64_t>(needed - 1, 2000)), 0);
        put(body, {{0, CHIP}, {word_at, word}});
        EXPECT_EQ(live.manager.exchange(message(code, body)), message(code, body)) << int{code} << " " << word;
        live.node.expectErr("has " + std::to_string(body.size()) + " bytes, needs " + std::to_string(needed));
    }
    EXPECT_TRUE(live.driver.requests().empty());
}

// The arithmetic alone, over the records.
class Thresholds : public ::testing::Test {
protected:
    void SetUp() override
    {
        port.chip = &chip;
        port.ifIndex = PORT;
        tailqInit(&chip.ifList);
        tailqInsertTail<&qosIf_t::chip_link>(&chip.ifList, &port);
    }
    void TearDown() override { qos_velmar_state.model = 0; }
    std::vector<uint32_t> split(uint32_t model, uint32_t type, const Bytes &map, uint32_t budget)
    {
        qos_velmar_state.model = model;
        chip.chip_type = type;
        uint32_t out[8] = {90, 91, 92, 93, 94, 95, 96, 97};
        (void)qaCcbGetPriTailDropThresholds(&port, map.data(), budget, out);
        return std::vector<uint32_t>(out, out + 8);
    }

    qosChip_t chip = {};
    qosIf_t port = {};
    const Bytes identity = {0, 1, 2, 3, 4, 5, 6, 7};
};

TEST_F(Thresholds, PauseBySpeedAndDistance)
{
    port.ccb.ldIfCfg.ld_distance = 1000; // left over, as long as the link is not a long one
    EXPECT_EQ(qaCcbPauseDeAssertGet(&port), 14000U);
    EXPECT_EQ(qaCcbPauseAssertGet(&port), 51684U); // Larkin
    EXPECT_EQ(qaCcbGetEmerGencyPauseTh(&port), 0U);
    port.ccb.ldIfCfg.is_link_ld = 1;
    EXPECT_EQ(qaCcbPauseDeAssertGet(&port), 24096U);
    port.ccb.ccbFlags = 2;
    EXPECT_EQ(qaCcbGetEmerGencyPauseTh(&port), qaCcbPauseAssertGet(&port));
    port.ifIndex = 10U << 26;
    port.ccb.ldIfCfg.is_link_ld = 0;
    EXPECT_EQ(qaCcbPauseDeAssertGet(&port), 9684U);
    EXPECT_EQ(qaCcbPauseAssertGet(&port), 116U * 252 + 9600);
}

TEST_F(Thresholds, DefaultBudgetByModel)
{
    for (const auto &[model, buffers, budget] : {std::tuple{1004U, 6000119U, 60001190U / 80},
                                                 {1006U, 6000119U, 60001190U / 120},
                                                 {1009U, 6000119U, 60001190U / 100},
                                                 {95U, 0x20000000U, 0x40000000U / 120}}) { // wraps in 32 bits
        qos_velmar_state.model = model;
        chip.chipBuffers = buffers;
        EXPECT_EQ(tslGetTailDropThreshold(&port), budget) << model;
    }
    port.ifIndex = 10U << 26;
    EXPECT_EQ(tslGetTailDropThreshold(&port), 0U);
}

TEST_F(Thresholds, PfcRules)
{
    constexpr uint32_t P = 75284; // Larkin
    for (const unsigned priority : {1U, 4U, 6U})
        port.ccb.pfc[priority].tx = 1;
    // One reserve is taken for three classes of a normal port; a class without CoS keeps the least.
    uint32_t rest = (2000000 - P) / 7;
    EXPECT_EQ(split(95, 0, identity, 2000000), (std::vector<uint32_t>{rest, P, rest, rest, P, rest, P, rest}));
    port.ccb.ldIfCfg.is_link_ld = 1;
    port.ccb.ldIfCfg.ld_distance = 200;
    rest = (2000000 - 3 * P) / 5;
    EXPECT_EQ(split(95, 0, identity, 2000000)[0], rest);
    port.ccb.ldIfCfg.is_link_ld = 0;
    // Everything on class 1 and nothing on class 7, as at the first programming.
    for (qosPauseProfile_t &pfc : port.ccb.pfc)
        pfc.tx = 0;
    const uint32_t tc7 = (2000000 - 7 * 252 - P) / 7;
    EXPECT_EQ(split(95, 0, Bytes(8, 1), 2000000),
              (std::vector<uint32_t>{252, 2000000 + 252 - tc7 - 7 * 252, 252, 252, 252, 252, 252, tc7}));
    // The other two rules exchange the first two and do not look at the map.
    port.ccb.pfc[0].tx = 1;
    ingrQueueDepth = 777;
    EXPECT_EQ(split(131, 2, identity, 2000000), (std::vector<uint32_t>{777, 133120, 777, 777, 777, 777, 777, 777}));
    for (qosPauseProfile_t &pfc : port.ccb.pfc)
        pfc.tx = 1;
    EXPECT_EQ(split(1000, 1, identity, 2000000), eight(RESERVE)) << "nothing is left to divide by";
    EXPECT_EQ(split(95, 0, identity, 2000000), eight(P));
}

TEST_F(Thresholds, WeightsAndLegacyPause)
{
    port.ccb.pause.tx = 1;
    EXPECT_EQ(split(1000, 1, identity, 5000), eight(5000));
    EXPECT_EQ(split(164, 2, identity, 5000), (std::vector<uint32_t>{133120, 91, 92, 93, 94, 95, 96, 97}));
    port.ccb.ccbFlags = 4;
    EXPECT_EQ(split(1000, 1, identity, 5000), eight(188)) << "all weights 0";
    port.ccb.priTailDropThreshold[2] = 3;
    port.ccb.priTailDropThreshold[3] = 7;
    EXPECT_EQ(split(1000, 1, {0, 1, 2, 0x13, 4, 5, 6, 7}, 10000), // the class's low three bits count
              (std::vector<uint32_t>{188, 188, 2661, 6210, 188, 188, 188, 188}));
}

TEST_F(Thresholds, LongDistanceSplit)
{
    qosIf_t neighbour = port;
    tailqInsertTail<&qosIf_t::chip_link>(&chip.ifList, &neighbour);
    port.ccb.ldIfCfg.is_link_ld = 1;
    const uint32_t wrapped = (2036160U - 2589224U) / 17;
    for (const auto &[metres, num_pfc, unit, ld] : {std::tuple{5000U, uint8_t{0}, 107796U, 862368U},
                                                    {5000U, 1, 94687U, 980361U},
                                                    {50000U, 1, wrapped, wrapped * 7 + 2589224}}) {
        port.ccb.ldIfCfg.ld_distance = metres;
        qaLdCalculateBufferDist(&chip, &port, num_pfc);
        EXPECT_EQ(port.ccb.tailDropThreshold, ld);
        EXPECT_EQ(neighbour.ccb.tailDropThreshold, unit);
    }
    chip.chip_type = 3; // nothing to divide, and nothing to divide by
    qaLdCalculateBufferDist(&chip, &port, 8);
    EXPECT_EQ(neighbour.ccb.tailDropThreshold, 0U);
    Bytes body = ldBody(1, PORT);
    EXPECT_EQ(qaLdProcessLdConfigUpdate(bodyIn<qosLdConfigMsg_t>(body)), 1U) << "unknown to the table";
}
