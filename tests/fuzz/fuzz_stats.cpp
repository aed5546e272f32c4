// SPDX-License-Identifier: Apache-2.0
// Replies to statistics requests: a byte for the view, one for what is asked, then the reply's body.
#include <cmath>

#include "tests/fuzz/fuzz.h"
#include "tools/report.h"
#include "tools/stats.h"
#include "tools/values.h"

namespace {

constexpr uint32_t PORT = 0x18418000;
enum asked : uint8_t { JSON = 1, RATES = 2, NONZERO = 4, FAILED = 8, PASSED_OVER = 16 };

ctlStatsTable_t tableOf(const ctlStatsView_t &view, uint8_t flags, const uint8_t *data, size_t size)
{
    ctlMessage_t reply{view.code, 0, uint8_t((flags & PASSED_OVER) == 0), true, ctlBytes(data, data + size)};
    const wireBody &body = ctlBodyOf(*qosMsgInfo(view.code));
    const wireField *status = ctlField(body, "status");
    if ((flags & FAILED) == 0 && status != nullptr && ctlCount(body, *status, size) != 0)
        ctlWriteInteger(*status, reply.body, 0, 0);
    const ctlStatsTable_t table = ctlStatsTableOf({&view, PORT, reply}, reply);
    for (const ctlStatsRow_t &row : table.rows)
        FUZZ_CHECK(row.cells.size() == view.columns.size(), row.label);
    FUZZ_CHECK(table.fault.empty() || table.rows.empty(), table.fault);
    return table;
}

} // namespace

void fuzzOne(const uint8_t *data, size_t size)
{
    if (size < 2)
        return;
    const auto views = ctlStatsViews();
    const ctlStatsView_t &view = views[data[0] % views.size()];
    const uint8_t flags = data[1];
    ctlStatsOptions_t asked;
    asked.nonzero = (flags & NONZERO) != 0;
    ctlStatsReading_t reading;
    reading.tables.push_back(tableOf(view, flags, data + 2, size - 2));
    if ((flags & RATES) != 0) {
        ctlStatsReading_t before;
        before.tables.push_back(tableOf(view, flags, data + 2, (size - 2) / 2));
        before.tables[0].at -= std::chrono::seconds(1);
        asked.rate = 1;
        ctlRateStats(before, reading);
        for (const ctlStatsRow_t &row : reading.tables[0].rows)
            for (const ctlStatsCell_t &cell : row.cells)
                FUZZ_CHECK(!cell.rate || (std::isfinite(*cell.rate) && *cell.rate >= 0), row.label);
    }
    ctlOptions_t options;
    options.json = (flags & JSON) != 0;
    std::ostringstream out, err;
    ctlPrintStats(reading, options, asked, out, err);
    FUZZ_CHECK(fuzzIsShown(out.str() + err.str()), out.str() + err.str());
    const std::string text = out.str();
    if (options.json)
        FUZZ_CHECK(ctlParseJson(text).size() == 1, text);
    else
        FUZZ_CHECK(asked.nonzero || reading.tables[0].rows.empty() ||
                       static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) ==
                           reading.tables[0].rows.size() + 3,
                   text);
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    for (uint8_t view = 0; view < ctlStatsViews().size(); view++) {
        const wireBody &body = ctlBodyOf(*qosMsgInfo(ctlStatsViews()[view].code));
        for (const uint8_t flags : {0, +JSON, RATES | JSON, RATES | NONZERO})
            for (const int byte : {0, 1, 0x41, 0xff})
                add(std::string{static_cast<char>(view), static_cast<char>(flags)} +
                    std::string(body.size, static_cast<char>(byte)));
    }
}
