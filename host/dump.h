// SPDX-License-Identifier: Apache-2.0
// Inside the host library: the store as it is at one sync, told in slices between which it goes on.
//
// A page that is about to be told and is written in the meantime is told as it was: its twin is put aside first. So the
// dump is to the byte what deltaWhole gives at that sync, and what has changed since is in the deltas that follow.
#ifndef HOST_DUMP_H
#define HOST_DUMP_H

#include <cstdint>

#include "host/packet.h"

// Begins a dump of the store as it is, which the last trackSettle has seen. One at a time. False if there is no memory.
bool dumpBegin(uint64_t sequence);
bool dumpRuns();
// Between what changed being found and trackSettle: puts aside what the written pages held.
void dumpKeep();
enum class dump_state_t { MORE, DONE, FAILED };
dump_state_t dumpMore(); // a slice
payload_t dumpPayload(); // once it is done, until dumpEnd
void dumpEnd();

#endif
