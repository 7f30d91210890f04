// Small changes to a surface whose neighbours are known that leave every point of it in place: no
// two edges over the same vertices, no triangles without area.
#pragma once

#include <vector>

#include "import/repair/HalfEdges.h"

// A triangle is a sliver when its height is below this share of its longest edge.
constexpr double kSliverShare = 1e-6;
bool IsSliver(const Eigen::Vector3d& a, const Eigen::Vector3d& b, const Eigen::Vector3d& c);

// Puts a vertex in the middle of every edge of which a half-edge is marked.
void SplitMarked(std::vector<char> marked, Surface& surface, HalfEdges& mesh);

// Puts a vertex on all but one of the edges that join the same two vertices, where a surface
// touches itself along an edge. Gives their number.
int SplitDoubleEdges(Surface& surface, HalfEdges& mesh);

// Turns the longest edge of each sliver, so that its triangle and its neighbour share the
// neighbour's area; one at a border is left out. Gives the number that could not be helped.
// `mesh` is of no use afterwards.
int TurnSlivers(Surface& surface, HalfEdges& mesh);
