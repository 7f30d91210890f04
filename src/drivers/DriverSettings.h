// Names of the settings that every driver has, and of the capabilities that drivers publish.
#pragma once

namespace driver_settings {
inline constexpr const char* kGroup = "D";
inline constexpr const char* kWireframe = "D_wireframe";
inline constexpr const char* kShadowOffset = "D_shadowoffset";
}  // namespace driver_settings

namespace driver_capabilities {
inline constexpr const char* kShadows = "shadows";
inline constexpr const char* kMaxLights = "maxlights";
inline constexpr const char* kMaxAnisotropy = "max anisotropy";
}  // namespace driver_capabilities
