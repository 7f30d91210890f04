// Limits and ends of a forked process.
#include "import/read/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>
#include <fstream>
#include <new>

namespace {

// Sanitizers reserve terabytes of addresses, so that only the memory in use can be bounded, and
// that only by looking at it now and then.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kWatched = true;
#else
constexpr bool kWatched = false;
#endif
constexpr int kWatchMilliseconds = 20;

constexpr int kNoMemory = 77;  // exit status; far from those of the libraries' own exits

struct MemoryUse {
    std::int64_t addresses = 0;  // bytes
    std::int64_t resident = 0;
};

MemoryUse UseOf(const std::string& process) {
    MemoryUse use;
    std::ifstream("/proc/" + process + "/statm") >> use.addresses >> use.resident;
    const std::int64_t page = sysconf(_SC_PAGESIZE);
    return {use.addresses * page, use.resident * page};
}

void Limit(__rlimit_resource resource, std::int64_t value) {
    rlimit limit{};
    getrlimit(resource, &limit);
    limit.rlim_cur = std::min(static_cast<rlim_t>(value), limit.rlim_max);
    setrlimit(resource, &limit);
}

void Silence() {
    const int nothing = open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nothing, stream);
}

void Confine(const ChildLimits& limits) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGTERM, SIGINT})
        std::signal(signal, SIG_DFL);
    Silence();
    Limit(RLIMIT_CORE, 0);
    Limit(RLIMIT_FSIZE, 0);
    if (!kWatched) Limit(RLIMIT_AS, UseOf("self").addresses + limits.memory);
    std::set_new_handler([] { _exit(kNoMemory); });
}

}  // namespace

ChildProcess::ChildProcess(const ChildLimits& limits, const std::function<void(int out)>& work)
    : m_limits(limits),
      m_deadline(Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                    std::chrono::duration<double>(limits.seconds))) {
    if (kWatched) m_mostResident = UseOf("self").resident + limits.memory;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) == 0) {
        m_in = ends[0];
        m_child = fork();
    }
    if (m_child < 0) m_refusal = std::string("no process for it: ") + std::strerror(errno);
    if (m_in < 0) return;
    if (m_child == 0) {
        close(ends[0]);
        Confine(limits);
        work(ends[1]);
        _exit(0);
    }
    close(ends[1]);
}

ChildProcess::~ChildProcess() {
    End();
    if (m_in >= 0) close(m_in);
}

bool ChildProcess::Read(void* bytes, std::size_t count) {
    auto* next = static_cast<char*>(bytes);
    while (count > 0 && WaitForBytes()) {
        const ssize_t got = read(m_in, next, count);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        next += got;
        count -= static_cast<std::size_t>(got);
    }
    return count == 0;
}

bool ChildProcess::WaitForBytes() {
    while (m_child > 0) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(m_deadline - Clock::now()).count();
        m_late = left <= 0;
        m_large = kWatched && UseOf(std::to_string(m_child)).resident > m_mostResident;
        if (m_late || m_large) return false;
        constexpr std::int64_t kLongest = 1 << 30;
        const std::int64_t wait = std::min(left, kWatched ? kWatchMilliseconds : kLongest);
        pollfd input{m_in, POLLIN, 0};
        const int ready = poll(&input, 1, static_cast<int>(wait));
        if (ready > 0) return true;
        if (ready < 0 && errno != EINTR) return false;
    }
    return false;
}

std::string ChildProcess::WhyEnded() {
    if (!m_refusal.empty()) return m_refusal;
    const int status = End();
    if (m_late) {
        return "it takes longer than " + std::to_string(std::lround(m_limits.seconds)) + " seconds";
    }
    if (m_large || (WIFEXITED(status) && WEXITSTATUS(status) == kNoMemory)) {
        return "it takes more than " + std::to_string(m_limits.memory >> 20) + " MB of memory";
    }
    if (WIFSIGNALED(status)) {
        return std::string("its reader broke off (") + strsignal(WTERMSIG(status)) + ')';
    }
    return status == 0 ? "" : "its reader broke off";
}

// The end of the pipe says that the work has ended already: killing does not change its status.
int ChildProcess::End() {
    int status = 0;
    if (m_child <= 0) return status;
    kill(m_child, SIGKILL);
    while (waitpid(m_child, &status, 0) < 0 && errno == EINTR) {
    }
    m_child = 0;
    return status;
}
