// The entry points of libFuzzer.
#include "tests/fuzz/fuzz.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    if (*argc != 3 || std::string((*argv)[1]) != "seeds")
        return 0;
    unsigned number = 0;
    bool good = true;
    fuzzSeeds([&](std::string_view input) {
        std::ofstream file((*argv)[2] + std::string("/seed-") + std::to_string(number++), std::ios::binary);
        good = file.write(input.data(), static_cast<std::streamsize>(input.size())).flush() && good;
    });
    std::exit(good && number != 0 ? 0 : 1);
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzOne(data, size);
    return 0;
}

void fuzzFail(const char *file, int line, const char *what, const std::string &seen)
{
    std::fprintf(stderr, "%s:%d: not so: %s\n%.*s\n", file, line, what, static_cast<int>(seen.size()), seen.c_str());
    std::abort();
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
