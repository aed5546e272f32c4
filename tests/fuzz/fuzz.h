// What every fuzzing target shares. A target defines fuzzOne, which ends the process by FUZZ_CHECK or by a sanitizer
// when something is wrong, and fuzzSeeds, which makes a first corpus of the system's own descriptions. "TARGET seeds
// FOLDER" writes that corpus.
#ifndef TESTS_FUZZ_FUZZ_H
#define TESTS_FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

void fuzzOne(const uint8_t *data, size_t size);

using fuzzAdd_t = std::function<void(std::string_view input)>;
void fuzzSeeds(const fuzzAdd_t &add);

[[noreturn]] void fuzzFail(const char *file, int line, const char *what, const std::string &seen);

#define FUZZ_CHECK(condition, seen)                                                                                    \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            fuzzFail(__FILE__, __LINE__, #condition, seen);                                                            \
    } while (0)

// Whether a terminal shows the text and obeys nothing in it but ends of lines and tabs.
bool fuzzIsShown(std::string_view text);

#endif
