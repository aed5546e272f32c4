// SPDX-License-Identifier: Apache-2.0
// Policers: the batches byte by byte, rates and actions, the slices of counters and clears, and what the three lists
// hold after a success and after a failure.

#include "agent/bum_monitor.h"
#include "agent/policer.h"
#include "agent/policer_stats.h"
#include "tests/support/inside.h"

namespace {

constexpr uint32_t SECOND_CHIP = 0x88430000; // slot 1, chip 3

// One Tessel with three ports, of groups 0, 2 and 2.
struct Policers : testing::Test {
    Policers()
    {
        qaBumSchedulePeriodicRoutine(0);
        qaBumInit();
        chip->ports = {{portNumber(1), 0}, {portNumber(2), 2}, {portNumber(3), 2}};
        inside.driver.always(chipReply(chip));
        inside.add(CHIP, 1, {portNumber(1), portNumber(2), portNumber(3)});
    }
    static uint32_t add(Bytes &body) { return told(QOS_POL_POLICER_ADD_MSG, body); }
    static uint32_t remove(Bytes &body) { return told(QOS_POL_POLICER_REM_MSG, body); }
    // A BUM policer that is in its list.
    static void addBum(uint32_t ifindex, uint32_t id, uint32_t poll)
    {
        Bytes body = bumBody(ifindex, id, poll);
        EXPECT_EQ(add(body), 0U);
    }
    std::vector<Bytes> records() { return inside.records(); }
    static const qosPolCfg_t &lists() { return qosLookupChip(8)->polCfg; }
    static std::vector<qaPolPolicerInfo_t *> bums() { return entriesOf<qaPolPolicerInfo_t>(lists().bum_policer_list); }
    static std::vector<uint32_t> bumIds()
    {
        std::vector<uint32_t> found;
        for (const qaPolPolicerInfo_t *bum : bums())
            found.push_back(bum->policer_id);
        return found;
    }

    Inside inside;
    std::shared_ptr<ChipState> chip = std::make_shared<ChipState>();
};

using Policer = std::pair<uint32_t, uint32_t>; // port and id
using Words = std::vector<uint32_t>;
using List = std::vector<Bytes>;

Bytes statsBody(const std::vector<Policer> &policers)
{
    Bytes body = bodyOf(QOS_GET_POL_STATS_MSG, Field{"chip_ifindex", CHIP}, Field{"num_records", policers.size()});
    body.resize(14 + 136 * policers.size());
    for (size_t i = 0; i < policers.size(); ++i)
        put(body, {{14 + 136 * i, policers[i].first}, {18 + 136 * i, policers[i].second}});
    return body;
}

Bytes clearBody(uint32_t target, uint32_t dir, const std::vector<Policer> &policers)
{
    Bytes body = bodyOf(QOS_POL_STATS_CLR_MSG, Field{"ifindex", target}, Field{"dir", dir},
                        Field{"num_policers", policers.size()});
    body.resize(std::max(body.size(), 17 + 8 * policers.size()));
    for (size_t i = 0; i < policers.size(); ++i)
        put(body, {{17 + 8 * i, policers[i].first}, {21 + 8 * i, policers[i].second}});
    return body;
}

} // namespace

TEST_F(Policers, AddBatchByteByByte)
{
    for (const uint32_t dir : {0U, 1U}) {
        constexpr uint64_t CBS = 0x1122334455667788, EBS = 0x99aabbccddeeff00;
        Bytes body = policerAddBody(portNumber(1), 0x12345678);
        set(body, 31, Field{"profile_id", 0xc01}, // the policer's record keeps 10 bits of it
            Field{"conform_cos", 1, 1}, Field{"exceed_cos", 9, 1}, Field{"violate_cos", 17, 1}, Field{"dir", dir},
            Field{"policer_param.cir", 80000}, Field{"policer_param.cbs", CBS}, Field{"policer_param.eir", 160000},
            Field{"policer_param.ebs", EBS});
        const uint32_t side = dir == 0 ? 0x80000000 : 0;
        Bytes profile = cosRecord(0x09270000, 56, 56, {{28, 0xc01 << 1}});
        put(profile, 32, cut(body, 32, 24));
        Bytes policer =
            cosRecord(0x09270002, 88, 88, {{28, side | 1U << 21}, {44, 9986}, {60, 19972}, {80, 0x12345678}});
        put64(policer, 32, CBS);
        put64(policer, 48, EBS);
        const Bytes assoc =
            cosRecord(0x09270004, 40, 40, {{28, side | 1U << 22}, {32, portNumber(1)}, {36, 0x12345678}});
        const std::tuple<uint8_t, uint32_t, uint32_t, std::vector<Bytes>> cases[] = {
            {1, 1, 1, {profile, policer, assoc}},
            {1, 0, 0, {policer}},
            {2, 7, 1, {profile, policer}},
            {3, 1, 1, {assoc}},
            {3, 1, 2, {}},
            {9, 1, 1, {}}};
        for (const auto &[type, add_profile, class_default, nested] : cases) {
            SCOPED_TRACE(testing::Message() << int{type} << " dir " << dir);
            Bytes one = body;
            one[66] = type;
            put(one, {{79, add_profile}, {67, class_default}});
            EXPECT_EQ(add(one), 0U);
            EXPECT_EQ(records(), List{cosBulk(nested)});
        }
    }
}

TEST_F(Policers, RemoveAndProfileByteByByte)
{
    for (const uint32_t dir : {0U, 1U}) {
        const Bytes deassoc =
            cosRecord(0x09270005, 36, 36, {{28, (dir ? 0 : 0x80000000) | 1U << 23}, {32, portNumber(1)}});
        const Bytes policer = cosRecord(0x09270003, 36, 36, {{28, dir ? 0 : 1}, {32, 0x02345678}}); // 28 bits of the id
        const Bytes profile = cosRecord(0x09270000, 56, 56, {{28, 5 << 1 | 1}});
        const std::tuple<uint8_t, uint32_t, uint32_t, std::vector<Bytes>> cases[] = {
            {1, 5, 1, {deassoc, policer, profile}}, {1, 0, 0, {policer}}, {2, 5, 1, {deassoc}}, {2, 5, 0, {}}};
        for (const auto &[type, profile_id, class_default, nested] : cases) {
            Bytes body = policerDelBody(portNumber(1), 0x12345678, type);
            put(body, {{28, profile_id}, {38, class_default}, {46, dir}});
            EXPECT_EQ(remove(body), 0U);
            EXPECT_EQ(records(), List{cosBulk(nested)});
        }
    }
    for (const uint8_t type : {1, 2}) {
        Bytes body(37, 0x2a);
        put(body, {{0, CHIP}, {4, 6}});
        body[32] = type;
        Bytes record = cosRecord(0x09270000, 56, 56, {{28, 6 << 1 | (type == 2)}});
        if (type != 2)
            put(record, 32, Bytes(24, 0x2a));
        EXPECT_EQ(get32(answer(QOS_POL_PROFILE_MSG, body), 33), 0U);
        EXPECT_EQ(records(), List{record});
    }
}

TEST_F(Policers, RatesAndActions)
{
    constexpr uint64_t UNLIMITED = 0x0000ffffffffffff;
    for (const auto &[type, step] : {std::pair{1U, uint64_t{4993}}, {2U, 4982}, {3U, 5007}}) {
        qosLookupChip(8)->chip_type = type;
        const uint64_t half = 2 * step - step / 2; // from which on a rate is rounded up
        const std::tuple<uint64_t, uint64_t, uint64_t> rates[] = {
            {0, 0, 0},
            {1, step, step},
            {8 * (half - 1), step, step},
            {8 * half, 2 * step, 2 * step},
            {UNLIMITED, 5000000000, 0},
        };
        for (const auto &[given, committed, excess] : rates) {
            SCOPED_TRACE(testing::Message() << type << ": " << given);
            Bytes body = policerAddBody(portNumber(1), 1);
            set(body, QOS_POL_POLICER_ADD_MSG, Field{"policer_param.cir", given}, Field{"policer_param.cbs", 77},
                Field{"policer_param.eir", given}, Field{"policer_param.ebs", 88});
            EXPECT_EQ(add(body), 0U);
            const Bytes record = records().at(0);
            EXPECT_EQ(get64(record, 36 + 40), committed);
            EXPECT_EQ(get64(record, 36 + 56), excess);
            EXPECT_EQ(get64(record, 36 + 32), given == UNLIMITED ? 0x1ffffffffU : 77U);
            EXPECT_EQ(get64(record, 36 + 48), 88U);
            EXPECT_EQ(get64(body, 131), committed * 8);
            EXPECT_EQ(get64(body, 139), excess * 8);
        }
    }
    qosLookupChip(8)->chip_type = 1;
    // Each of the six flags, the precedence ahead of the DSCP; values that are too wide are cut.
    const std::tuple<uint8_t, uint32_t, uint32_t> actions[] = {
        {0x00, 0x005, 0x006}, {0x80, 0x9c5, 0x006}, {0xc0, 0x9c5, 0x006}, {0x40, 0xdfd, 0x006}, {0x20, 0x205, 0x006},
        {0x10, 0x005, 0x886}, {0x18, 0x005, 0x886}, {0x08, 0x005, 0xc56}, {0x04, 0x005, 0x206}, {0x03, 0x005, 0x006},
    };
    for (const auto &[flags, conform, exceed] : actions) {
        Bytes body = policerAddBody(portNumber(1), 1);
        put(body, 115, {0xff, 0xfd, 0x0a, 0x06, flags});
        EXPECT_EQ(add(body), 0U);
        EXPECT_TRUE(holds(records().at(0), {{36 + 64, conform}, {36 + 68, exceed}})) << int{flags};
    }
}

TEST_F(Policers, ListsAfterAddAndFailure)
{
    const std::tuple<const char *, uint32_t, uint32_t, uint32_t, uint32_t, size_t, size_t, size_t, unsigned> cases[] = {
        {"egress", 0, 0, 5, 0, 0, 1, 0, 0},
        {"BUM, any poll value counts", 1, 3, 0, 0, 0, 0, 1, 1},
        {"only 1 is a BUM policer", 2, 1, 0, 0, 1, 0, 0, 0},
        {"ingress refused", 0, 0, 0, 9, 0, 0, 0, 0},
        {"egress refused", 0, 0, 5, 9, 0, 0, 0, 0},
        {"polled BUM refused", 1, 1, 0, 9, 0, 0, 0, 0},
        {"BUM without polling stays", 1, 0, 0, 9, 0, 0, 1, 0},
        {"BUM with another poll value stays and counts", 1, 2, 0, 9, 0, 0, 1, 1},
        {"ingress with polling stays", 0, 1, 0, 9, 1, 0, 0, 0},
    };
    for (const auto &[what, is_bum, poll, dir, status, ingress, egress, bum, monitored] : cases) {
        SCOPED_TRACE(what);
        chip->statuses[0x00070000] = status;
        Bytes body = policerAddBody(portNumber(1), 7);
        put(body, {{62, dir}, {POL_IS_BUM, is_bum}, {POL_POLL, poll}});
        EXPECT_EQ(add(body), status ? 22U : 0U);
        EXPECT_EQ(lists().ingr_policer_list->count, ingress);
        EXPECT_EQ(lists().egr_policer_list->count, egress);
        EXPECT_EQ(lists().bum_policer_list->count, bum);
        EXPECT_EQ(bumContext.monitor_policer_cnt, monitored);
        EXPECT_EQ(bumContext.timer != nullptr, monitored != 0);
        if (Bytes gone = policerDelBody(portNumber(1), 7); status == 0 && is_bum != 1) {
            put32(gone, 46, dir);
            EXPECT_EQ(remove(gone), 0U);
            EXPECT_EQ(lists().ingr_policer_list->count + lists().egr_policer_list->count, 0U);
        }
        for (tnx_list_t *list : {lists().ingr_policer_list, lists().egr_policer_list, lists().bum_policer_list})
            list_delete_all_node(list);
        bumContext.monitor_policer_cnt = 1;
        qaBumDecrementMonitorPolicerCnt();
    }
    inside.expectErr({"ASIC Driver failed", "Failed to add policer for interface p, error = 22",
                      "Failed to process policer config for interface p, error = 22"});
}

TEST_F(Policers, RefusedAheadOfTheChip)
{
    inside.add(LARKIN_CHIP, 0, {});
    for (const auto &[ifindex, target] : {std::pair{portNumber(9), CHIP}, {ALL, SECOND_CHIP}, {ALL, LARKIN_CHIP}}) {
        Bytes body = policerAddBody(ifindex, 1);
        put32(body, 24, target);
        EXPECT_EQ(add(body), 1U);
    }
    inside.expectErr({"Failed to find interface p for policer coonfig",
                      "Failed to find chip for interface p chip ifindex 0x88430000",
                      "NULL Default CoS IOCTL handler for chip 9"});
    EXPECT_EQ(qosLookupChip(9)->polCfg.ingr_policer_list->count, 0U) << "no record stays";
    EXPECT_TRUE(records().empty());
}

TEST_F(Policers, GroupsAndKeys)
{
    addBum(portNumber(2), 7, 1); // group 2
    addBum(portNumber(1), 9, 0); // group 0
    addBum(portNumber(1), 8, 0);
    EXPECT_EQ(bumIds(), (Words{8, 9, 7})) << "group, then id";
    addBum(portNumber(3), 7, 0);
    EXPECT_EQ(lists().bum_policer_list->count, 4U) << "equal keys are both kept";

    // An update looks for group 0: id 7 is only there in group 2, 8 is found and counted each time.
    for (const uint32_t id : {7U, 8U, 8U}) {
        Bytes body = bumBody(portNumber(id == 7 ? 2 : 1), id, 1, 2);
        EXPECT_EQ(add(body), 0U);
    }
    EXPECT_EQ(bumContext.monitor_policer_cnt, 3U);
    // A refused update leaves the record, monitored as it was before.
    chip->statuses[0x00070000] = 9;
    for (const uint32_t id : {8U, 9U}) {
        Bytes body = bumBody(portNumber(1), id, 1, 2);
        EXPECT_EQ(add(body), 22U);
    }
    EXPECT_EQ(bumContext.monitor_policer_cnt, 3U);
    EXPECT_EQ(bums()[0]->bum_info.monitor_bum_policer, 1);
    EXPECT_EQ(bums()[1]->bum_info.monitor_bum_policer, 0);

    // A removal uses the port's group, is not taken back when the chip refuses, and goes on without a record.
    for (const uint32_t left : {3U, 2U, 2U}) {
        Bytes body = policerDelBody(portNumber(3), 7);
        put32(body, 42, 1);
        EXPECT_EQ(remove(body), 22U);
        EXPECT_EQ(get32(body, 36) >> 16, 2U);
        EXPECT_EQ(lists().bum_policer_list->count, left);
    }
    EXPECT_EQ(bumContext.monitor_policer_cnt, 2U);
    inside.expectErr({"ASIC Driver failed", "Failed to add policer for interface p",
                      "Failed to remove policer  for interface p", "Failed to process policer config",
                      "Failed to get pol_info"});

    // The whole chip: group 0 in the record, once to a Tessel.
    chip->statuses.clear();
    inside.driver.requests();
    Bytes body = policerAddBody(ALL, 6);
    put16(body, 60, 0xffff);
    EXPECT_EQ(add(body), 0U);
    EXPECT_EQ(get32(body, 60) >> 16, 0U);
    EXPECT_EQ(records().size(), 1U);
}

TEST_F(Policers, InterfaceHooks)
{
    for (uint32_t id = 1; id <= 4; ++id)
        addBum(portNumber(1), id, 1);
    addBum(portNumber(2), 1, 0);
    EXPECT_EQ(qosProcessPortDelete(portNumber(1)), 0);
    EXPECT_EQ(bumIds(), (Words{4, 1})) << "three of a port go";
    EXPECT_EQ(bumContext.monitor_policer_cnt, 4U);
    inside.driver.requests();

    qosIf_t *port = qosLookupIfEntry(portNumber(2));
    EXPECT_EQ(port->pol_info.polGroupId, 2U);
    port->ifIndex = portNumber(5);
    EXPECT_EQ(qaPolIfAdd(port), 0);
    EXPECT_EQ(get32(records().at(0), 0), 0x01270810U) << "the table is read once more";
    port->ifIndex = portNumber(2);
    qaPolChipDown(port->chip);
    EXPECT_EQ(lists().bum_policer_list, nullptr);
    EXPECT_EQ(bumContext.monitor_policer_cnt, 4U);
    qaBumMonitor(); // finds no list
    EXPECT_TRUE(records().empty());
}

TEST_F(Policers, ReadRecordsByteByByte)
{
    chip->violations = {{3, 0x0102030405060708}, {4, 5}};
    Bytes filler = policerAddBody(portNumber(1), 0x0fffffff); // the buffer is not empty before
    put32(filler, 79, 1);
    add(filler);
    inside.driver.requests();
    Bytes body = statsBody({{portNumber(1), 3}, {portNumber(2), 4}});
    put32(body, 8, 1); // the direction
    EXPECT_EQ(told(QOS_GET_POL_STATS_MSG, body), 0U);
    const Bytes record = records().at(0);
    EXPECT_EQ(record.size(), 140U) << "sent in as many bytes as the response takes";
    EXPECT_EQ(cut(record, 0, 76), cosRecord(0x06270000, 76, 76,
                                            {{8, 72},
                                             {12, 140},
                                             {28, 47},
                                             {32, 2},
                                             {36, 2 << 16},
                                             {48, 3},
                                             {56, 65535},
                                             {60, 4},
                                             {68, 65535},
                                             {72, 1}}));
    EXPECT_EQ(get32(body, 14 + 136 + 8) >> 16, 2U) << "the port's group";
    const size_t first = 14 + 112, second = first + 136;
    EXPECT_TRUE(holds(body, {{first + 4, 3}, {first + 12, 6}, {first + 16, 0x01020304}, {first + 20, 0x05060708}}));
    EXPECT_TRUE(holds(body, {{second + 4, 4}, {second + 12, 8}, {second + 16, 0}, {second + 20, 5}}));
}

TEST_F(Policers, ReadsAndClearsInSlices)
{
    const std::tuple<uint32_t, Words, Words> cases[] = {
        {0, {0}, {0}},
        {90, {90}, {90}},
        {91, {90, 1}, {91}},
        {334, {90, 90, 90, 64}, {333, 1}},
    };
    for (const auto &[count, reads, clears] : cases) {
        SCOPED_TRACE(count);
        std::vector<Policer> policers;
        for (uint32_t id = 1; id <= count; ++id) {
            policers.emplace_back(portNumber(1), id);
            chip->violations[id] = 1000 + id;
        }
        Bytes body = statsBody(policers);
        body.resize(std::max<size_t>(body.size(), 14 + 136));
        EXPECT_EQ(tell(QOS_GET_POL_STATS_MSG, body), 0U);
        for (size_t i = 0; i < count; ++i)
            ASSERT_EQ(get64(body, 14 + 136 * i + 128), 1001 + i) << i;
        EXPECT_EQ(wordsAt(records(), 32), reads);

        Bytes clear = clearBody(CHIP, 1, policers);
        EXPECT_EQ(told(QOS_POL_STATS_CLR_MSG, clear), 0U);
        EXPECT_EQ(clear[16], 1U);
        const List sent = records();
        EXPECT_EQ(wordsAt(sent, 32), clears);
        if (const Bytes &last = sent.back(); count) {
            const size_t at = 48 + 12 * (clears.back() - 1);
            EXPECT_EQ(last.size(), at + 12);
            EXPECT_TRUE(holds(last, {{28, 47}, {at, count}, {at + 4, 0}, {at + 8, 65535}}));
        }
    }
    // A slice that fails ends it; the results before it stay.
    Bytes body = statsBody(std::vector<Policer>(200, {portNumber(1), 5}));
    inside.driver.script({chipReply(chip), Driver::status(3)});
    EXPECT_EQ(told(QOS_GET_POL_STATS_MSG, body), 22U);
    EXPECT_EQ(records().size(), 2U);
    EXPECT_EQ(get64(body, 14 + 136 * 89 + 128), 1005U);
    EXPECT_EQ(get64(body, 14 + 136 * 90 + 128), 0U);
    // So does an answer without its first bit; one with another count is no failure and is not looked at.
    inside.driver.script({[](const Bytes &request) {
        Bytes record = recordOf(request);
        put16(record, 38, 1);
        put32(record, 60, 0);
        return List{answerTo(request, record)};
    }});
    Bytes one = statsBody({{portNumber(1), 5}});
    EXPECT_EQ(told(QOS_GET_POL_STATS_MSG, one), 1U);
    inside.driver.script({Driver::status(0)});
    put64(one, 14 + 128, 99);
    EXPECT_EQ(tell(QOS_GET_POL_STATS_MSG, one), 0U);
    EXPECT_EQ(get64(one, 14 + 128), 99U);
    inside.expectErr({"ASIC Driver failed", "Failed to get stats , error = 22",
                      "Failed to retrieve pol Stats for if on chip : 1/-1, rc: 22", "Bit 0 is not set :0x0",
                      "Failed to retrieve pol Stats for if on chip : 1/-1, rc: 1", " ioctl n_ret is 0"});
}

TEST_F(Policers, SumsOverChips)
{
    inside.add(SECOND_CHIP, 1, {});
    chip->violations[5] = 21;
    Bytes body = statsBody({{ALL, 5}});
    EXPECT_EQ(tell(QOS_GET_POL_STATS_MSG, body), 0U);
    EXPECT_EQ(records().size(), 2U);
    EXPECT_EQ(get64(body, 14 + 112), 10U);
    EXPECT_EQ(get64(body, 14 + 128), 42U);

    // The second chip fails: the totals are lost, its status is the answer's.
    put64(body, 14 + 128, 0);
    inside.driver.script({chipReply(chip), Driver::status(3)});
    EXPECT_EQ(told(QOS_GET_POL_STATS_MSG, body), 22U);
    EXPECT_EQ(get64(body, 14 + 128), 21U);
    // A chip without groups has no part in the sum; named directly it has no counters to give, and no clear.
    inside.add(LARKIN_CHIP, 0, {});
    EXPECT_EQ(tell(QOS_GET_POL_STATS_MSG, body), 0U);
    EXPECT_EQ(get64(body, 14 + 128), 42U);
    put(body, {{0, LARKIN_CHIP}, {14, portNumber(1)}});
    EXPECT_EQ(told(QOS_GET_POL_STATS_MSG, body), 25U);
    Bytes clear = clearBody(ALL, 0, {});
    EXPECT_EQ(told(QOS_POL_STATS_CLR_MSG, clear), 1U);
    EXPECT_EQ(get32(clear, 4), LARKIN_CHIP) << "higher chips come first";
    EXPECT_EQ(tell(QOS_POL_STATS_CLR_MSG, clearBody(0x88470000, 0, {})), 1U);
    inside.expectErr({"ASIC Driver failed", "Failed to get stats", "Failed to retrieve pol Stats",
                      "NULL POL STATS GET handler for chip 1/-1", " chip inst not found",
                      "NULL Default CoS IOCTL handler for chip 1/-1"});
}

TEST_F(Policers, ClearsForgetViolations)
{
    addBum(portNumber(2), 7, 1); // group 2
    addBum(portNumber(1), 8, 0);
    for (const uint32_t dir : {0U, 1U}) {
        Bytes body = policerAddBody(portNumber(1), 20 + dir);
        put32(body, 62, dir);
        EXPECT_EQ(add(body), 0U);
    }
    using Left = std::pair<uint64_t, uint64_t>;
    const auto mark = [] { bums()[0]->bum_info.violation_cntr = bums()[1]->bum_info.violation_cntr = 99; };
    const auto left = [] { return Left(bums()[0]->bum_info.violation_cntr, bums()[1]->bum_info.violation_cntr); };
    const std::tuple<const char *, uint32_t, uint32_t, Policer, Left> cases[] = {
        {"by the port's group", CHIP, 0, {portNumber(2), 7}, {99, 0}},
        {"another port's group", CHIP, 0, {portNumber(1), 7}, {99, 99}},
        {"all interfaces are group 0", CHIP, 0, {ALL, 8}, {0, 99}},
        {"egress forgets nothing", CHIP, 1, {portNumber(2), 7}, {99, 99}},
        {"all chips neither", ALL, 0, {portNumber(2), 7}, {99, 99}},
    };
    for (const auto &[what, target, dir, entry, after] : cases) {
        mark();
        answer(QOS_POL_STATS_CLR_MSG, clearBody(target, dir, {entry}));
        EXPECT_EQ(left(), after) << what;
    }
    inside.driver.requests();
    qosPolStatsClrAllMsg_t all = {};
    const std::tuple<Left, Words, Words, Words> whole[] = {{{99, 99}, {46, 47}, {1, 1}, {20, 21}},
                                                           {{0, 0}, {46}, {2}, {8}}};
    for (const auto &[after, devices, counts, ids] : whole) {
        mark();
        EXPECT_EQ(qaProcessPolStatsClrAll(&all), 0U);
        EXPECT_EQ(left(), after);
        const List sent = records();
        EXPECT_EQ(wordsAt(sent, 28), devices);
        EXPECT_EQ(wordsAt(sent, 32), counts);
        EXPECT_EQ(wordsAt(sent, 48), ids);
        all.is_bum_pol_stats_clr_req = 1;
    }
    // More entries than the declared body holds.
    for (uint32_t id = 100; id < 350; ++id)
        addBum(portNumber(1), id, 0);
    inside.driver.requests();
    EXPECT_EQ(qaProcessPolStatsClrAll(&all), 0U);
    EXPECT_EQ(wordsAt(records(), 32), Words{252});
}
