// SPDX-License-Identifier: Apache-2.0
// A target under libFuzzer. "TARGET seeds FOLDER" writes its first corpus.
#include <cstdlib>
#include <fstream>

#include "tests/fuzz/fuzz.h"

const bool fuzzIsTimed = true;

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
