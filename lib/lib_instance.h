// SPDX-License-Identifier: Apache-2.0
// The library instance: one a process, made at start. It carries the scheduler and, in the manager role, the command
// tree and the interface table.
#ifndef LIB_LIB_INSTANCE_H
#define LIB_LIB_INSTANCE_H

#include <cstdint>
#include <pthread.h>

#include "lib/cli.h"
#include "lib/ifg.h"
#include "lib/thread.h"
#include "velmar/ha.h"

constexpr uint32_t LIB_PROTO_DORVMD = 47;
constexpr uint32_t LIB_PROTO_DORVALD = 48;

struct lib_instance_t {
    thread_master *master;
    uint32_t protocol;
    ha_hndl_t vss_handle;  // the store's VSS handle
    pthread_mutex_t *lock; // guards the scheduler; null where one thread owns it
    int32_t client_fd;     // socket of the management client, -1 without one: its reads run at low priority
    int32_t second_fd;     // another descriptor of that class, or -1
    char name[32];
    cli_tree_t *ctree; // null before host_vty_init
    ifg_t ifg;
};

// A new instance, without a scheduler; null for want of memory.
lib_instance_t *lib_create(const char *name);
// Makes ready what the instance needs beside its scheduler: 0, or not, also without a scheduler.
[[nodiscard]] int lib_start(lib_instance_t *lib);
// Gives back the instance with all that it holds, the scheduler included.
void lib_stop(lib_instance_t *lib);

// Gives the instance a mutex, for a process in which several threads use the scheduler. 0, or -1.
[[nodiscard]] int lib_init_kor_thread_lock(lib_instance_t *lib);

#endif
