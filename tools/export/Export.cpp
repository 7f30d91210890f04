#include "export/Export.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "export/Formats.h"
#include "files/FileReplacement.h"
#include "shared/Progress.h"

namespace {

using Meshes = std::vector<TriangleMesh>;
using Packer = std::string (*)(std::span<const TriangleMesh> meshes);

// The lengths and indices of every format stay within 32 bits.
constexpr std::size_t kMaxTriangles = std::size_t{1} << 26;

Packer PackerFor(const std::string& file) {
    constexpr struct {
        const char* ending;
        Packer pack;
    } formats[] = {{".ply", PackPly}, {".obj", PackObj}, {".stl", PackStl}, {".glb", PackGlb}};
    std::string ending = file.substr(file.size() - std::min<std::size_t>(file.size(), 4));
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const auto& format : formats)
        if (ending == format.ending) return format.pack;
    return nullptr;
}

// The name of the file as every format can hold it, different from those of the meshes before.
std::string NameFor(const std::string& path, const Meshes& before) {
    std::string name = path.substr(path.rfind('/') + 1);
    for (char& c : name) {
        const bool plain = std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '-';
        if (!plain) c = '_';
    }
    while (std::any_of(before.begin(), before.end(),
                       [&name](const TriangleMesh& mesh) { return mesh.name == name; }))
        name += '_';
    return name;
}

Result<Meshes> ReadAll(const std::vector<std::string>& paths) {
    Meshes meshes;
    for (const std::string& path : paths) {
        const Progress progress("reading " + path);
        GeoImage grid;
        if (!grid.Load(path)) return Failure{};
        meshes.push_back(TrianglesOf(grid, NameFor(path, meshes)));
        if (meshes.back().triangles.empty()) return Failure{path + " has no triangles"};
        if (Count(meshes).triangles > kMaxTriangles)
            return Failure{"more than " + std::to_string(kMaxTriangles) + " triangles"};
    }
    return meshes;
}

}  // namespace

Outcome ExportMeshes(const std::vector<std::string>& meshes, const std::string& file) {
    const Packer pack = PackerFor(file);
    if (pack == nullptr) return Failure{file + " does not end in .ply, .obj, .stl or .glb"};
    const auto read = ReadAll(meshes);
    if (!read) return read.Why();
    const Progress progress("writing " + file);
    const std::string contents = pack(*read);
    FileReplacement replacement;
    if (!replacement.Open(file)) return Failure{"could not open file " + file};
    if (replacement.Finish(contents)) return Success();
    return Failure{"could not write " + file + ": " + std::strerror(errno)};
}
