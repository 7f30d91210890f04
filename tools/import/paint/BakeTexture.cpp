// Sampling in bands of rows, one a thread, and the spreading of colours into what is not seen.
#include "import/paint/BakeTexture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <thread>
#include <vector>

namespace {

// Texels that colours spread; beyond, the mean of all does, which only small mipmaps show.
constexpr int kSpread = 8;
constexpr int kSamples = 2;  // along each side of a texel

using Texel = std::array<std::uint8_t, 4>;
static_assert(sizeof(Texel) == 4);

std::uint8_t Byte(double share) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(share, 0.0, 1.0) * 255));
}

class Baking {
public:
    Baking(const BakeOptions& options, const Paint& paint, const Locate& locate)
        : m_options(options), m_paint(paint), m_locate(locate) {}

    std::unique_ptr<Texture> Run();

private:
    const BakeOptions& m_options;
    const Paint& m_paint;
    const Locate& m_locate;
    std::vector<Texel> m_texels;  // row by row, the lowest first

    void SampleRows(int begin, int end);
    Texel Sample(int column, int row) const;
    void SampleAll();
    void Spread();
    Texel NeighboursMean(int texel, const std::vector<bool>& filled) const;
    int Neighbour(int texel, int right, int up) const;  // -1: beyond the border
    void FillWithMean(const std::vector<int>& texels);
    std::unique_ptr<Texture> Packed() const;
};

Texel Baking::Sample(int column, int row) const {
    std::array<double, 3> seen = {};
    double alpha = 0;
    for (int i = 0; i < kSamples * kSamples; ++i) {
        const double across = column + (i % kSamples + 0.5) / kSamples;
        const double up = row + (i / kSamples + 0.5) / kSamples;
        const Rgba colour = m_paint.At(m_locate(across / m_options.size, up / m_options.size));
        for (std::size_t c = 0; c < 3; ++c)
            seen[c] += double{colour[3]} * double{colour[c]};
        alpha += double{colour[3]};
    }
    if (alpha <= 0) return {};
    return {Byte(seen[0] / alpha), Byte(seen[1] / alpha), Byte(seen[2] / alpha),
            Byte(alpha / (kSamples * kSamples))};
}

void Baking::SampleRows(int begin, int end) {
    for (int row = begin; row < end; ++row)
        for (int column = 0; column < m_options.size; ++column) {
            const auto texel = static_cast<std::size_t>(row * m_options.size + column);
            m_texels[texel] = Sample(column, row);
        }
}

void Baking::SampleAll() {
    const int bands = std::clamp(m_options.threads, 1, m_options.size);
    const auto start = [&](int band) {
        return static_cast<int>(std::int64_t{m_options.size} * band / bands);
    };
    std::vector<std::jthread> others;
    for (int band = 1; band < bands; ++band)
        others.emplace_back([&, band] { SampleRows(start(band), start(band + 1)); });
    SampleRows(0, start(1));
}

int Baking::Neighbour(int texel, int right, int up) const {
    const int size = m_options.size;
    int column = texel % size + right;
    int row = texel / size + up;
    if (m_options.wrapColumns) column = (column + size) % size;
    if (m_options.wrapRows) row = (row + size) % size;
    const bool inside = column >= 0 && column < size && row >= 0 && row < size;
    return inside ? row * size + column : -1;
}

// Alpha 255 marks a mean of at least one.
Texel Baking::NeighboursMean(int texel, const std::vector<bool>& filled) const {
    std::array<int, 3> sum = {};
    int count = 0;
    for (int i = 0; i < 9; ++i) {
        const int neighbour = Neighbour(texel, i % 3 - 1, i / 3 - 1);
        if (neighbour < 0 || !filled[static_cast<std::size_t>(neighbour)]) continue;
        ++count;
        for (std::size_t c = 0; c < 3; ++c)
            sum[c] += m_texels[static_cast<std::size_t>(neighbour)][c];
    }
    if (count == 0) return {};
    const auto mean = [&](std::size_t c) { return static_cast<std::uint8_t>(sum[c] / count); };
    return {mean(0), mean(1), mean(2), 255};
}

void Baking::Spread() {
    std::vector<bool> filled(m_texels.size());
    std::vector<int> empty;
    for (std::size_t i = 0; i < m_texels.size(); ++i) {
        filled[i] = m_texels[i][3] > 0;
        if (!filled[i]) empty.push_back(static_cast<int>(i));
    }
    if (empty.size() == m_texels.size()) return;
    const std::vector<int> unseen = empty;
    for (int step = 0; step < kSpread; ++step) {
        std::vector<int> fresh;
        std::erase_if(empty, [&](int texel) {
            Texel& at = m_texels[static_cast<std::size_t>(texel)];
            at = NeighboursMean(texel, filled);
            if (at[3] > 0) fresh.push_back(texel);
            return at[3] > 0;
        });
        for (const int texel : fresh)
            filled[static_cast<std::size_t>(texel)] = true;
    }
    FillWithMean(empty);
    for (const int texel : unseen)
        m_texels[static_cast<std::size_t>(texel)][3] = 0;
}

void Baking::FillWithMean(const std::vector<int>& texels) {
    std::array<std::int64_t, 3> sum = {};
    std::int64_t count = 0;
    for (const Texel& texel : m_texels) {
        if (texel[3] == 0) continue;
        ++count;
        for (std::size_t c = 0; c < 3; ++c)
            sum[c] += texel[c];
    }
    const auto mean = [&](std::size_t c) { return static_cast<std::uint8_t>(sum[c] / count); };
    for (const int texel : texels)
        m_texels[static_cast<std::size_t>(texel)] = {mean(0), mean(1), mean(2), 0};
}

std::unique_ptr<Texture> Baking::Packed() const {
    const bool opaque =
        std::ranges::all_of(m_texels, [](const Texel& texel) { return texel[3] == 255; });
    auto texture = std::make_unique<Texture>();
    const int channels = opaque ? 3 : 4;
    if (!texture->SetSize(m_options.size, m_options.size, channels)) return nullptr;
    std::uint8_t* next = texture->pixels;
    for (const Texel& texel : m_texels)
        next = std::copy_n(texel.begin(), channels, next);
    return texture;
}

std::unique_ptr<Texture> Baking::Run() {
    m_texels.resize(static_cast<std::size_t>(m_options.size) *
                    static_cast<std::size_t>(m_options.size));
    SampleAll();
    Spread();
    return Packed();
}

}  // namespace

Result<std::unique_ptr<Texture>> BakeTexture(const BakeOptions& options, const Paint& paint,
                                             const Locate& locate) {
    constexpr int kMaxSide = 8192;
    if (options.size < 1 || options.size > kMaxSide) {
        return Failure{"a texture has 1 to " + std::to_string(kMaxSide) + " texels along a side"};
    }
    std::unique_ptr<Texture> texture = Baking(options, paint, locate).Run();
    if (!texture) return Failure{"no memory for a texture"};
    return texture;
}

Alpha AlphaOf(const Texture& texture) {
    if (texture.channels != 2 && texture.channels != 4) return Alpha::Opaque;
    constexpr int kClear = 32;
    constexpr int kSolid = 224;
    constexpr int kTranslucentShare = 20;  // one texel in so many; rims of holes are fewer
    const int count = texture.width * texture.height;
    int between = 0;
    bool opaque = true;
    for (int i = 0; i < count; ++i) {
        const int alpha = texture.pixels[(i + 1) * texture.channels - 1];
        if (alpha >= kClear && alpha < kSolid) ++between;
        opaque = opaque && alpha == 255;
    }
    if (opaque) return Alpha::Opaque;
    return between > count / kTranslucentShare ? Alpha::Translucent : Alpha::Holes;
}
