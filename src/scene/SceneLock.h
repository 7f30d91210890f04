// The two locks of the scene. Order: sceneLock first, then frameLock.
#pragma once

#include <pthread.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <set>

// Held while one interpreter command runs, from a scene file or from the console.
extern pthread_mutex_t sceneLock;

// Excludes commands from frames, camera steps, key and mouse handling. First come, first served:
// the main thread re-takes it at once on every pass, and a plain mutex would starve the console.
// A thread must not be cancelled while it waits or holds: its ticket would block all others.
class FrameLock {
public:
    void lock();
    void unlock();
    // Takes the lock, or gives up after the time. True when taken.
    bool TryLockFor(int milliseconds);

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::uint64_t m_nextTicket = 0;
    std::uint64_t m_nowServing = 0;       // the ticket that holds the lock, or takes it next
    std::set<std::uint64_t> m_abandoned;  // tickets of tries that gave up
};

// Never destroyed: at the end of the process the console thread may be left waiting for it, and
// destroying a condition variable waits for those who wait on it.
extern FrameLock& frameLock;
