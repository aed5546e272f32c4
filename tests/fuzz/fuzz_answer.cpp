// SPDX-License-Identifier: Apache-2.0
// What processes of a node say on their control sockets: a byte for what it is taken for, then the text.
#include "tests/fuzz/fuzz.h"
#include "tools/error.h"
#include "tools/node.h"
#include "tools/report.h"
#include "tools/show.h"
#include "tools/stats.h"
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

void checkTable(const std::string &text)
{
    try {
        const ctlJson rows = ctlShowRows(text);
        std::ostringstream out;
        ctlPrintJson(out, rows);
        FUZZ_CHECK(fuzzIsShown(out.str()) && ctlParseJson(out.str()).size() == rows.size(), out.str());
        FUZZ_CHECK(ctlListedPorts(rows).size() <= rows.size(), text);
    } catch (const ctlError_t &error) {
        FUZZ_CHECK(error.exit == CTL_FAILED, error.text);
    }
}

void checkName(const std::string &text)
{
    if (const auto process = ctlProcessOf(text)) {
        FUZZ_CHECK(process->name + "." + process->pid == text, text);
        FUZZ_CHECK(process->pid.find_first_not_of("0123456789.") == std::string::npos, text);
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
    switch (data[0]) {
    case 's':
        return checkStat(text);
    case 'n':
        return checkName(text);
    case 'e':
        return checkShown(text);
    default:
        return checkTable(text);
    }
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    add(R"(sok {"stage":4,"pid":7,"role":"active","since":12,"blocks":1,"bytes":2,"syncs":3,"standbys":1})");
    add(R"(sok {"role":7,"stage":18446744073709551615,"since":1e308,"more":[{"a":null},[[]]],"error":"\u001b\u009b"})");
    add("serror: the main loop is not running yet");
    add("ndorvald.4711.2");
    add("nmy.name.99999999999999999999");
    add("e\x1b[31m\t\n\xc2\x9b\xe2\x80\xae\xff\xf0\x9f\x90\x80\x7f\\x1b");
    add(R"(t[{"name":"te1/3","ifindex":406945792,"chip":8,"cos_map":[0,1]},{"ifindex":-1,"chip":"\u001b"}])");
    add("t[{\"module\":null},\n(cut: the output is longer than an answer takes)\n");
}
