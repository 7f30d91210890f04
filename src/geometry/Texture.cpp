// Storage and copying of an image.
// Must not know the file formats.
#include "geometry/Texture.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "geometry/Codec.h"

namespace {

std::size_t PixelBytes(const Texture& image) {
    return static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height) *
           static_cast<std::size_t>(image.channels);
}

}  // namespace

Texture::~Texture() {
    std::free(pixels);
}

Texture::Texture(const Texture& other) : filter(other.filter), mipmap(other.mipmap) {
    if (SetSize(other.width, other.height, other.channels) && pixels != nullptr)
        std::memcpy(pixels, other.pixels, PixelBytes(other));
}

Texture::Texture(Texture&& other) noexcept
    : width(std::exchange(other.width, 0)),
      height(std::exchange(other.height, 0)),
      channels(other.channels),
      pixels(std::exchange(other.pixels, nullptr)),
      uploads(std::move(other.uploads)),
      filter(other.filter),
      mipmap(other.mipmap) {
    other.uploads.clear();
}

Texture& Texture::operator=(Texture other) noexcept {
    SwapContents(other);
    std::swap(uploads, other.uploads);
    filter = other.filter;
    mipmap = other.mipmap;
    return *this;
}

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
    SwapContents(other);
    uploads.clear();
    other.uploads.clear();
}

void Texture::SwapContents(Texture& other) noexcept {
    std::swap(width, other.width);
    std::swap(height, other.height);
    std::swap(channels, other.channels);
    std::swap(pixels, other.pixels);
}
