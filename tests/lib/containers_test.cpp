// SPDX-License-Identifier: Apache-2.0
// AVL trees and lists against models, in long random sequences, on the heap, in pools and in a store that
// refuses memory now and then; and the order, limits and failures that the sequences do not meet.
#include <deque>
#include <list>

#include "host/delta.h"
#include "host/delta_records.h"
#include "host/describe.h"
#include "host/store.h"
#include "host/track.h"
#include "lib/avl.h"
#include "lib/linklist.h"
#include "lib/tha_mem.h"
#include "lib/views.h"
#include "tests/support/fake_os.h"

namespace {

struct Item {
    int key;
    tnx_avl_node_t *node = nullptr;
};

int compareItems(const void *a, const void *b)
{
    return static_cast<const Item *>(a)->key - static_cast<const Item *>(b)->key;
}

const Item *item(const tnx_avl_node_t *node)
{
    return node ? avlPayload<const Item>(node) : nullptr;
}

int keyOf(const tnx_avl_node_t *node)
{
    return node ? item(node)->key : -1;
}

struct Shape {
    int height = 0;
    int size = 0;
};

// Checks links, sides, balance and rank of a subtree, and that the walk from above it meets each node ahead of what
// hangs below.
Shape check(const tnx_avl_node_t *node, const tnx_avl_node_t *parent, int side, const tnx_avl_node_t *&walked)
{
    if (!node)
        return {};
    EXPECT_EQ(node, walked);
    walked = avl_next(node);
    EXPECT_EQ(node->parent, parent);
    EXPECT_TRUE(!parent || node->flag == side);
    const Shape left = check(node->left, node, 0, walked);
    const Shape right = check(node->right, node, 1, walked);
    EXPECT_EQ(node->balance, right.height - left.height);
    EXPECT_LE(std::abs(node->balance), 1);
    EXPECT_EQ(node->rank, left.size + 1);
    return {std::max(left.height, right.height) + 1, left.size + right.size + 1};
}

constexpr ha_hndl_t STORE = 1, REFUSING = 2; // the store knows no handle but the first

class ContainersTest : public fake_os::Test {
protected:
    static void registerTypes()
    {
        EXPECT_EQ(lib_tha_avl_tree_reg(STORE, compareItems, "compareItems"), 0);
        EXPECT_EQ(lib_tha_linklist_reg(STORE, compareItems, "compareItems", free, "free"), 0);
    }
    void SetUp() override
    {
        ha_register_t record = {};
        strcpy(record.atom, "store");
        ha_hndl_t ha = STORE;
        static const int opened = ha_register(&record, "", &ha, nullptr);
        ASSERT_TRUE(opened == 0 && ha == STORE);
        registerTypes();
        lib_tha_debug = true;
        testing::internal::CaptureStdout();
        ASSERT_EQ(avl_create(&tree, 0, compareItems), 0);
    }
    void TearDown() override
    {
        avl_tree_free(&tree, nullptr);
        EXPECT_EQ(store_totals.blocks, 0u); // nothing of the store is lost, and nothing of the heap is given to it
        EXPECT_EQ(testing::internal::GetCapturedStdout().find("free_ptr"), std::string::npos);
    }
    tnx_avl_tree_t *tree = nullptr;
};

// Equal keys stand with the latest first.
using Model = std::multimap<int, Item *>;

void compare(const tnx_avl_tree_t *tree, const Model &model)
{
    const tnx_avl_node_t *walked = avl_top(tree), *last = avl_getlast(tree);
    ASSERT_EQ(check(tree->root, nullptr, 0, walked).size, avl_get_tree_size(tree));
    ASSERT_EQ(walked, nullptr);
    std::vector<Item *> seen, expected;
    for (const auto &[key, entry] : model)
        expected.push_back(entry);
    for (Item &entry : avlView<Item>(tree)) {
        seen.push_back(&entry);
        ASSERT_EQ(item(entry.node), &entry); // no payload has changed its node
    }
    ASSERT_EQ(seen, expected);
    for (; last; last = avl_getprev(tree, last), seen.pop_back())
        ASSERT_EQ(item(last), seen.back());
    ASSERT_TRUE(seen.empty());
}

void compareLookups(const tnx_avl_tree_t *tree, const Model &model, int key)
{
    const Item probe = {key}, *found = avlFind(tree, probe);
    EXPECT_EQ(found ? found->key : -1, model.count(key) ? key : -1);
    const auto after = model.upper_bound(key), from = model.lower_bound(key);
    EXPECT_EQ(keyOf(avl_get_next(tree, &probe)), after == model.end() ? -1 : after->first);
    EXPECT_EQ(keyOf(avl_get_prev(tree, &probe)), from == model.begin() ? -1 : std::prev(from)->first);
}

void randomTree(unsigned seed, ha_hndl_t ha, int pool, int keys, int steps)
{
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    tnx_avl_tree_t *tree = nullptr;
    ASSERT_EQ(avl_create_ha_dbg(ha, 3, &tree, pool, compareItems, "compareItems", "items"), 0);
    std::list<Item> items;
    Model model;
    for (int i = 0; i < steps && !testing::Test::HasFatalFailure(); ++i) {
        const int key = static_cast<int>(random.below(static_cast<unsigned>(keys)));
        const Item probe = {key};
        // Growth and decay alternate.
        const bool grow = random.roll() % 8 < ((i / 512) % 2 ? 3u : 5u);
        if (grow) {
            Item &fresh = items.emplace_back(Item{key});
            tree->ha_hndl = ha && random.oneIn(8) ? REFUSING : ha; // every eighth node
            fresh.node = avl_insert_return_node(tree, &fresh, 1);
            tree->ha_hndl = ha;
            const bool full = pool && static_cast<int>(model.size()) == pool;
            ASSERT_EQ(fresh.node == nullptr, full);
            if (fresh.node)
                model.emplace_hint(model.lower_bound(key), key, &fresh);
        } else if (const auto found = model.lower_bound(key); found != model.end()) {
            // By node, so that nodes of every place in the tree go; sometimes by key.
            tnx_avl_node_t *node = random.roll() % 2 ? found->second->node : avl_search(tree, &probe);
            if (node) {
                const Item *gone = item(node);
                EXPECT_EQ(avl_delete_node(tree, node), 0);
                model.erase(std::find_if(model.begin(), model.end(), [&](auto &e) { return e.second == gone; }));
            }
        } else {
            EXPECT_EQ(avl_remove(tree, &probe), -1);
        }
        if (i % 16 == 0)
            compare(tree, model);
        compareLookups(tree, model, key);
    }
    compare(tree, model);
    EXPECT_EQ(avl_tree_free(&tree, [](void *info) { static_cast<Item *>(info)->key = -2; }), 0);
    EXPECT_EQ(tree, nullptr);
    for (const auto &[key, entry] : model)
        EXPECT_EQ(entry->key, -2);
}

TEST_F(ContainersTest, RandomTreesMatchTheModel)
{
    randomTree(1, 0, 0, 1000, 8000);
    randomTree(2, 0, 0, 12, 4000); // many equal keys
    randomTree(3, 0, 60, 100, 6000);
    randomTree(4, STORE, 0, 500, 8000);
    randomTree(5, STORE, 40, 30, 4000);
}

TEST_F(ContainersTest, TreesRefuseDuplicatesWhenAsked)
{
    avl_tree_free(&tree, nullptr);
    EXPECT_EQ(avl_create(&tree, -1, compareItems), -1);
    ASSERT_EQ(avl_create(&tree, 4, compareItems), 0);
    Item items[] = {{5}, {3}, {3}, {9}, {1}, {7}};
    EXPECT_EQ(avl_insert_nodup(tree, &items[0]), 0);
    EXPECT_EQ(avl_insert_nodup(tree, &items[1]), 0);
    EXPECT_EQ(avl_top(tree)->rank, 2);
    EXPECT_EQ(avl_insert_nodup(tree, &items[2]), -1);
    EXPECT_EQ(avl_top(tree)->rank, 3); // a left turn on its way leaves its trace
    EXPECT_EQ(item(avl_insert_return_node(tree, &items[2], 0)), &items[1]);
    EXPECT_EQ(avl_get_tree_size(tree), 2); // the node went back to the pool
    EXPECT_EQ(avl_insert(tree, &items[3]), 0);
    EXPECT_EQ(avl_insert(tree, &items[4]), 0);
    EXPECT_EQ(avl_insert(tree, &items[5]), -1); // the pool is empty
    EXPECT_EQ(avl_remove_info(tree, &items[1]), 0);
    EXPECT_EQ(avl_insert(tree, &items[5]), 0);
    EXPECT_EQ(avl_tree_free(&tree, nullptr), 0);
    EXPECT_EQ(avl_tree_free(&tree, nullptr), 0);
    EXPECT_TRUE(!avlFind(tree, items[0]) && !avl_getfirst(tree) && avl_get_tree_size(tree) == 0);
}

TEST_F(ContainersTest, WalksVisitInOrderAndStopOnNegativeResults)
{
    constexpr int COUNT = 5000;
    std::deque<Item> items;
    for (int i = 0; i < COUNT; ++i)
        (void)avl_insert(tree, &items.emplace_back(Item{i * 7 % COUNT}));
    std::vector<int> seen;
    const auto stopAt = [](void *info, void *a, void *b) {
        static_cast<std::vector<int> *>(a)->push_back(static_cast<Item *>(info)->key);
        return static_cast<Item *>(info)->key == *static_cast<int *>(b) ? -9 : 1;
    };
    int limit = 3;
    EXPECT_EQ(avl_traverse2(tree, stopAt, &seen, &limit), -9);
    EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 3}));
    const auto ends = [](void *, void *a, void *b, void *c) { return a == c && !b ? -7 : 0; };
    EXPECT_EQ(avl_traverse3(tree, ends, &seen, nullptr, &seen), -7);

    seen.clear();
    limit = -1;
    int counter = 0;
    tnx_avl_node_t *resume = nullptr;
    EXPECT_EQ(avl_paginate_traverse3(tree, avl_getfirst(tree), stopAt, &seen, &limit, &counter, &resume), 0);
    EXPECT_EQ(counter, AVL_PAGE);
    EXPECT_EQ(keyOf(resume), AVL_PAGE);
    counter = 0;
    EXPECT_EQ(avl_paginate_traverse3(tree, resume, stopAt, &seen, &limit, &counter, &resume), 0);
    EXPECT_EQ(resume, nullptr);
    EXPECT_EQ(seen.size(), static_cast<size_t>(COUNT));
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));

    // A walk may delete what it stands on.
    const auto removeOdd = [](void *info, void *a) {
        return static_cast<Item *>(info)->key % 2 ? avl_remove(static_cast<tnx_avl_tree_t *>(a), info) : 0;
    };
    EXPECT_EQ(avl_traverse(tree, removeOdd, tree), 0);
    EXPECT_EQ(avl_get_tree_size(tree), COUNT / 2);
}

TEST_F(ContainersTest, TheStoreGetsTypesAndTags)
{
    const auto expectBlock = [](const void *address, const char *type, int tag) {
        ASSERT_NE(storeBlock(address), nullptr) << type;
        EXPECT_EQ(storeBlock(address)->type, describeType(type));
        EXPECT_EQ(storeBlock(address)->tag, tag) << type;
    };
    avl_tree_free(&tree, nullptr);
    ASSERT_EQ(avl_create_ha_dbg(STORE, 0, &tree, 0, compareItems, "compareItems", "0123456789012345678901234567890"),
              0);
    EXPECT_STREQ(tree->avl_tree_name, "123456789012345678901234567890");
    Item *payload = static_cast<Item *>(ha_calloc(STORE, sizeof(Item), "~U08", 0, 1));
    (void)avl_insert(tree, payload);
    expectBlock(tree->root, "tnx_avl_node_t", 0x4000000);
    expectBlock(tree, "tnx_avl_tree_t", 0);
    const Item key = *payload;
    EXPECT_EQ(avl_remove_info2(tree, &key, STORE), 0);
    EXPECT_EQ(avl_remove_info2(tree, &key, STORE), -1);

    tnx_list_t *list = list_new_ha_dbg(STORE, 0, nullptr);
    EXPECT_STREQ(list->list_name, "unkown");
    listnode_add(list, &tree);
    expectBlock(list->head, "tnx_listnode_t", 0x4000000);
    expectBlock(list, "tnx_list_t", 0);
    list_delete(list);

    registerTypes(); // again
    for (auto *function : {reinterpret_cast<void *>(compareItems), reinterpret_cast<void *>(free)})
        EXPECT_GE(describeFunctionNumber(reinterpret_cast<uintptr_t>(function)), 0);
    EXPECT_NE(lib_tha_avl_tree_reg(STORE, nullptr, "missing"), 0);
}

// A change is found whether it was told ahead or meets the protection, in any mixture over the same pages.
TEST_F(ContainersTest, TheStoreFindsEveryChange)
{
    constexpr uint32_t SIZE = 6 * 4096;
    auto *bytes = static_cast<unsigned char *>(ha_calloc(STORE, SIZE, "~U08", 0, 0));
    const auto number = static_cast<uint32_t>(storeBlock(bytes) - storeBlocks().data());
    std::vector<unsigned char> copy(SIZE);
    ASSERT_TRUE(trackStart());
    deltaRemember();
    Random random(1);
    for (int sync = 0; sync < 500; ++sync) {
        for (uint32_t left = random.below(sync % 20 ? 6 : 800); left > 0; --left) {
            if (random.oneIn(100) && ha_free(STORE, bytes) == 0)
                bytes = static_cast<unsigned char *>(ha_calloc(STORE, SIZE, "~U08", 0, 0));
            const uint32_t size = 1 + random.below(random.oneIn(9) ? 4096 : 16);
            unsigned char *const at = bytes + random.below(SIZE - size);
            memset(random.percent(80) ? ha_edit(STORE, at, size) : at, static_cast<int>(random.below(3)), size);
        }
        delta_t delta = {};
        deltaChanges(&delta);
        ASSERT_TRUE(trackSettle());
        for (std::span<const uint32_t> rest = delta.words; !rest.empty(); rest = rest.subspan(deltaRecordLength(rest)))
            if (rest[1] == number && (rest[0] & DELTA_OP) == DELTA_BLOCK)
                std::fill(copy.begin(), copy.end(), 0);
            else if (rest[1] == number)
                memcpy(&copy[rest[2]], &rest[3], rest[0] >> DELTA_SHIFT);
        ASSERT_EQ(memcmp(copy.data(), bytes, SIZE), 0) << sync;
    }
    trackStop();
    EXPECT_EQ(ha_free(STORE, bytes), 0);
}

void randomList(unsigned seed, ha_hndl_t ha, int steps)
{
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    tnx_list_t *list = list_create_ha_dbg(ha, 0, compareItems, nullptr, "compareItems", nullptr, "items");
    std::list<Item> items;
    std::list<void *> model; // sorted, equal ones in the order of their arrival
    const auto less = [](const void *a, const void *b) { return compareItems(a, b) < 0; };
    for (int i = 0; i < steps; ++i) {
        Item &fresh = items.emplace_back(Item{static_cast<int>(random.below(40))});
        const auto [low, high] =
            std::equal_range<std::list<void *>::iterator, void *>(model.begin(), model.end(), &fresh, less);
        const bool known = low != high;
        void *const first = known ? *low : nullptr, *const last = known ? *std::prev(high) : nullptr;
        EXPECT_EQ(listFind(list, fresh), first);
        EXPECT_EQ(list_lookup_data2(list, compareItems, &fresh), first);
        EXPECT_EQ(list_lookup_data_tail(list, &fresh), last);
        EXPECT_EQ(list_lookup_data_tail_sorted(list, &fresh), last);
        tnx_listnode_t *next = list_lookup_next_data_node(list, listnode_lookup(list, first), &fresh);
        EXPECT_EQ(next ? next->data : first, first == last ? first : *std::next(low));
        const auto nodeOf = [&](auto at) { return at == model.end() ? nullptr : listnode_lookup(list, *at); };
        const unsigned action = random.below(7);
        list->ha_hndl = ha && action < 4 && random.oneIn(8) ? REFUSING : ha;
        if (action == 0)
            EXPECT_NE(listnode_add_sort(list, &fresh), nullptr);
        else if (action == 1)
            EXPECT_NE(listnode_add_before(list, nodeOf(high), &fresh), nullptr);
        else if (action == 2)
            EXPECT_NE(listnode_add_after(list, high == model.begin() ? nullptr : nodeOf(std::prev(high)), &fresh),
                      nullptr);
        else if (action == 3)
            EXPECT_EQ(listnode_add_sort_nodup(list, &fresh), known ? 1 : 0);
        else if (action == 4)
            EXPECT_EQ(list_delete_data(list, &fresh), known ? 0 : -1);
        else if (action == 5)
            EXPECT_EQ(listnode_delete(list, first), known ? 0 : -1);
        else
            EXPECT_EQ(list_delink_node(list, known ? nodeOf(low) : nullptr), known ? nodeOf(std::next(low)) : nullptr);
        if (action < 3 || (action == 3 && !known))
            model.insert(high, &fresh);
        else if (action > 3 && known)
            model.erase(low);
        list->ha_hndl = ha;
        std::list<void *> forward, backward;
        for (Item &entry : listView<Item>(list))
            forward.push_back(&entry);
        for (const tnx_listnode_t *node = list->tail; node; node = node->prev)
            backward.push_front(node->data);
        ASSERT_EQ(forward, model);
        ASSERT_EQ(backward, model);
        ASSERT_EQ(list->count, model.size());
    }
    list_delete(list);
}

TEST_F(ContainersTest, RandomListsMatchTheModel)
{
    randomList(1, 0, 3000);
    randomList(2, STORE, 3000);
}

TEST_F(ContainersTest, ListsWithoutOrderAndTheirEnds)
{
    Item i[] = {{0}, {1}, {2}, {3}, {4}};
    tnx_list_t *list = list_new();
    EXPECT_EQ(listnode_add(list, nullptr), nullptr);
    EXPECT_EQ(listnode_add(nullptr, &i[0]), nullptr);
    EXPECT_EQ(listnode_head(list), nullptr);
    tnx_listnode_t *last = listnode_add_sort(list, &i[4]); // without a comparison: at the end
    last = listnode_add_sort(list, &i[3]);
    EXPECT_EQ(listnode_add_nodup(list, &i[3]), last);
    EXPECT_EQ(list_add_node_next(list, nullptr, &i[0]), nullptr);
    EXPECT_EQ(list_add_node_prev(list, nullptr, &i[0]), nullptr);
    EXPECT_EQ(listnode_head(list), &i[4]);
    EXPECT_EQ(list_lookup_data(list, &i[3]), nullptr); // needs a comparison

    tnx_list_t *other = list_create(compareItems, [](void *data) { static_cast<Item *>(data)->key += 100; });
    EXPECT_EQ(list_add_list(other, list), 0);
    EXPECT_EQ(list_add_list(other, other), 0);
    EXPECT_EQ(other->count, 4u);
    EXPECT_EQ(list_lookup_data_tail_sorted(other, &i[4]), nullptr); // the first smaller one ends it
    list_delete(other);
    EXPECT_EQ(i[3].key + i[4].key, 407);
    EXPECT_EQ(listnode_delete_data(list, &i[3]), 0);
    tnx_listnode_t *nodes[3]; // of the caller's own; the list gives them back
    for (int k = 0; k < 3; ++k) {
        nodes[k] = static_cast<tnx_listnode_t *>(calloc(1, sizeof *nodes[k]));
        nodes[k]->data = &i[k];
    }
    list_prepend_node(list, nodes[0]);
    listnode_add_node(list, nodes[1]);
    list_insert_node(list, nodes[1], nodes[2]);
    EXPECT_TRUE(list->head == nodes[0] && list->tail == nodes[1]);
    EXPECT_TRUE(nodes[0]->next->data == &i[4] && nodes[2]->prev->data == &i[4] && nodes[2]->next == nodes[1]);
    list_delete_list(list);
    list_delete(nullptr);
    EXPECT_TRUE(!listFind(nullptr, i[0]) && listView<Item>(nullptr).begin() == listView<Item>(nullptr).end());
}

} // namespace
