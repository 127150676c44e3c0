// An intrusive doubly linked list: the links live in the elements, so that the list itself never allocates.
#pragma once

// A list of elements of type T, where T derives publicly from SimpleListDL<T>::Node:
//
//     struct Listener : SimpleListDL<Listener>::Node { ... };
//     SimpleListDL<Listener> listeners;
//
// Elements are created and deleted by the user and stay the user's; the list deletes them in DeleteNodes()
// alone and leaves them untouched when it is destroyed. An element is in at most one list at a time: one that
// is handed to an Add or Insert operation must be unlinked, and `where` arguments must be elements of this
// list. No argument may be null unless stated. Every operation takes constant time, except RemoveAll and
// DeleteNodes.
template <typename T>
class SimpleListDL {
public:
    // The links of one element; both are null while it is unlinked. Copies of an element start unlinked, and
    // assigning to an element leaves it where it is.
    struct Node {
        T* m_pPrev = nullptr;
        T* m_pNext = nullptr;

        Node() = default;
        Node(const Node&) {}
        Node& operator=(const Node&) { return *this; }
    };

    SimpleListDL() = default;
    SimpleListDL(const SimpleListDL&) = delete;
    SimpleListDL& operator=(const SimpleListDL&) = delete;

    [[nodiscard]] unsigned long GetCount() const { return m_nItems; }

    // The ends of the list, and the neighbours of an element: null where there is none.
    [[nodiscard]] T* GetFirst() const { return m_pFirst; }
    [[nodiscard]] T* GetLast() const { return m_pLast; }
    [[nodiscard]] T* GetPrev(const T* node) const { return node->m_pPrev; }
    [[nodiscard]] T* GetNext(const T* node) const { return node->m_pNext; }

    void AddFirst(T* node) { Link(nullptr, node, m_pFirst); }
    void AddLast(T* node) { Link(m_pLast, node, nullptr); }
    void InsertBefore(T* where, T* node) { Link(where->m_pPrev, node, where); }
    void InsertAfter(T* where, T* node) { Link(where, node, where->m_pNext); }

    // Unlinks an end of the list. Returns the element, or null when the list is empty.
    T* RemoveFirst() { return RemoveEnd(m_pFirst); }
    T* RemoveLast() { return RemoveEnd(m_pLast); }

    // Unlinks `node`. Returns false, changing nothing, when it is null or not linked.
    bool Remove(T* node) {
        if (node == nullptr || !IsLinked(*node)) {
            return false;
        }
        Unlink(*node);
        return true;
    }

    // Unlinks every element, without deleting any.
    void RemoveAll() {
        while (RemoveFirst() != nullptr) {
        }
    }

    // Unlinks and deletes every element, first to last. They must have been made with `new`.
    void DeleteNodes() {
        while (T* node = RemoveFirst()) {
            delete node;
        }
    }

private:
    [[nodiscard]] bool IsLinked(const T& node) const {
        return (node.m_pPrev != nullptr ? node.m_pPrev->m_pNext : m_pFirst) == &node;
    }

    // The field that points forward to the element behind `prev`, and backward to the one in front of `next`.
    T*& ForwardLink(T* prev) { return prev != nullptr ? prev->m_pNext : m_pFirst; }
    T*& BackwardLink(T* next) { return next != nullptr ? next->m_pPrev : m_pLast; }

    void Link(T* prev, T* node, T* next) {
        node->m_pPrev = prev;
        node->m_pNext = next;
        ForwardLink(prev) = node;
        BackwardLink(next) = node;
        ++m_nItems;
    }

    void Unlink(T& node) {
        ForwardLink(node.m_pPrev) = node.m_pNext;
        BackwardLink(node.m_pNext) = node.m_pPrev;
        node.m_pPrev = nullptr;
        node.m_pNext = nullptr;
        --m_nItems;
    }

    T* RemoveEnd(T* node) {
        if (node != nullptr) {
            Unlink(*node);
        }
        return node;
    }

    T* m_pFirst = nullptr;
    T* m_pLast = nullptr;
    unsigned long m_nItems = 0;
};
