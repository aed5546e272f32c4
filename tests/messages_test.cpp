// The catalogue of codes and the field tables that come from the bodies' lists of members.
#include "agent/messages/catalogue.h"
#include "agent/messages/header.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>

namespace {

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

TEST(Messages, NamesEndAtTwentyCharacters)
{
    char field[20];
    std::memset(field, 'n', sizeof field);
    EXPECT_EQ(std::string(qosNameOf(field).text), std::string(20, 'n'));
    std::memcpy(field, "Te 1/0/1", 9);
    EXPECT_STREQ(qosNameOf(field).text, "Te 1/0/1");
}
