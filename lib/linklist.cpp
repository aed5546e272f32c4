// SPDX-License-Identifier: Apache-2.0
// Doubly linked lists.
#include "lib/linklist.h"

#include "lib/tha_mem.h"
#include "velmar/fields.h"

namespace {

using Node = tnx_listnode_t;
using List = tnx_list_t;

constexpr const char *NODE_TYPE = qosMembersOf<tnx_listnode_t>::name;
constexpr const char *LIST_TYPE = qosMembersOf<tnx_list_t>::name;

template <typename T>
T &edit(const List *list, T &place)
{
    return lib_tha_edit(list->ha_hndl, place);
}

// Links `node` between two neighbours, null standing for an end of the list.
void link(List *list, Node *prev, Node *next, Node *node)
{
    Node &linked = edit(list, *node);
    linked.prev = prev;
    linked.next = next;
    edit(list, prev ? prev->next : list->head) = node;
    edit(list, next ? next->prev : list->tail) = node;
    ++edit(list, list->count);
}

void unlink(List *list, const Node *node)
{
    edit(list, node->prev ? node->prev->next : list->head) = node->next;
    edit(list, node->next ? node->next->prev : list->tail) = node->prev;
    --edit(list, list->count);
}

Node *add(List *list, Node *prev, Node *next, void *data)
{
    Node *node = static_cast<Node *>(
        lib_tha_alloc(list->ha_hndl, sizeof(Node), NODE_TYPE, list->ha_obj_grp, LIB_THA_TAG_NODE, list->list_name));
    if (!node)
        return nullptr;
    edit(list, *node).data = data;
    link(list, prev, next, node);
    return node;
}

// The first equal one from `node` on in either direction.
template <auto Step>
Node *find(Node *node, list_cmp_t cmp, const void *data)
{
    while (node && cmp(node->data, data) != 0)
        node = node->*Step;
    return node;
}

void *dataOf(const Node *node)
{
    return node ? node->data : nullptr;
}

} // namespace

tnx_list_t *list_new()
{
    return list_create_ha_dbg(0, 0, nullptr, nullptr, nullptr, nullptr, nullptr);
}

tnx_list_t *list_create(list_cmp_t cmp, list_del_t del)
{
    return list_create_ha_dbg(0, 0, cmp, del, nullptr, nullptr, nullptr);
}

tnx_list_t *list_new_ha_dbg(ha_hndl_t ha, int group, const char *name)
{
    return list_create_ha_dbg(ha, group, nullptr, nullptr, nullptr, nullptr, name);
}

tnx_list_t *list_create_ha_dbg(ha_hndl_t ha, int group, list_cmp_t cmp, list_del_t del, const char *, const char *,
                               const char *name)
{
    char kept[sizeof(List::list_name)];
    lib_tha_name(kept, sizeof kept, name);
    List *list = static_cast<List *>(lib_tha_alloc(ha, sizeof(List), LIST_TYPE, group, LIB_THA_TAG_HEAD, kept));
    if (!list)
        return nullptr;
    List &made = lib_tha_edit(ha, *list);
    made.ha_hndl = ha;
    made.ha_obj_grp = group;
    lib_tha_name(made.list_name, sizeof made.list_name, name);
    made.cmp = cmp;
    made.del = del;
    return list;
}

tnx_listnode_t *listnode_add(tnx_list_t *list, void *data)
{
    return list && data ? add(list, list->tail, nullptr, data) : nullptr;
}

tnx_listnode_t *listnode_add_nodup(tnx_list_t *list, void *data)
{
    Node *node = listnode_lookup(list, data);
    return node ? node : listnode_add(list, data);
}

tnx_listnode_t *listnode_add_sort(tnx_list_t *list, void *data)
{
    if (!list || !data)
        return nullptr;
    Node *at = list->cmp ? list->head : nullptr;
    while (at && list->cmp(at->data, data) <= 0)
        at = at->next;
    return add(list, at ? at->prev : list->tail, at, data);
}

lib_result_t listnode_add_sort_nodup(tnx_list_t *list, void *data)
{
    if (!list || !data)
        return LIB_NO_MEMORY;
    Node *at = list->cmp ? list->head : nullptr;
    for (; at; at = at->next) {
        const int order = list->cmp(at->data, data);
        if (order == 0)
            return LIB_EQUAL_FOUND;
        if (order > 0)
            break;
    }
    return add(list, at ? at->prev : list->tail, at, data) ? LIB_DONE : LIB_NO_MEMORY;
}

tnx_listnode_t *listnode_add_before(tnx_list_t *list, tnx_listnode_t *node, void *data)
{
    return list && data ? add(list, node ? node->prev : list->tail, node, data) : nullptr;
}

tnx_listnode_t *listnode_add_after(tnx_list_t *list, tnx_listnode_t *node, void *data)
{
    return list && data ? add(list, node, node ? node->next : list->head, data) : nullptr;
}

tnx_listnode_t *list_add_node_next(tnx_list_t *list, tnx_listnode_t *node, void *data)
{
    return node ? listnode_add_after(list, node, data) : nullptr;
}

tnx_listnode_t *list_add_node_prev(tnx_list_t *list, tnx_listnode_t *node, void *data)
{
    return node ? listnode_add_before(list, node, data) : nullptr;
}

lib_result_t list_add_list(tnx_list_t *list, const tnx_list_t *from)
{
    if (!list)
        return LIB_FAILED;
    // The old length bounds the walk, so that a list may be added to itself.
    const Node *node = from ? from->head : nullptr;
    for (uint32_t left = from ? from->count : 0; left && node; --left, node = node->next)
        if (!listnode_add(list, node->data))
            return LIB_FAILED;
    return LIB_DONE;
}

void list_insert_node(tnx_list_t *list, tnx_listnode_t *before, tnx_listnode_t *node)
{
    if (list && node)
        link(list, before ? before->prev : list->tail, before, node);
}

void list_prepend_node(tnx_list_t *list, tnx_listnode_t *node)
{
    if (list && node)
        link(list, nullptr, list->head, node);
}

void listnode_add_node(tnx_list_t *list, tnx_listnode_t *node)
{
    list_insert_node(list, nullptr, node);
}

void *listnode_head(const tnx_list_t *list)
{
    return list ? dataOf(list->head) : nullptr;
}

tnx_listnode_t *listnode_lookup(const tnx_list_t *list, const void *data)
{
    Node *node = list ? list->head : nullptr;
    while (node && node->data != data)
        node = node->next;
    return node;
}

void *list_lookup_data(const tnx_list_t *list, const void *data)
{
    return dataOf(list_lookup_data_node(list, data));
}

void *list_lookup_data_tail(const tnx_list_t *list, const void *data)
{
    return list && list->cmp ? dataOf(find<&Node::prev>(list->tail, list->cmp, data)) : nullptr;
}

void *list_lookup_data_tail_sorted(const tnx_list_t *list, const void *data)
{
    if (!list || !list->cmp)
        return nullptr;
    for (const Node *node = list->tail; node; node = node->prev) {
        const int order = list->cmp(node->data, data);
        if (order <= 0)
            return order == 0 ? node->data : nullptr;
    }
    return nullptr;
}

tnx_listnode_t *list_lookup_data_node(const tnx_list_t *list, const void *data)
{
    return list && list->cmp ? find<&Node::next>(list->head, list->cmp, data) : nullptr;
}

tnx_listnode_t *list_lookup_next_data_node(const tnx_list_t *list, const tnx_listnode_t *node, const void *data)
{
    return list && list->cmp && node ? find<&Node::next>(node->next, list->cmp, data) : nullptr;
}

void *list_lookup_data2(const tnx_list_t *list, list_cmp_t cmp, const void *data)
{
    return list && cmp ? dataOf(find<&Node::next>(list->head, cmp, data)) : nullptr;
}

void list_delete_node(tnx_list_t *list, tnx_listnode_t *node)
{
    if (!list || !node)
        return;
    unlink(list, node);
    if (list->del)
        list->del(node->data);
    lib_tha_free(list->ha_hndl, node);
}

tnx_listnode_t *list_delink_node(tnx_list_t *list, tnx_listnode_t *node)
{
    if (!list || !node)
        return nullptr;
    Node *next = node->next;
    unlink(list, node);
    lib_tha_free(list->ha_hndl, node);
    return next;
}

lib_result_t listnode_delete(tnx_list_t *list, const void *data)
{
    Node *node = listnode_lookup(list, data);
    list_delete_node(list, node);
    return node ? LIB_DONE : LIB_FAILED;
}

lib_result_t listnode_delete_data(tnx_list_t *list, const void *data)
{
    return listnode_delete(list, data);
}

lib_result_t list_delete_data(tnx_list_t *list, const void *data)
{
    Node *node = list_lookup_data_node(list, data);
    list_delete_node(list, node);
    return node ? LIB_DONE : LIB_FAILED;
}

void list_delete_all_node(tnx_list_t *list)
{
    while (list && list->head)
        list_delete_node(list, list->head);
}

void list_delete(tnx_list_t *list)
{
    list_delete_all_node(list);
    list_free(list);
}

void list_delete_list(tnx_list_t *list)
{
    list_delete(list);
}

void list_free(tnx_list_t *list)
{
    if (list)
        lib_tha_free(list->ha_hndl, list);
}

int lib_tha_linklist_reg(ha_hndl_t ha, list_cmp_t cmp, const char *cmp_name, list_del_t del, const char *del_name)
{
    int rc = lib_tha_registered(qosAddStruct<Node>(ha));
    if (rc == 0)
        rc = lib_tha_registered(qosAddStruct<List>(ha));
    if (rc == 0 && cmp && cmp_name)
        rc = lib_tha_registered(ha_add_function(ha, cmp_name, reinterpret_cast<void (*)()>(cmp)));
    if (rc == 0 && del && del_name)
        rc = lib_tha_registered(ha_add_function(ha, del_name, reinterpret_cast<void (*)()>(del)));
    return rc;
}
