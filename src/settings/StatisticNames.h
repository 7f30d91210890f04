// Names of the statistics that the renderer and the drivers keep and the frame loop prints.
#pragma once

namespace stat_names {
inline constexpr const char* kPasses = "NumPasses";
inline constexpr const char* kDrawn = "NumDrawn";
inline constexpr const char* kPolys = "NumPolys";
inline constexpr const char* kTraversed = "traversed objects";
inline constexpr const char* kRendered = "rendered objects";
inline constexpr const char* kCachedVisibility = "cached visibility";
inline constexpr const char* kCacheAccesses = "cache accesses";
inline constexpr const char* kCacheHits = "cache hits";
inline constexpr const char* kCacheEntries = "cache entries";
inline constexpr const char* kCacheSize = "cache size";
inline constexpr const char* kCachePurges = "cache purges";
inline constexpr const char* kShadowVolumes = "numShadowVolumes";
}  // namespace stat_names
