// pallix-mesh and pallix-print: orientation, seams, teapot, height fields, errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numbers>
#include <vector>

#include "geometry/GeoImage.h"
#include "tools/RunTool.h"

namespace {

GeoImage Mesh(const TempDir& folder, const std::string& words) {
    return Made<GeoImage>(folder, PALLIX_MESH, words);
}

using Triangle = std::array<GeoImageSample, 3>;  // counter-clockwise as drawn

std::vector<Triangle> FrontTriangles(const GeoImage& mesh) {
    std::vector<Triangle> triangles;
    for (int r = 0; r + 1 < mesh.height; ++r) {
        for (int c = 0; c + 1 < mesh.width; ++c) {
            triangles.push_back({mesh.At(r, c), mesh.At(r + 1, c), mesh.At(r, c + 1)});
            triangles.push_back({mesh.At(r + 1, c + 1), mesh.At(r, c + 1), mesh.At(r + 1, c)});
        }
    }
    return triangles;
}

double SignedVolume(const GeoImage& mesh) {
    double sum = 0;
    for (const auto& [a, b, c] : FrontTriangles(mesh))
        sum += Dot(a.position, Cross(b.position, c.position));
    return sum / 6;
}

// Fronts and stored normals must be on the same side; slivers tell nothing.
int DisagreeingFaces(const GeoImage& mesh) {
    int count = 0;
    for (const auto& [a, b, c] : FrontTriangles(mesh)) {
        const vec3 face = Cross(b.position - a.position, c.position - a.position);
        if (Length(face) < 1e-6F * mesh.radius * mesh.radius) continue;
        if (Dot(Normalise(face), a.normal + b.normal + c.normal) < 0.3F) ++count;
    }
    return count;
}

using Edge = std::vector<vec3>;

// Positions or normals along the top, bottom, left and right edge.
std::array<Edge, 4> EdgesOf(const GeoImage& mesh, vec3 GeoImageSample::*part) {
    std::array<Edge, 4> edges;
    for (int c = 0; c < mesh.width; ++c) {
        edges[0].push_back(mesh.At(0, c).*part);
        edges[1].push_back(mesh.At(mesh.height - 1, c).*part);
    }
    for (int r = 0; r < mesh.height; ++r) {
        edges[2].push_back(mesh.At(r, 0).*part);
        edges[3].push_back(mesh.At(r, mesh.width - 1).*part);
    }
    return edges;
}

void ExpectClosedSeams(const GeoImage& mesh) {
    for (auto part : {&GeoImageSample::position, &GeoImageSample::normal}) {
        const auto [top, bottom, left, right] = EdgesOf(mesh, part);
        EXPECT_TRUE(!mesh.wrapRows || top == bottom);
        EXPECT_TRUE(!mesh.wrapColumns || left == right);
    }
}

TEST(MeshTool, ClosedShapesFaceOutwardAndCloseTheirSeams) {
    const double pi = std::numbers::pi;
    const struct {
        std::string words;
        double volume;
        bool wrapRows;
    } cases[] = {
        {"sphere m --radius 2 --rows 65 --columns 65", 4.0 / 3 * pi * 8, false},
        {"sphere m --rows 33 --columns 65 --axis z --precision 24", 4.0 / 3 * pi, false},
        {"torus m --tube 0.25 --rows 65 --columns 65 --axis x", 2 * pi * pi / 16, true},
        {"cylinder m --bottom 1 --top 1 --height 3 --columns 65", 3 * pi, false},
        {"cylinder m --bottom 1 --top 0 --height 3 --columns 65 --codec flat", pi, false},
        {"cylinder m --bottom 0.5 --top 1 --height 3 --rows 6 --columns 65", 1.75 * pi, false},
        {"superquadric m --meridian 0.1 --equator 0.1 --x 2 --rows 65 --columns 65", 16, false},
        {"superquadric m --meridian 2 --equator 2 --rows 65 --columns 65", 4.0 / 3, false},
    };
    for (const auto& shape : cases) {
        SCOPED_TRACE(shape.words);
        const TempDir folder;
        const GeoImage mesh = Mesh(folder, shape.words + " --error 2.5");
        EXPECT_NEAR(SignedVolume(mesh), shape.volume, 0.03 * shape.volume);
        EXPECT_EQ(DisagreeingFaces(mesh), 0);
        EXPECT_TRUE(mesh.wrapColumns && mesh.wrapRows == shape.wrapRows);
        ExpectClosedSeams(mesh);
        EXPECT_EQ(mesh.error, 2.5F);
    }
}

TEST(MeshTool, TeapotPatchesMeetAndFaceOutward) {
    const TempDir folder;
    ASSERT_EQ(RunTool(folder, PALLIX_MESH, "teapot pot --height 3.15 --rows 9 --columns 9").status,
              0);
    std::vector<Edge> edges;  // four a patch
    vec3 low;
    vec3 high;
    double volume = 0;
    for (int patch = 0; patch < 32; ++patch) {
        GeoImage mesh;
        const std::string number = std::to_string(100 + patch).substr(1);
        ASSERT_TRUE(mesh.Load(folder.File("pot-" + number)));
        EXPECT_EQ(DisagreeingFaces(mesh), 0) << patch;
        for (const Edge& edge : EdgesOf(mesh, &GeoImageSample::position))
            edges.push_back(edge);
        volume += SignedVolume(mesh);
        for (const auto axis : {&vec3::x, &vec3::y, &vec3::z}) {
            low.*axis = std::min(low.*axis, mesh.boundsMin.*axis);
            high.*axis = std::max(high.*axis, mesh.boundsMax.*axis);
        }
    }
    // Handle -x, spout +x, lid +y. A round body of about 2 x 2.4 holds some 25.
    EXPECT_LT(Length(low - vec3{-3, 0, -2}), 0.01F);
    EXPECT_LT(Length(high - vec3{3.43F, 3.15F, 2}), 0.03F);
    EXPECT_EQ(low.z, -high.z);
    EXPECT_TRUE(volume > 20 && volume < 30) << volume;

    // Every edge has a neighbour, but for the open border of rim and lid and for the ends of handle
    // and spout, where they enter the body or the air: eight each.
    const auto isOpen = [&](const Edge& edge) {
        const auto same = [&](const Edge& other) {
            return other == edge || std::equal(other.begin(), other.end(), edge.rbegin());
        };
        return std::count_if(edges.begin(), edges.end(), same) == 1;
    };
    EXPECT_EQ(std::count_if(edges.begin(), edges.end(), isOpen), 16);
}

TEST(MeshTool, SheetsFaceTheirAxisAndHeightsFollowThePicture) {
    const TempDir folder;
    GeoImage mesh = Mesh(folder, "plane m --width 4 --depth 2 --axis z --codec flat --rows 3");
    EXPECT_EQ(mesh.boundsMax, vec3(2, 1, 0));
    EXPECT_EQ(mesh.At(0, 0).normal, vec3(0, 0, 1));
    EXPECT_TRUE(mesh.At(0, 0).position.y == 1 && mesh.At(0, 0).v > mesh.At(2, 0).v);

    // Bright at the top of the picture: high at the back.
    ASSERT_EQ(RunTool(folder, PALLIX_TEXTURE, "gradient g --width 16 --height 16").status, 0);
    ASSERT_EQ(RunTool(folder, PALLIX_TEXTURE, "export g g.png").status, 0);
    mesh = Mesh(folder, "heightfield m --image g.png --height 3");
    EXPECT_EQ(DisagreeingFaces(mesh), 0);
    EXPECT_TRUE(mesh.At(0, 16).position.y > 2.8F && mesh.At(0, 16).position.z < 0);
    EXPECT_LT(mesh.At(32, 16).position.y, 0.2F);

    // Noise: the same for the same seed, another for another, rugged but facing up.
    std::string bytes[3];
    for (const int run : {0, 1, 2}) {
        mesh = Mesh(folder, std::string("heightfield m --island --seed ") + (run < 2 ? "3" : "4"));
        bytes[run] = folder.Read("m");
        EXPECT_EQ(DisagreeingFaces(mesh), 0);
        EXPECT_EQ(mesh.At(0, 0).position.y, 0);
        EXPECT_GT(mesh.boundsMax.y, 0.2F);
    }
    EXPECT_TRUE(bytes[0] == bytes[1] && bytes[1] != bytes[2]);
}

TEST(MeshTool, RefusesWithOneLineAndLeavesNoFile) {
    ExpectRefusals(
        PALLIX_MESH,
        {"", "blob m", "sphere", "sphere m --rows nan", "sphere m --rows 1",
         "sphere m --rows 99999", "sphere m --columns 2", "sphere m --radius inf",
         "sphere m --error 1e9", "sphere m --axis w", "torus m --tube 2",
         "cylinder m --top 0 --bottom 0", "cylinder m --rows 4", "heightfield m --image text",
         "heightfield m --image .", "sphere missing/m", "teapot - --rows 9"});
}

TEST(PrintTool, TellsMeshesAndTexturesFromOtherFiles) {
    const TempDir folder;
    Mesh(folder, "torus m --rows 9 --columns 17 --error 4");
    ASSERT_EQ(RunTool(folder, PALLIX_TEXTURE, "glow t --width 40 --no-mipmap").status, 0);
    folder.Write("text", "no picture");
    const ToolRun print = RunTool(folder, PALLIX_PRINT, "m text t");
    EXPECT_TRUE(print.status == 1 && print.OneErrorLine()) << print.err;
    for (const char* part : {"m: mesh\n", "version  2\n", "2 (pyramid), 8 channels of 32 bits\n",
                             "9 rows, 17 columns, 256 triangles\n", "radius   1.3", "error    4\n",
                             "columns yes, rows yes\n",
                             "40 x 256, grey and alpha\n  flags    filter yes, mipmap no\n"}) {
        EXPECT_NE(print.out.find(part), std::string::npos) << part << print.out;
    }
}

}  // namespace
