// SPDX-License-Identifier: Apache-2.0
// What another process sends of its store, a dump or (FUZZ_DELTA) what changed, in its own records or (FUZZ_LAYOUT) in
// those that it describes: a dump that is taken is consistent, the agent answers from it whatever it holds, and from
// the next good one it serves.
#include <cstring>
#include <map>

#include "host/consistency.h"
#include "host/delta.h"
#include "host/delta_records.h"
#include "host/layout.h"
#include "host/store.h"
#include "host/translate.h"
#include "tests/fuzz/agent.h"

namespace {

#ifdef FUZZ_DELTA
constexpr bool DUMP = false;
#else
constexpr bool DUMP = true;
#endif

// The input's words as they are, or with a commit mark behind them that is right.
std::vector<uint32_t> wordsOf(fuzzBytes_t in)
{
    const bool sealed = in.byte() % 2;
    delta_t delta = {};
    delta.words.resize(in.left / sizeof(uint32_t));
    if (!delta.words.empty())
        memcpy(delta.words.data(), in.at, delta.words.size() * sizeof(uint32_t));
    size_t at = 0;
    for (size_t length = 1; sealed && length > 0 && at<delta.words.size(); at += length, delta.records += length> 0)
        length = deltaRecordLength(std::span<const uint32_t>(delta.words).subspan(at));
    if (sealed) {
        delta.words.resize(at);
        deltaCommit(&delta, 0);
    }
    return delta.words;
}

#ifdef FUZZ_LAYOUT
// A good dump as another build's, which describes its records as this one but for some words and, where a name is,
// bytes.
std::vector<uint32_t> translated(fuzzBytes_t in, const std::vector<uint32_t> &good)
{
    std::vector<uint32_t> words = layoutWords(), own;
    for (uint8_t edits = in.byte(); edits > 0 && in.left > 0; --edits) {
        uint32_t &word = words[in.half() % words.size()];
        const uint8_t by = in.byte(), place = in.byte();
        word = place % 4 < 2 ? word ^ uint32_t { by } << place % 32 / 8 * 8 : word + static_cast<uint32_t>(int8_t(by));
    }
    if (in.byte() % 8 == 7)
        words.resize(in.half() % words.size());
    if (translateBegin(words).empty() && translate(good, true, 0, &own).empty()) {
        std::vector<uint32_t> next;
        (void)translate(wordsOf(in), false, 0, &next);
    }
    translateEnd();
    return own;
}
#endif

bool taken(const std::vector<uint32_t> &words, bool dump)
{
    if (!deltaWrong(words, dump, 0).empty())
        return false;
    if (dump)
        deltaClear();
    FUZZ_CHECK(deltaTake(words), "");
    return true;
}

} // namespace

void fuzzOne(const uint8_t *data, size_t size)
{
    static std::map<uint8_t, std::vector<uint32_t>> firsts; // dumps of what every input meets, by its kind
    fuzzBytes_t in{data, size};
    const uint8_t kind = in.byte();
    agentBegin(kind);
    std::vector<uint32_t> &good = firsts[kind];
    if (good.empty())
        good = agentDump();
#ifdef FUZZ_LAYOUT
    const bool is_taken = taken(translated(in, good), DUMP);
#else
    const bool is_taken = taken(wordsOf(in), DUMP);
#endif
    if (is_taken && store_totals.bytes <= (64U << 20)) { // looking for what is not zero in more takes seconds
        const std::string wrong = consistencyOfStore();
        FUZZ_CHECK(wrong.empty() == deltaWrong(agentDump(), true, 0).empty() && (wrong.empty() || !DUMP), wrong);
    }
    if (is_taken && DUMP) {
        for (const uint8_t code : {QOS_CHIPUP_MSG, QOS_IFADD_MSG, QOS_COSTRUST_MSG, QOS_SCH_MSG, QOS_IFDEL_MSG})
            agentSend(AGENT_MI, agentGood(code, 0, 1));
    }
    deltaClear();
    FUZZ_CHECK(deltaTake(good), "");
    agentCheck();
}

void fuzzSeeds(const fuzzAdd_t &add)
{
#ifdef FUZZ_LAYOUT
    agentBegin(0);
    for (size_t at = 0; at < layoutWords().size(); at += 41)
        for (const char by : {1, 8, -1})
            add(std::string("\1\1", 2) + fuzzHalf(at) + by + static_cast<char>(at % 8));
#endif
    const uint32_t large[] = {DELTA_BLOCK, 0, 0, 1U << 29, 0, 0, 0, 1}; // a block of zeros
    add("\1\1");                                                        // nothing at all
    add("\1\1" + std::string(reinterpret_cast<const char *>(large), sizeof large));
    for (uint8_t type = 0; type < 4; type++) {
        agentBegin(type);
        for (const uint8_t code : {4, 9, 12, 14, 19, 31, 33, 34, 37, 73})
            agentSend(AGENT_MI, agentGood(code, 1, 1));
        std::vector<uint32_t> words = agentDump();
        words.resize(words.size() - DELTA_WORDS[DELTA_COMMIT]);
        for (size_t at = 0, number = 0; at < words.size(); number++) {
            const size_t length = DUMP ? words.size() : deltaRecordLength(std::span<const uint32_t>(words).subspan(at));
            if (number % 16 == 0)
                add(std::string{static_cast<char>(type), '\1'} +
                    std::string(reinterpret_cast<const char *>(&words[at]), length * sizeof(uint32_t)));
            at += length;
        }
    }
}
