// Texture files (a small header, then a codec stream) and the PPM writer.
// Must not know how streams are coded nor what uses the image.
#include "geometry/Texture.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "geometry/BigEndian.h"
#include "geometry/Codec.h"
#include "files/FileAccess.h"

namespace {

constexpr char kMagicPlain[] = "sTXT";    // no version, no flags
constexpr char kMagicVersion[] = "sTX2";  // a version, and flags from version 1 on
constexpr std::int32_t kVersion = 1;
constexpr std::uint8_t kFilterBit = 1;
constexpr std::uint8_t kMipmapBit = 2;

bool ReadHeader(int fd, Texture& image) {
    char magic[5] = {};
    if (ReadBytes(fd, magic, 4) < 0) {
        std::perror("Texture::Load");
        return false;
    }
    std::int32_t version = 0;
    std::uint8_t bytes[4];
    if (std::strcmp(magic, kMagicVersion) == 0) {
        ReadBytes(fd, bytes, 4);
        version = ReadBigEndian32(bytes);
    } else if (std::strcmp(magic, kMagicPlain) != 0) {
        std::fprintf(stderr, "Texture::Load: file not a Texture - %s?\n", magic);
        return false;
    }
    if (version > kVersion) {
        std::fprintf(stderr, "Texture::Load: file version %d, I only know version %d and lower\n",
                     version, kVersion);
        return false;
    }
    if (version >= 1) {
        ReadBytes(fd, bytes, 1);
        image.filter = (bytes[0] & kFilterBit) != 0;
        image.mipmap = (bytes[0] & kMipmapBit) != 0;
    }
    return true;
}

// The top eight bits of every value, channels interleaved.
void TakeTopBytes(const Codec& grid, std::uint8_t* pixels) {
    const int shift = grid.bytesPerValue > 0 ? 8 * grid.bytesPerValue - 8 : 0;
    const std::size_t channels = grid.data.size();
    for (std::size_t c = 0; c < channels; ++c) {
        const std::vector<std::int32_t>& values = grid.data[c];
        for (std::size_t i = 0; i < values.size(); ++i) {
            pixels[i * channels + c] = static_cast<std::uint8_t>(values[i] >> shift);
        }
    }
}

void FillGrid(const Texture& image, Codec& grid) {
    grid.Init(image.width, image.height, image.channels, 8);
    const std::size_t channels = grid.data.size();
    for (std::size_t c = 0; c < channels; ++c) {
        for (std::size_t i = 0; i < grid.data[c].size(); ++i) {
            grid.data[c][i] = image.pixels[i * channels + c];
        }
    }
}

}  // namespace

bool Texture::Load(const std::string& path) {
    const int fd = OpenForReading(path);
    if (fd < 0) {
        std::fprintf(stderr, "Texture::Load: could not open file %s\n", path.c_str());
        return false;
    }
    return Load(fd);
}

bool Texture::Load(int fd) {
    Codec grid;
    const bool read = ReadHeader(fd, *this) && grid.Load(fd);
    CloseFile(fd);
    if (!read) return false;
    if (grid.channels > 4) {
        std::fprintf(stderr, "Texture::Load: nonsensical channel count %d\n", grid.channels);
        return false;
    }
    if (!SetSize(grid.width, grid.height, grid.channels)) {
        std::fprintf(stderr, "Texture::Load: out of memory\n");
        return false;
    }
    TakeTopBytes(grid, pixels);
    uploads.clear();
    return true;
}

bool Texture::Save(const std::string& path, int codec) const {
    const int fd = OpenForWriting(path, Links::Follow);
    if (fd < 0) {
        std::fprintf(stderr, "Texture::Save: could not open file %s\n", path.c_str());
        return false;
    }
    std::uint8_t header[9];
    std::memcpy(header, kMagicVersion, 4);
    WriteBigEndian32(header + 4, kVersion);
    header[8] = static_cast<std::uint8_t>((filter ? kFilterBit : 0) | (mipmap ? kMipmapBit : 0));
    WriteBytes(fd, header, sizeof header);
    Codec grid;
    FillGrid(*this, grid);
    const bool saved = grid.Save(fd, codec);
    CloseFile(fd);
    if (!saved && path != "-" && unlink(path.c_str()) != 0) std::perror("Texture::Save");
    return saved;
}

std::string Texture::UprightBytes() const {
    const std::size_t kept = IsGrey() ? 1 : 3;
    const auto columns = static_cast<std::size_t>(width);
    const auto step = static_cast<std::size_t>(channels);
    std::string bytes(columns * static_cast<std::size_t>(height) * kept, '\0');
    char* target = bytes.data();
    for (std::size_t row = static_cast<std::size_t>(height); row-- > 0;) {
        const std::uint8_t* pixel = pixels + row * columns * step;
        for (std::size_t x = 0; x < columns; ++x, pixel += step, target += kept) {
            std::memcpy(target, pixel, kept);
        }
    }
    return bytes;
}

bool Texture::SavePPM(const std::string& path) const {
    const int fd = OpenForWriting(path, Links::Refuse);
    if (fd < 0) return false;
    const std::string size = std::to_string(width) + " " + std::to_string(height);
    const std::string file = (IsGrey() ? "P5\n" : "P6\n") + size + "\n255\n" + UprightBytes();
    WriteBytes(fd, file.data(), file.size());
    CloseFile(fd);
    return true;
}
