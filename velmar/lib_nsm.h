// SPDX-License-Identifier: Apache-2.0
// The management library's clients that the manager role's interface commands tell of a deleted interface. On a host
// without that library they do nothing and give 0.
#ifndef VELMAR_LIB_NSM_H
#define VELMAR_LIB_NSM_H

#include <cstdint>

// The command client forgets the interface.
int imi_client_clear_index(void *lib, uint32_t ifindex);
// The network services manager is told that it is gone.
int nsm_lib_send_ifg_delete(void *lib, uint32_t ifindex);

#endif
