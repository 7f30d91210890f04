// The occlusion buffer against a twin that looks at every pixel, with random and hostile input.
#include <gtest/gtest.h>

#include <limits>

#include "geometry/GeoImage.h"
#include "spatial/Occlusion.h"
#include "support/Random.h"
#include "support/TestMeshes.h"

namespace {

constexpr std::uint32_t kFar = 0xFFFFFFFF;
constexpr float kHuge = std::numeric_limits<float>::max();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

Random dice(2);

// z between -far and -near.
vec3 Point(float spread, float near, float far) {
    return {dice.Real(-spread, spread), dice.Real(-spread, spread), -dice.Real(near, far)};
}

struct Triangle {
    vec3 a, b, c;
    bool Faces(int sign) const {
        return static_cast<float>(sign) * Dot(Cross(b - a, c - a), a) >= 0;
    }
    float Nearest() const { return -std::max({a.z, b.z, c.z}); }
    // What begins before the near distance is neither added nor judged hidden.
    bool BeginsNear(float limit) const { return -a.z < limit || -b.z < limit; }
};

Triangle SmallTriangle(float spread, float near, float far, float size) {
    const vec3 a = Point(spread, near, far);
    return {a, a + Point(size, -size, size), a + Point(size, -size, size)};
}

// The same buffer by definition: every pixel is looked at for every triangle.
struct Twin {
    Camera camera;
    int width, height;
    double centreX = 0, centreY = 0, scaleX = 0, scaleY = 0;
    std::vector<std::uint32_t> depths;

    Twin(int viewWidth, int viewHeight) {
        width = std::min({160, viewWidth * 120 / viewHeight, viewWidth / 6 + 10});
        height = std::min({120, viewHeight * 160 / viewWidth, viewHeight / 6 + 10});
    }
    void Begin(const Camera& lens) {
        camera = lens;
        const double tangent = std::tan(std::numbers::pi * camera.fov / 360);
        scaleY = (height - 10) * 0.5 / tangent;
        scaleX = (height - 10) * double{camera.aspect} * 0.5 / tangent;
        centreX = width / 2;
        centreY = height / 2;
        depths.assign(static_cast<std::size_t>(width * height), kFar);
    }
    std::uint32_t& At(int x, int y) { return depths[static_cast<std::size_t>(y * width + x)]; }
    float Distance(const vec3& p) const { return std::clamp(-p.z, camera.hith, camera.yon); }
    std::uint32_t Depth(const vec3& p) const {
        const double near = 1 / double{camera.hith};
        const double d = Distance(p);
        if (d == camera.yon) return kFar;
        return static_cast<std::uint32_t>((1 / d - near) *
                                          (kFar / (1 / double{camera.yon} - near)));
    }
    RasterPoint Place(const vec3& p) const {
        const double d = Distance(p);
        return {static_cast<std::int64_t>((centreX + scaleX * p.x / d) * 65536),
                static_cast<std::int64_t>(centreY - scaleY * p.y / d)};
    }
    unsigned Outside(const vec3& p) const {
        const auto [x, y] = Place(p);
        return (x < 0 ? 1 : 0) | (x > width * 65536 ? 2 : 0) | (y < 0 || p.z > 0 ? 4 : 0) |
               (y > height || p.z > 0 ? 8 : 0) | (-p.z < camera.hith ? 16 : 0);
    }
    // Whether visit answers true for some pixel between the triangle's edges on each row, which
    // are stepped down from their upper ends.
    template <class Visit>
    bool AnyPixel(const Triangle& t, Visit visit) {
        if ((Outside(t.a) & Outside(t.b) & Outside(t.c)) != 0) return false;
        std::array p{Place(t.a), Place(t.b), Place(t.c)};
        std::stable_sort(p.begin(), p.end(), [](auto& u, auto& v) { return u.y < v.y; });
        for (int y = 0; y < height; ++y) {
            if (y < p[0].y || y > p[2].y) continue;
            const auto edge = [&](unsigned i, unsigned j) {
                const std::int64_t rows = std::max<std::int64_t>(p[j].y - p[i].y, 1);
                return p[i].x + (p[j].x - p[i].x) / rows * (y - p[i].y);
            };
            auto [low, high] = std::minmax({edge(0, 2), y < p[1].y ? edge(0, 1) : edge(1, 2)});
            if (p[0].y == p[2].y) std::tie(low, high) = std::minmax({p[0].x, p[1].x, p[2].x});
            for (int x = 0; x < width; ++x) {
                const bool covered = x >= low >> 16 && x <= high >> 16;
                if (covered && visit(At(x, y))) return true;
            }
        }
        return false;
    }
    void Add(const Triangle& t) {
        const std::uint32_t depth = std::max({Depth(t.a), Depth(t.b), Depth(t.c)});
        AnyPixel(t, [depth](std::uint32_t& stored) {
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
    void Add(const GeoImage& mesh, const Matrix& m, int facing) {
        const double size = scaleY * mesh.radius / std::max(-m.Translation().z, camera.hith);
        if (size < 1) return;
        const std::vector<int> columns = Lines(size, mesh.width);
        const std::vector<int> rows = Lines(size, mesh.height);
        for (std::size_t r = 1; r < rows.size(); ++r) {
            for (std::size_t c = 1; c < columns.size(); ++c) {
                // Corners of the cell, counted from the lower right one.
                const auto at = [&](std::size_t up, std::size_t left) {
                    return m.Transform(mesh.At(rows[r - up], columns[c - left]).position);
                };
                for (const Triangle& t : {Triangle{at(1, 1), at(1, 0), at(0, 1)},
                                          Triangle{at(1, 0), at(0, 0), at(0, 1)}}) {
                    if (t.Nearest() > camera.hith && t.Faces(facing)) Add(t);
                }
            }
        }
    }
    void Sync() {
        const int k = std::max(1, std::min(width / 32, height / 32));
        Twin fine = *this;
        width /= k;
        height /= k;
        centreX = static_cast<int>(centreX) / k;
        centreY = static_cast<int>(centreY) / k;
        scaleX /= k;
        scaleY /= k;
        depths.assign(static_cast<std::size_t>(width * height), 0);
        for (int y = 0; y < height * k; ++y) {
            for (int x = 0; x < width * k; ++x)
                At(x / k, y / k) = std::max(At(x / k, y / k), fine.At(x, y));
        }
    }
    bool Test(const Triangle& t) {
        const std::uint32_t depth = std::min({Depth(t.a), Depth(t.b), Depth(t.c)});
        return t.BeginsNear(camera.hith) || depths.empty() ||
               AnyPixel(t, [depth](std::uint32_t stored) { return depth <= stored; });
    }
};

struct Buffer : Occlusion {
    void Begin(const Camera& camera) {
        Clear();
        SetProjection(camera);
    }
    const std::vector<std::uint32_t>& Depths() const { return m_coarse; }
};

}  // namespace

// Every second image is that of a second eye, which works on the coarse size of the first.
TEST(Occlusion, AnswersAsTheTwinDoes) {
    const std::pair<int, int> views[] = {{654, 480},  {1600, 900}, {81, 61},
                                         {300, 1000}, {1000, 60},  {1000, 5}};
    int shown = 0;
    Buffer buffer;
    Twin twin(1, 1);
    for (int round = 0; round < 36; ++round) {
        const auto [width, height] = views[round / 2 % 6];
        if (round % 2 == 0) {
            buffer.Resize(width, height);
            twin = Twin(width, height);
        }
        Camera camera;
        camera.fov = dice.Real(20, 120);
        camera.aspect = round % 3 == 0 ? 1.4F : 1;
        camera.yon = round % 4 == 0 ? 15 : 1e6F;
        buffer.Begin(camera);
        twin.Begin(camera);
        for (int i = 0; i < 15; ++i) {
            const auto samples = [] { return static_cast<int>(dice.Real(2, 22)); };
            GeoImage mesh = SphereMesh(dice.Real(0.3F, 2), samples(), samples());
            Matrix matrix = Matrix::Frame(Point(6, -1, 12), Point(1, -1, 1), Point(1, -1, 1));
            if (i % 5 == 0) {  // a ground, turned anyhow, that crosses the near plane
                mesh = SquareMesh(6, 0, 2 + i);
                matrix = Matrix::Frame({0, -0.5F, -4}, {0.3F, 1, 0}, Point(1, -1, 1));
            }
            Shader pass;
            pass.faces = static_cast<FaceSet>(i % 3);
            pass.rmode = dice.Index(9) == 0 ? RenderWire : RenderSolid;
            pass.depth = dice.Index(9) != 0;
            Shader before;  // the same faces are looked at once, for the first pass that has them
            before.rmode = RenderWire;
            before.faces = static_cast<FaceSet>(dice.Index(3));
            buffer.SetMatrix(matrix);
            if (i % 2 == 0) buffer.AddGeoImage(&mesh, before, {});
            buffer.AddGeoImage(&mesh, pass, {});
            const bool seen = i % 2 == 0 && before.faces == pass.faces;
            const bool hides = pass.rmode == RenderSolid && pass.depth && !seen;
            if (hides) twin.Add(mesh, matrix, i % 3 == 2 ? 0 : 1 - 2 * (i % 3));
            const Triangle t = SmallTriangle(4, 0, 9, 1);
            buffer.AddTriangle(t.a, t.b, t.c);
            if (!t.BeginsNear(camera.hith) && !t.Faces(-1)) twin.Add(t);
        }
        buffer.Sync();
        twin.Sync();
        EXPECT_EQ(buffer.Depths(), twin.depths) << round;
        for (int i = 0; i < 400; ++i) {
            const Triangle t = SmallTriangle(8, -0.2F, 20, i % 20 == 0 ? 1e5F : 0.5F);
            const bool expected = twin.Test(t);
            ASSERT_EQ(buffer.TestTriangle(t.a, t.b, t.c), expected) << round << ", " << i;
            shown += expected ? 1 : 0;
        }
    }
    EXPECT_TRUE(shown > 3000 && shown < 9000) << shown;
}

// Nothing sensible is asked of such a view but to go on: no trap, no endless row.
TEST(Occlusion, LivesThroughAnyCameraViewportMeshAndMatrix) {
    const float values[] = {0,   -1,      1e-30F, 0.1F,  60,        180,
                            360, -179.9F, 1e6F,   kHuge, kInfinity, kNaN};
    const int sizes[] = {0, -5, 1, 5, 50, 1000, 32767, std::numeric_limits<int>::max()};
    const auto any = [&] { return values[dice.Index(std::size(values))]; };
    const auto point = [&] { return vec3{any(), any(), any()}; };
    const auto size = [&] { return sizes[dice.Index(std::size(sizes))]; };
    GeoImage empty;
    GeoImage line(1, 70000);
    line.Finish(true);
    GeoImage ball = SphereMesh(1, 9, 9);
    GeoImage monster = SphereMesh(kHuge, 9, 9);
    for (int round = 0; round < 2000; ++round) {
        Camera camera;
        for (float* field : {&camera.fov, &camera.aspect, &camera.hith, &camera.yon}) {
            if (dice.Coin()) *field = any();
        }
        Buffer buffer;
        buffer.Resize(size(), size());
        buffer.Begin(camera);
        for (GeoImage* mesh : {static_cast<GeoImage*>(nullptr), &empty, &line, &ball, &monster}) {
            Matrix matrix;
            for (const int i : {0, 5, 12, 13, 14})
                matrix[i] = static_cast<double>(any());
            buffer.SetMatrix(matrix);
            buffer.AddGeoImage(mesh, {}, {});
            buffer.AddTriangle(point(), point(), point());
            buffer.AddTriangle(size(), -size(), size(), size(), -size(), size(), 7);
        }
        buffer.Sync();
        for (int i = 0; i < 10; ++i)
            buffer.TestTriangle(point(), {any(), any(), -2}, point());
    }
}

TEST(OcclusionDeathTest, AddingAndTestingKeepToTheirStates) {
    const std::string setting = "Assertion `m_state == Setting' failed\\.";
    GeoImage mesh;
    Occlusion buffer;
    EXPECT_DEATH(buffer.AddGeoImage(&mesh, {}, {}),
                 "Occlusion\\.cpp:[0-9]+: virtual void Occlusion::AddGeoImage\\(GeoImage\\*, const "
                 "Shader&, vec3\\): " +
                     setting);
    buffer.SetProjection({});
    EXPECT_DEATH(buffer.TestTriangle({}, {}, {}), "Assertion `m_state == Testing' failed\\.");
    buffer.Sync();
    EXPECT_DEATH(buffer.AddTriangle({}, {}, {}), setting);
    EXPECT_DEATH(buffer.AddTriangle(0, 0, 0, 0, 0, 0, 0), setting);
    buffer.Resize(5, 5);
    EXPECT_DEATH(buffer.Sync(), setting);
}
