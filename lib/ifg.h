// SPDX-License-Identifier: Apache-2.0
// The library instance's interfaces, by name and by index. Main thread only; only the manager role uses them.
#ifndef LIB_IFG_H
#define LIB_IFG_H

#include <cstdint>

#include "lib/avl.h"

constexpr unsigned IFG_NAME_MAX = 20; // characters of a name, the terminator not counted

struct interface_t {
    char name[IFG_NAME_MAX + 1];
    uint16_t config_locked; // 1: the interface is known, but its configuration mode is not entered
    uint32_t ifindex;       // 0 for none
    void *info;             // data that a protocol has attached; heap
};

struct ifg_t {
    tnx_avl_tree_t *by_name;  // owns the records
    tnx_avl_tree_t *by_index; // those that ifg_table_add put there
};

lib_result_t ifg_init(ifg_t *ifg); // 0 or -1
// Frees all records with their data.
void ifg_finish(ifg_t *ifg);

// Null for an unknown name or index.
interface_t *ifg_lookup_by_name(const ifg_t *ifg, const char *name);
interface_t *ifg_lookup_by_index(const ifg_t *ifg, uint32_t ifindex);
// The record of that name, made if it is not there; null for a name that is empty or too long, or for want of memory.
interface_t *ifg_get_by_name(ifg_t *ifg, const char *name);
// The same; the record, new or old, gets the index if it has none.
interface_t *ifg_get_by_name2(ifg_t *ifg, const char *name, uint32_t ifindex);

// Puts the record into the index table under its index: 0, or -1 for a record without one or an index that is taken.
lib_result_t ifg_table_add(ifg_t *ifg, interface_t *ifp);
// Takes it out; -1 if it is not there.
lib_result_t ifg_table_delete(ifg_t *ifg, interface_t *ifp);

// Deletes the record, its data and its place in the index table.
void if_delete(ifg_t *ifg, interface_t *ifp);

#endif
