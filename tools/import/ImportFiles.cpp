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
        for (fs::path at = folder; !at.empty() && !fs::exists(at, error); at = at.parent_path())
            m_made.push_back(at);
        fs::create_directories(folder, error);
        std::string pattern = (folder / ".import-XXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr) m_path = pattern;
    }
    ~Workshop() {
        std::error_code error;
        if (!m_path.empty()) fs::remove_all(m_path, error);
        for (const fs::path& made : m_made) {
            if (!m_done) fs::remove(made, error);
        }
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
        for (std::size_t i = 0; i < m_names.size(); ++i) {
            const Outcome replaced = Replace(i);
            if (replaced) continue;
            while (i-- > 0)
                Restore(i);
            return replaced;
        }
        m_done = true;
        return Success();
    }

private:
    fs::path OldFile(std::size_t i) const { return m_path / ("old-" + std::to_string(i)); }
    // Puts the old file of that name aside and the new one in its place.
    Outcome Replace(std::size_t i) const {
        const fs::path target = m_folder / m_names[i];
        std::error_code none, error;
        fs::rename(target, OldFile(i), none);
        fs::rename(m_path / m_names[i], target, error);
        if (!error) return Success();
        Restore(i);
        return Failure{target.string() + ": " + error.message()};
    }
    void Restore(std::size_t i) const {
        std::error_code error;
        fs::remove(m_folder / m_names[i], error);
        fs::rename(OldFile(i), m_folder / m_names[i], error);
    }

    fs::path m_folder;
    fs::path m_path;
    std::vector<std::string> m_names;
    std::vector<fs::path> m_made;  // folders that were not there, the deepest first
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
    fs::path at = folder;
    while (!at.empty() && !fs::exists(at, error))
        at = at.parent_path();
    if (at.empty()) at = ".";
    if (!fs::is_directory(at, error)) return Failure{folder + ": " + at.string() + " is no folder"};
    if (access(at.c_str(), W_OK | X_OK) != 0) return Failure{folder + ": " + std::strerror(errno)};
    return Success();
}

bool IsOfImport(const std::string& path, const std::string& folder, const std::string& name) {
    std::error_code error;
    const fs::path file = fs::weakly_canonical(path, error);
    if (file.parent_path() != fs::weakly_canonical(fs::path(folder) / name, error).parent_path())
        return false;
    const std::string base = file.filename();
    return base == name || (base.starts_with(name + '-') && base.find('.') == std::string::npos);
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
