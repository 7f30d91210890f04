// Unpacks a written stream once more: the writers of the program do not look at write errors.
#include "shared/WrittenFile.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <array>

#include "shared/Cli.h"

bool IsWhole(const std::string& path, long headerLength) {
    if (path == "-") return true;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    // What is no gzip stream would be passed through as if it were one.
    std::array<unsigned char, 2> magic{};
    const bool packed = fd >= 0 && pread(fd, magic.data(), magic.size(), headerLength) == 2 &&
                        magic[0] == 0x1F && magic[1] == 0x8B;
    if (fd >= 0) lseek(fd, headerLength, SEEK_SET);
    gzFile stream = packed ? gzdopen(fd, "rb") : nullptr;
    if (stream == nullptr) {
        if (fd >= 0) close(fd);
        return Fail("could not write " + path);
    }
    std::array<char, 65536> block;
    int got = 0;
    while ((got = gzread(stream, block.data(), block.size())) > 0) {
    }
    int error = Z_OK;
    gzerror(stream, &error);
    gzclose(stream);
    return (got == 0 && error == Z_OK) || Fail("could not write " + path);
}
