// Inside the host library: the store's replication between the active process and its standbys, at
// RUN/ha/SERVICE.INSTANCE.sock. Main thread only, except where it says otherwise.
#ifndef HOST_REPLICA_H
#define HOST_REPLICA_H

#include <cstdint>
#include <sys/uio.h>

#include "velmar/ha.h"

// Names and callbacks of this process; nothing happens yet.
void replicaJoin(const ha_register_t *record, ha_hndl_t ha);

// From the main loop on: looks for the active process, and asks it for a dump.
void replicaStart();

// This process holds the lock: reads what the dead predecessor still had on the way. True if the store is then a
// complete copy of the predecessor's.
bool replicaCatchUp();
// Leaves the standby's role: no active process is looked for any more.
void replicaLead();
// Opens the socket for standbys.
void replicaListen();

// Hands the standbys what has changed, and a dump to those that have just joined: bytes sent, negative on failure.
int64_t replicaSync();
// The same ahead of a datagram that tells others of it.
void replicaCommit();

// An update or a message for the standbys' callbacks: the number of standbys that it went to.
enum replica_message_t : uint16_t { REPLICA_UPDATE = 4, REPLICA_MESSAGE = 5 };
unsigned replicaSend(replica_message_t kind, uint32_t type, const iovec *vectors, unsigned count);

unsigned replicaStandbys(); // those that were given a dump; any thread

#endif
