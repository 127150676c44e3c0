// Counts what a test's program takes with new, and refuses it. Include it in one file of the program.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>

struct AllocationWatch {
    static inline long live = 0;                // objects and arrays that are not deleted yet
    static inline std::size_t largest = 0;      // bytes of the largest request so far
    static inline long requests = 0;            // so far
    static inline long refused = 0;             // the number of the one that is refused; 0: none
    static inline bool sparesThrowing = false;  // requests that would throw neither count nor are refused
    static inline bool fails = false;           // each request that may return null does

    static void* take(std::size_t size, bool throws = false) {
        if (!(throws && sparesThrowing) && ++requests == refused) {
            return nullptr;
        }
        largest = std::max(largest, size);
        void* const p = std::malloc(std::max<std::size_t>(size, 1));
        live += p != nullptr ? 1 : 0;
        return p;
    }
    static void* takeOrThrow(std::size_t size) {
        void* const p = take(size, true);
        if (p == nullptr) {
            throw std::bad_alloc();
        }
        return p;
    }
    static void give(void* p) {
        live -= p != nullptr ? 1 : 0;
        std::free(p);
    }
};

// All of the usual forms: a sanitizer's own ones do not call each other.
void* operator new(std::size_t size) {
    return AllocationWatch::takeOrThrow(size);
}
void* operator new[](std::size_t size) {
    return AllocationWatch::takeOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return AllocationWatch::fails ? nullptr : AllocationWatch::take(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return AllocationWatch::fails ? nullptr : AllocationWatch::take(size);
}
void operator delete(void* p) noexcept {
    AllocationWatch::give(p);
}
void operator delete[](void* p) noexcept {
    AllocationWatch::give(p);
}
void operator delete(void* p, std::size_t) noexcept {
    AllocationWatch::give(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    AllocationWatch::give(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    AllocationWatch::give(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    AllocationWatch::give(p);
}
