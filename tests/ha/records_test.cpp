// The description of the replicated records: whether a store that knows only the field tables copies what it should,
// and the tail queues inside the records. Relies on ha/fields.h, inventory/monitor_fields.h and core/memtypes.h.
#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <list>
#include <map>
#include <random>
#include <set>
#include <string>

#include "core/memtypes.h"
#include "ha/fields.h"
#include "inventory/monitor_fields.h"
#include "inventory/records.h"

namespace {

// Bytes of one element of a type string; a record's size comes from the records registered so far, 0 if there is none.
uint32_t typeWidth(const std::string &type, const std::map<std::string, uint32_t> &known)
{
    static const std::map<std::string, uint32_t> fixed = {{"~U08", 1},
                                                          {"~U16", 2},
                                                          {"~U32", 4},
                                                          {"~U64", 8},
                                                          {"~I32", 4},
                                                          {"~Chr", 1},
                                                          {"~Ptr", static_cast<uint32_t>(sizeof(void *))}};
    if (auto found = fixed.find(type); found != fixed.end())
        return found->second;
    auto found = known.find(type);
    return found == known.end() ? 0 : found->second;
}

// The rows lie inside the record, hold whole elements of a type known by now, and do not overlap.
void checkRows(const qosHaStruct_t &record, const std::map<std::string, uint32_t> &known)
{
    std::map<uint32_t, uint32_t> taken; // offset to end
    std::set<std::string> names;
    for (uint32_t i = 0; i < record.rows; ++i) {
        const ha_field_t &row = record.fields[i];
        const std::string where = std::string(record.name) + "." + row.name;
        uint32_t width = typeWidth(row.type, known);
        ASSERT_NE(0u, width) << where << " has type " << row.type << ", registered later or never";
        bool odd = where == "qosIfBumInfo_t.num_proto_enabled" || where == "qosIfPolInfo_t.mcastBumPolId";
        EXPECT_EQ(0u, row.size % width) << where;
        EXPECT_TRUE(odd ? row.size == 2 * width : row.size == 0 || row.size >= width) << where;
        EXPECT_LE(row.offset + row.size, record.size) << where;
        EXPECT_TRUE(names.insert(row.name).second) << where;
        if (row.size > 0) {
            EXPECT_TRUE(taken.emplace(row.offset, row.offset + (odd ? width : row.size)).second) << where;
        }
    }
    uint32_t end = 0;
    for (auto [from, to] : taken) {
        EXPECT_LE(end, from) << record.name;
        end = to;
    }
}

TEST(Records, RowsDescribeTheirRecordsAndNestedOnesComeFirst)
{
    std::map<std::string, uint32_t> known;
    std::set<std::string> twice;
    for (unsigned i = 0; i < qosHaStructCount; ++i) {
        checkRows(qosHaStructs[i], known);
        if (!known.emplace(qosHaStructs[i].name, qosHaStructs[i].size).second)
            twice.insert(qosHaStructs[i].name);
    }
    EXPECT_EQ(twice,
              (std::set<std::string>{"qosRedProfile_t", "qosPolProfileTbl_t", "qosPolPolicerTbl_t", "qosPolCfg_t"}));

    const qosHaStruct_t ofModules[] = {
        {"qaBumContext_t", sizeof(qaBumContext_t), std::size(qaBumContext_fields), qaBumContext_fields},
        {"qaBumInfo_t", sizeof(qaBumInfo_t), std::size(qaBumInfo_fields), qaBumInfo_fields},
        {"qaPolPolicerInfo_t", sizeof(qaPolPolicerInfo_t), 5, qaPolPolicerInfo_fields},
        {"qaDropMonitorContext_t", sizeof(qaDropMonitorContext_t), 3, qaDropMonitorContext_fields},
        {"qosTdMonitorStatsIfMsg_t", 24, 3, qosTdMonitorStatsIfMsg_fields},
        {"qosRedMonitorStatsIfMsg_t", 36, 6, qosRedMonitorStatsIfMsg_fields},
        {"qaDropMonitorInfo_t", 72, 4, qaDropMonitorInfo_fields},
    };
    for (const qosHaStruct_t &record : ofModules) {
        checkRows(record, known);
        known.emplace(record.name, record.size);
    }
}

struct item {
    int value;
    tailqEntry<item> link, other;
};

TEST(Tailq, MatchesAListUnderRandomInsertsAndRemovals)
{
    std::mt19937 random(20);
    item items[12] = {};
    tailqHead<item> head, second;
    std::list<item *> expected;
    tailqInit(&head);
    tailqInit(&second);
    for (item &i : items) // membership in another queue must stay as it is
        tailqInsertTail<&item::other>(&second, &i);
    for (int step = 0; step < 2000; ++step) {
        item *elem = &items[random() % std::size(items)];
        if (elem->link.tqe_prev == nullptr) {
            tailqInsertTail<&item::link>(&head, elem);
            expected.push_back(elem);
        } else {
            tailqRemove<&item::link>(&head, elem);
            expected.remove(elem);
            ASSERT_TRUE(elem->link.tqe_next == nullptr && elem->link.tqe_prev == nullptr);
        }
        ASSERT_EQ(expected.empty(), tailqEmpty(&head));
        item **last = &head.tqh_first;
        item *walk = tailqFirst(&head);
        for (item *want : expected) {
            ASSERT_EQ(want, walk);
            ASSERT_EQ(last, walk->link.tqe_prev);
            last = &walk->link.tqe_next;
            walk = tailqNext<&item::link>(walk);
        }
        ASSERT_TRUE(walk == nullptr && head.tqh_last == last);
    }
    unsigned others = 0;
    for (item *i = tailqFirst(&second); i; i = tailqNext<&item::other>(i))
        ASSERT_EQ(&items[others++], i);
    EXPECT_EQ(std::size(items), others);
}

} // namespace
