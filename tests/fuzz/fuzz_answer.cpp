// What processes of a node say on their control sockets: a byte for what it is taken for, then the text.
#include <sstream>

#include "tests/fuzz/fuzz.h"
#include "tools/error.h"
#include "tools/node.h"
#include "tools/report.h"
#include "tools/show.h"
#include "tools/text.h"

namespace {

void checkStat(const std::string &text)
{
    const std::vector<ctlJson> rows = {ctlStatRow({"dorvald", "7", ""}, text)};
    for (const bool json : {false, true}) {
        std::ostringstream out;
        const int exit = ctlPrintNode(rows, json, out);
        FUZZ_CHECK(exit == (rows[0].contains("error") ? CTL_SILENT : CTL_DONE), out.str());
        FUZZ_CHECK(fuzzIsShown(out.str()), out.str());
        const std::string said = out.str();
        FUZZ_CHECK(std::count(said.begin(), said.end(), '\n') == (json ? 1 : 2), said);
        if (json)
            FUZZ_CHECK(ctlParseJson(said)[0].contains("role"), said);
    }
}

void checkTable(const std::string &table, const std::string &text)
{
    try {
        const ctlJson rows = ctlShowRows(table, ctlLinesOf(text));
        std::ostringstream out;
        ctlPrintJson(out, rows);
        FUZZ_CHECK(fuzzIsShown(out.str()) && ctlParseJson(out.str()).size() == rows.size(), out.str());
        for (const ctlJson &row : rows)
            FUZZ_CHECK(row.size() == rows[0].size(), row.dump());
    } catch (const ctlError_t &error) {
        FUZZ_CHECK(error.exit == CTL_FAILED, error.text);
    }
}

void checkShown(const std::string &text)
{
    FUZZ_CHECK(fuzzIsShown(ctlShownLines(text)), ctlShownLines(text));
    FUZZ_CHECK(ctlShown(text).find('\n') == std::string::npos, ctlShown(text));
    FUZZ_CHECK(ctlShown(ctlShown(text)) == ctlShown(text), ctlShown(text));
    const std::string json = ctlJson(text).dump(-1, ' ', false, ctlJson::error_handler_t::replace);
    FUZZ_CHECK(ctlParseJson(ctlShownJson(json)) == ctlParseJson(json), json);
}

} // namespace

void fuzzOne(const uint8_t *data, size_t size)
{
    if (size == 0)
        return;
    const std::string text(reinterpret_cast<const char *>(data) + 1, size - 1);
    const std::vector<std::string> tables = ctlShowNames();
    switch (data[0]) {
    case 's':
        return checkStat(text);
    case 'e':
        return checkShown(text);
    default:
        return checkTable(tables[data[0] % tables.size()], text);
    }
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    add(R"(sok {"stage":4,"pid":7,"role":"active","since":12,"blocks":1,"bytes":2,"syncs":3,"standbys":1})");
    add(R"(sok {"role":7,"stage":18446744073709551615,"since":1e308,"more":[{"a":null},[[]]],"error":"\u001b\u009b"})");
    add("serror: the main loop is not running yet");
    add("e\x1b[31m\t\n\xc2\x9b\xe2\x80\xae\xff\xf0\x9f\x90\x80\x7f\\x1b");
    const std::string port = "te1/3\n\tifindex = 0x18418000, ChipId = 8, Chip IfIndex = 0x88400000\n"
                             "\tL2 Pri Info:\n\t\tl2PriFlags = 0x00000000\n";
    const std::string samples[] = {
        "SlotID : 1\n\tState = Up\n\tAgent Registration = True\n\tNum Upd Entries = 0\n\tNum Pending Entries = 0\n"
        "\tNum update buffer full = 0\n",
        "Chip 8 (1/0):\n\tChip Type = Larkin\n\tChip Rev = 1\n\tNum of Ports per chip = 12\n",
        "Interface Name  ifIndex    ChipId     ChipIfIndex\n" + port,
        "QOS VSS\nMemType Num-Allocs Num-Frees Bytes-Allocd Errors\n"
        "====================================================\nChipEntry 1 0 64 0\n",
        "\tMsg Sent           = 1\n\tMsg Rcvd           = 2\n",
        "QOS VelmarOS State Synchronization summary:\n    VSS HA Enabled\n    Stage: Active, Startup: Done\n",
        "QOS Message Queue Summary\nqueue name: qos, high water: 1\nTask Queuing     : FIFO (do not support "
        "MSG_Q_PRIORITY)\nMessage Byte Len : 28\nMessages Max     : 64\nMessages Queued  : 0\n"};
    for (size_t i = 0; i < std::size(samples); i++)
        add(std::string(1, static_cast<char>(7 * 8 + i)) + samples[i]);
}
