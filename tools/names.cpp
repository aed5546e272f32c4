// SPDX-License-Identifier: Apache-2.0
// Names of messages and fields: exact, shortened, or the nearest right one.
#include "tools/names.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstring>
#include <numeric>

#include "tools/error.h"
#include "tools/text.h"

namespace {

constexpr size_t LONGEST_NAME = 64; // of what a person means by a name; all that is looked for is far shorter

std::string upper(std::string text)
{
    for (char &c : text)
        c = c == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

// A message name without what all of them share.
std::string bare(const std::string &text)
{
    std::string name = upper(text);
    if (name.rfind("QOS_", 0) == 0)
        name.erase(0, 4);
    if (name.size() > 4 && name.compare(name.size() - 4, 4, "_MSG") == 0)
        name.erase(name.size() - 4);
    return name;
}

// Edits that make one name of the other; a swap of neighbours counts as one. A row for each letter of `a`, of which the
// last two are looked back at.
size_t distance(const std::string &a, const std::string &b)
{
    std::vector<size_t> older(b.size() + 1), old(b.size() + 1), row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (size_t i = 1; i <= a.size(); i++) {
        older.swap(old);
        old.swap(row);
        row[0] = i;
        for (size_t j = 1; j <= b.size(); j++) {
            row[j] = std::min(std::min(old[j], row[j - 1]) + 1, old[j - 1] + (a[i - 1] != b[j - 1]));
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], older[j - 2] + 1);
        }
    }
    return row[b.size()];
}

// How unlike two names are, in edits. The last part of a dotted name, or a piece of the name, is nearly right.
size_t unlikeness(const std::string &wanted, const std::string &known)
{
    size_t edits = distance(wanted, known);
    const size_t dot = known.rfind('.');
    if (dot != std::string::npos)
        edits = std::min(edits, distance(wanted, known.substr(dot + 1)) + 1);
    if (wanted.size() > 2 && known.find(wanted) != std::string::npos)
        edits = std::min(edits, 1 + (known.size() - wanted.size()) / 4);
    return edits;
}

constexpr ctlTail_t tails[] = {
    {"qosPolStatsGetMsg_t", "num_records", "records.", 1, 0, 0},
    {"qosPolStatsClrMsg_t", "num_policers", "stats_clr_data.", 0, 0, 0},
    {"qosCcbIvqRedCfg_t", "numEntries", "data.", 0, 0, 0},
    {"qosDropMonitorNotifyMsg_t", "count", "records.", 0, 0, 0},
    {"qosTdMonitorStatsMsg_t", "num_records", "records.", 0, 0, 0},
    {"qosRedMonitorStatsMsg_t", "num_records", "records.", 0, 0, 0},
};

constexpr wireBody noBody = {"none", 0, 0, nullptr};

// Takes the bracketed number that begins at `open` out of a field name; -1 if it is none.
int cutIndex(std::string &name, size_t open)
{
    const size_t close = name.find(']', open);
    if (close == std::string::npos)
        return -1;
    const auto index = ctlParseNumber(std::string_view(name).substr(open + 1, close - open - 1), INT_MAX);
    if (!index)
        return -1;
    name.erase(open, close + 1 - open);
    return static_cast<int>(*index);
}

const wireField *fieldAnyCase(const wireBody &body, const std::string &name)
{
    const std::string wanted = upper(name);
    for (unsigned i = 0; i < body.numFields; i++)
        if (upper(body.fields[i].name) == wanted)
            return &body.fields[i];
    return nullptr;
}

} // namespace

std::string ctlNearest(const std::string &wanted, const std::vector<std::string> &known)
{
    std::string best;
    size_t least = SIZE_MAX;
    const std::string meant = upper(wanted.substr(0, LONGEST_NAME));
    for (const std::string &name : known) {
        const size_t edits = unlikeness(meant, upper(name.substr(0, LONGEST_NAME)));
        if (edits < least) {
            least = edits;
            best = name;
        }
    }
    return best;
}

std::string ctlMessageName(unsigned code)
{
    if (code == QOS_CLEAR_DBG_STATS)
        return "QOS_CLEAR_DBG_STATS";
    if (code == QOS_RED_MONITOR_STATS)
        return "QOS_RED_MONITOR_STATS";
    return qosMsgName(code);
}

std::string ctlShortName(unsigned code)
{
    return bare(ctlMessageName(code));
}

const qosMsgInfo_t &ctlFindMessage(const std::string &text)
{
    unsigned code = 0;
    const char *end = text.data() + text.size();
    const auto number = std::from_chars(text.data(), end, code);
    if (!text.empty() && number.ptr == end) {
        const qosMsgInfo_t *info = number.ec == std::errc() ? qosMsgInfo(code) : nullptr;
        if (info == nullptr)
            ctlRefuse("no message has the code " + text + "; codes go from 0 to " + std::to_string(QOS_MSG_CODES - 1));
        return *info;
    }
    std::vector<std::string> names;
    const std::string meant = bare(text);
    for (code = 0; code < QOS_MSG_CODES; code++) {
        names.push_back(bare(ctlMessageName(code)));
        if (names.back() == meant)
            return *qosMsgInfo(code);
    }
    ctlRefuse("no message is called '" + text + "'; the nearest is " + ctlNearest(meant, names) +
              " ('dorvctl show' lists all)");
}

const wireBody &ctlBodyOf(const qosMsgInfo_t &info)
{
    return info.body != nullptr ? *info.body : noBody;
}

ctlTail_t ctlTailOf(const wireBody &body)
{
    for (ctlTail_t tail : tails) {
        if (std::strcmp(tail.body, body.name) != 0)
            continue;
        tail.head = SIZE_MAX;
        for (unsigned i = 0; i < body.numFields; i++)
            if (std::strncmp(body.fields[i].name, tail.records, std::strlen(tail.records)) == 0) {
                tail.head = std::min<size_t>(tail.head, body.fields[i].offset);
                tail.stride = body.fields[i].stride;
            }
        return tail;
    }
    return {};
}

bool ctlInTail(const ctlTail_t &tail, const wireField &field)
{
    return tail.stride != 0 && std::strncmp(field.name, tail.records, std::strlen(tail.records)) == 0;
}

size_t ctlCount(const wireBody &body, const wireField &field, size_t size)
{
    if (size < static_cast<size_t>(field.offset) + field.width)
        return 0;
    const size_t fit = (size - field.offset - field.width) / field.stride + 1;
    return ctlInTail(ctlTailOf(body), field) ? fit : std::min<size_t>(fit, field.count);
}

std::string ctlRecordsOf(const wireField &field)
{
    const char *dot = std::strchr(field.name, '.');
    const bool repeated = field.count != 1 && field.stride != field.width;
    return repeated && dot != nullptr ? std::string(field.name, dot) : std::string();
}

bool ctlIsInterface(const wireField &field)
{
    const std::string name = upper(field.name);
    return field.kind == wireKind::Unsigned && field.width == 4 && name.size() >= 7 &&
           name.compare(name.size() - 7, 7, "IFINDEX") == 0;
}

const wireField *ctlField(const wireBody &body, const std::string &name)
{
    for (unsigned i = 0; i < body.numFields; i++)
        if (name == body.fields[i].name)
            return &body.fields[i];
    return nullptr;
}

ctlFieldRef_t ctlFindField(const wireBody &body, const std::string &text)
{
    // A bracketed number is part of some names ("records.counter[0]"), so the text as it is comes first.
    if (const wireField *field = fieldAnyCase(body, text))
        return {field, -1};
    if (text.size() > LONGEST_NAME)
        ctlRefuse("no field is called '" + text + "'");
    std::string plain = text;
    for (size_t open = text.find('['); open != std::string::npos; open = text.find('[', open + 1)) {
        std::string name = text;
        const int index = cutIndex(name, open);
        if (index < 0)
            ctlRefuse("'" + text + "': an index is a number in brackets, as in cos_map[3]");
        if (const wireField *field = fieldAnyCase(body, name))
            return {field, index};
        plain = name;
    }
    std::vector<std::string> names;
    for (unsigned i = 0; i < body.numFields; i++)
        names.push_back(body.fields[i].name);
    if (names.empty())
        ctlRefuse("the message has no fields, so none is called '" + text + "'");
    ctlRefuse("no field is called '" + text + "'; the nearest is " + ctlNearest(plain, names));
}
