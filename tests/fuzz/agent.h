// SPDX-License-Identifier: Apache-2.0
// The agent inside a fuzzing target, on the real host but for two things: behind the driver's sockets stands a driver
// that answers from the input's bytes, and the clock moves only while the agent waits. The run directory is the
// process's own. Every input meets the same agent: empty tables, then a chip of one type with three ports.
#ifndef TESTS_FUZZ_AGENT_H
#define TESTS_FUZZ_AGENT_H

#include "agent/messages/codes.h"
#include "tests/fuzz/fuzz.h"

constexpr uint32_t FUZZ_CHIP = 0x88400000; // slot 1, chip 0
constexpr uint32_t FUZZ_PORT = 0x18408000; // the first of three

constexpr uint32_t fuzzPort(unsigned n)
{
    return FUZZ_PORT + (n << 15);
}

void agentBegin(uint8_t kind);         // the low two bits choose the chip's type, the next one traces everything
void agentDriver(fuzzBytes_t answers); // what the driver answers from; when it is used up it answers well
void agentRun(unsigned ms);            // works on what waits, and what becomes due

// What came for the managers, notices of the agent included; takes it.
std::vector<fuzzBuffer_t> agentHeard();
enum agentSocket_t { AGENT_MI, AGENT_STATS, AGENT_EVENTS, AGENT_COMMANDS };
void agentSendRaw(agentSocket_t to, const fuzzBuffer_t &datagram); // as it is, and works on it
std::vector<fuzzBuffer_t> agentRequests();                         // to the driver, since the last call
// A batch of a manager, which must come back with the length it has if its frames are whole.
void agentSend(agentSocket_t to, const fuzzBuffer_t &batch);
fuzzBuffer_t agentFrame(uint16_t type, uint32_t kind, const fuzzBuffer_t &record); // a datagram of the driver
fuzzBuffer_t agentFrom(const fuzzBuffer_t &payload);                               // a datagram of a manager
fuzzBuffer_t agentMessage(uint8_t code, const fuzzBuffer_t &body);
fuzzBuffer_t agentMessageFrom(fuzzBytes_t &in); // code and body from the input, the body as long as the code has it
// A message with the byte all over, for the port and chip of every input.
fuzzBuffer_t agentGood(unsigned code, uint8_t byte, size_t records);

void agentRemovePorts();
// Asks with a driver that answers well: a port goes and comes, is configured, and all that the store holds is
// consistent.
void agentCheck();
// The same; then every port and chip is removed, and the memory is as it was before the first.
void agentEnd();
std::vector<uint32_t> agentDump(); // of the store, with its commit mark

// A seed: what agentBegin takes, what a target reads ahead of the driver's bytes, with its length, and those.
std::string agentSeed(uint8_t kind, const std::string &script, const std::string &answers);

#endif
