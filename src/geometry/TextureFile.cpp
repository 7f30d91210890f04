// Texture files (conversion between pixels and the codec stream) and the PPM writer.
// Must not know how headers and streams are coded nor what uses the image.
#include "geometry/Texture.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "geometry/Codec.h"
#include "geometry/FileHeader.h"
#include "geometry/GridFile.h"
#include "geometry/WithinMemory.h"
#include "files/FileAccess.h"

namespace {

// Everything before the stream. Flags are taken over at once, all else only on success.
bool TakeHeader(int fd, Texture& image) {
    TextureHeader header;
    header.filter = image.filter;
    header.mipmap = image.mipmap;
    switch (ReadHeader(fd, header)) {
        case HeaderFault::None:
            image.filter = header.filter;
            image.mipmap = header.mipmap;
            return true;
        case HeaderFault::Unreadable:
            std::perror("Texture::Load");
            return false;
        case HeaderFault::Version:
            std::fprintf(stderr,
                         "Texture::Load: file version %d, I only know version %d and lower\n",
                         header.version, TextureHeader::kVersion);
            return false;
        default:
            std::fprintf(stderr, "Texture::Load: file not a Texture - %s?\n", header.magic);
            return false;
    }
}

// The top eight bits of every value, channels interleaved, into zeroed pixels. Zeros are not
// written: where a cut file left the grid empty, the image takes no memory either.
void TakeTopBytes(const Codec& grid, std::uint8_t* pixels) {
    const int shift = grid.bytesPerValue > 0 ? 8 * grid.bytesPerValue - 8 : 0;
    const std::size_t channels = grid.data.size();
    for (std::size_t c = 0; c < channels; ++c) {
        const ZeroedArray<std::int32_t>& values = grid.data[c];
        for (std::size_t i = 0; i < values.size(); ++i) {
            const auto byte = static_cast<std::uint8_t>(values[i] >> shift);
            if (byte != 0) pixels[i * channels + c] = byte;
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

bool Texture::Load(const std::string& path, const std::string& name) {
    const int fd = OpenForReading(path);
    if (fd < 0) {
        std::fprintf(stderr, "Texture::Load: could not open file %s\n", name.c_str());
        return false;
    }
    return Load(fd);
}

bool Texture::Load(int fd) {
    Codec grid;
    const bool read = TakeHeader(fd, *this) && grid.Load(fd);
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
    TextureHeader header;
    header.filter = filter;
    header.mipmap = mipmap;
    return WithinMemory("Texture::Save", [&] {
        Codec grid;
        FillGrid(*this, grid);
        return WriteGridFile("Texture::Save", path, header, grid, codec);
    });
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
