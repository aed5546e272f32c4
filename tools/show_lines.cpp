// The matching of lines. A table's patterns stand in tools/show.cpp.
#include "tools/show_lines.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "tools/error.h"

namespace {

constexpr size_t DSCP_ROWS = 8;
constexpr size_t DSCP_VALUES = 64;

// A number in decimal, or in hexadecimal with 0x.
bool asNumber(const std::string &text, int64_t &number)
{
    const bool hex = text.rfind("0x", 0) == 0;
    const char *end = text.data() + text.size();
    const auto result = std::from_chars(text.data() + (hex ? 2 : 0), end, number, hex ? 16 : 10);
    return result.ec == std::errc() && result.ptr == end;
}

ctlJson valueOf(const std::string &text)
{
    int64_t number = 0;
    if (asNumber(text, number))
        return number;
    if (text == "True" || text == "Enabled")
        return true;
    if (text == "False" || text == "Disabled")
        return false;
    return text;
}

// The numbers of a line, with blanks around each.
ctlJson numbersOf(const std::string &text)
{
    ctlJson list = ctlJson::array();
    for (size_t at = text.find_first_not_of(' '); at != std::string::npos; at = text.find_first_not_of(' ', at)) {
        const size_t end = std::min(text.find(' ', at), text.size());
        list.push_back(valueOf(text.substr(at, end - at)));
        at = end;
    }
    return list;
}

// The key of a pattern with one value, without the mark of a text.
std::string keyOf(const char *pattern)
{
    const char *open = std::strchr(pattern, '{');
    while (open != nullptr && open[1] == '}')
        open = std::strchr(open + 1, '{');
    return open == nullptr ? "" : std::string(open + 1, std::strcspn(open + 1, "$}"));
}

[[noreturn]] void refuseLine(const std::vector<std::string> &lines, size_t at)
{
    throw ctlError_t{CTL_FAILED, at < lines.size() ? "the agent printed a line that is not known here: '" + lines[at] +
                                                         "'; without -j it is shown as it is"
                                                   : "what the agent printed ends in the middle of a record"};
}

// Rows of cells such as "\t\t\tDSCP 9 -> CoS 1, ". The last row goes on behind the map.
ctlJson takeDscp(const std::string &value, const std::string &key, const std::vector<std::string> &lines, size_t &at)
{
    const std::string pattern = "\t\t\tDSCP {index} -> " + value;
    ctlJson map(DSCP_VALUES, nullptr);
    for (size_t row = 0; row < DSCP_ROWS; row++, at++) {
        for (size_t from = 0; at >= lines.size() || from < lines[at].size() || from == 0;) {
            ctlJson cell;
            const size_t end = at < lines.size() ? lines[at].find(", ", from) : std::string::npos;
            if (end == std::string::npos || !ctlTakeLine(pattern.c_str(), lines[at].substr(from, end - from), cell) ||
                !cell["index"].is_number())
                refuseLine(lines, at);
            if (const auto index = cell["index"].get<size_t>(); index < DSCP_VALUES)
                map[index] = cell[key];
            from = end + 2;
        }
    }
    return map;
}

} // namespace

bool ctlTakeLine(const char *pattern, const std::string &line, ctlJson &row)
{
    ctlJson taken = ctlJson::object();
    size_t at = 0;
    while (*pattern != '\0') {
        if (*pattern != '{') {
            if (at >= line.size() || line[at] != *pattern)
                return false;
            const bool blank = *pattern == ' ';
            do
                at++;
            while (blank && at < line.size() && line[at] == ' ');
            do
                pattern++;
            while (blank && *pattern == ' ');
            continue;
        }
        const size_t length = std::strcspn(pattern, "}");
        std::string key(pattern + 1, length - 1);
        pattern += length + 1;
        const std::string behind(pattern, *pattern == ' ' ? 1 : std::strcspn(pattern, "{"));
        const size_t end = behind.empty() ? line.size() : line.find(behind, at);
        if (end == std::string::npos)
            return false;
        const std::string text = line.substr(at, end - at);
        at = end;
        const bool verbatim = !key.empty() && key.back() == '$';
        if (verbatim)
            key.pop_back();
        if (!key.empty())
            taken[key] = verbatim ? ctlJson(text) : valueOf(text);
    }
    if (at != line.size())
        return false;
    row.update(taken);
    return true;
}

ctlJson ctlTakeRecord(const std::vector<ctlLine_t> &record, const std::vector<std::string> &lines, size_t &at)
{
    ctlJson row = ctlJson::object();
    for (const ctlLine_t &line : record) {
        const std::string key = keyOf(line.text);
        if (line.times == ctlTimes_t::Dscp) {
            row[key] = takeDscp(line.text, key, lines, at);
            continue;
        }
        if (line.times == ctlTimes_t::Optional)
            row[key] = nullptr;
        if (line.times == ctlTimes_t::Many) {
            ctlJson each, list = ctlJson::array();
            for (; at < lines.size() && ctlTakeLine(line.text, lines[at], each); at++)
                list.push_back(each[key]);
            row[key] = list;
            continue;
        }
        if (at < lines.size() && ctlTakeLine(line.text, lines[at], row))
            at++;
        else if (line.times != ctlTimes_t::Optional)
            refuseLine(lines, at);
        if (line.times == ctlTimes_t::Eight)
            row[key] = numbersOf(row[key].get<std::string>());
    }
    return row;
}
