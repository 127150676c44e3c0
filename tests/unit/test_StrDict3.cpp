#include "graphics/StrDict3.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using Dict = StrDict3<int>;
using Node = Dict::Node;
using Pairs = std::vector<std::pair<std::string, int>>;

static_assert(std::has_virtual_destructor_v<Dict> && !std::is_copy_constructible_v<Dict>);
static_assert(sizeof(Dict::EStoreCase) == 4 && Dict::STORE_LOWERCASE == 0 && Dict::STORE_UPPERCASE == 1);

bool collect(const char* key, int& data, void* context) {
    static_cast<Pairs*>(context)->emplace_back(key, data);
    return true;
}

Pairs pairsOf(Dict& dict, const char* prefix = nullptr) {
    Pairs pairs;
    EXPECT_TRUE(dict.EnumDictionary(&collect, &pairs, prefix));
    return pairs;
}

int valueOf(const Dict& dict, const char* key) {
    int value = -1;
    EXPECT_TRUE(dict.Find(key, value)) << key;
    return value;
}

// Lends nodes of a block allocator and keeps what is lent and what came back, in order.
class WatchedAllocator : public Dict::IAllocator {
public:
    Node* Get() override {
        lent.push_back(m_nodes.Get());
        return lent.back();
    }
    void Release(Node* node) override {
        released.push_back(node->m_chMatch);
        m_nodes.Release(node);
    }
    [[nodiscard]] unsigned long used() const { return m_nodes.GetUsedNodes(); }

    std::vector<Node*> lent;
    std::string released;

private:
    Dict::Allocator<16> m_nodes{"watched", 7};
};

TEST(StrDict3Set, NullOrEmptyKeyIsRefusedAndChangesNothing) {
    Dict dict;
    EXPECT_FALSE(dict.Set(nullptr, 1));
    EXPECT_FALSE(dict.Set("", 1));
    EXPECT_FALSE(dict.Set0(0, "a", 1));
    EXPECT_TRUE(dict.IsEmpty());
    EXPECT_TRUE(dict.Set("a", 1));
    EXPECT_FALSE(dict.Set("", 2));
    EXPECT_EQ(pairsOf(dict), (Pairs{{"a", 1}}));
}

TEST(StrDict3Find, EmptyAndNullKeysAreMisses) {
    Dict dict;
    int value = 7;
    EXPECT_FALSE(dict.Find("", value));
    dict.Set("a", 1);
    EXPECT_FALSE(dict.Find("", value));
    EXPECT_FALSE(dict.Find(nullptr, value));
    EXPECT_FALSE(dict.Exists(""));
    int* stored = nullptr;
    EXPECT_FALSE(dict.Find0(0, "a", stored));
    EXPECT_EQ(value, 7);
}

TEST(StrDict3Find, EmptyDictionaryFindsNothing) {
    const Dict dict;
    Node* node = nullptr;
    EXPECT_FALSE(dict.FindRootNode(node, Dict::kMaxKeyLength, "a", nullptr));
    EXPECT_FALSE(dict.FindRootNode(node, Dict::kMaxKeyLength, "", nullptr));
    EXPECT_EQ(node, nullptr);
}

TEST(StrDict3Find, OnlyTheWholeKeyMatches) {
    Dict dict;
    dict.Set("abc", 1);
    EXPECT_TRUE(dict.Exists("abc"));
    EXPECT_FALSE(dict.Exists("ab"));
    EXPECT_FALSE(dict.Exists("abcd"));
    EXPECT_FALSE(dict.Exists("abd"));
    EXPECT_FALSE(dict.Exists("bc"));
}

TEST(StrDict3Set, KeyInsideALongerOneNeedsNoNewNode) {
    WatchedAllocator nodes;
    Dict dict(true, Dict::STORE_LOWERCASE, &nodes);
    dict.Set("ab", 1);
    EXPECT_EQ(nodes.used(), 2U);
    dict.Set("a", 2);
    EXPECT_EQ(nodes.used(), 2U);
    EXPECT_EQ(valueOf(dict, "ab"), 1);
    EXPECT_EQ(valueOf(dict, "a"), 2);
}

TEST(StrDict3Set, SecondValueReplacesTheFirst) {
    Dict dict;
    dict.Set("key", 1);
    dict.Set("key", 2);
    EXPECT_EQ(pairsOf(dict), (Pairs{{"key", 2}}));
}

TEST(StrDict3Set, LengthLimitCutsTheKey) {
    Dict dict;
    EXPECT_TRUE(dict.Set0(3, "redish", 1));
    EXPECT_TRUE(dict.Set0(9, "blue", 2));
    EXPECT_EQ(pairsOf(dict), (Pairs{{"blue", 2}, {"red", 1}}));
    int* stored = nullptr;
    EXPECT_TRUE(dict.Find0(3, "reddest", stored));
    EXPECT_EQ(*stored, 1);
    EXPECT_FALSE(dict.Find0(4, "reddest", stored));
    EXPECT_FALSE(dict.Find0(2, "red", stored));
}

TEST(StrDict3Set, KeysCountUpTo65535Characters) {
    Dict dict;
    const std::string limit(65535, 'x');
    dict.Set((limit + "yz").c_str(), 1);
    EXPECT_EQ(valueOf(dict, limit.c_str()), 1);
    EXPECT_EQ(valueOf(dict, (limit + "other").c_str()), 1);
    EXPECT_FALSE(dict.Exists(limit.substr(1).c_str()));
}

TEST(StrDict3Set, SiblingsAreSortedWhateverTheOrderOfInsertion) {
    Dict dict;
    dict.Set("c", 3);
    dict.Set("a", 1);
    dict.Set("b", 2);
    Node* node = nullptr;
    ASSERT_TRUE(dict.FindRootNode(node, 1, "a", nullptr));
    EXPECT_EQ(node->m_pNext->m_chMatch, 'b');
    EXPECT_EQ(node->m_pNext->m_pNext->m_chMatch, 'c');
    EXPECT_EQ(node->m_pNext->m_pNext->m_pNext, nullptr);
    EXPECT_EQ(node->m_pChild, nullptr);
    EXPECT_EQ(pairsOf(dict), (Pairs{{"a", 1}, {"b", 2}, {"c", 3}}));
}

TEST(StrDict3Set, BytesCompareUnsigned) {
    Dict dict;
    dict.Set("\xFF", 2);
    dict.Set("\x01", 0);
    dict.Set("z", 1);
    EXPECT_EQ(pairsOf(dict), (Pairs{{"\x01", 0}, {"z", 1}, {"\xFF", 2}}));
    EXPECT_EQ(valueOf(dict, "\xFF"), 2);
    EXPECT_FALSE(dict.Exists("\x80"));
}

TEST(StrDict3Case, LowerCaseFoldingMakesNamesOneKey) {
    Dict dict(false, Dict::STORE_LOWERCASE);
    dict.Set("Red", 1);
    dict.Set("red", 2);
    EXPECT_EQ(pairsOf(dict), (Pairs{{"red", 2}}));
    EXPECT_EQ(valueOf(dict, "RED"), 2);
}

TEST(StrDict3Case, UpperCaseFoldingStoresUpperCase) {
    Dict dict(false, Dict::STORE_UPPERCASE);
    dict.Set("Red1", 1);
    EXPECT_EQ(pairsOf(dict), (Pairs{{"RED1", 1}}));
    EXPECT_EQ(valueOf(dict, "red1"), 1);
}

TEST(StrDict3Case, FoldingLeavesOtherBytesAlone) {
    for (const auto storeCase : {Dict::STORE_LOWERCASE, Dict::STORE_UPPERCASE}) {
        Dict dict(false, storeCase);
        int others = 0;
        for (int byte = 1; byte < 256; ++byte) {
            const std::string key(1, static_cast<char>(byte));
            const bool letter = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
            others += letter ? 0 : 1;
            dict.Set(key.c_str(), byte);
            EXPECT_EQ(valueOf(dict, key.c_str()), byte);
        }
        const Pairs pairs = pairsOf(dict);
        EXPECT_EQ(pairs.size(), static_cast<std::size_t>(others + 26));
        const char first = storeCase == Dict::STORE_LOWERCASE ? 'a' : 'A';
        for (const auto& [key, value] : pairs) {
            const bool folded = key[0] >= first && key[0] < first + 26;
            EXPECT_TRUE(folded || static_cast<unsigned char>(key[0]) == value) << value;
        }
    }
}

TEST(StrDict3Case, CaseSensitiveKeysDiffer) {
    Dict dict(true, Dict::STORE_LOWERCASE);
    dict.Set("Info", 1);
    dict.Set("info", 2);
    EXPECT_EQ(valueOf(dict, "Info"), 1);
    EXPECT_EQ(valueOf(dict, "info"), 2);
    EXPECT_FALSE(dict.Exists("INFO"));
}

TEST(StrDict3Find, PointerLeadsToTheStoredValue) {
    Dict dict;
    dict.Set("key", 1);
    int* stored = nullptr;
    ASSERT_TRUE(dict.FindPtr("key", stored));
    *stored = 5;
    EXPECT_EQ(valueOf(dict, "key"), 5);
}

TEST(StrDict3Find, MissLeavesOrResetsTheResult) {
    Dict dict;
    dict.Set("key", 1);
    int value = 7;
    int* stored = &value;
    unsigned int count = 9;
    EXPECT_FALSE(dict.Find("no", value, false, false, &count));
    EXPECT_FALSE(dict.FindPtr("no", stored));
    EXPECT_EQ(value, 7);
    EXPECT_EQ(stored, &value);
    EXPECT_FALSE(dict.FindPtr("no", stored, false, true));
    EXPECT_EQ(stored, nullptr);
    EXPECT_FALSE(dict.Find("no", value, false, true, &count));
    EXPECT_EQ(value, 0);
    EXPECT_EQ(count, 9U);
}

TEST(StrDict3Find, CountAsksForThePrefixUnlessTheWholeKeyIsWanted) {
    Dict dict;
    dict.Set("red", 1);
    int value = 0;
    unsigned int count = 0;
    EXPECT_TRUE(dict.Find("redish", value, false, false, &count));
    EXPECT_EQ(value, 1);
    EXPECT_EQ(count, 3U);
    count = 9;
    EXPECT_FALSE(dict.Find("redish", value, true, false, &count));
    EXPECT_EQ(count, 9U);
    EXPECT_TRUE(dict.Find("red", value, true, false, &count));
    EXPECT_EQ(count, 3U);
    int* stored = nullptr;
    EXPECT_TRUE(dict.Find0(3, "redish", stored, true, false, &count));
    EXPECT_EQ(count, 3U);
    EXPECT_FALSE(dict.Find("redish", value, true));
    EXPECT_FALSE(dict.Find("redish", value));
}

TEST(StrDict3FindPartialMatch, GivesThePrefixAndItsLength) {
    Dict dict;
    dict.Set("red", 4);
    int value = 0;
    unsigned int count = 0;
    EXPECT_TRUE(dict.FindPartialMatch("redish", value, &count));
    EXPECT_EQ(value, 4);
    EXPECT_EQ(count, 3U);
    value = 0;
    EXPECT_TRUE(dict.FindPartialMatch("redish", value));
    EXPECT_TRUE(dict.FindPartialMatch("red", value, &count));
    EXPECT_EQ(value, 4);
    EXPECT_EQ(count, 3U);
}

TEST(StrDict3FindPartialMatch, OnlyTheDeepestNodeCounts) {
    Dict dict;
    dict.Set("a", 1);
    dict.Set("abc", 3);
    int value = 0;
    unsigned int count = 0;
    EXPECT_FALSE(dict.FindPartialMatch("abx", value));
    EXPECT_FALSE(dict.FindPartialMatch("ab", value));
    EXPECT_FALSE(dict.FindPartialMatch("x", value));
    EXPECT_FALSE(dict.FindPartialMatch("", value));
    EXPECT_TRUE(dict.FindPartialMatch("axe", value, &count));
    EXPECT_EQ(value, 1);
    EXPECT_EQ(count, 1U);
    EXPECT_TRUE(dict.FindPartialMatch("abcd", value, &count));
    EXPECT_EQ(value, 3);
    EXPECT_EQ(count, 3U);
}

TEST(StrDict3FindRootNode, TextEndingOnAnInnerNodeGivesThatInvalidNode) {
    Dict dict;
    dict.Set("abc", 1);
    Node* node = nullptr;
    unsigned int count = 0;
    EXPECT_TRUE(dict.FindRootNode(node, Dict::kMaxKeyLength, "ab", &count));
    EXPECT_EQ(node->m_chMatch, 'b');
    EXPECT_FALSE(node->IsValid());
    EXPECT_EQ(count, 2U);
    EXPECT_TRUE(dict.FindRootNode(node, 1, "abc", &count));
    EXPECT_EQ(node->m_chMatch, 'a');
    EXPECT_EQ(count, 1U);
}

TEST(StrDict3FindRootNode, EmptyTextGivesANodeThatIsNeverValid) {
    Dict dict;
    dict.Set("a", 1);
    Node* node = nullptr;
    ASSERT_TRUE(dict.FindRootNode(node, Dict::kMaxKeyLength, "", nullptr));
    EXPECT_FALSE(node->IsValid());
    node = nullptr;
    ASSERT_TRUE(dict.FindRootNode(node, 0, "a", nullptr));
    EXPECT_FALSE(node->IsValid());
}

TEST(StrDict3FindRootNode, MissIsAPartialMatchOnlyForTheCountersSake) {
    Dict dict;
    dict.Set("ab", 1);
    Node* node = nullptr;
    unsigned int count = 9;
    EXPECT_FALSE(dict.FindRootNode(node, Dict::kMaxKeyLength, "abc", nullptr));
    EXPECT_FALSE(dict.FindRootNode(node, Dict::kMaxKeyLength, "ac", &count));
    EXPECT_FALSE(dict.FindRootNode(node, Dict::kMaxKeyLength, "c", &count));
    EXPECT_EQ(node, nullptr);
    EXPECT_EQ(count, 9U);
    EXPECT_TRUE(dict.FindRootNode(node, Dict::kMaxKeyLength, "abc", &count));
    EXPECT_EQ(count, 2U);
}

TEST(StrDict3Remove, GivesTheOldValueAndForgetsTheKeyAlone) {
    Dict dict;
    dict.Set("a", 1);
    dict.Set("ab", 2);
    int old = 0;
    EXPECT_TRUE(dict.Remove("a", &old));
    EXPECT_EQ(old, 1);
    EXPECT_EQ(pairsOf(dict), (Pairs{{"ab", 2}}));
    EXPECT_TRUE(dict.Remove("ab"));
    EXPECT_FALSE(dict.Exists("ab"));
}

TEST(StrDict3Remove, MissingKeyIsFalse) {
    Dict dict;
    EXPECT_FALSE(dict.Remove("a"));
    dict.Set("ab", 1);
    int old = 7;
    EXPECT_FALSE(dict.Remove("a", &old));
    EXPECT_FALSE(dict.Remove("abc", &old));
    EXPECT_FALSE(dict.Remove("", &old));
    EXPECT_EQ(old, 7);
    EXPECT_TRUE(dict.Remove("ab"));
    EXPECT_FALSE(dict.Remove("ab"));
}

TEST(StrDict3Remove, NodesStayForTheNextUseOfTheKey) {
    WatchedAllocator nodes;
    Dict dict(true, Dict::STORE_LOWERCASE, &nodes);
    dict.Set("abc", 1);
    dict.Remove("abc");
    EXPECT_EQ(nodes.used(), 3U);
    EXPECT_FALSE(dict.IsEmpty());
    dict.Set("abc", 2);
    EXPECT_EQ(nodes.lent.size(), 3U);
    EXPECT_EQ(valueOf(dict, "abc"), 2);
}

TEST(StrDict3Remove, RemovedValueIsLetGo) {
    StrDict3<std::shared_ptr<int>> dict;
    auto value = std::make_shared<int>(1);
    dict.Set("a", value);
    EXPECT_EQ(value.use_count(), 2);
    dict.Remove("a");
    EXPECT_EQ(value.use_count(), 1);
}

TEST(StrDict3RemoveAll, GivesEveryNodeBack) {
    WatchedAllocator nodes;
    Dict dict(true, Dict::STORE_LOWERCASE, &nodes);
    dict.Set("ab", 1);
    dict.Set("ac", 2);
    dict.Set("d", 3);
    dict.RemoveAll();
    EXPECT_TRUE(dict.IsEmpty());
    EXPECT_EQ(nodes.used(), 0U);
    EXPECT_FALSE(dict.Exists("ab"));
    EXPECT_EQ(nodes.released, "adbc") << "a node, then its later siblings, then its children";
    dict.Set("ab", 4);
    EXPECT_EQ(valueOf(dict, "ab"), 4);
}

TEST(StrDict3Lifetime, DestructorGivesTheNodesBackToAnOutsideAllocator) {
    WatchedAllocator nodes;
    {
        Dict dict(false, Dict::STORE_UPPERCASE, &nodes);
        dict.Set("one", 1);
        dict.Set("two", 2);
        EXPECT_EQ(nodes.used(), 6U);
    }
    EXPECT_EQ(nodes.used(), 0U);
}

TEST(StrDict3Lifetime, InitEmptiesAndTakesTheNewFlags) {
    WatchedAllocator nodes;
    Dict dict;
    dict.Set("Old", 1);
    dict.Init(false, Dict::STORE_UPPERCASE, &nodes);
    EXPECT_TRUE(dict.IsEmpty());
    dict.Set("New", 2);
    EXPECT_EQ(pairsOf(dict), (Pairs{{"NEW", 2}}));
    EXPECT_EQ(nodes.used(), 3U);
    dict.Init(true, Dict::STORE_LOWERCASE, nullptr);
    EXPECT_EQ(nodes.used(), 0U);
    dict.Set("New", 3);
    EXPECT_FALSE(dict.Exists("new"));
}

TEST(StrDict3Lifetime, LongKeysAreReleasedWithoutDeepRecursion) {
    Dict dict;
    const std::string key(Dict::kMaxKeyLength, 'k');
    dict.Set(key.c_str(), 1);
    dict.RemoveAll();
    EXPECT_TRUE(dict.IsEmpty());
}

TEST(StrDict3Enum, KeysAscendAndPrecedeTheirExtensions) {
    Dict dict;
    for (const char* key : {"b", "ab", "a", "ba", "abc", "ad", "c"}) {
        dict.Set(key, static_cast<int>(std::strlen(key)));
    }
    EXPECT_EQ(pairsOf(dict),
              (Pairs{{"a", 1}, {"ab", 2}, {"abc", 3}, {"ad", 2}, {"b", 1}, {"ba", 2}, {"c", 1}}));
}

TEST(StrDict3Enum, PrefixStandsInFrontOfEachKey) {
    Dict dict;
    dict.Set("a", 1);
    dict.Set("bc", 2);
    EXPECT_EQ(pairsOf(dict, "font."), (Pairs{{"font.a", 1}, {"font.bc", 2}}));
}

TEST(StrDict3Enum, EmptyDictionaryCallsNothing) {
    Dict dict;
    EXPECT_TRUE(pairsOf(dict).empty());
}

TEST(StrDict3Enum, FalseEndsTheWalk) {
    Dict dict;
    dict.Set("a", 1);
    dict.Set("b", 2);
    dict.Set("c", 3);
    const auto untilTwo = [](const char*, int& data, void* context) {
        ++*static_cast<int*>(context);
        return data != 2;
    };
    int calls = 0;
    EXPECT_FALSE(dict.EnumDictionary(untilTwo, &calls));
    EXPECT_EQ(calls, 2);
}

TEST(StrDict3Enum, CallbackMayChangeTheValue) {
    Dict dict;
    dict.Set("a", 1);
    const auto doubled = [](const char*, int& data, void*) {
        data *= 2;
        return true;
    };
    dict.EnumDictionary(doubled, nullptr);
    EXPECT_EQ(valueOf(dict, "a"), 2);
}

TEST(StrDict3Enum, WalkStopsAt128LevelsAndGoesOnWithTheOtherKeys) {
    Dict dict;
    const std::string longest(Dict::kEnumLevels, 'a');
    dict.Set(longest.c_str(), 128);
    dict.Set((longest + "a").c_str(), 129);
    dict.Set(std::string(3000, 'a').c_str(), 3000);
    dict.Set((longest.substr(1) + "b").c_str(), 1);
    dict.Set("b", 2);
    EXPECT_EQ(Dict::kEnumLevels, 128U);
    EXPECT_EQ(pairsOf(dict), (Pairs{{longest, 128}, {longest.substr(1) + "b", 1}, {"b", 2}}));
    EXPECT_EQ(valueOf(dict, (longest + "a").c_str()), 129);
}

struct Base {
    explicit Base(int& count) : deleted(count) {}
    virtual ~Base() { ++deleted; }
    int& deleted;
};
struct Derived : Base {
    using Base::Base;
    ~Derived() override { deleted += 10; }
};

TEST(StrDict3DeleteContents, DeletesThroughTheVirtualDestructorAndKeepsTheKeys) {
    int deleted = 0;
    StrDict3<Base*> dict;
    dict.Set("base", new Base(deleted));
    dict.Set("derived", new Derived(deleted));
    dict.Set("none", nullptr);
    dict.DeleteContents();
    EXPECT_EQ(deleted, 12);
    Base* value = nullptr;
    EXPECT_TRUE(dict.Find("base", value));
    EXPECT_EQ(value, nullptr);
    dict.DeleteContents();
    EXPECT_EQ(deleted, 12);
}

TEST(StrDict3DeleteContents, DeletesAlsoWhatAWalkDoesNotReach) {
    int deleted = 0;
    StrDict3<Base*> dict;
    for (const char* last : {"a", "b", "c"}) {
        dict.Set((std::string(3000, 'a') + last).c_str(), new Base(deleted));
    }
    Base* old = nullptr;
    ASSERT_TRUE(dict.Remove((std::string(3000, 'a') + "b").c_str(), &old));
    dict.DeleteContents();
    EXPECT_EQ(deleted, 2);
    delete old;
}

TEST(StrDict3DeleteContents, NothingElseDeletesValues) {
    int deleted = 0;
    Base a(deleted);
    {
        StrDict3<Base*> dict;
        dict.Set("a", &a);
        dict.Set("a", nullptr);
        dict.Set("b", &a);
        dict.Remove("b");
        dict.Set("c", &a);
        dict.RemoveAll();
        dict.Set("d", &a);
    }
    EXPECT_EQ(deleted, 0);
}

TEST(StrDict3Filter, SetsAcceptedPairsAndCountsThem) {
    Dict source;
    for (int i = 0; i < 10; ++i) {
        source.Set(std::to_string(i).c_str(), i);
    }
    Dict dest;
    dest.Set("4", -4);
    dest.Set("x", 99);
    const auto atLeast = [](const char*, int& data, void* context) {
        return data >= *static_cast<int*>(context);
    };
    int limit = 8;
    EXPECT_EQ(source.Filter(atLeast, dest, &limit), 2U);
    EXPECT_EQ(pairsOf(dest), (Pairs{{"4", -4}, {"8", 8}, {"9", 9}, {"x", 99}}));
}

TEST(StrDict3Copy, SetsEveryPair) {
    Dict source;
    source.Set("a", 1);
    source.Set("Ab", 2);
    Dict dest(false, Dict::STORE_LOWERCASE);
    dest.Set("A", 5);
    EXPECT_EQ(source.Copy(dest), 2U);
    EXPECT_EQ(pairsOf(dest), (Pairs{{"a", 1}, {"ab", 2}}));
    EXPECT_EQ(Dict().Copy(dest), 0U);
}

TEST(StrDict3Values, MayBeMemberFunctionsOrRecords) {
    struct Handler {
        bool go(const char* args) { return *args == 'y'; }
    };
    StrDict3<bool (Handler::*)(const char*)> commands;
    commands.Set("go", &Handler::go);
    bool (Handler::*found)(const char*) = nullptr;
    ASSERT_TRUE(commands.Find("go", found));
    Handler handler;
    EXPECT_TRUE((handler.*found)("yes"));

    struct Color {
        unsigned int px = 0;
    };
    StrDict3<Color> colors(false, StrDict3<Color>::STORE_LOWERCASE);
    colors.Set("Gray", Color{0xFF808080});
    Color color;
    ASSERT_TRUE(colors.Find("gray", color));
    EXPECT_EQ(color.px, 0xFF808080);
}

TEST(StrDict3Allocator, SeventeenthNodeTakesASecondBlock) {
    Dict::Allocator<16> nodes;
    EXPECT_EQ(nodes.GetTotalNodes(), 0U);
    for (int i = 0; i < 16; ++i) {
        nodes.Get();
    }
    EXPECT_EQ(nodes.GetTotalNodes(), 16U);
    nodes.Get();
    EXPECT_EQ(nodes.GetTotalNodes(), 32U);
    EXPECT_EQ(nodes.GetUsedNodes(), 17U);
}

TEST(StrDict3Allocator, ReleaseLowersUsedNodesAlone) {
    Dict::Allocator<16> nodes;
    Node* first = nodes.Get();
    Node* second = nodes.Get();
    nodes.Release(first);
    nodes.Release(second);
    EXPECT_EQ(nodes.GetUsedNodes(), 0U);
    EXPECT_EQ(nodes.GetTotalNodes(), 16U);
}

TEST(StrDict3Allocator, FreshBlockIsLentFromItsLastNodeToItsFirst) {
    Dict::Allocator<16> nodes;
    const Node* last = nodes.Get();
    for (int i = 1; i < 16; ++i) {
        const Node* node = nodes.Get();
        EXPECT_EQ(node, last - i);
        EXPECT_FALSE(node->IsValid());
        EXPECT_EQ(node->m_chMatch, '\0');
        EXPECT_EQ(node->m_pChild, nullptr);
    }
}

TEST(StrDict3Allocator, ReleasedNodeIsLentBeforeANewBlock) {
    Dict::Allocator<16> nodes;
    Node* node = nullptr;
    for (int i = 0; i < 16; ++i) {
        node = nodes.Get();
    }
    nodes.Release(node);
    EXPECT_EQ(nodes.Get(), node);
    EXPECT_EQ(nodes.GetTotalNodes(), 16U);
}

TEST(StrDict3Allocator, ReusedNodesCarryNothingOver) {
    WatchedAllocator nodes;
    Dict dict(true, Dict::STORE_LOWERCASE, &nodes);
    dict.Set("abcdef", 1);
    dict.RemoveAll();
    dict.Set("uvwxyz", 2);
    EXPECT_FALSE(dict.Exists("u"));
    EXPECT_EQ(pairsOf(dict), (Pairs{{"uvwxyz", 2}}));
}

std::string randomKey(std::mt19937& random) {
    std::string key;
    for (std::size_t n = random() % 6; n > 0; --n) {
        key += "abB\x80"[random() % 4];
    }
    return key;
}

std::string folded(std::string key) {
    for (char& c : key) {
        c = c == 'B' ? 'b' : c;
    }
    return key;
}

void compareWithMap(bool caseSensitive) {
    std::mt19937 random(2);
    Dict dict(caseSensitive, Dict::STORE_LOWERCASE);
    std::map<std::string, int> model;
    for (int step = 0; step < 20000; ++step) {
        const std::string key = randomKey(random);
        const std::string stored = caseSensitive ? key : folded(key);
        const unsigned long action = random() % 200;
        if (action == 0) {
            dict.RemoveAll();
            model.clear();
        } else if (action < 60) {
            ASSERT_EQ(dict.Remove(key.c_str()), model.erase(stored) == 1);
        } else if (action < 120) {
            ASSERT_EQ(dict.Set(key.c_str(), step), !key.empty());
            if (!key.empty()) {
                model[stored] = step;
            }
        } else {
            int value = -1;
            const auto place = model.find(stored);
            ASSERT_EQ(dict.Find(key.c_str(), value), place != model.end());
            ASSERT_EQ(value, place != model.end() ? place->second : -1);
        }
    }
    // Both orders are by unsigned bytes.
    EXPECT_EQ(pairsOf(dict), Pairs(model.begin(), model.end()));
    EXPECT_GT(model.size(), 10U);
}

TEST(StrDict3Model, BehavesLikeAMapWhenCaseSensitive) {
    compareWithMap(true);
}

TEST(StrDict3Model, BehavesLikeAMapOfFoldedKeys) {
    compareWithMap(false);
}

}  // namespace
