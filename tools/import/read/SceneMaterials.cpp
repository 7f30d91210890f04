// Base colours and base colour pictures; everything else of a material is left out.
#include "import/read/SceneMaterials.h"

#include <assimp/GltfMaterial.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// Of a file that names no material: light, so that shading shows.
constexpr float kPlainGrey = 0.8F;
constexpr std::size_t kLongestName = 1000;

struct BasePicture {
    std::string name;  // empty: none
    int coordinates = 0;
};

BasePicture PictureIn(const aiMaterial& material) {
    for (const aiTextureType type : {aiTextureType_BASE_COLOR, aiTextureType_DIFFUSE}) {
        aiString path;
        unsigned set = 0;
        if (material.GetTexture(type, 0, &path, nullptr, &set) == aiReturn_SUCCESS &&
            path.length > 0) {
            return {path.C_Str(), static_cast<int>(std::min(set, 7U))};
        }
    }
    return {};
}

std::string NameOf(const aiMaterial& material) {
    aiString name;
    material.Get(AI_MATKEY_NAME, name);
    return std::string(name.C_Str()).substr(0, kLongestName);
}

bool IgnoresAlpha(const aiMaterial& material) {
    aiString mode;
    return material.Get(AI_MATKEY_GLTF_ALPHAMODE, mode) == aiReturn_SUCCESS &&
           std::strcmp(mode.C_Str(), "OPAQUE") == 0;
}

bool IsBlack(const aiColor4D& colour) {
    return colour.r <= 0 && colour.g <= 0 && colour.b <= 0;
}

// What the library takes where the file says nothing.
bool IsInvented(const aiMaterial& material, const aiColor4D& colour) {
    constexpr float kGrey = 0.6F;
    return NameOf(material) == AI_DEFAULT_MATERIAL_NAME ||
           (colour.r == kGrey && colour.g == kGrey && colour.b == kGrey);
}

// Diffuse colours of the older formats. Many exporters leave black under a picture, and opacity 0
// where they mean 1: nobody brings a model that cannot be seen. Corner colours replace the
// material's.
aiColor4D DiffuseColour(const aiMaterial& material, bool coloured, bool pictured) {
    aiColor4D colour(1, 1, 1, 1);
    material.Get(AI_MATKEY_COLOR_DIFFUSE, colour);
    if (IsInvented(material, colour)) {
        colour = aiColor4D(kPlainGrey, kPlainGrey, kPlainGrey, 1);
    }
    float opacity = 1;
    material.Get(AI_MATKEY_OPACITY, opacity);
    if (coloured || (pictured && IsBlack(colour))) colour = aiColor4D(1, 1, 1, 1);
    colour.a = opacity > 0 ? opacity : 1;
    return colour;
}

FlatPicture Unpacked(const aiTexture& texture, const std::string& name) {
    FlatPicture picture;
    picture.name = name;
    if (texture.mHeight == 0) {
        picture.bytes.assign(reinterpret_cast<const char*>(texture.pcData), texture.mWidth);
        return picture;
    }
    picture.width = static_cast<std::int32_t>(texture.mWidth);
    picture.height = static_cast<std::int32_t>(texture.mHeight);
    const std::size_t count = std::size_t{texture.mWidth} * texture.mHeight;
    picture.bytes.reserve(4 * count);
    for (std::size_t i = 0; i < count; ++i) {
        const aiTexel& texel = texture.pcData[i];
        for (const unsigned char value : {texel.r, texel.g, texel.b, texel.a})
            picture.bytes += static_cast<char>(value);
    }
    return picture;
}

}  // namespace

MeshMaterial SceneMaterials::Of(const aiMesh& mesh) {
    const bool known = mesh.mMaterialIndex < m_scene.mNumMaterials;
    const aiMaterial& material = known ? *m_scene.mMaterials[mesh.mMaterialIndex] : m_none;
    BasePicture picture = PictureIn(material);
    if (!mesh.HasTextureCoords(static_cast<unsigned>(picture.coordinates))) picture.coordinates = 0;
    if (!mesh.HasTextureCoords(0)) picture.name.clear();

    MeshMaterial result;
    result.opaque = IgnoresAlpha(material);
    if (!picture.name.empty()) result.coordinates = picture.coordinates;
    const bool coloured = mesh.HasVertexColors(0);
    const auto [found, fresh] = m_indices.try_emplace({&material, coloured, result.coordinates},
                                                      static_cast<int>(m_model.materials.size()));
    result.index = found->second;
    if (!fresh) return result;

    ModelMaterial plain{NameOf(material), ColourOf(material, coloured, !picture.name.empty()), -1};
    if (result.opaque) plain.colour[3] = 1;
    if (!picture.name.empty()) plain.picture = PictureOf(picture.name, result.opaque);
    m_model.materials.push_back(std::move(plain));
    return result;
}

std::array<float, 4> SceneMaterials::ColourOf(const aiMaterial& material, bool coloured,
                                              bool pictured) const {
    aiColor4D base;
    const bool based = material.Get(AI_MATKEY_BASE_COLOR, base) == aiReturn_SUCCESS;
    if (!based) base = DiffuseColour(material, coloured, pictured);
    std::array<float, 4> colour = {Share(base.r), Share(base.g), Share(base.b), Share(base.a)};
    if (m_linearColours)
        std::transform(colour.begin(), colour.end() - 1, colour.begin(), DisplayValue);
    return colour;
}

int SceneMaterials::PictureOf(const std::string& name, bool opaque) {
    const auto [found, fresh] =
        m_pictures.try_emplace({name, opaque}, static_cast<int>(m_model.pictures.size()));
    if (!fresh) return found->second;
    FlatPicture picture;
    if (const aiTexture* texture = m_scene.GetEmbeddedTexture(name.c_str())) {
        picture = Unpacked(*texture, name);
    }
    picture.name = name.substr(0, kLongestName);
    picture.opaque = opaque;
    m_model.pictures.push_back(std::move(picture));
    return found->second;
}

float DisplayValue(float linear) {
    return linear <= 0.0031308F ? 12.92F * linear : 1.055F * std::pow(linear, 1 / 2.4F) - 0.055F;
}

float Share(float value) {
    return value > 0 ? std::min(value, 1.0F) : 0;  // false for what is no number
}
