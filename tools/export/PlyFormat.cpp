#include "export/Formats.h"

namespace {

constexpr std::size_t kVertexBytes = 32;
constexpr std::size_t kFaceBytes = 13;

std::string Header(const Totals& totals) {
    std::string header = "ply\nformat binary_little_endian 1.0\nelement vertex " +
                         std::to_string(totals.vertices) + '\n';
    for (const char* property : {"x", "y", "z", "nx", "ny", "nz", "s", "t"})
        header += std::string("property float ") + property + '\n';
    return header + "element face " + std::to_string(totals.triangles) +
           "\nproperty list uchar int vertex_indices\nend_header\n";
}

}  // namespace

std::string PackPly(std::span<const TriangleMesh> meshes) {
    const Totals totals = Count(meshes);
    std::string file = Header(totals);
    file.reserve(file.size() + kVertexBytes * totals.vertices + kFaceBytes * totals.triangles);
    for (const TriangleMesh& mesh : meshes) {
        for (const GeoImageSample& vertex : mesh.vertices) {
            Append(file, vertex.position);
            Append(file, vertex.normal);
            Append(file, vertex.u);
            Append(file, vertex.v);
        }
    }
    std::uint32_t first = 0;
    for (const TriangleMesh& mesh : meshes) {
        for (const auto& triangle : mesh.triangles) {
            file += '\3';
            for (const std::uint32_t corner : triangle)
                Append(file, first + corner);
        }
        first += static_cast<std::uint32_t>(mesh.vertices.size());
    }
    return file;
}
