// SPDX-License-Identifier: Apache-2.0
// What a process offers to its control socket: commands that run on the main thread, by its message queue.
#ifndef VELMAR_CTL_H
#define VELMAR_CTL_H

#include <cstddef>
#include <cstdint>

// Where a printing function writes: `out(arg, format, ...)`.
using ctl_print_t __attribute__((format(printf, 2, 3))) = int (*)(void *arg, const char *format, ...);

// How far a printing function has come: zeros at the start, the rest is its own. Tables change between its parts, so it
// holds keys and no pointers.
struct ctl_cursor_t {
    uint64_t words[6];
};

struct ctl_cli_t {
    const char *text; // the command's words, one blank between them
    // Prints the next part, well under a millisecond's work: whether there is another.
    bool (*show)(ctl_print_t out, void *arg, ctl_cursor_t *cursor);
};

// One message of a batch, for the log of batches.
struct ctl_message_t {
    uint32_t length; // with its header
    uint32_t port;   // interface or chip index, 0 without one
    int32_t status;
    bool has_status;
    uint8_t code, seq, ack;
    bool reads; // changes nothing
};

// How the log reads what passes. Called on the main thread for every batch and request.
struct ctl_log_t {
    bool (*message)(const unsigned char *batch, size_t left, ctl_message_t *message); // false: no message is left
    uint32_t (*command)(const unsigned char *frame, size_t length);                   // of a request, 0 if it has none
    // The number with which the driver's answer refuses that command, 0 if it does not.
    uint32_t (*refusal)(const unsigned char *frame, size_t length, uint32_t command);
};

struct ctl_ops_t {
    int (*stage_index)();           // the stage as an index, for "stat"
    int (*trace_level)(int level);  // 0, or not for a level that does not exist
    const ctl_cli_t *cli;           // printing functions, ended by a row of nulls
    const ctl_log_t *log = nullptr; // null: no batches are logged
};

// Called once, before KOR_ASPMainLoop. The record is kept by address.
void ctl_offer(const ctl_ops_t *ops);

#endif
