// SPDX-License-Identifier: Apache-2.0
// AVL trees with parent links and ranks. A tree and its nodes live on the heap or in the replicated store; nothing of
// them is kept outside their records, so a tree that the store has restored is used as it is.
//
// Main thread only. Payloads belong to the caller. Results are 0, or -1 on failure, unless said otherwise.
#ifndef LIB_AVL_H
#define LIB_AVL_H

#include <cstdint>

#include "lib/result.h"
#include "velmar/ha.h"
#include "velmar/members.h"

using avl_compare_t = int (*)(const void *a, const void *b); // negative, 0 or positive

struct tnx_avl_node_t {
    tnx_avl_node_t *left;
    tnx_avl_node_t *right; // also joins the free nodes of a pool
    tnx_avl_node_t *parent;
    int32_t balance; // -1 left-heavy, 0 even, 1 right-heavy
    int32_t rank;    // 1 plus the size of the left subtree
    int32_t flag;    // 0 if this is its parent's left child, 1 if the right
    void *info;
};
QOS_RECORD(tnx_avl_node_t, 28, F(left), F(right), F(parent), F(balance), F(rank), F(flag), F(info));

struct tnx_avl_tree_t {
    int32_t max_nodes; // size of the node pool; 0 for nodes allocated one by one
    avl_compare_t compare_function;
    void *data; // the node pool, or null
    tnx_avl_node_t *root;
    tnx_avl_node_t *free_list;
    int32_t count;
    ha_hndl_t ha_hndl; // below 1 for the heap
    int32_t ha_obj_grp;
    char avl_tree_name[64];
};
QOS_RECORD(tnx_avl_tree_t, 96, F(max_nodes), F(compare_function), F(data), F(root), F(free_list), F(count),
           TYPED(ha_hndl, "~Hdl"), F(ha_obj_grp), F(avl_tree_name));

// Makes an empty tree and stores it in *tree, on the heap or, with `ha` at least 1, in the store. `compare_name` is
// what lib_tha_avl_tree_reg registers the comparison under; nothing is done with it here.
lib_result_t avl_create(tnx_avl_tree_t **tree, int max_nodes, avl_compare_t compare);
lib_result_t avl_create_ha_dbg(ha_hndl_t ha, int group, tnx_avl_tree_t **tree, int max_nodes, avl_compare_t compare,
                               const char *compare_name, const char *name);

// Inserts fail for want of a node. Equal payloads stand to the left of those inserted before them.
lib_result_t avl_insert(tnx_avl_tree_t *tree, void *info);
lib_result_t avl_insert_nodup(tnx_avl_tree_t *tree, void *info); // -1 also for an equal payload
// The new node, null for want of one; with `dup` 0 the node that already holds an equal payload.
tnx_avl_node_t *avl_insert_return_node(tnx_avl_tree_t *tree, void *info, int dup);

// Look-ups. Null where there is none, and for a null tree.
tnx_avl_node_t *avl_search(const tnx_avl_tree_t *tree, const void *key); // of equal ones the nearest to the root
tnx_avl_node_t *avl_getfirst(const tnx_avl_tree_t *tree);
tnx_avl_node_t *avl_getlast(const tnx_avl_tree_t *tree);
tnx_avl_node_t *avl_getnext(const tnx_avl_tree_t *tree, const tnx_avl_node_t *node); // the first for a null node
tnx_avl_node_t *avl_getprev(const tnx_avl_tree_t *tree, const tnx_avl_node_t *node); // null for a null node
tnx_avl_node_t *avl_get_next(const tnx_avl_tree_t *tree, const void *key);           // the smallest greater
tnx_avl_node_t *avl_get_prev(const tnx_avl_tree_t *tree, const void *key);           // the greatest smaller
tnx_avl_node_t *avl_next(const tnx_avl_node_t *node);                                // pre-order successor
tnx_avl_node_t *avl_top(const tnx_avl_tree_t *tree);
int avl_get_tree_size(const tnx_avl_tree_t *tree); // 0 for a null tree

// Find and delete; -1 if there is none. The second name does the same; the third also frees the payload, to the store
// when `ha` is at least 1 and else to the heap.
lib_result_t avl_remove(tnx_avl_tree_t *tree, const void *key);
lib_result_t avl_remove_info(tnx_avl_tree_t *tree, const void *key);
lib_result_t avl_remove_info2(tnx_avl_tree_t *tree, const void *key, ha_hndl_t ha);
// Deletes a node of this tree. No other node and no payload moves in memory.
lib_result_t avl_delete_node(tnx_avl_tree_t *tree, tnx_avl_node_t *node);

// In-order walks: `fn` may delete the node that it is called for. A negative result ends the walk and is returned.
int avl_traverse(const tnx_avl_tree_t *tree, int (*fn)(void *info, void *a), void *a);
int avl_traverse2(const tnx_avl_tree_t *tree, int (*fn)(void *info, void *a, void *b), void *a, void *b);
int avl_traverse3(const tnx_avl_tree_t *tree, int (*fn)(void *info, void *a, void *b, void *c), void *a, void *b,
                  void *c);
// One page of a walk from `start` on. *counter counts the nodes visited and ends the page at 4096; *resume is then the
// node to start the next page with, and null at the tree's end. The caller sets the counter back.
constexpr int AVL_PAGE = 4096;
int avl_paginate_traverse3(const tnx_avl_tree_t *tree, tnx_avl_node_t *start, int (*fn)(void *info, void *a, void *b),
                           void *a, void *b, int *counter, tnx_avl_node_t **resume);

// Empties the tree, `free_fn`, if given, getting each payload, children ahead of their parent; avl_tree_free also frees
// the tree and clears the caller's pointer.
int avl_tree_cleanup(tnx_avl_tree_t *tree, void (*free_fn)(void *info));
int avl_tree_free(tnx_avl_tree_t **tree, void (*free_fn)(void *info));

// Registers both record types, and the comparison under its name, with the store: 0, or the store's failure.
[[nodiscard]] int lib_tha_avl_tree_reg(ha_hndl_t ha, avl_compare_t compare, const char *compare_name);

#endif
