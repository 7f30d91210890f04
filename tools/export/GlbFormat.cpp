// One buffer holds, a mesh: positions, normals, texture coordinates and indices, in a view and an
// accessor each.
#include <algorithm>
#include <charconv>

#include "export/Formats.h"

namespace {

constexpr std::uint32_t kMagic = 0x46546C67;   // "glTF"
constexpr std::uint32_t kJson = 0x4E4F534A;    // "JSON"
constexpr std::uint32_t kBinary = 0x004E4942;  // "BIN" and a zero
constexpr int kFloat = 5126;
constexpr int kUnsignedInt = 5125;
constexpr int kVertices = 34962;  // what a view is bound to
constexpr int kIndices = 34963;
constexpr std::size_t kViews = 4;  // of a mesh

// The float's exact value: a reader compares bounds with the data.
std::string Number(float value) {
    char text[64];
    return {text, std::to_chars(text, text + sizeof text, double{value}).ptr};
}

std::string Vector(const vec3& v) {
    return '[' + Number(v.x) + ',' + Number(v.y) + ',' + Number(v.z) + ']';
}

// Appends to a list of the document.
void AddItem(std::string& list, const std::string& item) {
    if (!list.empty()) list += ',';
    list += '{' + item + '}';
}

std::string Bounds(const std::vector<GeoImageSample>& vertices) {
    vec3 low = vertices.front().position;
    vec3 high = low;
    for (const GeoImageSample& vertex : vertices) {
        const vec3& p = vertex.position;
        low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
    }
    return R"(,"min":)" + Vector(low) + R"(,"max":)" + Vector(high);
}

class Document {
public:
    void Add(const TriangleMesh& mesh) {
        for (const GeoImageSample& vertex : mesh.vertices)
            Append(m_buffer, vertex.position);
        EndView(kVertices, kFloat, mesh.vertices.size(), "VEC3", Bounds(mesh.vertices));
        for (const GeoImageSample& vertex : mesh.vertices)
            Append(m_buffer, vertex.normal);
        EndView(kVertices, kFloat, mesh.vertices.size(), "VEC3");
        for (const GeoImageSample& vertex : mesh.vertices) {
            Append(m_buffer, vertex.u);
            Append(m_buffer, 1 - vertex.v);  // here the first row of a picture is the highest
        }
        EndView(kVertices, kFloat, mesh.vertices.size(), "VEC2");
        for (const auto& triangle : mesh.triangles) {
            for (const std::uint32_t corner : triangle)
                Append(m_buffer, corner);
        }
        EndView(kIndices, kUnsignedInt, 3 * mesh.triangles.size(), "SCALAR");
        AddMesh(mesh.name);
    }

    std::string File() const {
        std::string text =
            R"({"asset":{"version":"2.0","generator":"pallix-export"},"scene":0,"scenes":[{"nodes":[)" +
            m_roots + R"(]}],"nodes":[)" + m_nodes + R"(],"meshes":[)" + m_meshes +
            R"(],"accessors":[)" + m_accessors + R"(],"bufferViews":[)" + m_views +
            R"(],"buffers":[{"byteLength":)" + std::to_string(m_buffer.size()) + "}]}";
        text.resize((text.size() + 3) / 4 * 4, ' ');
        std::string file;
        const std::size_t whole = 12 + 8 + text.size() + 8 + m_buffer.size();
        file.reserve(whole);
        for (const std::size_t word :
             {std::size_t{kMagic}, std::size_t{2}, whole, text.size(), std::size_t{kJson}})
            Append(file, static_cast<std::uint32_t>(word));
        file += text;
        Append(file, static_cast<std::uint32_t>(m_buffer.size()));
        Append(file, kBinary);
        return file += m_buffer;
    }

private:
    std::string m_buffer;  // every view is a multiple of 4 bytes
    std::string m_views, m_accessors, m_meshes, m_nodes, m_roots;
    std::size_t m_viewStart = 0;
    std::size_t m_count = 0;  // of views, which is that of accessors

    // What was appended since the last view becomes one.
    void EndView(int target, int component, std::size_t count, const std::string& type,
                 const std::string& bounds = "") {
        AddItem(m_views, R"("buffer":0,"byteOffset":)" + std::to_string(m_viewStart) +
                             R"(,"byteLength":)" + std::to_string(m_buffer.size() - m_viewStart) +
                             R"(,"target":)" + std::to_string(target));
        AddItem(m_accessors, R"("bufferView":)" + std::to_string(m_count) + R"(,"componentType":)" +
                                 std::to_string(component) + R"(,"count":)" +
                                 std::to_string(count) + R"(,"type":")" + type + '"' + bounds);
        m_viewStart = m_buffer.size();
        ++m_count;
    }

    void AddMesh(const std::string& name) {
        const auto accessor = [this](std::size_t back) { return std::to_string(m_count - back); };
        const std::string named = R"("name":")" + name + '"';
        AddItem(m_meshes, named + R"(,"primitives":[{"attributes":{"POSITION":)" + accessor(4) +
                              R"(,"NORMAL":)" + accessor(3) + R"(,"TEXCOORD_0":)" + accessor(2) +
                              R"(},"indices":)" + accessor(1) + "}]");
        const std::string number = std::to_string(m_count / kViews - 1);
        AddItem(m_nodes, named + R"(,"mesh":)" + number);
        m_roots += (m_roots.empty() ? "" : ",") + number;
    }
};

}  // namespace

std::string PackGlb(std::span<const TriangleMesh> meshes) {
    Document document;
    for (const TriangleMesh& mesh : meshes)
        document.Add(mesh);
    return document.File();
}
