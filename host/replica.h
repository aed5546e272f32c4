// SPDX-License-Identifier: Apache-2.0
// Inside the host library: the store's replication between the active process and its standbys, at
// RUN/ha/SERVICE.INSTANCE.sock. Main thread only, except where it says otherwise.
#ifndef HOST_REPLICA_H
#define HOST_REPLICA_H

#include <cstdint>
#include <string>
#include <sys/uio.h>

#include "velmar/ha.h"

// Names and callbacks of this process; nothing happens yet.
void replicaJoin(const ha_register_t *record, ha_hndl_t ha);

// From the main loop on: looks for the active process, and asks it for a dump.
void replicaStart();

// The store is a copy that some active process began and that was followed since; any thread.
bool replicaHoldsCopy();
bool replicaIsConnected(); // to an active process, which may have died just now; any thread
// This process holds the lock: reads what the dead predecessor still had on the way. True if the store is then a
// complete copy of the predecessor's.
bool replicaCatchUp();
// The standby's part is over and the active one's begins, with the copy, or with a store and objects as at the
// process's start. What waits at the MI6 sockets stays only if nobody can have worked on it: `was_free`. Standbys can
// join from here on.
void replicaLead(bool complete, bool was_free);
// Looks whether the name of the active one's socket is still its own, and has it made anew; any thread.
void replicaKeepName();

// Hands the standbys what has changed, and a dump to those that have just joined: bytes sent, negative on failure.
int64_t replicaSync();
// The same ahead of a datagram that tells others of it.
void replicaCommit();

// An update or a message for the standbys' callbacks: the number of standbys that it went to.
enum replica_message_t : uint16_t { REPLICA_UPDATE = 4, REPLICA_MESSAGE = 5 };
unsigned replicaSend(replica_message_t kind, uint32_t type, const iovec *vectors, unsigned count);

unsigned replicaStandbys(); // those that were given a dump; any thread

// What keeps a copy from being made or followed, as the event log has it; empty if nothing is known to. Any thread.
std::string replicaTrouble();
void replicaTrouble(const std::string &line, int pid = 0);
std::string replicaService(); // "SERVICE.INSTANCE", empty before replicaJoin; any thread

#endif
