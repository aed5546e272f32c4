// SPDX-License-Identifier: Apache-2.0
// Slots, chips and interfaces: what comes to exist by which message or event, with what in it, in which order, and
// which modules hear of it.
#include "channels/driver_socket.h"
#include "channels/events/driver_events.h"
#include "channels/manager.h"
#include "core/memory.h"
#include "ha/register.h"
#include "ha/vss.h"
#include "inventory/capability.h"
#include "inventory/ifindex.h"
#include "lib/kor.h"
#include "platform/larkin/lark_ccb.h"
#include "platform/mirelle/mrl_red.h"
#include "platform/tessel/tsl_red.h"
#include "tests/support/inside.h"
#include "velmar/dce.h"

namespace {

using Names = std::vector<std::string>;
Names heard; // what the recording hooks were called with

uint32_t addChip(uint32_t chip, uint32_t type, uint32_t ports = 0)
{
    const int32_t flat = dce_get_flat_chip_id(chip);
    Bytes body = chipUpBody(chip, static_cast<uint32_t>(flat / 8), static_cast<uint32_t>(flat % 8), type, ports);
    tell(QOS_CHIPUP_MSG, body);
    return get32(body, 2003);
}

int noted(const std::string &what, int rc = 0)
{
    heard.push_back(what);
    return rc;
}
const auto noteChipUp = [](qosChip_t *c) { return noted("chip " + std::to_string(c->chip_id)); };
const auto failChipUp = [](qosChip_t *c) { return noted("chip " + std::to_string(c->chip_id), 5); };
const auto noteChipDown = [](qosChip_t *c) { noted("down " + std::to_string(c->chip_id)); };
const auto noteIfAdd = [](qosIf_t *i) { return noted(std::string("add ") + i->ifName); };
const auto failIfAdd = [](qosIf_t *i) { return noted(std::string("add ") + i->ifName, 7); };
const auto noteIfDel = [](qosIf_t *i) { noted(std::string("del ") + i->ifName); };
const auto noteSlotUp = [](qosSlot_t *slot) { noted("up " + std::to_string(slot->slot_id)); };
const auto noteSlotDown = [](qosSlot_t *slot) { noted("down " + std::to_string(slot->slot_id)); };

using Values = std::vector<int64_t>;

Values numbers(auto... values)
{
    return {static_cast<int64_t>(values)...};
}

// What the capabilities leave in a chip, its second port included.
Values capabilitiesOf(const qosChip_t &c)
{
    const qosChipPortInfo_t &port = c.portInfo[1];
    return numbers(c.chip_type, c.num_ports, c.chip_rev, c.num_ingr_policer_ids, c.ingr_infin_policer_id,
                   c.min_ingr_policer_id, c.num_egr_policer_ids, c.egr_infin_policer_id, c.min_egr_policer_id,
                   c.num_policer_profiles, c.pt_based_pol, c.vlan_based_pol, c.num_policer_groups, c.numChipBuffPools,
                   c.chipBuffers, c.portBuffers, c.maxRedProfilesPerChip, c.egr_td_red_prof, port.ifindex,
                   port.num_buffers, port.bufPoolId, port.polGroupId, c.portInfo[2].ifindex);
}

Names taken()
{
    return std::exchange(heard, {});
}

// A node of the manager role: its driver requests go out by a socket of their own.
struct ManagerRole : Bare {
    ManagerRole()
    {
        qos_velmar_state.is_agent = 0;
        static const int opened = qosInitHSLMgrSock();
        EXPECT_EQ(opened, 0);
    }
};

Bytes cosCapability(const Bytes &request, uint32_t code)
{
    Bytes reply = goodReply(request);
    put32(reply, 48 + 28, code);
    if (get32(request, 48) == 0x70001) {
        for (size_t i = 0; i < 7; ++i) // the policers, from min_ingr_policer_id on
            put32(reply, 48 + 140 + 4 * i, static_cast<uint32_t>(11 + i));
        put(reply, {{48 + 32, 3}, {48 + 184, 9}});
        return reply;
    }
    put32(reply, 48 + 40, 0x40000000);
    put32(reply, 48 + 76, 0x10005); // 16 bits count
    put(reply, {{48 + 80, 7000}, {48 + 84, 2}, {48 + 92, 2}, {48 + 108, PORT}, {48 + 112, 600}});
    put32(reply, 48 + 116, 0xffffff2d); // the lowest byte is pool and group
    put32(reply, 48 + 120, PORT);
    return reply;
}

Driver::Reply capability(uint32_t basic, uint32_t extended)
{
    return [=](const Bytes &request) {
        return std::vector<Bytes>{cosCapability(request, get32(request, 48) == 0x70001 ? basic : extended)};
    };
}

} // namespace

TEST(Inventory, InterfaceOrder)
{
    // Ascending; those of a line are equal.
    const std::vector<std::vector<uint32_t>> order = {
        {62u << 26 | 1 << 20 | 5, 62u << 26 | 1 << 20 | 1 << 16 | 5}, // the low 16 bits alone
        {0x88400000},                                                 // type 34
        {26u << 26 | 1 << 22 | 3 << 15},
        {26u << 26 | 1 << 22 | 4 << 15 | 1, 26u << 26 | 1 << 22 | 4 << 15 | 6}, // the chip does not count
        {26u << 26 | 2 << 22},
        {18u << 26 | 1}, // no slot: the whole index
        {18u << 26 | 0x20000},
        {14u << 26 | 1 << 22 | 0xffff},
        {6u << 26 | 9 << 22 | 127 << 15},
        {6u << 26 | 10 << 22},
        {3u << 26 | 1 << 21},                                                   // row 0: the map's head
        {3u << 26 | 1 << 21 | 65 << 13 | 1 << 9, 3u << 26 | 1 << 21 | 1 << 13}, // what follows a slot's rows
        {3u << 26 | 1 << 21 | 1 << 13 | 4 << 9},
        {3u << 26 | 1 << 21 | 2 << 13 | 1 << 9, 3u << 26 | 1 << 21 | 2 << 13}, // column 0 stands for the first
        {3u << 26 | 31 << 21 | 1 << 13},
        {2u << 26 | 1},
    };
    EXPECT_EQ(qosIfSlot(33U << 26 | 5 << 22), 5);
    for (const auto &first : order)
        for (const auto &second : order)
            for (const uint32_t a : first)
                for (const uint32_t b : second) {
                    const int sign = qosIfIndexCompare(a, b);
                    EXPECT_EQ((sign > 0) - (sign < 0), (&first > &second) - (&first < &second)) << a << " " << b;
                }
    const std::pair<uint32_t, int32_t> ports[] = {
        {6u << 26 | 127 << 15 | 7, 127},
        {32u << 26 | 5 << 15, 5},
        {62u << 26 | 1023 << 10, 1023},
        {61u << 26 | 255 << 12, 255},
        {14u << 26 | 9, -1},
        {3u << 26 | 64 << 13 | 4 << 9, 256},
        {3u << 26 | 65 << 13 | 1 << 9, 1},
        {3u << 26 | 1 << 13 | 5 << 9, 5},
        {3u << 26 | 31 << 21 | 255 << 13 | 15 << 9, 7},
        {3u << 26 | 31 << 21 | 2 << 13 | 3 << 9, 7},
    };
    for (const auto &[ifindex, port] : ports)
        EXPECT_EQ(qosIfPort(ifindex), port) << std::hex << ifindex;
    // Where the code of a speed lies, and the port as the driver's messages have it.
    const std::map<uint32_t, unsigned> speeds = {{6, 12}, {26, 12}, {32, 12}, {3, 6}, {62, 6}, {61, 4}};
    for (const auto &[type, low] : speeds)
        for (const uint32_t mbps : {10000, 0, 1000, 40000, 100000, 0}) {
            static uint32_t code;
            EXPECT_EQ(qaSchGetSpeedFromIf(type << 26 | (code++ % 6) << low), mbps) << type;
        }
    for (const auto &[type, low] : std::map<uint32_t, unsigned>{{6, 7}, {33, 7}, {14, 9}, {30, 9}})
        EXPECT_EQ(qaIfindexPort(type << 26 | 5U << low), 5) << type;
    EXPECT_EQ(qaIfindexPort(18U << 26), -1);
    EXPECT_EQ(qaSchGetSpeedFromIf(18U << 26), 0U);
}

TEST(Inventory, ChipUpMessageToRecord)
{
    for (uint32_t type = 0; type < 4; ++type) {
        SCOPED_TRACE(type);
        Bare inside;
        Bytes body = chipUpBody(CHIP, 1, 0, type, 2);
        for (uint32_t i = 0; i < 8; ++i) // revision and policers, each its own number
            put32(body, 24 + 4 * i, 100 + i);
        set(body, QOS_CHIPUP_MSG, Field{"pt_based_pol", 2}, Field{"vlan_based_pol", 3}, // the lowest bit counts
            Field{"num_policer_groups", 0xfff1}, Field{"numChipBuffPools", 4}, Field{"chipBuffers", 9000},
            Field{"portBuffers", 77}, Field{"maxRedProfilesPerChip", 15}, Field{"portInfo.ifindex", PORT, 1},
            Field{"portInfo.num_buffers", 500, 1}, Field{"portInfo.bufPoolId", 0x13},
            Field{"portInfo.polGroupId", 0x24}, Field{"egr_td_red_prof", 31});
        tell(QOS_CHIPUP_MSG, body);
        EXPECT_EQ(get32(body, 2003), 0U);
        const qosChip_t *chip = qosLookupChip(8);
        ASSERT_NE(chip, nullptr);
        // Numbers above 15 of pool and group are cut to four bits, and the profile count never arrives.
        const uint32_t p = type > 0;
        const uint32_t e = type > 1;
        EXPECT_EQ(capabilitiesOf(*chip),
                  (numbers(type, 2, p * 100, p * 101, p * 102, p * 103, p * 104, p * 105, p * 106, p * 107, 0, e,
                           e * 0xfff1, e * 4, e * 9000, 0, 0, e * 31, e * (PORT + 1), e * 501, e * 3, e * 4, 0)));
    }
}

TEST(Inventory, ChipUpOddities)
{
    LiveNode live;
    const auto up = [&](uint32_t chip, uint32_t slot, uint32_t type, uint32_t ports = 0, uint8_t code = 1) {
        return live.status(code, chipUpBody(chip, slot, 0, type, ports));
    };
    EXPECT_EQ(up(CHIP, 1, 2, 161, 66), 0U);
    EXPECT_TRUE(live.node.log.has(" Num of ports = 161"));
    EXPECT_EQ(live.node.log.count("  num_buffers = 0"), 160U) << "the walk stays in the table";
    EXPECT_EQ(up(CHIP, 1, 1), 0U) << "a duplicate is a success";
    EXPECT_TRUE(live.node.log.has("Ignoring duplicate CHIP_UP event for chip 1/0(8)"));
    EXPECT_FALSE(live.node.log.has(" Chip Type = Tessel"));
    EXPECT_EQ(up(CHIP + (1 << 22), 2, 7), 0U);
    live.node.expectErr({"Unknown chip type 7", "Unknown chip id from IFM: 0"});
    EXPECT_TRUE(live.node.log.has(" Chip Type = Larkin"));
    EXPECT_EQ(up(CHIP + (2 << 22), 3, 3, 0x80000000), 0U) << "a negative count copies nothing";
    for (const uint32_t slot : {10, 11, 266}) {
        EXPECT_EQ(up(CHIP + (4 << 22), slot, 1), 1U);
        live.node.expectErr("Unable to derive slot for chip " + std::to_string(slot & 0xff) + "/0");
    }
    EXPECT_EQ(up(CHIP + (4 << 22), 9 + 256, 1), 0U) << "the low byte is the slot";
    // An index that names no chip is refused: a record of chip -1 would be found by all such indexes.
    for (const uint32_t none : {0x8bc00000U, 0x28000000U, 0U}) {
        EXPECT_EQ(up(none, 1, 1), 1U);
        live.node.expectErr("No chip has ifIdx 0x");
    }
    live.node.expectErr("Failed to process Chip Up message");
}

TEST(Inventory, CapabilitiesFromTheDriver)
{
    // The model, the codes of both answers, the result and the type, the numbers of profiles, the requests' lengths.
    const std::tuple<uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, std::vector<uint32_t>> cases[] = {
        {1000, 26, 0, 0, 1, 0, {460}}, {131, 29, 31, 0, 2, 16, {460, 2016}}, {1011, 32, 33, 0, 3, 15, {460, 2016}},
        {1000, 24, 0, 1, 0, 0, {460}}, {1000, 31, 26, 1, 2, 0, {460, 2016}},
    };
    for (const uint32_t is_agent : {1U, 0U})
        for (const auto &[model, basic, extended, rc, type, profiles, lengths] : cases) {
            SCOPED_TRACE(testing::Message() << model << "/" << basic << "/" << extended);
            ManagerRole inside;
            qos_velmar_state.is_agent = is_agent;
            qos_velmar_state.model = model;
            inside.driver.always(capability(basic, extended));
            qosChip_t chip = {};
            chip.slot_id = 1;
            chip.chip_ifindex = CHIP;
            EXPECT_EQ(qosGetChipCapability(&chip), rc);
            const auto requests = inside.driver.requests();
            for (const size_t at : {40, 44, 56, 60}) // the lengths stand in both headers
                EXPECT_EQ(wordsAt(requests, at), lengths);
            for (const Bytes &request : requests) {
                EXPECT_EQ(getNative(request, 4, 2), is_agent ? 101U : 105U);
                EXPECT_TRUE(holds(request, {{20, CHIP}, {48, get32(request, 40) == 460 ? 0x70001U : 0x1270810U}}));
            }
            const uint32_t e = lengths.size() - 1;
            if (rc == 0)
                EXPECT_EQ(capabilitiesOf(chip),
                          (numbers(type, e ? 2U : 9U, 3, 12, 13, 11, 15, 16, 14, 17, 0, e, e * 5, e * 2, e * 7000, 0,
                                   profiles, 0, e * PORT, e * 600, e * 2, e * 13, 0)));
            else
                inside.expectErr(e ? "Invalid Chip Id 26 in extended chip capability for chip 1/0"
                                   : "Unsupported chip type 24 in chip capability");
            EXPECT_EQ(chip.chip_type, type);
        }
}

TEST(Inventory, OldCapabilityRequest)
{
    ManagerRole inside;
    qos_velmar_state.model = 17;
    // The answer's code and status, the result, and the type of the chip, which was 3; only one code is taken over.
    const std::tuple<uint32_t, uint8_t, uint32_t, uint32_t> cases[] = {{24, 0, 0, 0}, {26, 0, 0, 3}, {26, 1, 22, 3}};
    for (const auto &[code, status, rc, type] : cases) {
        inside.driver.always([code = code, status = status](const Bytes &request) {
            Bytes reply = goodReply(request);
            putNative(reply, 8, 4, 1000); // a sequence that does not match is traced and no more
            reply[48 + 7] = status;
            put(reply, {{48 + 12, code}, {48 + 16, 6}});
            return std::vector<Bytes>{reply};
        });
        qosChip_t chip = {};
        chip.chip_type = 3;
        EXPECT_EQ(qosGetChipCapability(&chip), rc);
        EXPECT_EQ(chip.chip_type, type);
        EXPECT_EQ(chip.chip_rev, rc ? 0U : 6U);
        EXPECT_EQ(inside.records(), std::vector<Bytes>{dceRecord(0x10050001, 164, 1)});
    }
    inside.expectErr({"IOCTL response seqno 1000 does not match request seqno",
                      "Unsupported chip type 26 in chip capability", "error = 1", "IOCTL failed for chip capability"});
}

TEST(Inventory, ManagerRoleFollowsTheDriver)
{
    ManagerRole inside;
    qos_modules[QOS_MOD_AGT].chip_up = noteChipUp;
    qos_modules[QOS_MOD_AGT].chip_down = noteChipDown;
    inside.driver.always(capability(26, 0));
    for (const uint32_t chip : {CHIP, CHIP + 0x10000, CHIP + 0x20000})
        addChip(chip, 1);
    taken();
    const auto hear = [](const Bytes &body) {
        Bytes payload = driverHeader(2, static_cast<uint32_t>(body.size())) + body;
        EXPECT_EQ(qosProcessHslEvent(payload.data(), static_cast<uint32_t>(payload.size()), 0, 101), 0);
    };
    const auto event = [&hear](uint32_t number, uint32_t chip, uint32_t local) {
        Bytes body(2460);
        put(body, {{0, number}, {4, 1}, {8, local}, {16, chip}, {28, 26}});
        hear(body);
    };
    event(4, CHIP + 0x20000, 2);
    EXPECT_EQ(taken(), Names{"down 10"});
    EXPECT_EQ(qosLookupChip(10), nullptr);
    event(4, CHIP + 0x20000, 2);
    inside.expectErr("Ignoring chip_down event for unknown chip 1/2 (0x88420000)");
    event(3, CHIP + 0x30000, 3);
    EXPECT_EQ(taken(), Names{"chip 11"});

    // Reported: one that is known, one that is new and one that the driver refuses. All others go, highest first.
    Bytes bulk(8 + 3 * 2444);
    put(bulk, {{0, 7}, {4, 3}});
    const uint32_t reported[] = {CHIP, CHIP + 0x40000, CHIP + 0x50000};
    for (size_t i = 0; i < 3; ++i) {
        bulk[8 + 2444 * i] = 1;
        bulk[9 + 2444 * i] = static_cast<uint8_t>(reported[i] >> 16 & 7);
        put32(bulk, 12 + 2444 * i, reported[i]);
    }
    inside.driver.requests();
    inside.driver.script({capability(26, 0), Driver::status(4)});
    hear(bulk);
    EXPECT_EQ(taken(), (Names{"chip 12", "down 11", "down 9"}));
    EXPECT_EQ(inside.driver.requests().size(), 2U);
    ASSERT_TRUE(qosLookupChip(8) && qosLookupChip(12));
    EXPECT_EQ(qosLookupChip(8)->warm_up | qosLookupChip(12)->warm_up, 0U);
    inside.expectErr({"Unable to find chip ifidx: 88440000", "Unable to find chip ifidx: 88450000", "error = 4",
                      "IOCTL failed for chip capability", "Unable to get chip capability for chip: 88450000",
                      "Failed to add chip to db, rc: 22"});

    // A port on a chip that nobody reported brings the chip along; in the agent role it is refused.
    EXPECT_NE(qosProcessPortAdd(PORT | 6, "fake"), nullptr);
    EXPECT_EQ(taken(), Names{"chip 14"});
    qos_velmar_state.is_agent = 1;
    EXPECT_EQ(qosProcessPortAdd((PORT + 0x8000) | 7, "p7"), nullptr);
    inside.expectErr({"Unknown chip 14 for port add fake", "Unknown chip 15 for port add p7"});
}

TEST(Inventory, InterfacesComeAndGo)
{
    LiveNode live;
    live.addPort();
    const std::string longest(19, 'n');
    // An interface with its name, or without one to be deleted; what comes back, and the line if there is one.
    const std::tuple<uint32_t, std::string, uint32_t, const char *> steps[] = {
        {PORT, "again", 0, "ifEntry already exists for interface again"}, // no failure
        {PORT | 3, "p3", 0, "ifEntry already exists for interface p3"},   // nor one of the same slot and port
        {PORT + (1 << 22), "q", 2, "Unknown chip 16 for port add q"},     // its chip was never announced
        {3u << 26 | 31 << 21, "r", 2, "Unable to derive chip index from ifindex for port r"},
        {CHANNEL, longest + "n", 0, nullptr}, // a name that is not terminated is cut
        {18u << 26 | 5, "vlan5", 0, nullptr},
        {CHANNEL, "", 0, nullptr},
        {CHANNEL, "", UNTOUCHED, "Failed to find interface 0x38000001 for ifindex"},
        {PORT, "", 0, nullptr},
        {PORT, "p", 0, nullptr},
    };
    for (const auto &[ifindex, name, status, err] : steps) {
        EXPECT_EQ(name.empty() ? live.status(3, ifDelBody(ifindex)) : live.status(2, ifAddBody(ifindex, name)), status);
        if (err)
            live.node.expectErr(err);
    }
    EXPECT_TRUE(live.node.log.has("Added Interface " + longest));
    EXPECT_FALSE(live.node.log.has(longest + "n"));
}

TEST(Inventory, HooksOfChipsAndInterfaces)
{
    Bare inside;
    qos_modules[QOS_MOD_KOR].chip_up = failChipUp;
    qos_modules[QOS_MOD_AGT].chip_up = noteChipUp;
    EXPECT_EQ(addChip(CHIP, 1), 0U) << "a failing module keeps neither the chip nor the next module from it";
    EXPECT_EQ(taken(), (Names{"chip 8", "chip 8"}));
    EXPECT_NE(qosLookupChip(8), nullptr);
    inside.expectErr("Module 3 failed to process chip up, rc: 0");
    EXPECT_EQ(addChip(CHIP, 2), 0U);
    EXPECT_TRUE(taken().empty());

    qos_modules[QOS_MOD_KOR].if_add = failIfAdd;
    qos_modules[QOS_MOD_AGT].if_add = noteIfAdd;
    qos_modules[QOS_MOD_AGT].if_del = noteIfDel;
    Bytes add = ifAddBody(PORT, "p");
    EXPECT_EQ(tell(QOS_IFADD_MSG, add), 0U);
    EXPECT_EQ(tell(QOS_IFADD_MSG, add), 0U);
    EXPECT_EQ(taken(), Names(4, "add p")) << "both modules, and again for the second add";
    inside.expectErr("ifEntry already exists");
    qosProcessPortAdd(31u << 26 | 1, "t31");
    EXPECT_EQ(qosProcessPortDelete(31u << 26 | 1), 0);
    EXPECT_EQ(qosProcessPortDelete(31u << 26 | 1), 0);
    EXPECT_TRUE(taken().empty()) << "type 31 is nobody's business";

    // A member leaves its port channel, and the port its chip.
    qosIf_t *channel = qosProcessPortAdd(CHANNEL, "po");
    qosIf_t *port = qosLookupIfEntry(PORT);
    port->parent = channel;
    tailqInsertTail<&qosIf_t::memLink>(&channel->memPortList, port);
    const uint32_t held = qos_modules[QOS_MOD_IFM].bytes[QOS_MEM_IF];
    EXPECT_EQ(qosProcessPortDelete(PORT), 0);
    EXPECT_EQ(taken(), Names{"del p"});
    EXPECT_TRUE(tailqEmpty(&channel->memPortList));
    EXPECT_TRUE(tailqEmpty(&qosLookupChip(8)->ifList));
    EXPECT_EQ(qos_modules[QOS_MOD_IFM].bytes[QOS_MEM_IF], held - sizeof(qosIf_t));
}

TEST(Inventory, BufferPoolOfAPort)
{
    Bare inside;
    for (const uint32_t type : {1U, 2U}) {
        Bytes body = chipUpBody(CHIP + (type << 16), 1, type, type, 1);
        put32(body, 79, PORT | 2);
        put16(body, 87, 3);
        tell(QOS_CHIPUP_MSG, body);
    }
    EXPECT_EQ(qosGetBufPoolGroup(qosProcessPortAdd(PORT | 2, "p")), 3U);
    EXPECT_EQ(qosGetBufPoolGroup(qosProcessPortAdd((PORT + 0x8000) | 2, "q")), 0U) << "not in the chip's table";
    EXPECT_EQ(qosGetBufPoolGroup(qosProcessPortAdd((PORT + 0x10000) | 1, "r")), 0U) << "a type without pools";
    EXPECT_EQ(qosGetBufPoolGroup(qosProcessPortAdd(CHANNEL, "po")), 1U);
    inside.expectErr("Interface:po does not have a valid chip");
}

TEST(Inventory, SlotEventsAndReplay)
{
    Bare inside;
    qos_modules[QOS_MOD_AGT].slot_up = noteSlotUp;
    qos_modules[QOS_MOD_AGT].slot_down = noteSlotDown;
    qos_modules[QOS_MOD_KOR].if_add = failIfAdd;
    qos_modules[QOS_MOD_AGT].if_add = noteIfAdd;
    EXPECT_EQ(qosProcessSlotDown(1), 0);
    EXPECT_EQ(qosProcessSlotUp(1), 1) << "no chip to replay";
    inside.expectErr("Chip List is NULL. Not expected");
    EXPECT_EQ(qosProcessSlotUp(1 + 256), 0) << "the low byte counts: a duplicate";
    EXPECT_EQ(taken(), Names{"up 1"});
    EXPECT_EQ(qos_global_slot_rdy_cnt, 1U);
    addChip(CHIP, 1);
    EXPECT_EQ(qosProcessSlotDown(1), 0);
    EXPECT_EQ(qosProcessSlotUp(1), 1) << "a chip without interfaces";
    inside.expectErr({"Slot is NULL. Not expected", "Process IF-ADD failed in one of chip 0x88400000 on slot:1"});
    qosProcessPortAdd(PORT, "a");
    qosProcessPortAdd(PORT + 0x8000, "b");
    taken();
    qosProcessSlotDown(1);
    qosProcessSlotDown(1);
    EXPECT_EQ(qos_global_slot_rdy_cnt, 0U);
    EXPECT_NE(qosLookupIfEntry(PORT), nullptr) << "everything survives but the state";
    EXPECT_EQ(qosProcessSlotUp(1), 0) << "the last hook's result";
    EXPECT_EQ(taken(), (Names{"down 1", "up 1", "add a", "add a", "add b", "add b"}));
    inside.expectErr("ifAdd_cb returned error mod_id 3");
    std::swap(qos_modules[QOS_MOD_KOR].if_add, qos_modules[QOS_MOD_AGT].if_add);
    EXPECT_EQ(qosProcessIfAddOnSlot(qosLookupSlot(1)), 7);
    inside.expectErr(
        {"ifAdd_cb returned error mod_id 18", "Notify IF-ADD failed in one of the interface chip 0x88400000"});

    EXPECT_EQ(qosProcessSlotUp(11), 1);
    EXPECT_EQ(qosProcessSlotDown(11), 0);
    inside.expectErr("Failed to find slot 11 entry to process slot up event");
    EXPECT_NE(qosLookupSlot(10), nullptr);
    (void)qosProcessSlotUp(2);
    EXPECT_EQ(qos_global_slot_rdy_cnt, 2U);
    const std::pair<uint32_t, bool> states[] = {
        {PORT, false},      {PORT + (2 << 22), true},      {3u << 26 | 2 << 21, false}, {62u << 26 | 3 << 20, true},
        {18u << 26, false}, {61u << 26 | 40 << 20, false},
    };
    for (const auto &[ifindex, down] : states)
        EXPECT_EQ(qosIsSlotDown(ifindex), down) << std::hex << ifindex;
    inside.expectErr({"Unable to find slot with id 255", "Unable to find slot with id 40"});
}

// Parts of their rooms' interfaces that only others call.
TEST(Inventory, WhatNobodyHereCalls)
{
    Bare inside;
    testing::internal::CaptureStdout();
    qaDcmDumpMsg(std::array<unsigned char, 27>{1, 255}.data(), 27);
    const std::string dumped = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(dumped.starts_with("[AGT]:  01  ff  00 ") && dumped.find('\n') == 7 + 26 * 4) << dumped;
    EXPECT_STREQ(qos_ha_get_upd_type_str(QOS_MC_SCH_MSG), "qosUpdEntry_qosSchMsg_t");
    EXPECT_EQ(qos_ha_get_upd_type_str(QOS_GET_TMC_INFO_MSG + 1), nullptr);
    EXPECT_EQ(qosVssObjSyncNotify(1, 2, 3) | qosVssRecvMsg(1, "", 0) | qosMiRecon(0, 0) | qosNLRecon(0, 0), 0);
    EXPECT_EQ(qos_if_config_write(nullptr) | qosVssHandleGet(), 0);
    EXPECT_EQ(larkGetChipCapability(nullptr), QOS_MSG_DONE);

    static qosChip_t chip;
    chip.chip_id = 1;
    EXPECT_EQ(tslRedChipInit(&chip), 0U);
    const uint16_t first = tslAllocRedMappedProfile(&chip, 5);
    EXPECT_EQ(tslGetRedMappedProfile(&chip, 6), first + 1);
    EXPECT_EQ(tslGetRedMappedProfile(&chip, 5), first);
    for (const uint16_t profile : {5, 5, 6})
        tslPutRedMappedProfile(&chip, profile);
    EXPECT_EQ(tslAllocRedMappedProfile(&chip, 7), first);
    EXPECT_EQ(mrlAllocRedMappedProfile(&chip, 8), first + 1);

    qosNLSock_t sock = {};
    uint32_t head = 0;
    EXPECT_EQ(qosNLSocketInit(&sock, "x", &head), 0);
    EXPECT_EQ(head, sizeof(qosNLHdr_t));
    EXPECT_NE(qosNLClose(&sock), 0);
    EXPECT_NE(qosNLClose(nullptr), 0);
    EXPECT_EQ(qosNLSocket(&sock, NL_CLIENT_CMD), 0);
    EXPECT_NE(qosNLSocket(&sock, NL_CLIENT_CMD), 0);
    EXPECT_EQ(qosNLRecvMsgThread(&sock, qosNLRspBuf, sizeof qosNLRspBuf, nullptr, 0), 0);
    EXPECT_EQ(qosNLClose(&sock), 0);
    EXPECT_TRUE(sock.fd == -1 && !sock.read_thread);
    inside.expectErr({"Unsupported message type", "Invalid sock fd", "NULL sockp for close", "sockId is not -1"});
}
