// Writes beside the file and renames; where the folder does not allow that, and into what is no
// file of its own, in place.
#include "files/FileReplacement.h"

#include "files/FileAccess.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace {

constexpr int kWrite = O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr mode_t kNewFileMode = 0666;  // less the process's umask

std::string ResolveLinks(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr),
                                                           &std::free);
    return real ? real.get() : path;
}

// After OpenBeside failed: whether the reason lies in the folder or the longer name, so that the
// file itself may still open.
bool NoRoomBeside() {
    return errno == EACCES || errno == EPERM || errno == EROFS || errno == EEXIST ||
           errno == ENAMETOOLONG;
}

// Takes the space before the old contents are touched. Where the file system cannot, writing may
// still succeed.
bool Reserve(int descriptor, std::size_t size) {
    struct stat old {};
    if (size == 0) return true;
    if (fstat(descriptor, &old) != 0) return false;
    // Not posix_fallocate: where it has to do without the file system's help, it reads the file.
    int error = EINTR;
    while (error == EINTR)
        error = fallocate(descriptor, 0, 0, static_cast<off_t>(size)) == 0 ? 0 : errno;
    if (error == 0) return true;
    if (error == EOPNOTSUPP || error == ENOSYS) return true;
    // What was added is given back as well as it can be.
    if (ftruncate(descriptor, old.st_size) == 0) errno = error;
    return false;
}

// A descriptor of its own for standard output or standard error if the path leads to the same
// place, -1 if not. Opened anew, a file that they are redirected to would be written from its
// start.
int ShareOutput(const std::string& path) {
    struct stat named {};
    if (stat(path.c_str(), &named) != 0) return -1;
    for (const int output : {STDOUT_FILENO, STDERR_FILENO}) {
        struct stat open {};
        if (fstat(output, &open) != 0) continue;
        if (open.st_dev != named.st_dev || open.st_ino != named.st_ino) continue;
        std::fflush(stdout);
        return fcntl(output, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    }
    return -1;
}

// While it lives, a pipe that has lost its reader lets a write of this thread fail, where it would
// end the process.
class PipeSignalHeld {
public:
    PipeSignalHeld() {
        sigemptyset(&m_pipe);
        sigaddset(&m_pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &m_pipe, &m_before);
    }
    ~PipeSignalHeld() {
        const int error = errno;
        const timespec now{};
        sigtimedwait(&m_pipe, nullptr, &now);
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
        errno = error;
    }
    PipeSignalHeld(const PipeSignalHeld&) = delete;
    PipeSignalHeld& operator=(const PipeSignalHeld&) = delete;

private:
    sigset_t m_pipe{};
    sigset_t m_before{};
};

}  // namespace

FileReplacement::~FileReplacement() {
    Drop();
}

bool FileReplacement::Open(const std::string& path) {
    if (path.empty()) return false;
    m_descriptor = ShareOutput(path);
    m_isStream = m_descriptor >= 0;
    if (m_isStream) return true;
    m_path = ResolveLinks(path);
    struct stat old {};
    if (lstat(m_path.c_str(), &old) != 0) return OpenBeside() || (NoRoomBeside() && OpenInPlace());
    // A rename needs no right to write the file itself.
    if (S_ISREG(old.st_mode) && access(m_path.c_str(), W_OK) != 0) return false;
    // A rename would hand the file to another owner, or part it from its other names.
    const bool replaceable = S_ISREG(old.st_mode) && old.st_uid == geteuid() && old.st_nlink == 1;
    if (!replaceable) return OpenInPlace();
    if (!OpenBeside()) return NoRoomBeside() && OpenInPlace();
    if (fchown(m_descriptor, static_cast<uid_t>(-1), old.st_gid) == 0 &&
        fchmod(m_descriptor, old.st_mode & 07777) == 0) {
        return true;
    }
    Drop();
    return OpenInPlace();
}

void FileReplacement::Drop() {
    if (m_descriptor >= 0) close(std::exchange(m_descriptor, -1));
    if (!m_temporary.empty()) unlink(m_temporary.c_str());
    m_temporary.clear();
}

bool FileReplacement::OpenBeside() {
    m_temporary = m_path + '.' + std::to_string(getpid()) + ".tmp";
    unlink(m_temporary.c_str());  // left by a killed process of the same number
    m_descriptor = open(m_temporary.c_str(), kWrite | O_CREAT | O_EXCL | O_NOFOLLOW, kNewFileMode);
    if (m_descriptor >= 0) return true;
    m_temporary.clear();
    return false;
}

bool FileReplacement::OpenInPlace() {
    m_descriptor = open(m_path.c_str(), kWrite | O_CREAT, kNewFileMode);
    struct stat opened {};
    if (m_descriptor < 0 || fstat(m_descriptor, &opened) != 0) return false;
    m_isStream = S_ISFIFO(opened.st_mode) || S_ISCHR(opened.st_mode);
    // Opening must not wait for a reader, but writing must not fail for a slow one.
    if (m_isStream) return fcntl(m_descriptor, F_SETFL, O_WRONLY) == 0;
    return S_ISREG(opened.st_mode);
}

bool FileReplacement::WriteWhole(std::string_view contents) const {
    return (!m_temporary.empty() || Reserve(m_descriptor, contents.size())) &&
           WriteBytes(m_descriptor, contents.data(), contents.size()) &&
           ftruncate(m_descriptor, static_cast<off_t>(contents.size())) == 0 &&
           fsync(m_descriptor) == 0;
}

bool FileReplacement::Finish(std::string_view contents) {
    const PipeSignalHeld held;
    bool done = m_isStream ? WriteBytes(m_descriptor, contents.data(), contents.size())
                           : WriteWhole(contents);
    done = close(std::exchange(m_descriptor, -1)) == 0 && done;
    if (!done || m_temporary.empty()) return done;
    if (std::rename(m_temporary.c_str(), m_path.c_str()) != 0) return false;
    m_temporary.clear();
    return true;
}
