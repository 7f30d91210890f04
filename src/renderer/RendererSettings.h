// Names of the renderer's settings, for all that read, set or toggle one. Ranges, initial values
// and descriptions stand with their declaration in Renderer.cpp.
#pragma once

namespace renderer_settings {
inline constexpr const char* kFeatures = "F";  // heads the features in a listing
inline constexpr const char* kBlend = "F_blend";
inline constexpr const char* kFunctors = "F_functs";  // kept for who sets it; nothing reads it
inline constexpr const char* kShadows = "F_shadows";

inline constexpr const char* kTweaks = "P";  // heads performance against quality
inline constexpr const char* kMaxDetail = "P_LODmax";
inline constexpr const char* kMaxSamples = "P_LODmaxPolys";
inline constexpr const char* kDetailScale = "P_LODscale";
inline constexpr const char* kCacheEntries = "P_LODcache";
inline constexpr const char* kCacheKilobytes = "P_LODcachesize";
inline constexpr const char* kCacheDrain = "P_LODdrain";
inline constexpr const char* kDetailSteps = "P_LODstep";
inline constexpr const char* kShaderBudget = "P_shaderDetail";
inline constexpr const char* kShadowDetail = "P_shadowLOD";
inline constexpr const char* kMaxShadowDetail = "P_LODmaxShadow";
inline constexpr const char* kMaxShadowSamples = "P_LODmaxShadowPolys";
inline constexpr const char* kMipmesh = "P_mipmesh";  // likewise: every level is made one way
inline constexpr const char* kOcclusion = "P_occlusion";
inline constexpr const char* kVirtualLights = "P_virtlights";

inline constexpr const char* kDebugging = "R";  // heads the rest
inline constexpr const char* kRecordVisibility = "R_recordvis";
}  // namespace renderer_settings
