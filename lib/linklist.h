// SPDX-License-Identifier: Apache-2.0
// Doubly linked lists of payload pointers, on the heap or in the replicated store. Main thread only.
//
// A null list is tolerated everywhere: adds give null, look-ups give null, deletes do nothing. A null payload is never
// added.
#ifndef LIB_LINKLIST_H
#define LIB_LINKLIST_H

#include <cstdint>

#include "lib/result.h"
#include "velmar/ha.h"
#include "velmar/members.h"

struct tnx_listnode_t {
    tnx_listnode_t *next;
    tnx_listnode_t *prev;
    void *data;
};
QOS_RECORD(tnx_listnode_t, 12, F(next), F(prev), F(data));

using list_cmp_t = int (*)(const void *a, const void *b); // negative, 0 or positive
using list_del_t = void (*)(void *data);

struct tnx_list_t {
    tnx_listnode_t *head;
    tnx_listnode_t *tail;
    uint32_t count;
    ha_hndl_t ha_hndl; // below 1 for the heap
    int32_t ha_obj_grp;
    char list_name[64];
    list_cmp_t cmp; // null for a list without order
    list_del_t del; // called with `data` when a node is deleted; may be null
};
QOS_RECORD(tnx_list_t, 92, F(head), F(tail), F(count), TYPED(ha_hndl, "~Hdl"), F(ha_obj_grp), F(list_name), F(cmp),
           F(del));

// A new list, or null. With `ha` at least 1 it lives in the store. The names of the two functions are those that
// lib_tha_linklist_reg registers them under; nothing is done with them here.
tnx_list_t *list_new();
tnx_list_t *list_create(list_cmp_t cmp, list_del_t del);
tnx_list_t *list_new_ha_dbg(ha_hndl_t ha, int group, const char *name);
tnx_list_t *list_create_ha_dbg(ha_hndl_t ha, int group, list_cmp_t cmp, list_del_t del, const char *cmp_name,
                               const char *del_name, const char *name);

// Adds give the new node, or null for want of memory.
tnx_listnode_t *listnode_add(tnx_list_t *list, void *data);       // at the end
tnx_listnode_t *listnode_add_nodup(tnx_list_t *list, void *data); // the node that holds this pointer, if there is one
// Ahead of the first node that compares greater, so behind equal ones; at the end of a list without `cmp`.
tnx_listnode_t *listnode_add_sort(tnx_list_t *list, void *data);
// The same unless an equal one is met first: 0 added, 1 equal found, 2 no memory.
lib_result_t listnode_add_sort_nodup(tnx_list_t *list, void *data);
// Beside `node`. Null stands for the places outside of the list: before null is the end, after null the start.
tnx_listnode_t *listnode_add_before(tnx_list_t *list, tnx_listnode_t *node, void *data);
tnx_listnode_t *listnode_add_after(tnx_list_t *list, tnx_listnode_t *node, void *data);
// Beside `node`, which must not be null.
tnx_listnode_t *list_add_node_next(tnx_list_t *list, tnx_listnode_t *node, void *data);
tnx_listnode_t *list_add_node_prev(tnx_list_t *list, tnx_listnode_t *node, void *data);
// Appends all payloads of `from`, which keeps them: 0, or -1 if memory ran out on the way.
lib_result_t list_add_list(tnx_list_t *list, const tnx_list_t *from);

// Link a node that is in no list and came from a list with the same store handle.
void list_insert_node(tnx_list_t *list, tnx_listnode_t *before, tnx_listnode_t *node); // at the end for a null place
void list_prepend_node(tnx_list_t *list, tnx_listnode_t *node);
void listnode_add_node(tnx_list_t *list, tnx_listnode_t *node); // at the end

void *listnode_head(const tnx_list_t *list);                               // the first payload
tnx_listnode_t *listnode_lookup(const tnx_list_t *list, const void *data); // the node that holds this pointer

// Look-ups with `cmp`, which is called with (stored, given); null in a list without it.
void *list_lookup_data(const tnx_list_t *list, const void *data);
void *list_lookup_data_tail(const tnx_list_t *list, const void *data);
// In a sorted list: from the tail, up to the first that is smaller.
void *list_lookup_data_tail_sorted(const tnx_list_t *list, const void *data);
tnx_listnode_t *list_lookup_data_node(const tnx_list_t *list, const void *data);
// The next equal one behind `node`.
tnx_listnode_t *list_lookup_next_data_node(const tnx_list_t *list, const tnx_listnode_t *node, const void *data);
// With a comparison of the caller's; null without one.
void *list_lookup_data2(const tnx_list_t *list, list_cmp_t cmp, const void *data);

// Unlinks, calls `del`, frees.
void list_delete_node(tnx_list_t *list, tnx_listnode_t *node);
// Unlinks and frees the node only; gives the next one.
tnx_listnode_t *list_delink_node(tnx_list_t *list, tnx_listnode_t *node);
// Delete the first node that holds the pointer, or for list_delete_data the first that `cmp` finds equal: 0, or -1 if
// there is none.
lib_result_t listnode_delete(tnx_list_t *list, const void *data);
lib_result_t listnode_delete_data(tnx_list_t *list, const void *data);
lib_result_t list_delete_data(tnx_list_t *list, const void *data);
// Empties the list, calling `del` for each payload from the head on.
void list_delete_all_node(tnx_list_t *list);
// Empty the list and free it.
void list_delete(tnx_list_t *list);
void list_delete_list(tnx_list_t *list);
// Frees the list record alone.
void list_free(tnx_list_t *list);

// Registers both record types, and the two functions under their names where they are given, with the store: 0, or the
// store's failure.
[[nodiscard]] int lib_tha_linklist_reg(ha_hndl_t ha, list_cmp_t cmp = nullptr, const char *cmp_name = nullptr,
                                       list_del_t del = nullptr, const char *del_name = nullptr);

#endif
