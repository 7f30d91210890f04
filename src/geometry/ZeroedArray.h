// An array that starts as zeros which cost nothing: pages that nobody writes stay those that the
// system hands out empty. A small file may claim a large grid and end before it has filled it.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <vector>

template <class T>
struct ZeroedAllocator {
    using value_type = T;

    T* allocate(std::size_t count) {
        // The caller of an allocator keeps the product within range.
        if (void* memory = std::calloc(count, sizeof(T))) return static_cast<T*>(memory);
        throw std::bad_alloc();
    }
    void deallocate(T* memory, std::size_t) { std::free(memory); }
    // A new element is what the memory holds already.
    void construct(T*) {}
    void construct(T* place, const T& value) { *place = value; }
    bool operator==(const ZeroedAllocator&) const { return true; }
};

// Give a new size to a new array only: elements that return within the capacity are not cleared.
template <class T>
using ZeroedArray = std::vector<T, ZeroedAllocator<T>>;
