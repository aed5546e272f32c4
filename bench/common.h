// SPDX-License-Identifier: Apache-2.0
// What the measuring programs share: failing with a line, pinning, datagram sockets, the manager's messages, and a node
// of processes in a run directory of its own.
#ifndef BENCH_COMMON_H
#define BENCH_COMMON_H

#include <cstdint>
#include <cstring>
#include <string>
#include <sys/types.h>
#include <sys/un.h>
#include <vector>

#include "agent/messages/congestion.h"
#include "agent/messages/drop_monitor.h"
#include "agent/messages/fields.h"
#include "agent/messages/header.h"
#include "agent/messages/policer.h"
#include "agent/messages/statistics.h"

using Bytes = std::vector<unsigned char>;

// Programs end with one line on standard error: `program`_main catches what these throw.
[[noreturn]] void fail(const std::string &what);
int check(int result, const std::string &what); // fails with errno's text for a negative result
int numberOf(const char *option, const char *text, int least);

// For this process and what it starts: one core (below 0 the last that is allowed; the one taken is stored), and
// SCHED_BATCH.
void pin(int *core);
std::string coresUsed(); // the cores that this process may use, such as "core 1" or "cores 0 1"
int64_t nowNs();
double median(std::vector<double> values);
double usualMean(std::vector<double> values);                  // without the highest twentieth: who was interrupted
double percentile(std::vector<double> values, double percent); // nearest rank

sockaddr_un addressOf(const std::string &path);
int openSocket(const std::string &bound, const std::string &peer); // a datagram socket; either may be empty

template <typename Record>
void append(Bytes &bytes, const Record &record)
{
    bytes.resize(bytes.size() + sizeof record);
    memcpy(bytes.data() + bytes.size() - sizeof record, &record, sizeof record);
}

template <typename Body>
void appendMessage(Bytes &batch, uint8_t code, const Body &body)
{
    qosMsgHdr_t header = {};
    header.msg_type = code;
    header.msg_len = static_cast<uint16_t>(sizeof body);
    append(batch, header);
    append(batch, body);
}

constexpr uint32_t BENCH_CHIP = 34U << 26 | 1U << 22;
constexpr int BENCH_PORTS = 12; // of the chip, te1/1 and on
uint32_t portIndex(int port);
Bytes batchHead();    // the manager's address, ahead of the messages of a batch
Bytes setupBatch();   // the chip and its ports
Bytes trustMessage(); // QOS_COSTRUST_MSG to te1/3

// Run directory and processes; all of them end with it.
struct node_t {
    std::string run;
    std::vector<pid_t> children;
    pid_t agent = 0;
    int receiving = -1; // the manager's socket, once openManager made it
    int sending = -1;

    node_t() = default;
    node_t(const node_t &) = delete;
    node_t &operator=(const node_t &) = delete;
    ~node_t();
};
void makeRun(node_t &node);
void openManager(node_t &node);
std::string pidPath(const node_t &node, const char *name, pid_t pid);
pid_t forkChild(node_t &node); // 0 in the child, which does not outlive this process
pid_t startProgram(node_t &node, const std::vector<std::string> &command);
void endChild(node_t &node, pid_t child); // SIGKILL, and waits for it

size_t receiveAnswer(const node_t &node, Bytes &buffer); // one datagram of the agent's: its bytes
void checkEcho(const Bytes &answer, size_t length); // every message acknowledged, with status 0 in its last four bytes
std::string control(const node_t &node, pid_t pid, const std::string &command); // the answer on the control socket

#endif
