#include "shared/WrittenFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <array>

#include "files/FileAccess.h"
#include "shared/Progress.h"

namespace {

bool IsWhole(const std::string& path, int headerLength) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    // What is no gzip stream would be passed through as if it were one.
    std::array<unsigned char, 2> magic{};
    const bool packed = fd >= 0 && pread(fd, magic.data(), magic.size(), headerLength) == 2 &&
                        magic[0] == 0x1F && magic[1] == 0x8B;
    if (fd >= 0) lseek(fd, headerLength, SEEK_SET);
    gzFile stream = packed ? gzdopen(fd, "rb") : nullptr;
    if (stream == nullptr) {
        if (fd >= 0) close(fd);
        return false;
    }
    std::array<char, 65536> block;
    int got = 0;
    while ((got = gzread(stream, block.data(), block.size())) > 0) {
    }
    int error = Z_OK;
    gzerror(stream, &error);
    gzclose(stream);
    return got == 0 && error == Z_OK;
}

bool CopyToOutput(int file) {
    std::array<char, 65536> block;
    ssize_t got = 0;
    while ((got = read(file, block.data(), block.size())) > 0) {
        if (!WriteBytes(STDOUT_FILENO, block.data(), static_cast<std::size_t>(got))) return false;
    }
    return got == 0;
}

}  // namespace

Outcome WriteWhole(const std::string& path, int headerLength,
                   const std::function<bool(const std::string& path)>& save) {
    const Progress progress("writing " + path);
    if (path != "-") {
        if (!save(path)) return Failure{};
        if (IsWhole(path, headerLength)) return Success();
        unlink(path.c_str());
        return Failure{"could not write " + path};
    }
    const int memory = memfd_create("output", MFD_CLOEXEC);
    if (memory < 0) return Failure{"out of memory"};
    const std::string kept = "/proc/self/fd/" + std::to_string(memory);
    const bool saved = save(kept);
    const bool good = saved && IsWhole(kept, headerLength) && CopyToOutput(memory);
    close(memory);
    if (good) return Success();
    return Failure{saved ? "could not write standard output" : ""};
}
