// Interpolation over triangles and between pixels. Every point is looked up on its own triangle,
// so nothing is ever interpolated across a seam of the texture coordinates.
#include "import/paint/Paint.h"

#include <Eigen/Geometry>
#include <cmath>
#include <cstddef>

namespace {

constexpr Rgba kGrey = {0.8F, 0.8F, 0.8F, 1};

Rgba Product(const Rgba& a, const Rgba& b) {
    return {a[0] * b[0], a[1] * b[1], a[2] * b[2], a[3] * b[3]};
}

// Mean of colours weighted by their alpha, so that what is not seen does not colour its
// neighbours; and of their alpha.
class Blend {
public:
    void Add(const Rgba& colour, double weight) {
        for (std::size_t i = 0; i < 3; ++i) {
            m_seen[i] += weight * double{colour[3]} * double{colour[i]};
            m_all[i] += weight * double{colour[i]};
        }
        m_alpha += weight * double{colour[3]};
        m_weight += weight;
    }
    // Needs a weight above 0.
    Rgba Result() const {
        Rgba colour;
        for (std::size_t i = 0; i < 3; ++i) {
            colour[i] = static_cast<float>(m_alpha > 0 ? m_seen[i] / m_alpha : m_all[i] / m_weight);
        }
        colour[3] = static_cast<float>(m_alpha / m_weight);
        return colour;
    }
    bool IsSeen() const { return m_alpha > 0; }

private:
    std::array<double, 3> m_seen = {};
    std::array<double, 3> m_all = {};
    double m_alpha = 0;
    double m_weight = 0;
};

Rgba Pixel(const Texture& picture, int column, int row) {
    const std::ptrdiff_t index = std::ptrdiff_t{row} * picture.width + column;
    const std::uint8_t* pixel = picture.pixels + index * picture.channels;
    const auto value = [&](int channel) { return static_cast<float>(pixel[channel]) / 255; };
    switch (picture.channels) {
        case 1:
            return {value(0), value(0), value(0), 1};
        case 2:
            return {value(0), value(0), value(0), value(1)};
        case 3:
            return {value(0), value(1), value(2), 1};
        default:
            return {value(0), value(1), value(2), value(3)};
    }
}

// Two neighbouring pixels along a side that repeats, and the share of the second.
struct Pair {
    int first;
    int second;
    double share;
};

Pair PixelsAt(double coordinate, int size) {
    const double place = (coordinate - std::floor(coordinate)) * size - 0.5;  // from -0.5
    const double before = std::floor(place);
    const int first = (static_cast<int>(before) + size) % size;
    return {first, (first + 1) % size, place - before};
}

Rgba PictureAt(const Texture& picture, double u, double v) {
    const Pair columns = PixelsAt(u, picture.width);
    const Pair rows = PixelsAt(v, picture.height);
    Blend blend;
    blend.Add(Pixel(picture, columns.first, rows.first), (1 - columns.share) * (1 - rows.share));
    blend.Add(Pixel(picture, columns.second, rows.first), columns.share * (1 - rows.share));
    blend.Add(Pixel(picture, columns.first, rows.second), (1 - columns.share) * rows.share);
    blend.Add(Pixel(picture, columns.second, rows.second), columns.share * rows.share);
    return blend.Result();
}

double AreaOf(const Surface& part, std::size_t triangle) {
    const auto corner = [&](std::size_t k) -> const Eigen::Vector3d& {
        return part.positions[static_cast<std::size_t>(part.triangles[triangle][k])];
    };
    return (corner(1) - corner(0)).cross(corner(2) - corner(0)).norm() / 2;
}

}  // namespace

Rgba Paint::At(const Place& place) const {
    const auto triangle = static_cast<std::size_t>(place.triangle);
    const int index = m_part.materials[triangle];
    if (index == kHoleMaterial) return {0, 0, 0, 0};
    if (index < 0) return m_caps;
    double u = 0;
    double v = 0;
    std::array<double, 4> tint = {};
    for (std::size_t k = 0; k < 3; ++k) {
        const Corner& corner = m_part.corners[triangle][k];
        const double weight = place.weights[k];
        u += weight * double{corner.u};
        v += weight * double{corner.v};
        for (std::size_t i = 0; i < 4; ++i)
            tint[i] += weight * double{corner.colour[i]};
    }
    const ModelMaterial& material = m_model.materials[static_cast<std::size_t>(index)];
    Rgba colour = material.colour;
    for (std::size_t i = 0; i < 4; ++i)
        colour[i] *= static_cast<float>(tint[i]);
    if (material.picture < 0) return colour;
    return Product(colour,
                   PictureAt(*m_model.pictures[static_cast<std::size_t>(material.picture)], u, v));
}

Rgba MeanColour(const Surface& part, const Model& model) {
    const Paint paint(part, model, {0, 0, 0, 0});
    Blend blend;
    for (std::size_t i = 0; i < part.triangles.size(); ++i) {
        constexpr double third = 1.0 / 3;
        const Place centre{static_cast<int>(i), {third, third, third}};
        blend.Add(paint.At(centre), AreaOf(part, i));
    }
    if (!blend.IsSeen()) return kGrey;
    Rgba mean = blend.Result();
    mean[3] = 1;
    return mean;
}

std::optional<Rgba> PlainColour(const Surface& part, const Model& model) {
    std::optional<Rgba> plain;
    for (std::size_t i = 0; i < part.triangles.size(); ++i) {
        const int index = part.materials[i];
        if (index == kHoleMaterial) return std::nullopt;
        if (index < 0) continue;
        const ModelMaterial& material = model.materials[static_cast<std::size_t>(index)];
        if (material.picture >= 0) return std::nullopt;
        for (const Corner& corner : part.corners[i]) {
            const Rgba colour = Product(material.colour, corner.colour);
            if (plain && *plain != colour) return std::nullopt;
            plain = colour;
        }
    }
    return plain.value_or(kGrey);
}
