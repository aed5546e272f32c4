// SPDX-License-Identifier: Apache-2.0
// Reading, numbers and escapes.
#include "tools/text.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <unistd.h>

#include "tools/error.h"

namespace {

constexpr size_t LONGEST_COMPLAINT = 4096; // bytes
constexpr size_t READ_STEP = 65536;

// The length of the UTF-8 character that the text begins with, 0 if there is none; `point` is its number.
size_t takeCharacter(std::string_view text, uint32_t &point)
{
    const auto first = static_cast<unsigned char>(text[0]);
    const size_t length = first < 0x80   ? 1
                          : first < 0xc2 ? 0
                          : first < 0xe0 ? 2
                          : first < 0xf0 ? 3
                          : first < 0xf5 ? 4
                                         : 0;
    if (length == 0 || length > text.size())
        return 0;
    point = length == 1 ? first : first & (0x7fu >> length);
    for (size_t i = 1; i < length; i++) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xc0) != 0x80)
            return 0;
        point = point << 6 | (next & 0x3f);
    }
    const bool overlong = (length == 3 && point < 0x800) || (length == 4 && point < 0x10000);
    const bool surrogate = point >= 0xd800 && point < 0xe000;
    return overlong || surrogate || point > 0x10ffff ? 0 : length;
}

// What a terminal obeys instead of showing it: the controls below blank and beside 0x80, separators of lines, and marks
// of direction, with which a name can make a line read as another.
bool isObeyed(uint32_t point)
{
    return point < 0x20 || (point >= 0x7f && point < 0xa0) || (point >= 0x2028 && point <= 0x202e) ||
           (point >= 0x2066 && point <= 0x2069);
}

std::string escaped(std::string_view text, std::string_view kept, bool json)
{
    std::string shown;
    while (!text.empty()) {
        uint32_t point = 0;
        const size_t length = takeCharacter(text, point);
        const size_t taken = std::max<size_t>(length, 1);
        char code[8];
        if (length != 0 && (!isObeyed(point) || kept.find(text[0]) != std::string_view::npos)) {
            shown += text.substr(0, length);
        } else if (json && length != 0) {
            std::snprintf(code, sizeof code, "\\u%04x", point & 0xffff);
            shown += code;
        } else {
            for (const char c : text.substr(0, taken)) {
                std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(c));
                shown += code;
            }
        }
        text.remove_prefix(taken);
    }
    return shown;
}

} // namespace

std::string ctlShown(std::string_view text)
{
    return escaped(text, "\t", false);
}

std::string ctlShownLines(std::string_view text)
{
    return escaped(text, "\t\n", false);
}

std::string ctlShownJson(std::string_view text)
{
    return escaped(text, "", true);
}

void ctlComplain(std::ostream &err, const std::string &text)
{
    const bool endless = text.size() > LONGEST_COMPLAINT;
    err << "dorvctl: " << ctlShown(std::string_view(text).substr(0, LONGEST_COMPLAINT)) << (endless ? "..." : "")
        << "\n";
}

int ctlGuard(std::ostream &err, const std::function<int()> &command)
{
    try {
        return command();
    } catch (const ctlError_t &error) {
        ctlComplain(err, error.text);
        return error.exit;
    } catch (const std::exception &error) {
        ctlComplain(err, std::string("cannot go on: ") + error.what());
        return CTL_SILENT;
    }
}

std::optional<uint64_t> ctlParseNumber(std::string_view text, uint64_t most, int base)
{
    uint64_t value = 0;
    const char *end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, base);
    if (result.ec != std::errc() || result.ptr != end || value > most)
        return std::nullopt;
    return value;
}

std::optional<std::string> ctlReadAll(int fd, size_t most, std::string &fault)
{
    std::string text;
    for (;;) {
        const size_t had = text.size();
        text.resize(std::min(had + READ_STEP, most + 1));
        const ssize_t got = read(fd, text.data() + had, text.size() - had);
        text.resize(had + static_cast<size_t>(std::max<ssize_t>(got, 0)));
        if (got == 0)
            return text;
        if (got < 0 && errno != EINTR) {
            fault = std::string("cannot be read: ") + std::strerror(errno);
            return std::nullopt;
        }
        if (text.size() > most) {
            fault = "is longer than " + std::to_string(most) + " bytes";
            return std::nullopt;
        }
    }
}

std::vector<std::string> ctlLinesOf(const std::string &text)
{
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

std::string ctlUtc(std::chrono::system_clock::time_point at, bool milliseconds)
{
    const auto whole = std::chrono::floor<std::chrono::seconds>(at);
    const time_t seconds = std::chrono::system_clock::to_time_t(whole);
    tm utc{};
    gmtime_r(&seconds, &utc);
    char text[64], part[32] = "Z";
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
    if (milliseconds)
        std::snprintf(part, sizeof part, ".%03dZ",
                      static_cast<int>(std::chrono::floor<std::chrono::milliseconds>(at - whole).count()));
    return std::string(text) + part;
}
