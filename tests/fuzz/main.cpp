// SPDX-License-Identifier: Apache-2.0
// A target without libFuzzer, for any compiler: "TARGET RUNS" gives it every seed and then RUNS inputs made of them,
// "TARGET FILE ..." these files.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

#include "tests/fuzz/fuzz.h"

const bool fuzzIsTimed = false;

namespace {

std::mt19937_64 engine;

size_t below(size_t n)
{
    return engine() % n;
}

// A part of one seed with a part of another behind it, some bytes changed, some to limits.
std::string made(const std::vector<std::string> &seeds)
{
    static constexpr unsigned char LIMITS[] = {0, 1, 0x7f, 0x80, 0xff};
    std::string input = seeds[below(seeds.size())];
    if (below(4) == 0) {
        const std::string &other = seeds[below(seeds.size())];
        input = input.substr(0, below(input.size() + 1)) + other.substr(below(other.size() + 1));
    }
    for (size_t n = below(8); n > 0 && !input.empty(); n--)
        input[below(input.size())] = static_cast<char>(below(2) == 0 ? engine() : LIMITS[below(sizeof LIMITS)]);
    return input;
}

void give(const std::string &input)
{
    const fuzzBuffer_t bytes(input.begin(), input.end()); // its end is known to a sanitizer
    fuzzOne(bytes.data(), bytes.size());
}

} // namespace

int main(int argc, char **argv)
{
    char *end = nullptr;
    const unsigned long runs = argc == 2 ? std::strtoul(argv[1], &end, 10) : 0;
    if (!end || *end) {
        for (int i = 1; i < argc; i++) {
            std::ifstream file(argv[i], std::ios::binary);
            give({std::istreambuf_iterator<char>(file), {}});
        }
        return 0;
    }
    std::vector<std::string> seeds;
    fuzzSeeds([&](std::string_view input) { seeds.emplace_back(input); });
    for (const std::string &seed : seeds)
        give(seed);
    for (unsigned long n = 0; n < runs; n++)
        give(made(seeds));
    std::printf("%zu seeds, %lu more\n", seeds.size(), runs);
    return seeds.empty();
}
