// SPDX-License-Identifier: Apache-2.0
// Text and JSON of messages, bodies and the catalogue.
#include "tools/report.h"

#include <algorithm>
#include <cstring>
#include <iomanip>

#include "tools/error.h"
#include "tools/text.h"
#include "tools/values.h"

namespace {

constexpr size_t SHORTEST_FOLD = 3;
constexpr int NAME_WIDTH = 22;
constexpr int DEEPEST = 64;
constexpr size_t MOST_MEMBERS = 1024;

std::vector<std::string> elementsOf(const wireBody &body, const wireField &field, const ctlBytes &data)
{
    std::vector<std::string> values;
    const size_t count = ctlCount(body, field, data.size());
    for (size_t n = 0; n < count; n++)
        values.push_back(ctlFormatElement(field, data, n));
    return values;
}

// One record of an array of records: "ifindex=te1/1 bufPoolId=2".
std::string recordText(const wireField *first, const wireField *end, const wireBody &body, const ctlBytes &data,
                       size_t n)
{
    std::string text;
    for (const wireField *field = first; field != end; field++) {
        if (n >= ctlCount(body, *field, data.size()))
            continue;
        text += text.empty() ? "" : " ";
        text += std::string(std::strchr(field->name, '.') + 1) + "=" + ctlFormatElement(*field, data, n);
    }
    return text;
}

// The records that begin with field `first`, a line for each run of equal ones; gives the field behind them.
const wireField *printRecords(std::ostream &out, const wireField *first, const wireBody &body, const ctlBytes &data)
{
    const std::string name = ctlRecordsOf(*first);
    const wireField *last = body.fields + body.numFields, *end = first;
    size_t count = 0;
    for (; end != last && ctlRecordsOf(*end) == name; end++)
        count = std::max(count, ctlCount(body, *end, data.size()));
    for (size_t n = 0; n < count;) {
        const std::string text = recordText(first, end, body, data, n);
        size_t next = n + 1;
        while (next < count && recordText(first, end, body, data, next) == text)
            next++;
        std::string label = name + "[" + std::to_string(n);
        label += next - n > 1 ? ".." + std::to_string(next - 1) + "]" : "]";
        out << "    " << std::left << std::setw(NAME_WIDTH) << label << " " << text << "\n";
        n = next;
    }
    return end;
}

ctlJson elementJson(const wireField &field, const ctlBytes &data, size_t n)
{
    if (field.kind == wireKind::Native)
        return ctlFormatElement(field, data, n);
    if (field.kind == wireKind::Chars) {
        // Where a scenario would take the text for something else, it gets the bytes.
        const std::string text = ctlReadChars(field, data, n);
        const bool means = text.rfind("x:", 0) == 0 || text.find("$if") != text.npos || text.find("$n") != text.npos;
        return means ? "x:" + ctlFormatHex(data.data() + field.offset + n * field.stride, text.size()) : text;
    }
    const uint64_t value = ctlReadInteger(field, data, n);
    if (field.kind == wireKind::Signed)
        return static_cast<int64_t>(value);
    return value;
}

const char *kindName(wireKind kind)
{
    switch (kind) {
    case wireKind::Unsigned:
        return "unsigned";
    case wireKind::Signed:
        return "signed";
    case wireKind::Chars:
        return "chars";
    default:
        return "bytes";
    }
}

// Bytes of a message that no field covers are shown when there is no field at all.
bool isOpaque(const ctlMessage_t &message)
{
    return ctlBodyOf(*qosMsgInfo(message.code)).numFields == 0 && !message.body.empty();
}

} // namespace

std::string ctlFold(const std::vector<std::string> &values)
{
    std::string text;
    for (size_t i = 0; i < values.size();) {
        size_t next = i;
        while (next < values.size() && values[next] == values[i])
            next++;
        const bool fold = next - i >= SHORTEST_FOLD;
        text += (text.empty() ? "" : " ") + values[i] + (fold ? "*" + std::to_string(next - i) : "");
        i = fold ? next : i + 1;
    }
    return text;
}

void ctlPrintMessage(std::ostream &out, const ctlMessage_t &message, bool fields)
{
    out << std::left << std::setw(34) << ctlMessageName(message.code) << " code " << std::setw(2) << int{message.code}
        << "  seq " << std::setw(3) << int{message.seq} << "  ack " << int{message.ack};
    if (const auto status = ctlStatus(message))
        out << "  status " << *status << (message.ack == 1 ? std::string(" ") + ctlStatusText(*status) : "");
    out << "\n";
    if (!fields)
        return;
    ctlPrintFields(out, ctlBodyOf(*qosMsgInfo(message.code)), message.body);
    if (isOpaque(message))
        out << "    x:" << ctlFormatHex(message.body.data(), message.body.size()) << "\n";
}

void ctlPrintFields(std::ostream &out, const wireBody &body, const ctlBytes &data)
{
    const wireField *end = body.fields + body.numFields;
    for (const wireField *field = body.fields; field != end;) {
        if (!ctlRecordsOf(*field).empty()) {
            field = printRecords(out, field, body, data);
            continue;
        }
        const std::vector<std::string> values = elementsOf(body, *field, data);
        if (!values.empty())
            out << "    " << std::left << std::setw(NAME_WIDTH) << field->name << " " << ctlFold(values) << "\n";
        field++;
    }
}

ctlJson ctlMessageJson(const ctlMessage_t &message)
{
    const wireBody &body = ctlBodyOf(*qosMsgInfo(message.code));
    ctlJson json = {
        {"msg", ctlMessageName(message.code)}, {"code", message.code}, {"seq", message.seq}, {"ack", message.ack}};
    const auto status = ctlStatus(message);
    json["status"] = status ? ctlJson(*status) : ctlJson();
    json["text"] = status && message.ack == 1 ? ctlJson(ctlStatusText(*status)) : ctlJson();
    ctlJson fields = ctlJson::object();
    for (unsigned i = 0; i < body.numFields; i++) {
        const wireField &field = body.fields[i];
        const size_t count = ctlCount(body, field, message.body.size());
        if (field.count == 1 && count == 1)
            fields[field.name] = elementJson(field, message.body, 0);
        else if (field.count != 1)
            for (size_t n = 0; n < count; n++)
                fields[field.name].push_back(elementJson(field, message.body, n));
    }
    json["raw"] = isOpaque(message) ? ctlJson(ctlFormatHex(message.body.data(), message.body.size())) : ctlJson();
    json["fields"] = std::move(fields);
    return json;
}

void ctlPrintCatalogue(std::ostream &out, bool json)
{
    ctlJson list = ctlJson::array();
    if (!json)
        out << "CODE NAME                               BODY                        BYTES LEAST\n";
    for (unsigned code = 0; code < QOS_MSG_CODES; code++) {
        const qosMsgInfo_t &info = *qosMsgInfo(code);
        const wireBody &body = ctlBodyOf(info);
        if (json)
            list.push_back({{"code", code},
                            {"name", ctlMessageName(code)},
                            {"body", body.name},
                            {"bytes", body.size},
                            {"least", info.min_len}});
        else
            out << std::right << std::setw(4) << code << " " << std::left << std::setw(34) << ctlMessageName(code)
                << " " << std::setw(27) << body.name << " " << std::right << std::setw(5) << body.size << " "
                << std::setw(5) << info.min_len << "\n";
    }
    if (json)
        ctlPrintJson(out, list);
}

void ctlPrintLayout(std::ostream &out, const qosMsgInfo_t &info, bool json)
{
    const wireBody &body = ctlBodyOf(info);
    ctlJson fields = ctlJson::array();
    if (!json) {
        out << ctlMessageName(info.code) << "  code " << int{info.code} << "  body " << body.name << "  bytes "
            << body.size << "  least " << info.min_len << "\n";
        out << "OFFSET WIDTH COUNT STRIDE TYPE     FIELD\n";
    }
    for (unsigned i = 0; i < body.numFields; i++) {
        const wireField &field = body.fields[i];
        const bool open = ctlInTail(ctlTailOf(body), field);
        if (json)
            fields.push_back({{"name", field.name},
                              {"offset", field.offset},
                              {"width", field.width},
                              {"count", field.count},
                              {"stride", field.stride},
                              {"type", kindName(field.kind)},
                              {"open", open}});
        else
            out << std::right << std::setw(6) << field.offset << std::setw(6) << field.width << std::setw(6)
                << (open ? "any" : std::to_string(field.count)) << std::setw(7) << field.stride << " " << std::left
                << std::setw(8) << kindName(field.kind) << " " << field.name << "\n";
    }
    if (json)
        ctlPrintJson(out, {{"code", info.code},
                           {"name", ctlMessageName(info.code)},
                           {"body", body.name},
                           {"bytes", body.size},
                           {"least", info.min_len},
                           {"fields", fields}});
}

std::string ctlCounted(size_t count, const std::string &thing)
{
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

ctlJson ctlParseJson(const std::string &text)
{
    std::vector<size_t> members; // of each object that is open
    const auto bounded = [&](int depth, ctlJson::parse_event_t event, ctlJson &) {
        if (depth > DEEPEST)
            ctlRefuse("it is nested deeper than " + std::to_string(DEEPEST) + " levels");
        if (event == ctlJson::parse_event_t::object_start)
            members.push_back(0);
        else if (event == ctlJson::parse_event_t::object_end)
            members.pop_back();
        else if (event == ctlJson::parse_event_t::key && ++members.back() > MOST_MEMBERS)
            ctlRefuse("an object has more than " + std::to_string(MOST_MEMBERS) + " members");
        return true;
    };
    return ctlJson::parse(text, bounded);
}

void ctlPrintJson(std::ostream &out, const ctlJson &json)
{
    out << ctlShownJson(json.dump(-1, ' ', false, ctlJson::error_handler_t::replace)) << std::endl;
}
