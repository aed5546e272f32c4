// SPDX-License-Identifier: Apache-2.0
// Batches of a manager, with the handlers behind them and a driver that answers from the same bytes: messages of their
// codes' lengths, bytes as they come, and time in which the monitors poll.
#include "tests/fuzz/agent.h"

namespace {

enum step_t : uint8_t { MESSAGE, BATCH, STATISTICS, TIME, STEPS };
constexpr unsigned STEPS_MOST = 24;

} // namespace

void fuzzOne(const uint8_t *data, size_t size)
{
    fuzzBytes_t in{data, size};
    agentBegin(in.byte());
    fuzzBytes_t script = in.part(in.half());
    agentDriver(in);
    for (unsigned n = 0; script.left > 0 && n < STEPS_MOST; n++)
        switch (script.byte() % STEPS) {
        case TIME:
            agentRun(script.byte() * 1000U);
            break;
        case BATCH:
            agentSend(AGENT_MI, script.take(script.half()));
            break;
        case STATISTICS:
            agentSend(AGENT_STATS, agentMessageFrom(script));
            break;
        default:
            agentSend(AGENT_MI, agentMessageFrom(script));
        }
    agentEnd();
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    for (unsigned code = 0; code < QOS_MSG_CODES; code++)
        for (const uint8_t byte : {0, 1, 0xff}) {
            const std::string message = fuzzText(agentGood(code, byte, 2));
            const std::string step = {MESSAGE, static_cast<char>(code), 2};
            for (uint8_t type = 0; type < 4; type++)
                add(agentSeed(type, step + message.substr(5) + std::string{TIME, 70}, ""));
            add(agentSeed(5, char{BATCH} + fuzzHalf(2 * message.size()) + message + message, ""));
        }
}
