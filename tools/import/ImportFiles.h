// Everything that an import leaves in its folder, all of it or nothing.
#pragma once

#include <string>
#include <vector>

#include "import/ImportModel.h"

struct NamedModel {
    std::string name;  // of its parent object
    ImportedModel model;
};

// Whether the folder can be written into, or be made: asked before the work that fills it.
Outcome CheckFolder(const std::string& folder);

// Whether the path is one that WriteImport may write to.
bool IsOfImport(const std::string& path, const std::string& folder, const std::string& name);

// Writes the meshes NAME-00, NAME-01, ..., textures NAME-00-texture, ..., the sky and the scene
// NAME into the folder, which is made if need be. name and the models' names: as SceneName gives
// them. On failure nothing new is left and nothing that was there has changed.
Outcome WriteImport(const std::string& folder, const std::string& name,
                    const std::vector<NamedModel>& models);

// NAME-07: of all parts of an import, counted from 0 over all its models.
std::string PartName(const std::string& name, int part);
