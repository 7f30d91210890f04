// Words of the scene language; places of models, lights and camera.
#include "import/paint/SceneText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>

namespace {

using Eigen::AlignedBox3d;
using Eigen::Vector3d;

constexpr double kFov = 40;           // degrees, vertical
constexpr double kNarrowest = 1.2;    // width of a window by its height that holds everything
constexpr double kMargin = 1.12;      // of the distance
constexpr double kGap = 0.35;         // between models, as a share of the widest
constexpr double kSkyDistances = 30;  // radius of the sky, in distances of the camera

struct View {
    Vector3d centre;
    Vector3d eye;
    double distance = 1;
    double radius = 1;  // of what is seen
};

// Six digits, as the program writes numbers itself.
std::string Number(double value) {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%.6g", value + 0.0);  // no -0
    return text.data();
}

std::string Vector(const Vector3d& v) {
    return Number(v.x()) + ',' + Number(v.y()) + ',' + Number(v.z());
}

std::string Colour(const Rgba& colour) {
    std::string text;
    const std::size_t count = colour[3] < 1 ? 4 : 3;
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) text += ',';
        text += Number(std::round(double{colour[i]} * 1000) / 1000);
    }
    return text;
}

std::vector<Vector3d> Shifts(const std::vector<SceneModel>& models) {
    std::vector<Vector3d> shifts(models.size(), Vector3d::Zero());
    if (models.size() == 1) return shifts;
    double widest = 0;
    for (const SceneModel& model : models)
        widest = std::max(widest, model.bounds.sizes().x());
    double left = 0;
    for (std::size_t i = 0; i < models.size(); ++i) {
        const AlignedBox3d& box = models[i].bounds;
        shifts[i] = Vector3d(left, 0, -box.sizes().z() / 2) - box.min();
        left += box.sizes().x() + kGap * widest;
    }
    return shifts;
}

// The eye looks down a little, from the right; as near as all corners of all boxes allow.
View Frame(const std::vector<SceneModel>& models, const std::vector<Vector3d>& shifts) {
    AlignedBox3d all;
    for (std::size_t i = 0; i < models.size(); ++i)
        all.extend(models[i].bounds.translated(shifts[i]));
    const Vector3d back = Vector3d(0.35, 0.3, 1).normalized();
    const Vector3d right = Vector3d::UnitY().cross(back).normalized();
    const Vector3d up = back.cross(right);
    const double tangent = std::tan(kFov / 2 * std::numbers::pi / 180);
    View view{all.center(), all.center(), 0, all.diagonal().norm() / 2};
    for (std::size_t i = 0; i < models.size(); ++i) {
        for (int corner = 0; corner < 8; ++corner) {
            const auto type = static_cast<AlignedBox3d::CornerType>(corner);
            const Vector3d at = models[i].bounds.corner(type) + shifts[i] - view.centre;
            const double beside = std::abs(at.dot(right)) / (tangent * kNarrowest);
            const double above = std::abs(at.dot(up)) / tangent;
            view.distance = std::max(view.distance, std::max(beside, above) + at.dot(back));
        }
    }
    view.distance = std::max({view.distance, view.radius, 1e-6}) * kMargin;
    view.eye = view.centre + view.distance * back;
    return view;
}

std::string CameraText(const View& view) {
    return "camera pos " + Vector(view.eye) + "\ncamera lookat " + Vector(view.centre) +
           "\ncamera fov " + Number(kFov) + "\ncamera hith " + Number(view.distance / 200) +
           "\ncamera yon " + Number(view.distance * kSkyDistances * 3) + '\n';
}

std::string LightText(const std::string& name, const Vector3d& place, const std::string& colour) {
    const std::string set = "light set " + name;
    return set + " pos " + Vector(place) + '\n' + set + " color " + colour + '\n' + set +
           " falloff 1,0,0\n";
}

// A sun from the upper left, and a weak light from the other side that shapes what it leaves dark.
std::string LightsText(const View& view) {
    const auto at = [&](double x, double y, double z) -> Vector3d {
        return view.centre + 6 * view.radius * Vector3d(x, y, z);
    };
    return "light ambient 0.2,0.21,0.23\n" +
           LightText("_sun", at(-0.55, 0.85, 0.75), "0.62,0.61,0.58") +
           "light set _sun shadowlen " + Number(8 * view.radius) + '\n' +
           LightText("_fill", at(0.9, 0.1, 0.6), "0.16,0.18,0.2") + "light set _fill shadows no\n";
}

std::string SkyText(const std::string& scene, const View& view) {
    return "object _sky\nset mesh " + SkyMeshName(scene) +
           "\nset shadow no\nshader new\nshader set lit no\nshader set faces back\n"
           "shader set texture " +
           SkyTextureName(scene) + "\nset shade base\nset pos " + Vector(view.centre) + '\n';
}

std::string ShaderText(const ScenePart& part, const std::string& faces) {
    std::string text = "shader new\nshader set specular 0.15,0.15,0.15\n";
    const auto set = [&](const std::string& words) { text += "shader set " + words + '\n'; };
    if (part.texture) set("texture " + *part.texture);
    if (!part.texture) set("color " + Colour(part.colour));
    if (!faces.empty()) set("faces " + faces);
    if (part.alpha == Alpha::Holes) set("atest gt");
    if (part.alpha == Alpha::Translucent) {
        set("blend blend");
        set("depth no");
    }
    return text;
}

// Translucent parts are drawn last, over what is behind them, and let light through: of closed ones
// the inside first.
std::string PartText(const std::string& model, const ScenePart& part) {
    const std::string object = "object " + model + '/' + part.mesh + "\nset mesh " + part.mesh;
    if (part.alpha != Alpha::Translucent)
        return ShaderText(part, part.closed ? "" : "all") + object + "\nset shade light\n";
    const std::string blended = object + "\nset shadow no\nset shade blend\n";
    if (!part.closed) return ShaderText(part, "all") + blended;
    return ShaderText(part, "back") + blended + ShaderText(part, "front") + "set shade blend\n";
}

}  // namespace

Scene MakeScene(const std::string& name, const std::vector<SceneModel>& models) {
    const std::vector<Vector3d> shifts = Shifts(models);
    const View view = Frame(models, shifts);
    std::string text =
        "# Made by pallix-import. s turns shadows on, w shows the grids, r_set P_LODmax 0.2 "
        "coarsens "
        "them.\n";
    text += "room " + name + "\n\n" + CameraText(view) + '\n' + LightsText(view) + '\n' +
            SkyText(name, view);
    for (std::size_t i = 0; i < models.size(); ++i) {
        text += '\n';
        for (const ScenePart& part : models[i].parts)
            text += PartText(models[i].name, part);
        // After the parts: only then does what holds the parent learn how far they reach.
        text += "set " + models[i].name + " pos " + Vector(shifts[i]) + '\n';
    }
    return {text, view.distance * kSkyDistances};
}
