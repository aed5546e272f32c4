// SPDX-License-Identifier: Apache-2.0
// The state synchronisation service as the process calls it: registration, the store's operations and updates.
#include "velmar/ha.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/uio.h>

#include "host/complain.h"
#include "host/ctl.h"
#include "host/describe.h"
#include "host/election.h"
#include "host/replica.h"
#include "host/store.h"
#include "host/track.h"

namespace {

constexpr ha_hndl_t STORE_HANDLE = 1;
constexpr ha_hndl_t VSS_HANDLE = 2;
constexpr int BAD_HANDLE = -1;

int mode; // as ha_configure set it
int last_transaction;
int (*snapshot_handler)(void *cli);

} // namespace

int ha_register(const ha_register_t *record, const char *, ha_hndl_t *ha, MSG_Q_ID)
{
    char atom[sizeof record->atom + 1] = {};
    memcpy(atom, record->atom, sizeof record->atom);
    if (!*atom || strchr(atom, '/')) {
        complain("'%s' is no atom name: it is empty or holds a '/'", atom);
        return -1;
    }
    if (!storeOpen()) {
        complain("cannot reserve address space for the replicated store: %s", strerror(errno));
        return -1;
    }
    if (!electionJoin(record, STORE_HANDLE) || ctlOpen(atom) != 0)
        return -1;
    *ha = STORE_HANDLE;
    return 0;
}

int ha_configure(ha_hndl_t ha, int wanted)
{
    if (ha != STORE_HANDLE || (wanted != HA_MODE_STANDBY && wanted != HA_MODE_ACTIVE))
        return BAD_HANDLE;
    mode = wanted;
    return 0;
}

int ha_get_state(ha_hndl_t ha)
{
    return ha == STORE_HANDLE ? mode : 0;
}

ha_hndl_t ha_get_vssh(ha_hndl_t ha)
{
    return ha == STORE_HANDLE ? VSS_HANDLE : 0;
}

// Runs after every event and message: with nobody to send to it is little more than a count.
int ha_sync(ha_hndl_t ha, int, int)
{
    if (ha != STORE_HANDLE)
        return BAD_HANDLE;
    store_totals.syncs.store(store_totals.syncs.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    return static_cast<int>(std::min<int64_t>(replicaSync(), INT32_MAX));
}

void *ha_calloc(ha_hndl_t ha, size_t size, const char *type, int group, int tag)
{
    const int64_t index = ha == STORE_HANDLE && type ? describeType(type) : -1;
    return index < 0 ? nullptr : storeTake(size, static_cast<uint32_t>(index), group, tag);
}

void *ha_xcalloc(ha_hndl_t ha, size_t size, const char *type, int group, int tag, const char *)
{
    return ha_calloc(ha, size, type, group, tag);
}

int ha_free(ha_hndl_t ha, void *address)
{
    return ha == STORE_HANDLE && storeGive(address) ? 0 : -1;
}

int ha_free_all(ha_hndl_t ha)
{
    if (ha != STORE_HANDLE)
        return BAD_HANDLE;
    storeClear();
    return 0;
}

void *ha_edit(ha_hndl_t ha, void *address, size_t size)
{
    return ha == STORE_HANDLE ? trackEdit(address, size) : address;
}

void *ha_convert_address(ha_hndl_t ha, void *address)
{
    return ha == STORE_HANDLE && storeHolds(address) ? address : nullptr;
}

int ha_add_struct(ha_hndl_t ha, const char *name, size_t size, uint32_t num_fields, const ha_field_t *fields)
{
    return ha == STORE_HANDLE ? describeStruct(name, size, num_fields, fields) : BAD_HANDLE;
}

int ha_add_details(ha_hndl_t ha, const char *name, uint32_t version, uint32_t num_fields, const ha_detail_t *details)
{
    return ha == STORE_HANDLE ? describeDetails(name, version, num_fields, details) : BAD_HANDLE;
}

int ha_add_links(ha_hndl_t ha, uint32_t num_links, const ha_link_t *links)
{
    if (ha != STORE_HANDLE)
        return BAD_HANDLE;
    describeLinks({links, num_links});
    return 0;
}

int ha_add_object(ha_hndl_t ha, const char *name, void *address, size_t size, const char *type, int, int)
{
    return ha == STORE_HANDLE ? describeObject(name, address, size, type) : BAD_HANDLE;
}

int ha_add_function(ha_hndl_t ha, const char *name, void (*function)())
{
    return ha == STORE_HANDLE ? describeFunction(name, function) : BAD_HANDLE;
}

int ha_get_intent(ha_hndl_t ha, void *, uint32_t)
{
    return ha == STORE_HANDLE ? 0 : BAD_HANDLE;
}

int ha_send_msg(ha_hndl_t ha, const void *message, uint32_t length)
{
    if (ha != STORE_HANDLE || (length > 0 && !message))
        return BAD_HANDLE;
    const iovec vector = {const_cast<void *>(message), length};
    replicaSend(REPLICA_MESSAGE, 0, &vector, 1);
    return 0;
}

// Standbys take an update in the order of the stream, so there is nothing left to wait for once it is sent.
int vssd_send_update(ha_hndl_t vss, const vss_send_update_t *request)
{
    if (vss != VSS_HANDLE || !request)
        return BAD_HANDLE;
    replicaSend(REPLICA_UPDATE, request->type, request->vectors, request->num_vectors);
    last_transaction = last_transaction == INT32_MAX ? 1 : last_transaction + 1;
    return last_transaction;
}

int vssd_wait_update(ha_hndl_t vss, int transaction)
{
    return vss == VSS_HANDLE && transaction > 0 ? 0 : BAD_HANDLE;
}

int tha_dbg_lib_init(ha_hndl_t *ha, int, const char *, int)
{
    return ha && *ha == STORE_HANDLE ? 0 : BAD_HANDLE;
}

void tha_set_snapshot_cli_handler(int (*handler)(void *cli))
{
    snapshot_handler = handler;
}

int tha_snapshot_cli_handler_cb(void *)
{
    return 0;
}
