#include "graphics/SimpleListDL.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <type_traits>
#include <vector>

namespace {

struct Item : SimpleListDL<Item>::Node {
    int id = 0;
};

struct Counted : SimpleListDL<Counted>::Node {
    explicit Counted(std::vector<int>& log, int number) : deleted(log), id(number) {}
    ~Counted() { deleted.push_back(id); }
    std::vector<int>& deleted;
    int id;
};

using List = SimpleListDL<Item>;
static_assert(!std::is_copy_constructible_v<List> && !std::is_copy_assignable_v<List>);

std::vector<int> forward(const List& list) {
    std::vector<int> ids;
    for (const Item* item = list.GetFirst(); item != nullptr; item = list.GetNext(item)) {
        ids.push_back(item->id);
    }
    return ids;
}

std::vector<int> backward(const List& list) {
    std::vector<int> ids;
    for (const Item* item = list.GetLast(); item != nullptr; item = list.GetPrev(item)) {
        ids.push_back(item->id);
    }
    return ids;
}

void expectOrder(const List& list, const std::vector<int>& ids) {
    EXPECT_EQ(forward(list), ids);
    EXPECT_EQ(backward(list), std::vector<int>(ids.rbegin(), ids.rend()));
    EXPECT_EQ(list.GetCount(), ids.size());
}

class SimpleListDLTest : public ::testing::Test {
protected:
    SimpleListDLTest() {
        for (std::size_t i = 0; i < items.size(); ++i) {
            items[i].id = static_cast<int>(i);
        }
    }
    void addThree() {
        list.AddLast(&items[0]);
        list.AddLast(&items[1]);
        list.AddLast(&items[2]);
    }
    std::array<Item, 8> items;
    List list;
};

TEST_F(SimpleListDLTest, NewListIsEmpty) {
    expectOrder(list, {});
    EXPECT_EQ(list.GetFirst(), nullptr);
    EXPECT_EQ(list.GetLast(), nullptr);
    EXPECT_EQ(list.RemoveFirst(), nullptr);
    EXPECT_EQ(list.RemoveLast(), nullptr);
}

TEST_F(SimpleListDLTest, AddLastKeepsTheOrderOfAdding) {
    addThree();
    expectOrder(list, {0, 1, 2});
    EXPECT_EQ(list.GetFirst(), &items[0]);
    EXPECT_EQ(list.GetLast(), &items[2]);
}

TEST_F(SimpleListDLTest, AddFirstReversesTheOrderOfAdding) {
    list.AddFirst(&items[0]);
    list.AddFirst(&items[1]);
    list.AddFirst(&items[2]);
    expectOrder(list, {2, 1, 0});
}

TEST_F(SimpleListDLTest, InsertBeforePutsTheNodeInFront) {
    addThree();
    list.InsertBefore(&items[1], &items[3]);
    list.InsertBefore(&items[0], &items[4]);
    expectOrder(list, {4, 0, 3, 1, 2});
    EXPECT_EQ(list.GetFirst(), &items[4]);
}

TEST_F(SimpleListDLTest, InsertAfterPutsTheNodeBehind) {
    addThree();
    list.InsertAfter(&items[1], &items[3]);
    list.InsertAfter(&items[2], &items[4]);
    expectOrder(list, {0, 1, 3, 2, 4});
    EXPECT_EQ(list.GetLast(), &items[4]);
}

TEST_F(SimpleListDLTest, RemoveFirstAndLastReturnTheEnds) {
    addThree();
    EXPECT_EQ(list.RemoveFirst(), &items[0]);
    EXPECT_EQ(list.RemoveLast(), &items[2]);
    expectOrder(list, {1});
    EXPECT_EQ(list.RemoveLast(), &items[1]);
    expectOrder(list, {});
}

TEST_F(SimpleListDLTest, RemoveUnlinksFromAnyPlace) {
    addThree();
    EXPECT_TRUE(list.Remove(&items[1]));
    expectOrder(list, {0, 2});
    EXPECT_TRUE(list.Remove(&items[0]));
    expectOrder(list, {2});
    EXPECT_TRUE(list.Remove(&items[2]));
    expectOrder(list, {});
    EXPECT_EQ(items[1].m_pPrev, nullptr);
    EXPECT_EQ(items[1].m_pNext, nullptr);
}

TEST_F(SimpleListDLTest, RemoveOfAnUnlinkedNodeIsFalseAndChangesNothing) {
    EXPECT_FALSE(list.Remove(&items[3]));
    addThree();
    EXPECT_FALSE(list.Remove(&items[3]));
    EXPECT_FALSE(list.Remove(nullptr));
    expectOrder(list, {0, 1, 2});
    EXPECT_TRUE(list.Remove(&items[1]));
    EXPECT_FALSE(list.Remove(&items[1]));
    expectOrder(list, {0, 2});
}

TEST_F(SimpleListDLTest, SoleNodeOfAnotherListIsNotLinkedHere) {
    List other;
    other.AddLast(&items[3]);
    addThree();
    EXPECT_FALSE(list.Remove(&items[3]));
    expectOrder(other, {3});
}

TEST_F(SimpleListDLTest, RemoveAllUnlinksEveryNodeForUseElsewhere) {
    addThree();
    list.RemoveAll();
    expectOrder(list, {});
    EXPECT_FALSE(list.Remove(&items[1]));
    List other;
    other.AddLast(&items[1]);
    expectOrder(other, {1});
}

TEST_F(SimpleListDLTest, CopyOfALinkedNodeIsUnlinked) {
    addThree();
    Item copy = items[1];
    EXPECT_FALSE(list.Remove(&copy));
    items[1] = items[3];
    expectOrder(list, {0, 3, 2});
}

TEST(SimpleListDLOwnership, DeleteNodesDeletesFirstToLast) {
    std::vector<int> deleted;
    SimpleListDL<Counted> list;
    list.AddLast(new Counted(deleted, 1));
    list.AddLast(new Counted(deleted, 2));
    list.DeleteNodes();
    EXPECT_EQ(deleted, (std::vector<int>{1, 2}));
    EXPECT_EQ(list.GetCount(), 0U);
    EXPECT_EQ(list.GetFirst(), nullptr);
}

TEST(SimpleListDLOwnership, RemoveAllAndTheDestructorDeleteNothing) {
    std::vector<int> deleted;
    Counted a(deleted, 1);
    Counted b(deleted, 2);
    {
        SimpleListDL<Counted> list;
        list.AddLast(&a);
        list.RemoveAll();
        list.AddLast(&b);
    }
    EXPECT_TRUE(deleted.empty());
}

TEST_F(SimpleListDLTest, BehavesLikeASequenceUnderRandomOperations) {
    std::mt19937 random(1);
    std::vector<int> model;
    for (int step = 0; step < 5000; ++step) {
        Item& item = items[random() % items.size()];
        const auto place = std::find(model.begin(), model.end(), item.id);
        const bool linked = place != model.end();
        if (linked) {
            ASSERT_TRUE(list.Remove(&item));
            model.erase(place);
        } else if (model.empty() || random() % 3 == 0) {
            random() % 2 == 0 ? (list.AddFirst(&item), model.insert(model.begin(), item.id))
                              : (list.AddLast(&item), model.insert(model.end(), item.id));
        } else {
            const auto at = static_cast<std::ptrdiff_t>(random() % model.size());
            Item& where = items[static_cast<std::size_t>(model[static_cast<std::size_t>(at)])];
            const bool before = random() % 2 == 0;
            before ? list.InsertBefore(&where, &item) : list.InsertAfter(&where, &item);
            model.insert(model.begin() + at + (before ? 0 : 1), item.id);
        }
        ASSERT_NO_FATAL_FAILURE(expectOrder(list, model));
    }
}

}  // namespace
