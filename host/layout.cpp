// SPDX-License-Identifier: Apache-2.0
// Writing down this process's descriptions, reading another's, and what follows for a copy.
#include "host/layout.h"

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <string_view>

#include "host/describe.h"
#include "velmar/version.h"

namespace {

constexpr uint32_t MAGIC = 0x74756f4c;
constexpr uint32_t BYTE_ORDER_MARK = 0x01020304;
constexpr size_t WORDS_MOST = size_t{1} << 18; // of a description
constexpr uint32_t COUNT_MOST = 4096;          // records, rows of one, objects, functions
constexpr uint32_t TEXT_MOST = 128;            // bytes of a name

std::string text(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string text(const char *format, ...)
{
    char line[3 * TEXT_MOST + 160];
    va_list args;
    va_start(args, format);
    vsnprintf(line, sizeof line, format, args);
    va_end(args);
    return line;
}

// ---- Writing

void putText(std::vector<uint32_t> *words, std::string_view name)
{
    const size_t length = std::min<size_t>(name.size(), TEXT_MOST);
    words->push_back(static_cast<uint32_t>(length));
    const size_t at = words->size();
    words->resize(at + (length + 3) / 4);
    memcpy(words->data() + at, name.data(), length);
}

void putNumbers(std::vector<uint32_t> *words, std::initializer_list<uint32_t> numbers)
{
    words->insert(words->end(), numbers);
}

// ---- Reading

struct reader_t {
    std::span<const uint32_t> rest;
    bool good = true;
};

uint32_t takeNumber(reader_t *in, uint32_t most = UINT32_MAX)
{
    if (in->rest.empty() || in->rest[0] > most) {
        in->good = false;
        in->rest = {};
        return 0;
    }
    const uint32_t number = in->rest[0];
    in->rest = in->rest.subspan(1);
    return number;
}

// A name of the description, where it stands in its words.
std::string_view takeText(reader_t *in)
{
    const uint32_t length = takeNumber(in, TEXT_MOST);
    const size_t words = (size_t{length} + 3) / 4;
    const std::string_view name(reinterpret_cast<const char *>(in->rest.data()), length);
    if (length == 0 || words > in->rest.size() ||
        !std::all_of(name.begin(), name.end(), [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; })) {
        in->good = false;
        in->rest = {};
        return {};
    }
    in->rest = in->rest.subspan(words);
    return name;
}

// A type must stand ahead of who has a field of it.
describe_record_t takeRecord(reader_t *in, size_t number)
{
    describe_record_t record = {};
    record.name = takeText(in);
    record.version = takeNumber(in);
    record.size = takeNumber(in);
    const uint32_t rows = takeNumber(in, COUNT_MOST);
    for (uint32_t i = 0; i < rows && in->good; ++i) {
        describe_row_t row = {};
        row.name = takeText(in);
        row.offset = takeNumber(in, record.size);
        row.size = takeNumber(in, record.size);
        row.type = takeNumber(in, static_cast<uint32_t>(number));
        row.big_endian = takeNumber(in, 1) != 0;
        in->good = in->good && row.type < number && row.size <= record.size - row.offset;
        record.rows.push_back(row);
    }
    return record;
}

bool takeLayout(reader_t *in, describe_layout_t *layout, std::string_view *version)
{
    *version = takeText(in);
    const uint32_t records = takeNumber(in, COUNT_MOST);
    for (uint32_t i = 0; i < records && in->good; ++i)
        layout->records.push_back(takeRecord(in, i));
    const uint32_t objects = takeNumber(in, COUNT_MOST);
    for (uint32_t i = 0; i < objects && in->good; ++i) {
        describe_root_t object = {};
        object.name = takeText(in);
        object.size = takeNumber(in);
        object.type = takeNumber(in, records);
        in->good = in->good && object.type < records;
        layout->objects.push_back(object);
    }
    const uint32_t functions = takeNumber(in, COUNT_MOST);
    for (uint32_t i = 0; i < functions && in->good; ++i)
        layout->functions.push_back(takeText(in));
    return in->good && in->rest.empty();
}

// ---- Matching

bool isBuiltIn(const describe_record_t &record)
{
    return record.name.starts_with('~');
}

// What a record here has in a field that the other process lacks, nested ones dissolved.
void addInitials(std::vector<layout_initial_t> *initials, const describe_row_t &row, uint32_t base)
{
    const describe_record_t &type = describeLayout().records[row.type];
    for (uint32_t at = 0; type.size && at + type.size <= row.size; at += type.size) {
        const uint32_t to = base + row.offset + at;
        for (const describe_row_t &nested : type.rows)
            addInitials(initials, nested, to);
        if (!isBuiltIn(type) || row.initial == 0 || type.size > sizeof row.initial)
            continue;
        layout_initial_t initial = {to, type.size, {}};
        const bool big = row.big_endian || std::endian::native == std::endian::big;
        for (uint32_t i = 0; i < type.size; ++i)
            initial.bytes[big ? type.size - 1 - i : i] = static_cast<unsigned char>(row.initial >> 8 * i);
        initials->push_back(initial);
    }
}

// Neighbours that are neighbours in both records become one, so that what lies the same in both stays whole.
void settle(std::vector<layout_range_t> *ranges)
{
    std::stable_sort(ranges->begin(), ranges->end(),
                     [](const layout_range_t &a, const layout_range_t &b) { return a.from < b.from; });
    std::vector<layout_range_t> settled;
    for (const layout_range_t &range : *ranges) {
        layout_range_t *const last = settled.empty() ? nullptr : &settled.back();
        const bool plain = range.kind == layout_kind_t::PLAIN;
        if (last && plain && last->kind == layout_kind_t::PLAIN && range.from <= last->from + last->size &&
            range.to - range.from == last->to - last->from)
            last->size = std::max(last->from + last->size, range.from + range.size) - last->from;
        else if (range.size > 0)
            settled.push_back(range);
    }
    *ranges = settled;
}

layout_kind_t kindOf(std::string_view record, const describe_row_t &row)
{
    constexpr std::string_view BACK[][2] = {{"struct th_", "tqh_last"}, {"struct te_", "tqe_prev"}};
    constexpr std::string_view ELEMENTS[][2] = {{"tnx_listnode_t", "data"}, {"tnx_avl_node_t", "info"}};
    if (row.type != DESCRIBE_POINTER)
        return layout_kind_t::PLAIN;
    for (const auto &back : BACK)
        if (record.starts_with(back[0]) && row.name == back[1])
            return layout_kind_t::BACK;
    for (const auto &element : ELEMENTS)
        if (record == element[0] && row.name == element[1])
            return layout_kind_t::ELEMENT;
    return layout_kind_t::POINTER;
}

// A record of both processes: its type's ranges and initials from those of the types ahead of it. Empty, or the row
// that means something else.
std::string matchRow(const describe_record_t &here, const describe_row_t &to, const describe_layout_t &other,
                     const describe_row_t &from, const layout_match_t &match, layout_type_t *made)
{
    const describe_layout_t &own = describeLayout();
    const int width = static_cast<int>(here.name.size());
    const int length = static_cast<int>(to.name.size());
    const std::string field = text("%.*s.%.*s changed its", width, here.name.data(), length, to.name.data());
    const describe_record_t &type = own.records[to.type];
    const describe_record_t &its = other.records[from.type];
    if (type.name != its.name)
        return text("%s type: %.*s in the active process, %.*s in the standby", field.c_str(),
                    static_cast<int>(its.name.size()), its.name.data(), static_cast<int>(type.name.size()),
                    type.name.data());
    if (to.big_endian != from.big_endian)
        return field + " byte order";
    const uint32_t count = type.size ? to.size / type.size : 0;
    const bool plain = isBuiltIn(type);
    if (plain ? from.size != to.size : (its.size ? from.size / its.size : 0) != count)
        return text("%s size: %u bytes in the active process, %u in the standby", field.c_str(), from.size, to.size);
    const layout_type_t &nested = match.types[from.type];
    if (plain) {
        made->ranges.push_back({from.offset, to.offset, to.size, kindOf(here.name, to)});
        return {};
    }
    for (uint32_t i = 0; i < count; ++i) {
        for (layout_range_t range : nested.ranges) {
            range.from += from.offset + i * its.size;
            range.to += to.offset + i * type.size;
            made->ranges.push_back(range);
        }
        for (layout_initial_t initial : nested.initials) {
            initial.to += to.offset + i * type.size;
            made->initials.push_back(initial);
        }
    }
    return {};
}

std::string matchRecord(const describe_record_t &here, const describe_layout_t &other, const describe_record_t &there,
                        layout_match_t *match, layout_type_t *made)
{
    const std::string name(here.name);
    if (here.version != there.version)
        return text("%s changed its meaning: version %u in the active process, %u in the standby", name.c_str(),
                    there.version, here.version);
    if (isBuiltIn(here) && here.size != there.size)
        return text("%s changed its size: %u bytes in the active process, %u in the standby", name.c_str(), there.size,
                    here.size);
    if (isBuiltIn(here))
        made->ranges.push_back(
            {0, 0, here.size, made->own == DESCRIBE_POINTER ? layout_kind_t::POINTER : layout_kind_t::PLAIN});
    for (const describe_row_t &row : here.rows) {
        const auto same = std::find_if(there.rows.begin(), there.rows.end(),
                                       [&row](const describe_row_t &other_row) { return other_row.name == row.name; });
        if (same == there.rows.end()) {
            addInitials(&made->initials, row, 0);
            continue;
        }
        std::string wrong = matchRow(here, row, other, *same, *match, made);
        if (!wrong.empty())
            return wrong;
    }
    settle(&made->ranges);
    return {};
}

std::string matchRecords(const describe_layout_t &other, layout_match_t *match)
{
    std::map<std::string_view, uint32_t> known;
    const describe_layout_t &own = describeLayout();
    for (uint32_t i = 0; i < own.records.size(); ++i)
        known[own.records[i].name] = i;
    for (const describe_record_t &there : other.records) {
        layout_type_t made;
        made.from_size = there.size;
        const auto here = known.find(there.name);
        if (here != known.end()) {
            made.own = here->second;
            made.to_size = own.records[here->second].size;
            std::string wrong = matchRecord(own.records[here->second], other, there, match, &made);
            if (!wrong.empty())
                return wrong;
            known.erase(here); // a second one of the name counts for nothing
        }
        if (made.from_size == 0 || made.to_size == 0)
            made.own = -1;
        match->types.push_back(made);
    }
    return {};
}

std::string matchObjects(const describe_layout_t &other, layout_match_t *match)
{
    const describe_layout_t &own = describeLayout();
    std::vector<bool> met(own.objects.size());
    for (const describe_root_t &there : other.objects) {
        const auto here = std::find_if(own.objects.begin(), own.objects.end(),
                                       [&there](const describe_root_t &object) { return object.name == there.name; });
        const layout_type_t &type = match->types[there.type];
        match->objects.push_back({-1, there.type, there.size});
        if (here == own.objects.end())
            continue;
        if (type.own != here->type || there.size % type.from_size != 0 ||
            there.size / type.from_size != here->size / type.to_size)
            return text("%.*s changed its type or size", static_cast<int>(there.name.size()), there.name.data());
        match->objects.back().own = here - own.objects.begin();
        met[static_cast<size_t>(here - own.objects.begin())] = true;
    }
    for (uint32_t i = 0; i < met.size(); ++i)
        if (!met[i])
            match->objects_lacked.push_back(i);
    return {};
}

} // namespace

std::vector<uint32_t> layoutWords()
{
    const describe_layout_t &layout = describeLayout();
    std::vector<uint32_t> words = {MAGIC, DESCRIBE_FORMAT, BYTE_ORDER_MARK, sizeof(void *)};
    putText(&words, VELMAR_VERSION);
    putNumbers(&words, {static_cast<uint32_t>(layout.records.size())});
    for (const describe_record_t &record : layout.records) {
        putText(&words, record.name);
        putNumbers(&words, {record.version, record.size, static_cast<uint32_t>(record.rows.size())});
        for (const describe_row_t &row : record.rows) {
            putText(&words, row.name);
            putNumbers(&words, {row.offset, row.size, row.type, row.big_endian});
        }
    }
    putNumbers(&words, {static_cast<uint32_t>(layout.objects.size())});
    for (const describe_root_t &object : layout.objects) {
        putText(&words, object.name);
        putNumbers(&words, {object.size, object.type});
    }
    putNumbers(&words, {static_cast<uint32_t>(layout.functions.size())});
    for (const std::string_view function : layout.functions)
        putText(&words, function);
    return words;
}

std::string layoutMatch(std::span<const uint32_t> words, layout_match_t *match)
{
    *match = {};
    reader_t in = {words.first(std::min(words.size(), WORDS_MOST))};
    const bool known = takeNumber(&in) == MAGIC && takeNumber(&in) == DESCRIBE_FORMAT;
    const bool native = takeNumber(&in) == BYTE_ORDER_MARK && takeNumber(&in) == sizeof(void *);
    if (in.good && known && !native)
        return "it is of another machine";
    describe_layout_t other;
    std::string_view version;
    if (!known || words.size() > WORDS_MOST || !takeLayout(&in, &other, &version))
        return "its description of them is malformed";
    match->version = version;
    std::string wrong = matchRecords(other, match);
    if (wrong.empty())
        wrong = matchObjects(other, match);
    const describe_layout_t &own = describeLayout();
    for (const std::string_view function : other.functions) {
        const auto here = std::find(own.functions.begin(), own.functions.end(), function);
        match->functions.push_back(here == own.functions.end() ? -1 : here - own.functions.begin());
    }
    return wrong;
}
