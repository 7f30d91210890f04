// Work in numbered pieces shared among threads.
#pragma once

#include <atomic>
#include <thread>
#include <vector>

// Calls work(0) ... work(pieces - 1), each once, on as many threads at most. work must not throw
// and must write only what belongs to its piece: then the result is the same for any number.
template <class Work>
void ParallelFor(int pieces, int threads, const Work& work) {
    std::atomic<int> next = 0;
    const auto run = [&] {
        for (int piece = next++; piece < pieces; piece = next++)
            work(piece);
    };
    std::vector<std::jthread> others;
    for (int i = 1; i < threads && i < pieces; ++i)
        others.emplace_back(run);
    run();
}
