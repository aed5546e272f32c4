// SPDX-License-Identifier: Apache-2.0
// Steps between the nodes of an AVL tree, for lib/avl*.cpp alone. Both sides of a node are handled by the same code: a
// side is the `flag` of the child that hangs there.
#ifndef LIB_AVL_NODES_H
#define LIB_AVL_NODES_H

#include "lib/avl.h"

namespace avlDetail {

using Node = tnx_avl_node_t;

constexpr int LEFT = 0;
constexpr int RIGHT = 1;

inline Node *&child(Node *node, int side)
{
    return side == LEFT ? node->left : node->right;
}

// The outermost node below `node` on one side, itself included.
inline Node *extreme(Node *node, int side)
{
    while (node && child(node, side))
        node = child(node, side);
    return node;
}

} // namespace avlDetail

#endif
