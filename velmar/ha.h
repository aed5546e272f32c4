// SPDX-License-Identifier: Apache-2.0
// State synchronisation (VSS), its replicated store (THA) and what they call back.
#ifndef VELMAR_HA_H
#define VELMAR_HA_H

#include <cstddef>
#include <cstdint>

#include "velmar/msgq.h"

struct iovec;

// Handle of the store; below 1 it stands for no store.
using ha_hndl_t = int32_t;

// An update as it is received: vectors that belong together, and the sender's type.
struct vss_update_t {
    uint32_t num_vectors;
    const struct iovec *vectors;
    uint32_t type;
};

// An update as it is sent.
struct vss_send_update_t {
    uint32_t num_vectors;
    struct iovec *vectors;
    uint32_t type;
    uint32_t flags;
    uint32_t target;
    uint32_t reserved;
};

// What the service calls, on the main thread only.
struct ha_ops_t {
    uint32_t (*recover)(ha_hndl_t handle, uint32_t stage); // the next stage, 0 at the end
    int (*recv_update)(ha_hndl_t handle, const vss_update_t *update);
    int (*send_dump)(ha_hndl_t handle, uint32_t version, uint32_t transaction);
    int (*recv_dump)(ha_hndl_t handle, uint32_t version, uint32_t sequence);
    int (*obj_sync_notify)(ha_hndl_t handle, uint32_t flags, uint32_t tag);
    int (*recv_msg)(ha_hndl_t handle, const void *message, uint32_t length);
};

struct ha_stage_t {
    uint32_t stage;
    char name[32];
};
static_assert(sizeof(ha_stage_t) == 36);

// The registration record.
struct ha_register_t {
    char service[16];
    char instance[16];
    char atom[16];
    uint32_t segment;
    uint32_t reserved_52; // 1
    uint32_t reserved_56; // 1
    uint32_t reserved_60; // 0
    const ha_ops_t *ops;
    uint32_t num_stages;
    const ha_stage_t *stages;
    uint32_t flags;
    uint32_t reserved_80; // 1
    const uint32_t *versions;
    uint32_t trace_module;
};
static_assert(offsetof(ha_register_t, segment) == 48 && offsetof(ha_register_t, ops) == 64);
static_assert(sizeof(void *) != 4 || sizeof(ha_register_t) == 92);

// A field of a record that lives in the store: where it stands, its bytes, and how a copy treats it. The types are
// "~U08", "~U16", "~U32", "~U64", "~I32", "~Chr", "~Ptr" (relocated), "~Hdl", or the name of a record registered
// before.
struct ha_field_t {
    const char *name;
    uint32_t offset;
    uint32_t size; // bytes; the whole array for a field that repeats
    const char *type;
};

// What a row says beyond that to processes of another build, by the side of each ha_field_t.
struct ha_detail_t {
    bool big_endian;  // of an integer of more than a byte
    uint64_t initial; // of each element in a copy of a record that has no such field
};

// Where a pointer of a record leads in every good copy, for those who look at a copy before they work on it: a record,
// or a function if it has the name of one. Of a list or tree also what it holds and the functions that it goes by, null
// for none.
struct ha_link_t {
    const char *record; // null: an object that is itself a pointer
    const char *field;  // or the object's name
    const char *target;
    const char *payload;
    const char *compare;
    const char *release;
};

constexpr int HA_MODE_STANDBY = 2;
constexpr int HA_MODE_ACTIVE = 3;
constexpr int HA_EXISTS = -17;

// All of these give 0 on success and something else on failure, unless said otherwise.
int ha_register(const ha_register_t *record, const char *options, ha_hndl_t *ha, MSG_Q_ID queue);
int ha_configure(ha_hndl_t ha, int mode);
int ha_get_state(ha_hndl_t ha); // the mode, 0 before the first ha_configure
ha_hndl_t ha_get_vssh(ha_hndl_t ha);
// Hands what has changed to the standbys: the bytes sent, negative on failure. `object` -1 is everything.
int ha_sync(ha_hndl_t ha, int object, int flags);

// Zeroed memory of the store, or null. `type` is a registered record's name, `tag` tells kinds of one type apart.
void *ha_calloc(ha_hndl_t ha, size_t size, const char *type, int group, int tag);
void *ha_xcalloc(ha_hndl_t ha, size_t size, const char *type, int group, int tag, const char *name);
int ha_free(ha_hndl_t ha, void *address);
int ha_free_all(ha_hndl_t ha);
// Where to write [address, size), a part of a record, so that the store knows of it ahead: the bytes are the same, the
// address may be another. To be used at once, and not to be pointed to: a pointer to there means nothing in the store.
void *ha_edit(ha_hndl_t ha, void *address, size_t size);
void *ha_convert_address(ha_hndl_t ha, void *address); // a replicated address as it is valid here, or null

int ha_add_struct(ha_hndl_t ha, const char *name, size_t size, uint32_t num_fields, const ha_field_t *fields);
// Of a record that was added: the version of its meaning, 1 unless told, and a detail for each of its rows, kept by
// address. Only copies between different builds go by them; a platform that knows none has this do nothing.
int ha_add_details(ha_hndl_t ha, const char *name, uint32_t version, uint32_t num_fields, const ha_detail_t *details);
// All links that there are, kept by address: a pointer without one, but for those of the containers themselves, is
// null. A platform that looks at nothing has this do nothing.
int ha_add_links(ha_hndl_t ha, uint32_t num_links, const ha_link_t *links);
int ha_add_object(ha_hndl_t ha, const char *name, void *address, size_t size, const char *type, int a, int b);
int ha_add_function(ha_hndl_t ha, const char *name, void (*function)());

// The next stored intent: its length, 0 at the end, negative on failure.
int ha_get_intent(ha_hndl_t ha, void *buffer, uint32_t size);
int ha_send_msg(ha_hndl_t ha, const void *message, uint32_t length);

int vssd_send_update(ha_hndl_t vss, const vss_send_update_t *request); // a positive transaction on success
int vssd_wait_update(ha_hndl_t vss, int transaction);

// Receivers of the platform's own queue messages (types 15, 18, 21), called on the main thread.
void vss_process(void *message);
void isc_process(void *message);
void smi_process(void *message);

int tha_dbg_lib_init(ha_hndl_t *ha, int flags, const char *progname, int port);
void tha_set_snapshot_cli_handler(int (*handler)(void *cli));
int tha_snapshot_cli_handler_cb(void *cli);

#endif
