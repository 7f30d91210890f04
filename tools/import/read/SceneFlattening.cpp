// Walks the nodes of a scene; their transforms are multiplied in double precision.
#include "import/read/SceneFlattening.h"

#include <assimp/scene.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include <Eigen/Geometry>

#include "import/read/SceneMaterials.h"

namespace {

struct Placed {
    const aiNode* node;
    Eigen::Affine3d place;  // node to world
};

Eigen::Affine3d AffineOf(const aiMatrix4x4& m) {
    Eigen::Affine3d affine;
    affine.matrix() << double{m.a1}, m.a2, m.a3, m.a4, m.b1, m.b2, m.b3, m.b4, m.c1, m.c2, m.c3,
        m.c4, 0, 0, 0, 1;
    return affine;
}

// Calls visit(mesh, place) for every mesh of every node until it returns false. A stack of its own:
// files decide how deep the tree is.
template <class Visit>
void ForEachMesh(const aiScene& scene, Visit visit) {
    std::vector<Placed> open;
    if (scene.mRootNode)
        open.push_back({scene.mRootNode, AffineOf(scene.mRootNode->mTransformation)});
    while (!open.empty()) {
        const Placed at = open.back();
        open.pop_back();
        for (unsigned i = 0; i < at.node->mNumMeshes; ++i) {
            const unsigned mesh = at.node->mMeshes[i];
            if (mesh < scene.mNumMeshes && !visit(mesh, at.place)) return;
        }
        for (unsigned i = at.node->mNumChildren; i-- > 0;) {
            const aiNode* child = at.node->mChildren[i];
            open.push_back({child, at.place * AffineOf(child->mTransformation)});
        }
    }
}

std::int64_t TrianglesOf(const aiMesh& mesh) {
    return std::count_if(mesh.mFaces, mesh.mFaces + mesh.mNumFaces,
                         [](const aiFace& face) { return face.mNumIndices == 3; });
}

// The triangles of all places, or more than the limit as soon as they are.
std::int64_t CountTriangles(const aiScene& scene, std::int64_t limit) {
    std::vector<std::int64_t> ofMesh;
    for (unsigned i = 0; i < scene.mNumMeshes; ++i)
        ofMesh.push_back(TrianglesOf(*scene.mMeshes[i]));
    std::int64_t count = 0;
    ForEachMesh(scene, [&](unsigned mesh, const Eigen::Affine3d&) {
        count += ofMesh[mesh];
        return count <= limit;
    });
    return count;
}

class Flattening {
public:
    Flattening(const aiScene& scene, const FlatteningRules& rules, FlatModel& model)
        : m_materials(scene, rules.linearColours, model),
          m_linearColours(rules.linearColours),
          m_model(model) {}

    void Add(const aiMesh& mesh, const Eigen::Affine3d& place);

private:
    SceneMaterials m_materials;
    bool m_linearColours;
    FlatModel& m_model;
    std::vector<int> m_indexOf;  // of a mesh's vertices; -1: not used yet

    int IndexOf(const aiMesh& mesh, unsigned vertex, const Eigen::Affine3d& place);
    Corner CornerOf(const aiMesh& mesh, unsigned vertex, const MeshMaterial& material) const;
};

FlatModel Failed(const std::string& reason) {
    FlatModel model;
    model.failure = reason;
    return model;
}

// Some files have alpha 0 in all corners and mean nothing by it.
bool HasAlpha(const aiMesh& mesh) {
    const aiColor4D* colours = mesh.mColors[0];
    return colours && std::any_of(colours, colours + mesh.mNumVertices,
                                  [](const aiColor4D& colour) { return colour.a > 0; });
}

void Flattening::Add(const aiMesh& mesh, const Eigen::Affine3d& place) {
    MeshMaterial material = m_materials.Of(mesh);
    material.opaque = material.opaque || !HasAlpha(mesh);
    const bool mirrored = place.linear().determinant() < 0;
    m_indexOf.assign(mesh.mNumVertices, -1);
    Surface& surface = m_model.surface;
    for (unsigned i = 0; i < mesh.mNumFaces; ++i) {
        const aiFace& face = mesh.mFaces[i];
        if (face.mNumIndices != 3) continue;
        Triangle triangle;
        Corners corners;
        for (std::size_t k = 0; k < 3; ++k) {
            const unsigned vertex = face.mIndices[mirrored ? 2 - k : k];
            if (vertex >= mesh.mNumVertices) {
                m_model.failure = "a triangle has a corner that the file lacks";
                return;
            }
            triangle[k] = IndexOf(mesh, vertex, place);
            corners[k] = CornerOf(mesh, vertex, material);
        }
        surface.triangles.push_back(triangle);
        surface.corners.push_back(corners);
        surface.materials.push_back(material.index);
    }
}

int Flattening::IndexOf(const aiMesh& mesh, unsigned vertex, const Eigen::Affine3d& place) {
    int& index = m_indexOf[vertex];
    if (index >= 0) return index;
    const aiVector3D& point = mesh.mVertices[vertex];
    std::vector<Eigen::Vector3d>& positions = m_model.surface.positions;
    positions.push_back(place * Eigen::Vector3d(point.x, point.y, point.z));
    if (!positions.back().allFinite()) {
        m_model.failure = "it has coordinates that are no finite numbers";
    }
    return index = static_cast<int>(positions.size()) - 1;
}

Corner Flattening::CornerOf(const aiMesh& mesh, unsigned vertex,
                            const MeshMaterial& material) const {
    Corner corner;
    if (const aiColor4D* colours = mesh.mColors[0]) {
        const aiColor4D& c = colours[vertex];
        corner.colour = {Share(c.r), Share(c.g), Share(c.b), material.opaque ? 1 : Share(c.a)};
        if (m_linearColours) {
            for (std::size_t i = 0; i < 3; ++i)
                corner.colour[i] = DisplayValue(corner.colour[i]);
        }
    }
    if (material.coordinates >= 0) {
        const aiVector3D& place = mesh.mTextureCoords[material.coordinates][vertex];
        if (std::isfinite(place.x) && std::isfinite(place.y)) {
            corner.u = place.x;
            corner.v = place.y;
        }
    }
    return corner;
}

}  // namespace

FlatModel FlattenScene(const aiScene& scene, const FlatteningRules& rules) {
    const std::int64_t count = CountTriangles(scene, rules.maxTriangles);
    if (count == 0) return Failed("it has no triangles");
    if (count > rules.maxTriangles) {
        return Failed("it has more than " + std::to_string(rules.maxTriangles) + " triangles");
    }
    FlatModel model;
    const auto size = static_cast<std::size_t>(count);
    model.surface.triangles.reserve(size);
    model.surface.corners.reserve(size);
    model.surface.materials.reserve(size);
    Flattening flattening(scene, rules, model);
    ForEachMesh(scene, [&](unsigned mesh, const Eigen::Affine3d& place) {
        flattening.Add(*scene.mMeshes[mesh], place);
        return model.failure.empty();
    });
    if (!model.failure.empty()) return Failed(model.failure);
    return model;
}
