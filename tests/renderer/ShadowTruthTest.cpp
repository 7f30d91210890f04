// Stencil shadows against rays: a pixel is dark for a light exactly when the segment from its
// surface to the light meets a caster. Random scenes of closed meshes; surfaces are unlit, so that
// a pixel's brightness counts the lights that reach it.
#include "drivers/GLFixture.h"
#include "support/Random.h"
#include "support/SceneBuilder.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "renderer/Renderer.h"

namespace {

constexpr float kShade = 0.25F;    // added once for being seen, and once by every light
constexpr float kSkin = 1e-3F;     // a segment starts this far off its surface
constexpr float kGrazing = 0.15F;  // cosine below which rounding decides what faces the light
constexpr float kEndBand = 0.05F;  // far ends of volumes are flat, distances to a light are not
constexpr int kUnknown = -100;     // lights, where the pixel tells nothing
constexpr float kTurn = 2 * std::numbers::pi_v<float>;

struct Triangle {
    vec3 a, b, c;

    vec3 Normal() const { return Normalise(Cross(c - a, b - a)); }  // outward
};

struct Body {
    const Object* object;
    std::vector<Triangle> triangles = {};
};

struct Hit {
    const Object* object;
    float distance;
    vec3 normal;
};

// Along the unit direction; negative when the line misses.
float Distance(const Triangle& t, const vec3& from, const vec3& along) {
    const vec3 p = Cross(along, t.c - t.a);
    const vec3 q = Cross(from - t.a, t.b - t.a);
    const float det = Dot(t.b - t.a, p);
    const float u = Dot(from - t.a, p) / det;
    const float v = Dot(along, q) / det;
    return u >= 0 && v >= 0 && u + v <= 1 ? Dot(t.c - t.a, q) / det : -1;
}

class ShadowTruth : public GLFixture, public testing::WithParamInterface<unsigned> {
protected:
    using Seen = std::pair<const Object*, int>;  // and how many lights reach it there

    TestScene m_scene;
    std::vector<Body> m_bodies;
    std::vector<Light*> m_lights;
    Renderer m_renderer;
    Camera m_camera;
    Random m_random{GetParam()};

    vec3 Within(const vec3& low, const vec3& high) {
        return {m_random.Real(low.x, high.x), m_random.Real(low.y, high.y),
                m_random.Real(low.z, high.z)};
    }

    // A sphere, a box with bevelled edges, or a torus, which is closed by both seams.
    GeoImage* RandomSolid(float size) {
        GeoImage* mesh = m_scene.Sphere(size, 17);
        const int kind = m_random.Index(3);
        mesh->wrapRows = kind == 2;
        for (int i = 0; i < 17 * 17; ++i) {
            vec3& p = mesh->samples[i].position;
            const float most = std::max({std::abs(p.x), std::abs(p.y), std::abs(p.z)});
            const float around = kTurn * float(i % 17 % 16) / 16;
            const float tube = kTurn * float(i / 17 % 16) / 16;
            const float ring = size * (1 + 0.4F * std::cos(tube));
            if (kind == 1) p *= 0.8F * size / most;
            if (kind != 2) continue;
            p = {ring * std::sin(around), -0.4F * size * std::sin(tube), ring * std::cos(around)};
        }
        mesh->Finish(true);
        return mesh;
    }
    void Add(GeoImage* mesh, const vec3& pos, const vec3& point, const vec3& up, bool casts) {
        mesh->error = -1;
        Object* object = m_scene.Add(m_scene.room, std::to_string(m_bodies.size()), mesh, pos);
        object->point = point;
        object->up = up;
        object->shadow = casts;
        object->shaders[PassLight].push_back(Unlit({kShade, kShade, kShade, 1}, BlendOpaque));

        Body& body = m_bodies.emplace_back(object);
        const Matrix frame = Matrix::Frame(pos, point, up);
        for (int i = 0; i < mesh->width * (mesh->height - 1) - 1; ++i) {
            if (i % mesh->width == mesh->width - 1) continue;
            const auto at = [&](int more) {
                return frame.Transform(mesh->samples[i + more].position);
            };
            body.triangles.push_back({at(0), at(1), at(mesh->width)});
            body.triangles.push_back({at(mesh->width + 1), at(mesh->width), at(1)});
        }
    }
    // Neither the eye nor a light lies within it.
    void AddCaster(const vec3& pos) {
        float size = std::min(m_random.Real(0.5F, 1), 0.5F * Length(pos - m_camera.pos));
        for (const Light* light : m_lights)
            size = std::min(size, 0.5F * Length(pos - light->pos));
        Add(RandomSolid(size), pos, m_random.Point(1), {0.1F, 1, 0.2F}, true);
    }
    // A caster on the way from the first light to the target.
    void AddOnWay(const vec3& target, float share) {
        const vec3 light = m_lights[0]->pos;
        AddCaster(light + share * (target - light));
    }
    // A wall and a floor, casters before them, lights above or before them all.
    void Build(int casters, int lights) {
        m_camera.pos = Within({-2, 0, 4}, {2, 2, 6});
        m_camera.lookat = Within({-0.5F, -0.8F, -1}, {0.5F, 0, 0});
        Add(m_scene.Quad(9, 7), {0, 0, -5}, {0, 0, 1}, {0, 1, 0}, false);
        Add(m_scene.Quad(9, 7), {0, -2, 0}, {0, 1, 0}, {0, 0, -1}, false);
        for (int i = 0; i < lights; ++i) {
            const vec3 place = Within({-6, 2.5F, -2}, {6, 6, 8});
            m_lights.push_back(m_scene.AddLight(std::to_string(i), place));
        }
        for (int i = 0; i < casters; ++i)
            AddCaster(Within({-2, -1, -3}, {2, 1.2F, 1.5F}));
    }

    // All fronts that a line meets ahead.
    std::vector<Hit> Meet(const vec3& from, const vec3& along) const {
        std::vector<Hit> hits;
        for (const Body& body : m_bodies) {
            const vec3 offset = body.object->pos - from;
            if (Length(Cross(offset, along)) > 1.01F * body.object->mesh->radius) continue;
            for (const Triangle& triangle : body.triangles) {
                const float distance = Distance(triangle, from, along);
                if (distance <= kSkin || Dot(triangle.Normal(), along) >= 0) continue;
                hits.push_back({body.object, distance, triangle.Normal()});
            }
        }
        return hits;
    }
    // A closed caster is met exactly when its far side is; its volume reaches from there as far
    // as the light's shadows are long.
    int Reaches(const Light& light, const vec3& point, const vec3& normal) const {
        if (!light.active) return 0;
        const vec3 along = Normalise(light.pos - point);
        int reaches = Dot(normal, along) < kGrazing ? kUnknown : 1;
        for (const Hit& hit : Meet(point, along)) {
            if (!hit.object->shadow || hit.distance > Length(light.pos - point)) continue;
            if (hit.distance < light.shadowlen) reaches = std::min(reaches, 0);
            if (std::abs(hit.distance - light.shadowlen) < kEndBand) reaches = kUnknown;
        }
        return reaches;
    }
    Seen Trace(int x, int y) const {
        const Matrix eye = Matrix::Frame(m_camera.pos, m_camera.pos - m_camera.lookat, m_camera.up);
        const float half = std::tan(m_camera.fov * kTurn / 720) / kHeight;  // of a pixel
        const vec3 along = Normalise(
            eye.Rotate({float(2 * x + 1 - kWidth) * half, float(kHeight - 2 * y - 1) * half, -1}));
        const std::vector<Hit> hits = Meet(m_camera.pos, along);
        const auto hit = std::ranges::min_element(hits, {}, &Hit::distance);
        if (hit == hits.end()) return {nullptr, kUnknown};
        Seen seen{hit->object, 0};
        for (const Light* light : m_lights)
            seen.second += Reaches(*light, m_camera.pos + along * hit->distance, hit->normal);
        return seen;
    }

    // Pixels next to an edge of anything are left out. Faces of volumes that are clipped at the
    // border of the view may leave a pinhole between them: one pixel is let pass.
    void ExpectTruth() {
        StartFrame();
        m_renderer.Set("F_shadows", 1);
        m_renderer.BeginFrame(m_driver.get());
        m_renderer.Render(&m_scene.room, m_camera);
        m_renderer.FinishFrame();
        Shoot();
        std::vector<Seen> truth;
        for (int i = 0; i < kWidth * kHeight; ++i)
            truth.push_back(Trace(i % kWidth, i / kWidth));
        int wrong = 0;
        for (int i = kWidth + 1; i < kWidth * (kHeight - 1) - 1; ++i) {
            const auto at = truth.begin() + i;
            bool edge = at->second < 0;
            for (const int row : {-kWidth, 0, kWidth})
                edge = edge || std::count(at + row - 1, at + row + 2, *at) != 3;
            if (edge) continue;
            const Color color = At(i % kWidth, i / kWidth);
            if (std::lround(color.r / kShade) != 1 + at->second) ++wrong;
        }
        EXPECT_LE(wrong, 1);
    }
};

}  // namespace

TEST_P(ShadowTruth, SeveralCastersUnderOneAndTwoLights) {
    Build(5, 2);
    ExpectTruth();
    m_lights[0]->active = false;
    ExpectTruth();
    m_lights[1]->shadowlen = m_random.Real(2.5F, 4.5F);
    ExpectTruth();
}

// One volume lies in the next, and at last the eye in one.
TEST_P(ShadowTruth, VolumesInsideVolumes) {
    Build(3, 1);
    for (const float share : {0.24F, 0.4F, 0.6F, 0.8F})
        AddOnWay(m_bodies[2].object->pos, share);
    ExpectTruth();
    AddOnWay(m_camera.pos, 0.65F);
    ExpectTruth();
}

// Nothing of what casts is in view.
TEST_P(ShadowTruth, CastersOutsideTheView) {
    Build(0, 1);
    m_lights[0]->pos =
        m_camera.pos + vec3{m_random.Real(-3, 3), m_random.Real(2, 4), m_random.Real(0, 4)};
    for (int i = 0; i < 3; ++i)
        AddOnWay(Within({-2, -2, -4}, {2, 0, -1}), m_random.Real(0.2F, 0.4F));
    ExpectTruth();
}

INSTANTIATE_TEST_SUITE_P(Random, ShadowTruth, testing::Range(1U, 7U));
