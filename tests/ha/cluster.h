// SPDX-License-Identifier: Apache-2.0
// Several agents of one service in a run directory of their own, which elect the active one, with a driver that
// remembers nothing and a manager. An agent may be killed at any time; it must not end in another way.
#ifndef TESTS_HA_CLUSTER_H
#define TESTS_HA_CLUSTER_H

#include <optional>

#include "tests/support/chip_reply.h"

struct Request { // what the driver was asked; `seq` counts by `type` in one agent
    bool polls;  // as the monitors do, at times of their own
    uint32_t type, seq;
    Bytes body;
};

struct KillAt { // counted points at which an agent ends itself, 0 for never
    long point = 0, commit = 0;
};

class Cluster {
public:
    Cluster();
    ~Cluster();
    Cluster(const Cluster &) = delete;

    // Starts an agent: its process id.
    int start(KillAt kill_at = {}, const std::string &binary = "");
    std::function<void()> prepare;           // what an agent does ahead of its program: limits
    std::string faults = "on";               // its VELMAR_FAULTS
    bool ended(int pid, int timeout_ms = 0); // true once it was killed, and then it is forgotten
    int status(int pid);                     // waits for its end by itself, and gives what it exited with; -1 if killed
    void kill(int pid);

    std::string ctl(int pid, const std::string &command);
    // Waits for a line of the agent's in the event log with this in it, behind the last one that was found.
    bool logged(int pid, const std::string &part);
    std::string last; // that line
    std::string log() const { return slurp(run + "/trace/raslog"); }
    void lead(int pid);                           // waits until it is active and has said so to the manager
    void join(int pid);                           // waits until it holds a dump
    bool send(int pid, const Bytes &batch) const; // false if it is gone
    // The echo of the next batch; empty if the agent died without one. Other messages go to `unasked`.
    Bytes echo(int pid);
    bool dead(int pid);
    bool answered(int timeout_ms);       // there is something from an agent
    bool listen(int timeout_ms = 20000); // for one message that was not asked for; false if none comes
    Bytes exchange(int pid, const Bytes &batch);
    std::vector<Request> requests();  // those that came since the last call
    std::atomic<uint32_t> refused{0}; // seed of the commands that the driver refuses from now on, 0 for none
    void driverIs(bool there);
    void storm(int pid, const Bytes &event) { driver->send("group6." + std::to_string(pid), event); }
    // From now on the driver's answers to a request go through this; on the driver's thread.
    void tamper(std::function<std::vector<Bytes>(const Bytes &request, std::vector<Bytes> good)> with);

    const std::string run;
    std::shared_ptr<ChipState> chip = std::make_shared<ChipState>();
    std::vector<Bytes> unasked;

private:
    std::vector<Bytes> answer(const Bytes &request);
    std::optional<int> reaped(int pid, int timeout_ms); // the wait status of one that has ended
    std::map<int, int> agents;                          // pidfd by pid
    std::map<int, size_t> read;                         // of the event log
    Socket manager, client;
    std::vector<Bytes> kept; // requests to a driver that is gone
    std::unique_ptr<Driver> driver;
};

#endif
