// One entry of a shader list: how one pass draws a mesh. Plain value; its mesh and texture are
// counted references that the holder of the list registers and gives back.
#pragma once

#include "scene/Material.h"
#include "scene/SceneTypes.h"

class GeoImage;
class Texture;

struct Shader {
    GeoImage* mesh = nullptr;  // drawn in place of the object's mesh when set
    Material material;
    Texture* texture = nullptr;
    BlendFunc blend = BlendOpaque;
    RenderFunc rmode = RenderSolid;
    TestFunc atest = TestAlways;
    float athresh = 0.5F;
    FaceSet faces = FacesFront;
    float thick = 1.0F;  // line width in pixels, or shell offset in object units
    bool smooth = true;
    bool lit = true;
    bool depth = true;  // writes depth
};
