// Opening without blocking, and reading and writing of whole blocks.
// Must not know the formats.
#include "files/FileAccess.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

// Opening a pipe waits for its other end and a device or directory has no contents to load, so
// everything is opened without blocking and only regular files are kept.
int OpenRegular(const std::string& path, int flags) {
    const int fd = open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0666);
    if (fd < 0) return -1;
    struct stat status;
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) return fd;
    close(fd);
    return -1;
}

// "-" gives standard output after what stdio still holds for it.
int OpenOutput(const std::string& path, Links links, int flags) {
    if (path == "-") {
        std::fflush(stdout);
        return STDOUT_FILENO;
    }
    const int follow = links == Links::Refuse ? O_NOFOLLOW : 0;
    return OpenRegular(path, O_WRONLY | O_CREAT | follow | flags);
}

}  // namespace

int OpenForReading(const std::string& path) {
    return path == "-" ? STDIN_FILENO : OpenRegular(path, O_RDONLY);
}

int OpenForWriting(const std::string& path, Links links) {
    const int fd = OpenOutput(path, links, 0);
    // Emptied only here, once it is known to be a regular file.
    if (fd > STDOUT_FILENO && ftruncate(fd, 0) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

int OpenForAppending(const std::string& path, Links links) {
    return OpenOutput(path, links, O_APPEND);
}

void CloseFile(int fd) {
    if (fd != STDIN_FILENO && fd != STDOUT_FILENO) close(fd);
}

std::ptrdiff_t ReadBytes(int fd, void* bytes, std::size_t count) {
    auto* target = static_cast<char*>(bytes);
    std::memset(target, 0, count);
    std::size_t done = 0;
    while (done < count) {
        const ssize_t got = read(fd, target + done, count - done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        done += static_cast<std::size_t>(got);
    }
    return static_cast<std::ptrdiff_t>(done);
}

bool WriteBytes(int fd, const void* bytes, std::size_t count) {
    const auto* source = static_cast<const char*>(bytes);
    while (count > 0) {
        const ssize_t put = write(fd, source, count);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return false;
        source += put;
        count -= static_cast<std::size_t>(put);
    }
    return true;
}
