// AVL trees and lists against models, in long random sequences, on the heap, in pools and in a store that refuses
// memory now and then; and the order, limits and failures that the sequences do not meet.
#include <algorithm>
#include <deque>
#include <list>
#include <map>

#include "host/describe.h"
#include "host/store.h"
#include "inventory/tailq.h"
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

template <typename View>
std::vector<int> keysOf(const View &view)
{
    std::vector<int> keys;
    for (const Item &entry : view)
        keys.push_back(entry.key);
    return keys;
}

struct Shape {
    int height = 0;
    int size = 0;
};

// Checks links, sides, balance and rank of a subtree and appends its payloads in order.
Shape check(const tnx_avl_node_t *node, const tnx_avl_node_t *parent, int side, std::vector<const Item *> &order)
{
    if (!node)
        return {};
    EXPECT_EQ(node->parent, parent);
    EXPECT_TRUE(!parent || node->flag == side);
    const Shape left = check(node->left, node, 0, order);
    order.push_back(item(node));
    const Shape right = check(node->right, node, 1, order);
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
    std::vector<const Item *> order, expected;
    const Shape shape = check(tree->root, nullptr, 0, order);
    for (const auto &[key, entry] : model)
        expected.push_back(entry);
    ASSERT_EQ(order, expected);
    ASSERT_EQ(avl_get_tree_size(tree), shape.size);
    size_t at = 0;
    for (const tnx_avl_node_t *node = avl_getnext(tree, nullptr); node; node = avl_getnext(tree, node))
        ASSERT_EQ(item(node), expected[at++]);
    ASSERT_EQ(at, expected.size());
    for (const tnx_avl_node_t *node = avl_getlast(tree); node; node = avl_getprev(tree, node))
        ASSERT_EQ(item(node), expected[--at]);
    for (const Item *entry : expected)
        ASSERT_EQ(item(entry->node), entry); // no payload has changed its node
}

void compareLookups(const tnx_avl_tree_t *tree, const Model &model, int key)
{
    const Item probe = {key};
    EXPECT_EQ(keyOf(avl_search(tree, &probe)), model.count(key) ? key : -1);
    const auto after = model.upper_bound(key);
    EXPECT_EQ(keyOf(avl_get_next(tree, &probe)), after == model.end() ? -1 : after->first);
    const auto from = model.lower_bound(key);
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
    Item items[] = {{5}, {3}, {5}, {9}, {1}};
    EXPECT_EQ(avl_insert_nodup(tree, &items[0]), 0);
    EXPECT_EQ(avl_insert_nodup(tree, &items[1]), 0);
    EXPECT_EQ(avl_insert_nodup(tree, &items[2]), -1);
    EXPECT_EQ(item(avl_insert_return_node(tree, &items[2], 0)), &items[0]);
    EXPECT_EQ(avl_get_tree_size(tree), 2); // the node went back to the pool
    EXPECT_EQ(avl_insert(tree, &items[2]), 0);
    EXPECT_EQ(avl_insert(tree, &items[3]), 0);
    EXPECT_EQ(avl_insert(tree, &items[4]), -1); // the pool is empty
    EXPECT_EQ(avl_remove_info(tree, &items[1]), 0);
    EXPECT_EQ(avl_insert(tree, &items[4]), 0);
    EXPECT_EQ(avl_tree_cleanup(tree, nullptr), 0);
    EXPECT_EQ(avl_top(tree), nullptr);
    EXPECT_EQ(avl_get_tree_size(tree), 0);
    EXPECT_EQ(avl_tree_free(&tree, nullptr), 0);
    EXPECT_EQ(avl_tree_free(&tree, nullptr), 0);
    EXPECT_EQ(avl_search(nullptr, &items[0]), nullptr);
    EXPECT_EQ(avl_getfirst(nullptr), nullptr);
}

// A refused duplicate below a left turn leaves the ranks on its way raised.
TEST_F(ContainersTest, ARefusedDuplicateLeavesItsTraceInTheRanks)
{
    Item items[] = {{5}, {3}, {3}};
    (void)avl_insert_nodup(tree, &items[0]);
    (void)avl_insert_nodup(tree, &items[1]);
    EXPECT_EQ(avl_top(tree)->rank, 2);
    EXPECT_EQ(avl_insert_nodup(tree, &items[2]), -1);
    EXPECT_EQ(avl_top(tree)->rank, 3);
}

TEST_F(ContainersTest, WalksVisitInOrderAndStopOnNegativeResults)
{
    constexpr int COUNT = 5000;
    std::deque<Item> items;
    for (int i = 0; i < COUNT; ++i)
        (void)avl_insert(tree, &items.emplace_back(Item{i * 7 % COUNT}));
    std::vector<int> seen;
    const auto stopAt3 = [](void *info, void *a, void *b) {
        static_cast<std::vector<int> *>(a)->push_back(static_cast<Item *>(info)->key);
        return static_cast<Item *>(info)->key == *static_cast<int *>(b) ? -9 : 1;
    };
    int limit = 3;
    EXPECT_EQ(avl_traverse2(tree, stopAt3, &seen, &limit), -9);
    EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 3}));
    // A walk may delete what it stands on.
    const auto removeOdd = [](void *info, void *a) {
        return static_cast<Item *>(info)->key % 2 ? avl_remove(static_cast<tnx_avl_tree_t *>(a), info) : 0;
    };
    EXPECT_EQ(avl_traverse(tree, removeOdd, tree), 0);
    EXPECT_EQ(avl_get_tree_size(tree), COUNT / 2);
    for (Item &entry : items)
        if (entry.key % 2)
            (void)avl_insert(tree, &entry);

    seen.clear();
    limit = -1;
    int counter = 0;
    tnx_avl_node_t *resume = nullptr;
    EXPECT_EQ(avl_paginate_traverse3(tree, avl_getfirst(tree), stopAt3, &seen, &limit, &counter, &resume), 0);
    EXPECT_EQ(counter, AVL_PAGE);
    EXPECT_EQ(keyOf(resume), AVL_PAGE);
    counter = 0;
    EXPECT_EQ(avl_paginate_traverse3(tree, resume, stopAt3, &seen, &limit, &counter, &resume), 0);
    EXPECT_EQ(resume, nullptr);
    EXPECT_EQ(seen.size(), static_cast<size_t>(COUNT));
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));

    // Pre-order: each node ahead of what hangs below it, every node once.
    int visited = 0;
    for (const tnx_avl_node_t *node = avl_top(tree); node; node = avl_next(node)) {
        ++visited;
        const tnx_avl_node_t *below = node->left ? node->left : node->right;
        EXPECT_TRUE(!below || avl_next(node) == below);
    }
    EXPECT_EQ(visited, COUNT);
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

void randomList(unsigned seed, ha_hndl_t ha, int steps)
{
    Random random(seed);
    tnx_list_t *list = list_create_ha_dbg(ha, 0, compareItems, nullptr, "compareItems", nullptr, "items");
    std::list<Item> items;
    std::list<Item *> model; // sorted, equal ones in the order of their arrival
    for (int i = 0; i < steps; ++i) {
        Item &fresh = items.emplace_back(Item{static_cast<int>(random.roll() % 40)});
        const auto less = [](const Item *a, const Item *b) { return a->key < b->key; };
        const auto low = std::lower_bound(model.begin(), model.end(), &fresh, less);
        const bool known = low != model.end() && (*low)->key == fresh.key;
        Item *first = known ? *low : nullptr;
        EXPECT_EQ(list_lookup_data(list, &fresh), first);
        const ha_hndl_t now = ha && random.oneIn(8) ? REFUSING : ha;
        switch (random.roll() % 4) {
        case 0:
            list->ha_hndl = now;
            EXPECT_NE(listnode_add_sort(list, &fresh), nullptr);
            model.insert(std::upper_bound(model.begin(), model.end(), &fresh, less), &fresh);
            break;
        case 1:
            list->ha_hndl = now;
            EXPECT_EQ(listnode_add_sort_nodup(list, &fresh), known ? 1 : 0);
            if (!known)
                model.insert(low, &fresh);
            break;
        case 2:
            EXPECT_EQ(list_delete_data(list, &fresh), known ? 0 : -1);
            if (known)
                model.erase(low);
            break;
        default:
            EXPECT_EQ(listnode_delete(list, first), known ? 0 : -1);
            model.remove(first);
        }
        list->ha_hndl = ha;
        std::list<void *> forward, backward;
        for (const tnx_listnode_t *node = list->head; node; node = node->next)
            forward.push_back(node->data);
        for (const tnx_listnode_t *node = list->tail; node; node = node->prev)
            backward.push_front(node->data);
        ASSERT_EQ(forward, std::list<void *>(model.begin(), model.end()));
        ASSERT_EQ(backward, forward);
        ASSERT_EQ(list->count, model.size());
    }
    list_delete(list);
}

TEST_F(ContainersTest, RandomListsMatchTheModel)
{
    randomList(1, 0, 3000);
    randomList(2, STORE, 3000);
}

TEST_F(ContainersTest, TypedViews)
{
    EXPECT_TRUE(keysOf(listView<const Item>(nullptr)).empty());
    EXPECT_TRUE(keysOf(avlView<const Item>(nullptr)).empty());
    EXPECT_EQ(avlFind(nullptr, Item{1}), nullptr);
    EXPECT_EQ(listFind(nullptr, Item{1}), nullptr);
    Item i[] = {{2}, {1}, {3}};
    tnx_list_t *list = list_create(compareItems, nullptr);
    for (Item &entry : i) {
        (void)avl_insert(tree, &entry);
        listnode_add(list, &entry);
    }
    EXPECT_EQ(keysOf(avlView<const Item>(tree)), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(keysOf(listView<const Item>(list)), (std::vector<int>{2, 1, 3}));
    EXPECT_EQ(avlFind(tree, Item{3}), &i[2]);
    EXPECT_EQ(listFind(list, Item{1}), &i[1]);
    EXPECT_EQ(avlFind(tree, Item{4}), nullptr);
    EXPECT_EQ(listFind(list, Item{4}), nullptr);
    list_delete(list);
}

TEST_F(ContainersTest, ListPositionsAndLookups)
{
    Item i[] = {{0}, {1}, {2}, {3}, {4}, {5}};
    tnx_list_t *list = list_new();
    EXPECT_EQ(listnode_add(list, nullptr), nullptr);
    EXPECT_EQ(listnode_add(nullptr, &i[0]), nullptr);
    tnx_listnode_t *middle = listnode_add_sort(list, &i[2]); // without a comparison: at the end
    EXPECT_EQ(listnode_add_nodup(list, &i[2]), middle);
    listnode_add_before(list, middle, &i[1]);
    listnode_add_after(list, middle, &i[3]);
    listnode_add_before(list, nullptr, &i[4]);
    listnode_add_after(list, nullptr, &i[0]);
    list_add_node_next(list, list->tail, &i[5]);
    EXPECT_EQ(list_add_node_prev(list, nullptr, &i[5]), nullptr);
    EXPECT_EQ(keysOf(listView<const Item>(list)), (std::vector<int>{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(listnode_head(list), &i[0]);
    EXPECT_EQ(list_lookup_data(list, &i[3]), nullptr); // needs a comparison
    EXPECT_EQ(list_lookup_data2(list, compareItems, &i[3]), &i[3]);
    EXPECT_EQ(list_delink_node(list, middle), listnode_lookup(list, &i[3]));

    tnx_list_t *other = list_create(compareItems, [](void *data) { static_cast<Item *>(data)->key = 100; });
    Item same = {3};
    listnode_add(other, &same);
    EXPECT_EQ(list_add_list(other, list), 0);
    EXPECT_EQ(list_lookup_data_tail(other, &i[3]), &i[3]);
    EXPECT_EQ(list_lookup_data_node(other, &i[3])->data, &same);
    EXPECT_EQ(list_lookup_next_data_node(other, other->head, &i[3])->data, &i[3]);
    // In a sorted list the search from the tail ends at the first smaller one.
    EXPECT_EQ(list_lookup_data_tail_sorted(other, &i[4]), &i[4]);
    listnode_add(other, &i[0]);
    EXPECT_EQ(list_lookup_data_tail_sorted(other, &i[4]), nullptr);
    list_delete(other);
    EXPECT_EQ(same.key, 100);
    EXPECT_EQ(i[0].key, 100);
    list_delete(list);
    list_delete(nullptr);
}

struct Queued {
    tailqEntry<Queued> link, other;
};

TEST(Tailq, MatchesAListUnderRandomInsertsAndRemovals)
{
    Random random(20);
    Queued items[12] = {};
    tailqHead<Queued> head, second;
    std::list<Queued *> expected;
    tailqInit(&head);
    tailqInit(&second);
    for (Queued &i : items) // membership in another queue must stay as it is
        tailqInsertTail<&Queued::other>(&second, &i);
    for (int step = 0; step < 2000; ++step) {
        Queued *elem = &items[random.roll() % std::size(items)];
        if (elem->link.tqe_prev == nullptr) {
            tailqInsertTail<&Queued::link>(&head, elem);
            expected.push_back(elem);
        } else {
            tailqRemove<&Queued::link>(&head, elem);
            expected.remove(elem);
            ASSERT_TRUE(elem->link.tqe_next == nullptr && elem->link.tqe_prev == nullptr);
        }
        ASSERT_EQ(expected.empty(), tailqEmpty(&head));
        Queued **last = &head.tqh_first;
        Queued *walk = tailqFirst(&head);
        for (Queued *want : expected) {
            ASSERT_EQ(want, walk);
            ASSERT_EQ(last, walk->link.tqe_prev);
            last = &walk->link.tqe_next;
            walk = tailqNext<&Queued::link>(walk);
        }
        ASSERT_TRUE(walk == nullptr && head.tqh_last == last);
    }
    unsigned others = 0;
    for (Queued *i = tailqFirst(&second); i; i = tailqNext<&Queued::other>(i))
        ASSERT_EQ(&items[others++], i);
    EXPECT_EQ(std::size(items), others);
}

} // namespace
