// Triangles over the same three vertices.
#pragma once

#include <vector>

#include "import/Model.h"

// Marks those to leave out. Of those that face the same way the first stays. Of two that face
// opposite ways both stay where two bodies touch in them: there every edge of the region of such
// pairs meets another pair or the bodies' other triangles. Where the region ends freely, or closes
// in itself, it is one sheet that the file shows from both sides.
std::vector<char> FindDuplicates(const std::vector<Triangle>& triangles, int vertexCount);
