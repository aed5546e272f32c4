// SPDX-License-Identifier: Apache-2.0
// The management library's share of state synchronisation and of its network services client. On a host without that
// library they do nothing and give 0.
#ifndef VELMAR_LIB_THA_H
#define VELMAR_LIB_THA_H

#include <cstdint>

#include "velmar/ha.h"

int lib_tha_init2(void *lib, const char *progname, ha_hndl_t ha);
int lib_reinit(void *lib);
int lib_ha_mode(void *lib);
int lib_tha_recv_dump_done(void *lib, ha_hndl_t handle, uint32_t version, uint32_t sequence);
int lib_tha_send_dump_done(void *lib, ha_hndl_t handle, uint32_t version, uint32_t transaction);
int lib_tha_cb_sync_notify(void *lib, ha_hndl_t handle, uint32_t flags, uint32_t tag);
int nsm_lib_tha_send_dump(void *lib, ha_hndl_t handle, uint32_t version, uint32_t transaction);
int nsm_lib_tha_recv_msg(void *lib, ha_hndl_t handle, const void *message, uint32_t length);

#endif
