#include <charconv>
#include <initializer_list>

#include "export/Formats.h"

namespace {

// As many digits as give the same float again.
void AppendLine(std::string& file, const char* word, std::initializer_list<float> values) {
    file += word;
    for (const float value : values) {
        char text[32];
        file += ' ';
        file.append(text, std::to_chars(text, text + sizeof text, value).ptr);
    }
    file += '\n';
}

void AppendVertices(std::string& file, const TriangleMesh& mesh) {
    for (const GeoImageSample& vertex : mesh.vertices)
        AppendLine(file, "v", {vertex.position.x, vertex.position.y, vertex.position.z});
    for (const GeoImageSample& vertex : mesh.vertices)
        AppendLine(file, "vt", {vertex.u, vertex.v});
    for (const GeoImageSample& vertex : mesh.vertices)
        AppendLine(file, "vn", {vertex.normal.x, vertex.normal.y, vertex.normal.z});
}

}  // namespace

std::string PackObj(std::span<const TriangleMesh> meshes) {
    std::string file;
    std::size_t first = 1;  // the vertices of all objects are counted on
    for (const TriangleMesh& mesh : meshes) {
        file += "o " + mesh.name + '\n';
        AppendVertices(file, mesh);
        for (const auto& triangle : mesh.triangles) {
            file += 'f';
            for (const std::uint32_t corner : triangle) {
                const std::string number = std::to_string(first + corner);
                file += ' ' + number + '/' + number + '/' + number;
            }
            file += '\n';
        }
        first += mesh.vertices.size();
    }
    return file;
}
