// An occlusion buffer that is the depth buffer of OpenGL itself: what hides is what was really
// drawn, in full window resolution. Needs the context of its driver to be current.
#pragma once

#include "spatial/Occlusion.h"

// In place of adding meshes, the driver draws them: Sync reads back what is there by then.
class OcclusionGL : public Occlusion {
public:
    // The size is that of the OpenGL viewport at Sync.
    void Resize(int viewportWidth, int viewportHeight) override;
    // Nothing: the depth buffer is cleared with the frame.
    void Clear() override {}
    void SetProjection(const Camera& camera) override;
    void AddGeoImage(GeoImage*, const Shader&, vec3) override {}
    void Sync() override;
};
