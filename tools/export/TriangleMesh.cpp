#include "export/TriangleMesh.h"

#include <limits>
#include <utility>

namespace {

struct Place {
    int row;
    int column;
};

bool SameSample(const GeoImageSample& a, const GeoImageSample& b) {
    return a.position == b.position && a.normal == b.normal && a.u == b.u && a.v == b.v;
}

class Triangulation {
public:
    Triangulation(const GeoImage& mesh, TriangleMesh& result)
        : m_mesh(mesh),
          m_result(result),
          m_vertexOf(static_cast<std::size_t>(mesh.width) * static_cast<std::size_t>(mesh.height),
                     kNone) {}

    void Add(const Place& a, const Place& b, const Place& c) {
        const vec3& p = At(a).position;
        const vec3& q = At(b).position;
        const vec3& r = At(c).position;
        if (p == q || q == r || r == p) return;
        const vec3 front = FaceNormal(p, q, r);
        m_result.triangles.push_back({Vertex(a, front), Vertex(b, front), Vertex(c, front)});
    }

private:
    static constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

    const GeoImage& m_mesh;
    TriangleMesh& m_result;
    std::vector<std::uint32_t> m_vertexOf;  // by sample, once a triangle uses it

    const GeoImageSample& At(const Place& at) const { return m_mesh.At(at.row, at.column); }

    // The first side of a seam where both are the same.
    Place Shared(Place at) const {
        const Place left{at.row, 0};
        if (m_mesh.wrapColumns && at.column == m_mesh.width - 1 && SameSample(At(at), At(left)))
            at = left;
        const Place top{0, at.column};
        if (m_mesh.wrapRows && at.row == m_mesh.height - 1 && SameSample(At(at), At(top))) at = top;
        return at;
    }

    std::uint32_t Vertex(const Place& corner, const vec3& front) {
        const Place at = Shared(corner);
        std::uint32_t& vertex = m_vertexOf[static_cast<std::size_t>(&At(at) - m_mesh.samples)];
        if (vertex == kNone) {
            vertex = static_cast<std::uint32_t>(m_result.vertices.size());
            m_result.vertices.push_back(At(at));
        }
        vec3& normal = m_result.vertices[vertex].normal;
        if (normal == vec3{0, 0, 0}) normal = front;
        return vertex;
    }
};

}  // namespace

vec3 FaceNormal(const vec3& a, const vec3& b, const vec3& c) {
    const dvec3 start(a);
    return vec3(Normalise(Cross(dvec3(b) - start, dvec3(c) - start)));
}

//  P---Q
//  |  /|      The program draws (P, Q, R) and (S, R, Q), whose fronts are clockwise in the usual
//  | / |      sense.
//  R---S
TriangleMesh TrianglesOf(const GeoImage& mesh, std::string name) {
    TriangleMesh result;
    result.name = std::move(name);
    Triangulation triangulation(mesh, result);
    for (int row = 0; row + 1 < mesh.height; ++row) {
        for (int column = 0; column + 1 < mesh.width; ++column) {
            const Place p{row, column};
            const Place q{row, column + 1};
            const Place r{row + 1, column};
            const Place s{row + 1, column + 1};
            triangulation.Add(p, r, q);
            triangulation.Add(s, q, r);
        }
    }
    return result;
}
