// A small depth buffer of occluders, against which boxes and spheres are tested. Owned by a
// driver; the renderer fills it and asks. Depths are 32-bit, 0 at the near plane, smaller nearer.
#pragma once

#include "spatial/Matrix.h"
#include "spatial/Vec3.h"

class GeoImage;
struct Camera;
struct Shader;

// Order of calls in a frame: Resize, Clear, SetProjection, any number of SetMatrix and
// AddGeoImage, Sync, any number of TestTriangle.
class Occlusion {
public:
    virtual ~Occlusion() = default;
    virtual void Resize(int viewportWidth, int viewportHeight) = 0;
    virtual void Clear() = 0;
    virtual void SetProjection(const Camera& camera) = 0;
    virtual void SetMatrix(const Matrix& modelView) = 0;
    virtual void AddGeoImage(GeoImage* mesh, const Shader& shader, vec3 eye) = 0;
    // Ends adding, begins testing.
    virtual void Sync() = 0;
    // Whether a camera-space triangle may show a pixel.
    virtual bool TestTriangle(const vec3& a, const vec3& b, const vec3& c) const = 0;
};
