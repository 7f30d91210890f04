#include "export/Formats.h"

namespace {

constexpr std::size_t kHeaderBytes = 80;
constexpr std::size_t kFacetBytes = 50;

}  // namespace

std::string PackStl(std::span<const TriangleMesh> meshes) {
    const Totals totals = Count(meshes);
    // Not "solid", with which the text form of the format begins.
    std::string file = "binary triangles";
    file.reserve(kHeaderBytes + 4 + kFacetBytes * totals.triangles);
    file.resize(kHeaderBytes, ' ');
    Append(file, static_cast<std::uint32_t>(totals.triangles));
    for (const TriangleMesh& mesh : meshes) {
        for (const auto& [a, b, c] : mesh.triangles) {
            const vec3& p = mesh.vertices[a].position;
            const vec3& q = mesh.vertices[b].position;
            const vec3& r = mesh.vertices[c].position;
            Append(file, FaceNormal(p, q, r));
            Append(file, p);
            Append(file, q);
            Append(file, r);
            file.append(2, '\0');
        }
    }
    return file;
}
