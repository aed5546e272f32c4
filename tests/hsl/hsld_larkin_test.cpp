// SPDX-License-Identifier: Apache-2.0
// The emulator's Larkin: TCAM regions and what they refuse, the priority that offered traffic gets from entries and
// maps, queues that share a budget, multicast, and its counters. Offsets stand here as numbers, apart from the
// emulator's own.
#include "tests/hsl/hsld_fixture.h"

namespace hsld_test {

constexpr uint32_t LARKIN = OTHER, TE1 = 0x18408001, TE2 = 0x18410001; // the chip and its first ports
constexpr uint32_t L2 = 0x1006, L3 = 0x2005;

hslBuffer region(uint32_t table, uint32_t size, uint32_t max, uint32_t growth)
{
    return dce(0x17250033, 0, 32, {{16, table, 2}, {18, 1, 2}, {26, max, 2}, {28, size, 2}, {30, growth, 2}});
}

hslBuffer add(uint32_t table, uint32_t port, uint32_t value, uint32_t result)
{
    auto entry = dce(0x17250035, 0, 140, {{42, table, 2}, {44, 1, 2}, {60, port}});
    if (table == L2)
        return poked(entry, {{56, value << 28}, {68, 0x1F000000}, {72, 0x70000000}, {84, 1 << 18}, {88, result}});
    return poked(entry, {{56, value << 4}, {68, 0x07C00000}, {72, 0x3F0}, {84, 1 << 22}, {92, result}});
}

class Larkin : public OnItsClock {
protected:
    hslModel_t &model = server.model;
    hslBuffer handle;

    uint32_t tell(const hslBuffer &record, uint32_t target = LARKIN) { return OnItsClock::tell(record, target); }
    uint64_t get(const hslBuffer &record, size_t offset, unsigned width = 8)
    {
        EXPECT_EQ(tell(record), 0u);
        return hslGet(response, offset, width);
    }
    hslBuffer withHandle(hslBuffer in)
    {
        std::copy_n(handle.begin(), 24, in.begin() + 20);
        return in;
    }
    hslBuffer update(uint32_t table, uint32_t mark, uint32_t result)
    {
        bool l2 = table == L2;
        auto record = dce(0x1725003B, 0, l2 ? 108 : 68, {{44, table, 2}, {46, 1, 2}, {52, mark}});
        return withHandle(poked(record, {{l2 ? 56u : 60u, result}}));
    }
    hslBuffer remove(uint32_t table)
    {
        return withHandle(dce(0x17250037, 0, 52, {{16, table, 2}, {18, 1, 2}, {44, 1}}));
    }
    uint32_t addKept(uint32_t table, uint32_t port, uint32_t value, uint32_t result)
    {
        auto status = tell(add(table, port, value, result));
        if (!status)
            handle.assign(response.begin() + 12, response.begin() + 36);
        return status;
    }
    // What decided for each flow of a port and its priority.
    std::string choices(uint32_t port)
    {
        std::string text;
        for (auto &flow : model.ports.at(port).traffic.flows)
            text += flow.decided_by + " " + std::to_string(flow.priority) + ", ";
        return text;
    }
    void offer(uint32_t port, const std::string &words, uint64_t ms = 0)
    {
        OnItsClock::offer(hslIndexText(port) + " " + words, ms);
    }
    hslQueue_t &queue(unsigned p, uint32_t port = TE1) { return OnItsClock::queue(p, port); }
    hslBuffer counters(uint32_t kind, uint32_t port = TE1)
    {
        return dce(0x0A050001, 0, 484, {{12, 1}, {20, kind}, {28, port}});
    }
};

TEST_F(Larkin, RegionsGrowFillAndRefuse)
{
    EXPECT_EQ(addKept(L2, TE1, 0, 0), 2u); // no region yet
    EXPECT_EQ(tell(region(0x3000, 2, 4, 1)), 22u);
    EXPECT_EQ(tell(region(L2, 5, 4, 1)), 22u);
    EXPECT_EQ(tell(region(L2, 2, 4, 3)), 0u);
    EXPECT_EQ(tell(region(L3, 1, 4, 0)), 0u);
    for (uint32_t cos = 0; cos < 4; ++cos)
        EXPECT_EQ(addKept(L2, TE1, cos, 0), 0u) << cos;
    EXPECT_EQ(addKept(L2, TE1, 4, 0), 28u);
    EXPECT_EQ(addKept(L3, TE1, 0, 0), 0u);
    EXPECT_EQ(addKept(L3, TE1, 1, 0), 28u); // of 4, but it does not grow

    // A handle is its number, key and mask; a stale one and one of another region name nothing.
    EXPECT_TRUE(shows(handle, {{0, TE1, 8}, {8, 0x07C00000000003F0, 8}}));
    EXPECT_EQ(tell(update(L3, 1 << 18, 0)), 22u);
    EXPECT_EQ(tell(update(L2, 1 << 18, 0)), 2u);
    EXPECT_EQ(tell(update(L3, 1 << 22, 0xD0004000)), 0u);
    EXPECT_EQ(control("show tcam 1/1 l3"), "ok\nL3 selection, table 0x2005 region 1: 1 entries, 1 set aside, 4 at most"
                                           "\n  5  te1/1 dscp 0 -> cos 5, tc 2, trusted");
    auto whole = handle;
    hslPut(handle, 8, 8, 0);
    EXPECT_EQ(tell(remove(L3)), 2u);
    handle = whole;
    EXPECT_EQ(tell(remove(L3)), 0u);
    EXPECT_EQ(tell(remove(L3)), 2u);
    EXPECT_EQ(addKept(L3, TE1, 1, 0), 0u);
    EXPECT_NE(hslGet(handle, 20, 4), hslGet(whole, 20, 4));
    expectNoWarnings();

    EXPECT_EQ(tell(region(L3, 1, 4, 0)), 0u); // a chip that comes up anew
    EXPECT_EQ(tell(remove(L3)), 2u);
    EXPECT_EQ(model.warnings.size(), 1u);
    expectErrors("show tcam 1/0;show tcam 9/0;show tcam 1/1 l4;show tcam;");
}

TEST_F(Larkin, EntriesAndMapsGiveThePriority)
{
    for (auto flow : {"cos=3", "dscp=40", "cos=2 dscp=41"})
        for (auto port : {TE1, PORT})
            offer(port, std::string("rate=1M ") + flow);
    EXPECT_EQ(choices(TE1), "no map 3, no map 0, no map 2, ");
    const auto gives = [this](uint32_t status, const char *expected) {
        EXPECT_EQ(status, 0u) << expected;
        EXPECT_EQ(choices(TE1), expected);
    };
    gives(tell(dce(0x17250003, 8, 76, {{32, 0x10532647}, {72, TE1}})),
          "register map 3, register map 1, register map 5, ");
    // The default CoS, which regions without entries leave as it is.
    gives(tell(dce(0x17010001, 0, 28, {{26, 3, 2}}), TE1), "register map 3, register map 3, register map 5, ");
    gives(tell(region(L2, 8, 8, 0)) + tell(region(L3, 8, 8, 0)), "register map 3, register map 3, register map 5, ");
    gives(addKept(L2, TE1, 3, 6 << 13), "L2 TCAM entry 1 6, L2 TCAM entry 1 6, register map 5, ");
    const char *const changed = "L2 TCAM entry 1 7, L2 TCAM entry 1 7, register map 5, ";
    gives(tell(update(L2, 1 << 18, 7 << 13)), changed);
    gives(addKept(L2, TE2, 2, 0) + addKept(L3, TE2, 40, 1u << 31), changed); // another port's
    gives(addKept(L3, TE1, 41, 4 << 13), changed);                           // a DSCP's, but not trusted
    gives(tell(update(L3, 1 << 22, 1u << 31 | 4 << 13)), "L2 TCAM entry 1 7, L2 TCAM entry 1 7, L3 TCAM entry 4 4, ");
    gives(tell(remove(L3)), changed);
    // What moves, moves with the map.
    pass(8000);
    EXPECT_EQ(hslCount(queue(7).forwarded), 2000000u);

    // The other family: trusted DSCP, else the CoS of the tag, else the default.
    tell(cos(0x01271002, 160, 28, {{28, PORT}, {32, 1, 1}, {64 + 3 * 4, 6, 1}, {64 + 2 * 4, 5, 1}}), CHIP);
    EXPECT_EQ(choices(PORT), "L2 map 6, default of the L2 map 1, L2 map 5, ");
    tell(cos(0x01271000, 36, 28, {{28, PORT}, {32, 2, 1}}), CHIP);
    auto l3 = cos(0x01271001, 292, 28, {{28, PORT}, {36 + 41 * 4, 7, 1}});
    tell(l3, CHIP);
    EXPECT_EQ(choices(PORT), "L2 map 6, default TC 2, L2 map 5, ");
    hslPut(l3, 32, 1, 1);
    tell(l3, CHIP);
    EXPECT_EQ(choices(PORT), "L2 map 6, L3 map 0, L3 map 7, ");
    expectErrors("traffic te1/1 cos=8 rate=1;traffic te1/1 dscp=64 rate=1;traffic te1/1 cos=1 priority=1 rate=1;"
                 "traffic te1/1 cos=1;");
    offer(TE1, "cos=3 rate=0");
    EXPECT_EQ(choices(TE1), "L2 TCAM entry 1 7, register map 5, ");
}

TEST_F(Larkin, QueuesShareBudgetAndReserve)
{
    // Wire priorities 0 and 1 are the chip's 1 and 0, by the register map; 0 and 3 are lossless.
    tell(dce(0x17250003, 8, 76, {{32, 0x10234567}, {72, TE1}}));
    auto pfc = dce(0x23050002, 32, 268);
    for (uint32_t p = 0, i = 12; p < 8; ++p, i += 32)
        pfc = poked(pfc, {{i, TE1}, {i + 4, p, 2}, {i + 12, p == 0 || p == 3}, {i + 16, 60000}, {i + 20, 50000}});
    tell(pfc);
    tell(dce(0x23050002, 36, 24, {{12, TE1}, {16, 250000}}));
    tell(dce(0x23050002, 38, 20, {{12, TE1}, {16, 200000}}));
    tell(dce(0x23050002, 39, 20, {{12, TE1}, {16, 100000}}));
    offer(TE1, "cos=0 rate=10G");
    offer(TE1, "cos=3 rate=10G", 100);
    EXPECT_NEAR(queue(1).level.now + queue(3).level.now, 100000, 1); // not 2 x 60000
    EXPECT_EQ(queue(1).dropped + queue(3).dropped, 0);
    EXPECT_EQ(hslCount(queue(1).held + queue(3).held), 125000000u - 100000);
    offer(TE1, "cos=1 rate=10G");
    offer(TE1, "cos=5 rate=10G", 1000);
    EXPECT_NEAR(queue(0).level.now + queue(5).level.now, 100000, 1); // what the port has left, of 250000 each
    EXPECT_NEAR(queue(0).dropped + queue(5).dropped, 4 * 1.25e9 * 3 / 4 / 2, 1e6);
    EXPECT_EQ(get(dce(0x23050001, 33, 120, {{12, TE1}}), 16, 4), 200000u);
    EXPECT_EQ(hslGet(response, 24 + 4, 4) + hslGet(response, 24 + 12, 4), 100000u);

    // Sent by the agent's priorities, received by the chip's, paused by those of the wire.
    EXPECT_EQ(get(counters(2), 12 + 0x18), hslFrames(queue(1).forwarded));
    EXPECT_TRUE(shows(
        response,
        {{12 + 0x58, hslCount(queue(1).forwarded) / 8, 8}, {12 + 0x98, hslFrames(queue(0).enqueued), 8}, {16, 1}}));
    EXPECT_EQ(get(counters(1), 12 + 0x60), hslCount(queue(1).pause_sent));
    EXPECT_GT(hslGet(response, 12 + 0x60, 8), 0u);
    EXPECT_EQ(hslGet(response, 12 + 0x68, 8), 0u);
    EXPECT_EQ(get(counters(0), 12 + 0x188), hslFrames(queue(0).dropped + queue(5).dropped));
    EXPECT_FALSE(json("show chip 1/1").contains("red_profiles"));
    // RED of one curve for the chip, on wire priority 5.
    tell(dce(0x23050002, 28, 28, {{12, 1}, {16, 20000}, {20, 10000}, {24, 10000}}));
    tell(dce(0x23050002, 30, 52, {{12, TE1}, {16, 1 << 5, 2}, {28, 15}}));
    auto swm = dce(0x0A050005, 0, 44, {{12, 1}, {16, 1}, {20, TE1}});
    pass(1000);
    EXPECT_GT(get(swm, 28), 500000u);
    EXPECT_LE(queue(5).level.now, 20000);
    // A clear of ports names them; that of the chip leaves ports alone.
    tell(dce(0x0A050004, 0, 12));
    tell(dce(0x0A050006, 0, 24, {{12, 1}, {16, 1}, {20, TE2}}));
    EXPECT_GT(get(swm, 28), 500000u);
    tell(dce(0x0A050006, 0, 28, {{12, 2}, {16, 1}, {20, TE2}, {24, TE1}}));
    EXPECT_EQ(get(swm, 28), 0u);
    EXPECT_EQ(get(counters(0), 12 + 0x188), 0u);
    EXPECT_EQ(get(counters(2), 12 + 0x128), 0u);
}

TEST_F(Larkin, MulticastHasQueuesAndALimitOfTheChip)
{
    auto counted = [&](unsigned q) { return get(dce(0x0A050003, 0, 164), 12 + 0x58 + 8 * q); };
    auto drops = dce(0x17250003, 21, 44);
    for (uint32_t q = 0; q < 8; ++q)
        hslPut(drops, 12 + 4 * q, 4, q << 16 | 5000);
    tell(drops);
    offer(TE1, "priority=2 kind=broadcast rate=8G");
    offer(TE2, "priority=2 kind=multicast rate=8G");
    offer(TE2, "priority=2 rate=1G", 1000);
    EXPECT_EQ(counted(2), 1250005u); // 16 come, 10 leave
    EXPECT_EQ(hslCount(queue(2, LARKIN).dropped), 2000000000u - 1250005000);
    EXPECT_EQ(hslCount(queue(2, TE2).enqueued), 125000000u);
    tell(dce(0x0A050004, 0, 12));
    EXPECT_EQ(counted(2), 0u);
    tell(dce(0x17250003, 19, 20, {{12, 60000, 2}, {16, 2000}}));
    pass(1000);
    EXPECT_EQ(counted(2), 250034u); // the burst, of which 10 Gbit/s leave and the rest is dropped, and 2 Gbit/s
    offer(TE1, "off", 1000);
    EXPECT_EQ(counted(2), 500034u);
    offer(TE2, "off", 1000);
    EXPECT_EQ(counted(2), 500034u);
    expectNoWarnings();
}

} // namespace hsld_test
