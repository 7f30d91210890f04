#include "shared/PngFile.h"

#include <fcntl.h>
#include <png.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "files/FileAccess.h"

namespace {

png_uint_32 FormatOf(int channels) {
    constexpr png_uint_32 formats[] = {PNG_FORMAT_GRAY, PNG_FORMAT_GA, PNG_FORMAT_RGB,
                                       PNG_FORMAT_RGBA};
    return formats[channels - 1];
}

// Frees what libpng keeps between the two steps of reading or writing.
struct PngImage {
    png_image image{};
    PngImage() { image.version = PNG_IMAGE_VERSION; }
    ~PngImage() { png_image_free(&image); }
    PngImage(const PngImage&) = delete;
    PngImage& operator=(const PngImage&) = delete;
};

struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

// Takes over the descriptor of OpenForReading or OpenForWriting; null when it is none.
Stream StreamOn(int fd, const char* mode) {
    if (fd < 0) return nullptr;
    const int own = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    CloseFile(fd);
    return Stream(own < 0 ? nullptr : fdopen(own, mode));
}

// Of a picture whose header was read; the line says the fault alone.
Result<std::unique_ptr<Texture>> ReadPixels(PngImage& png, bool grey) {
    const png_uint_32 kept = grey ? 0 : PNG_FORMAT_FLAG_COLOR | PNG_FORMAT_FLAG_ALPHA;
    png.image.format &= kept;
    const int channels = PNG_IMAGE_SAMPLE_CHANNELS(png.image.format);
    auto texture = std::make_unique<Texture>();
    if (!texture->SetSize(static_cast<int>(png.image.width), static_cast<int>(png.image.height),
                          channels)) {
        return Failure{"the picture is too large"};
    }
    const png_color black{};  // what a translucent picture is laid over when alpha is dropped
    const int upsideDown = -texture->width * channels;
    if (!png_image_finish_read(&png.image, &black, texture->pixels, upsideDown, nullptr)) {
        return Failure{png.image.message};
    }
    return texture;
}

}  // namespace

Result<std::unique_ptr<Texture>> ReadPng(const std::string& path, bool grey) {
    const Stream stream = StreamOn(OpenForReading(path), "rb");
    if (!stream) return Failure{"could not open file " + path};
    PngImage png;
    if (!png_image_begin_read_from_stdio(&png.image, stream.get())) {
        return Failure{path + ": " + png.image.message};
    }
    auto texture = ReadPixels(png, grey);
    if (!texture) return Failure{path + ": " + texture.Why().line};
    return texture;
}

Result<std::unique_ptr<Texture>> ReadPng(std::span<const unsigned char> bytes, int maxSide) {
    PngImage png;
    if (!png_image_begin_read_from_memory(&png.image, bytes.data(), bytes.size())) {
        return Failure{png.image.message};
    }
    const auto side = static_cast<png_uint_32>(maxSide);
    if (png.image.width > side || png.image.height > side)
        return Failure{"the picture is too large"};
    return ReadPixels(png, false);
}

Outcome WritePng(const std::string& path, const Texture& texture) {
    PngImage png;
    png.image.width = static_cast<png_uint_32>(texture.width);
    png.image.height = static_cast<png_uint_32>(texture.height);
    png.image.format = FormatOf(texture.channels);
    const int upsideDown = -texture.width * texture.channels;
    Stream stream = StreamOn(OpenForWriting(path, Links::Follow), "wb");
    if (!stream) return Failure{"could not open file " + path};
    const bool written = png_image_write_to_stdio(&png.image, stream.get(), 0, texture.pixels,
                                                  upsideDown, nullptr) != 0;
    const bool flushed = written && std::fflush(stream.get()) == 0;
    const std::string reason = written ? std::strerror(errno) : png.image.message;
    if (flushed) return Success();
    if (path != "-") unlink(path.c_str());
    return Failure{path + ": " + reason};
}
