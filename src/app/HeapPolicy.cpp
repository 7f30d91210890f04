// The heap's thresholds. Must not depend on anything else of the program.
#include "app/HeapPolicy.h"

#include <malloc.h>

namespace {
constexpr int kMebibyte = 1 << 20;
// Blocks up to this size come from the heap instead of a mapping of their own; 32 MiB is the most
// that the C library accepts.
constexpr int kMmapThreshold = 32 * kMebibyte;
// Free memory at the heap's end is handed back only beyond this.
constexpr int kTrimThreshold = 512 * kMebibyte;
// The heap grows by this much more than asked for, so that it grows rarely.
constexpr int kTopPad = 16 * kMebibyte;
}  // namespace

// Software OpenGL allocates its working memory afresh in every frame and frees it at the end. With
// the defaults the C library gives those pages back to the system each time and faults them in
// again, zeroed, in the next frame: the same scene took 54 ms a frame instead of 24, with nine
// times the page faults.
void KeepHeap() {
    mallopt(M_MMAP_THRESHOLD, kMmapThreshold);
    mallopt(M_TRIM_THRESHOLD, kTrimThreshold);
    mallopt(M_TOP_PAD, kTopPad);
}

void ReturnFreeMemory() {
    malloc_trim(0);
}
