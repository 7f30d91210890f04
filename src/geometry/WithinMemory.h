// What a large mesh or image asks of a small machine fails, it does not end the program.
#pragma once

#include <cstdio>
#include <new>

// What the work gives; false, after one line that names the caller, when memory runs out.
template <class Work>
bool WithinMemory(const char* caller, Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "%s: out of memory\n", caller);
        return false;
    }
}
