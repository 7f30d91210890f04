// Whole imports: real models as faithful as they shall be, made ones of every topology, levels of
// detail without cracks, bytes that do not depend on threads.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <map>

#include "MadeSurfaces.h"
#include "geometry/Silhouette.h"
#include "import/ImportFiles.h"
#include "import/read/ReadModel.h"
#include "support/Random.h"
#include "support/TempFile.h"

namespace {

using Eigen::Vector3d;
namespace fs = std::filesystem;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSlowed = true;  // sanitizers take ten times as long
#else
constexpr bool kSlowed = false;
#endif

ImportOptions OfSize(int size, int threads = 2) {
    ImportOptions options;
    options.remesh.columns = options.remesh.rows = size;
    options.remesh.threads = threads;
    options.textureSize = 32;
    options.scale = 1;
    return options;
}

ImportedModel Imported(Model model, const ImportOptions& options) {
    Result<ImportedModel> made = ImportModel(model, options, [](int, int) {});
    EXPECT_TRUE(made) << made.Why().line;
    return made ? std::move(*made) : ImportedModel();
}

ImportedModel Imported(const Surface& soup, const ImportOptions& options) {
    Model model;
    model.surface = soup;
    model.materials.emplace_back();
    return Imported(std::move(model), options);
}

std::string PathOf(const std::string& name) {
    return PALLIX_MODELS "/" + name + ".off";
}

Model Read(const std::string& name) {
    Result<Model> model = ReadModel(PathOf(name));
    EXPECT_TRUE(model) << model.Why().line;
    return model ? std::move(*model) : Model();
}

bool SameSample(const GeoImageSample& a, const GeoImageSample& b) {
    return a.position == b.position && a.normal == b.normal;
}

bool SamePoint(const vec3& a, const vec3& b) {
    return Length(a - b) <= 1e-6F * Length(a);
}

// Seams and poles to the last bit; from wherever light falls on what is closed, the silhouette is
// loops: every vertex is entered as often as left.
void ExpectClosed(GeoImage& level, GridKind kind, Random& random) {
    const int right = level.width - 1, bottom = level.height - 1;
    for (int row = 0; kind != GridKind::Square && row <= bottom; ++row)
        ASSERT_TRUE(SameSample(level.At(row, 0), level.At(row, right))) << row;
    for (int column = 0; column <= right; ++column) {
        ASSERT_TRUE(kind != GridKind::Torus ||
                    SameSample(level.At(0, column), level.At(bottom, column)));
        if (kind != GridKind::Sphere) continue;
        ASSERT_TRUE(SamePoint(level.At(0, column).position, level.At(0, 0).position));
        ASSERT_TRUE(SamePoint(level.At(bottom, column).position, level.At(bottom, 0).position));
    }
    if (kind == GridKind::Square || kind == GridKind::Annulus) return;
    for (int light = 0; light < 3; ++light) {
        SilhouetteResult silhouette;
        level.ExtractSilhouette(random.Point(2 * level.radius), silhouette, false, true);
        std::map<std::array<float, 3>, int> entered;
        for (const auto& [from, to] : silhouette.edges) {
            --entered[{from.x, from.y, from.z}];
            ++entered[{to.x, to.y, to.z}];
        }
        for (const auto& [vertex, balance] : entered)
            ASSERT_EQ(balance, 0);
    }
}

void ExpectWhole(const ImportedModel& model) {
    Random random(1);
    for (const ImportedPart& part : model.parts) {
        const GridKind kind = part.figures.kind;
        EXPECT_EQ(part.figures.flips, 0);
        EXPECT_LT(part.figures.fidelity.largest, 0.15);
        const bool wraps = kind == GridKind::Sphere || kind == GridKind::Torus;
        EXPECT_TRUE(part.closed == wraps || (wraps && part.figures.added > 0));
        EXPECT_EQ(part.mesh.wrapColumns, kind != GridKind::Square);
        EXPECT_EQ(part.mesh.wrapRows, kind == GridKind::Torus);
        for (int i = 1; i <= 20 && !testing::Test::HasFailure(); ++i) {
            SCOPED_TRACE(0.05F * static_cast<float>(i));
            const auto along = [&](int n) {
                return static_cast<float>(n) * static_cast<float>(i) / 20;
            };
            GeoImage level;
            ASSERT_TRUE(GeoImage::Resize(part.mesh, level, along(part.mesh.height),
                                         along(part.mesh.width), 1));
            level.Finish(false);
            ExpectClosed(level, kind, random);
        }
    }
}

double VolumeOf(const ImportedModel& model) {
    double sum = 0;
    for (const ImportedPart& part : model.parts) {
        const SampleGrid grid{part.figures.kind, part.mesh.height, part.mesh.width, {}, {}};
        Surface drawn;
        for (int i = 0; i < grid.rows * grid.columns; ++i) {
            const vec3& p = part.mesh.samples[i].position;
            drawn.positions.emplace_back(p.x, p.y, p.z);
        }
        drawn.triangles = grid.Triangles(false);
        sum += Volume(drawn);
    }
    return sum;
}

struct RealModel {
    std::string name;
    GridKind kind;
    int genus, borders;
    double wanted, wantedLarge;  // decibels, at 129 and at 257
};
void PrintTo(const RealModel& model, std::ostream* out) {
    *out << model.name;
}
using RealCase = std::tuple<RealModel, int>;

class ImportReal : public testing::TestWithParam<RealCase> {};

TEST_P(ImportReal, IsFaithful) {
    const auto& [wanted, size] = GetParam();
    if (!fs::exists(PathOf(wanted.name))) GTEST_SKIP() << "no " << PathOf(wanted.name);
    if (kSlowed && fs::file_size(PathOf(wanted.name)) > 500000) GTEST_SKIP() << "too slow here";
    const ImportedModel model = Imported(Read(wanted.name), OfSize(size));
    ASSERT_EQ(model.parts.size(), 1U);
    const PartFigures& figures = model.parts[0].figures;
    EXPECT_EQ(figures.kind, wanted.kind);
    EXPECT_EQ(figures.genus, wanted.genus);
    EXPECT_EQ(figures.borders, wanted.borders);
    EXPECT_GE(figures.fidelity.Worse(), size == 129 ? wanted.wanted : wanted.wantedLarge);
    ExpectWhole(model);
}

std::string CaseName(const testing::TestParamInfo<RealCase>& info) {
    std::string name = std::get<0>(info.param).name + std::to_string(std::get<1>(info.param));
    std::ranges::replace(name, '-', '_');
    return name;
}

constexpr GridKind kSphere = GridKind::Sphere, kTorus = GridKind::Torus, kSquare = GridKind::Square,
                   kAnnulus = GridKind::Annulus;
const RealModel kQuick[] = {{"hand", kSphere, 0, 0, 75.5, 84},
                            {"rotor_small", kTorus, 1, 0, 66, 75},
                            {"femur", kSphere, 2, 0, 66, 75},
                            {"three_peaks", kSquare, 0, 1, 68, 77}};
const RealModel kSlow[] = {
    {"cow", kSphere, 0, 0, 72, 80},          {"homer", kSphere, 0, 0, 77, 85.5},
    {"fandisk", kSphere, 0, 0, 85, 94},      {"camel", kSphere, 0, 0, 73.5, 83},
    {"man", kSphere, 0, 0, 72, 80},          {"armadillo", kSphere, 0, 0, 67, 75},
    {"bunny00", kSphere, 0, 0, 83, 91.5},    {"knot1", kTorus, 1, 0, 66, 75},
    {"elk", kTorus, 1, 0, 66, 75},           {"elephant", kSphere, 3, 0, 66, 75},
    {"anchor_dense", kSphere, 4, 0, 66, 75}, {"couplingdown", kSphere, 9, 0, 66, 75},
    {"turbine", kSphere, 11, 0, 66, 75},     {"mannequin-devil", kSquare, 0, 1, 68, 77},
    {"lion-head", kSquare, 0, 1, 68, 77},    {"mushroom", kSquare, 0, 1, 68, 77},
    {"blade", kAnnulus, 0, 2, 68, 77},       {"lion", kAnnulus, 0, 5, 68, 77},
    {"holes", kAnnulus, 0, 7, 68, 77}};
INSTANTIATE_TEST_SUITE_P(Quick, ImportReal,
                         testing::Combine(testing::ValuesIn(kQuick), testing::Values(129)),
                         CaseName);
INSTANTIATE_TEST_SUITE_P(SlowLarge, ImportReal,
                         testing::Combine(testing::ValuesIn(kQuick), testing::Values(257)),
                         CaseName);
INSTANTIATE_TEST_SUITE_P(Slow, ImportReal,
                         testing::Combine(testing::ValuesIn(kSlow), testing::Values(129, 257)),
                         CaseName);

TEST(ImportMany, PartsAreAllThere) {
    if (!fs::exists(PALLIX_MODELS)) GTEST_SKIP() << "no " PALLIX_MODELS;
    const struct {
        const char* name;
        std::size_t parts;
        std::ptrdiff_t closed;
    } cases[] = {{"bones", 26, 26},
                 {"blobby_3cc", 3, 0},
                 {"b9_mesh", 47, 5},
                 {"boeing", 1, 1},
                 {"blobby-shuffled", 1, 1}};
    ImportOptions options = OfSize(17);
    options.remesh.fit = FitEffort::Off;
    options.repair.minPart = 0;
    for (const auto& [name, parts, closed] : cases) {
        SCOPED_TRACE(name);
        if (kSlowed && parts > 9) continue;
        const ImportedModel model = Imported(Read(name), options);
        EXPECT_EQ(model.parts.size(), parts);
        EXPECT_GE(std::ranges::count_if(model.parts, &ImportedPart::closed), closed);
        ExpectWhole(model);
    }
}

// A grid of 129 at a quarter of its detail against a grid that was made so small.
TEST(ImportReal, CoarseLevelsAreLikeSmallImports) {
    if (!fs::exists(PALLIX_MODELS)) GTEST_SKIP() << "no " PALLIX_MODELS;
    if (kSlowed) GTEST_SKIP() << "too slow here";
    for (const std::string name : {"three_peaks", "hand", "cow"}) {
        ImportOptions options = OfSize(129);
        options.levels = true;
        const auto levels = Imported(Read(name), options).parts.at(0).figures.levels;
        const ImportedModel small = Imported(Read(name), OfSize(33));
        ASSERT_EQ(levels.size(), 20U);
        EXPECT_TRUE(levels[4].detail == 0.25 && levels[4].columns == 33 && levels[4].rows == 33);
        EXPECT_GT(levels[4].fidelity.Worse(), small.parts[0].figures.fidelity.Worse() - 3) << name;
    }
}

Vector3d OnTorus(double around, double along) {
    const double out = 2 + 0.7 * std::cos(along);
    return {out * std::sin(around), 0.7 * std::sin(along), out * std::cos(around)};
}

Vector3d OnBand(int i, int j) {
    const double turn = Angle(i, 40) / 2, width = j * 0.2 - 0.6;
    const double side = i / 40 % 2 == 0 ? 1 : -1;  // once round it is turned over
    const double out = 2 + side * width * std::cos(turn);
    return {out * std::sin(2 * turn), side * width * std::sin(turn), out * std::cos(2 * turn)};
}

// One triangle of so many, at random.
Surface Turned(Surface soup, std::size_t many) {
    Random random(5);
    for (Triangle& triangle : soup.triangles)
        if (random.Index(many) == 0) std::swap(triangle[0], triangle[1]);
    return soup;
}

// A simplex of so many triangles.
Surface Simplex(int triangles) {
    const Vector3d p[] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    const int faces[][3] = {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}};
    Surface soup;
    for (int i = 0; i < triangles; ++i)
        AddTriangle(soup, p[faces[i][0]], p[faces[i][1]], p[faces[i][2]]);
    return soup;
}

struct Wanted {
    std::size_t parts;
    GridKind kind;
    int genus, borders;
    double least;       // decibels at 97
    double volume = 0;  // of what is closed
};

void ExpectImported(const char* name, const Surface& soup, const Wanted& wanted) {
    SCOPED_TRACE(name);
    const ImportedModel model = Imported(soup, OfSize(97));
    ASSERT_EQ(model.parts.size(), wanted.parts);
    for (const ImportedPart& part : model.parts) {
        EXPECT_EQ(part.figures.kind, wanted.kind);
        EXPECT_EQ(part.figures.genus, wanted.genus);
        EXPECT_EQ(part.figures.borders, wanted.borders);
        EXPECT_GT(part.figures.fidelity.Worse(), wanted.least);
        // What fills holes is not to be seen.
        EXPECT_EQ(part.alpha, wanted.borders > 2 ? Alpha::Holes : Alpha::Opaque);
    }
    ExpectWhole(model);
    // Outward, whatever way the triangles faced. Caps of cut handles enclose nothing.
    EXPECT_TRUE(wanted.volume == 0 || std::abs(VolumeOf(model) / wanted.volume - 1) < 0.003)
        << VolumeOf(model);
}

TEST(ImportMade, ClosedSurfacesBecomeClosedGrids) {
    const Surface ball = SphereSoup(24, 12, 1, {0, 0, 0});
    Surface pair = SphereSoup(24, 12, 1, {0, 1, 0});
    const Surface below = SphereSoup(24, 12, 1, {0, -1, 0});
    for (const Triangle& t : below.triangles)
        AddTriangle(pair, below.positions[t[0]], below.positions[t[1]], below.positions[t[2]]);
    const Surface torus =
        Lattice(40, 20, [](int i, int j) { return OnTorus(Angle(i, 40), Angle(j, 20)); });
    const Surface eight = Cubes([](int x, int y, int z) {
        const bool slab = x > 0 && x < 6 && y > 0 && y < 4 && z == 1;
        return slab && !(y == 2 && x % 2 == 0);
    });
    const Surface cube = Cubes([](int x, int y, int z) { return x == 1 && y == 1 && z == 1; });
    ExpectImported("torus", torus, {1, kTorus, 1, 0, 77, Volume(torus)});
    ExpectImported("genus 2", eight, {1, kSphere, 2, 0, 79, 13});
    ExpectImported("cube", cube, {1, kSphere, 0, 0, 87, 1});
    ExpectImported("inside out", Turned(ball, 1), {1, kSphere, 0, 0, 76, Volume(ball)});
    ExpectImported("flipped faces", Turned(ball, 3), {1, kSphere, 0, 0, 76, Volume(ball)});
    ExpectImported("two that touch", pair, {2, kSphere, 0, 0, 76, 2 * Volume(ball)});
    ExpectImported("tetrahedron", Simplex(4), {1, kSphere, 0, 0, 88, 1. / 6});
}

TEST(ImportMade, OpenSurfacesKeepTheirBorders) {
    const auto onRing = [](int i, int j) -> Vector3d {
        return (1 + 0.2 * j) * Vector3d(std::sin(Angle(i, 40)), 0.1 * j, std::cos(Angle(i, 40)));
    };
    const auto onSheet = [](int i, int j) { return Vector3d(i, j, 0.02 * i * j); };
    const auto isHole = [](int i, int j) { return (i == 3 && j % 7 == 3) || (i == 10 && j == 3); };
    ExpectImported("triangle", Simplex(1), {1, kSquare, 0, 1, 120});
    ExpectImported("Moebius strip", Lattice(40, 6, OnBand), {1, kSquare, 0, 1, 84});
    ExpectImported("annulus", Lattice(40, 6, onRing), {1, kAnnulus, 0, 2, 79});
    ExpectImported("three holes", Lattice(14, 14, onSheet, isHole), {1, kSquare, 0, 4, 90});
}

TEST(ImportMade, BytesAreTheSameForAnyNumberOfThreads) {
    Model model;
    model.surface = SphereSoup(60, 30, 1, {0, 0, 0});
    Random random(3);
    for (Corners& corners : model.surface.corners)
        for (Corner& corner : corners)
            corner.colour = {random.Real(0, 1), random.Real(0, 1), random.Real(0, 1), 1};
    for (Vector3d& p : model.surface.positions)
        p *= 1 + 0.2 * std::sin(5 * p.x()) * std::cos(4 * p.y() + p.z());
    model.materials.emplace_back();
    const TempDir folder;
    const std::string first = folder.File("2");
    for (const int threads : {2, 1, 3, 4}) {
        Model again;
        again.surface = model.surface;
        again.materials = model.materials;
        std::vector<NamedModel> made;
        made.push_back({"m", Imported(std::move(again), OfSize(97, threads == 4 ? 2 : threads))});
        ASSERT_TRUE(made[0].model.parts.at(0).texture);
        const std::string to = folder.File(std::to_string(threads));
        ASSERT_TRUE(WriteImport(to, "m", made));
        for (const auto& file : fs::directory_iterator(first)) {
            const std::string name = "/" + file.path().filename().string();
            EXPECT_TRUE(folder.Read("2" + name) == folder.Read(std::to_string(threads) + name))
                << name << threads;
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(to), {}), 5);
    }
}

}  // namespace
