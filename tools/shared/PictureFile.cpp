#include "shared/PictureFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "files/FileAccess.h"
#include "shared/JpegFile.h"
#include "shared/PngFile.h"

namespace {

using Bytes = std::span<const unsigned char>;

// Of a file, packed: more is no picture that a texture could hold.
constexpr off_t kMaxFileBytes = off_t{1} << 28;

constexpr unsigned char kPng[] = {0x89, 'P', 'N', 'G'};
constexpr unsigned char kJpeg[] = {0xFF, 0xD8, 0xFF};

bool StartsWith(Bytes bytes, Bytes magic) {
    return bytes.size() >= magic.size() && std::equal(magic.begin(), magic.end(), bytes.begin());
}

Result<std::vector<unsigned char>> ReadFile(const std::string& path) {
    // No model gets at what the tool's user types.
    const int fd = OpenForReading(path == "-" ? "./-" : path);
    if (fd < 0) return Failure{"could not open file " + path};
    struct stat status {};
    std::vector<unsigned char> bytes;
    const bool fits = fstat(fd, &status) == 0 && status.st_size <= kMaxFileBytes;
    bytes.resize(fits ? static_cast<std::size_t>(status.st_size) : 0);
    const std::ptrdiff_t got = ReadBytes(fd, bytes.data(), bytes.size());
    CloseFile(fd);
    if (!fits) return Failure{path + ": the picture is too large"};
    if (got < 0) return Failure{"could not read file " + path};
    bytes.resize(static_cast<std::size_t>(got));
    return bytes;
}

}  // namespace

Result<std::unique_ptr<Texture>> ReadPicture(Bytes bytes) {
    if (StartsWith(bytes, kPng)) return ReadPng(bytes, kMaxPictureSide);
    if (StartsWith(bytes, kJpeg)) return ReadJpeg(bytes, kMaxPictureSide);
    return Failure{"neither a PNG nor a JPEG file"};
}

Result<std::unique_ptr<Texture>> ReadPicture(const std::string& path) {
    const auto bytes = ReadFile(path);
    if (!bytes) return bytes.Why();
    auto picture = ReadPicture(Bytes(*bytes));
    if (!picture) return Failure{path + ": " + picture.Why().line};
    return picture;
}
