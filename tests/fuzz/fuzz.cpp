// SPDX-License-Identifier: Apache-2.0
// What is common to all targets.
#include "tests/fuzz/fuzz.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sys/un.h>

void fuzzFail(const char *file, int line, const char *what, const std::string &seen)
{
    std::fprintf(stderr, "%s:%d: not so: %s\n%.*s\n", file, line, what, static_cast<int>(seen.size()), seen.c_str());
    std::abort();
}

uint8_t fuzzBytes_t::byte()
{
    if (left == 0)
        return 0;
    left--;
    return *at++;
}

uint16_t fuzzBytes_t::half()
{
    const uint8_t high = byte();
    return static_cast<uint16_t>(high << 8 | byte());
}

fuzzBytes_t fuzzBytes_t::part(size_t most)
{
    const fuzzBytes_t front = {at, std::min(most, left)};
    at += front.left;
    left -= front.left;
    return front;
}

fuzzBuffer_t fuzzBytes_t::take(size_t most)
{
    const fuzzBytes_t front = part(most);
    return {front.at, front.at + front.left};
}

void fuzzBytes_t::over(fuzzBuffer_t &bytes, size_t from, size_t most)
{
    for (size_t i = from; i < bytes.size() && i < from + most && left > 0; i++)
        bytes[i] = byte();
}

std::vector<std::string> fuzzParts(std::string_view text)
{
    std::vector<std::string> parts(1);
    for (const char c : text)
        if (c == '|')
            parts.emplace_back();
        else
            parts.back() += c;
    return parts;
}

std::string fuzzHalf(size_t value)
{
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

std::string fuzzText(const fuzzBuffer_t &bytes)
{
    return {bytes.begin(), bytes.end()};
}

uint32_t fuzzWord(const fuzzBuffer_t &bytes, size_t at)
{
    uint32_t word = 0;
    for (size_t i = at; i < at + 4; i++)
        word = word << 8 | (i < bytes.size() ? bytes[i] : 0U);
    return word;
}

void fuzzRunDirectory()
{
    static std::string path = (std::filesystem::temp_directory_path() / "dorvald-fuzz-XXXXXX").string();
    if (!mkdtemp(path.data()) || setenv("VELMAR_RUN", path.c_str(), 1) != 0)
        fuzzFail(__FILE__, __LINE__, "a run directory", path);
    std::atexit([] { std::filesystem::remove_all(path); });
}

bool fuzzSendTo(int from, int to, const fuzzBuffer_t &datagram)
{
    sockaddr_un address = {};
    socklen_t length = sizeof address;
    getsockname(to, reinterpret_cast<sockaddr *>(&address), &length);
    return sendto(from, datagram.data(), datagram.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&address),
                  length) >= 0;
}

bool fuzzIsShown(std::string_view text)
{
    for (size_t i = 0; i < text.size(); i++) {
        const auto c = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        if ((c < 0x20 && c != '\n' && c != '\t') || c == 0x7f || (c == 0xc2 && next >= 0x80 && next < 0xa0))
            return false;
    }
    return true;
}
