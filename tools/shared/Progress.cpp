#include "shared/Progress.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <utility>

Progress::Progress(std::string task)
    : m_task(std::move(task)), m_thread([this](const std::stop_token& stop) { Run(stop); }) {}

Progress::~Progress() = default;

void Progress::Run(const std::stop_token& stop) {
    if (isatty(STDERR_FILENO) == 0) return;  // a log wants the errors alone
    int seconds = 0;
    std::unique_lock lock(m_mutex);
    while (!m_wake.wait_for(lock, stop, std::chrono::seconds(1),
                            [&stop] { return stop.stop_requested(); })) {
        std::fprintf(stderr, "\r%s: %d s", m_task.c_str(), ++seconds);
        if (m_percent >= 0) std::fprintf(stderr, ", %d %%", m_percent.load());
        std::fflush(stderr);
    }
    if (seconds > 0) std::fputc('\n', stderr);
}
