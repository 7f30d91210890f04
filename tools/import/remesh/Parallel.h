// Work in numbered pieces shared among threads.
#pragma once

#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

// Calls work(0) ... work(pieces - 1), each once, on as many threads at most: on fewer where the
// system gives no more. work must write only what belongs to its piece: then the result is the same
// for any number. What a piece throws is thrown again, once all threads have ended.
template <class Work>
void ParallelFor(int pieces, int threads, const Work& work) {
    std::atomic<int> next = 0;
    std::exception_ptr thrown;
    std::mutex mutex;
    const auto run = [&] {
        try {
            for (int piece = next++; piece < pieces; piece = next++)
                work(piece);
        } catch (...) {
            const std::scoped_lock lock(mutex);
            thrown = std::current_exception();
        }
    };
    {
        std::vector<std::jthread> others;
        try {
            for (int i = 1; i < threads && i < pieces; ++i)
                others.emplace_back(run);
        } catch (const std::system_error&) {
            // Those that have started take the pieces of the others.
        }
        run();
    }
    if (thrown) std::rethrow_exception(thrown);
}
