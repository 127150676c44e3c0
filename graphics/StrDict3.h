// The dictionary behind every name table of the drawing language: command words, colours, fonts, shapes,
// bitmaps and virtual displays.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

// A dictionary from NUL-terminated byte strings to values of type T, kept as a character trie: the first
// characters of all keys form one sibling list, every node leads to the list of the characters that may
// follow it, and every list is strictly ascending by character, compared as bytes 0..255.
//
// A key of n characters is a path of n nodes whose last one is valid; the empty key cannot be stored. T must
// be default constructible and assignable. Values are copied in and overwritten, never deleted: what a
// pointer value points at stays its owner's, who calls DeleteContents() to delete it. Not thread-safe.
// Nothing is reported but the returned status; when memory runs out, the allocator's exception passes
// through.
template <typename T>
class StrDict3 {
public:
    // The case to which keys are folded when the dictionary is not case-sensitive.
    enum EStoreCase : std::uint32_t { STORE_LOWERCASE = 0, STORE_UPPERCASE = 1 };

    // One character of one or more keys.
    struct Node {
        bool m_bValid = false;  // a key ends here, and m_data is its value
        char m_chMatch = '\0';  // the character, folded; compared as an unsigned byte
        Node* m_pNext =
            nullptr;  // next sibling, with a greater character; the free list while in an allocator
        Node* m_pChild = nullptr;  // first of the characters that may follow
        T m_data{};                // meaningful only while valid

        constexpr Node() = default;
        constexpr explicit Node(char ch) : m_chMatch(ch) {}

        [[nodiscard]] constexpr bool IsValid() const { return m_bValid; }
        constexpr void SetValid(bool bValid) { m_bValid = bValid; }
    };

    // A source of nodes. It keeps owning them: Get() lends one, in any state, and Release() takes it back.
    class IAllocator {
    public:
        virtual ~IAllocator() = default;
        virtual Node* Get() = 0;
        virtual void Release(Node* node) = 0;
    };

    // The default source: nodes from blocks of N, so that filling a dictionary does not call the general
    // allocator once a character. A released node is lent again before any new block is taken, and blocks are
    // freed only with the allocator, whatever is still lent then.
    template <unsigned int N>
    class Allocator : public IAllocator {
    public:
        // The name and the number are labels for whoever builds it; the allocator does not use them.
        explicit Allocator(const char* /*name*/ = nullptr, unsigned long /*number*/ = 0) {}
        Allocator(const Allocator&) = delete;
        Allocator& operator=(const Allocator&) = delete;

        ~Allocator() override {
            while (m_pAllocBlocks != nullptr) {
                AllocBlockNode* block = m_pAllocBlocks;
                m_pAllocBlocks = block->m_pNext;
                delete block;
            }
        }

        // The nodes of a fresh block come out from its last to its first.
        Node* Get() override {
            if (m_pFree == nullptr) {
                AddBlock();
            }
            Node* node = m_pFree;
            m_pFree = node->m_pNext;
            ++m_nUsedNodes;
            return node;
        }

        void Release(Node* node) override {
            node->m_pNext = m_pFree;
            m_pFree = node;
            --m_nUsedNodes;
        }

        // Nodes in all blocks, and those of them that are lent.
        [[nodiscard]] unsigned long GetTotalNodes() const { return m_nTotalNodes; }
        [[nodiscard]] unsigned long GetUsedNodes() const { return m_nUsedNodes; }

    private:
        struct AllocBlockNode {
            std::array<Node, N> m_aNodes;
            AllocBlockNode* m_pNext = nullptr;
        };

        void AddBlock() {
            auto* block = new AllocBlockNode;
            for (Node& node : block->m_aNodes) {
                node.m_pNext = m_pFree;
                m_pFree = &node;
            }
            block->m_pNext = m_pAllocBlocks;
            m_pAllocBlocks = block;
            ++m_nTotalBlocks;
            m_nTotalNodes += N;
        }

        Node* m_pFree = nullptr;
        AllocBlockNode* m_pAllocBlocks = nullptr;  // newest first
        unsigned long m_nTotalBlocks = 0;
        unsigned long m_nTotalNodes = 0;
        unsigned long m_nUsedNodes = 0;
    };

    // Called for one key with its stored value and the caller's context. It may change the value, but neither
    // remove keys nor add any to the dictionary that is walked. False ends the walk.
    using EnumCallback = bool (*)(const char* key, T& data, void* context);

    // Tells for one pair whether it is to be copied.
    using FilterFunction = bool (*)(const char* key, T& data, void* context);

    // The length limit of every operation that takes no limit of its own: further characters do not count.
    static constexpr unsigned int kMaxKeyLength = 0xFFFF;

    // The deepest level, and so the longest key, that a walk reaches.
    static constexpr std::size_t kEnumLevels = 128;

    // See Init().
    explicit StrDict3(bool bCaseSensitive = true, EStoreCase eStoreCase = STORE_LOWERCASE,
                      IAllocator* alloc = nullptr) {
        Init(bCaseSensitive, eStoreCase, alloc);
    }
    StrDict3(const StrDict3&) = delete;
    StrDict3& operator=(const StrDict3&) = delete;

    // Gives every node back; the values are not touched.
    virtual ~StrDict3() { Shut(); }

    // Empties the dictionary and starts it anew. `eStoreCase` counts only when it is not case-sensitive.
    // `alloc` stays the caller's and must outlive the dictionary; null makes the dictionary use one of its
    // own.
    void Init(bool bCaseSensitive, EStoreCase eStoreCase, IAllocator* alloc) {
        Shut();
        m_bCaseSensitive = bCaseSensitive;
        m_eStoreCase = eStoreCase;
        if (alloc == nullptr) {
            m_pInternalAllocator = new Allocator<16>;
        }
        m_pAlloc = alloc != nullptr ? alloc : m_pInternalAllocator;
    }

    // Stores `value` under `key`, over an old value if there is one. Returns false, changing nothing, for a
    // null or empty key.
    bool Set(const char* key, const T& value) { return Set0(kMaxKeyLength, key, value); }

    // The same for the first `nLen` characters of `key`, or all of them when it is shorter.
    bool Set0(unsigned int nLen, const char* key, const T& value) {
        if (key == nullptr || *key == '\0' || nLen == 0) {
            return false;
        }
        const CaseFolding folding = Folding();
        Node* node = nullptr;
        Node** list = &m_pFirst;
        for (unsigned int i = 0; i < nLen && key[i] != '\0'; ++i) {
            node = FindOrInsert(list, folding.ConvertCase(key[i]));
            list = &node->m_pChild;
        }
        node->m_data = value;
        node->SetValid(true);
        return true;
    }

    // Look-ups. Each returns true and gives the value, or a pointer to the stored value that is good until
    // the key is removed, when `key` (Find0: its first `nLen` characters) is a stored key.
    //
    // With `pCount` given, a longer text that begins with a stored key is found as well (see FindRootNode),
    // and
    // `*pCount` receives the number of characters that the found key has; it is left alone on a miss.
    // `bWholeKey` refuses such a partial match. `bResetOnMiss` sets the result to T() or null on a miss,
    // where it is otherwise left alone.
    bool Find(const char* key, T& data, bool bWholeKey = false, bool bResetOnMiss = false,
              unsigned int* pCount = nullptr) const {
        T* stored = nullptr;
        if (Find0(kMaxKeyLength, key, stored, bWholeKey, false, pCount)) {
            data = *stored;
            return true;
        }
        if (bResetOnMiss) {
            data = T();
        }
        return false;
    }
    bool Find0(unsigned int nLen, const char* key, T*& pData, bool bWholeKey = false,
               bool bResetOnMiss = false, unsigned int* pCount = nullptr) const {
        Node* node = nullptr;
        unsigned int count = 0;
        if (FindRootNode(node, nLen, key, pCount != nullptr ? &count : nullptr) && node->IsValid() &&
            (pCount == nullptr || !bWholeKey || count == nLen || key[count] == '\0')) {
            pData = &node->m_data;
            if (pCount != nullptr) {
                *pCount = count;
            }
            return true;
        }
        if (bResetOnMiss) {
            pData = nullptr;
        }
        return false;
    }
    bool FindPtr(const char* key, T*& pData, bool bWholeKey = false, bool bResetOnMiss = false) const {
        return Find0(kMaxKeyLength, key, pData, bWholeKey, bResetOnMiss);
    }
    [[nodiscard]] bool Exists(const char* key) const {
        T* stored = nullptr;
        return FindPtr(key, stored);
    }

    // Finds the stored key with which `key` begins and gives its value and, through `pCount` unless it is
    // null, its length. Required: only the deepest node that the text reaches counts. With "a" and "abc"
    // stored, "abx" and "ab" are misses, because both end on the inner node of "ab"; there is no way back to
    // "a".
    bool FindPartialMatch(const char* key, T& data, unsigned int* pCount = nullptr) const {
        unsigned int count = 0;
        return Find(key, data, false, false, pCount != nullptr ? pCount : &count);
    }

    // Removes a key and gives its value through `pOld` unless that is null. Returns false when there is no
    // such key. The nodes stay for the next use of the key, so IsEmpty() does not become true by this.
    bool Remove(const char* key, T* pOld = nullptr) {
        Node* node = nullptr;
        if (!FindRootNode(node, kMaxKeyLength, key, nullptr) || !node->IsValid()) {
            return false;
        }
        if (pOld != nullptr) {
            *pOld = node->m_data;
        }
        node->SetValid(false);
        node->m_data = T();
        return true;
    }

    // Removes every key and gives every node back. The values are not deleted.
    void RemoveAll() {
        ReleaseAllNodes(m_pFirst);
        m_pFirst = nullptr;
    }

    // True while no node is in use: at first, and after RemoveAll().
    [[nodiscard]] bool IsEmpty() const { return m_pFirst == nullptr; }

    // Calls `callback` for every key in ascending byte order, a key before its extensions. The key text is
    // handed over with `prefix` (null: none) in front and is good during the call only. Keys longer than
    // kEnumLevels characters are passed over. Returns false when the callback ended the walk.
    bool EnumDictionary(EnumCallback callback, void* context, const char* prefix = nullptr) {
        return EnumDictionary0(prefix, m_pFirst, callback, context);
    }

    // For pointer values: deletes what every value points at, and sets the value to null. The keys stay.
    // Unlike a walk it passes no key over, however long.
    void DeleteContents() {
        static_assert(std::is_pointer_v<T>, "only a dictionary of pointers has contents to delete");
        DeleteContents0(m_pFirst);
    }

    // Sets into `dest` every pair that a walk reaches and that `filter` (null: all) accepts. Returns how
    // many.
    unsigned int Filter(FilterFunction filter, StrDict3& dest, void* context) const {
        FilterContext job{filter, &dest, context, 0};
        EnumDictionary0(nullptr, m_pFirst, &FilterCallback, &job);
        return job.m_nCount;
    }
    unsigned int Copy(StrDict3& dest) const { return Filter(nullptr, dest, nullptr); }

    // The look-up under all others: follows at most `nLen` characters of `key` down the trie. Returns true
    // with the node on which the text ends. That node may be an inner one: test IsValid() before taking its
    // value. An empty text ends on a node that is never valid.
    //
    // When the text leaves the trie, the result is the deepest node that it reached, if `pCount` is given and
    // that node is valid, and a miss otherwise. `*pCount` receives the number of characters matched; a miss
    // changes neither it nor `result`.
    bool FindRootNode(Node*& result, unsigned int nLen, const char* key, unsigned int* pCount) const {
        if (m_pFirst == nullptr || key == nullptr) {
            return false;
        }
        const CaseFolding folding = Folding();
        unsigned int count = 0;
        Node* deepest = &s_virtualRoot;
        Node* list = m_pFirst;
        while (count != nLen && key[count] != '\0') {
            Node* hit = FindSibling(list, folding.ConvertCase(key[count]));
            if (hit == nullptr) {
                if (pCount == nullptr || !deepest->IsValid()) {
                    return false;
                }
                break;
            }
            ++count;
            deepest = hit;
            list = hit->m_pChild;
        }
        result = deepest;
        if (pCount != nullptr) {
            *pCount = count;
        }
        return true;
    }

private:
    struct FilterContext {
        FilterFunction m_filter;
        StrDict3* m_pDest;
        void* m_pContext;
        unsigned int m_nCount;
    };

    static constexpr unsigned char Byte(char ch) { return static_cast<unsigned char>(ch); }

    // How characters are folded: the m_count ones from m_first on change their case. ASCII only, whatever the
    // locale: names must fold alike on every station.
    struct CaseFolding {
        unsigned char m_first;
        unsigned char m_count;

        [[nodiscard]] char ConvertCase(char ch) const {
            constexpr unsigned char kCaseBit = 'a' ^ 'A';
            const bool folds = static_cast<unsigned char>(Byte(ch) - m_first) < m_count;
            return folds ? static_cast<char>(Byte(ch) ^ kCaseBit) : ch;
        }
    };
    [[nodiscard]] CaseFolding Folding() const {
        const char first = m_eStoreCase == STORE_UPPERCASE ? 'a' : 'A';
        const unsigned char count = m_bCaseSensitive ? 0 : 26;
        return {Byte(first), count};
    }

    // The node of `ch` in a sibling list, or null.
    static Node* FindSibling(Node* list, char ch) {
        while (list != nullptr && Byte(list->m_chMatch) < Byte(ch)) {
            list = list->m_pNext;
        }
        return list != nullptr && list->m_chMatch == ch ? list : nullptr;
    }

    // The node of `ch` in the sibling list that begins at `*link`, linked in place if there is none yet.
    Node* FindOrInsert(Node** link, char ch) {
        while (*link != nullptr && Byte((*link)->m_chMatch) < Byte(ch)) {
            link = &(*link)->m_pNext;
        }
        if (*link == nullptr || (*link)->m_chMatch != ch) {
            Node* node = m_pAlloc->Get();
            *node = Node(ch);
            node->m_pNext = *link;
            *link = node;
        }
        return *link;
    }

    void ReleaseAllNodes(Node* node) {
        while (node != nullptr) {
            Node* next = node->m_pNext;
            Node* child = node->m_pChild;
            m_pAlloc->Release(node);
            ReleaseAllNodes(next);
            node = child;
        }
    }

    // Walks the sibling list `node` and all below it, depth first and without recursion: names come from
    // outside, and a long one must not cost stack. Nodes below the last level are passed over.
    static bool EnumDictionary0(const char* prefix, Node* node, EnumCallback callback, void* context) {
        std::array<Node*, kEnumLevels> stack;
        std::size_t depth = 0;
        std::string key(prefix != nullptr ? prefix : "");
        const std::size_t base = key.size();
        while (node != nullptr) {
            key.resize(base + depth);
            key.push_back(node->m_chMatch);
            if (node->IsValid() && !callback(key.c_str(), node->m_data, context)) {
                return false;
            }
            stack[depth] = node;
            if (node->m_pChild != nullptr && depth + 1 < kEnumLevels) {
                ++depth;
                node = node->m_pChild;
                continue;
            }
            node = node->m_pNext;
            while (node == nullptr && depth > 0) {
                node = stack[--depth]->m_pNext;
            }
        }
        return true;
    }

    // Goes about the nodes as ReleaseAllNodes() does.
    static void DeleteContents0(Node* node) {
        for (; node != nullptr; node = node->m_pChild) {
            delete node->m_data;
            node->m_data = nullptr;
            DeleteContents0(node->m_pNext);
        }
    }

    static bool FilterCallback(const char* key, T& data, void* context) {
        auto& job = *static_cast<FilterContext*>(context);
        const bool accepted = job.m_filter == nullptr || job.m_filter(key, data, job.m_pContext);
        if (accepted && job.m_pDest->Set(key, data)) {
            ++job.m_nCount;
        }
        return true;
    }

    void Shut() {
        RemoveAll();
        delete m_pInternalAllocator;
        m_pInternalAllocator = nullptr;
        m_pAlloc = nullptr;
    }

    // Where every search starts and the empty key ends. Never valid, never changed, never in a trie.
    static inline Node s_virtualRoot;

    Allocator<16>* m_pInternalAllocator = nullptr;  // owned; null with an outside allocator
    IAllocator* m_pAlloc = nullptr;                 // the one in use
    bool m_bCaseSensitive = true;
    EStoreCase m_eStoreCase = STORE_LOWERCASE;
    Node* m_pFirst = nullptr;  // the first characters of all keys
};
