// How OpenGL combines a pass with the picture.
#pragma once

#include <GL/gl.h>

#include "scene/SceneTypes.h"

struct BlendFactors {
    GLenum source;
    GLenum destination;
};

// By BlendFunc; the first stands for opaque, which is no blend function of a pass.
inline constexpr BlendFactors kBlendFactors[BlendCount] = {
    {GL_NONE, GL_NONE},
    {GL_ONE, GL_ZERO},
    {GL_ONE, GL_ONE},
    {GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA},
    {GL_ZERO, GL_SRC_COLOR},
    {GL_SRC_ALPHA, GL_ONE},
    {GL_SRC_ALPHA, GL_SRC_COLOR},
    {GL_ZERO, GL_ONE_MINUS_SRC_COLOR},
};
