// SPDX-License-Identifier: Apache-2.0
// The Larkin family: its records byte by byte, what it keeps of the driver's answers, and what a failure half way
// leaves.

#include "agent/model/thresholds.h"
#include "platform/larkin/lark_ccb.h"
#include "platform/larkin/lark_sched.h"
#include "tests/support/inside.h"

namespace {

constexpr uint32_t BUDGET = 400000; // of a port
constexpr uint32_t CONFIG = 0x17250003, SET = 0x23050002, GET = 0x23050001, COUNTERS = 0x0A050001;

using List = std::vector<Bytes>;

// Answers as the chip does, with bytes of a test's own at an offset of the record; refuses the next requests of a
// command after `accepted` of them.
struct Chip {
    std::mutex lock;
    std::map<uint32_t, Bytes> data; // by command, from offset 12
    uint32_t refused = 0;
    int accepted = 0;
    uint32_t handles = 0;

    List reply(const Bytes &request)
    {
        const std::lock_guard<std::mutex> guard(lock);
        const uint32_t command = get32(request, 48);
        Bytes record(std::max<size_t>(12, get32(request, 44)));
        put32(record, 0, command);
        put(record, 12, cut(data[command], 0, record.size() - 12));
        if (command == 0x17250035) // a handle that tells one entry from the other
            put(record, {{12, get32(request, 48 + 56)}, {20, 0xaa}, {28, 0x12340000}, {32, ++handles}});
        if (command == refused && accepted-- <= 0)
            record[7] = 3;
        return {answerTo(request, record)};
    }
    void refuse(uint32_t command, int after = 0)
    {
        const std::lock_guard<std::mutex> guard(lock);
        std::tie(refused, accepted) = std::tie(command, after);
    }
    void give(uint32_t command, const Bytes &bytes)
    {
        const std::lock_guard<std::mutex> guard(lock);
        data[command] = bytes;
    }
};

struct Larkin : testing::Test {
    Inside inside;
    std::shared_ptr<Chip> chip = std::make_shared<Chip>();
    qosIf_t *port = nullptr;

    void SetUp() override
    {
        inside.driver.always([state = chip](const Bytes &request) { return state->reply(request); });
        Bytes buffers(8);
        put(buffers, {{0, 9000000}, {4, BUDGET}});
        chip->give(GET, buffers);
    }
    void addChip() { tell(QOS_CHIPUP_MSG, chipUpBody(LARKIN_CHIP, 1, 1, 0)); }
    void addPort(uint32_t ifindex = LARKIN_PORT)
    {
        tell(QOS_IFADD_MSG, ifAddBody(ifindex, "p"));
        ASSERT_NE(port = qosLookupIfEntry(ifindex), nullptr);
    }
    void ready()
    {
        addChip();
        addPort();
        inside.driver.requests();
    }
    List sent() { return inside.records(LARKIN_CHIP); }
};

Bytes ccbBody(uint32_t ifindex)
{
    return bodyOf(QOS_PFC_MSG, Field{"ifindex", ifindex}, Field{"ifName", 'p'}, Field{"chip_ifindex", ALL},
                  Field{"tc_map", 0, 1});
}

// The entry records that both selections fill alike; `n` counts the handles that Chip has given.
Bytes tcamAdd(uint32_t table, uint32_t key, uint32_t port_mask, uint32_t value_mask)
{
    return dceRecord(0x17250035, 140, 0, 0,
                     {{40, table}, {44, 1 << 16}, {56, key}, {60, LARKIN_PORT}, {68, port_mask}, {72, value_mask}});
}

Bytes tcamUpdate(uint32_t table, uint32_t length, uint32_t key, uint32_t n)
{
    return dceRecord(0x1725003B, length, 0, 0,
                     {{20, key}, {28, 0xaa}, {36, 0x12340000}, {40, n}, {44, table << 16 | 1}});
}

uint32_t swapped(uint32_t tc)
{
    return tc == 0 ? 1 : tc == 1 ? 0 : tc;
}

} // namespace

TEST_F(Larkin, ChipAndPortComeUp)
{
    addChip();
    const auto up = sent();
    ASSERT_EQ(up.size(), 5U);
    for (const auto &[at, table, size] : {std::tuple{0U, 0x1006U, 24U}, {1U, 0x2005U, 64U}}) {
        Bytes region = up[at];
        EXPECT_EQ(std::exchange(region[22], 0) & 0xc0, 0) << "the other bits are what the buffer held";
        EXPECT_EQ(region, dceRecord(0x17250033, 32, 0, 0,
                                    {{16, table << 16 | 1}, {24, size << 16 | 256}, {28, size << 16 | 12}}));
    }
    EXPECT_EQ(up[2], dceRecord(SET, 28, 28, 1, {{8, 15 << 16 | 1}, {12, 1}, {16, 0xffffffff}, {24, 0xffffffff}}));
    EXPECT_EQ(up[3], dceRecord(GET, 20, 34, 1));
    Bytes multicast = dceRecord(CONFIG, 44, 20, 8);
    for (uint32_t i = 0; i < 8; ++i)
        put32(multicast, 12 + 4 * i, i << 16 | (12 + i % 2));
    EXPECT_EQ(up[4], multicast);
    const qosChip_t *found = qosLookupChip(9);
    EXPECT_EQ(found->chipBuffers, 9000000U);
    EXPECT_EQ(found->portBuffers, BUDGET);
    EXPECT_EQ(found->l3psel_tcam.size, 64U);
    EXPECT_EQ(found->l2psel_tcam_status | found->l3psel_tcam_status, 0U);

    addPort();
    uint32_t thresholds[8] = {};
    const auto priorities = [&](const Bytes &tc_map) {
        (void)qaCcbGetPriTailDropThresholds(port, tc_map.data(), BUDGET, thresholds);
        Bytes drops = dceRecord(SET, 140, 37, 8);
        for (uint32_t p = 0; p < 8; ++p)
            put(drops, {{12 + 16 * p, LARKIN_PORT}, {16 + 16 * p, p << 16}, {20 + 16 * p, thresholds[swapped(p)]}});
        return drops;
    };
    auto added = sent();
    ASSERT_EQ(added.size(), 4U);
    added.pop_back(); // the policers' question for the port's group
    EXPECT_EQ(added, (List{dceRecord(SET, 24, 36, 1, {{12, LARKIN_PORT}, {16, BUDGET}}), priorities(Bytes(8, 1)),
                           dceRecord(SET, 20, 39, 1, {{12, LARKIN_PORT}})}));
    Bytes weights = ccbBody(LARKIN_PORT);
    put(weights, {{108, 0x02010101}, {112, 0x01010101}, {116, 1}});
    EXPECT_EQ(tell(QOS_PRI_TAILDROP_MSG, weights), 0U);
    EXPECT_EQ(sent(), (List{priorities(cut(weights, 28, 8))}));
    EXPECT_NE(thresholds[0], thresholds[1]);

    Bytes buffer = ccbBody(LARKIN_PORT);
    EXPECT_EQ(larkSetPortBuf(bodyIn<qosCcbMsg_t>(buffer)), 0U);
    EXPECT_EQ(sent(), (List{dceRecord(SET, 20, 38, 1, {{12, LARKIN_PORT}, {16, BUDGET}})}));
}

TEST_F(Larkin, RefusedChipUpIsKept)
{
    chip->refuse(0x17250033);
    addChip();
    EXPECT_EQ(qosLookupChip(9)->l2psel_tcam_status, 22U);
    EXPECT_EQ(qosLookupChip(9)->l3psel_tcam_status, 22U);
    EXPECT_EQ(inside.driver.requests().size(), 5U) << "the other hooks run";
    inside.expectErr(
        {"ASIC Driver failed", "TCAM create", "Failed to initialize L2PSel TCAM", "L3PSel", "chip up, rc: 0"});
}

TEST_F(Larkin, CosMapAddsThenUpdates)
{
    ready();
    Bytes body = l2Body(LARKIN_PORT, LARKIN_CHIP, 5, 0);
    const Bytes cos = {7, 6, 5, 4, 3, 2, 1, 0}, tc = {1, 0, 2, 3, 4, 5, 6, 3};
    put(body, 34, cos + tc);
    const auto result = [&](uint32_t p) { return uint32_t{cos[p]} << 24 | swapped(tc[p]) << 13; };
    const Bytes registers =
        dceRecord(CONFIG, 76, 8, 1, {{12, 0x3FC0}, {32, 0x01234567}, {72, LARKIN_PORT}}); // the last is 7, not 3
    const auto added = [&](uint32_t p) {
        Bytes add = tcamAdd(0x1006, p << 28, 0x1F000000, 0x70000000);
        put(add, {{84, 0x00040000}, {88, result(p)}});
        return add;
    };
    const auto updated = [&](uint32_t p) {
        Bytes update = tcamUpdate(0x1006, 108, p << 28, p + 1);
        put(update, {{52, 0x00040000}, {56, result(p)}});
        return update;
    };
    // The fourth add fails: three entries stay, the register map goes out and its status is the answer.
    chip->refuse(0x17250035, 3);
    EXPECT_EQ(told(QOS_COSTRUST_MSG, body), 0U);
    EXPECT_EQ(sent(), (List{added(0), added(1), added(2), added(3), registers}));
    EXPECT_EQ(port->l2_pri.tcam_handle_valid, 0x07);
    chip->refuse(0);
    chip->handles = 3;
    EXPECT_EQ(tell(QOS_COSTRUST_MSG, body), 0U);
    EXPECT_EQ(sent(),
              (List{updated(0), updated(1), updated(2), added(3), added(4), added(5), added(6), added(7), registers}));
    EXPECT_EQ(port->l2_pri.tcam_handle_valid, 0xff);

    // The default CoS goes to the port itself; its failure has no say in the status.
    chip->refuse(0x17010001);
    EXPECT_EQ(tell(QOS_DEFCOS_MSG, body), 0U);
    const auto requests = inside.driver.requests();
    ASSERT_EQ(requests.size(), 10U);
    EXPECT_EQ(get32(requests[0], 20), LARKIN_PORT);
    EXPECT_EQ(recordOf(requests[0]), dceRecord(0x17010001, 28, 0, 0, {{16, 1 << 21}, {24, 5}}));
    EXPECT_EQ(recordOf(requests[8]), updated(7));
    chip->refuse(CONFIG);
    EXPECT_EQ(told(QOS_COSTRUST_MSG, body), 22U);
    inside.expectErr({"ASIC Driver failed", "TCAM Add", "Default CoS IOCTL failed for interface p, error = 22",
                      "l2PriRegMap", "Cos Trust IOCTL failed", "Failed to set cos trust"});
}

TEST_F(Larkin, DscpEntriesComeAndGo)
{
    ready();
    Bytes body = l3Body(LARKIN_PORT, LARKIN_CHIP);
    set(body, QOS_DSCPTRUST_MSG, Field{"dscp_trust", 0});
    EXPECT_EQ(tell(QOS_DSCPTRUST_MSG, body), 0U);
    EXPECT_TRUE(sent().empty()) << "nothing to delete";
    set(body, QOS_DSCPTRUST_MSG, Field{"dscp_trust", 1});
    body[96 + 33] = 6;
    body[160 + 33] = 1;
    chip->refuse(0x17250035, 40);
    EXPECT_EQ(tell(QOS_DSCPTRUST_MSG, body), 22U);
    EXPECT_EQ(port->l3_pri.tcam_handle_valid, 0xffffffffffULL);
    const auto adds = sent();
    ASSERT_EQ(adds.size(), 41U);
    Bytes add = tcamAdd(0x2005, 33 << 4, 0x07C00000, 0x3F0);
    put(add, {{84, 0x00400000}, {92, 0x80000000 | 6 << 28}});
    EXPECT_EQ(adds[33], add);

    chip->refuse(0);
    set(body, QOS_DSCPTRUST_MSG, Field{"dscp_trust", 0}); // the maps install the entries even without trust
    EXPECT_EQ(tell(QOS_DSCPCOSMAP_MSG, body), 0U);
    const auto maps = sent();
    ASSERT_EQ(maps.size(), 64U);
    Bytes update = tcamUpdate(0x2005, 68, 33 << 4, 34);
    put(update, {{52, 0x00400000}, {60, 6 << 28}});
    EXPECT_EQ(maps[33], update);
    EXPECT_EQ(get32(maps[40], 0), 0x17250035U);

    chip->refuse(0x17250037, 32);
    EXPECT_EQ(told(QOS_DSCPTRUST_MSG, body), 22U);
    EXPECT_EQ(port->l3_pri.tcam_handle_valid, 0xffffffff00000000ULL);
    const auto deletes = sent();
    ASSERT_EQ(deletes.size(), 33U);
    EXPECT_EQ(deletes[32],
              dceRecord(0x17250037, 52, 0, 0,
                        {{16, 0x20050001}, {20, 32 << 4}, {28, 0xaa}, {36, 0x12340000}, {40, 33}, {44, 1}}));
    inside.expectErr(
        {"ASIC Driver failed", "TCAM Add", "TCAM Delete", "DSCP Trust IOCTL failed", "Failed to set dscp trust"});
}

TEST_F(Larkin, PauseAndPfc)
{
    ready();
    Bytes body = ccbBody(LARKIN_PORT);
    put32(body, 36, 1);
    EXPECT_EQ(larkSetPause(bodyIn<qosCcbMsg_t>(body)), 0U);
    EXPECT_EQ(sent(), (List{dceRecord(SET, 40, 31, 1, {{12, LARKIN_PORT}, {16, 1}, {24, 23600}, {28, 14000}})}));
    EXPECT_EQ(port->ccb.pause.rx, 0) << "the record follows the message";
    port->ccb.pfc[1].rx = 1;
    port->ccb.pfc[6].tx = 2;
    port->ccb.ccbFlags = QOS_CCB_PFC;
    EXPECT_EQ(larkSetPfc(bodyIn<qosCcbMsg_t>(body)), 0U);
    Bytes pfc = dceRecord(SET, 268, 32, 8);
    for (uint32_t p = 0; p < 8; ++p)
        put(pfc, {{12 + 32 * p, LARKIN_PORT}, {16 + 32 * p, p << 16}, {28 + 32 * p, 23600}, {32 + 32 * p, 14000}});
    put(pfc, {{12 + 32 + 8, 1}, {12 + 6 * 32 + 12, 1}});
    EXPECT_EQ(sent(), (List{pfc}));
    EXPECT_EQ(larkSetEmergencyPause(bodyIn<qosCcbMsg_t>(body)), 0U);
    EXPECT_EQ(sent(), (List{dceRecord(SET, 20, 39, 1, {{12, LARKIN_PORT}, {16, 51684}})}));
    chip->refuse(SET);
    EXPECT_EQ(told(QOS_PFC_MSG, body), 22U);
    Bytes unknown = ccbBody(LARKIN_PORT + 0x8000);
    EXPECT_EQ(larkSetPfc(bodyIn<qosCcbMsg_t>(unknown)), 24U);
    EXPECT_EQ(larkSetEmergencyPause(bodyIn<qosCcbMsg_t>(unknown)), 24U);
    EXPECT_EQ(larkSetPause(bodyIn<qosCcbMsg_t>(unknown)), 24U);
    EXPECT_EQ(get32(unknown, 183), 24U);
    inside.log.ignoreErrs();
}

TEST_F(Larkin, RedOnAPort)
{
    ready();
    // The priority, on or off, and what goes out: the mask of those that are on, and the profile for what changes.
    const std::tuple<uint32_t, uint32_t, uint32_t, std::vector<size_t>> steps[] = {{2, 1, 0x04, {40}},
                                                                                   {7, 1, 0x84, {40, 20}},
                                                                                   {0, 1, 0x85, {40, 20, 48}},
                                                                                   {7, 1, 0x85, {}},
                                                                                   {7, 0, 0x05, {40, 48}}};
    for (const auto &[cos, on, mask, profiles] : steps) {
        Bytes body = ccbBody(LARKIN_PORT);
        put(body, {{120, cos}, {138, on}});
        put16(body, 124, 77);
        EXPECT_EQ(tell(QOS_RED_PROFILE_MSG, body), 0U);
        Bytes red = dceRecord(SET, 52, 30, 1, {{8, 15 << 16 | 1}, {12, LARKIN_PORT}, {16, mask << 16}});
        for (const size_t at : profiles)
            put32(red, at, 15);
        EXPECT_EQ(sent(), List{red}) << cos << " " << on;
    }
    EXPECT_EQ(port->ccb.redConfig[2].globalProfile, 77);

    constexpr uint32_t OTHER_SPEED = LARKIN_PORT ^ 0x2000; // the same port; the record names it as the message does
    Bytes body = ccbBody(OTHER_SPEED);
    put32(body, 120, 7);
    EXPECT_EQ(tell(QOS_RED_PROFILE_MSG, body), 0U);
    EXPECT_EQ(get32(sent().at(0), 12), OTHER_SPEED);
}

TEST_F(Larkin, Scheduler)
{
    for (const auto &[weight, steps] : {std::pair{0, 1}, {1, 1}, {2, 1}, {3, 1}, {8, 2}, {100, 20}})
        EXPECT_EQ(qos_convert_wgt_to_dnld_wgt(weight), steps) << weight;
    ready();
    Bytes body = bodyOf(QOS_SCH_MSG, Field{"ifIndex", LARKIN_PORT}, Field{"chip_ifindex", LARKIN_CHIP},
                        Field{"sch_cfg.dwrr_weight", 10, 10});
    for (const auto &[strict, policy] : {std::pair{0U, 7U}, {1U, 6U}, {7U, 0U}, {8U, 0U}, {9U, 0U}}) {
        put32(body, 44, strict);
        EXPECT_EQ(tell(QOS_SCH_MSG, body), 0U);
        auto got = sent();
        ASSERT_EQ(got.size(), 1U);
        EXPECT_EQ(get32(got[0], 12) >> 16 & 0x1FFC, 0x1FFCU);
        put(got[0], 12, Bytes(8));                  // beyond the mask's bits nothing is written
        EXPECT_EQ(got[0], dceRecord(SET, 44, 35, 1, // 0 ahead of 1
                                    {{20, policy},
                                     {24, 9216},
                                     {28, 16 << 16 | 14},
                                     {32, 12 << 16 | 10},
                                     {36, 8 << 16 | 6},
                                     {40, 2 << 16 | 4}}));
    }
    EXPECT_EQ(tell(QOS_MC_SCH_MSG, body), 0U);
    EXPECT_EQ(get32(sent().at(0), 12), 1U) << "a weight of 0 goes out as 1";
}

TEST_F(Larkin, MulticastQueues)
{
    Bytes body = ccbBody(ALL);
    EXPECT_EQ(tell(QOS_MCAST_RATELIMIT_MSG, body), 0U);
    EXPECT_EQ(get32(body, 183), 55U) << "a node without chips";
    ready();
    put(body, {{142, 0x11223344}, {146, 0x00015566}});
    for (uint32_t q = 0; q < 8; ++q)
        put32(body, 150 + 4 * q, 0x10100 + q);
    EXPECT_EQ(tell(QOS_MCAST_RATELIMIT_MSG, body), 0U);
    EXPECT_TRUE(holds(body, {{24, LARKIN_CHIP}, {183, 0}}));
    EXPECT_EQ(sent(), (List{dceRecord(CONFIG, 20, 19, 1, {{12, 0x55660000}, {16, 0x11223344}})}));
    put32(body, 0, LARKIN_CHIP);
    EXPECT_EQ(tell(QOS_MCAST_TAILDROP_MSG, body), 0U);
    Bytes drops = dceRecord(CONFIG, 44, 21, 8);
    for (uint32_t q = 0; q < 8; ++q)
        put32(drops, 12 + 4 * q, q << 16 | (0x100 + q));
    EXPECT_EQ(sent(), (List{drops}));
    chip->refuse(CONFIG);
    EXPECT_EQ(told(QOS_MCAST_TAILDROP_MSG, body), 22U);
    put32(body, 0, 0x88470000);
    EXPECT_EQ(tell(QOS_MCAST_TAILDROP_MSG, body), 25U);

    Bytes stats(364), counters(152);
    put(stats, {{0, LARKIN_CHIP}, {4, 55}});
    put64(counters, 0x58, 7);
    put64(counters, 0x90, ~uint64_t{0});
    chip->give(0x0A050003, counters);
    inside.driver.requests();
    EXPECT_EQ(tell(QOS_GET_MCAST_RCVQUEUE_STATS_MSG, stats), 0U);
    EXPECT_EQ(sent(), (List{dceRecord(0x0A050003, 164)}));
    EXPECT_EQ(get32(stats, 4), 0U);
    EXPECT_EQ(getText(stats, 100), "7");
    EXPECT_EQ(getText(stats, 100 + 7 * 33), "18446744073709551615");

    // A chip type without the operations, at the end of a walk.
    tell(QOS_CHIPUP_MSG, chipUpBody(CHIP, 1, 0, 1));
    put32(body, 0, ALL);
    EXPECT_EQ(told(QOS_MCAST_RATELIMIT_MSG, body), 1U);
    put32(stats, 0, CHIP);
    EXPECT_EQ(tell(QOS_GET_MCAST_RCVQUEUE_STATS_MSG, stats), 25U);
    inside.log.ignoreErrs();
}

TEST_F(Larkin, CountersAndTexts)
{
    ready();
    Bytes buffers(108), swm(32), rcv(182), data(472);
    put32(buffers, 4, 4321);
    for (uint32_t i = 0; i < 8; ++i)
        put32(buffers, 12 + 4 * i, 50 + i);
    put64(swm, 16, 30);
    put64(data, 0x188, 12);
    chip->give(GET, buffers);
    chip->give(0x0A050005, swm);
    chip->give(COUNTERS, data);
    put(rcv, {{0, LARKIN_PORT}, {4, 55}, {12, 0x900000}, {16, 7}});
    EXPECT_EQ(tell(QOS_GET_RCVQUEUE_STATS_MSG, rcv), 0U);
    EXPECT_EQ(sent(), (List{dceRecord(GET, 120, 33, 1, {{12, LARKIN_PORT}}),
                            dceRecord(0x0A050005, 44, 0, 0, {{12, 1}, {16, 1}, {20, LARKIN_PORT}}),
                            dceRecord(COUNTERS, 484, 0, 0, {{12, 1}, {28, LARKIN_PORT}})}));
    EXPECT_TRUE(holds(rcv, {{4, 0}, {8, 4321}, {12, BUDGET}, {16, 0}, {20, 51}, {24, 50}, {28, 52}, {48, 57}}));
    EXPECT_EQ(getText(rcv, 149), "42");
    chip->refuse(0x0A050005);
    EXPECT_EQ(told(QOS_GET_RCVQUEUE_STATS_MSG, rcv), 22U);
    EXPECT_EQ(getText(rcv, 149), "42");
    Bytes texts = noise(1261, 9);
    put32(texts, 0, LARKIN_PORT);
    EXPECT_EQ(inside.traffic(QOS_GET_QUEUE_STATS_MSG, texts), 0xe132ca42U);
    EXPECT_EQ(inside.traffic(QOS_GET_FLOWCONTROL_STATS_MSG, texts), 0x18d7fd7fU);
    inside.expectErr({"If count mismatch in flowControl response",
                      "If count mismatch in queue response, expected 1, got 0", "ASIC Driver failed",
                      "SWM ioctl for port p failed, rc: 22", "Failed to retrieve SWM Stats"});
}

TEST_F(Larkin, Clears)
{
    ready();
    Bytes body = bodyOf(QOS_CLEAR_STATS_MSG, Field{"ifindex", LARKIN_PORT});
    EXPECT_EQ(tell(QOS_CLEAR_STATS_MSG, body), 0U);
    EXPECT_EQ(sent(), (List{dceRecord(0x0A050006, 24, 0, 0, {{12, 1}, {16, 1}, {20, LARKIN_PORT}})}));
    for (uint32_t n = 1; n < 42; ++n)
        addPort(LARKIN_PORT + n * 0x8000);
    inside.driver.requests();
    put(body, {{4, ALL}, {8, 1}});
    chip->refuse(0x0A050006, 1);
    EXPECT_EQ(tell(QOS_CLEAR_STATS_MSG, body), 0U) << "the status is that of the queues";
    const auto all = sent();
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[0].size(), 4U * 45);
    EXPECT_EQ(get32(all[0], 12), 40U);
    EXPECT_EQ(get32(all[1], 12), 2U) << "the ports that one request does not hold";
    EXPECT_EQ(all[1].size(), 28U);
    EXPECT_EQ(all[2], dceRecord(0x0A050004, 12));
    EXPECT_EQ(larkClearStats(bodyIn<qosClearStatsMsg_t>(body)), 25U) << "no chip is meant outside the walk";
    EXPECT_TRUE(sent().empty());
    inside.log.ignoreErrs();
}
