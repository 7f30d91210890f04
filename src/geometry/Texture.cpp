// Storage of an image.
// Must not know the file formats.
#include "geometry/Texture.h"

#include <cstdlib>
#include <utility>

#include "geometry/Codec.h"

Texture::~Texture() {
    std::free(pixels);
}

Texture::Texture(Texture&& other) noexcept
    : width(std::exchange(other.width, 0)),
      height(std::exchange(other.height, 0)),
      channels(other.channels),
      pixels(std::exchange(other.pixels, nullptr)),
      filter(other.filter),
      mipmap(other.mipmap) {}

bool Texture::SetSize(int columns, int rows, int channelCount) {
    if (columns < 0 || rows < 0 || channelCount < 1 || channelCount > 4) return false;
    const std::int64_t area = std::int64_t{columns} * rows;
    if (area > Codec::kMaxValues || area * channelCount > Codec::kMaxValues) return false;
    std::uint8_t* fresh = nullptr;
    if (area > 0) {
        fresh = static_cast<std::uint8_t*>(
            std::calloc(static_cast<std::size_t>(area), static_cast<std::size_t>(channelCount)));
        if (fresh == nullptr) return false;
    }
    std::free(pixels);
    pixels = fresh;
    width = columns;
    height = rows;
    channels = channelCount;
    return true;
}

void Texture::TakeContents(Texture& other) {
    std::swap(width, other.width);
    std::swap(height, other.height);
    std::swap(channels, other.channels);
    std::swap(pixels, other.pixels);
    uploads.clear();
    other.uploads.clear();
}
