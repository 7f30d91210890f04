// The byte stream between the two processes: every list is its length (64 bits) and its elements.
// The sender may have been led astray by its input: the receiver believes nothing.
#include "import/read/FlatModel.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "files/FileAccess.h"
#include "import/read/ChildProcess.h"

namespace {

constexpr std::uint64_t kMaxText = 4096;
constexpr std::uint64_t kMaxMaterials = 100'000;
constexpr std::uint64_t kMaxPictures = 10'000;
constexpr std::uint64_t kMaxPictureBytes = std::uint64_t{1} << 30;
constexpr std::uint64_t kEndMark = 0x50414c4c49580a1aU;
constexpr std::size_t kPieceBytes = std::size_t{4} << 20;

static_assert(sizeof(Eigen::Vector3d) == 3 * sizeof(double) &&
              sizeof(Corners) == 18 * sizeof(float));

class Sender {
public:
    explicit Sender(int out) : m_out(out) {}
    bool Good() const { return m_good; }

    template <class T>
    void Put(const T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        Bytes(&value, sizeof(T));
    }
    template <class List>
    void PutList(const List& list) {
        Put(std::uint64_t{list.size()});
        Bytes(list.data(), list.size() * sizeof(list[0]));
    }

private:
    int m_out;
    bool m_good = true;

    void Bytes(const void* bytes, std::size_t count) {
        m_good = m_good && WriteBytes(m_out, bytes, count);
    }
};

class Receiver {
public:
    explicit Receiver(ChildProcess& process) : m_process(process) {}

    template <class T>
    T Get() {
        T value{};
        if (m_state == Received::Whole && !m_process.Read(&value, sizeof(T))) {
            m_state = Received::Ended;
            value = {};
        }
        return value;
    }
    // A length that may be trusted.
    std::uint64_t GetLength(std::uint64_t most) {
        const auto length = Get<std::uint64_t>();
        Require(length <= most);
        return length <= most ? length : 0;
    }
    // Grows with what arrives, so that a length alone takes no memory.
    template <class List>
    void GetList(List& list, std::uint64_t most) {
        const std::uint64_t length = GetLength(most);
        constexpr std::size_t size = sizeof(list[0]);
        while (m_state == Received::Whole && list.size() < length) {
            const std::size_t before = list.size();
            const std::size_t more = std::min<std::size_t>(length - before, kPieceBytes / size);
            list.resize(before + more);
            if (!m_process.Read(&list[before], more * size)) m_state = Received::Ended;
        }
    }
    void Require(bool sane) {
        if (m_state == Received::Whole && !sane) m_state = Received::Damaged;
    }
    Received State() const { return m_state; }

private:
    ChildProcess& m_process;
    Received m_state = Received::Whole;
};

bool IsColour(const std::array<float, 4>& colour) {
    return std::ranges::all_of(colour, [](float c) { return c >= 0 && c <= 1; });
}

bool IsCorner(const Corner& corner) {
    return std::isfinite(corner.u) && std::isfinite(corner.v) && IsColour(corner.colour);
}

template <class Integer>
bool IsIndex(int index, Integer count) {
    return index >= 0 && static_cast<std::size_t>(index) < count;
}

bool IsSane(const Surface& surface, std::size_t materials) {
    const std::size_t count = surface.triangles.size();
    return count == surface.corners.size() && count == surface.materials.size() &&
           std::ranges::all_of(surface.positions, [](const auto& p) { return p.allFinite(); }) &&
           std::ranges::all_of(surface.triangles,
                               [&](const Triangle& triangle) {
                                   return std::ranges::all_of(triangle, [&](int corner) {
                                       return IsIndex(corner, surface.positions.size());
                                   });
                               }) &&
           std::ranges::all_of(
               surface.corners,
               [](const Corners& corners) { return std::ranges::all_of(corners, IsCorner); }) &&
           std::ranges::all_of(surface.materials, [&](int m) { return IsIndex(m, materials); });
}

void GetSurface(Receiver& in, std::uint64_t maxTriangles, Surface& surface) {
    in.GetList(surface.positions, 3 * maxTriangles);
    in.GetList(surface.triangles, maxTriangles);
    in.GetList(surface.corners, maxTriangles);
    in.GetList(surface.materials, maxTriangles);
}

void GetMaterials(Receiver& in, std::vector<ModelMaterial>& materials) {
    for (std::uint64_t left = in.GetLength(kMaxMaterials);
         left > 0 && in.State() == Received::Whole; --left) {
        ModelMaterial& material = materials.emplace_back();
        in.GetList(material.name, kMaxText);
        material.colour = in.Get<std::array<float, 4>>();
        material.picture = in.Get<std::int32_t>();
        in.Require(IsColour(material.colour));
    }
}

bool HasAllPixels(const FlatPicture& picture) {
    if (picture.width == 0) return true;
    return picture.width > 0 && picture.height > 0 &&
           std::uint64_t{4} * static_cast<std::uint32_t>(picture.width) *
                   static_cast<std::uint32_t>(picture.height) ==
               picture.bytes.size();
}

void GetPictures(Receiver& in, std::vector<FlatPicture>& pictures) {
    std::uint64_t bytesLeft = kMaxPictureBytes;
    for (std::uint64_t left = in.GetLength(kMaxPictures); left > 0 && in.State() == Received::Whole;
         --left) {
        FlatPicture& picture = pictures.emplace_back();
        in.GetList(picture.name, kMaxText);
        in.GetList(picture.bytes, bytesLeft);
        bytesLeft -= picture.bytes.size();
        picture.width = in.Get<std::int32_t>();
        picture.height = in.Get<std::int32_t>();
        picture.opaque = in.Get<std::int32_t>();
        in.Require(HasAllPixels(picture));
    }
}

}  // namespace

bool SendModel(int out, const FlatModel& model) {
    Sender to(out);
    to.PutList(model.failure);
    to.PutList(model.surface.positions);
    to.PutList(model.surface.triangles);
    to.PutList(model.surface.corners);
    to.PutList(model.surface.materials);
    to.Put(std::uint64_t{model.materials.size()});
    for (const ModelMaterial& material : model.materials) {
        to.PutList(material.name);
        to.Put(material.colour);
        to.Put(std::int32_t{material.picture});
    }
    to.Put(std::uint64_t{model.pictures.size()});
    for (const FlatPicture& picture : model.pictures) {
        to.PutList(picture.name);
        to.PutList(picture.bytes);
        to.Put(picture.width);
        to.Put(picture.height);
        to.Put(picture.opaque);
    }
    to.Put(kEndMark);
    return to.Good();
}

Received ReceiveModel(ChildProcess& process, std::int64_t maxTriangles, FlatModel& model) {
    Receiver in(process);
    in.GetList(model.failure, kMaxText);
    GetSurface(in, static_cast<std::uint64_t>(maxTriangles), model.surface);
    GetMaterials(in, model.materials);
    GetPictures(in, model.pictures);
    in.Require(in.Get<std::uint64_t>() == kEndMark);
    in.Require(IsSane(model.surface, model.materials.size()));
    in.Require(std::ranges::all_of(model.materials, [&](const ModelMaterial& material) {
        return material.picture == -1 || IsIndex(material.picture, model.pictures.size());
    }));
    return in.State();
}
