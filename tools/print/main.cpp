// pallix-print: shows what a mesh or texture file holds.

#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "files/FileAccess.h"
#include "geometry/Codec.h"
#include "geometry/FileHeader.h"
#include "geometry/GeoImage.h"
#include "geometry/Texture.h"
#include "shared/Cli.h"
#include "shared/Progress.h"

namespace {

const char* YesNo(bool value) {
    return value ? "yes" : "no";
}

// What all files share; the descriptor stands at the stream.
void PrintStart(const std::string& path, const char* kind, int version, int fd) {
    const StreamHead head = Codec::HeadOf(fd);
    const char* name = head.codec == CODEC_PYRAMID ? "pyramid" : "flat";
    std::printf("%s: %s\n  version  %d\n", path.c_str(), kind, version);
    std::printf("  codec    %d (%s), %d channels of %d bits\n", head.codec, name, head.channels,
                head.bits);
}

Outcome PrintMesh(const std::string& path, const MeshHeader& header, int fd) {
    GeoImage mesh;
    if (!mesh.Load(path)) return Failure{};
    PrintStart(path, "mesh", header.version, fd);
    std::printf("  size     %d rows, %d columns, %lld triangles\n", mesh.height, mesh.width,
                2LL * (mesh.height - 1) * (mesh.width - 1));
    std::printf("  scale    1/2^%d\n", header.exponent);
    const vec3& low = mesh.boundsMin;
    const vec3& high = mesh.boundsMax;
    std::printf("  bounds   %g,%g,%g to %g,%g,%g\n", low.x, low.y, low.z, high.x, high.y, high.z);
    std::printf("  radius   %g\n  error    %g\n", mesh.radius, mesh.error);
    std::printf("  wrap     columns %s, rows %s\n", YesNo(mesh.wrapColumns), YesNo(mesh.wrapRows));
    return Success();
}

Outcome PrintTexture(const std::string& path, const TextureHeader& header, int fd) {
    static constexpr const char* kinds[] = {"grey", "grey and alpha", "colour", "colour and alpha"};
    Texture texture;
    if (!texture.Load(path)) return Failure{};
    PrintStart(path, "texture", header.version, fd);
    std::printf("  size     %d x %d, %s\n", texture.width, texture.height,
                kinds[texture.channels - 1]);
    std::printf("  flags    filter %s, mipmap %s\n", YesNo(texture.filter), YesNo(texture.mipmap));
    return Success();
}

// The loaders say what is wrong with a header of the right kind.
Outcome PrintOpened(int fd, const std::string& path) {
    MeshHeader mesh;
    if (ReadHeader(fd, mesh) != HeaderFault::Magic) return PrintMesh(path, mesh, fd);
    lseek(fd, 0, SEEK_SET);
    TextureHeader texture;
    const HeaderFault fault = ReadHeader(fd, texture);
    if (fault == HeaderFault::Magic || fault == HeaderFault::Unreadable)
        return Failure{path + " is neither a mesh nor a texture"};
    return PrintTexture(path, texture, fd);
}

Outcome Print(const std::string& path) {
    const Progress progress("reading " + path);
    // Standard input could not be read a second time, for its contents.
    const int fd = path == "-" ? -1 : OpenForReading(path);
    if (fd < 0) return Failure{"could not open file " + path};
    Outcome printed = PrintOpened(fd, path);
    close(fd);
    return printed;
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
            good = Report(Print(file)) && good;
        return good ? Success() : Failure{};
    });
}
