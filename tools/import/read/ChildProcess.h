// Work that may crash, hang or ask for all memory, done in a process of its own whose bytes are
// read back through a pipe. Knows nothing of what is sent.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

struct ChildLimits {
    std::int64_t memory = std::int64_t{3} << 30;  // bytes that the work may use
    double seconds = 120;                         // from start to the last byte
};

// The work sees a copy of this process's memory, as it was at the start, but writes nothing: not
// to terminals, nor files, only to the descriptor it is given. It ends with the parent.
class ChildProcess {
public:
    // Forks without starting another program: call it while no other thread holds a lock that the
    // work needs (the heap's own are safe). Read fails at once where it could not be started.
    ChildProcess(const ChildLimits& limits, const std::function<void(int out)>& work);
    ~ChildProcess();  // kills the work where it still runs
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Waits for the next bytes. False when the work ended before it sent them all or reached a
    // limit; then WhyEnded says which.
    bool Read(void* bytes, std::size_t count);
    // Ends the work if needed and says in a few words what became of it, such as "it takes longer
    // than 120 seconds"; empty when it ended by itself in good order.
    std::string WhyEnded();

private:
    using Clock = std::chrono::steady_clock;

    ChildLimits m_limits;
    Clock::time_point m_deadline;
    int m_in = -1;
    pid_t m_child = -1;
    std::string m_refusal;            // why no process could be started
    std::int64_t m_mostResident = 0;  // bytes, with those of the copy, where they are watched
    bool m_late = false;
    bool m_large = false;

    bool WaitForBytes();
    int End();
};
