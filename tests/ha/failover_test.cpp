// SPDX-License-Identifier: Apache-2.0
// Takeover: agents are killed at random moments under random messages, and what the next active one holds is compared
// with an agent that was never killed and was told what has been acknowledged.
//
// FAILOVER_SEED and FAILOVER_ROUNDS repeat a run or lengthen it.
#include <numeric>
#include <regex>
#include <set>

#include "agent/messages/catalogue.h"
#include "host/packet.h"
#include "platform/records/frame.h"
#include "tests/ha/duo.h"
#include "tests/ha/mirror.h"
#include "velmar/version.h"

namespace {

constexpr uint32_t CHIPS[] = {0x88400000, 0x88410000, 0x88420000, 0x88430000}; // of slot 1
constexpr const char *ACTIVE = "election: this process is active";
constexpr const char *HOLDS = "this process holds a dump";
constexpr long JOINED = 400; // a chain's agent has passed fewer points by the time that its standby has joined

uint32_t portOf(uint32_t chip, uint32_t n)
{
    return portNumber(chip * PORTS + n + 1) | chip;
}

// ---- Random messages

struct Dice : Random {
    uint32_t first_type = 1; // of CHIPS[0]; the others follow
    uint32_t number()
    {
        constexpr uint32_t LIMITS[] = {2, 2, 8, 8, 101, 0x10000, 0xffffffff};
        return below(LIMITS[below(std::size(LIMITS))]);
    }
};

// Values of fields that lead somewhere; the others take any number.
const std::map<std::string, std::vector<uint32_t>> VALUES = {
    {"slot_id", {1, 1, 1, 1, 1, 2, 0, 10, 99}},
    {"num_ports", {PORTS, PORTS, 0, 2, 161}},
    {"num_policer_groups", {0, 1, 4, 4, 16, 17}},
    {"num_buffers", {1000, 20000, 500000, 0}},
    {"polGroupId", {0, 1, 2, 3}},
    {"bufPoolId", {0, 0, 1, 3, 4}},
    {"distance", {0, 1000, 2000, 10000, 30000, 100000}},
    {"cmd", {1, 2, 1, 2, 3, 4, 0}},
    {"policer_id", {1, 2, 3, 4, 5, 6}},
    {"policer_req_type", {1, 1, 2, 0}},
    {"profile_req_type", {1, 2, 0}},
    {"profileId", {0, 1, 2, 3, 14, 15, 16}},
    {"numEntries", {0, 1, 2, 4}},
    {"num_policers", {0, 1, 4}},
    {"sp_count", {0, 1, 4, 8, 9}},
    {"minThreshold", {0, 10, 30, 90}},
    {"maxThreshold", {0, 40, 90, 100}},
};
constexpr uint8_t CODES[] = {1,  2,  2,  2,  2,  3,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 12, 13,
                             13, 14, 14, 15, 16, 17, 18, 18, 19, 19, 20, 21, 22, 23, 24, 31, 31, 31,
                             31, 31, 32, 32, 33, 34, 34, 34, 36, 37, 37, 37, 38, 39, 41, 42, 44, 45,
                             46, 46, 47, 48, 65, 66, 68, 70, 71, 72, 73, 73, 73, 73, 78};
// Those that ask the driver for little or nothing, so that a kill meets the store and the sends more often.
constexpr uint8_t QUIET[] = {2, 2, 3, 68, 73};

uint32_t valueOf(Dice &dice, const std::string &field, uint32_t chip)
{
    if (field == "ifindex" || field == "ifIndex" || field == "chip_ifindex") {
        const uint32_t own = field[0] == 'c' ? CHIPS[chip] : portOf(chip, dice.below(PORTS));
        const uint32_t odd[] = {QOS_ALL_CHIPS_IFINDEX, QOS_ALL_CHIPS_IFINDEX, CHANNEL, 0x18600000, 0,
                                CHIPS[dice.below(4)]};
        return dice.percent(88) ? own : odd[dice.below(std::size(odd))];
    }
    if (field == "chip_type" && dice.percent(95))
        return (dice.first_type + chip) % 4;
    if (field == "local_chip_id" && dice.percent(95))
        return chip;
    const auto known = VALUES.find(field);
    return known == VALUES.end() ? dice.number() : known->second[dice.below(known->second.size())];
}

Bytes randomMessage(Dice &dice, uint8_t code, uint32_t chip)
{
    const wireBody &layout = *qosMsgInfo(code)->body;
    Bytes body(layout.size);
    for (unsigned i = 0; i < layout.numFields; ++i) {
        const wireField &field = layout.fields[i];
        const std::string name = field.name;
        const unsigned count = field.count ? field.count : 4;
        body.resize(std::max<size_t>(body.size(), field.offset + (count - 1) * field.stride + field.width));
        for (unsigned n = 0; n < count; ++n) {
            const uint32_t value = valueOf(dice, name.substr(name.rfind('.') + 1), chip);
            const size_t at = field.offset + n * field.stride;
            for (unsigned byte = 0; byte < 4 && byte < field.width && field.kind != wireKind::Chars; ++byte)
                body[at + field.width - 1 - byte] = static_cast<uint8_t>(value >> 8 * byte);
            if (field.kind == wireKind::Chars)
                body[at] = static_cast<uint8_t>('a' + value % 26);
        }
    }
    if (dice.percent(2))
        body.resize(dice.below(static_cast<uint32_t>(body.size())));
    return message(code, body, 0x77);
}

using Batch = std::vector<Bytes>;
const auto joined = [](const Batch &batch) {
    return std::accumulate(batch.begin(), batch.end(), Bytes(), [](auto &&all, auto &next) { return all + next; });
};

// No longer than what an agent receives at once.
Batch randomBatch(Dice &dice, bool quiet)
{
    Batch batch;
    const size_t count = 1 + dice.below(dice.percent(30) ? 6 : 2);
    for (size_t bytes = 0; batch.size() < count;) {
        const uint8_t code = quiet ? QUIET[dice.below(std::size(QUIET))] : CODES[dice.below(std::size(CODES))];
        Bytes next = randomMessage(dice, code, dice.below(std::size(CHIPS)));
        if (quiet && code != QOS_DROP_MONITOR_CFG_MSG && next.size() > 9)
            put32(next, 5, CHANNEL + dice.below(8));
        bytes += next.size();
        if (bytes > 8000)
            break;
        batch.push_back(std::move(next));
    }
    return batch;
}

std::vector<Bytes> bodiesOf(const std::vector<Request> &requests) // the monitors' own left out
{
    std::vector<Bytes> bodies;
    for (const Request &request : requests)
        if (!request.polls)
            bodies.push_back(request.body);
    return bodies;
}

// ---- The chain: each survivor is the next round's active agent

const std::string BUILDS[] = {"", DORVALD_NEXT_BINARY}; // the second with other layouts

// Without what a copy from a build that lacks it has in the members that the other one has more.
std::vector<std::string> withoutInitials(std::vector<std::string> lines)
{
    const std::regex initial(" [0-9]+=93 [0-9]+=92 [0-9]+=91 [0-9]+=90");
    for (std::string &line : lines)
        line = std::regex_replace(line, initial, "");
    return lines;
}

// With `builds` 2 each standby is of another build than the active agent, and there is a model of either.
struct Chain {
    Chain(uint32_t seed, unsigned of_builds) : dice{Random(seed), seed % 4}, builds(of_builds)
    {
        for (uint32_t chip = 0; chip < std::size(CHIPS); ++chip)
            for (uint32_t n = 0; n < PORTS; ++n)
                pair.chip->ports[portOf(chip, n)] = static_cast<uint16_t>(n % 2);
        for (unsigned i = 0; i < builds; ++i) {
            models[i].chip->ports = pair.chip->ports;
            never_killed[i] = models[i].start({}, BUILDS[i]);
            models[i].lead(never_killed[i]);
        }
        active = pair.start();
        pair.lead(active);
        standby = pair.start(killPoint(), BUILDS[builds - 1]);
        pair.join(standby);
        for (uint32_t chip = 0; chip < std::size(CHIPS); ++chip) {
            Dice tame{Random(1), dice.first_type};
            Batch batch = {randomMessage(tame, QOS_CHIPUP_MSG, chip)};
            for (uint32_t n = 0; n < PORTS; ++n)
                batch.push_back(message(QOS_IFADD_MSG, ifAddBody(portOf(chip, n), "p"), 0x77));
            tell(batch);
        }
    }
    KillAt killPoint()
    {
        if (dice.percent(40))
            return {0, 1 + static_cast<long>(dice.below(40))};
        return {dice.percent(70) ? JOINED + static_cast<long>(dice.below(1000)) : 0, 0};
    }

    // One batch to the active agent and, once acknowledged, to the models: false if the active one died without it.
    bool tell(const Batch &batch)
    {
        pair.refused = models[0].refused = models[1].refused = dice.percent(30) ? dice.number() : 0;
        const bool by_hand = dice.percent(2);
        if (!pair.send(active, joined(batch)))
            return false;
        if (by_hand) {
            usleep(dice.below(1000));
            ::kill(active, SIGKILL);
        }
        const Bytes echo = pair.echo(active);
        if (echo.empty())
            return false;
        const std::vector<Request> asked = pair.requests();
        for (unsigned i = 0; i < builds; ++i) {
            EXPECT_EQ(echo, models[i].exchange(never_killed[i], joined(batch)));
            expectSame(bodiesOf(asked), bodiesOf(models[i].requests()));
        }
        for (const Request &request : asked)
            last_seq[request.type] = request.seq;
        return true;
    }

    // Until the active agent is dead and the standby has its place. A standby that was stopped has all yet to read.
    void round()
    {
        Batch batch;
        const bool quiet = dice.percent(20), stops = dice.percent(15);
        unsigned left = stops ? 1 + dice.below(12) : ~0U;
        ::kill(standby, stops ? SIGSTOP : SIGCONT);
        do {
            if (left-- == 0)
                ::kill(active, SIGKILL);
            batch = again.empty() ? randomBatch(dice, quiet) : std::exchange(again, {});
        } while (tell(batch) && !testing::Test::HasFailure());
        if (testing::Test::HasFailure() || !pair.ended(active, 60000)) {
            ADD_FAILURE() << "the active agent is not dead";
            return;
        }
        ::kill(standby, SIGCONT);
        pair.refused = 0;
        const int next = pair.start(killPoint(), BUILDS[build]);
        build = builds - 1 - build;
        pair.lead(standby);
        active = std::exchange(standby, next);
        // The dead agent's requests go on from the last acknowledged one; the new one has nothing to ask for.
        for (const Request &request : pair.requests())
            EXPECT_EQ(request.seq, ++last_seq[request.type]) << "a request was made at the takeover";
        last_seq.clear();
        compare(batch);
        pair.join(standby);
        if (dice.percent(50))
            again = batch;
    }

    // The new active agent has all that was acknowledged, and of the last batch whole messages from its front or none.
    void compare(const Batch &last)
    {
        auto has = content(pair, BUILDS[build]);
        if (build == 1) {
            const auto copied = std::exchange(has, withoutInitials(has));
            EXPECT_NE(copied, has) << "no initial values";
        }
        auto expected = content(models[build], BUILDS[build]);
        for (size_t taken = 0; has != expected && taken < last.size(); ++taken) {
            for (unsigned i = 0; i < builds; ++i) {
                models[i].exchange(never_killed[i], last[taken]);
                models[i].requests();
            }
            expected = content(models[build], BUILDS[build]);
        }
        expectSame(has, expected);
        for (const char *command : {"cli show dorvmd interface all", "stat"}) {
            const auto shown = [&](Cluster &cluster, int pid) {
                const std::string text = cluster.ctl(pid, command);
                const size_t from = text.find("\"blocks\""), end = text.find(",\"syncs\"");
                return from == std::string::npos ? text : text.substr(from, end - from);
            };
            EXPECT_EQ(shown(pair, active), shown(models[build], never_killed[build]));
        }
    }

    Dice dice;
    unsigned builds, build = 0; // the active agent's
    Cluster pair, models[2];
    int active, standby, never_killed[2];
    Batch again;
    std::map<uint32_t, uint32_t> last_seq;
};

// Where what the program has mapped and the arena, which is reserved as a whole, end.
std::set<std::string> placesOf(int pid)
{
    std::istringstream maps(slurp("/proc/" + std::to_string(pid) + "/maps"));
    std::set<std::string> found;
    for (std::string line; std::getline(maps, line);) {
        size_t used = 0;
        const uint64_t from = std::stoull(line, &used, 16),
                       size = std::stoull(line.substr(used + 1), nullptr, 16) - from;
        const bool arena = line.find(" ---p ") != line.npos && size > 0x3c000000 && size <= 0x40000000;
        if (arena || line.ends_with("/dorvald_points"))
            found.insert(line.substr(used, line.find(' ') - used));
    }
    return found;
}

class Rounds : public testing::TestWithParam<uint32_t> {};

INSTANTIATE_TEST_SUITE_P(Seeds, Rounds, testing::Range(1U, 9U));

} // namespace

TEST_P(Rounds, NothingAcknowledgedIsLostAndNothingIsHalfDone)
{
    const uint32_t seed = environmentOr("FAILOVER_SEED", GetParam());
    const uint32_t rounds = environmentOr("FAILOVER_ROUNDS", 100);
    Chain chain(seed, seed > 6 ? 2 : 1);
    for (uint32_t round = 0; round < rounds && !HasFailure(); ++round) {
        SCOPED_TRACE(std::string("FAILOVER_SEED=") + std::to_string(seed) + " round " + std::to_string(round));
        chain.round();
    }
}

TEST(Takeover, AddressesDifferAndMonitorsGoOn)
{
    Duo duo;
    std::set<std::string> places = placesOf(duo.first), others = placesOf(duo.second);
    EXPECT_GE(std::min(places.size(), others.size()), 2U);
    places.merge(others);
    EXPECT_TRUE(others.empty()) << "of both: " << *others.begin();
    Bytes bum = policerAddBody(portNumber(1), 7), watch(33);
    put(bum, {{POL_IS_BUM, 1}, {POL_POLL, 1}});
    put(watch, {{0, portNumber(2)}, {24, CHIP}});
    watch[28] = 1;
    duo.exchange(duo.first,
                 message(QOS_POL_POLICER_ADD_MSG, bum, 0x77) + message(QOS_DROP_MONITOR_CFG_MSG, watch, 0x77));
    duo.handOver(duo.first, duo.second);
    duo.requests();
    duo.unasked.clear();
    duo.chip->set(&ChipState::violations, 7, 1000);
    duo.chip->set(&ChipState::drops, portNumber(2), 2000);
    const struct {
        unsigned seconds;
        uint32_t command, code, at, port;
    } polls[] = {{6, COS_STATS_READ, QOS_POL_BUM_STATE_NOTIFY_MSG, 5, portNumber(1)},
                 {61, COS_BULK, QOS_DROP_MONITOR_NOTIFY_MSG, 5 + 4, portNumber(2)}};
    for (const auto &poll : polls) {
        duo.configure(duo.second, 0); // a step while the agent waits for the driver would end that wait
        EXPECT_EQ(duo.ctl(duo.second, std::string("clock step ") + std::to_string(poll.seconds)), "ok");
        const auto notice = [&](const Bytes &said) {
            return said[0] == poll.code && get32(said, poll.at) == poll.port;
        };
        while (std::ranges::none_of(duo.unasked, notice)) // and asks for nothing: messages go first
            ASSERT_TRUE(duo.listen()) << poll.code;
        EXPECT_TRUE(std::ranges::any_of(duo.requests(), [&](const Request &request) {
            return request.polls && get32(request.body, 28) == poll.command;
        }));
    }
}

// Either way round, the standby says what it is, and both tell.
TEST(Takeover, FieldThatChangedItsMeaningIsRefusedByName)
{
    const std::string field = "qosPauseProfile_t.minThreshold changed its type: ";
    Duo duo;
    const int other = duo.start({}, DORVALD_OTHER_BINARY);
    EXPECT_TRUE(duo.logged(duo.first, "process " + std::to_string(other) + " cannot take this one's records: " + field +
                                          "~U32 in the active process, ~I32 in the standby, it is not mirrored to"));
    EXPECT_TRUE(duo.logged(other, "not mirrored: the active process's records cannot be taken: " + field));
    for (const int pid : {duo.first, other})
        EXPECT_NE(duo.ctl(pid, "stat").find(field), std::string::npos) << duo.ctl(pid, "stat");
    duo.handOver(duo.first, duo.second);             // and not to the one that has nothing
    EXPECT_TRUE(duo.logged(duo.second, "has left")); // this test, which held a dump too
    duo.kill(duo.second);
    EXPECT_TRUE(duo.logged(other, "this process is active, from the start"));
    const int ordinary = duo.start();
    EXPECT_TRUE(duo.logged(ordinary, field + "~I32 in the active process, ~U32 in the standby"));
}

// As one of a build that knows none.
TEST(Takeover, StandbyWithoutDescriptionsIsRefusedAsEver)
{
    Duo duo;
    EXPECT_EQ(takeDump(duo.run, layoutHash() + 1).refused,
              "the active process has other record layouts than this one: its version is " VELMAR_VERSION
              ", this one's unknown");
}

TEST(Takeover, StandbyOfAnotherByteOrderIsRefusedWithAReason)
{
    Duo duo;
    const packet_t hello = {
        __builtin_bswap32(0x44764861), __builtin_bswap16(1), __builtin_bswap16(PACKET_HELLO), 0, 0, 0};
    const int standby = packetSocket();
    ASSERT_TRUE(reach(standby, duo.run + "/ha/ethsw.1.sock"));
    EXPECT_EQ(send(standby, &hello, sizeof hello, 0), static_cast<ssize_t>(sizeof hello));
    received_t received = {};
    EXPECT_TRUE(ready(standby, 20000) && packetReceive(standby, &received) > 0);
    EXPECT_EQ(received.head.kind, PACKET_REFUSED);
    EXPECT_TRUE(duo.logged(duo.first, "has its numbers in another byte order, it is not mirrored to"));
    EXPECT_TRUE(has(duo.ctl(duo.first, "stat"), "another byte order"));
    packetFree(&received);
    close(standby);
}

TEST(Takeover, StoppedStandbyIsCutOffAndComesBack)
{
    Duo duo;
    ::kill(duo.second, SIGSTOP);
    const std::string alone = "\"standbys\":0";
    uint32_t sent = 0;
    while (sent < 20000 && duo.ctl(duo.first, "stat").find(alone) == std::string::npos)
        ASSERT_FALSE(duo.configure(duo.first, ++sent).empty());
    EXPECT_LT(sent, 20000U);
    EXPECT_TRUE(
        duo.logged(duo.first, std::string("standby ") + std::to_string(duo.second) + " does not read and is cut off"));
    ::kill(duo.second, SIGCONT);
    duo.join(duo.second);
    duo.configure(duo.first, 77);
    duo.handOver(duo.first, duo.second);
}

// Changes that are made while a dump is made follow it, and what the standby has in the end is the active one's.
TEST(Takeover, MessagesRunWhileADumpIsMade)
{
    Duo duo;
    for (uint32_t n = 0; n < 60; ++n)
        duo.exchange(duo.first, message(QOS_IFADD_MSG, ifAddBody(CHANNEL + n, "c"), 0x77));
    duo.kill(duo.second);
    uint32_t sent = 0;
    for (int tries = 0; tries < 30 && !HasFailure(); ++tries) {
        const int third = duo.start();
        while (duo.ctl(duo.first, "stat").find("\"standbys\":1") == std::string::npos) {
            duo.configure(duo.first, ++sent);
            duo.exchange(duo.first,
                         message(sent % 3 ? QOS_IFADD_MSG : QOS_IFDEL_MSG, ifAddBody(CHANNEL + sent % 60, "d"), 0x77));
        }
        if (duo.log().find("changes since its dump") != std::string::npos) {
            duo.handOver(duo.first, third);
            return;
        }
        duo.kill(third);
    }
    FAIL() << "no message came in between";
}

// The predecessor's other standby is as good as the winner until something changes.
TEST(Takeover, InheritedCopiesCountUntilSomethingChanges)
{
    Duo duo;
    int connection = -1;
    takeDump(duo.run, layoutHash(), &connection); // this test holds a copy too
    duo.kill(duo.first);
    duo.lead(duo.second);
    EXPECT_TRUE(isHolder(duo.run));
    duo.configure(duo.second, 1);
    EXPECT_FALSE(isHolder(duo.run));
    close(connection);
}

// A manager's datagram reaches both agents. What the dead one has answered its successor does not do again.
TEST(Takeover, WhatWaitsAtTheWinnerIsLeft)
{
    Duo duo;
    ::kill(duo.second, SIGSTOP);
    const Bytes batch = message(QOS_DEFCOS_MSG, l2Body(portNumber(1), CHIP, 3, 0), 0x77);
    for (int i = 0; i < 8; ++i) { // more than it reads ahead of its election
        EXPECT_TRUE(duo.send(duo.second, batch));
        EXPECT_FALSE(duo.exchange(duo.first, batch).empty());
    }
    EXPECT_FALSE(duo.requests().empty());
    duo.kill(duo.first);
    ::kill(duo.second, SIGCONT);
    duo.lead(duo.second);
    EXPECT_TRUE(duo.requests().empty());
}

// The one without a dump waits for the lock ahead of the other, and the dead one counted it as a holder.
TEST(Takeover, OfThreeAHolderTakesOver)
{
    Dump dump;
    {
        Duo duo;
        dump = takeDump(duo.run, layoutHash());
    }
    Cluster cluster;
    FakeActive active(cluster.run);
    const int empty = cluster.start();
    active.accept();
    const int holder = cluster.start();
    active.give(active.accept(), dump.sequence, dump.words);
    cluster.join(holder);
    active.setHolders({empty, holder});
    active.end();
    EXPECT_TRUE(cluster.logged(holder, "this process is active, with its predecessor's state"));
    expectSame(content(cluster), contentOf(dump.words));
    cluster.join(empty);
}

// Two standbys, and an end at each of the first points: at the start, while one or the other joins, and after. Who goes
// on has what the first one had, unless nobody had been given it.
TEST(Takeover, EndWhileStandbysJoin)
{
    const Bytes add = message(QOS_IFADD_MSG, ifAddBody(CHANNEL, "c"), 0x77);
    unsigned held = 0;
    for (long point = 1; point <= 24; ++point) {
        SCOPED_TRACE(point);
        Cluster cluster;
        const int first = cluster.start({point, 0});
        EXPECT_TRUE(cluster.logged(first, ACTIVE));
        const size_t since = cluster.log().find(ACTIVE) + 1;
        cluster.start();
        cluster.start();
        const auto find = [&](const char *part) { return cluster.log().find(part, since); };
        while (!cluster.ended(first, 1)) {
            if (cluster.log().find(HOLDS, find(HOLDS) + 1) != std::string::npos)
                cluster.send(first, add);
            while (cluster.listen(0))
                ;
        }
        ASSERT_TRUE(within([&] { return find(ACTIVE) != std::string::npos; })) << cluster.log();
        if (find(HOLDS) > find(ACTIVE))
            continue;
        ++held;
        EXPECT_NE(find("active, with its predecessor's state"), std::string::npos) << cluster.log();
    }
    EXPECT_GT(held, 0U);
}
