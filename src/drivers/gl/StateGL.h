// OpenGL state that passes set anew for every object: a value that is in force already is not sent
// again, since OpenGL would work out the consequences of every change once more. Knows nothing of
// what a pass is.
#pragma once

#include <GL/gl.h>

#include <array>
#include <optional>
#include <vector>

#include "scene/Material.h"
#include "spatial/Matrix.h"
#include "spatial/Vec3.h"

class Texture;

// What can be switched on and off.
enum class Feature : unsigned { Blend, AlphaTest, CullFace, Lighting, Texture, StencilTest, Count };

// A light as OpenGL takes it; position and direction are in the coordinates of the matrix.
struct PlacedLight {
    vec3 position;
    vec3 direction;
    Color ambient;
    Color color;
    vec3 falloff;
    float focus = 0;
    float angle = 0;
    Matrix modelView;
    bool operator==(const PlacedLight&) const = default;
};

// Right as long as nobody else changes this state: Forget where the context comes back from others.
// What OpenGL refuses is sent every time, for the error to be reported every time.
class StateGL {
public:
    // Nothing is known of the context: the next value of each kind is sent.
    void Forget();

    void Switch(Feature feature, bool on);
    void BlendFunc(GLenum source, GLenum destination);
    void AlphaFunc(GLenum test, float threshold);
    void CullFace(GLenum face);
    void ShadeModel(GLenum model);
    void PolygonMode(GLenum mode);  // of both faces
    void LineWidth(float width);
    void DepthMask(bool on);
    void TwoSidedLighting(bool on);
    void SetMaterial(const Material& material);  // of both faces
    // Takes the texture (null: none) over as the current one; whether the caller has to send it,
    // since another was. ForgetTexture: it is not known which is.
    bool SetTexture(const Texture* texture);
    void ForgetTexture() { m_known.texture.reset(); }
    void LoadMatrix(const Matrix& modelView);

    // All of that many lights are off.
    void SwitchLightsOff(int available);
    // Lights 0 to count - 1 are on, later ones off.
    void SwitchLights(int count);
    void PlaceLight(int number, const PlacedLight& light);

private:
    template <class Value>
    using Known = std::optional<Value>;

    struct Values {
        std::array<Known<bool>, static_cast<std::size_t>(Feature::Count)> switches;
        Known<std::array<GLenum, 2>> blend;
        Known<GLenum> alphaTest;
        Known<float> alphaThreshold;
        Known<GLenum> culledFace;
        Known<GLenum> shadeModel;
        Known<GLenum> polygonMode;
        Known<float> lineWidth;
        Known<bool> depthMask;
        Known<bool> twoSided;
        std::array<Known<Color>, 4> colors;
        Known<float> shininess;
        Known<Matrix> modelView;
        Known<const Texture*> texture;  // by address, not owned
    };

    Values m_known;
    int m_lightsOn = 0;
    std::vector<Known<PlacedLight>> m_lights;
};
