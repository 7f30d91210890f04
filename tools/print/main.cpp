// pallix-print: shows what a mesh or texture file holds.

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "geometry/BigEndian.h"
#include "geometry/Codec.h"
#include "geometry/GeoImage.h"
#include "geometry/Texture.h"
#include "shared/Cli.h"
#include "shared/Progress.h"

namespace {

// What the loaders do not keep: how the file is written.
struct FileHeader {
    std::string magic;
    std::int32_t version = 0;
    std::int32_t exponent = 16;  // where a version says nothing of it
    std::int32_t codec = 0;
    std::int32_t channels = 0;
    std::int32_t bits = 0;
};

constexpr std::size_t kLongestHeader = 17;

// Bytes before the packed stream.
std::size_t HeaderLength(const FileHeader& header) {
    if (header.magic == "sNMM") return header.version >= 2 ? 17 : header.version == 1 ? 16 : 8;
    if (header.magic == "sTX2") return header.version >= 1 ? 9 : 8;
    return 4;
}

void ReadStreamHeader(int fd, std::size_t at, FileHeader& header) {
    lseek(fd, static_cast<off_t>(at), SEEK_SET);
    const int copy = dup(fd);
    gzFile stream = copy >= 0 ? gzdopen(copy, "rb") : nullptr;
    if (stream == nullptr) {
        if (copy >= 0) close(copy);
        return;
    }
    std::array<unsigned char, 17> bytes{};
    gzread(stream, bytes.data(), bytes.size());
    gzclose(stream);
    header.codec = ReadBigEndian32(bytes.data());
    header.channels = ReadBigEndian32(bytes.data() + 12);
    header.bits = bytes[16];
}

bool ReadHeader(const std::string& path, FileHeader& header) {
    // Non-blocking: opening a pipe that nobody writes must not wait for ever.
    const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return Fail("could not open file " + path);
    std::array<unsigned char, kLongestHeader> bytes{};
    const bool readable = read(fd, bytes.data(), bytes.size()) > 0;
    header.magic.assign(bytes.begin(), bytes.begin() + 4);
    if (header.magic == "sNMM" || header.magic == "sTX2")
        header.version = ReadBigEndian32(&bytes[4]);
    if (header.version > 0) header.exponent = ReadBigEndian32(&bytes[12]);
    ReadStreamHeader(fd, HeaderLength(header), header);
    close(fd);
    if (readable && (header.magic == "sNMM" || header.magic.starts_with("sTX"))) return true;
    return Fail(path + " is neither a mesh nor a texture");
}

const char* YesNo(bool value) {
    return value ? "yes" : "no";
}

void PrintStream(const FileHeader& header) {
    const char* name = header.codec == CODEC_PYRAMID ? "pyramid" : "flat";
    std::printf("  codec    %d (%s), %d channels of %d bits\n", header.codec, name, header.channels,
                header.bits);
}

bool PrintMesh(const std::string& path, const FileHeader& header) {
    GeoImage mesh;
    if (!mesh.Load(path)) return false;
    std::printf("%s: mesh\n  version  %d\n", path.c_str(), header.version);
    PrintStream(header);
    std::printf("  size     %d rows, %d columns, %lld triangles\n", mesh.height, mesh.width,
                2LL * (mesh.height - 1) * (mesh.width - 1));
    std::printf("  scale    1/2^%d\n", header.exponent);
    const vec3& low = mesh.boundsMin;
    const vec3& high = mesh.boundsMax;
    std::printf("  bounds   %g,%g,%g to %g,%g,%g\n", low.x, low.y, low.z, high.x, high.y, high.z);
    std::printf("  radius   %g\n  error    %g\n", mesh.radius, mesh.error);
    std::printf("  wrap     columns %s, rows %s\n", YesNo(mesh.wrapColumns), YesNo(mesh.wrapRows));
    return true;
}

bool PrintTexture(const std::string& path, const FileHeader& header) {
    static constexpr const char* kinds[] = {"grey", "grey and alpha", "colour", "colour and alpha"};
    Texture texture;
    if (!texture.Load(path)) return false;
    std::printf("%s: texture\n  version  %d\n", path.c_str(), header.version);
    PrintStream(header);
    std::printf("  size     %d x %d, %s\n", texture.width, texture.height,
                kinds[texture.channels - 1]);
    std::printf("  flags    filter %s, mipmap %s\n", YesNo(texture.filter), YesNo(texture.mipmap));
    return true;
}

bool Print(const std::string& path) {
    const Progress progress("reading " + path);
    FileHeader header;
    if (!ReadHeader(path, header)) return false;
    return header.magic == "sNMM" ? PrintMesh(path, header) : PrintTexture(path, header);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Shows header, size, bounds, error and flags of mesh and texture files.",
                 "pallix-print");
    std::vector<std::string> files;
    app.add_option("files", files, "files to read")->required();
    return RunTool(app, argc, argv, [&files] {
        bool good = true;
        for (const std::string& file : files)
            good = Print(file) && good;
        return good;
    });
}
