// SPDX-License-Identifier: Apache-2.0
// Inside the host library: dumps and deltas of a process of another build, said anew as this build would say them. Main
// thread only; one such process at a time.
#ifndef HOST_TRANSLATE_H
#define HOST_TRANSLATE_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

// From here on what comes is translated by the other process's description. Empty, or why its records cannot be taken,
// and then nothing is translated.
std::string translateBegin(std::span<const uint32_t> description);
void translateEnd();
bool translateRuns();
const std::string &translateVersion(); // of the other build

// A dump, or a delta behind all that came since the last dump, in words of this build, with a commit mark of its own.
// Empty, or what is wrong with it; whether the words fit this process's store deltaWrong must still say.
std::string translate(std::span<const uint32_t> words, bool dump, uint64_t sequence, std::vector<uint32_t> *own);

#endif
