// The tail queues inside the replicated records.
#include <gtest/gtest.h>

#include <iterator>
#include <list>
#include <random>

#include "inventory/tailq.h"

namespace {

struct item {
    int value;
    tailqEntry<item> link, other;
};

TEST(Tailq, MatchesAListUnderRandomInsertsAndRemovals)
{
    std::mt19937 random(20);
    item items[12] = {};
    tailqHead<item> head, second;
    std::list<item *> expected;
    tailqInit(&head);
    tailqInit(&second);
    for (item &i : items) // membership in another queue must stay as it is
        tailqInsertTail<&item::other>(&second, &i);
    for (int step = 0; step < 2000; ++step) {
        item *elem = &items[random() % std::size(items)];
        if (elem->link.tqe_prev == nullptr) {
            tailqInsertTail<&item::link>(&head, elem);
            expected.push_back(elem);
        } else {
            tailqRemove<&item::link>(&head, elem);
            expected.remove(elem);
            ASSERT_TRUE(elem->link.tqe_next == nullptr && elem->link.tqe_prev == nullptr);
        }
        ASSERT_EQ(expected.empty(), tailqEmpty(&head));
        item **last = &head.tqh_first;
        item *walk = tailqFirst(&head);
        for (item *want : expected) {
            ASSERT_EQ(want, walk);
            ASSERT_EQ(last, walk->link.tqe_prev);
            last = &walk->link.tqe_next;
            walk = tailqNext<&item::link>(walk);
        }
        ASSERT_TRUE(walk == nullptr && head.tqh_last == last);
    }
    unsigned others = 0;
    for (item *i = tailqFirst(&second); i; i = tailqNext<&item::other>(i))
        ASSERT_EQ(&items[others++], i);
    EXPECT_EQ(std::size(items), others);
}

} // namespace
