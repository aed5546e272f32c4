// SPDX-License-Identifier: Apache-2.0
// AVL trees: their shape, from insert to delete, and their memory. lib/avl_walk.cpp looks them up and walks them.
#include "lib/avl.h"

#include <cstdlib>
#include <utility>

#include "lib/avl_nodes.h"
#include "lib/tha_mem.h"
#include "velmar/fields.h"

using namespace avlDetail;

namespace {

using Tree = tnx_avl_tree_t;

constexpr const char *NODE_TYPE = qosMembersOf<tnx_avl_node_t>::name;
constexpr const char *TREE_TYPE = qosMembersOf<tnx_avl_tree_t>::name;

constexpr int lean(int side)
{
    return side == LEFT ? -1 : 1;
}

template <typename T>
T &edit(const Tree *tree, T &place)
{
    return lib_tha_edit(tree->ha_hndl, place);
}

void poolPut(Tree *tree, Node *node)
{
    Node &pooled = edit(tree, *node);
    pooled = {};
    pooled.right = tree->free_list;
    edit(tree, tree->free_list) = node;
}

Node *_avl_node_new(Tree *tree)
{
    Node *node = tree->free_list;
    if (node) {
        edit(tree, tree->free_list) = node->right;
        edit(tree, *node).right = nullptr;
    } else if (tree->max_nodes == 0) {
        node = static_cast<Node *>(lib_tha_alloc(tree->ha_hndl, sizeof(Node), NODE_TYPE, tree->ha_obj_grp,
                                                 LIB_THA_TAG_NODE, tree->avl_tree_name));
    }
    if (node)
        ++edit(tree, tree->count);
    return node;
}

void _avl_node_free(Tree *tree, Node *node)
{
    --edit(tree, tree->count);
    if (tree->max_nodes != 0)
        poolPut(tree, node);
    else
        lib_tha_free(tree->ha_hndl, node);
}

// Hangs `node`, which may be null, on one side of its new parent.
void hang(const Tree *tree, Node *parent, int side, Node *node)
{
    child(&edit(tree, *parent), side) = node;
    if (node) {
        Node &hung = edit(tree, *node);
        hung.parent = parent;
        hung.flag = side;
    }
}

// Puts `node`, which may be null, into the place of `old`.
void replace(Tree *tree, const Node *old, Node *node)
{
    if (old->parent) {
        hang(tree, old->parent, old->flag, node);
        return;
    }
    edit(tree, tree->root) = node;
    if (node) {
        Node &top = edit(tree, *node);
        top.parent = nullptr;
        top.flag = LEFT;
    }
}

// Lifts the child on `side` over its parent. Ranks keep their meaning, balances are the caller's.
Node *rotate(Tree *tree, Node *node, int side)
{
    Node *top = child(node, side);
    if (side == LEFT)
        edit(tree, *node).rank -= top->rank;
    else
        edit(tree, *top).rank += node->rank;
    replace(tree, node, top);
    hang(tree, node, side, child(top, !side));
    hang(tree, top, !side, node);
    return top;
}

// Restores the balance of a node that has become two levels too heavy on `side`. Gives the subtree's new root and
// whether the subtree is lower than before.
std::pair<Node *, bool> rebalance(Tree *tree, Node *node, int side)
{
    const int heavy = lean(side);
    Node *top = child(node, side);
    if (top->balance == -heavy) {
        Node *low = top;
        top = rotate(tree, low, !side);
        rotate(tree, node, side);
        edit(tree, *node).balance = top->balance == heavy ? -heavy : 0;
        edit(tree, *low).balance = top->balance == -heavy ? heavy : 0;
        edit(tree, *top).balance = 0;
        return {top, true};
    }
    rotate(tree, node, side);
    const bool lower = top->balance == heavy;
    edit(tree, *node).balance = lower ? 0 : heavy;
    edit(tree, *top).balance = lower ? 0 : -heavy;
    return {top, lower};
}

void retraceInsert(Tree *tree, Node *node)
{
    int side = node->flag;
    for (Node *parent = node->parent; parent; parent = parent->parent) {
        if (parent->balance == -lean(side)) {
            edit(tree, *parent).balance = 0;
            return;
        }
        if (parent->balance == lean(side)) {
            rebalance(tree, parent, side);
            return;
        }
        edit(tree, *parent).balance = lean(side);
        side = parent->flag;
    }
}

// `node` has lost a level on `side`.
void retraceDelete(Tree *tree, Node *node, int side)
{
    while (node) {
        Node *parent = node->parent;
        const int parentSide = node->flag;
        if (node->balance == 0) {
            edit(tree, *node).balance = -lean(side);
            return;
        }
        if (node->balance == lean(side))
            edit(tree, *node).balance = 0;
        else if (!rebalance(tree, node, !side).second)
            return;
        node = parent;
        side = parentSide;
    }
}

// Exchanges the places of a node with two children and its in-order successor.
void swapWithNext(Tree *tree, Node *node)
{
    Node *next = extreme(node->right, LEFT);
    Node *nextParent = next->parent;
    Node *nextRight = next->right;
    std::swap(edit(tree, *node).balance, edit(tree, *next).balance);
    std::swap(edit(tree, *node).rank, edit(tree, *next).rank);
    replace(tree, node, next);
    hang(tree, next, LEFT, node->left);
    if (nextParent == node) {
        hang(tree, next, RIGHT, node);
    } else {
        hang(tree, next, RIGHT, node->right);
        hang(tree, nextParent, LEFT, node);
    }
    hang(tree, node, LEFT, nullptr);
    hang(tree, node, RIGHT, nextRight);
}

Node *insert(Tree *tree, void *info, bool dup, Node **equal)
{
    Node *node = _avl_node_new(tree);
    if (!node)
        return nullptr;
    Node *parent = nullptr;
    int side = LEFT;
    for (Node *at = tree->root; at; at = child(at, side)) {
        const int order = tree->compare_function(info, at->info);
        if (order == 0 && !dup) {
            _avl_node_free(tree, node);
            *equal = at;
            return nullptr;
        }
        parent = at;
        side = order <= 0 ? LEFT : RIGHT;
        if (side == LEFT)
            ++edit(tree, *at).rank;
    }
    Node &made = edit(tree, *node);
    made = {};
    made.rank = 1;
    made.info = info;
    if (parent)
        hang(tree, parent, side, node);
    else
        edit(tree, tree->root) = node;
    retraceInsert(tree, node);
    return node;
}

bool makePool(Tree *tree)
{
    Node *pool = static_cast<Node *>(lib_tha_alloc(tree->ha_hndl, static_cast<size_t>(tree->max_nodes) * sizeof(Node),
                                                   NODE_TYPE, tree->ha_obj_grp, LIB_THA_TAG_NODE, tree->avl_tree_name));
    if (!pool)
        return false;
    edit(tree, tree->data) = pool;
    for (int i = tree->max_nodes; i-- > 0;)
        poolPut(tree, pool + i);
    return true;
}

} // namespace

lib_result_t avl_create(tnx_avl_tree_t **tree, int max_nodes, avl_compare_t compare)
{
    return avl_create_ha_dbg(0, 0, tree, max_nodes, compare, nullptr, nullptr);
}

lib_result_t avl_create_ha_dbg(ha_hndl_t ha, int group, tnx_avl_tree_t **tree, int max_nodes, avl_compare_t compare,
                               const char *, const char *name)
{
    if (!tree || !compare || max_nodes < 0)
        return LIB_FAILED;
    char kept[sizeof(Tree::avl_tree_name)];
    lib_tha_name(kept, sizeof kept, name);
    Tree *made = static_cast<Tree *>(lib_tha_alloc(ha, sizeof(Tree), TREE_TYPE, group, LIB_THA_TAG_HEAD, kept));
    if (!made)
        return LIB_FAILED;
    Tree &filled = lib_tha_edit(ha, *made);
    filled.max_nodes = max_nodes;
    filled.compare_function = compare;
    filled.ha_hndl = ha;
    filled.ha_obj_grp = group;
    lib_tha_name(filled.avl_tree_name, sizeof filled.avl_tree_name, name);
    if (max_nodes > 0 && !makePool(made)) {
        lib_tha_free(ha, made);
        return LIB_FAILED;
    }
    *tree = made;
    return LIB_DONE;
}

lib_result_t avl_insert(tnx_avl_tree_t *tree, void *info)
{
    return tree && insert(tree, info, true, nullptr) ? LIB_DONE : LIB_FAILED;
}

lib_result_t avl_insert_nodup(tnx_avl_tree_t *tree, void *info)
{
    Node *equal = nullptr;
    return tree && insert(tree, info, false, &equal) ? LIB_DONE : LIB_FAILED;
}

tnx_avl_node_t *avl_insert_return_node(tnx_avl_tree_t *tree, void *info, int dup)
{
    if (!tree)
        return nullptr;
    Node *equal = nullptr;
    Node *node = insert(tree, info, dup != 0, &equal);
    return node ? node : equal;
}

lib_result_t avl_remove(tnx_avl_tree_t *tree, const void *key)
{
    return avl_delete_node(tree, avl_search(tree, key));
}

lib_result_t avl_remove_info(tnx_avl_tree_t *tree, const void *key)
{
    return avl_remove(tree, key);
}

lib_result_t avl_remove_info2(tnx_avl_tree_t *tree, const void *key, ha_hndl_t ha)
{
    Node *node = avl_search(tree, key);
    if (!node)
        return LIB_FAILED;
    void *info = node->info;
    (void)avl_delete_node(tree, node); // found in it
    if (ha >= 1)
        ha_free(ha, info);
    else
        free(info);
    return LIB_DONE;
}

lib_result_t avl_delete_node(tnx_avl_tree_t *tree, tnx_avl_node_t *node)
{
    if (!tree || !node)
        return LIB_FAILED;
    if (node->left && node->right)
        swapWithNext(tree, node);
    for (const Node *at = node; at->parent; at = at->parent)
        if (at->flag == LEFT)
            --edit(tree, *at->parent).rank;
    Node *parent = node->parent;
    const int side = node->flag;
    replace(tree, node, node->left ? node->left : node->right);
    retraceDelete(tree, parent, side);
    _avl_node_free(tree, node);
    return LIB_DONE;
}

int avl_tree_cleanup(tnx_avl_tree_t *tree, void (*free_fn)(void *info))
{
    for (Node *node = avl_top(tree); node;) {
        node = extreme(node, LEFT);
        if (node->right) {
            node = node->right;
            continue;
        }
        Node *parent = node->parent;
        replace(tree, node, nullptr);
        if (free_fn)
            free_fn(node->info);
        _avl_node_free(tree, node);
        node = parent;
    }
    return 0;
}

int avl_tree_free(tnx_avl_tree_t **tree, void (*free_fn)(void *info))
{
    if (!tree || !*tree)
        return 0;
    avl_tree_cleanup(*tree, free_fn);
    lib_tha_free((*tree)->ha_hndl, (*tree)->data);
    lib_tha_free((*tree)->ha_hndl, *tree);
    *tree = nullptr;
    return 0;
}

int lib_tha_avl_tree_reg(ha_hndl_t ha, avl_compare_t compare, const char *compare_name)
{
    int rc = lib_tha_registered(qosAddStruct<Node>(ha));
    if (rc == 0)
        rc = lib_tha_registered(qosAddStruct<Tree>(ha));
    if (rc == 0)
        rc = lib_tha_registered(ha_add_function(ha, compare_name, reinterpret_cast<void (*)()>(compare)));
    return rc;
}
