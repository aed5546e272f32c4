// SPDX-License-Identifier: Apache-2.0
// The driver's end of the two sockets: takes requests at RUN/qos/driver and commands at RUN/ctl/hsld.PID, answers each
// to its sender's path, and sends events to every RUN/qos/group6.*. One thread, one poll loop; answers that wait, or
// that a full receiver did not take, stand in an outbox with the time they are due. Relies on the run directory of the
// host library.
#ifndef HSL_SERVER_H
#define HSL_SERVER_H

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <string>
#include <vector>

#include "hsl/faults.h"
#include "hsl/model.h"

constexpr uint32_t DRV_UNKNOWN = 95; // error of a command that does not exist

constexpr size_t HSL_MAX_OUTBOX = 4096; // datagrams that wait; further ones are lost, with a warning

// A datagram that waits to be sent.
struct hslSend_t {
    uint64_t due; // ms on the server's clock
    uint64_t give_up;
    std::string path;
    hslBuffer bytes;
    bool held; // until the next request arrives
    bool event;
    bool stuck = false;    // its receiver was full: what is behind it for that receiver waits too
    uint64_t next_try = 0; // of a stuck one, ms of the machine's time
};

// One request as it is remembered.
struct hslLog_t {
    uint64_t at; // ms on the server's clock
    uint32_t target, port, seq, status;
    const hslCommand_t *row; // null: unknown
    bool nested;
    hslBuffer record;
    std::string outcome; // "ok", "status 22 (...)", "error 95", and the faults that met it
};

struct hslServer_t {
    int driver = -1, control = -1;
    hslModel_t model;
    hslFaults_t faults;
    std::vector<hslSend_t> outbox; // in the order of their making
    std::deque<hslLog_t> log;
    uint64_t requests = 0, events = 0, errors = 0;
    uint64_t clock_offset = 0; // ms that "clock step" has added
    uint64_t started = 0;
    uint64_t busy_until = 0;    // a delayed answer holds back those behind it
    uint64_t stalled_until = 0; // requests stay unread before it
    uint32_t event_seq = 0;
    bool quit = false;
    FILE *verbose = nullptr; // requests in words go there
};

// Opens both sockets. Empty, or one line that says what is wrong and what to do.
std::string hslOpen(hslServer_t &server);
void hslClose(hslServer_t &server);

// Waits at most `timeout_ms` (-1: without limit) with the signals of `mask` let in, and serves what has come and what
// is due.
void hslStep(hslServer_t &server, int timeout_ms, const sigset_t *mask = nullptr);

uint64_t hslNow(const hslServer_t &server); // ms since the start, with the steps of its clock

// Sends a frame of `type` with the body as a driver event, or a datagram as it is, to every listener: how many.
unsigned hslSendEvent(hslServer_t &server, uint16_t type, uint32_t target, hslBytes body);
unsigned hslSendRaw(hslServer_t &server, hslBytes datagram);

// One request, as read from the socket of `path`.
void hslServe(hslServer_t &server, hslBytes datagram, const std::string &path);
// What is said in the place of an answer of that many bytes and more, which is not made then; empty for one that may
// fit a datagram.
std::string hslTooLong(const hslServer_t &server, size_t bytes);
// One control command: its answer.
std::string hslControl(hslServer_t &server, const std::string &command);

std::string hslLogText(const hslLog_t &entry);

#endif
