// SPDX-License-Identifier: Apache-2.0
// The road of a message: registration, batches and their echoes, and the eight priority handlers down to the bytes that
// reach the driver.

#include "agent/dispatch.h"
#include "core/trace.h"
#include "tests/support/inside.h"
#include "tests/support/mi6.h"

namespace {

constexpr uint32_t L2_MAP = 0x01271002, DEF_COS = 0x01271000, L3_MAP = 0x01271001, DSCP_MAP = 0x01271003;
using Commands = std::vector<uint32_t>;

// What stands in the request buffer behind the headers once a priority message has been carried out. A record that is
// not cleared keeps what an older one left.
Bytes priorityRecord(Bytes &buffer, uint32_t command, uint32_t length, const Bytes &body)
{
    if (command == L3_MAP || command == DSCP_MAP)
        put(buffer, 0, Bytes(length));
    put(buffer, 0, cosRecord(command, 28, 28, {{8, length}}) + cut(body, 0, 4));
    if (command == L2_MAP)
        for (size_t i = 0; i < 32; ++i)
            put(buffer, 32 + 4 * i, {i < 8 ? body[29] : body[42 + i % 8], i < 8 ? body[28] : body[34 + i % 8], 0});
    else if (command == DEF_COS)
        put(buffer, 32, {body[29], body[28], 0});
    else if (command == DSCP_MAP)
        put(buffer, 32, cut(body, 32, 64));
    else
        buffer[32] = body[31];
    for (size_t d = 0; command == L3_MAP && d < 64; ++d)
        put(buffer, 36 + 4 * d, {body[160 + d], body[96 + d]});
    return cut(buffer, 0, length);
}

Bytes requestFrame(uint32_t seq, uint32_t target, const Bytes &record)
{
    Bytes header(28);
    put(header, {{0, target}, {8, 6}, {20, static_cast<uint32_t>(record.size())}, {24, 28}});
    return frame(101, seq, header + record);
}

} // namespace

TEST(Road, StandbyIsSilentAndActiveRegisters)
{
    NodeOptions options; // the slot says where it is heard and what it registers
    options.node_file = "# a line card\nslot = 5\nslot_base = 1\n";
    options.line_card = 5;
    TestNode node(options);
    Driver driver(node.run);
    Manager manager(node), statistics(node, "qosMIStats");
    manager.send(message(67, {1}));
    driver.send(node.group(6), eventFrame(101, 6, {0, 0, 0, 99}));
    node.sync();
    EXPECT_EQ(node.counter("Msg Rcvd "), 1U);
    EXPECT_EQ(node.counter("Msg Sent "), 0U);
    EXPECT_EQ(node.stat("stage"), 6U);
    EXPECT_EQ(node.stat("syncs"), 0U) << "nothing is flushed in Standby";
    EXPECT_TRUE(manager.silent());

    node.cold();
    EXPECT_EQ(manager.receive(), message(0, {0, 0, 0, 5}));
    EXPECT_EQ(manager.from, mi6Head("qosMI", 2, 1 << 4));
    EXPECT_EQ(node.stat("stage"), 5U);
    const uint32_t before = node.stat("syncs");
    node.sync();
    EXPECT_GE(node.stat("syncs"), before + 2) << "one for each event";
    node.ctl("stage 1001");
    EXPECT_EQ(manager.receive(), message(0, {0, 0, 0, 5})) << "again at each Active";
    for (const uint8_t i : {8, 9}) // its read event is armed again
        EXPECT_EQ(statistics.tell(67, {i}), (Bytes{i}));
    EXPECT_EQ(statistics.from, mi6Head("qosMIStats", 2, 1 << 4));
    EXPECT_TRUE(manager.silent());
    EXPECT_TRUE(driver.requests().empty());
}

TEST(Road, BatchIsEchoedWholeOrNotAtAll)
{
    LiveNode live;
    for (const uint8_t code : {0, 15, 36, 43, 67, 76}) // without a handler
        EXPECT_EQ(live.manager.tell(code, {1, 2, 3}), (Bytes{1, 2, 3}));
    const Bytes add = message(2, ifAddBody(CHANNEL, "po1"), 9);
    Bytes added = message(2, ifAddBody(CHANNEL, "po1", 0), 9);
    Bytes shortAdd = message(2, Bytes(31, 7), 3);
    Bytes tail = message(76, {1, 2, 3}, 255);
    const auto acked = [](Bytes one) {
        one[4] = 1;
        return one;
    };
    Bytes past = message(0, Bytes(10));
    put16(past, 1, 11);
    const std::tuple<const char *, Bytes, Bytes, const char *> cases[] = {
        {"several", message(67, {}) + add + tail, acked(message(67, {})) + acked(added) + acked(tail), nullptr},
        {"short body is left alone", message(0, {1}) + shortAdd + tail, acked(message(0, {1})) + shortAdd + acked(tail),
         "Body of msg type QOS_IFADD_MSG has 31 bytes, needs 32"},
        {"invalid code", tail + message(79, {1}) + tail, {}, "Invalid msg type 79"},
        {"length past the end", tail + past, {}, "Invalid msg length 11"},
        {"4 bytes left", tail + Bytes(4), {}, "Invalid msg header, 4 bytes left"},
    };
    for (const auto &[what, batch, echo, err] : cases) {
        SCOPED_TRACE(what);
        if (err)
            live.node.expectErr(err);
        live.manager.send(batch);
        if (!echo.empty()) {
            EXPECT_EQ(live.manager.receive(), echo);
            continue;
        }
        EXPECT_EQ(live.manager.exchange(tail), acked(tail)) << "the next batch, and no echo of the broken one";
    }
    // What stands ahead of an invalid message has been carried out: a delete answers 0 only for a known interface.
    EXPECT_EQ(live.status(3, ifDelBody(CHANNEL)), 0U);
    live.manager.send(add + message(255, {}));
    EXPECT_EQ(live.status(3, ifDelBody(CHANNEL)), 0U);
    live.node.expectErr("Invalid msg type 255");
}

TEST(Road, PriorityRecordsByteByByte)
{
    LiveNode live;
    live.addPort();
    constexpr uint32_t TARGET = 0x88430000; // the message's chip, which need not be the port's
    const Bytes l2 = l2Body(PORT, TARGET, 5, 3), l3 = l3Body(PORT, TARGET);
    Bytes other = l2; // a map above 7 goes out as it is
    other[34] = other[42] = 0xff;
    std::map<uint32_t, uint32_t> lengths = {{L2_MAP, 160}, {DEF_COS, 36}, {L3_MAP, 292}, {DSCP_MAP, 96}};
    const std::tuple<uint8_t, Bytes, Commands> cases[] = {
        {5, l2, {DEF_COS, L2_MAP}}, {4, l2, {L2_MAP}},   {6, other, {L2_MAP}},       {7, l2, {L2_MAP}},
        {8, l3, {L3_MAP}},          {10, l3, {L3_MAP}},  {11, l3, {L3_MAP}},         {9, l3, {DSCP_MAP}},
        {4, l2, {L2_MAP}},          {9, l3, {DSCP_MAP}}, {5, l2, {DEF_COS, L2_MAP}},
    };
    Bytes buffer(4048);
    uint32_t seq = 0; // of the last request before these
    for (const auto &[code, body, commands] : cases) {
        SCOPED_TRACE(int{code});
        Bytes answered = body;
        put32(answered, body.size() - 4, 0);
        EXPECT_EQ(live.manager.tell(code, body), answered);
        const std::vector<Bytes> sent = live.driver.requests();
        ASSERT_FALSE(sent.empty());
        if (seq == 0)
            seq = getNative(sent[0], 8, 4) - 1;
        std::vector<Bytes> expected;
        for (const uint32_t command : commands)
            expected.push_back(requestFrame(++seq, TARGET, priorityRecord(buffer, command, lengths[command], body)));
        EXPECT_EQ(sent, expected);
    }
    EXPECT_EQ(buffer[35], 0x43) << "the last records kept bytes of the map sent before";
}

TEST(Road, StatusOfSeveralRequests)
{
    LiveNode live;
    live.addPort();
    const auto refused = Driver::status(9);
    const auto fine = Driver::status(0);
    const std::tuple<uint8_t, uint8_t, std::vector<Driver::Reply>, uint32_t, Commands> cases[] = {
        {5, 3, {refused, fine}, 0, {DEF_COS, L2_MAP}},
        {5, 4, {fine, refused}, 22, {DEF_COS, L2_MAP}},
        {6, 4, {fine}, 0, {L2_MAP}}, // 4 was stored although the driver had refused it
        {6, 5, {refused, fine, fine}, 0, {L2_MAP, DEF_COS, L2_MAP}},
        {7, 5, {refused}, 22, {L2_MAP}},
        {7, 6, {fine, fine, refused}, 22, {L2_MAP, DEF_COS, L2_MAP}},
    };
    for (const auto &[code, def_tc, replies, status, commands] : cases) {
        SCOPED_TRACE(testing::Message() << int{code} << " tc " << int{def_tc});
        live.driver.script(replies);
        EXPECT_EQ(live.status(code, l2Body(PORT, CHIP, 1, def_tc)), status);
        EXPECT_EQ(wordsAt(live.driver.records(), 0), commands);
    }
    live.node.expectErr({"ASIC Driver failed to process QOS IOCTL", "Failed to set L2 Priority Map",
                         "Default CoS IOCTL failed", "Default CoS IOCTL (pri map) failed",
                         "Failed to set def cos for interface p, error = 22", "Cos Mutation IOCTL failed",
                         "Failed to set cos mutation for interface p, error = 22", "Cos TC Mutation IOCTL failed",
                         "Failed to set cos tc mutation for interface p, error = 22"});
}

TEST(Road, EveryHandlerTracesEntryAndExit)
{
    Bare inside;
    inside.log.ignoreErrs();
    tell(QOS_SCH_MSG, Bytes(8192));
    EXPECT_EQ(inside.log.count("*****"), 0U) << "but at the highest level alone";
    dce_trace_lvl_set(VELMAR_DCEDBG_LVL_VERBOSE);
    for (const qaMsgHandler_t &row : qaMsgHandlers) {
        const size_t before = inside.log.count("*****Entering qaProcess");
        if (row.handler)
            (void)row.handler(Bytes(8192).data());
        const size_t entered = inside.log.count("*****Entering qaProcess");
        EXPECT_EQ(entered > before, row.handler != nullptr) << int{row.code};
        EXPECT_EQ(inside.log.count("*****Leaving  qaProcess"), entered) << int{row.code};
    }
    dce_trace_lvl_set(VELMAR_DCEDBG_LVL_DBG);
}

// Which values a handler stores, whatever the back end makes of the rest, once there is a port on a chip.
TEST(Road, WhatEachHandlerStores)
{
    Bare inside;
    tell(QOS_CHIPUP_MSG, chipUpBody(CHIP, 1, 0, 1));
    tell(QOS_IFADD_MSG, ifAddBody(CHANNEL, "p"));
    enum : unsigned { DEFAULT = 1, TRUST = 2, COS = 4, TC = 8, DSCP = 16 };
    const std::pair<uint8_t, unsigned> cases[] = {
        {4, TRUST | COS | TC},
        {5, DEFAULT | COS | TC},
        {6, COS | TC},
        {7, COS | TC},
        {8, TRUST},
        {9, DSCP | COS | TC},
        {10, TRUST | DSCP | COS | TC},
        {11, TRUST | DSCP | COS | TC},
    };
    // Both a driver that accepts and one that refuses; on Larkin a mutation map has no back end at all.
    for (const uint32_t driver_status : {0U, 9U}) {
        inside.driver.always(Driver::status(driver_status));
        for (const auto &[code, all] : cases) {
            inside.driver.requests();
            for (const uint32_t none : {PORT, CHANNEL}) {
                Bytes refused = code < 8 ? l2Body(none, CHIP, 1, 1) : l3Body(none, CHIP);
                EXPECT_EQ(told(code, refused), 1U) << int{code};
            }
            EXPECT_TRUE(inside.driver.requests().empty());
            tell(QOS_IFADD_MSG, ifAddBody(PORT, "p"));
            const qosIf_t *port = qosLookupIfEntry(PORT);
            ASSERT_NE(port, nullptr);
            const Bytes body = code < 8 ? l2Body(PORT, CHIP, 5, 3) : l3Body(PORT, CHIP);
            answer(code, body, driver_status ? 22 : 0);
            const auto &[l2, l3] = std::tie(port->l2_pri, port->l3_pri);
            const auto kept = [&](const auto &map, size_t at) { return memcmp(map, &body[at], sizeof map) == 0; };
            const unsigned stored = code < 8 ? (l2.def_cos == 5) * DEFAULT | (l2.cos_trust == 1) * TRUST |
                                                   kept(l2.cos_map, 34) * COS | kept(l2.tc_map, 42) * TC
                                             : (l3.dscp_trust == 1) * TRUST | kept(l3.dscp_map, 32) * DSCP |
                                                   kept(l3.cos_map, 96) * COS | kept(l3.tc_map, 160) * TC;
            EXPECT_EQ(stored, all) << int{code};
            EXPECT_EQ(qosProcessPortDelete(PORT), 0);
        }
    }
    inside.expectErr({"ASIC Driver failed", "IOCTL failed for interface p", "(pri map) failed", "Failed to set",
                      "Failed to find interface p for", "Failed to find chip for interface p"});

    Bytes map = l3Body(LARKIN_PORT, LARKIN_CHIP);
    inside.add(LARKIN_CHIP, 0, {LARKIN_PORT});
    EXPECT_EQ(told(QOS_DSCPMAP_MSG, map), 1U);
    EXPECT_EQ(memcmp(qosLookupIfEntry(LARKIN_PORT)->l3_pri.dscp_map, &map[32], 64), 0);
    inside.expectErr("NULL DSCP Mutation IOCTL handler");
}
