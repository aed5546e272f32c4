// SPDX-License-Identifier: Apache-2.0
// The platform's process framework, its I/O and timer engine, and the facts about this node.
#ifndef VELMAR_PROCESS_H
#define VELMAR_PROCESS_H

#include <cstdint>

#include "velmar/msgq.h"

// The process environment record: twelve words of which programs read three.
struct expm_t {
    uint32_t reserved_0[2];
    uint32_t slot;     // slot number of this card; its low 16 bits count
    uint32_t instance; // switch instance
    uint32_t reserved_4[5];
    uint32_t slot_base; // not 0: slot numbers of this system start at 1
    uint32_t reserved_10[2];
};
extern expm_t __expm;

int sysconModel();       // the switch model number
void setMySwitch(int n); // which logical switch this process serves

// Default signal handling; `progname` stands in front of what it reports.
void velmar_sigdefaults(const char *progname);

// Joins the framework: 0, or not. `on_exit` runs when the platform ends the process, also from a thread of its own.
int ASPInit(const char *progname, uint32_t instance, int a, int b, int (*on_exit)());
void ASPExit();

// From here on the platform may post into `queue`.
void KOR_ASPMainLoop(int flags, MSG_Q_ID queue);

// The generic I/O and timer engine (GIOT) and its subsystems (IOSS). Creating calls give a negative number on failure.
struct giot_t;
struct ioss_t;

int giot_create(giot_t **giot);
int giot_register(giot_t *giot, ioss_t *ioss);
void giot_free(giot_t **giot);
void giot_wakeup(giot_t *giot); // makes the engine's loop look at its subsystems again
void *giot_run(void *giot);     // the loop, run by a worker thread

int timer_ioss_create(ioss_t **ioss, void (*wakeup)(giot_t *), giot_t *giot);
uint32_t ipc_max_msg_size(int flags);
int ipc_ioss_create(ioss_t **ioss, const char *tag, int flags, uint32_t max_msg_size, int kind);
void ipc_ioss_free(ioss_t **ioss);

// Starts a worker thread: negative on failure.
int wt_exec(void *(*entry)(void *), void *arg);

// An engine driven from a scheduler's own loop in place of a worker thread.
struct gioti_t {
    giot_t *giot;
    int (*add_call)(void *zg, void (*func)(void *), void *arg, int value);
    void *zg;
};
int gioti_start(gioti_t *gioti);
// Adds what the engine waits for behind `count` entries of a table of `room`; gives the new count. A time that it wants
// to be called back in is stored in *wait_ms, which holds -1 before.
unsigned gioti_pre_select(gioti_t *gioti, struct pollfd *fds, unsigned count, unsigned room, int *wait_ms);
void gioti_post_select(gioti_t *gioti, const struct pollfd *fds, unsigned count);

#endif
