// SPDX-License-Identifier: Apache-2.0
// Trace rings of another process: lines in their order, as many as were asked for and there is room for.
#include <sys/mman.h>

#include "tests/fuzz/fuzz.h"
#include "velmar/trace.h"

namespace {

constexpr size_t HEAD = 64;

int fileOf(const fuzzBuffer_t &bytes)
{
    const int fd = memfd_create("ring", MFD_CLOEXEC);
    FUZZ_CHECK(write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "");
    return fd;
}

std::string word(uint32_t value)
{
    return {reinterpret_cast<const char *>(&value), sizeof value};
}

// With formats every line is kept as arguments of the first.
std::string ring(uint32_t lines, uint32_t slot_size, uint32_t record, uint32_t next, const std::string &formats = "")
{
    std::string text = formats.empty() ? "trcring2" : "trcring3";
    text += word(lines) + word(slot_size) + word(record) + word(284) + word(7) + word(next);
    text.resize(HEAD - 16);
    text += word(static_cast<uint32_t>(formats.size())) + std::string(12, '\0') + formats;
    for (uint32_t n = 0; n < std::min(lines, 8U); n++) {
        const size_t begin = text.size();
        text += word(n + 1 + (next > 8 ? next - 8 : 0));
        if (formats.empty())
            text += word(n << 16 | 4) + std::string(20, '\1') + "line\n" + word(n);
        else
            text += word((4 * n) << 16 | 0x8004) + std::string(20, '\1') + word(0) + "te1/3" + word(n) + word(n);
        text.resize(begin + std::min(slot_size, 512U), 'x');
    }
    return text;
}

} // namespace

void fuzzOne(const uint8_t *data, size_t size)
{
    fuzzBytes_t in{data, size};
    const unsigned lines = in.half();
    const size_t room = in.half();
    const int fd = fileOf(in.take(in.left));
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    std::vector<char> out(room);
    const int used = velmar_trace_read(path.c_str(), lines, out.data(), room, lines % 2 != 0);
    close(fd);
    FUZZ_CHECK(used < 0 || static_cast<size_t>(used) <= room, std::to_string(used));
    if (used <= 0)
        return;
    FUZZ_CHECK(out[static_cast<size_t>(used) - 1] == '\n', "");
    FUZZ_CHECK(static_cast<size_t>(std::count(out.begin(), out.begin() + used, '\n')) <= lines, "");
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    for (const uint32_t next : {0U, 3U, 8U, 9U, 70000U, ~0U})
        for (const uint32_t lines : {1U, 8U, 9U, 1U << 20, 1U << 21})
            for (const size_t room : {size_t{10}, size_t{60000}}) {
                add(fuzzHalf(5) + fuzzHalf(room) + ring(lines, 152, 128, next));
                add(fuzzHalf(65535) + fuzzHalf(room) + ring(lines, 24, 4, next));
                add(fuzzHalf(9) + fuzzHalf(room) + ring(lines, 8232, 4096, next));
                add(fuzzHalf(9) + fuzzHalf(room) + ring(lines, 152, 128, next, std::string("%s %lld\n\0%5d", 12)));
            }
}
