// SPDX-License-Identifier: Apache-2.0
// The formatter against the library's own, and the filter in front of the ring: what is stored, cut and dropped.
#include "core/trace.h"

#include <climits>
#include <cstdarg>

#include "core/format.h"
#include "core/state.h"
#include "core/text.h"
#include "host/trace_text.h"
#include "tests/support/peer.h"
#include "velmar/trace.h"

#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

namespace {

Random dice(1);

size_t format(char *out, size_t size, const char *text, ...)
{
    va_list args;
    va_start(args, text);
    const size_t length = qosFormat(out, size, text, args);
    va_end(args);
    return length;
}

int pack(unsigned char *to, size_t room, const trace_kinds_t *kinds, ...)
{
    va_list args;
    va_start(args, kinds);
    const int length = tracePack(to, room, *kinds, args);
    va_end(args);
    return length;
}

bool keeps = true; // whether lines of the formats are kept as their arguments

// The same text, length and terminator as snprintf's in a buffer of every size, and no byte beyond it; also of what was
// packed in exactly its room, and nothing beyond that is read.
template <typename... Args>
void agree(const std::string &text, Args... args)
{
    char expected[600];
    const int whole = snprintf(expected, sizeof expected, text.c_str(), args...);
    ASSERT_GE(whole, 0);
    const size_t most = std::min<size_t>(static_cast<size_t>(whole) + 2, 140);
    for (size_t size = 0; size <= most; ++size) {
        char out[160];
        memset(out, '~', sizeof out);
        const size_t length = format(out, size, text.c_str(), args...);
        ASSERT_EQ(length, size == 0 ? 0 : std::min<size_t>(size - 1, static_cast<size_t>(whole))) << text;
        ASSERT_EQ(std::string(out, length), std::string(expected, length)) << text << " in " << size;
        ASSERT_TRUE(size == 0 || out[length] == '\0') << text;
        for (size_t i = size; i < sizeof out; ++i)
            ASSERT_EQ(out[i], '~') << text << " wrote beyond " << size;
    }
    trace_kinds_t kinds;
    unsigned char packed[200];
    ASSERT_EQ(traceKinds(text.c_str(), &kinds), keeps) << text;
    const int used = keeps ? pack(packed, sizeof packed, &kinds, args...) : 0;
    const std::vector<unsigned char> exact(packed, packed + used);
    for (size_t size = keeps ? 1 : most + 1; size <= most; ++size) {
        char out[160];
        ASSERT_EQ(traceUnpack(out, size, text.c_str(), exact.data(), exact.size()),
                  std::min<size_t>(size - 1, static_cast<size_t>(whole)));
        ASSERT_EQ(std::string(out), std::string(expected).substr(0, size - 1)) << text;
    }
    for (size_t room = 0; room < exact.size(); ++room) {
        ASSERT_EQ(pack(packed, room, &kinds, args...), -1);
        traceUnpack(expected, sizeof expected, text.c_str(),
                    std::vector(exact.begin(), exact.begin() + static_cast<ptrdiff_t>(room)).data(), room);
    }
}

// Conversions of one type, with values at the edges and between them.
template <typename T>
void sweep(const std::vector<const char *> &texts)
{
    std::vector<T> values = {0, 1, 9, 10, 99, 100, 101, 999, static_cast<T>(-1), static_cast<T>(-100)};
    for (unsigned bits = 7; bits < sizeof(T) * CHAR_BIT; bits += 8) {
        const uint64_t edge = uint64_t{1} << bits;
        for (const uint64_t value : {edge, edge - 1, ~edge})
            values.push_back(static_cast<T>(value));
    }
    for (int i = 0; i < 12; ++i)
        values.push_back(static_cast<T>(dice.roll() >> dice.below(64)));
    for (const char *text : texts)
        for (const T value : values)
            agree(text, value, static_cast<T>(dice.roll()));
}

// `length` characters of any value but '%'.
std::string plain(size_t length)
{
    std::string text;
    while (text.size() < length)
        if (const char c = static_cast<char>(1 + dice.below(255)); c != '%')
            text += c;
    return text;
}

TEST(Format, NumbersOfEveryWidth)
{
    sweep<int>({"%d", "(%d, %d)", "%i", "%5d|", "%-7d|", "%08d", "%-08d|", "%hd", "%hhd", "%04hhd"});
    sweep<unsigned>({"%u", "%x %X", "0x%08x", "%08X", "%-10u|%u", "%12x", "%hu", "%hhu", "%hx", "%02hhx"});
    sweep<long>({"%ld", "%li", "%022ld", "%-22ld|"});
    sweep<unsigned long>({"%lu", "%lx", "%lX", "%20lu"});
    sweep<long long>({"%lld", "%022lld"});
    sweep<unsigned long long>({"%llu", "%llx", "%016llX"});
    sweep<size_t>({"%zu", "%zx", "%8zu"});
}

TEST(Format, TextsBetweenTextOfAnyLength)
{
    const char *missing = nullptr;
    for (const char *text : {"", "a", "te1/3", "a text that is longer than a field"})
        for (const char *conversion : {"%s", "%-25s|", "%5s", "DBG(%s:%d): *****Leaving  %s\n"})
            agree(conversion, text, 233, text);
    agree("[%s]", missing);
    agree("%c%c%X %s", 'a', 'm', 0xffffU, "qosMI");
    agree("%5c|%-5c|", 'x', 'y');
    agree("100%% of %d%%", 7);
    agree("");
    for (size_t before = 0; before < 20; ++before)
        for (size_t between = 0; between < 20; between += 3)
            agree(plain(before) + "%d" + plain(between) + "%s%%" + plain(dice.below(20)), static_cast<int>(dice.roll()),
                  "name");
    // What it does not know goes to the library, whole.
    keeps = false;
    agree("%5.2f", 3.14159);
    agree("%.3s of %d", "abcdef", 5);
    agree("%d, %s and %+d", 7, "text", 8);
    agree("%s %#x %u", "text", 255U, 9U);
    agree("%*d|%d", 6, 42, 43);
    agree("%d %p", 1, static_cast<void *>(&dice));
    keeps = true;
}

class Trace : public testing::Test {
protected:
    static inline const RunDirectory run;
    static inline const std::string file = run.path + "/trace.txt"; // the process keeps its first one
    dce_dbginfo_t before = dce_dbginfo;
    size_t start = slurp(file).size();

    void TearDown() override { dce_dbginfo = before; }
    static void open()
    {
        run.own();
        setenv("VELMAR_TRACE", file.c_str(), 1);
        ASSERT_EQ(qos_trace_init(284, 200, 48), 0);
    }
    // Levels and texts of all lines stored so far.
    std::vector<std::string> lines() const
    {
        std::istringstream in(slurp(file).substr(start));
        std::vector<std::string> found;
        for (std::string line; std::getline(in, line);)
            found.push_back(line.replace(1, 1, " "));
        return found;
    }
};

TEST_F(Trace, LevelAndAreaDecideAndArgumentsOfLinesThatAreOffAreNotEvaluated)
{
    open();
    int evaluated = 0;
    QOS_VRB("off %d", ++evaluated);
    QOS_DBG_AT("f", "on %d", ++evaluated);
    dce_trace_lvl_set(VELMAR_DCEDBG_LVL_ERR);
    QOS_INF("off %d", ++evaluated);
    QOS_ERR_AT("f", "on %d", ++evaluated);
    dce_trace_area_disable(VELMAR_DCEDBG_AREA_QOS);
    QOS_ERR("off %d", ++evaluated);
    dce_trace_vprintf(200, VELMAR_DCEDBG_LVL_ERR, VELMAR_DCEDBG_AREA_QOS, "off");
    dce_trace_vprintf(200, VELMAR_DCEDBG_LVL_ERR, 2, "another area");
    dce_trace(200, VELMAR_DCEDBG_LVL_ERR, 1, "off");
    dce_trace(200, VELMAR_DCEDBG_LVL_ERR, 0, "ready made");
    dce_trace_area_disable_all();
    EXPECT_FALSE(dce_trace_area_isenabled(0) || dce_trace_area_isenabled(VELMAR_DCEDBG_AREA_QOS));
    dce_trace_area_enable_all();
    EXPECT_TRUE(dce_trace_area_isenabled(1) && dce_trace_area_isenabled(31));
    dce_trace_area_enable_default();
    EXPECT_TRUE(dce_trace_area_isenabled(0) && !dce_trace_area_isenabled(1));
    uint32_t words[] = {0, 0};
    memcpy(words, "words", 5);
    dce_trace_var(200, dce_trace_lvl_get(), 0, 2, words[0], words[1]);
    dce_trace_var(200, VELMAR_DCEDBG_LVL_INF, 0, 2, words[0], words[1]);
    dce_trace2(&dce_dbginfo.handle, 200, VELMAR_DCEDBG_LVL_ERR, 0, "by handle");
    EXPECT_EQ(evaluated, 2);
    const auto found = lines();
    ASSERT_EQ(found.size(), 6u);
    EXPECT_EQ(found[4] + found[5], "4 words4 by handle");
    EXPECT_TRUE(found[0].starts_with("8 DBG(f:") && found[0].ends_with("): on 1")) << found[0];
    EXPECT_TRUE(found[1].starts_with("4 ERR(f:") && found[1].ends_with("): on 2")) << found[1];
    EXPECT_EQ(found[2], "4 another area");
    EXPECT_EQ(found[3], "4 ready made");
}

struct textRow_t {
    qosWhere_t where;
    qosText_t<int> text;
};
constexpr textRow_t ROW = {"qaOfTheRow", QOS_INF_TEXT("row %d")};
constexpr int LINE_OF_ROW = __LINE__ - 1;

void sharedHelper(qosWhere_t where)
{
    static constexpr qosText_t<> text = QOS_DBG_TEXT("from a table");
    QOS_ERR_AT(where, "from a helper");
    qosTrace(where, text);
}

TEST_F(Trace, ATextBringsItsLevelAndTheLineIsTheCallersOrTheRows)
{
    open();
    qosTrace(ROW.where, ROW.text, 5);
    sharedHelper(__func__);
    const std::string call = std::to_string(__LINE__ - 1);
    dce_trace_lvl_set(VELMAR_DCEDBG_LVL_ERR);
    qosTrace(ROW.where, ROW.text, 6);
    const auto found = lines();
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[0], "7 INF(qaOfTheRow:" + std::to_string(LINE_OF_ROW) + "): row 5");
    EXPECT_EQ(found[1], "4 ERR(TestBody:" + call + "): from a helper");
    EXPECT_EQ(found[2], "8 DBG(TestBody:" + call + "): from a table");
}

TEST_F(Trace, WithoutAHandleNothingIsLookedAtAndALineIsCut)
{
    ASSERT_EQ(dce_dbginfo.handle, -1);
    const int32_t none = -1;
    dce_trace_vprintf(200, VELMAR_DCEDBG_LVL_ERR, 32, "no such area, but the handle comes first");
    dce_trace2(&none, 200, VELMAR_DCEDBG_LVL_ERR, 32, "likewise");
    open();
    EXPECT_TRUE(lines().empty());
    dce_trace_vprintf2(&none, 200, VELMAR_DCEDBG_LVL_ERR, VELMAR_DCEDBG_AREA_QOS, "dropped");
    const std::string text(128, 'x'); // of which 127 are kept
    for (const char *kept : {text.c_str(), text.c_str() + 1, text.c_str() + 2})
        dce_trace_vprintf2(&dce_dbginfo.handle, 200, VELMAR_DCEDBG_LVL_ERR, VELMAR_DCEDBG_AREA_QOS, kept);
    EXPECT_EQ(lines(), (std::vector<std::string>{"4 " + text.substr(1), "4 " + text.substr(1), "4 " + text.substr(2)}));
    EXPECT_DEATH(dce_trace_vprintf(200, VELMAR_DCEDBG_LVL_VERBOSE, 32, "x"), "area < VELMAR_DCEDBG_AREAMAX");
    EXPECT_DEATH(dce_trace_area_enable(32), "area < VELMAR_DCEDBG_AREAMAX");
    EXPECT_DEATH(dce_trace_lvl_set(10), "lvl <= VELMAR_DCEDBG_LVL_VERBOSE");
    EXPECT_DEATH(dce_trace_var(200, VELMAR_DCEDBG_LVL_ERR, VELMAR_DCEDBG_AREA_QOS, 1000), "arg_num <= num_words");
    EXPECT_DEATH((void)dce_trace_init(&dce_dbginfo.handle, 284, 200, "x", 0, 1, 0), "m_id < KOR_PROTO_MAX");
}

} // namespace
