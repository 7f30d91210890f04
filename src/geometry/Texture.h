// An 8-bit image of one to four channels with its file format and the PPM writer of captures.
// Knows nothing of drivers; they record their uploads here.
#pragma once

#include <cstdint>
#include <set>
#include <string>

class Texture {
public:
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t channels = 4;       // 1 grey, 2 grey + alpha, 3 RGB, 4 RGBA
    std::uint8_t* pixels = nullptr;  // row-major, interleaved, owned (realloc/free)
    // Drivers note their uploaded copy under a key of their own; emptied on load and reload.
    std::set<const void*> uploads;
    bool filter = true;  // drivers apply their filtering setting, else nearest
    bool mipmap = true;  // drivers build mipmaps and apply their mipmapping setting

    Texture() = default;
    virtual ~Texture();
    // Takes all but the uploads, which drivers know by the old address.
    Texture(Texture&& other) noexcept;

    virtual bool WantsMipmaps() const { return mipmap; }

    // Allocates zeroed pixels; false, leaving the image as it was, when sizes are out of range.
    bool SetSize(int columns, int rows, int channelCount);
    // Reads a texture file ("-": standard input). False with one line on failure; size, pixels
    // and flags stay (but for flags already read from the header).
    bool Load(const std::string& path) { return Load(path, path); }
    // name: what the line calls the file.
    bool Load(const std::string& path, const std::string& name);
    // The same from an open descriptor, which is closed unless it is standard input.
    bool Load(int fd);
    bool Save(const std::string& path, int codec) const;
    bool IsGrey() const { return channels < 3; }
    // One byte a pixel when grey, else three, last row first; alpha is left out.
    std::string UprightBytes() const;
    // Binary PGM when grey, else PPM, last row first ("-": standard output).
    // Follows no symbolic link and opens regular files only. False, silently, when it cannot open.
    bool SavePPM(const std::string& path) const;
    // Exchanges size, channels and pixels with another image; the flags of both stay, their uploads
    // are emptied.
    void TakeContents(Texture& other);
};
