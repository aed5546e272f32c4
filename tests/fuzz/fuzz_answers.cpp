// SPDX-License-Identifier: Apache-2.0
// Good messages, and a driver whose answers are the input: late, of another sequence or type, short, refused, or any
// bytes. Which messages is the target's: FUZZ_CODES.
#include <array>

#include "tests/fuzz/agent.h"

namespace {

constexpr auto CODES = std::to_array<uint8_t>({FUZZ_CODES});

} // namespace

void fuzzOne(const uint8_t *data, size_t size)
{
    fuzzBytes_t in{data, size};
    agentBegin(in.byte());
    fuzzBytes_t script = in.part(in.half());
    agentDriver(in);
    for (unsigned n = 0; script.left > 0 && n < 12; n++) {
        const uint8_t code = CODES[script.byte() % CODES.size()];
        const uint8_t byte = script.byte();
        agentSend(AGENT_MI, agentGood(code, byte, 1 + byte % 4));
        agentRun((byte & 1) * 60000U); // the monitors ask by themselves
    }
    agentEnd();
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    for (uint8_t code = 0; code < CODES.size(); code++)
        for (const char byte : {'\0', '\1'})
            for (uint8_t type = 0; type < 4; type++)
                for (const char how : {'\0', '\1', '\3', '\x0a'}) {
                    const char next = static_cast<char>((code + 1) % CODES.size());
                    const std::string script = {static_cast<char>(code), byte, next, byte};
                    add(agentSeed(type, script, std::string(3, '\0') + std::string(60, how)));
                }
}
