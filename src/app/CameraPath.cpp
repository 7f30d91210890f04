// Path parameters from marker objects, and the path itself.
// Knows nothing of who flies.
#include "app/CameraPath.h"

#include <cmath>
#include <string_view>

#include "scene/Object.h"

namespace {

// How far ahead on the path the flight direction is taken, in path time.
constexpr double kLookAhead = 0.01;

void ReadVector(const Object& marker, std::string_view child, dvec3& vector) {
    if (const Object* found = marker.Child(child)) vector = dvec3(found->point);
}

dvec3 PointAt(const PathParameters& path, double time) {
    const auto swing = [time](double centre, double amplitude, double speed, double phase) {
        return centre + amplitude * std::sin(speed * time + phase);
    };
    return {swing(path.centre.x, path.amplitude.x, path.speed.x, path.phase.x),
            swing(path.centre.y, path.amplitude.y, path.speed.y, path.phase.y),
            swing(path.centre.z, path.amplitude.z, path.speed.z, path.phase.z)};
}

}  // namespace

PathParameters ReadPath(const Object* marker, const PathParameters& defaults) {
    PathParameters path = defaults;
    if (!marker) return path;
    ReadVector(*marker, "c", path.centre);
    ReadVector(*marker, "k", path.speed);
    ReadVector(*marker, "p", path.amplitude);
    ReadVector(*marker, "o", path.phase);
    ReadVector(*marker, "t", path.aim);
    return path;
}

PathView FollowPath(const PathParameters& path, double time, const dvec3& aimPoint) {
    const dvec3 pos = PointAt(path, time);
    const dvec3 ahead = PointAt(path, time + kLookAhead);
    return {pos, pos + path.aim.x * (path.centre - pos) + path.aim.y * (ahead - pos) +
                     path.aim.z * (aimPoint - pos)};
}
