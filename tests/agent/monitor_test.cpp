// SPDX-License-Identifier: Apache-2.0
// The two monitors: their timers on a stepped clock, what they read, whom they tell, and what stays when a step fails.

#include "agent/bum_monitor.h"
#include "agent/drop_monitor.h"
#include "agent/drop_poll.h"
#include "agent/policer.h"
#include "tests/support/inside.h"

namespace {

constexpr uint32_t STATS_READ = 0x06270000;

Bytes words(const std::vector<uint32_t> &values)
{
    Bytes bytes(4 * values.size());
    for (size_t i = 0; i < values.size(); ++i)
        put32(bytes, 4 * i, values[i]);
    return bytes;
}

Bytes watchBody(uint32_t ifindex, uint8_t cmd)
{
    return bodyOf(QOS_DROP_MONITOR_CFG_MSG, Field{"ifindex", ifindex}, Field{"ifName", 'p'},
                  Field{"chip_ifindex", CHIP}, Field{"cmd", cmd});
}

std::map<uint32_t, uint16_t> portsUpTo(uint32_t last)
{
    std::map<uint32_t, uint16_t> ports;
    for (uint32_t n = 1; n <= last; ++n)
        ports[portNumber(n)] = 0;
    return ports;
}

// A node with ports on a Tessel.
struct Monitored : LiveNode {
    explicit Monitored(uint32_t ports)
    {
        chip->ports = portsUpTo(ports);
        driver.always(chipReply(chip));
        EXPECT_EQ(status(1, chipUpBody(CHIP, 1, 0, 1)), 0U);
        for (uint32_t n = 1; n <= ports; ++n)
            EXPECT_EQ(status(2, ifAddBody(portNumber(n), "p")), 0U);
        driver.requests();
    }
    // Steps the clock; the requests that came of it.
    std::vector<Bytes> step(unsigned seconds)
    {
        node.ctl("clock step " + std::to_string(seconds));
        node.sync();
        node.sync(); // a timer that is due runs after what was ready before
        return driver.records();
    }
    std::shared_ptr<ChipState> chip = std::make_shared<ChipState>();
};

// The agent's tables in this process, with three ports of which the manager cannot be told.
struct MonitorInside : testing::Test {
    MonitorInside()
    {
        qos_velmar_state.mi_sock = -1;
        qaBumSchedulePeriodicRoutine(0);
        qaBumInit();
        qaDropMonitorSchedulePeriodicRoutine(0);
        qaDropMonitorInit();
        chip->ports = portsUpTo(3);
        inside.driver.always(chipReply(chip));
        inside.add(CHIP, 1, {portNumber(1), portNumber(2), portNumber(3)});
    }
    ~MonitorInside() override { qos_velmar_state.mi_sock = mi_sock; }
    static uint32_t watch(uint32_t ifindex, uint8_t cmd = 1)
    {
        return tell(QOS_DROP_MONITOR_CFG_MSG, watchBody(ifindex, cmd));
    }
    static qaDropMonitorInfo_t *watched(unsigned index)
    {
        return entriesOf<qaDropMonitorInfo_t>(qosLookupChip(8)->drop_monitor_list).at(index);
    }
    static qaPolPolicerInfo_t *bum()
    {
        return entriesOf<qaPolPolicerInfo_t>(qosLookupChip(8)->polCfg.bum_policer_list).at(0);
    }

    Inside inside;
    const int32_t mi_sock = qos_velmar_state.mi_sock;
    std::shared_ptr<ChipState> chip = std::make_shared<ChipState>();
};

} // namespace

TEST(BumMonitor, TransitionsByTheTimer)
{
    Monitored live(2);
    live.manager.tell(31, bumBody(portNumber(1), 7));
    live.manager.tell(31, bumBody(portNumber(2), 8));
    live.manager.tell(31, bumBody(portNumber(2), 9, 0)); // is not read
    live.driver.requests();
    EXPECT_TRUE(live.step(4).empty());
    // Both counters; port, policer, direction and state of who is told.
    const std::tuple<uint64_t, uint64_t, std::vector<std::vector<uint32_t>>> periods[] = {
        {0, 0, {}},
        {5, 0, {{portNumber(1), 7, 0, 1}}},
        {6, 0, {}},
        {6, 3, {{portNumber(1), 7, 0, 0}, {portNumber(2), 8, 0, 1}}},
        {2, 3, {{portNumber(1), 7, 0, 1}, {portNumber(2), 8, 0, 0}}}, // a fall is a movement
    };
    for (unsigned wait = 1; const auto &[first, second, notices] : periods) {
        SCOPED_TRACE(testing::Message() << first << " " << second);
        live.chip->set(&ChipState::violations, 7, first);
        live.chip->set(&ChipState::violations, 8, second);
        const std::vector<Bytes> records = live.step(std::exchange(wait, 5));
        ASSERT_EQ(records.size(), 1U) << "both policers in one request";
        EXPECT_TRUE(holds(records[0], {{0, STATS_READ}, {32, 2}}));
        for (const auto &notice : notices)
            EXPECT_EQ(live.manager.receive(), message(43, words(notice)));
        EXPECT_TRUE(live.manager.silent());
    }
    // Reset tells nobody; the next movement is told anew.
    Bytes reset = bodyOf(QOS_BUM_RESET_MON_STATE_MSG, Field{"ifindex", portNumber(1)});
    EXPECT_EQ(live.status(68, reset), 0U);
    live.chip->set(&ChipState::violations, 7, 3);
    EXPECT_EQ(live.step(5).size(), 1U);
    EXPECT_EQ(live.manager.receive(), message(43, words({portNumber(1), 7, 0, 1})));
    put32(reset, 0, portNumber(5));
    EXPECT_EQ(live.status(68, reset), 1U);
    live.node.expectErr("Failed to find interface  for policer coonfig");

    // Stage Active starts the timer again, one and not two. What was told stays told.
    live.node.ctl("stage 1001");
    live.manager.receive();
    live.chip->set(&ChipState::violations, 7, 4);
    EXPECT_EQ(live.step(5).size(), 1U);
    EXPECT_TRUE(live.manager.silent());
    // The last monitored policer takes the timer with it.
    for (const uint32_t id : {7U, 8U}) {
        Bytes body = policerDelBody(portNumber(id - 6), id);
        put32(body, 42, 1);
        live.manager.tell(32, body);
    }
    live.driver.requests();
    EXPECT_TRUE(live.step(20).empty());
}

TEST_F(MonitorInside, BumStateOutlivesFailures)
{
    Bytes body = bumBody(portNumber(1), 7);
    tell(QOS_POL_POLICER_ADD_MSG, body);
    const auto period = [](int32_t state, uint64_t counter) {
        qaBumMonitor();
        EXPECT_EQ(bum()->bum_info.state, state);
        EXPECT_EQ(bum()->bum_info.violation_cntr, counter);
    };
    chip->violations[7] = 5;
    period(1, 5); // the send has failed
    chip->statuses[STATS_READ] = 9;
    period(1, 0); // a read that fails leaves zeros, which is a movement
    chip->statuses.clear();
    qosLookupIfEntry(portNumber(1))->ifIndex = portNumber(4); // the interface is known no more
    period(1, 5);
    period(0, 5);
    inside.expectErr({"Failed to send bum mon state change for interface p", "ASIC Driver failed",
                      "Failed to get stats", "Failed to retrieve pol Stats",
                      "Failed to find interface 0x18408000 for ifindex"});
    inside.expectErr("Failed send MI message");
}

TEST(DropMonitor, EveryPortIsReadAndTold)
{
    Monitored live(17);
    uint32_t first = 18;
    for (const uint32_t ports : {1U, 16U, 17U}) {
        SCOPED_TRACE(ports);
        while (first > 18 - ports) // from the highest down; the list is sorted
            EXPECT_EQ(live.status(73, watchBody(portNumber(--first), 1)), 0U);
        Bytes notice = words({ports});
        std::vector<Bytes> reads, requests;
        for (uint32_t n = first; n <= 17; ++n) {
            live.chip->set(&ChipState::drops, portNumber(n), ports);
            notice = notice + words({portNumber(n), 1, 0});
            reads.push_back(cosRecord(0x0127080A, 448, 448, {{28, portNumber(n)}}));
            if (reads.size() == 8 || n == 17)
                requests.push_back(cosBulk(std::exchange(reads, {})));
        }
        EXPECT_EQ(live.step(60), requests);
        EXPECT_EQ(live.manager.receive(), message(74, notice));
        EXPECT_EQ(live.step(60), requests);
        EXPECT_TRUE(live.manager.silent()) << "a counter that stands is no drop";
    }
    // Restarted once at stage Active; gone with the last port.
    live.node.ctl("stage 1001");
    live.manager.receive();
    live.chip->set(&ChipState::drops, portNumber(3), 77);
    EXPECT_EQ(live.step(60).size(), 3U);
    EXPECT_EQ(live.manager.receive(), message(74, words({1, portNumber(3), 1, 0})));
    for (uint32_t n = 1; n <= 17; ++n)
        EXPECT_EQ(live.status(73, watchBody(portNumber(n), 2)), 0U);
    EXPECT_TRUE(live.step(600).empty());
    for (const auto &[n, cmd, status] :
         {std::tuple{1U, uint8_t{2}, 55U}, {1U, 3, 55U}, {50U, 1, 1U}}) // none is watched
        EXPECT_EQ(live.status(73, watchBody(portNumber(n), cmd)), status);
    live.node.expectErr({"Failed to get drop_monitor_info",
                         "Failed to process drop monitor config for interface p, error = 24",
                         "Failed to find interface p for drop monitor config"});
}

TEST_F(MonitorInside, ReadThatFailsChangesNothing)
{
    for (uint32_t n = 1; n <= 3; ++n)
        watch(portNumber(n));
    const auto with = [&](size_t at, uint32_t value) {
        return [this, at, value](const Bytes &request) {
            std::vector<Bytes> answers = chipReply(chip)(request);
            put32(answers[0], 48 + at, value);
            return answers;
        };
    };
    chip->drops[portNumber(1)] = 3;
    const std::pair<Driver::Reply, const char *> cases[] = {
        {Driver::status(9), "Failed to get rmon counters for port p, rc: 22"},
        {with(32, 3 << 16 | 2), "No of records processed were less/more than requested. Requested:3, Processed:2"},
        {with(36 + 448, 1), "Error getting TD stats for ioctl request number:1"},
        {with(36 + 896 + 24, 1), "Error getting TD stats for ioctl request number:2"},
    };
    for (const auto &[reply, err] : cases) {
        inside.driver.script({reply});
        qaDropMonitor();
        EXPECT_EQ(watched(0)->tdStats.td_drop, 0U);
        EXPECT_EQ(inside.driver.requests().size(), 1U);
        inside.expectErr(err);
    }
    inside.expectErr({"ASIC Driver failed", "Failed to retrieve tail drop Stats for if: p, rc: 22"});
    EXPECT_FALSE(inside.log.has("drop seen at"));
    // With no record at all the envelope goes out alone. A Tessel has no RED read: 25 in the body, and no failure.
    Bytes body(12 + 36);
    putNative(body, 12, 4, portNumber(1));
    EXPECT_EQ(qaProcessGetTdMonitorStats(bodyIn<qosTdMonitorStatsMsg_t>(body)), 0U);
    EXPECT_EQ(inside.driver.requests().at(0).size(), 48U + 36U);
    EXPECT_EQ(qaProcessGetRedMonitorStats(bodyIn<qosRedMonitorStatsMsg_t>(body)), 0U);
    EXPECT_EQ(get32(body, 4), 25U);
    putNative(body, 12, 4, portNumber(9));
    EXPECT_EQ(qaProcessGetTdMonitorStats(bodyIn<qosTdMonitorStatsMsg_t>(body)), 25U);
    inside.expectErr("Unable to find interface for ifindex 18448000 in db");
}

TEST_F(MonitorInside, RealDrops)
{
    using Marks = std::vector<uint32_t>;
    for (const uint32_t n : {1U, 2U, 3U, 2U}) // a second entry of the same port
        watch(portNumber(n));
    EXPECT_EQ(dropMonitorContext.monitor_cnt, 4U);
    Bytes bytes(12 + 3 * 36);
    auto *td = bodyIn<qosTdMonitorStatsMsg_t>(bytes);
    const auto judge = [&](const std::vector<uint64_t> &counters) {
        for (uint32_t i = 0; i < 3; ++i) {
            td->records[i].ifindex = portNumber(i + 1);
            td->records[i].td_drop = counters[i];
            td->records[i].is_td_if_drop = counters[i] ? 1 : 0;
        }
        qaIdentifyRealTdIfDrops(td, 3);
        return Marks{td->records[0].is_td_if_drop, td->records[1].is_td_if_drop, td->records[2].is_td_if_drop};
    };
    EXPECT_EQ(judge({4, 5, 0}), (Marks{1, 1, 0}));
    EXPECT_EQ(judge({4, 6, 7}), (Marks{0, 1, 1}));
    EXPECT_EQ(judge({0, 6, 7}), (Marks{0, 0, 0})) << "a fall to zero is saved and not told";
    EXPECT_EQ(watched(0)->tdStats.td_drop, 0U);
    EXPECT_EQ(watched(2)->tdStats.td_drop, 6U) << "both entries of the port";

    // RED: all three counters are compared, green alone marks; else the back end's mark stands.
    auto &red = bodyIn<qosRedMonitorStatsMsg_t>(bytes)->records[0];
    red.ifindex = portNumber(1);
    // Green, red and yellow, and the marks that are told and kept.
    const std::tuple<uint64_t, uint64_t, uint64_t, uint32_t, uint32_t> steps[] = {
        {0, 0, 3, 1, 0}, {0, 0, 3, 0, 0}, {2, 0, 3, 1, 1}, {2, 1, 3, 1, 1}, {0, 1, 3, 1, 1}, {0, 1, 3, 0, 0}};
    for (const auto &[greens, reds, yellows, mark, kept] : steps) {
        SCOPED_TRACE(testing::Message() << greens << reds << yellows << mark);
        red.green_drop = greens;
        red.red_drop = reds;
        red.yellow_drop = yellows;
        red.is_red_if_drop = greens || reds || yellows;
        qaIdentifyRealRedIfDrops(bodyIn<qosRedMonitorStatsMsg_t>(bytes), 1);
        EXPECT_EQ(red.is_red_if_drop, mark);
        EXPECT_EQ(watched(0)->redStats.is_red_if_drop, kept);
        EXPECT_EQ(watched(0)->redStats.red_drop, reds);
    }
    qaProcessDropMonitorClearIfMsg(qosLookupIfEntry(portNumber(2)));
    EXPECT_EQ(watched(2)->tdStats.td_drop, 0U);
    EXPECT_EQ(watched(3)->tdStats.td_drop, 7U);
    EXPECT_EQ(qaProcessDropMonitorClearAllMsg(nullptr), 0U);
    EXPECT_EQ(watched(3)->tdStats.td_drop, 0U);
    EXPECT_EQ(watched(0)->redStats.yellow_drop, 0U);

    // An interface that has gone ends the walk: it and the port behind it keep the back end's marks.
    EXPECT_EQ(judge({1, 1, 1}), (Marks{1, 1, 1}));
    EXPECT_EQ(qosProcessPortDelete(portNumber(2)), 0);
    EXPECT_EQ(judge({1, 1, 1}), (Marks{0, 1, 1}));
    inside.expectErr("Failed to find interface 0x18410000 for td monitor stats");

    // The send fails, the counters are saved all the same, and the drops are not told later.
    chip->drops = {{portNumber(1), 50}};
    watch(portNumber(3), 2);
    tnx_list_t *list = qosLookupChip(8)->drop_monitor_list;
    for (int i = 0; i < 2; ++i) // the deleted port's two entries
        list_delete_node(list, list->tail);
    qaDropMonitor();
    EXPECT_EQ(watched(0)->tdStats.td_drop, 50U);
    EXPECT_EQ(inside.log.count("Sending tail drop notification to Mgr with 1 records"), 1U);
    qaDropMonitor();
    EXPECT_EQ(inside.log.count("Sending tail drop notification"), 1U);
    inside.expectErr({"Failed to send tail drop mon state change to mgr", "Failed send MI message"});
}

TEST_F(MonitorInside, WatchesThatFail)
{
    qosChip_t *record = qosLookupChip(8);
    qaDropMonitorChipDown(record);
    const Bytes body = watchBody(portNumber(1), 1);
    EXPECT_EQ(get32(answer(QOS_DROP_MONITOR_CFG_MSG, body, 2), 29), 2U); // no list takes it: the count stays raised
    EXPECT_EQ(dropMonitorContext.monitor_cnt, 1U);
    qaDropMonitor();
    EXPECT_EQ(watch(portNumber(1), 2), 24U);
    EXPECT_EQ(qaDropMonitorChipUp(record), 0);
    EXPECT_EQ(watch(0x8bc00000), 0U) << "the chip as a whole";
    EXPECT_EQ(watch(CHANNEL), 1U);
    EXPECT_TRUE(inside.driver.requests().empty());
    qosLookupIfEntry(portNumber(1))->chip = nullptr;
    Bytes td(12 + 24);
    putNative(td, 12, 4, portNumber(1));
    EXPECT_EQ(qaProcessGetTdMonitorStats(bodyIn<qosTdMonitorStatsMsg_t>(td)), 25U);
    qaIdentifyRealTdIfDrops(bodyIn<qosTdMonitorStatsMsg_t>(td), 1);
    inside.expectErr({"Failed to find chip for interface 0x18408000", "Failed to add interface to drop monitor list",
                      "Failed to get drop_monitor_info", "Failed to process drop monitor config",
                      "Failed to find interface p for drop monitor"});
}
