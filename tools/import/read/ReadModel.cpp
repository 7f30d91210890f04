// Reading in two processes: one asks the library, the other checks what comes.
#include "import/read/ReadModel.h"

#include <assimp/Importer.hpp>
#include <assimp/config.h>
#include <assimp/importerdesc.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>

#include "import/read/ChildProcess.h"
#include "import/read/FlatModel.h"
#include "import/read/ModelPictures.h"
#include "import/read/PlyCheck.h"
#include "import/read/SceneFlattening.h"

namespace {

constexpr std::size_t kLongestReason = 200;

FlatModel Failed(const std::string& reason) {
    FlatModel model;
    const bool unknown = reason.starts_with("No suitable reader");
    model.failure = unknown ? "no known model format" : reason.substr(0, kLongestReason);
    return model;
}

bool HasLinearColours(const Assimp::Importer& importer) {
    const int index = importer.GetPropertyInteger("importerIndex", -1);
    const aiImporterDesc* format =
        index < 0 ? nullptr : importer.GetImporterInfo(static_cast<std::size_t>(index));
    return format && std::strstr(format->mName, "glTF2");
}

// No step that welds, smooths or reorders: the repair does that, and knows why.
constexpr unsigned kSteps = aiProcess_Triangulate | aiProcess_TransformUVCoords;

FlatModel ReadWithLibrary(const std::string& path, const ReadLimits& limits) {
    try {
        if (const std::string reason = WhyNoPly(path); !reason.empty()) return Failed(reason);
        Assimp::Importer importer;
        importer.SetPropertyBool(AI_CONFIG_IMPORT_NO_SKELETON_MESHES, true);
        const aiScene* scene = importer.ReadFile(path, kSteps);
        if (!scene) return Failed(importer.GetErrorString());
        return FlattenScene(*scene, {limits.triangles, HasLinearColours(importer)});
    } catch (const std::exception& error) {
        return Failed(error.what());
    }
}

// Why nothing can be read at the path; empty where there is a file.
std::string WhyNoFile(const std::string& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (error) return error.message();
    if (std::filesystem::is_directory(status)) return "it is a folder";
    if (!std::filesystem::is_regular_file(status)) return "it is not a regular file";
    if (std::filesystem::file_size(path, error) == 0) return "it is empty";
    return "";
}

// Paths, names in files and messages of libraries may hold line ends and escapes of terminals.
std::string OneLine(std::string text) {
    std::ranges::replace_if(
        text, [](unsigned char c) { return c < ' ' || c == 127; }, ' ');
    return text;
}

Failure NotRead(const std::string& path, const std::string& reason) {
    return {OneLine(path + ": the file could not be read: " + reason)};
}

}  // namespace

Result<Model> ReadModel(const std::string& path, const ReadLimits& limits) {
    if (const std::string reason = WhyNoFile(path); !reason.empty()) return NotRead(path, reason);
    FlatModel flat;
    {
        ChildProcess process({limits.memory, limits.seconds},
                             [&](int out) { SendModel(out, ReadWithLibrary(path, limits)); });
        const Received received = ReceiveModel(process, limits.triangles, flat);
        const std::string end = received == Received::Ended ? process.WhyEnded() : "";
        if (!end.empty()) return NotRead(path, end);
        if (received != Received::Whole) return NotRead(path, "it is damaged");
    }
    if (!flat.failure.empty()) return NotRead(path, flat.failure);
    Model model;
    model.surface = std::move(flat.surface);
    model.materials = std::move(flat.materials);
    AddPictures(path, flat.pictures, model);
    std::ranges::transform(model.warnings, model.warnings.begin(), OneLine);
    return model;
}
