// SPDX-License-Identifier: Apache-2.0
// Inside the replication: what the active's and the standby's side share, and what each offers to replica.cpp. All of
// it on the main thread.
#ifndef HOST_REPLICA_SIDES_H
#define HOST_REPLICA_SIDES_H

#include <cstdint>
#include <string>
#include <sys/un.h>

#include "velmar/ha.h"

constexpr uint32_t REPLICA_VERSION = 1; // of the dump, as the process's callbacks are told
constexpr long REPLICA_CALM_MS = 1000;  // after a failure

struct replica_t {
    const ha_ops_t *ops;
    ha_hndl_t handle;
    std::string file;  // of the socket
    uint64_t sequence; // of the last delta that was sent or taken
};
extern replica_t replica;

bool replicaRuns();                                  // there is a thread that waits for connections
bool replicaWatch(int fd);                           // from here on its readiness comes to one of the sides
bool replicaUnwatch(int fd);                         // until the next replicaWatch
void replicaSetTimer(long ms, bool at_once = false); // first after `ms` or at once, then each `ms`; 0 stops it
bool replicaCallAgain();                             // for activeCopyOn; false if no message can be posted
bool replicaAddress(sockaddr_un *address);           // of the socket
// A line of the event log that would be said at every try: once for each cause, until replicaSaidEnough.
void replicaSayOnce(const std::string &line);
void replicaSaidEnough(); // what was wrong is over
// A text of the other side as it may be shown: cut, and without anything that a terminal or JSON takes for more.
std::string replicaPlain(const void *text, size_t length);

// ---- The active's side

// Begins to lead, with a complete copy of the predecessor's store or without.
void activeBegin(bool complete, bool was_free);
void activeOnTimer();
void activeCopyOn();  // the next slice of a dump
bool activeHasName(); // the socket's name is its own, or there is none yet; any thread
void activeNameAnew();
void activeOnReady(int fd); // the listener or a standby's connection

// ---- The standby's side

// What the store holds.
enum class content_t {
    AT_START, // what the process began with
    COPY,     // a complete copy, followed up to `sequence`
    OUTDATED, // of another process, but no copy any more
};
content_t standbyContent();
uint32_t standbyCopy(); // number of the dump that the copy began with, 0 if it is none
// Updates are checked one by one: whether what they came to can be worked with. If not it is no copy any more.
bool standbyCopyHolds();

void standbyBegin(); // to look for an active process
void standbyOnTimer();
bool standbyOnReady(int fd);      // false if it is not the connection to the active process
void standbyReadAll();            // takes what has come from the active process
void standbyEnd(bool keeps_copy); // no connection from here on, and no look for one
void standbyBackToStart();        // the store as the process began with it

#endif
