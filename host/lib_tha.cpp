// SPDX-License-Identifier: Apache-2.0
// The management library's calls, on a host that has none.
#include "velmar/lib_tha.h"

#include "velmar/lib_nsm.h"

int lib_tha_init2(void *, const char *, ha_hndl_t)
{
    return 0;
}

int lib_reinit(void *)
{
    return 0;
}

int lib_ha_mode(void *)
{
    return 0;
}

int lib_tha_recv_dump_done(void *, ha_hndl_t, uint32_t, uint32_t)
{
    return 0;
}

int lib_tha_send_dump_done(void *, ha_hndl_t, uint32_t, uint32_t)
{
    return 0;
}

int lib_tha_cb_sync_notify(void *, ha_hndl_t, uint32_t, uint32_t)
{
    return 0;
}

int nsm_lib_tha_send_dump(void *, ha_hndl_t, uint32_t, uint32_t)
{
    return 0;
}

int nsm_lib_tha_recv_msg(void *, ha_hndl_t, const void *, uint32_t)
{
    return 0;
}

int imi_client_clear_index(void *, uint32_t)
{
    return 0;
}

int nsm_lib_send_ifg_delete(void *, uint32_t)
{
    return 0;
}
