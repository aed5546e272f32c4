// SPDX-License-Identifier: Apache-2.0
// Typed looks at the containers of untyped payloads: walks, look-ups and the payload of a node. The type named is the
// one that the container was filled with.
//
//     for (const qosChip_t &chip : avlView<const qosChip_t>(qosChipTable))
//
// A null container is empty. The walk takes the step to the next node when the body is done with this one: the body may
// add, and may change what is no key, but a walk that removes its own node keeps the node itself and fetches the next
// one first.
#ifndef LIB_VIEWS_H
#define LIB_VIEWS_H

#include "lib/avl.h"
#include "lib/linklist.h"

template <typename T>
T *listPayload(const tnx_listnode_t *node)
{
    return static_cast<T *>(node->data);
}

template <typename T>
T *avlPayload(const tnx_avl_node_t *node)
{
    return static_cast<T *>(node->info);
}

inline tnx_listnode_t *listFirst(const tnx_list_t *list)
{
    return list ? list->head : nullptr;
}

// What compares equal to `key`, or null. Only those members of the key count that the container's comparison reads.
template <typename T>
T *listFind(const tnx_list_t *list, const T &key)
{
    return static_cast<T *>(list_lookup_data(list, &key));
}

template <typename T>
T *avlFind(const tnx_avl_tree_t *tree, const T &key)
{
    const tnx_avl_node_t *node = avl_search(tree, &key);
    return node ? avlPayload<T>(node) : nullptr;
}

// From the head on.
template <typename T>
struct listView {
    struct iterator {
        const tnx_listnode_t *node;

        T &operator*() const { return *listPayload<T>(node); }
        iterator &operator++()
        {
            node = node->next;
            return *this;
        }
        bool operator==(const iterator &) const = default;
    };

    explicit listView(const tnx_list_t *walked) : list(walked) {}
    iterator begin() const { return {listFirst(list)}; }
    iterator end() const { return {nullptr}; }

    const tnx_list_t *list;
};

// In the order of the tree's comparison.
template <typename T>
struct avlView {
    struct iterator {
        const tnx_avl_tree_t *tree;
        const tnx_avl_node_t *node;

        T &operator*() const { return *avlPayload<T>(node); }
        iterator &operator++()
        {
            node = avl_getnext(tree, node);
            return *this;
        }
        bool operator==(const iterator &) const = default;
    };

    explicit avlView(const tnx_avl_tree_t *walked) : tree(walked) {}
    iterator begin() const { return {tree, avl_getfirst(tree)}; }
    iterator end() const { return {tree, nullptr}; }

    const tnx_avl_tree_t *tree;
};

#endif
