// SPDX-License-Identifier: Apache-2.0
// The manager's end of MI6: sends batches to the agent of one slot and reads what agents send to managers.
//
// Every manager socket gets every datagram of every agent, so an answer is looked for among those of others. Relies on
// velmar/mi6.h and velmar/socket.h.
#ifndef TOOLS_LINK_H
#define TOOLS_LINK_H

#include <chrono>
#include <string>
#include <vector>

#include "tools/batch.h"
#include "velmar/mi6.h"

using ctlClock = std::chrono::steady_clock;

// So many seconds from now.
ctlClock::time_point ctlDeadline(double seconds);

// The seconds until then, 0 if it is past.
double ctlLeft(ctlClock::time_point deadline);

// The node's run directory; throws with CTL_SILENT if it is of no use. No directory is made, but with `fresh` one that
// no node has run in yet is taken. Who runs as root becomes its owner here.
std::string ctlRunDir(bool fresh = false);

// Why there is none; empty where there is one.
std::string ctlNoRunDir(bool fresh = false);

struct ctlLink_t {
    int fd;
    std::string service; // "qosMI" or "qosMIStats"
};

// Opens a manager's socket; throws with CTL_SILENT if that fails.
ctlLink_t ctlOpenLink(const std::string &service, bool fresh = false);
void ctlCloseLink(ctlLink_t &link);

// One datagram from an agent, a notice of the transport about a destination, or neither when the deadline is past or
// a signal came.
struct ctlReceived_t {
    enum { Datagram, Notice, Nothing } kind;
    mi6_addr_t from; // the sender, or the destination that the notice is about
    uint32_t notice; // MI6_THRESHOLD_HIGH and so on
    ctlBytes bytes;
};
ctlReceived_t ctlReceive(const ctlLink_t &link, ctlClock::time_point deadline);

// The slot that a datagram came from, 1 and up; 0 if its sender is no line card.
unsigned ctlSlotOf(const mi6_addr_t &from);

// Sends a batch to the agent of a slot and waits for its echo. `fault` says why there is none.
struct ctlEcho_t {
    std::vector<ctlMessage_t> messages;
    std::string fault;
};
ctlEcho_t ctlExchange(const ctlLink_t &link, unsigned slot, const std::vector<ctlMessage_t> &batch, double seconds);

// Makes SIGINT and SIGTERM end a wait instead of the process, so that socket files are tidied away.
void ctlCatchSignals();
bool ctlInterrupted();

#endif
