// Textures of the OpenGL driver: uploaded once a context, bound on demand, dropped by Purge.
#include <GL/glu.h>

#include <GL/glext.h>

#include <algorithm>

#include "drivers/gl/DriverGL.h"
#include "drivers/gl/GLError.h"

namespace {

constexpr GLint kFilters[] = {GL_NEAREST,
                              GL_LINEAR,
                              GL_NEAREST_MIPMAP_NEAREST,
                              GL_LINEAR_MIPMAP_NEAREST,
                              GL_NEAREST_MIPMAP_LINEAR,
                              GL_LINEAR_MIPMAP_LINEAR};

// By number of channels - 1.
constexpr GLenum kPixelFormats[] = {GL_LUMINANCE, GL_LUMINANCE_ALPHA, GL_RGB, GL_RGBA};

// By quality level and number of channels - 1.
constexpr GLint kInternalFormats[3][4] = {
    {GL_LUMINANCE4, GL_LUMINANCE4_ALPHA4, GL_RGB4, GL_RGBA4},
    {GL_LUMINANCE, GL_LUMINANCE_ALPHA, GL_RGB, GL_RGBA},
    {GL_LUMINANCE8, GL_LUMINANCE8_ALPHA8, GL_RGB8, GL_RGBA8},
};

// Written as comparisons, so that a quality that is no number is the lowest.
int QualityLevel(float quality) {
    const float scaled = 3 * quality + 0.5F;
    if (scaled >= 2) return 2;
    return scaled >= 1 ? 1 : 0;
}

}  // namespace

void DriverGL::SetupTexture(Texture* texture) {
    // A texture that was loaded again is still current, but its image is the old one.
    const bool uploaded = texture == nullptr || texture->uploads.contains(&m_textures);
    if (!m_state.SetTexture(texture) && uploaded) return;
    if (texture == nullptr) {
        m_state.Switch(Feature::Texture, false);
        return;
    }
    SetTextureHandle(*texture);
    if (!texture->uploads.contains(&m_textures)) UploadImage(*texture);
    const int filter = texture->filter ? std::clamp(m_texFilter, 0, 1) : 0;
    const int levels = texture->WantsMipmaps() ? std::clamp(m_mipFilter, 0, 2) : 0;
    SetTextureEnv(kFilters[filter], kFilters[filter + 2 * levels]);
    m_state.Switch(Feature::Texture, true);
    ReportGLError("SetupTexture");
}

// The note of the upload is made even where OpenGL refuses the image: one report is enough.
void DriverGL::UploadImage(Texture& texture) const {
    const int channel = texture.channels - 1;
    if (texture.WantsMipmaps()) {
        gluBuild2DMipmaps(GL_TEXTURE_2D, texture.channels, texture.width, texture.height,
                          kPixelFormats[channel], GL_UNSIGNED_BYTE, texture.pixels);
    } else {
        glTexImage2D(GL_TEXTURE_2D, 0, kInternalFormats[QualityLevel(m_texQuality)][channel],
                     texture.width, texture.height, 0, kPixelFormats[channel], GL_UNSIGNED_BYTE,
                     texture.pixels);
    }
    texture.uploads.insert(&m_textures);
}

void DriverGL::SetTextureHandle(Texture& texture) {
    GLuint& name = m_textures[&texture];
    if (name == 0) {
        glGenTextures(1, &name);
        texture.uploads.clear();
    }
    glBindTexture(GL_TEXTURE_2D, name);
    ReportGLError("SetTextureHandle");
}

void DriverGL::SetTextureEnv(GLint magnification, GLint minification) const {
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, magnification);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, minification);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    if (m_hasAnisotropic) {
        glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_MAX_ANISOTROPY_EXT, m_maxAnisotropy);
    }
    ReportGLError("SetTextureEnv");
}

void DriverGL::Purge(Texture* texture) {
    const auto found = m_textures.find(texture);
    if (found != m_textures.end()) {
        if (found->second != 0) glDeleteTextures(1, &found->second);
        m_textures.erase(found);
    }
    m_state.ForgetTexture();
    ReportGLError("Purge", "Purge(Texture*)");
}
