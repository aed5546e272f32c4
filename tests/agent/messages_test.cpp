// Layout of the message bodies and the catalogue of codes. The offsets here are typed by hand, apart from the structs.
#include "agent/messages.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

namespace {

using bytes = std::vector<uint8_t>;

// A piece of a body as it must stand on the wire.
struct piece {
    size_t offset;
    bytes data;
};

// Fills a zeroed body and compares all of it, so a byte that lands elsewhere shows as well.
template <typename Body>
void expectBytes(void (*fill)(Body &), size_t size, std::initializer_list<piece> pieces)
{
    Body body{};
    fill(body);
    bytes expected(size, 0);
    for (const piece &p : pieces)
        std::copy(p.data.begin(), p.data.end(), expected.begin() + static_cast<std::ptrdiff_t>(p.offset));
    const auto *raw = reinterpret_cast<const uint8_t *>(&body);
    EXPECT_EQ(bytes(raw, raw + sizeof body), expected);
}

const wireField *fieldOf(unsigned code, const std::string &name)
{
    const wireBody *body = qosMsgInfo(code)->body;
    const wireField *end = body->fields + body->numFields;
    const wireField *found = std::find_if(body->fields, end, [&](const wireField &f) { return name == f.name; });
    return found == end ? nullptr : found;
}

} // namespace

TEST(Messages, CatalogueRows)
{
    const struct {
        unsigned code;
        const char *name;
        size_t least;
    } rows[] = {
        {8, "QOS_DSCPTRUST_MSG", 228},
        {35, "QOS_GET_RED_STATS_MSG", 76},
        {39, "QOS_SET_DEF_TAILDROP_MSG", 0},
        {40, "QOS_GET_POL_STATS_MSG", 14},
        {44, "QOS_POL_STATS_CLR_MSG", 17},
        {47, "QOS_IVQ_RED_CHIP_CFG", 12},
        {67, "Unknown", 0},
        {70, "QOS_CLEAR_RED_INTF_RED_STATS_MSG", 16},
        {76, "Unknown", 0},
        {78, "QOS_SET_MCAST_QUEUE_MODE_MSG", 187},
    };
    for (const auto &row : rows) {
        EXPECT_STREQ(qosMsgName(row.code), row.name);
        EXPECT_EQ(qosMsgInfo(row.code)->min_len, row.least) << row.name;
    }
    EXPECT_EQ(qosMsgInfo(79), nullptr);
    EXPECT_STREQ(qosMsgName(79), "Unknown");

    // Codes without a handler take a body of any length; all others need their status word and no more than the body.
    const std::set<unsigned> echoed = {0, 15, 16, 17, 26, 27, 36, 38, 39, 43, 67, 74, 75, 76};
    for (unsigned code = 0; code < QOS_MSG_CODES; code++) {
        const qosMsgInfo_t *info = qosMsgInfo(code);
        EXPECT_EQ(info->code, code);
        EXPECT_EQ(info->body == nullptr, code == 67) << code;
        EXPECT_EQ(info->min_len == 0, echoed.count(code) != 0) << code;
        if (info->body != nullptr) {
            EXPECT_LE(info->min_len, info->body->size) << code;
        }
    }
}

TEST(Messages, FieldsLieInTheirBodyAndApart)
{
    for (unsigned code = 0; code < QOS_MSG_CODES; code++) {
        const wireBody *body = qosMsgInfo(code)->body;
        if (body == nullptr)
            continue;
        bytes owned(body->size, 0), tail; // tail: the first of the records behind the fixed part
        std::set<std::string> names;
        for (unsigned i = 0; i < body->numFields; i++) {
            const wireField &f = body->fields[i];
            const std::string where = std::string(body->name) + "." + f.name;
            EXPECT_TRUE(names.insert(f.name).second) << where;
            const bool integer = f.kind == wireKind::Unsigned || f.kind == wireKind::Signed;
            EXPECT_TRUE(!integer || f.width == 1 || f.width == 2 || f.width == 4 || f.width == 8) << where;
            EXPECT_GE(f.stride, f.width) << where;
            if (f.count == 0) {
                ASSERT_GE(f.offset, body->size) << where;
                tail.resize(f.stride, 0);
            }
            bytes &map = f.count == 0 ? tail : owned;
            for (unsigned n = 0; n < std::max<unsigned>(f.count, 1); n++)
                for (unsigned b = 0; b < f.width; b++) {
                    const size_t at = (f.count == 0 ? f.offset - body->size : f.offset) + n * f.stride + b;
                    ASSERT_LT(at, map.size()) << where;
                    EXPECT_EQ(map[at]++, 0) << where << " shares byte " << at;
                }
        }
    }
}

TEST(Messages, FieldTablesFollowTheLayout)
{
    const struct {
        const char *name;
        unsigned code;
        unsigned offset, width, count, stride;
        wireKind kind;
    } rows[] = {
        {"portInfo.polGroupId", 1, 89, 2, 160, 12, wireKind::Unsigned},
        {"pfc_tx", 13, 76, 4, 8, 4, wireKind::Signed},
        {"Mcsch_cfg.mc_sch_cfg_status", 19, 148, 4, 1, 4, wireKind::Unsigned},
        {"counter2", 30, 337, 33, 8, 33, wireKind::Chars},
        {"records.counter[7]", 35, 140, 8, 8, 88, wireKind::Unsigned},
        {"records.counter[2]", 40, 142, 8, 0, 136, wireKind::Unsigned},
        {"stats_clr_data.policer_id", 44, 21, 4, 200, 8, wireKind::Unsigned},
        {"data.pfc_map", 47, 20, 1, 0, 9, wireKind::Unsigned},
        {"records.text", 65, 56, 45, 128, 56, wireKind::Chars},
        {"records.counter", 65, 104, 8, 128, 56, wireKind::Unsigned},
        {"records.red_drop_seen", 74, 12, 4, 0, 12, wireKind::Unsigned},
    };
    for (const auto &row : rows) {
        const wireField *f = fieldOf(row.code, row.name);
        ASSERT_NE(f, nullptr) << row.name;
        EXPECT_EQ(f->offset, row.offset) << row.name;
        EXPECT_EQ(f->width, row.width) << row.name;
        EXPECT_EQ(f->count, row.count) << row.name;
        EXPECT_EQ(f->stride, row.stride) << row.name;
        EXPECT_EQ(f->kind, row.kind) << row.name;
    }
}

TEST(Messages, ValuesLandBigEndian)
{
    expectBytes<qosMsgHdr_t>([](qosMsgHdr_t &m) { m.msg_type = 4, m.msg_len = 0x0136, m.msg_ack = 1; }, 5,
                             {{0, {4, 1, 0x36, 0, 1}}});
    expectBytes<qosChipUpMsg_t>(
        [](qosChipUpMsg_t &m) {
            m.numChipBuffPools = 0x01020304, m.maxRedProfilesPerChip = 9;
            m.portInfo[159].bufPoolId = 0x0506, m.egr_td_red_prof = 7, m.status = -2;
        },
        2007, {{66, {1, 2, 3, 4}}, {78, {9}}, {1995, {5, 6}}, {2002, {7}}, {2003, {0xff, 0xff, 0xff, 0xfe}}});
    expectBytes<qosCcbMsg_t>(
        [](qosCcbMsg_t &m) {
            m.profileId = 0x0102, m.minThreshold = 0x03040506, m.mcTailDrop[7] = 8, m.mcastQueueMode = 1, m.status = 9;
        },
        187, {{124, {1, 2, 3, 4, 5, 6}}, {181, {8, 1}}, {186, {9}}});
    expectBytes<qosRedStatsMsg_t>(
        [](qosRedStatsMsg_t &m) { m.records[7].counter[0] = 0x0102, m.mrl_counter[5] = 0x0304, m.records_valid = 5; },
        836, {{37, {5}}, {706, {1, 2}}, {834, {3, 4}}});
}

TEST(Messages, NamesEndAtTwentyCharacters)
{
    char field[20];
    std::memset(field, 'n', sizeof field);
    EXPECT_EQ(std::string(qosNameOf(field).text), std::string(20, 'n'));
    std::memcpy(field, "Te 1/0/1", 9);
    EXPECT_STREQ(qosNameOf(field).text, "Te 1/0/1");
}
