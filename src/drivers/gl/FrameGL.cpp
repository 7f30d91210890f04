// A frame of the OpenGL driver from clearing to showing it, and what is read back from it.
#include <GL/glu.h>

#include "drivers/gl/DriverGL.h"
#include "drivers/gl/GLError.h"
#include "drivers/gl/SettingsGL.h"
#include "drivers/gl/OcclusionGL.h"
#include "scene/Camera.h"

namespace {

// Whether the accumulation buffer holds the previous frame. One for the process: a new driver
// goes on from the old one's state.
bool blurPrimed = false;

}  // namespace

void DriverGL::SetViewport(int x, int y, int width, int height) {
    ReportGLError("SetViewport", "foo");
    m_viewport = {x, y, width, height};
    glViewport(x, WindowHeight() - (y + height), width, height);
    ReportGLError("SetViewport");
    GetOcclusion()->Resize(width, height);
}

void DriverGL::GetViewport(int& x, int& y, int& width, int& height) {
    m_viewport.Get(x, y, width, height);
}

void DriverGL::ColorMask(bool red, bool green, bool blue) {
    m_colorMask = {red, green, blue};
    ApplyColorMask();
}

void DriverGL::ApplyColorMask() const {
    glColorMask(m_colorMask.red, m_colorMask.green, m_colorMask.blue, GL_TRUE);
}

void DriverGL::Clear(bool depth, bool color) {
    m_state.DepthMask(true);
    glClearColor(0.5F, 0.5F, 0.5F, 1);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    GLbitfield buffers = GL_STENCIL_BUFFER_BIT;
    if (depth) buffers |= GL_DEPTH_BUFFER_BIT;
    if (color) buffers |= GL_COLOR_BUFFER_BIT;
    glClear(buffers);
    ApplyColorMask();
    if (depth) GetOcclusion()->Clear();
    m_lists.Trim();
    m_lists.ResetCounts();
    m_stats.clear();
    ReportGLError("Clear");
}

void DriverGL::Finish() {
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    const float factor = Get(gl_settings::kMotionBlurFactor);
    const bool blur = GetBool(gl_settings::kMotionBlur) && factor > 0;
    if (blur && blurPrimed) {
        glAccum(GL_MULT, factor);
        glAccum(GL_ACCUM, 1 - factor);
        glAccum(GL_RETURN, 1);
    } else if (blur) {
        glAccum(GL_MULT, 0);
        glAccum(GL_ACCUM, 1);
    }
    blurPrimed = blur;
    if (m_context != nullptr) glXSwapBuffers(m_display, m_window);
    // Once a frame: a statistic is found by its name, which takes longer than finding a list.
    m_lists.Publish(m_stats);
    ReportGLError("Finish");
}

Texture DriverGL::GetFramebuffer() {
    Texture image;
    if (image.SetSize(m_viewport.width, m_viewport.height, 4) && image.pixels != nullptr) {
        glReadPixels(0, 0, image.width, image.height, GL_RGBA, GL_UNSIGNED_BYTE, image.pixels);
    }
    ReportGLError("GetFramebuffer");
    return image;
}

void DriverGL::SetupProjection(const Camera& camera) {
    GetOcclusion()->SetProjection(camera);
    glFrontFace(GL_CCW);
    m_state.CullFace(GL_BACK);
    m_state.Switch(Feature::CullFace, true);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    const double aspect = double{camera.aspect} * m_viewport.width / m_viewport.height;
    gluPerspective(camera.fov, aspect, camera.hith, camera.yon);
    glMatrixMode(GL_MODELVIEW);
    ReportGLError("SetupProjection");
}

Occlusion* DriverGL::GetOcclusion() {
    const bool hardware = GetBool(gl_settings::kHardwareOcclusion);
    if (m_occlusion && m_occlusionIsHardware == hardware) return m_occlusion.get();
    m_occlusionIsHardware = hardware;
    if (hardware) {
        m_occlusion = std::make_unique<OcclusionGL>();
    } else {
        m_occlusion = std::make_unique<Occlusion>();
    }
    return m_occlusion.get();
}

void DriverGL::LoadMatrix(const Matrix& modelView) {
    m_modelView = modelView;
    m_state.LoadMatrix(m_modelView);
    ReportGLError("LoadMatrix");
}

void DriverGL::CopyTexture(Texture* texture, int x, int y, int width, int height) {
    if (texture == nullptr) return;
    const int bottom = WindowHeight() - (y + height);
    SetupTexture(texture);
    texture->uploads.insert(&m_textures);
    glCopyTexImage2D(GL_TEXTURE_2D, 0, GL_RGB8, x, bottom, width, height, 0);
    ReportGLError("CopyTexture");
}
