#include "import/ImportFiles.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "geometry/Codec.h"
#include "geometry/FileHeader.h"
#include "import/paint/SceneSky.h"
#include "import/paint/SceneText.h"
#include "shared/WrittenFile.h"

namespace {

namespace fs = std::filesystem;

// A folder beside the results that they are written into first. Gone, with what it holds, in the
// end.
class Workshop {
public:
    explicit Workshop(const fs::path& folder) : m_folder(folder) {
        std::error_code error;
        m_made = fs::create_directories(folder, error);
        std::string pattern = (folder / ".import-XXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr) m_path = pattern;
    }
    ~Workshop() {
        std::error_code error;
        if (!m_path.empty()) fs::remove_all(m_path, error);
        if (m_made && !m_done) fs::remove(m_folder, error);
    }
    Workshop(const Workshop&) = delete;
    Workshop& operator=(const Workshop&) = delete;

    bool Works() const { return !m_path.empty(); }
    std::string File(const std::string& name) {
        m_names.push_back(name);
        return m_path / name;
    }
    // Names the file as it would have come to be.
    Failure Refusal(const std::string& name) const {
        return {"could not write " + (m_folder / name).string()};
    }
    Outcome Deliver() {
        for (const std::string& name : m_names) {
            std::error_code error;
            if (fs::is_directory(m_folder / name, error))
                return Failure{"there is a folder " + (m_folder / name).string()};
        }
        for (const std::string& name : m_names) {
            std::error_code error;
            fs::rename(m_path / name, m_folder / name, error);
            if (error) return Failure{(m_folder / name).string() + ": " + error.message()};
        }
        m_done = true;
        return Success();
    }

private:
    fs::path m_folder;
    fs::path m_path;
    std::vector<std::string> m_names;
    bool m_made = false;
    bool m_done = false;
};

Outcome WriteMesh(Workshop& workshop, const std::string& name, const GeoImage& mesh) {
    const Outcome written =
        WriteWhole(workshop.File(name), MeshHeader::kWrittenLength,
                   [&](const std::string& path) { return mesh.Save(path, CODEC_PYRAMID); });
    return written || written.Why().line.empty() ? written : workshop.Refusal(name);
}

Outcome WriteTexture(Workshop& workshop, const std::string& name, const Texture& texture) {
    const Outcome written =
        WriteWhole(workshop.File(name), TextureHeader::kWrittenLength,
                   [&](const std::string& path) { return texture.Save(path, CODEC_PYRAMID); });
    return written || written.Why().line.empty() ? written : workshop.Refusal(name);
}

Outcome WriteText(Workshop& workshop, const std::string& name, const std::string& text) {
    std::ofstream file(workshop.File(name));
    file << text;
    file.close();
    if (!file) return workshop.Refusal(name);
    return Success();
}

Outcome WriteParts(Workshop& workshop, const std::string& name,
                   const std::vector<NamedModel>& models, std::vector<SceneModel>& scene) {
    int number = 0;
    for (const NamedModel& named : models) {
        scene.push_back({named.name, {}, named.model.bounds});
        for (const ImportedPart& part : named.model.parts) {
            const std::string mesh = PartName(name, number++);
            ScenePart& described = scene.back().parts.emplace_back(
                ScenePart{mesh, std::nullopt, part.colour, part.alpha, part.closed});
            Outcome written = WriteMesh(workshop, mesh, part.mesh);
            if (written && part.texture) {
                described.texture = mesh + "-texture";
                written = WriteTexture(workshop, *described.texture, *part.texture);
            }
            if (!written) return written;
        }
    }
    return Success();
}

}  // namespace

Outcome CheckFolder(const std::string& folder) {
    std::error_code error;
    if (!fs::exists(folder, error)) return Success();
    if (!fs::is_directory(folder, error)) return Failure{folder + " is no folder"};
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        return Failure{folder + ": " + std::strerror(errno)};
    return Success();
}

std::string PartName(const std::string& name, int part) {
    char number[16];
    std::snprintf(number, sizeof number, "-%02d", part);
    return name + number;
}

Outcome WriteImport(const std::string& folder, const std::string& name,
                    const std::vector<NamedModel>& models) {
    Workshop workshop(folder);
    if (!workshop.Works()) return Failure{folder + ": " + std::strerror(errno)};
    std::vector<SceneModel> shown;
    Outcome written = WriteParts(workshop, name, models, shown);
    if (!written) return written;
    const Scene scene = MakeScene(name, shown);
    for (const auto& write :
         {std::function<Outcome()>(
              [&] { return WriteMesh(workshop, SkyMeshName(name), MakeSkyMesh(scene.skyRadius)); }),
          std::function<Outcome()>(
              [&] { return WriteTexture(workshop, SkyTextureName(name), MakeSkyTexture()); }),
          std::function<Outcome()>([&] { return WriteText(workshop, name, scene.text); })}) {
        written = write();
        if (!written) return written;
    }
    return workshop.Deliver();
}
