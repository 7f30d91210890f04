// Names of the OpenGL driver's settings.
#pragma once

namespace gl_settings {
inline constexpr const char* kGroup = "GL";
inline constexpr const char* kTextureQuality = "GL_tex_quality";
inline constexpr const char* kTextureFilter = "GL_texfilt";
inline constexpr const char* kMipmapFilter = "GL_mipfilt";
inline constexpr const char* kDither = "GL_dither";
inline constexpr const char* kMotionBlur = "GL_mblur";
inline constexpr const char* kMotionBlurFactor = "GL_mblur%";
inline constexpr const char* kMostLists = "GL_dlistMax";
inline constexpr const char* kListBudget = "GL_dlistSize";
inline constexpr const char* kCacheShadows = "GL_dlistShadows";
inline constexpr const char* kLights = "GL_lights";
inline constexpr const char* kShadows = "GL_shadows";
inline constexpr const char* kShadowsVisible = "GL_shadows_visible";
inline constexpr const char* kDrawMethod = "GL_draw_method";
inline constexpr const char* kLineMethod = "GL_line_method";
inline constexpr const char* kShadowMethod = "GL_shadow_method";
inline constexpr const char* kAnisotropic = "GL_anisotropic";
inline constexpr const char* kHardwareOcclusion = "GL_hw_occlusion";
}  // namespace gl_settings
