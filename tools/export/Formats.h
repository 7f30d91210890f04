// The file formats that grids are exported to, one source each. All numbers are little-endian.
#pragma once

#include <bit>
#include <cstdint>
#include <span>
#include <string>

#include "export/TriangleMesh.h"

// Each gives the whole file. At least one mesh, each with a triangle; fewer than 2^32 bytes.
std::string PackPly(std::span<const TriangleMesh> meshes);  // binary, all in one
std::string PackStl(std::span<const TriangleMesh> meshes);  // binary, all in one, bare triangles
std::string PackObj(std::span<const TriangleMesh> meshes);  // text, an object each
std::string PackGlb(std::span<const TriangleMesh> meshes);  // glTF 2.0, a node with a mesh each

inline void Append(std::string& file, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8)
        file += static_cast<char>(value >> shift);
}
inline void Append(std::string& file, float value) {
    Append(file, std::bit_cast<std::uint32_t>(value));
}
inline void Append(std::string& file, const vec3& v) {
    Append(file, v.x);
    Append(file, v.y);
    Append(file, v.z);
}

// What a file holds that makes one mesh of all.
struct Totals {
    std::size_t vertices = 0;
    std::size_t triangles = 0;
};
inline Totals Count(std::span<const TriangleMesh> meshes) {
    Totals totals;
    for (const TriangleMesh& mesh : meshes) {
        totals.vertices += mesh.vertices.size();
        totals.triangles += mesh.triangles.size();
    }
    return totals;
}
