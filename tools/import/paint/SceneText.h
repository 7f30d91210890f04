// A scene file that shows imported models.
#pragma once

#include <Eigen/Geometry>
#include <optional>
#include <string>
#include <vector>

#include "import/paint/BakeTexture.h"

struct ScenePart {
    std::string mesh;                    // file name, without a folder; also the object's name
    std::optional<std::string> texture;  // likewise; it holds all of the colour
    Rgba colour = {1, 1, 1, 1};          // of a part without a texture
    Alpha alpha = Alpha::Opaque;         // of texture or colour
    bool closed = true;                  // else its back shows, too
};

struct SceneModel {
    std::string name;  // of the parent object
    std::vector<ScenePart> parts;
    Eigen::AlignedBox3d bounds;
};

struct Scene {
    std::string text;
    double skyRadius = 1;
};

// All names are SceneNames. One model stays where it is, several stand side by side along x on one
// floor; the camera has all of them in view. NAME-sky and NAME-sky-texture are the files of the
// sky. Needs at least one model, and every model bounds that are not empty.
Scene MakeScene(const std::string& name, const std::vector<SceneModel>& models);
inline std::string SkyMeshName(const std::string& scene) {
    return scene + "-sky";
}
inline std::string SkyTextureName(const std::string& scene) {
    return scene + "-sky-texture";
}
