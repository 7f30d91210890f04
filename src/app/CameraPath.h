// Closed paths that cameras and lights fly along, described by marker objects of a room.
// Knows nothing of who flies.
#pragma once

#include "spatial/Vec3.h"

class Object;

// path(t) = centre + amplitude * sin(speed * t + phase), component by component.
struct PathParameters {
    dvec3 centre;
    dvec3 speed;      // radians per unit of path time
    dvec3 amplitude;  // world units
    dvec3 phase;      // radians
    dvec3 aim;        // weights of centre, flight direction and previous aim point
};

struct PathView {
    dvec3 pos;
    dvec3 aimPoint;
};

// The defaults, each replaced by the point vector of the marker's child "c", "k", "p", "o" or "t"
// where there is one. A null marker leaves the defaults.
PathParameters ReadPath(const Object* marker, const PathParameters& defaults);
// Where the path is at the time, and where one looks from there when one looked at aimPoint.
PathView FollowPath(const PathParameters& path, double time, const dvec3& aimPoint);
