// SPDX-License-Identifier: Apache-2.0
// What a process offers to its control socket: commands that run on the main thread, by its message queue.
#ifndef VELMAR_CTL_H
#define VELMAR_CTL_H

// Where a printing function writes: `out(arg, format, ...)`.
using ctl_print_t __attribute__((format(printf, 2, 3))) = int (*)(void *arg, const char *format, ...);

struct ctl_cli_t {
    const char *text; // the command's words, one blank between them
    int (*show)(ctl_print_t out, void *arg);
};

struct ctl_ops_t {
    int (*stage_index)();          // the stage as an index, for "stat"
    int (*trace_level)(int level); // 0, or not for a level that does not exist
    const ctl_cli_t *cli;          // printing functions, ended by a row of nulls
};

// Called once, before KOR_ASPMainLoop. The record is kept by address.
void ctl_offer(const ctl_ops_t *ops);

#endif
