// The locks of the scene. A ticket lock, so that whoever asks first is served first.
#include "scene/SceneLock.h"

#include <chrono>

pthread_mutex_t sceneLock = PTHREAD_MUTEX_INITIALIZER;
FrameLock& frameLock = *new FrameLock;

void FrameLock::lock() {
    std::unique_lock hold(m_mutex);
    const std::uint64_t ticket = m_nextTicket++;
    m_changed.wait(hold, [&] { return m_nowServing == ticket; });
}

void FrameLock::unlock() {
    {
        const std::lock_guard hold(m_mutex);
        ++m_nowServing;
        while (m_abandoned.erase(m_nowServing) > 0)
            ++m_nowServing;
    }
    m_changed.notify_all();
}

bool FrameLock::TryLockFor(int milliseconds) {
    std::unique_lock hold(m_mutex);
    const std::uint64_t ticket = m_nextTicket++;
    if (m_changed.wait_for(hold, std::chrono::milliseconds(milliseconds),
                           [&] { return m_nowServing == ticket; })) {
        return true;
    }
    m_abandoned.insert(ticket);
    return false;
}
