#include <cstdlib>
#include <new>

// How many allocations of this thread still succeed before one fails; negative: all.
thread_local int allocationsLeft = -1;

void* operator new(std::size_t size) {
    const bool fails = allocationsLeft == 0;
    if (allocationsLeft >= 0) --allocationsLeft;
    void* const memory = fails ? nullptr : std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
