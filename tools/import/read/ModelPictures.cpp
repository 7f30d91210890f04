// Names in model files come from other machines: backslashes, drives, blanks as %20, other case.
#include "import/read/ModelPictures.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <optional>
#include <span>
#include <utility>

#include "shared/PictureFile.h"

namespace {

namespace fs = std::filesystem;

// All pictures of one model together, unpacked.
constexpr std::int64_t kMaxPixelBytes = std::int64_t{1} << 30;

using Picture = std::unique_ptr<Texture>;

bool IsFile(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

// %20 and the like, as in addresses.
std::string Unescaped(const std::string& name) {
    std::string text;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool escape = name[i] == '%' && i + 2 < name.size() &&
                            std::isxdigit(static_cast<unsigned char>(name[i + 1])) &&
                            std::isxdigit(static_cast<unsigned char>(name[i + 2]));
        text += escape ? static_cast<char>(std::stoi(name.substr(i + 1, 2), nullptr, 16)) : name[i];
        if (escape) i += 2;
    }
    return text;
}

std::string Lower(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::optional<fs::path> InAnyCase(const fs::path& folder, const std::string& name) {
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        if (Lower(at->path().filename()) == Lower(name) && IsFile(at->path())) return at->path();
    return std::nullopt;
}

std::optional<fs::path> FindPicture(const fs::path& folder, const std::string& name) {
    std::string slashed = name;
    std::ranges::replace(slashed, '\\', '/');
    for (const std::string& spelling : {name, slashed, Unescaped(slashed)})
        for (const fs::path& path : {folder / spelling, folder / fs::path(spelling).filename()})
            if (IsFile(path)) return path;
    return InAnyCase(folder.empty() ? "." : folder, fs::path(Unescaped(slashed)).filename());
}

Result<Picture> Raw(const FlatPicture& source) {
    auto texture = std::make_unique<Texture>();
    if (!texture->SetSize(source.width, source.height, 4)) return Failure{"too large"};
    const std::size_t row = std::size_t{4} * static_cast<std::size_t>(source.width);
    for (std::size_t y = 0; y < source.bytes.size() / row; ++y)
        std::copy_n(source.bytes.end() - static_cast<std::ptrdiff_t>((y + 1) * row), row,
                    texture->pixels + y * row);
    return texture;
}

Result<Picture> Read(const fs::path& folder, const FlatPicture& source) {
    if (source.width > 0) return Raw(source);
    if (!source.bytes.empty()) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(source.bytes.data());
        return ReadPicture(std::span(bytes, source.bytes.size()));
    }
    const std::optional<fs::path> path = FindPicture(folder, source.name);
    if (!path) return Failure{"not found"};
    return ReadPicture(path->string());
}

std::int64_t SizeOf(const Texture& texture) {
    return std::int64_t{texture.channels} * texture.width * texture.height;
}

void DropAlpha(Texture& texture) {
    const int kept = texture.channels - 1;
    if (kept != 1 && kept != 3) return;
    Texture opaque;
    if (!opaque.SetSize(texture.width, texture.height, kept)) return;
    for (std::int64_t i = 0; i < std::int64_t{texture.width} * texture.height; ++i)
        std::copy_n(texture.pixels + i * texture.channels, kept, opaque.pixels + i * kept);
    texture.TakeContents(opaque);
}

}  // namespace

void AddPictures(const std::string& modelPath, const std::vector<FlatPicture>& pictures,
                 Model& model) {
    const fs::path folder = fs::path(modelPath).parent_path();
    std::vector<int> indexOf(pictures.size(), -1);
    std::int64_t left = kMaxPixelBytes;
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        Result<Picture> picture = Read(folder, pictures[i]);
        if (picture && SizeOf(**picture) > left) picture = Failure{"too many pictures"};
        if (!picture) {
            model.warnings.push_back(modelPath + ": picture " + pictures[i].name +
                                     " is left out: " + picture.Why().line);
            continue;
        }
        left -= SizeOf(**picture);
        if (pictures[i].opaque) DropAlpha(**picture);
        indexOf[i] = static_cast<int>(model.pictures.size());
        model.pictures.push_back(std::move(*picture));
    }
    for (ModelMaterial& material : model.materials)
        if (material.picture >= 0)
            material.picture = indexOf[static_cast<std::size_t>(material.picture)];
}
