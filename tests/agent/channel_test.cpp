// SPDX-License-Identifier: Apache-2.0
// The links to driver and manager: what a node makes of every frame that is not as it should be, of a driver or manager
// that is late, gone or full, and of notices and source addresses.

#include "channels/manager.h"
#include "tests/support/inside.h"
#include "tests/support/mi6.h"

namespace {

// Sends one trust message and gives the status that comes back.
uint32_t trust(LiveNode &live)
{
    return live.status(4, l2Body(PORT, CHIP, 1, 1));
}

Bytes patched(Bytes bytes, size_t at, unsigned width, uint32_t value)
{
    putNative(bytes, at, width, value);
    return bytes;
}

Bytes patchedWord(Bytes bytes, size_t at, uint32_t value)
{
    put32(bytes, at, value);
    return bytes;
}

} // namespace

TEST(DriverChannel, EveryCheckOfAResponse)
{
    LiveNode live;
    live.addPort();
    constexpr size_t END = 20 + 28 + 28; // of the good response's data frame
    using Make = Bytes (*)(const Bytes &good);
    const std::tuple<const char *, Make, uint32_t, const char *> cases[] = {
        // the status, and the line if there is one
        {"no end frame", [](const Bytes &g) { return cut(g, 0, END); }, 14, "length (0) sanity check failed"},
        {"end frame cut", [](const Bytes &g) { return cut(g, 0, END + 19); }, 14, "length (19) sanity check"},
        {"data length 19", [](const Bytes &g) { return patched(g, 0, 4, 19); }, 14, "length (96) sanity check"},
        {"data length past the end", [](const Bytes &g) { return patched(g, 0, 4, 97); }, 14, "length (96) sanity"},
        {"end length 19", [](const Bytes &g) { return patched(g, END, 4, 19); }, 14, "length (20) sanity check"},
        {"less than a header", [](const Bytes &g) { return cut(g, 0, 7); }, 14, "length (7) sanity check failed"},
        {"end type", [](const Bytes &g) { return patched(g, END + 4, 2, 3); }, 14, "is not NLMSG_DONE"},
        {"truncated", [](const Bytes &g) { return g + Bytes(37889 - g.size()); }, 14, "Received a truncated message"},
        {"empty datagram", [](const Bytes &) { return Bytes{}; }, 12, "Did not receive anything"},
        {"error frame", [](const Bytes &g) { return patchedWord(patched(g, 4, 2, 2), 20, 71); }, 12,
         "Received error message, error: 71, msg_type: 2, seq: "},
        {"bare error frame", [](const Bytes &) { return withEnd(frame(2, 5, {})); }, 12,
         "error: 0, msg_type: 2, seq: 5"},
        {"other command", [](const Bytes &g) { return patchedWord(g, 48, 0x01271001); }, 22, "does not match req cmd"},
        {"refused", [](const Bytes &g) { return patchedWord(g, 72, 9); }, 22, "error = 9"},
        {"no record", [](const Bytes &g) { return withEnd(frame(101, 1, cut(g, 20, 28))); }, 22, "response cmd (0)"},
        {"short record reads as 0", [](const Bytes &g) { return withEnd(frame(101, 1, cut(g, 20, 32))); }, 0, nullptr},
        {"trailer", [](const Bytes &g) { return g + Bytes(8); }, 0, nullptr},
        {"odd length", [](const Bytes &g) { return withEnd(frame(101, 1, cut(g, 20, 55))); }, 0, nullptr},
        {"largest", [](const Bytes &g) { return g + Bytes(37888 - g.size()); }, 0, nullptr},
        {"other sequence", [](const Bytes &g) { return patched(g, 8, 4, 99); }, 0, nullptr},
        {"other type", [](const Bytes &g) { return patched(g, 4, 2, 105); }, 0,
         "Unexpected netlink msg type for IOCTL"},
    };
    for (const auto &[what, make, status, err] : cases) {
        SCOPED_TRACE(what);
        // An error left in the buffer must not show through a shorter answer that follows.
        live.driver.script({Driver::status(0xffffffff)});
        EXPECT_EQ(trust(live), 22U);
        live.driver.script({[&make = make](const Bytes &r) { return std::vector<Bytes>{make(goodReply(r))}; }});
        EXPECT_EQ(trust(live), status);
        if (err)
            live.node.expectErr(err);
    }
    EXPECT_TRUE(live.node.log.has("Message has trailer (8)"));
    live.node.expectErr({"error = -1", "recvmsg failed for qosIoctl", "Failed to set L2 Priority Map",
                         "Cos Trust IOCTL failed", "Failed to set cos trust"});
}

TEST(DriverChannel, TimeLimitAndLateResponses)
{
    LiveNode live;
    live.addPort();
    const Bytes trustBatch = message(4, l2Body(PORT, CHIP, 1, 1));
    const Bytes dscpBatch = message(9, l3Body(PORT, CHIP));
    const auto timeOut = [&](const Bytes &batch) {
        live.driver.requests();
        live.driver.script({Driver::none()});
        live.manager.send(batch);
        const Bytes request = live.driver.await(1).at(0);
        live.node.ctl("clock step 14");
        EXPECT_TRUE(live.manager.receive(30).empty());
        EXPECT_EQ(live.node.ctl("clock step 1"), "ok");
        EXPECT_EQ(get32(live.manager.receive(), batch.size() - 4), 28U);
        return goodReply(request);
    };
    // A late response that meets the next request is judged by its command.
    const Bytes late = timeOut(trustBatch);
    for (const auto &[batch, status] : {std::pair{trustBatch, 0U}, std::pair{dscpBatch, 22U}}) {
        live.driver.requests();
        live.driver.script({Driver::none()});
        live.manager.send(batch);
        const Bytes own = goodReply(live.driver.await(1).at(0));
        live.driver.send(live.node.group(1), late);
        EXPECT_EQ(get32(live.manager.receive(), batch.size() - 4), status);
        live.driver.send(live.node.group(1), own);
        live.node.sync();
    }
    EXPECT_EQ(trust(live), 0U);
    live.node.expectErr({"no response received for fd: ", "Critical Error: Timeout while getting a response",
                         "recvmsg failed", "Failed to set L2 Priority Map for interface p, error = 28",
                         "Cos Trust IOCTL failed", "Failed to set cos trust", "does not match req cmd",
                         "Failed to set DSCP Map", "Failed to set dscp mutation"});
}

TEST(DriverChannel, DriverAbsentRestartedStalled)
{
    TestNode node;
    Manager manager(node);
    node.cold();
    manager.receive();
    manager.tell(1, chipUpBody(CHIP, 1, 0, 1));
    manager.tell(2, ifAddBody(PORT, "p"));
    const auto trusted = [&] { return get32(manager.tell(4, l2Body(PORT, CHIP, 1, 1)), 50); };
    const uint32_t before = static_cast<uint32_t>(node.log.count("Sending ioctl message"));
    EXPECT_EQ(trusted(), 13U);
    auto driver = std::make_unique<Driver>(node.run);
    EXPECT_EQ(trusted(), 0U);
    driver.reset();
    EXPECT_EQ(trusted(), 13U);
    {
        // Nobody reads: full with what others sent, it must not hold the agent for ever.
        Socket stalled(node.run + "/qos/driver");
        Socket other(node.run + "/other");
        while (other.send(stalled.path, {1}, MSG_DONTWAIT))
            ;
        EXPECT_EQ(trusted(), 13U);
    }
    driver = std::make_unique<Driver>(node.run);
    EXPECT_EQ(trusted(), 0U);
    EXPECT_EQ(getNative(driver->requests().at(0), 8, 4), before + 5) << "every try has its own sequence number";
    node.expectErr({"Failed to send msg to netlink socket", "sendmsg failed for qosCosIoctl cmd 19337218", "error = 13",
                    "Failed to set cos trust", "rc: 13", "sendmsg failed for qosCosIoctl cmd 193351",
                    "IOCTL failed for extended chip capability", "Module 13 failed to process chip up"});
}

TEST(DriverChannel, Events)
{
    LiveNode live;
    for (const uint32_t local : {0U, 2U}) // flat chips 8 and 10
        live.manager.tell(1, chipUpBody(CHIP + (local << 16), 1, local, 1));
    live.driver.requests();
    const auto ready = [](uint32_t bits) {
        Bytes body(32);
        put(body, {{12, 2}, {16, bits}});
        return body;
    };
    const auto hsl = [](uint32_t event) {
        Bytes body(2460);
        put(body, {{0, event}, {4, 1}, {16, CHIP}});
        return eventFrame(101, 2, body);
    };
    const std::pair<Bytes, const char *> events[] = {
        {eventFrame(1351, 3, ready(1 << 8)), "DBG Ignoring HSL msg with type = 3"},
        {eventFrame(1351, 2, ready(1 << 9 | 1 << 10)), "DBG Chip Ready event for unknown chip 9"}, // ends the walk
        {eventFrame(1351, 6, ready(1 << 8)), "DBG Chip 1/0 (8) marked as ready"},
        {eventFrame(1351, 6, Bytes(31)), "ERR Outbuf length (31) less than chip ready message length (32)"},
        {withEnd(frame(1351, 0, driverHeader(6, 32) + Bytes(16))), "ERR Outbuf length (16) less than"},
        {withEnd(frame(1351, 0, driverHeader(6, 64))), "ERR Outbuf length (0) less than"},
        {hsl(3), "DBG Ignoring chip up for chip 1/0"},
        {hsl(4), "DBG Ignoring chip down for chip 1/0 (8)"},
        {hsl(7), "DBG Ignoring bulk chip up for agent"},
        {hsl(9), "ERR Unknown event 9 from HSL"},
        {eventFrame(77, 2, Bytes(4)), "DBG Ignoring nlm type 77"},
        {eventFrame(101, 2, {}), "ERR Unknown event 0 from HSL"}, // a body that is missing
        {{1, 2, 3}, "ERR Message length (3) sanity check failed, socket: qosHslEvent"},
        {eventFrame(1351, 6, ready(1 << 10)), "DBG Chip 1/2 (10) marked as ready"},
    };
    for (const auto &[datagram, line] : events) {
        const size_t before = live.node.log.count(line + 4);
        live.driver.send(live.node.group(6), datagram);
        live.node.sync();
        EXPECT_EQ(live.node.log.count(line + 4), before + 1) << line;
        if (line[0] == 'E')
            live.node.expectErr(line + 4);
    }
    EXPECT_EQ(live.node.log.count("marked as ready"), 2U);
    EXPECT_TRUE(live.driver.requests().empty());
}

TEST(ManagerChannel, NoticesAreTracedAndNothingElse)
{
    LiveNode live;
    const std::tuple<uint32_t, uint8_t, uint16_t, const char *> cases[] = {
        {4, 8, 0, "ERR MI6 Destination [am0 qosMI] exceeded High threshold"},
        {4, 2, 1, "ERR MI6 Destination [al1 qosMI] exceeded High threshold"},
        {5, 6, 0, "DBG MI6 destination [am0 qosMI] returned to normal threshold"},
        {6, 4, 0x10, "ERR Invalid MI6 destination, addr = [sm10 qosMI]"},
        {6, 1, 0x8000, "ERR Invalid MI6 destination, addr = [slFFFF8000 qosMI]"},
        {77, 0, 3, "ERR Unknown MI6 error 77 from [*l3 qosMI]"},
    };
    for (const auto &[code, flags, mask, line] : cases) {
        SCOPED_TRACE(line);
        // Notice and batch in one drain: the batch must not suffer.
        EXPECT_TRUE(live.manager.sock.send(live.node.socketOf("qosMI"), notice(code, flags, mask)));
        EXPECT_EQ(live.manager.tell(67, {1}), (Bytes{1}));
        EXPECT_TRUE(live.node.log.has(line + 4));
        if (line[0] == 'E')
            live.node.expectErr(line + 4);
    }
    EXPECT_EQ(live.node.counter("Msg Rcvd "), std::size(cases)) << "a notice is no message";
}

TEST(ManagerChannel, SourceSlots)
{
    // Flags and mask of the source, and its slot on a card whose slots start at 0; -1 if there is none to be found.
    const std::tuple<uint8_t, uint16_t, int> cases[] = {
        {8, 4, 0}, {4, 4, 0}, {2, 0x0008, 3}, {1, 0x0410, 4}, {2, 0x0400, 10}, {2, 0x0800, -1}, {2, 0, -1}};
    for (const bool chassis : {false, true}) {
        NodeOptions options;
        options.node_file = chassis ? "slot_base = 1\n" : "";
        LiveNode live(options);
        Bytes body;
        for (const auto &[flags, mask, from] : cases) {
            body.push_back(0); // the length tells the cases' lines apart
            live.manager.send(message(67, body), flags, mask);
            EXPECT_EQ(live.manager.receive().size(), body.size() + 5) << "whatever the source";
            const int slot = from < 0 || flags & 12 ? 0 : from + chassis;
            EXPECT_TRUE(live.node.log.has("of length " + std::to_string(body.size() + 5) + " from slot " +
                                          std::to_string(slot)));
        }
        live.node.expectErr("Unable to identify source slot in received MI msg");
    }
}

TEST(ManagerChannel, MalformedAndEmptyDatagrams)
{
    LiveNode live;
    const uint32_t before = live.node.counter("Msg Rcvd ");
    for (const size_t length : {0, 1, 19})
        live.manager.sock.send(live.node.socketOf("qosMI"), Bytes(length, 0xff));
    live.manager.sock.send(live.node.socketOf("qosMI"), cut(notice(6, 8, 0), 0, 51));
    EXPECT_EQ(live.manager.tell(67, {1}), (Bytes{1}));
    EXPECT_EQ(live.node.counter("Msg Rcvd "), before + 1);
    EXPECT_EQ(live.node.counter("Rcv EOF"), 0U);
    // An address and nothing behind it ends the drain, and the next readiness goes on.
    live.manager.send({});
    EXPECT_EQ(live.manager.tell(67, {2}), (Bytes{2}));
    EXPECT_EQ(live.node.counter("Rcv EOF"), 1U);
    // So does a batch that is refused; what stands behind it stays in the socket till then.
    live.manager.send(message(200, {}));
    live.manager.send(message(67, {3}));
    EXPECT_EQ(live.manager.receive(), (Bytes{67, 0, 1, 0, 1, 3}));
    live.node.expectErr("Invalid msg type 200");
    EXPECT_EQ(live.node.counter("Rcv message errros"), 0U);
}

TEST(ManagerChannel, FailedReadIsCounted)
{
    Bare inside;
    inside.log.ignoreErrs();
    (void)qosReadMiMsg(-1);
    EXPECT_EQ(qos_velmar_state.mi_rcv_errors, 1U);
}
