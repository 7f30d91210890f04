// Reading the depth buffer of OpenGL as an occlusion buffer. Its 32-bit depths are those of the
// base class: both are linear in 1 / distance from 0 at the near plane to all bits at the far one.
#include "drivers/gl/OcclusionGL.h"

#include <GL/gl.h>

#include <algorithm>
#include <limits>

#include "spatial/CameraSpace.h"

namespace {

// OpenGL computes depths in floats and rounds them to the steps of its buffer, so that a surface
// may be read back up to so many steps nearer than it is. It must not hide itself: what is flat and
// faces the eye would be taken for hidden in every other frame.
constexpr std::uint32_t kDepthErrorSteps = 4;
constexpr int kFewestDepthBits = 16;
constexpr int kFloatDepthBits = 24;  // more than these are not computed

std::uint32_t DepthError() {
    GLint bits = 0;
    glGetIntegerv(GL_DEPTH_BITS, &bits);
    return kDepthErrorSteps << (32 - std::clamp(bits, kFewestDepthBits, kFloatDepthBits));
}

std::uint32_t AddSaturated(std::uint32_t depth, std::uint32_t error) {
    return depth + std::min(error, std::numeric_limits<std::uint32_t>::max() - depth);
}

}  // namespace

void OcclusionGL::Resize(int, int) {
    m_state = Setting;
}

// Begins adding, as Resize does: a second image of the frame comes without one.
void OcclusionGL::SetProjection(const Camera& camera) {
    SetDepthRange(camera);
    m_state = Setting;
}

void OcclusionGL::Sync() {
    GLint viewport[4] = {};
    glGetIntegerv(GL_VIEWPORT, viewport);
    m_width = viewport[2];
    m_height = viewport[3];
    const double tangent = HalfViewTangent(m_camera.fov);
    m_scaleX = m_height * double{m_camera.aspect} * 0.5 / tangent;
    m_scaleY = -m_height * 0.5 / tangent;  // the first row read is the bottom of the picture
    m_centreX = m_width / 2;
    m_centreY = m_height / 2;
    m_fine.resize(static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height));
    glReadPixels(0, 0, m_width, m_height, GL_DEPTH_COMPONENT, GL_UNSIGNED_INT, m_fine.data());
    Occlusion::Sync();
    const std::uint32_t error = DepthError();
    for (std::uint32_t& depth : m_coarse)
        depth = AddSaturated(depth, error);
}
