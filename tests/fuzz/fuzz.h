// SPDX-License-Identifier: Apache-2.0
// What every fuzzing target shares. A target defines fuzzOne, which ends the process by FUZZ_CHECK or by a sanitizer
// when something is wrong, and fuzzSeeds, which makes a first corpus of the system's own descriptions. "TARGET seeds
// FOLDER" writes that corpus.
#ifndef TESTS_FUZZ_FUZZ_H
#define TESTS_FUZZ_FUZZ_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

void fuzzOne(const uint8_t *data, size_t size);

using fuzzAdd_t = std::function<void(std::string_view input)>;
void fuzzSeeds(const fuzzAdd_t &add);

extern const bool fuzzIsTimed; // under libFuzzer: only there a check may go by the time that something takes

[[noreturn]] void fuzzFail(const char *file, int line, const char *what, const std::string &seen);

#define FUZZ_CHECK(condition, seen)                                                                                    \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            fuzzFail(__FILE__, __LINE__, #condition, seen);                                                            \
    } while (0)

using fuzzBuffer_t = std::vector<uint8_t>;

// The input, read from its front; behind its end everything is 0.
struct fuzzBytes_t {
    const uint8_t *at = nullptr;
    size_t left = 0;
    uint8_t byte();
    uint16_t half();
    fuzzBuffer_t take(size_t most);
    fuzzBytes_t part(size_t most); // to be read by itself
    void over(fuzzBuffer_t &bytes, size_t from, size_t most);
};

template <typename Record>
fuzzBuffer_t fuzzBytesOf(const Record &record)
{
    const auto from = reinterpret_cast<const uint8_t *>(&record);
    return {from, from + sizeof record};
}

// The parts of a text between '|'.
std::vector<std::string> fuzzParts(std::string_view text);
std::string fuzzHalf(size_t value); // as half() reads it
std::string fuzzText(const fuzzBuffer_t &bytes);
uint32_t fuzzWord(const fuzzBuffer_t &bytes, size_t at); // big-endian

// A run directory of the process's own, which goes with it.
void fuzzRunDirectory();

// Sends a datagram to what `to` is bound at.
bool fuzzSendTo(int from, int to, const fuzzBuffer_t &datagram);

// Whether a terminal shows the text and obeys nothing in it but ends of lines and tabs.
bool fuzzIsShown(std::string_view text);

#endif
