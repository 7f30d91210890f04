// Materials of the reading library as plain colours and base colour pictures.
#pragma once

#include <assimp/material.h>

#include <array>
#include <map>
#include <string>
#include <tuple>

#include "import/read/FlatModel.h"

struct aiMesh;
struct aiScene;

// What a mesh's corners need to know about its material.
struct MeshMaterial {
    int index = 0;
    int coordinates = -1;  // set of texture coordinates, or none
    bool opaque = false;   // alpha of corners means nothing
};

// Collects the materials that meshes use, each once.
class SceneMaterials {
public:
    SceneMaterials(const aiScene& scene, bool linearColours, FlatModel& model)
        : m_scene(scene), m_linearColours(linearColours), m_model(model) {}

    MeshMaterial Of(const aiMesh& mesh);

private:
    const aiScene& m_scene;
    const aiMaterial m_none;  // of meshes without one
    bool m_linearColours;
    FlatModel& m_model;
    std::map<std::tuple<const aiMaterial*, bool, int>, int> m_indices;
    std::map<std::pair<std::string, bool>, int> m_pictures;

    std::array<float, 4> ColourOf(const aiMaterial& material, bool coloured, bool pictured) const;
    int PictureOf(const std::string& name, bool opaque);
};

// A display value of linear light, both from 0 to 1.
float DisplayValue(float linear);
// 0 to 1; 0 for what is no number.
float Share(float value);
