// SPDX-License-Identifier: Apache-2.0
// Parsing and formatting of field values.
#include "tools/values.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>

#include "tools/error.h"

namespace {

// A list longer than any body could hold is a slip of the pen.
constexpr size_t LONGEST_LIST = 8192;
constexpr size_t LONGEST_REPEATED = 256; // characters

// Interface types, as the top six bits of an index, and the place of slot and chip in it.
constexpr uint32_t TYPE_PORT = 6;
constexpr uint32_t TYPE_CHIP = 34;
constexpr unsigned TYPE_BIT = 26;
constexpr unsigned SLOT_BIT = 22;
constexpr unsigned CHIP_BIT = 16; // of a chip's own index
constexpr unsigned PORT_BIT = 15;
constexpr unsigned SPEED_BIT = 12;

// Ports by speed code: 10, 1 and 40 Gbit/s.
constexpr struct {
    const char *prefix;
    uint32_t speed;
} portKinds[] = {{"te", 0}, {"ge", 2}, {"fo", 3}};

struct parsedInteger {
    bool isNumber, negative, tooLarge;
    uint64_t magnitude;
};

parsedInteger parseInteger(const std::string &text)
{
    parsedInteger parsed{};
    size_t at = 0;
    if (text[0] == '-' || text[0] == '+')
        at = 1;
    parsed.negative = text[0] == '-';
    const bool hex = text.size() > at + 2 && text[at] == '0' && (text[at + 1] == 'x' || text[at + 1] == 'X');
    if (hex)
        at += 2;
    const char *end = text.data() + text.size();
    const auto result = std::from_chars(text.data() + at, end, parsed.magnitude, hex ? 16 : 10);
    parsed.isNumber = result.ptr == end && at < text.size() && result.ec != std::errc::invalid_argument;
    parsed.tooLarge = result.ec == std::errc::result_out_of_range;
    return parsed;
}

// The number at `at`, which moves behind it; refuses one above `most`.
uint32_t partOf(const std::string &text, size_t &at, uint32_t most, const char *what)
{
    uint32_t value = 0;
    const auto result = std::from_chars(text.data() + at, text.data() + text.size(), value);
    if (result.ptr == text.data() + at || result.ec != std::errc() || value > most)
        ctlRefuse("'" + text + "': the " + what + " goes from 0 to " + std::to_string(most));
    at = static_cast<size_t>(result.ptr - text.data());
    return value;
}

uint32_t parseSlashed(const std::string &text, size_t at, bool port, uint32_t speed)
{
    const uint32_t slot = partOf(text, at, port ? 15 : 14, "slot");
    if (at >= text.size() || text[at] != '/')
        ctlRefuse("'" + text + "': an interface is written te1/3 or te1/3@1, a chip chip1/0");
    at++;
    uint32_t ifindex = slot << SLOT_BIT;
    if (port) {
        ifindex |= TYPE_PORT << TYPE_BIT | speed << SPEED_BIT | partOf(text, at, 127, "port") << PORT_BIT;
        if (at < text.size() && text[at] == '@')
            ifindex |= partOf(text, ++at, 7, "chip");
    } else {
        ifindex |= TYPE_CHIP << TYPE_BIT | partOf(text, at, 7, "chip") << CHIP_BIT;
    }
    if (at != text.size())
        ctlRefuse("'" + text + "': '" + text.substr(at) + "' is too much");
    return ifindex;
}

std::string rangeText(const wireField &field)
{
    const unsigned bits = field.width * 8u;
    if (field.kind == wireKind::Signed) {
        const uint64_t most = (uint64_t{1} << (bits - 1)) - 1;
        return "-" + std::to_string(most + 1) + " to " + std::to_string(most);
    }
    return "0 to " + std::to_string(bits == 64 ? UINT64_MAX : (uint64_t{1} << bits) - 1);
}

bool fits(const wireField &field, const parsedInteger &parsed)
{
    const unsigned bits = field.width * 8u;
    if (parsed.tooLarge)
        return false;
    if (field.kind == wireKind::Signed)
        return parsed.magnitude <= (uint64_t{1} << (bits - 1)) - (parsed.negative ? 0 : 1);
    if (parsed.negative && parsed.magnitude != 0)
        return false;
    return bits == 64 || parsed.magnitude >> bits == 0;
}

uint64_t integerOf(const wireField &field, const std::string &text)
{
    const parsedInteger parsed = parseInteger(text);
    if (!parsed.isNumber) {
        if (ctlIsInterface(field)) {
            if (const auto ifindex = ctlParseInterface(text))
                return *ifindex;
            ctlRefuse("'" + text + "' is neither a number nor an interface such as te1/3, chip1/0 or all");
        }
        ctlRefuse("'" + text + "' is no number; write 17 or 0x11");
    }
    if (!fits(field, parsed))
        ctlRefuse(text + " is out of range, " + rangeText(field));
    return parsed.negative ? 0 - parsed.magnitude : parsed.magnitude;
}

void writeElement(const wireField &field, ctlBytes &data, size_t n, const std::string &text)
{
    if (field.kind == wireKind::Unsigned || field.kind == wireKind::Signed) {
        ctlWriteInteger(field, data, n, integerOf(field, text));
        return;
    }
    const bool hex = text.rfind("x:", 0) == 0;
    if (field.kind == wireKind::Native && !hex)
        ctlRefuse("'" + text + "': this field takes bytes, written x:00ff12");
    const ctlBytes bytes = hex ? ctlParseHex(text.substr(2)) : ctlBytes(text.begin(), text.end());
    if (bytes.size() > field.width)
        ctlRefuse("'" + text + "' is " + std::to_string(bytes.size()) + " bytes long, the field " +
                  std::to_string(field.width));
    uint8_t *at = data.data() + field.offset + n * field.stride;
    std::fill_n(at, field.width, uint8_t{0});
    std::copy(bytes.begin(), bytes.end(), at);
}

// Bytes as they are, over elements that lie side by side.
void writeRaw(ctlBytes &data, const ctlFieldRef_t &to, size_t count, const std::string &hex)
{
    const wireField &field = *to.field;
    const ctlBytes bytes = ctlParseHex(hex);
    const bool together = field.stride == field.width && to.index < 0;
    const size_t room = together ? count * field.width : field.width;
    if (bytes.size() > room)
        ctlRefuse(std::to_string(bytes.size()) + " bytes are too many, there is room for " + std::to_string(room));
    const size_t first = to.index < 0 ? 0 : static_cast<size_t>(to.index);
    std::copy(bytes.begin(), bytes.end(),
              data.begin() + static_cast<std::ptrdiff_t>(field.offset + first * field.stride));
}

// The text of a range's end in three pieces: "te1/", "8", and "@1", the chip, which both ends share.
struct rangeEnd {
    std::string prefix, suffix;
    parsedInteger number;
};

rangeEnd rangeEndOf(const std::string &text)
{
    rangeEnd end{};
    end.number = parseInteger(text);
    if (end.number.isNumber)
        return end;
    const size_t at = std::min(text.find('@'), text.size());
    size_t digits = at;
    while (digits > 0 && std::isdigit(static_cast<unsigned char>(text[digits - 1])))
        digits--;
    end.prefix = text.substr(0, digits);
    end.suffix = text.substr(at);
    end.number = parseInteger(text.substr(digits, at - digits));
    return end;
}

// "te1/1..te1/8" or "3..7" written out.
std::vector<std::string> expandRange(const std::string &text, size_t dots)
{
    const rangeEnd from = rangeEndOf(text.substr(0, dots)), to = rangeEndOf(text.substr(dots + 2));
    for (const rangeEnd *end : {&from, &to})
        if (!end->number.isNumber || end->number.negative || end->number.tooLarge)
            ctlRefuse("'" + text + "': a range is written 0..7 or te1/1..te1/8");
    if (from.prefix != to.prefix || from.suffix != to.suffix || from.number.magnitude > to.number.magnitude)
        ctlRefuse("'" + text + "': both ends of a range differ in their last number alone, the lower end first");
    if (to.number.magnitude - from.number.magnitude >= LONGEST_LIST)
        ctlRefuse("'" + text + "': a range has at most " + std::to_string(LONGEST_LIST) + " values");
    std::vector<std::string> list;
    for (uint64_t n = 0; n <= to.number.magnitude - from.number.magnitude; n++)
        list.push_back(from.prefix + std::to_string(from.number.magnitude + n) + from.suffix);
    return list;
}

// "te1/1-3" and "te1/1-3@1" as "te1/1..te1/3" and so on; any other text as it is.
std::string spelledOut(const std::string &item)
{
    const size_t slash = item.rfind('/'), dash = item.find('-', slash == std::string::npos ? item.size() : slash);
    if (dash == std::string::npos)
        return item;
    const size_t at = std::min(item.find('@', dash), item.size());
    const std::string from = item.substr(slash + 1, dash - slash - 1), to = item.substr(dash + 1, at - dash - 1);
    const bool digits =
        !from.empty() && !to.empty() && (from + to).find_first_not_of("0123456789") == std::string::npos;
    const std::string port = item.substr(0, slash + 1), chip = item.substr(at);
    return digits ? port + from + chip + ".." + port + to + chip : item;
}

void expandItem(const std::string &typed, std::vector<std::string> &list)
{
    const std::string item = spelledOut(typed);
    const size_t star = item.rfind('*'), dots = item.find("..");
    if ((star != std::string::npos || dots != std::string::npos) && item.size() > LONGEST_REPEATED)
        ctlRefuse("'" + item + "': no value of a range or repetition is that long");
    if (star != std::string::npos) {
        const parsedInteger times = parseInteger(item.substr(star + 1));
        if (!times.isNumber || times.negative || times.tooLarge || times.magnitude == 0 ||
            times.magnitude > LONGEST_LIST)
            ctlRefuse("'" + item + "': a repeated value is written 7*8, eight times 7");
        list.insert(list.end(), times.magnitude, item.substr(0, star));
    } else if (dots != std::string::npos) {
        const std::vector<std::string> range = expandRange(item, dots);
        list.insert(list.end(), range.begin(), range.end());
    } else {
        list.push_back(item);
    }
}

std::vector<std::string> splitCommas(const std::string &text)
{
    std::vector<std::string> items;
    for (size_t at = 0;;) {
        const size_t comma = text.find(',', at);
        items.push_back(text.substr(at, comma == std::string::npos ? comma : comma - at));
        if (comma == std::string::npos)
            return items;
        at = comma + 1;
    }
}

} // namespace

ctlBytes ctlParseHex(const std::string &text)
{
    ctlBytes bytes;
    int high = -1;
    for (const char c : text) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (high < 0 && (std::isspace(u) || c == ':'))
            continue;
        if (!std::isxdigit(u))
            ctlRefuse(std::string("'") + c + "' is no hexadecimal digit");
        const int digit = std::isdigit(u) ? c - '0' : std::tolower(u) - 'a' + 10;
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    if (high >= 0)
        ctlRefuse("a byte is two hexadecimal digits, and the last one has but one");
    return bytes;
}

std::string ctlFormatHex(const uint8_t *data, size_t size)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < size; i++) {
        text += digits[data[i] >> 4];
        text += digits[data[i] & 15];
    }
    return text;
}

std::optional<uint32_t> ctlParseInterface(const std::string &text)
{
    if (text == "all")
        return QOS_ALL_CHIPS_IFINDEX;
    const auto begins = [&](const std::string &prefix) {
        return text.rfind(prefix, 0) == 0 && text.size() > prefix.size() &&
               std::isdigit(static_cast<unsigned char>(text[prefix.size()]));
    };
    if (begins("chip"))
        return parseSlashed(text, 4, false, 0);
    for (const auto &kind : portKinds)
        if (begins(kind.prefix))
            return parseSlashed(text, 2, true, kind.speed);
    return std::nullopt;
}

std::string ctlFormatInterface(uint32_t ifindex)
{
    if (ifindex == QOS_ALL_CHIPS_IFINDEX)
        return "all";
    const std::string slot = std::to_string(ifindex >> SLOT_BIT & 15);
    std::string name;
    if (ifindex >> TYPE_BIT == TYPE_CHIP)
        name = "chip" + slot + "/" + std::to_string(ifindex >> CHIP_BIT & 7);
    for (const auto &kind : portKinds)
        if (ifindex >> TYPE_BIT == TYPE_PORT && (ifindex >> SPEED_BIT & 7) == kind.speed)
            name = kind.prefix + slot + "/" + std::to_string(ifindex >> PORT_BIT & 127) +
                   ((ifindex & 7) != 0 ? "@" + std::to_string(ifindex & 7) : "");
    // Bits that the name does not carry make it another index. Slot 15 has no chip names.
    if (name.empty() || (name[0] == 'c' && slot == "15") || ctlParseInterface(name) != ifindex)
        return "";
    return name;
}

std::string ctlShowInterface(uint32_t ifindex)
{
    const std::string name = ctlFormatInterface(ifindex);
    char number[16];
    std::snprintf(number, sizeof number, "0x%08x", ifindex);
    return name.empty() ? number : name;
}

std::vector<std::string> ctlExpandList(const std::string &text)
{
    std::vector<std::string> list;
    for (const std::string &item : splitCommas(text)) {
        expandItem(item, list);
        if (list.size() > LONGEST_LIST)
            ctlRefuse("a list has at most " + std::to_string(LONGEST_LIST) + " values");
    }
    return list;
}

std::vector<std::string> ctlElementsOf(const ctlFieldRef_t &to, const std::string &text)
{
    if (to.field->kind == wireKind::Unsigned || to.field->kind == wireKind::Signed)
        return ctlExpandList(text);
    if (to.index < 0 && to.field->count != 1)
        return splitCommas(text);
    return {text};
}

void ctlSetText(const wireBody &body, ctlBytes &data, const ctlFieldRef_t &to, const std::string &text)
{
    const bool integer = to.field->kind == wireKind::Unsigned || to.field->kind == wireKind::Signed;
    if (!integer || text.rfind("x:", 0) != 0) {
        ctlSetElements(body, data, to, ctlElementsOf(to, text));
        return;
    }
    const size_t count = ctlCount(body, *to.field, data.size());
    if (static_cast<size_t>(std::max(to.index, 0)) >= count)
        ctlRefuse("index " + std::to_string(std::max(to.index, 0)) + " lies behind the end, there are " +
                  std::to_string(count));
    writeRaw(data, to, count, text.substr(2));
}

void ctlSetElements(const wireBody &body, ctlBytes &data, const ctlFieldRef_t &to,
                    const std::vector<std::string> &elements)
{
    const wireField &field = *to.field;
    const size_t count = ctlCount(body, field, data.size());
    const size_t first = to.index < 0 ? 0 : static_cast<size_t>(to.index);
    if (first >= count)
        ctlRefuse("index " + std::to_string(first) + " lies behind the end, there are " + std::to_string(count));
    const size_t given = elements.size();
    const bool whole = to.index < 0 && ctlRecordsOf(field).empty();
    if (given > count - first)
        ctlRefuse(std::to_string(given) + " values are too many, there is room for " + std::to_string(count - first));
    if (whole && given < count && elements[0].empty())
        ctlRefuse("the value is missing; there are " + std::to_string(count) + ", as in 0*" + std::to_string(count));
    if (whole && given < count)
        ctlRefuse("it has " + std::to_string(count) + " values, not " + std::to_string(given) + "; write " +
                  elements[0] + "*" + std::to_string(count) + " to repeat one, " + field.name + "[0] to set one");
    for (size_t i = 0; i < given; i++)
        writeElement(field, data, first + i, elements[i]);
}

uint64_t ctlReadInteger(const wireField &field, const ctlBytes &data, size_t n)
{
    uint64_t value = 0;
    const uint8_t *at = data.data() + field.offset + n * field.stride;
    for (unsigned i = 0; i < field.width; i++)
        value = value << 8 | at[i];
    const unsigned unused = 64 - field.width * 8u;
    if (field.kind == wireKind::Signed)
        value = static_cast<uint64_t>(static_cast<int64_t>(value << unused) >> unused);
    return value;
}

void ctlWriteInteger(const wireField &field, ctlBytes &data, size_t n, uint64_t value)
{
    uint8_t *at = data.data() + field.offset + n * field.stride;
    for (unsigned i = field.width; i-- > 0; value >>= 8)
        at[i] = static_cast<uint8_t>(value);
}

std::string ctlReadChars(const wireField &field, const ctlBytes &data, size_t n)
{
    const char *at = reinterpret_cast<const char *>(data.data()) + field.offset + n * field.stride;
    return std::string(at, strnlen(at, field.width));
}

std::string ctlFormatElement(const wireField &field, const ctlBytes &data, size_t n)
{
    const uint8_t *at = data.data() + field.offset + n * field.stride;
    if (field.kind == wireKind::Native)
        return "x:" + ctlFormatHex(at, field.width);
    if (field.kind == wireKind::Chars) {
        const std::string text = ctlReadChars(field, data, n);
        const bool plain = std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isprint(c); });
        return plain ? "\"" + text + "\"" : "x:" + ctlFormatHex(at, field.width);
    }
    const uint64_t value = ctlReadInteger(field, data, n);
    if (field.kind == wireKind::Signed)
        return std::to_string(static_cast<int64_t>(value));
    return ctlIsInterface(field) ? ctlShowInterface(static_cast<uint32_t>(value)) : std::to_string(value);
}
