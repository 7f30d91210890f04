// Grids as triangles of other programs, read back by a reader that knows those formats.
#include <assimp/Importer.hpp>
#include <assimp/mesh.h>
#include <assimp/scene.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <numbers>
#include <string>
#include <vector>

#include "export/Export.h"
#include "export/TriangleMesh.h"
#include "geometry/Codec.h"
#include "support/TempFile.h"

namespace {

using Corners = std::vector<GeoImageSample>;  // three a triangle, counter-clockwise

// Down and across from a quad's first corner, up and back from its last.
Corners Drawn(const GeoImage& mesh) {
    Corners corners;
    const int quads = mesh.width - 1;  // of a row
    for (int i = 0; i < 2 * quads * (mesh.height - 1); ++i) {
        const int step = i % 2 == 0 ? 1 : -1;
        const int row = i / 2 / quads + i % 2;
        const int column = i / 2 % quads + i % 2;
        const auto& a = mesh.At(row, column);
        const auto& b = mesh.At(row + step, column);
        const auto& c = mesh.At(row, column + step);
        const bool distinct = a.position != b.position && b.position != c.position;
        if (distinct && c.position != a.position) corners.insert(corners.end(), {a, b, c});
    }
    return corners;
}

vec3 From(const aiVector3D& v) {
    return {v.x, v.y, v.z};
}

Corners ReadBack(const aiMesh& mesh) {
    Corners corners;
    for (unsigned i = 0; i < 3 * mesh.mNumFaces; ++i) {
        const unsigned v = mesh.mFaces[i / 3].mIndices[i % 3];
        const aiVector3D uv = mesh.HasTextureCoords(0) ? mesh.mTextureCoords[0][v] : aiVector3D();
        corners.push_back({From(mesh.mVertices[v]), From(mesh.mNormals[v]), uv.x, uv.y});
    }
    return corners;
}

double Volume(const Corners& corners) {
    double sum = 0;
    for (std::size_t i = 0; i < corners.size(); i += 3) {
        sum += Dot(dvec3(corners[i].position),
                   Cross(dvec3(corners[i + 1].position), dvec3(corners[i + 2].position))) /
               6;
    }
    return sum;
}

TEST(Export, GivesOtherProgramsTheDrawnTrianglesOfEveryMesh) {
    const std::vector<std::string> names = {"meshes/sphere", "meshes/cylinder"};
    std::vector<Corners> parts;
    Corners all;
    for (const std::string& name : names) {
        GeoImage mesh;
        ASSERT_TRUE(mesh.Load(name));
        parts.push_back(Drawn(mesh));
        all.insert(all.end(), parts.back().begin(), parts.back().end());
    }
    const TempDir folder;
    for (const std::string ending : {"ply", "obj", "stl", "GLB"}) {
        SCOPED_TRACE(ending);
        const std::string file = folder.File("x." + ending);
        const Outcome written = ExportMeshes(names, file);
        ASSERT_TRUE(written) << written.Why().line;
        Assimp::Importer importer;
        const aiScene* scene = importer.ReadFile(file, 0);
        ASSERT_NE(scene, nullptr) << importer.GetErrorString();
        const bool separate = ending == "obj" || ending == "GLB";
        ASSERT_EQ(scene->mNumMeshes, separate ? 2U : 1U);
        for (unsigned m = 0; m < scene->mNumMeshes; ++m) {
            const Corners wanted = separate ? parts[m] : all;
            const Corners got = ReadBack(*scene->mMeshes[m]);
            ASSERT_EQ(got.size(), wanted.size());
            const std::string name = scene->mMeshes[m]->mName.C_Str();
            EXPECT_TRUE(!separate || name == names[m].substr(7)) << name;
            for (std::size_t i = 0; i < got.size(); ++i) {
                ASSERT_EQ(got[i].position, wanted[i].position) << i;
                if (ending == "stl") continue;
                ASSERT_LT(Length(got[i].normal - wanted[i].normal), 1e-6F) << i;
                ASSERT_LT(std::hypot(got[i].u - wanted[i].u, got[i].v - wanted[i].v), 1e-6F) << i;
            }
            EXPECT_GT(Volume(got), 4) << "inside out";
        }
    }
}

TEST(Export, SharesVerticesOfSeamsThatDifferInNothing) {
    GeoImage tube(3, 5);
    for (int i = 0; i < 15; ++i) {
        const float angle = static_cast<float>(i % 5 % 4) * std::numbers::pi_v<float> / 2;
        tube.samples[i] = {
            {std::sin(angle), static_cast<float>(-(i / 5)), std::cos(angle)}, {0, 0, 0}, angle, 0};
    }
    EXPECT_EQ(TrianglesOf(tube, "open").vertices.size(), 15U);
    tube.wrapColumns = true;
    const TriangleMesh closed = TrianglesOf(tube, "closed");
    EXPECT_EQ(closed.triangles.size(), 16U);
    ASSERT_EQ(closed.vertices.size(), 12U);
    for (const GeoImageSample& vertex : closed.vertices)
        EXPECT_NEAR(Length(vertex.normal), 1, 1e-6) << "taken from the triangles";
}

TEST(Export, RefusesWithOneLineAndLeavesWhatWasThere) {
    const TempDir folder;
    GeoImage point(4, 4);
    for (int i = 0; i < 16; ++i)
        point.samples[i] = {{1, 2, 3}, {0, 1, 0}, 0, 0};
    ASSERT_TRUE(point.Save(folder.File("point"), CODEC_FLAT));
    const std::string old = folder.Write("old.ply", "old");
    std::filesystem::create_symlink("/dev/full", folder.File("full.stl"));
    std::filesystem::create_directory(folder.File("folder.obj"));
    const auto line = [&](const std::string& mesh, const std::string& file) {
        return ExportMeshes({"meshes/sphere", mesh}, file).Why().line;
    };
    EXPECT_EQ(line("meshes/sphere", "x.off"), "x.off does not end in .ply, .obj, .stl or .glb");
    EXPECT_EQ(line(folder.File("point"), old), folder.File("point") + " has no triangles");
    for (const std::string file : {"missing/x.glb", "folder.obj"}) {
        const std::string path = folder.File(file);
        EXPECT_EQ(line("meshes/sphere", path), "could not open file " + path);
    }
    EXPECT_EQ(line("meshes/sphere", folder.File("full.stl")),
              "could not write " + folder.File("full.stl") + ": No space left on device");
    WithFileSizeLimit(9999, [&] { EXPECT_NE(line("meshes/sphere", old), ""); });
    const std::string tool =
        "'" PALLIX_TOOLS "/pallix-export' -o '" + old + "' 2>'" + folder.File("err") + "' ";
    for (const std::string words : {"", "missing", "meshes/sphere --colour"}) {
        EXPECT_EQ(WEXITSTATUS(std::system((tool + words).c_str())), 1) << words;
        const std::string err = folder.Read("err");
        EXPECT_EQ(err.find('\n'), err.size() - 1) << err;
    }
    EXPECT_EQ(folder.Read("old.ply"), "old");
    EXPECT_EQ(folder.Count(), 5);
}

}  // namespace
