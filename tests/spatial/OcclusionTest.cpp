// The occlusion buffer against a twin that looks at every pixel, with random and hostile input.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "geometry/GeoImage.h"
#include "spatial/Occlusion.h"
#include "support/TestMeshes.h"

namespace {

constexpr std::uint32_t kFar = 0xFFFFFFFF;
constexpr float kHuge = std::numeric_limits<float>::max();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

using Random = std::mt19937;

double Uniform(Random& random, double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random);
}

vec3 Point(Random& random, double spread, double nearZ, double farZ) {
    return {static_cast<float>(Uniform(random, -spread, spread)),
            static_cast<float>(Uniform(random, -spread, spread)),
            static_cast<float>(-Uniform(random, nearZ, farZ))};
}

// The reach of a triangle on one row: its edges stepped down from their upper ends.
std::pair<std::int64_t, std::int64_t> Reach(std::array<RasterPoint, 3> p, std::int64_t row) {
    std::stable_sort(p.begin(), p.end(), [](auto& a, auto& b) { return a.y < b.y; });
    if (row < p[0].y || row > p[2].y) return {0, -1};
    if (p[0].y == p[2].y) return std::minmax({p[0].x, p[1].x, p[2].x});
    const auto at = [&](int from, int to) {
        const std::int64_t rows = std::max<std::int64_t>(p[to].y - p[from].y, 1);
        return p[from].x + (p[to].x - p[from].x) / rows * (row - p[from].y);
    };
    return std::minmax({at(0, 2), row < p[1].y ? at(0, 1) : at(1, 2)});
}

// The same buffer by definition: every pixel asked for every triangle.
struct Twin {
    struct Projected {
        RasterPoint pixel;
        std::uint32_t depth;
        bool sides[5];
    };

    Camera camera;
    int width, height;
    double centreX, centreY, scaleX, scaleY;
    std::vector<std::uint32_t> depths;

    Twin(int w, int h, const Camera& lens) : camera(lens) {
        width = std::min({160, w * 120 / h, w / 6 + 10});
        height = std::min({120, h * 160 / w, h / 6 + 10});
        const double t = std::tan(std::numbers::pi * camera.fov / 360);
        scaleX = (height - 10) * double{camera.aspect} * 0.5 / t;
        scaleY = (height - 10) * 0.5 / t;
        centreX = width / 2;
        centreY = height / 2;
        depths.assign(static_cast<std::size_t>(width * height), kFar);
    }
    std::uint32_t& At(int x, int y) { return depths[static_cast<std::size_t>(y * width + x)]; }
    Projected Project(const vec3& p) const {
        const double d = std::clamp(-p.z, camera.hith, camera.yon);
        const double near = 1 / double{camera.hith};
        const auto x = static_cast<std::int64_t>((centreX + scaleX * p.x / d) * 65536);
        const auto y = static_cast<std::int64_t>(centreY - scaleY * p.y / d);
        const double depth = (1 / d - near) * (kFar / (1 / double{camera.yon} - near));
        return {
            {x, y},
            d >= camera.yon ? kFar : static_cast<std::uint32_t>(depth),
            {x<0, x> width * 65536, y < 0 || p.z > 0, y > height || p.z > 0, -p.z < camera.hith}};
    }
    // Calls visit for the pixels of a triangle until it returns true; not for triangles that lie
    // beyond one side.
    template <class Visit>
    bool AnyPixel(const std::array<Projected, 3>& v, Visit visit) {
        for (int side = 0; side < 5; ++side) {
            if (v[0].sides[side] && v[1].sides[side] && v[2].sides[side]) return false;
        }
        for (int y = 0; y < height; ++y) {
            const auto [low, high] = Reach({v[0].pixel, v[1].pixel, v[2].pixel}, y);
            for (int x = 0; x < width; ++x) {
                if (x * 65536 + 65535 >= low && x * 65536 <= high && visit(At(x, y))) return true;
            }
        }
        return false;
    }
    void Add(const vec3& a, const vec3& b, const vec3& c, int facing) {
        if (facing != 0 && !(facing * Dot(Cross(b - a, c - a), a) >= 0)) return;
        const std::array<Projected, 3> v{Project(a), Project(b), Project(c)};
        const std::uint32_t depth = std::max({v[0].depth, v[1].depth, v[2].depth});
        AnyPixel(v, [depth](std::uint32_t& stored) {
            stored = std::min(stored, depth);
            return false;
        });
    }
    static std::vector<int> Lines(double size, int samples) {
        const int count = std::max(4, static_cast<int>(std::min(size / 2, samples / 2.0)));
        const int step = (samples + 1) * 65536 / (count + 1) + 1;
        std::vector<int> lines;
        for (int i = 0; i * step < (samples - 1) * 65536; ++i)
            lines.push_back((i * step) >> 16);
        lines.push_back(samples - 1);
        return lines;
    }
    void AddCell(const vec3& a, const vec3& b, const vec3& c, int facing) {
        if (std::max({a.z, b.z, c.z}) < -camera.hith) Add(a, b, c, facing);
    }
    void Add(const GeoImage& mesh, const Matrix& m, int facing) {
        const double size = scaleY * mesh.radius / std::max(-m.Translation().z, camera.hith);
        if (size < 1) return;
        const std::vector<int> columns = Lines(size, mesh.width);
        const std::vector<int> rows = Lines(size, mesh.height);
        const auto at = [&](std::size_t row, std::size_t column) {
            return m.Transform(mesh.At(rows[row], columns[column]).position);
        };
        for (std::size_t r = 1; r < rows.size(); ++r) {
            for (std::size_t c = 1; c < columns.size(); ++c) {
                AddCell(at(r - 1, c - 1), at(r - 1, c), at(r, c - 1), facing);
                AddCell(at(r - 1, c), at(r, c), at(r, c - 1), facing);
            }
        }
    }
    void Sync() {
        const int k = std::max(1, std::min(width / 32, height / 32));
        Twin coarse = *this;
        coarse.width = width / k;
        coarse.height = height / k;
        coarse.centreX = static_cast<int>(centreX) / k;
        coarse.centreY = static_cast<int>(centreY) / k;
        coarse.scaleX = scaleX / k;
        coarse.scaleY = scaleY / k;
        coarse.depths.assign(static_cast<std::size_t>(coarse.width * coarse.height), 0);
        for (int y = 0; y < coarse.height * k; ++y) {
            for (int x = 0; x < coarse.width * k; ++x)
                coarse.At(x / k, y / k) = std::max(coarse.At(x / k, y / k), At(x, y));
        }
        *this = coarse;
    }
    bool Test(const vec3& a, const vec3& b, const vec3& c) {
        if (-a.z < camera.hith || -b.z < camera.hith) return true;
        const std::array<Projected, 3> v{Project(a), Project(b), Project(c)};
        const std::uint32_t depth = std::min({v[0].depth, v[1].depth, v[2].depth});
        return AnyPixel(v, [depth](std::uint32_t stored) { return depth <= stored; });
    }
};

struct Buffer : Occlusion {
    Buffer(int width, int height, const Camera& camera = {}) { Start(width, height, camera); }
    void Start(int width, int height, const Camera& camera) {
        Resize(width, height);
        Clear();
        SetProjection(camera);
    }
    // A triangle about as wide as the view at that distance.
    bool Shows(float distance) const {
        return TestTriangle({-distance, -distance, -distance}, {0, distance, -distance},
                            {distance, -distance, -distance});
    }
    int Width() const { return m_width; }
    int Height() const { return m_height; }
};

}  // namespace

TEST(Occlusion, AnswersAsTheTwinDoes) {
    Random random(2);
    const std::pair<int, int> views[] = {
        {640, 480}, {1600, 900}, {81, 61}, {300, 1000}, {1000, 60}};
    int shown = 0;
    int asked = 0;
    for (int round = 0; round < 15; ++round) {
        Camera camera;
        camera.fov = static_cast<float>(Uniform(random, 20, 120));
        camera.aspect = round % 3 == 0 ? 1.4F : 1;
        const auto [width, height] = views[round % 5];
        Buffer buffer(width, height, camera);
        Twin twin(width, height, camera);
        for (int i = 0; i < 15; ++i) {
            GeoImage mesh = SphereMesh(static_cast<float>(Uniform(random, 0.3, 2)),
                                       2 + static_cast<int>(random() % 20), 2 + random() % 20);
            const Matrix matrix = Matrix::Frame(Point(random, 6, -1, 12), Point(random, 1, -1, 1),
                                                Point(random, 1, -1, 1));
            Shader shader;
            shader.faces = static_cast<FaceSet>(i % 3);
            buffer.SetMatrix(matrix);
            buffer.AddGeoImage(&mesh, shader, {});
            twin.Add(mesh, matrix, i % 3 == 2 ? 0 : 1 - 2 * (i % 3));
            const vec3 a = Point(random, 4, 0, 9);
            const vec3 b = a + Point(random, 1, -1, 1);
            const vec3 c = a + Point(random, 1, -1, 1);
            buffer.AddTriangle(a, b, c);
            const bool near = -a.z < camera.hith || -b.z < camera.hith;
            if (!near && Dot(Cross(b - a, c - a), a) > 0) twin.Add(a, b, c, 0);
        }
        buffer.Sync();
        twin.Sync();
        for (int i = 0; i < 400; ++i) {
            const double reach = i % 20 == 0 ? 1e5 : 0.5;
            const vec3 a = Point(random, 8, -0.2, 20);
            const vec3 b = a + Point(random, reach, -reach, 0.5);
            const vec3 c = a + Point(random, reach, -reach, 0.5);
            const bool expected = twin.Test(a, b, c);
            ASSERT_EQ(buffer.TestTriangle(a, b, c), expected) << "round " << round << " " << i;
            shown += expected ? 1 : 0;
            ++asked;
        }
    }
    EXPECT_GT(shown, asked / 10);
    EXPECT_LT(shown, asked * 9 / 10);
}

TEST(Occlusion, KeepsItsSizeFromOneResizeToTheNext) {
    Buffer buffer(640, 480);
    EXPECT_TRUE(buffer.Width() == 116 && buffer.Height() == 90);
    for (int image = 0; image < 2; ++image) {  // the second eye works on the coarse size
        GeoImage wall = SquareMesh(2, -2);
        buffer.SetMatrix({});
        buffer.AddGeoImage(&wall, {}, {});
        buffer.Sync();
        EXPECT_TRUE(buffer.Width() == 58 && buffer.Height() == 45);
        EXPECT_TRUE(buffer.Shows(2) && !buffer.Shows(2.001F));
        buffer.Clear();
        buffer.SetProjection({});
    }
    buffer.Sync();
    EXPECT_TRUE(buffer.Shows(1e5F) && buffer.Shows(2e6F));  // nothing is added, nothing hidden
    EXPECT_FALSE(buffer.TestTriangle({9, 0, -2}, {8, 1, -2}, {9, 1, -2}));  // beside the picture
    EXPECT_FALSE(buffer.TestTriangle({0, -9, -2}, {1, -8, -2}, {1, -9, -2}));
    EXPECT_TRUE(buffer.TestTriangle({9, 0, -0.05F}, {8, 1, -2}, {9, 1, -2}));  // too near to judge
    buffer.Start(640, 480, {});
    EXPECT_EQ(buffer.Width(), 116);
}

// What is added where, and what is left out.
TEST(Occlusion, OnlySolidFacesThatWriteDepthHide) {
    const auto hides = [](const Shader& shader, bool turned = false, float half = 2) {
        GeoImage wall = SquareMesh(half, 0);
        if (turned) wall = TurnedRound(wall);
        Buffer buffer(640, 480);
        buffer.SetMatrix(Matrix::Frame({0, 0, -2}, {0, 0, 1}, {0, 1, 0}));
        buffer.AddGeoImage(&wall, shader, {});
        buffer.AddGeoImage(nullptr, shader, {});
        buffer.Sync();
        return !buffer.TestTriangle({0, 0, -3}, {0.1F, 0, -3}, {0, 0.1F, -3});
    };
    Shader shader;
    EXPECT_TRUE(hides(shader) && !hides(shader, true));
    EXPECT_FALSE(hides(shader, false, 0.01F));  // below one pixel
    shader.faces = FacesBack;
    EXPECT_TRUE(!hides(shader) && hides(shader, true));
    shader.faces = FacesAll;
    EXPECT_TRUE(hides(shader) && hides(shader, true));
    shader.depth = false;
    EXPECT_FALSE(hides(shader));
    shader.depth = true;
    shader.rmode = RenderWire;
    EXPECT_FALSE(hides(shader));

    // The same mesh again is skipped until matrix or faces change, whatever else did.
    GeoImage wall = SquareMesh(2, -2);
    Buffer buffer(640, 480);
    buffer.AddGeoImage(&wall, shader, {});
    shader.rmode = RenderSolid;
    buffer.AddGeoImage(&wall, shader, {});
    buffer.Sync();
    EXPECT_TRUE(buffer.Shows(3));
}

// Nothing sensible is asked of such a view but to go on: no trap, no endless row.
TEST(Occlusion, LivesThroughAnyCameraViewportMeshAndMatrix) {
    const float values[] = {0,   -1,      1e-30F, 0.1F,  60,        180,
                            360, -179.9F, 1e6F,   kHuge, kInfinity, kNaN};
    const int sizes[] = {0, -5, 1, 5, 50, 1000, 32767, std::numeric_limits<int>::max()};
    Random random(3);
    const auto any = [&] { return values[random() % std::size(values)]; };
    const auto size = [&] { return sizes[random() % std::size(sizes)]; };
    GeoImage empty;
    GeoImage line(1, 70000);
    line.Finish(true);
    GeoImage ball = SphereMesh(1, 9, 9);
    GeoImage monster = SphereMesh(kHuge, 9, 9);
    for (int round = 0; round < 2000; ++round) {
        Camera camera;
        camera.fov = random() % 2 ? any() : 60;
        camera.aspect = random() % 2 ? any() : 1;
        camera.hith = random() % 2 ? any() : 0.1F;
        camera.yon = random() % 2 ? any() : 1e6F;
        Buffer buffer(size(), size(), camera);
        for (GeoImage* mesh : {&empty, &line, &ball, &monster}) {
            Matrix matrix;
            for (const int i : {0, 5, 12, 13, 14})
                matrix[i] = static_cast<double>(any());
            buffer.SetMatrix(matrix);
            buffer.AddGeoImage(mesh, {}, {});
            buffer.AddTriangle({any(), any(), any()}, {any(), any(), any()}, {any(), any(), any()});
            buffer.AddTriangle(size(), -size(), size(), size(), -size(), size(), 7);
        }
        buffer.Sync();
        for (int i = 0; i < 10; ++i)
            buffer.TestTriangle({any(), any(), any()}, {any(), any(), -2}, {any(), any(), any()});
        EXPECT_EQ(buffer.Width() > 0 && buffer.Height() > 0, buffer.Width() * buffer.Height() > 0);
    }
    Buffer thin(1000, 5);  // half a row
    EXPECT_EQ(thin.Height(), 0);
    thin.Sync();
    EXPECT_TRUE(thin.Shows(5));
}

TEST(OcclusionDeathTest, AddingAndTestingKeepToTheirStates) {
    const auto fails = [](const std::string& function, const char* condition) {
        return testing::HasSubstr(": " + function + ": Assertion `" + condition + "' failed.");
    };
    const char* setting = "m_state == Setting";
    const std::string sync = "virtual void Occlusion::Sync()";
    GeoImage mesh;
    Occlusion buffer;
    EXPECT_DEATH(
        buffer.AddGeoImage(&mesh, {}, {}),
        fails("virtual void Occlusion::AddGeoImage(GeoImage*, const Shader&, vec3)", setting));
    EXPECT_DEATH(buffer.Sync(),
                 testing::AllOf(testing::HasSubstr("Occlusion.cpp:"), fails(sync, setting)));
    buffer.SetProjection({});
    EXPECT_DEATH(buffer.TestTriangle({}, {}, {}),
                 fails("virtual bool Occlusion::TestTriangle(const vec3&, const vec3&, "
                       "const vec3&) const",
                       "m_state == Testing"));
    buffer.Sync();
    EXPECT_DEATH(buffer.AddTriangle({}, {}, {}), testing::HasSubstr(setting));
    EXPECT_DEATH(buffer.AddTriangle(0, 0, 0, 0, 0, 0, 0), testing::HasSubstr(setting));
    buffer.Resize(5, 5);
    EXPECT_DEATH(buffer.Sync(), fails(sync, setting));
}
