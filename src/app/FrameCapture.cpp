// Writes recorded frames: numbered PNG pictures and a control file of their times.
// Names come from scene files and the registry, so no shell and no format string ever sees them.
#include "app/FrameCapture.h"

#include <png.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "files/FileAccess.h"
#include "geometry/Texture.h"

namespace {

constexpr const char* kScratchPicture = "/tmp/foo.ppm";
constexpr int kTicksPerSecond = 30;  // of the control file

// Null when the descriptor is none.
FILE* OpenStream(int fd, const char* mode) {
    FILE* file = fd >= 0 ? fdopen(fd, mode) : nullptr;
    if (!file && fd >= 0) close(fd);
    return file;
}

void WritePNG(const Texture& picture, const std::string& path) {
    FILE* file = OpenStream(OpenForWriting(path, Links::Refuse), "w");
    if (!file) return;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = picture.IsGrey() ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
    const std::string pixels = picture.UprightBytes();
    const bool written = png_image_write_to_stdio(&image, file, 0, pixels.data(), 0, nullptr) != 0;
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed) unlink(path.c_str());  // half a picture is worse than none
}

}  // namespace

void AppendFrameTime(const std::string& baseName, std::int64_t milliseconds, int frameNumber) {
    FILE* file = OpenStream(OpenForAppending(baseName + "-control", Links::Refuse), "a");
    if (!file) return;
    std::fprintf(file, "%lld %d\n", static_cast<long long>(milliseconds * kTicksPerSecond / 1000),
                 frameNumber);
    std::fclose(file);
}

void WriteFrame(const Texture& picture, const std::string& baseName, int frameNumber) {
    char number[32];
    std::snprintf(number, sizeof number, "-%04d.png", frameNumber);
    picture.SavePPM(kScratchPicture);
    if (picture.pixels) WritePNG(picture, baseName + number);
}
