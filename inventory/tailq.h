// SPDX-License-Identifier: Apache-2.0
// Tail queues whose heads and links are plain members of the records that they join, so that they live in the
// replicated store with them.
//
// A link is named by its member pointer, for a record may hang in several queues:
//     tailqInsertTail<&qosChip_t::slot_link>(&slot->chipList, chip);
//     for (qosChip_t *chip = tailqFirst(&slot->chipList); chip; chip = tailqNext<&qosChip_t::slot_link>(chip))
// Nothing here allocates or locks. A zeroed head is not an empty queue: tailqInit comes first.
#ifndef INVENTORY_TAILQ_H
#define INVENTORY_TAILQ_H

#include "core/state.h"

// tqh_last points at the forward link of the last element, in an empty queue at tqh_first of the head itself.
template <typename T>
struct tailqHead {
    T *tqh_first;
    T **tqh_last;
};

// tqe_prev points at the forward link that names this element: the one before it or the head's. Null in no queue.
template <typename T>
struct tailqEntry {
    T *tqe_next;
    T **tqe_prev;
};

template <typename T>
inline void tailqInit(tailqHead<T> *head)
{
    qosEdit(*head) = {nullptr, &head->tqh_first};
}

template <typename T>
inline bool tailqEmpty(const tailqHead<T> *head)
{
    return head->tqh_first == nullptr;
}

template <typename T>
inline T *tailqFirst(const tailqHead<T> *head)
{
    return head->tqh_first;
}

// The element behind this one, or null. A walk that may unlink the current element fetches the next one first.
template <auto Link, typename T>
inline T *tailqNext(const T *elem)
{
    return (elem->*Link).tqe_next;
}

template <auto Link, typename T>
inline void tailqInsertTail(tailqHead<T> *head, T *elem)
{
    tailqEntry<T> &link = elem->*Link;
    qosEdit(link) = {nullptr, head->tqh_last};
    qosEdit(*head->tqh_last) = elem;
    qosEdit(head->tqh_last) = &link.tqe_next; // where it lies, and not where it is written
}

// `elem` must be in this queue. Its links are null afterwards.
template <auto Link, typename T>
inline void tailqRemove(tailqHead<T> *head, T *elem)
{
    tailqEntry<T> &link = elem->*Link;
    if (link.tqe_next != nullptr)
        qosEdit((link.tqe_next->*Link).tqe_prev) = link.tqe_prev;
    else
        qosEdit(head->tqh_last) = link.tqe_prev;
    qosEdit(*link.tqe_prev) = link.tqe_next;
    qosEdit(link) = {};
}

#endif
