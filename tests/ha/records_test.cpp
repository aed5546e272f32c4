// The description of the replicated records: whether a store that knows only the field tables copies what it should.
// Relies on ha/fields.h and inventory/monitor_fields.h.
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "ha/fields.h"
#include "inventory/monitor_fields.h"

// Rows lie inside their record, hold whole elements of a type that is known by now, and do not overlap.
TEST(Records, RowsDescribeTheirRecordsAndNestedOnesComeFirst)
{
    std::map<std::string, uint32_t> known = {
        {"~U08", 1}, {"~U16", 2}, {"~U32", 4}, {"~U64", 8}, {"~I32", 4}, {"~Chr", 1}, {"~Ptr", sizeof(void *)}};
    std::vector<qosHaStruct_t> records(qosHaStructs, qosHaStructs + qosHaStructCount);
    records.insert(records.end(),
                   {{"qaBumContext_t", sizeof(qaBumContext_t), std::size(qaBumContext_fields), qaBumContext_fields},
                    {"qaBumInfo_t", sizeof(qaBumInfo_t), std::size(qaBumInfo_fields), qaBumInfo_fields},
                    {"qaPolPolicerInfo_t", sizeof(qaPolPolicerInfo_t), 5, qaPolPolicerInfo_fields},
                    {"qaDropMonitorContext_t", sizeof(qaDropMonitorContext_t), 3, qaDropMonitorContext_fields},
                    {"qosTdMonitorStatsIfMsg_t", 24, 3, qosTdMonitorStatsIfMsg_fields},
                    {"qosRedMonitorStatsIfMsg_t", 36, 6, qosRedMonitorStatsIfMsg_fields},
                    {"qaDropMonitorInfo_t", 72, 4, qaDropMonitorInfo_fields}});
    std::set<std::string> twice;
    for (const qosHaStruct_t &record : records) {
        std::map<uint32_t, uint32_t> taken; // offset to end
        std::set<std::string> names;
        for (uint32_t i = 0; i < record.rows; ++i) {
            const ha_field_t &row = record.fields[i];
            const std::string where = std::string(record.name) + "." + row.name;
            ASSERT_TRUE(known.count(row.type)) << where << " has type " << row.type << ", registered later or never";
            const uint32_t width = known[row.type];
            const bool odd = where == "qosIfBumInfo_t.num_proto_enabled" || where == "qosIfPolInfo_t.mcastBumPolId";
            EXPECT_EQ(0u, row.size % width) << where;
            EXPECT_TRUE(!odd || row.size == 2 * width) << where;
            EXPECT_LE(row.offset + row.size, record.size) << where;
            EXPECT_TRUE(names.insert(row.name).second) << where;
            const uint32_t row_end = row.offset + (odd ? width : row.size);
            EXPECT_TRUE(row.size == 0 || taken.emplace(row.offset, row_end).second) << where;
        }
        uint32_t end = 0;
        for (const auto &[from, to] : taken) {
            EXPECT_LE(end, from) << record.name;
            end = to;
        }
        if (!known.emplace(record.name, record.size).second)
            twice.insert(record.name);
    }
    EXPECT_EQ(twice,
              (std::set<std::string>{"qosRedProfile_t", "qosPolProfileTbl_t", "qosPolPolicerTbl_t", "qosPolCfg_t"}));
}
