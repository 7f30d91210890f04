// Reading, painting and showing models: exact contents of small files, hundreds of damaged ones,
// colours across seams and at holes, views that hold everything.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>

#include "files/FileAccess.h"
#include "import/read/ChildProcess.h"
#include "import/read/FlatModel.h"
#include "import/read/ReadModel.h"
#include "import/paint/SceneName.h"
#include "import/paint/BakeTexture.h"
#include "shared/PngFile.h"
#include "support/Random.h"
#include "support/TempFile.h"

namespace {

using Eigen::Vector3d;
namespace fs = std::filesystem;

const std::string kPackage = "/usr/share/assimp/models/";  // of Debian's assimp-testmodels

// What points beyond the end of a list throws.
void ExpectSane(const Surface& surface, const std::vector<ModelMaterial>& materials, int pictures) {
    for (std::size_t i = 0; i < surface.triangles.size(); ++i) {
        const auto material = static_cast<std::size_t>(surface.materials.at(i));
        ASSERT_LT(materials.at(material).picture, pictures);
        for (std::size_t k = 0; k < 3; ++k) {
            const auto position = static_cast<std::size_t>(surface.triangles[i][k]);
            const auto& [u, v, colour] = surface.corners.at(i)[k];
            ASSERT_TRUE(surface.positions.at(position).allFinite() && std::isfinite(u + v));
            ASSERT_TRUE(std::ranges::all_of(colour, [](float c) { return c >= 0 && c <= 1; }));
        }
    }
}

// A model, or one line. True for a model.
bool IsModel(const std::string& path, const ReadLimits& limits = {}) {
    SCOPED_TRACE(path);
    const Result<Model> model = ReadModel(path, limits);
    EXPECT_TRUE(model ? !model->surface.triangles.empty() : !model.Why().line.empty());
    EXPECT_EQ(model.Why().line.find('\n'), std::string::npos);
    if (!model) return false;
    ExpectSane(model->surface, model->materials, static_cast<int>(model->pictures.size()));
    return true;
}

std::string Damaged(std::string bytes, Random& random) {
    const auto place = [&] { return static_cast<std::size_t>(random.Index(bytes.size())); };
    for (int left = random.Index(6); left > 0; --left)
        bytes[place()] = static_cast<char>(random.Index(256));
    if (random.Index(3) == 0) bytes.resize(place());
    return bytes;
}

TEST(ImportRead, WholeAndDamagedFilesAreReadOrRefused) {
    if (!fs::exists(kPackage)) GTEST_SKIP() << "assimp-testmodels is not installed";
    int models = 0, others = 0;
    for (const auto& file : fs::recursive_directory_iterator(kPackage))
        if (file.is_regular_file()) (IsModel(file.path()) ? models : others)++;
    std::cout << models << " models, " << others << " others\n";
    EXPECT_GT(models, 300);
    const TempDir folder;
    Random random(11);
    for (const std::string name : {"OFF/Cube.off", "PLY/cube.ply", "PLY/cube_binary.ply",
                                   "OBJ/box.obj", "STL/Spider_binary.stl", "STL/sphereWithHole.stl",
                                   "glTF2/BoxTextured-glTF-Embedded/BoxTextured.gltf",
                                   "glTF2/BoxTextured-glTF-Binary/BoxTextured.glb"}) {
        std::ifstream file(kPackage + name, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        EXPECT_TRUE(!name.ends_with("glb") || ReadModel(kPackage + name)->pictures.size() == 1);
        models = 0;
        for (int i = 0; i < 60; ++i)
            models += IsModel(folder.Write(fs::path(name).filename(), Damaged(bytes, random)),
                              {.memory = 256 << 20, .seconds = 1});
        EXPECT_TRUE(models > 0 && models < 60) << name << ' ' << models;
    }
}

Vector3d PointOf(const Model& model, std::size_t corner) {  // of the first triangle
    return model.surface.positions[static_cast<std::size_t>(model.surface.triangles[0][corner])];
}

TEST(ImportRead, PositionsAndColoursAreTheFiles) {
    const TempDir folder;
    const Vector3d wanted[] = {{0.5, -2, 1e-20}, {3, 0.25, 0}, {-1e20, 4, 8}};
    const std::string floats = "property float x\nproperty float y\nproperty float z\n";
    const std::string bytes = "property uchar red\nproperty uchar green\nproperty uchar blue\n";
    const std::string facet = "solid a\nfacet normal 0 0 1\nouter loop\nvertex 0.5 -2 1e-20\n";
    const std::pair<std::string, std::string> files[] = {
        {"-a.off", "OFF\n3 1 0\n0.5 -2 1e-20\n3 0.25 0\n-1e20 4 8\n3 0 1 2\n"},
        {"a b.obj", "v 0.5 -2 1e-20\nv 3 0.25 0\nv -1e20 4 8\nmtllib none.mtl\nf 1 2 3\nf 1 2\n"},
        {"a.ply", "ply\nformat ascii 1.0\nelement vertex 3\n" + floats + bytes +
                      "element face 1\nproperty list uchar int vertex_indices\nend_header\n"
                      "0.5 -2 1e-20 255 0 51\n3 0.25 0 0 0 0\n-1e20 4 8 255 255 255\n3 0 1 2\n"},
        {"a.stl", facet + "vertex 3 0.25 0\nvertex -1e20 4 8\nendloop\nendfacet\nendsolid a\n"}};
    fs::current_path(folder.Path());
    for (const auto& [name, text] : files) {
        folder.Write(name, text);
        const Result<Model> model = ReadModel(name);
        ASSERT_TRUE(model) << model.Why().line;
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_LE((PointOf(*model, i) - wanted[i]).norm(), 1e-7 * wanted[i].norm()) << name;
        const Rgba colour = name == "a.ply" ? Rgba{1, 0, 0.2F, 1} : Rgba{0.8F, 0.8F, 0.8F, 1};
        EXPECT_EQ(Paint(model->surface, *model, {}).At({0, {1, 0, 0}}), colour);
        EXPECT_FALSE(IsModel(folder.Write("cut" + name, text.substr(0, text.size() - 40)))) << name;
    }
    fs::current_path("/");
}

// A square of two triangles, lower right and upper left, at the two ends of a picture that is red,
// green, blue below and white above, and a third one without its picture.
Model PaintedSquare() {
    const TempDir folder;
    Texture picture;
    EXPECT_TRUE(picture.SetSize(6, 2, 3));
    std::fill_n(picture.pixels + 18, 18, 255);
    for (int i = 0; i < 6; ++i)
        picture.pixels[3 * i + i / 2] = 255;
    EXPECT_TRUE(WritePng(folder.File("Skin One.png"), picture));
    folder.Write("a.mtl",
                 "newmtl a\nKd 0 0 0\nmap_Kd C:\\art\\skin One.PNG\n"
                 "newmtl b\nKd 0 0 1\nd 0.5\nmap_Kd lost.png\n");
    const std::string shape = "mtllib a.mtl\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n";
    const std::string places = "vt 0.1 0.25\nvt 0.24 0.25\nvt 1.76 0.25\nvt 1.9 0.25\nvt 0 0.75\n";
    const std::string faces = "usemtl a\nf 1/1 2/2 3/2\nf 1/3 3/4 4/5\nusemtl b\nf 1/1 2/1 3/2\n";
    Result<Model> model = ReadModel(folder.Write("a.obj", shape + places + faces));
    EXPECT_THAT(model->warnings, testing::ElementsAre(testing::HasSubstr("lost.png")));
    return std::move(*model);
}

Place OnSquare(double x, double y) {
    return x >= y ? Place{0, {1 - x, x - y, y}} : Place{1, {1 - y, x, y - x}};
}

TEST(ImportPaint, PicturesStandUprightWithoutSeams) {
    Model model = PaintedSquare();
    const Paint paint(model.surface, model, {});
    EXPECT_EQ(paint.At({1, {0, 0, 1}}), (Rgba{1, 1, 1, 1}));
    EXPECT_EQ(paint.At({2, {1, 0, 0}}), (Rgba{0, 0, 1, 0.5F}));
    model.surface.corners[1][2] = model.surface.corners[1][1];
    // A mixture across the common edge would show the green between.
    const auto baked = BakeTexture({.size = 64, .threads = 1}, paint, OnSquare);
    const auto again = BakeTexture({.size = 64, .threads = 3}, paint, OnSquare);
    ASSERT_TRUE(baked && again && AlphaOf(**baked) == Alpha::Opaque);
    EXPECT_TRUE(std::equal((*baked)->pixels, (*baked)->pixels + 64 * 64 * 3, (*again)->pixels));
    for (int i = 0; i < 64 * 64; ++i) {
        const std::uint8_t* texel = (*baked)->pixels + 3 * i;
        ASSERT_TRUE(texel[1] == 0 && (i % 64 == i / 64 || texel[i % 64 > i / 64 ? 0 : 2] == 255));
    }
}

TEST(ImportPaint, HolesAreClearWithoutRims) {
    Model model = PaintedSquare();
    model.surface.materials = {0, kHoleMaterial, kHoleMaterial};
    model.materials[0] = {"", {1, 0.5F, 0, 1}, -1};
    const Paint paint(model.surface, model, {});
    const auto baked = BakeTexture({.size = 64}, paint, OnSquare);
    ASSERT_TRUE(baked && AlphaOf(**baked) == Alpha::Holes);
    for (int i = 0; i < 64 * 64; ++i) {
        const std::uint8_t* texel = (*baked)->pixels + 4 * i;
        ASSERT_TRUE(texel[0] == 255 && texel[1] == 128 && texel[2] == 0) << i;
        ASSERT_TRUE(i % 64 == i / 64 || texel[3] == (i % 64 > i / 64 ? 255 : 0)) << i;
    }
    EXPECT_EQ(MeanColour(model.surface, model), model.materials[0].colour);
    EXPECT_FALSE(PlainColour(model.surface, model));
    // The left half is a hole, the right half turns dark; black goes round the seam.
    model.surface.corners[0][1].colour = {0, 0, 0, 1};
    const auto halves = [](double u, double) { return Place{u < 0.5 ? 1 : 0, {1 - u, u, 0}}; };
    const auto wrapped = BakeTexture({.size = 64, .wrapColumns = true}, paint, halves);
    EXPECT_TRUE((*wrapped)->pixels[0] < 8 && (*wrapped)->pixels[4 * 31] > 120);
}

TEST(ImportRead, NodesPlaceMirrorAndColour) {
    const TempDir folder;
    const float corners[] = {0, 0, 0, 2, 0, 0, 0, 3, 0};
    folder.Write("a.bin", std::string(reinterpret_cast<const char*>(corners), sizeof corners));
    const Result<Model> model = ReadModel(folder.Write("a.gltf", R"({"asset":{"version":"2.0"},
        "scene":0,"scenes":[{"nodes":[0]}],"nodes":[{"translation":[10,0,0],"children":[1]},
        {"scale":[-1,1,1],"mesh":0}],"meshes":[{"primitives":[{"attributes":{"POSITION":0},
        "material":0}]}],"materials":[{"pbrMetallicRoughness":{"baseColorFactor":[0.5,0,1,0.5]}}],
        "accessors":[{"bufferView":0,"componentType":5126,"count":3,"type":"VEC3","min":[0,0,0],
        "max":[2,3,0]}],"bufferViews":[{"buffer":0,"byteLength":36}],
        "buffers":[{"uri":"a.bin","byteLength":36}]})"));
    ASSERT_TRUE(model) << model.Why().line;
    EXPECT_EQ(PointOf(*model, 0), Vector3d(10, 3, 0));  // the last becomes the first
    EXPECT_EQ(PointOf(*model, 1), Vector3d(8, 0, 0));
    const Rgba colour = PlainColour(model->surface, *model).value_or(Rgba{});
    EXPECT_NEAR(colour[0], 0.7354, 1e-4);  // half the light on a display
    EXPECT_EQ(colour[3], 1);               // the file does not say that alpha means something
}

TEST(ImportRead, RefusalsAreOneClearLine) {
    const TempDir folder;
    const std::string points = "v 0 0 0\nv 1 0 0\nv 1 1 0\np 1\n";
    const std::string two = folder.Write("a.obj", points + "f 1 2 3\nf 1 3 2\n");
    const std::string nan = "OFF\n3 1 0\n0 0 nan\n1 0 0\n0 1 0\n3 0 1 2\n";
    const auto expect = [](const std::string& path, const char* end, ReadLimits limits = {}) {
        EXPECT_FALSE(IsModel(path, limits));
        EXPECT_THAT(ReadModel(path, limits).Why().line, testing::EndsWith(end));
    };
    expect(folder.File("no\nne.obj"), "No such file or directory");
    expect(folder.Path(), "it is a folder");
    expect("/dev/zero", "it is not a regular file");
    expect(folder.Write("c.txt", "hello"), "no known model format");
    expect(folder.Write("d.obj", points), "it has no triangles");
    expect(folder.Write("e.off", nan), "coordinates that are no finite numbers");
    expect(folder.Write("f.off", "OFF\n900000000 1 0\n"), "more than 3072 MB of memory");
    expect(two, "more than 1 triangles", {.triangles = 1});
    expect(two, "longer than 0 seconds", {.seconds = 0});
}

// What a process that lost its mind may send.
TEST(ImportRead, DamagedStreamsAreNotBelieved) {
    FlatModel model;
    model.surface.positions.assign(4, {1, 2, 3});
    model.surface.triangles.assign(4, {0, 1, 3});
    model.surface.corners.resize(4);
    model.surface.materials.assign(4, 1);
    model.pictures.assign(4, {"p", std::string(16, 'x'), 2, 2, 0});
    model.materials.assign(2, {"a", {1, 1, 1, 1}, 3});
    const TempDir folder;
    const int file = OpenForWriting(folder.File("stream"), Links::Follow);
    ASSERT_TRUE(SendModel(file, model));
    CloseFile(file);
    const std::string bytes = folder.Read("stream");
    Random random(5);
    std::set<Received> outcomes;
    for (int i = 0; i < 600; ++i) {
        const std::string sent = Damaged(bytes, random);
        ChildProcess process({}, [&](int out) { WriteBytes(out, sent.data(), sent.size()); });
        FlatModel got;
        const Received received = ReceiveModel(process, 8, got);
        outcomes.insert(received);
        if (received == Received::Whole)
            ExpectSane(got.surface, got.materials, static_cast<int>(got.pictures.size()));
    }
    EXPECT_EQ(outcomes.size(), 3U);
}

TEST(ImportScene, NamesHold) {
    const std::string words[] = {"A-1_b.c+", "#a//b c", "-o", "..", "K\u00f6\n", "jiggler", "_cam"};
    std::string names;
    for (const std::string& word : words)
        names += SceneName(word) + ' ';
    EXPECT_EQ(names, "A-1_b.c+ a__b_c o model K__ modeljiggler cam ");
    EXPECT_EQ(SceneName("cow", {"cow", "cow-2"}), "cow-3");
    EXPECT_EQ(SceneName(std::string(99, 'x'), {std::string(64, 'x')}).size(), 64U);
}

}  // namespace
