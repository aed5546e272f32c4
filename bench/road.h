// SPDX-License-Identifier: Apache-2.0
// Inside the measurement of a message's road: the nodes that are measured side by side, and its two parts.
#ifndef BENCH_ROAD_H
#define BENCH_ROAD_H

#include <cstdint>
#include <string>

#include "bench/common.h"
#include "velmar/mi6.h"

struct road_options_t {
    int rounds = 15;
    int messages = 2048; // a round of one row
    int core = -1;       // the last one that is allowed
    bool json = false;
    bool standby = false; // measured is a daemon that has one beside one that has none
    std::string workload = "trust";
    std::string daemon = DORVALD_BINARY;
};

// A request by its bytes, and those of the record that it asks for.
struct road_request_t {
    uint16_t size;
    uint16_t answer;
};

// The requests that a message of each code takes. Bare agents send them, whoever filled it in.
struct road_plan_t {
    uint32_t count;
    road_request_t request[32];
};

// What a node's driver was asked.
struct road_asked_t {
    uint32_t requests;
    uint64_t bytes;
    int64_t first_ns, last_ns; // when requests came: the first since this was 0, and the last
    road_request_t last[64];   // those asked last, by number
    uint32_t kept;
    road_request_t all[1024]; // the first ones since `kept` was 0
};

// Both are shared with the processes that are started later.
road_plan_t *roadPlans();
road_asked_t *roadAsked(const node_t &node);

// What a message of the code takes is what this node's driver was asked since it had been asked that often.
void roadLearn(uint8_t code, const node_t &node, uint32_t before);

void roadStartFloor(node_t &node);
void roadStartDaemon(node_t &node, const std::string &program);
pid_t roadStartStandby(node_t &node, const std::string &program);

void roadDrop(const node_t &node, Bytes &buffer); // what has come without being asked for
void roadExchange(const node_t &node, const Bytes &batch, Bytes &answer);
inline Bytes roadAnswerRoom()
{
    return Bytes(8192 + sizeof(mi6_addr_t));
}

// Statistics answers of every kind, and a poll of watched ports, beside their requests alone.
void roadStatistics(const road_options_t &options);

// A daemon with a standby beside one without: every message changes what the store holds.
void roadMirrored(const road_options_t &options);
bool roadHasMirrored(const std::string &workload);
constexpr const char *ROAD_MIRRORED = "trust, policer, red, watch, interface, channel and chipup";

#endif
