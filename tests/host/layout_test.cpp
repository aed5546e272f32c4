// SPDX-License-Identifier: Apache-2.0
// What a process makes of another build's records: which it takes, which it refuses by name, and where things come to
// stand in its own.
#include <cstring>
#include <functional>
#include <gtest/gtest.h>

#include "host/delta.h"
#include "host/delta_records.h"
#include "host/describe.h"
#include "host/layout.h"
#include "host/store.h"
#include "host/translate.h"

namespace {

using Words = std::vector<uint32_t>;

struct Link {
    void *next, **back;
};
struct Element { // the other build has the link ahead of the number
    uint32_t number;
    Link link;
};
struct Small { // 16 bytes there, without `added`, and `same` ahead of `big`
    uint64_t added;
    uint32_t big, same;
    uint64_t wide;
    unsigned char rest[16];
};
struct Root {
    void *first, **last;
    uint32_t count;
} root, alone;

enum : uint32_t { HEAD = 8, LINK, ELEMENT, SMALL, ROOT, LOST };
constexpr uint32_t PTR = sizeof(void *);

// Once, in this order of types.
void describe()
{
    static const ha_field_t head[] = {{"tqh_first", 0, PTR, "~Ptr"}, {"tqh_last", PTR, PTR, "~Ptr"}},
                            link[] = {{"tqe_next", 0, PTR, "~Ptr"}, {"tqe_prev", PTR, PTR, "~Ptr"}},
                            element[] = {{"n", 0, 4, "~U32"},
                                         {"link", offsetof(Element, link), 2 * PTR, "struct te_e"}},
                            small[] = {{"ad", 0, 8, "~U64"}, {"b", 8, 4, "~U32"}, {"s", 12, 4, "~U32"}},
                            whole[] = {{"head", 0, 2 * PTR, "struct th_e"}, {"c", 2 * PTR, 4, "~U32"}},
                            lost[] = {{"w", 0, 4, "~U32"}};
    static const ha_detail_t details[] = {{false, 0x0102}, {true, 0}, {false, 0}};
    EXPECT_TRUE(storeOpen());
    EXPECT_EQ(describeStruct("struct th_e", 2 * PTR, 2, head) + describeStruct("struct te_e", 2 * PTR, 2, link), 0);
    EXPECT_EQ(describeStruct("e", sizeof(Element), 2, element) + describeStruct("small", sizeof(Small), 3, small), 0);
    EXPECT_EQ(describeStruct("root", sizeof(Root), 2, whole) + describeStruct("lost", 4, 1, lost), 0);
    EXPECT_EQ(describeDetails("small", 1, 3, details), 0);
    EXPECT_EQ(describeObject("alone", &alone, sizeof alone, "root") + describeObject("top", &root, sizeof root, "root"),
              0);
}

// The word behind a name in the description.
uint32_t &behind(Words &words, const std::string &name)
{
    Words text = {static_cast<uint32_t>(name.size())};
    text.resize(1 + (name.size() + 3) / 4);
    memcpy(&text[1], name.data(), name.size());
    return *(std::search(words.begin(), words.end(), text.begin(), text.end()) + static_cast<long>(text.size()));
}

void rename(Words &words, const std::string &name, char first)
{
    reinterpret_cast<char &>((&behind(words, name))[-1 - static_cast<long>((name.size() - 1) / 4)]) = first;
}

Words delta(std::initializer_list<Words> records, uint64_t sequence)
{
    delta_t made = {};
    for (const Words &record : records)
        made.words.insert(made.words.end(), record.begin(), record.end());
    made.records = static_cast<uint32_t>(records.size());
    deltaCommit(&made, sequence);
    return made.words;
}

void take(const Words &words, bool dump, uint64_t sequence)
{
    Words own;
    ASSERT_EQ(translate(words, dump, sequence, &own), "");
    ASSERT_EQ(deltaWrong(own, dump, sequence), "");
    if (dump)
        deltaClear();
    ASSERT_TRUE(deltaTake(own));
}

template <typename Record>
Record *blockAt(size_t number)
{
    return reinterpret_cast<Record *>(storeBase() + storeBlocks()[number].offset);
}

} // namespace

TEST(Layout, WhatChangedItsMeaningIsNamed)
{
    describe();
    const struct {
        std::string wrong;
        std::function<void(Words &)> edit;
    } rows[] = {
        {"", [](Words &) {}},
        {"", [](Words &w) { rename(w, "ad", 'x'); }},
        {"small changed its meaning: version 2 in the active process, 1 in the standby",
         [](Words &w) { ++behind(w, "small"); }},
        {"small.s changed its type: ~I32 in the active process, ~U32 in the standby",
         [](Words &w) { (&behind(w, "s"))[2] = 4; }},
        {"small.b changed its byte order", [](Words &w) { (&behind(w, "b"))[3] = 0; }},
        {"small.ad changed its size: 4 bytes in the active process, 8 in the standby",
         [](Words &w) { (&behind(w, "ad"))[1] = 4; }},
        {"~U16 changed its size: 4 bytes in the active process, 2 in the standby",
         [](Words &w) { (&behind(w, "~U16"))[1] = 4; }},
        {"e.link changed its size: 12 bytes in the active process, " + std::to_string(2 * sizeof(void *)) +
             " in the standby",
         [](Words &w) { (&behind(w, "link"))[1] = 12; }},
        {"top changed its type or size", [](Words &w) { behind(w, "top") *= 2; }},
        {"it is of another machine", [](Words &w) { w[3] = 12; }},
        {"its description of them is malformed", [](Words &w) { w[1] = 99; }},
        {"its description of them is malformed", [](Words &w) { w.pop_back(); }},
        {"its description of them is malformed", [](Words &w) { w.push_back(0); }},
        {"its description of them is malformed", [](Words &w) { (&behind(w, "s"))[0] = 1000; }},
        {"its description of them is malformed", [](Words &w) { (&behind(w, "s"))[2] = LOST; }},
        {"its description of them is malformed", [](Words &w) { rename(w, "small", '"'); }},
    };
    for (const auto &row : rows) {
        Words words = layoutWords();
        row.edit(words);
        layout_match_t match;
        EXPECT_EQ(layoutMatch(words, &match), row.wrong) << &row - rows;
    }
}

TEST(Layout, RecordsComeToStandWhereTheyBelong)
{
    describe();
    alone = {nullptr, &alone.first, 77};
    deltaKeepStart();
    Words words = layoutWords();
    const uint32_t number_there = 2 * PTR;
    behind(words, "n") = number_there;
    behind(words, "link") = 0;
    rename(words, "ad", 'x');
    (&behind(words, "small"))[1] = 16;
    behind(words, "xd") = 8;
    behind(words, "s") = 0;
    behind(words, "b") = 4;
    rename(words, "lost", 'p');
    rename(words, "alone", 'z'); // "zlone", behind "top"
    ASSERT_EQ(translateBegin(words), "");
    // A queue of one element, whose way back and end lead to where a record begins; two small ones; what is not known.
    const uint32_t top = DELTA_OBJECT | 1, to_block = DELTA_TO_BLOCK << DELTA_SHIFT,
                   to_object = DELTA_TO_OBJECT << DELTA_SHIFT;
    const uint32_t size = sizeof(Element);
    take(delta({{DELTA_BLOCK, 0, 0, size, ELEMENT, 0, 1, 1},
                {DELTA_BLOCK, 1, 32, 32, SMALL, 0, 1, 1},
                {DELTA_BLOCK, 2, 64, 100, LOST, 0, 1, 1},
                {DELTA_POINTER | to_block, top, 0, 0, 0},
                {DELTA_POINTER | to_block, top, PTR, 0, 0},
                {DELTA_POINTER | to_object, 0, PTR, 1, 0},
                {DELTA_BYTES | 4 << DELTA_SHIFT, 0, number_there, 5},
                {DELTA_BYTES | 16 << DELTA_SHIFT, 1, 12, 4, 6, 7, 8},
                {DELTA_BYTES | 4 << DELTA_SHIFT, 2, 0, 9}},
               10),
         true, 10);
    Element *const element = blockAt<Element>(0);
    EXPECT_EQ(root.first, element);
    EXPECT_EQ(root.last, &element->link.next);
    EXPECT_EQ(element->link.back, &root.first);
    EXPECT_EQ(element->number, 5U);
    EXPECT_EQ(alone.count, 77U);
    const Small *small = blockAt<Small>(1);
    for (const Small &each : {small[0], small[1]})
        EXPECT_EQ(each.added, 0x0102U);
    EXPECT_EQ(small[1].same * 10 + small[1].big, 67U);
    EXPECT_EQ(storeBlocks()[1].size, 2 * sizeof(Small));

    // Where a small record was, a longer one comes that has no room there here, and another small one.
    for (uint64_t sequence = 11; sequence < 15; ++sequence) {
        const bool second = sequence % 2 == 0;
        take(delta({{DELTA_BLOCK, 1, 32, second ? 32 : size, second ? SMALL : ELEMENT, 0, 1, 1},
                    {DELTA_BYTES | 4 << DELTA_SHIFT, 1, second ? 0 : number_there, 6}},
                   sequence),
             false, sequence);
        EXPECT_EQ(storeBlocks().size(), 4U);
        EXPECT_EQ(storeBlocks()[1].used, second);
        EXPECT_EQ(second ? blockAt<Small>(1)->same : blockAt<Element>(3)->number, 6U);
    }
    Words own;
    EXPECT_EQ(translate(delta({{DELTA_BYTES | 4 << DELTA_SHIFT, 1, 30, 6}}, 15), false, 15, &own),
              "there are no 4 bytes at 30");
    EXPECT_EQ(translate(delta({{DELTA_POINTER | to_block, top, 0, 9, 0}}, 15), false, 15, &own),
              "a reference leads nowhere");
}
