// Grids of the program back to triangles for other programs.
#pragma once

#include <string>
#include <vector>

#include "shared/Result.h"

// Writes the mesh files (one at least) into one file, whose ending, in small or capital letters, is
// its format: ply, obj, stl or glb. Meshes are named by their files, without the folder. On failure
// an older file stays as it was.
Outcome ExportMeshes(const std::vector<std::string>& meshes, const std::string& file);
