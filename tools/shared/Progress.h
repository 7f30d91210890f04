// Tells a terminal on standard error what a tool is busy with, once that takes longer than a
// second. Runs a thread of its own, because one call of the packer can take minutes without giving
// control back.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

class Progress {
public:
    explicit Progress(std::string task);  // such as "making torus"
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // How much is done; until the first call the line shows seconds only.
    void Done(int part, int whole) { m_percent = static_cast<int>(100LL * part / whole); }

private:
    std::string m_task;
    std::atomic<int> m_percent = -1;
    std::mutex m_mutex;
    std::condition_variable_any m_wake;
    std::jthread m_thread;  // last: it uses all the others

    void Run(const std::stop_token& stop);
};
