// SPDX-License-Identifier: Apache-2.0
// AVL trees: look-ups and walks. Nothing here changes a tree.
#include "lib/avl.h"

#include "lib/avl_nodes.h"

using namespace avlDetail;

namespace {

Node *neighbour(const Node *node, int side)
{
    Node *below = child(const_cast<Node *>(node), side);
    if (below)
        return extreme(below, !side);
    while (node->parent && node->flag == side)
        node = node->parent;
    return node->parent;
}

// The nearest payload beyond `key` on one side.
Node *beyond(const tnx_avl_tree_t *tree, const void *key, int side)
{
    Node *found = nullptr;
    for (Node *at = avl_top(tree); at;) {
        const int order = tree->compare_function(key, at->info);
        const bool isBeyond = side == RIGHT ? order < 0 : order > 0;
        if (isBeyond)
            found = at;
        at = child(at, isBeyond ? !side : side);
    }
    return found;
}

template <typename Call>
int walk(const tnx_avl_tree_t *tree, Call &&call)
{
    for (Node *node = avl_getfirst(tree); node;) {
        Node *next = neighbour(node, RIGHT);
        const int rc = call(node->info);
        if (rc < 0)
            return rc;
        node = next;
    }
    return 0;
}

} // namespace

tnx_avl_node_t *avl_search(const tnx_avl_tree_t *tree, const void *key)
{
    for (Node *at = avl_top(tree); at;) {
        const int order = tree->compare_function(key, at->info);
        if (order == 0)
            return at;
        at = child(at, order < 0 ? LEFT : RIGHT);
    }
    return nullptr;
}

tnx_avl_node_t *avl_getfirst(const tnx_avl_tree_t *tree)
{
    return extreme(avl_top(tree), LEFT);
}

tnx_avl_node_t *avl_getlast(const tnx_avl_tree_t *tree)
{
    return extreme(avl_top(tree), RIGHT);
}

tnx_avl_node_t *avl_getnext(const tnx_avl_tree_t *tree, const tnx_avl_node_t *node)
{
    return node ? neighbour(node, RIGHT) : avl_getfirst(tree);
}

tnx_avl_node_t *avl_getprev(const tnx_avl_tree_t *, const tnx_avl_node_t *node)
{
    return node ? neighbour(node, LEFT) : nullptr;
}

tnx_avl_node_t *avl_get_next(const tnx_avl_tree_t *tree, const void *key)
{
    return beyond(tree, key, RIGHT);
}

tnx_avl_node_t *avl_get_prev(const tnx_avl_tree_t *tree, const void *key)
{
    return beyond(tree, key, LEFT);
}

tnx_avl_node_t *avl_next(const tnx_avl_node_t *node)
{
    if (!node)
        return nullptr;
    if (node->left)
        return node->left;
    if (node->right)
        return node->right;
    for (; node->parent; node = node->parent)
        if (node->flag == LEFT && node->parent->right)
            return node->parent->right;
    return nullptr;
}

tnx_avl_node_t *avl_top(const tnx_avl_tree_t *tree)
{
    return tree ? tree->root : nullptr;
}

int avl_get_tree_size(const tnx_avl_tree_t *tree)
{
    return tree ? tree->count : 0;
}

int avl_traverse(const tnx_avl_tree_t *tree, int (*fn)(void *info, void *a), void *a)
{
    return walk(tree, [&](void *info) { return fn(info, a); });
}

int avl_traverse2(const tnx_avl_tree_t *tree, int (*fn)(void *info, void *a, void *b), void *a, void *b)
{
    return walk(tree, [&](void *info) { return fn(info, a, b); });
}

int avl_traverse3(const tnx_avl_tree_t *tree, int (*fn)(void *info, void *a, void *b, void *c), void *a, void *b,
                  void *c)
{
    return walk(tree, [&](void *info) { return fn(info, a, b, c); });
}

int avl_paginate_traverse3(const tnx_avl_tree_t *, tnx_avl_node_t *start, int (*fn)(void *info, void *a, void *b),
                           void *a, void *b, int *counter, tnx_avl_node_t **resume)
{
    for (Node *node = start; node; ++*counter) {
        if (*counter >= AVL_PAGE) {
            *resume = node;
            return 0;
        }
        Node *next = neighbour(node, RIGHT);
        const int rc = fn(node->info, a, b);
        if (rc < 0)
            return rc;
        node = next;
    }
    *resume = nullptr;
    return 0;
}
