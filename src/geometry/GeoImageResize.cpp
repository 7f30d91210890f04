// Resampling of the grid to another resolution; all eight fields of a sample alike.
// Must not know which resolutions are asked for, nor why.
#include "geometry/GeoImage.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iostream>
#include <optional>
#include <utility>

#include "geometry/Float4.h"

namespace {

enum Filter : int { FilterNearest, FilterBilinear, FilterBlended };

constexpr float kFewest = 4;  // rows or columns of the smallest result
// Source positions are 20.12 fixed point: 4096 is one source sample.
constexpr int kFractionBits = 12;
constexpr std::int64_t kOne = 1 << kFractionBits;
// Output columns that share one table. Table and slots stay well within a first-level cache and
// take no memory from the heap.
constexpr std::int32_t kStripe = 128;
constexpr std::int32_t kSlots = kStripe * 3 / 2;
// Samples are addressed by bytes: the inner loops are too short for a shift each.
constexpr std::ptrdiff_t kSampleBytes = sizeof(GeoImageSample);

// A sample as two vectors: fields 0 to 3 and 4 to 7.
struct Fields {
    Float4 front;
    Float4 back;
};
static_assert(sizeof(Fields) == sizeof(GeoImageSample));

// Half by half: copied as a whole, the fields would take a detour through the stack.
Fields Load(const void* sample) {
    return {LoadFloat4(sample), LoadFloat4(static_cast<const char*>(sample) + sizeof(Float4))};
}

void Store(const Fields& fields, void* sample) {
    std::memcpy(sample, &fields.front, sizeof fields.front);
    std::memcpy(static_cast<char*>(sample) + sizeof fields.front, &fields.back, sizeof fields.back);
}

// Product by product, never a + (b - a) * w: the two round differently.
Fields Mix(const Fields& a, const Float4& weightA, const Fields& b, const Float4& weightB) {
    return {a.front * weightA + b.front * weightB, a.back * weightA + b.back * weightB};
}

// Where an output row or column lies in the source: between sample `index` and the next one.
struct Place {
    std::int32_t index;
    float fraction;  // weight of the next sample, which exists wherever this is not 0
};

// The walk along one side. First and last output lie exactly on the first and last source sample.
// The positions between stay short of the last one: wanted - 1 is exact in float for all sizes
// that a mesh can have and exceeds the largest inner index by more than the quotient is rounded.
class Walk {
public:
    Walk(std::int32_t source, float wanted, std::int32_t outputs)
        : m_last(source - 1), m_outputs(outputs) {
        const auto span = static_cast<float>(m_last * kOne);
        m_step = static_cast<std::int64_t>(span / (wanted - 1));
    }
    Place At(std::int32_t output) const {
        if (output == 0) return {0, 0};
        if (output == m_outputs - 1) return {m_last, 0};
        const std::int64_t position = output * m_step;
        return {static_cast<std::int32_t>(position >> kFractionBits),
                static_cast<float>(position & (kOne - 1)) / static_cast<float>(kOne)};
    }

private:
    std::int32_t m_last;
    std::int32_t m_outputs;
    std::int64_t m_step;
};

struct Grids {
    const GeoImage& source;
    GeoImage& result;
    Walk rows;
    Walk columns;
};

void ResizeNearest(const Grids& grids) {
    for (std::int32_t r = 0; r < grids.result.height; ++r) {
        const std::int32_t y = grids.rows.At(r).index;
        for (std::int32_t c = 0; c < grids.result.width; ++c)
            grids.result.At(r, c) = grids.source.At(y, grids.columns.At(c).index);
    }
}

// Two neighbouring source rows and what an output row takes of each.
struct RowPair {
    const char* upper;
    const char* lower;  // not read when it has no weight
    Float4 weightUpper;
    Float4 weightLower;
};

template <bool kBoth>
Fields BlendRows(const RowPair& rows, std::ptrdiff_t offset) {
    const Fields upper = Load(rows.upper + offset);
    if constexpr (!kBoth) return upper;
    return Mix(upper, rows.weightUpper, Load(rows.lower + offset), rows.weightLower);
}

// Bilinear resampling of a stripe of output columns, for which everything that depends on the
// column alone is worked out once. Where output columns share source columns, these are blended
// vertically first, each once, into a row of slots; where they lie far apart, sample by sample.
// A sample without weight is not even multiplied: infinity would leave a trace, and so would 0
// added to -0.
class BilinearStripe {
public:
    BilinearStripe(const Walk& columns, std::int32_t first, std::int32_t outputs)
        : m_first(first), m_outputs(outputs), m_firstSource(columns.At(first).index) {
        std::int32_t span = 0;
        for (std::int32_t i = 0; i < outputs; ++i) {
            const Place place = columns.At(first + i);
            const std::int32_t distance = place.index - m_firstSource;
            m_columns[i] = {Broadcast(1 - place.fraction), Broadcast(place.fraction),
                            distance * kSampleBytes, place.fraction != 0};
            span = distance + (place.fraction != 0 ? 2 : 1);
        }
        m_slotBytes = 2 * span < 3 * outputs ? span * kSampleBytes : 0;
    }

    void ResizeRow(const Grids& grids, std::int32_t row) {
        const Place place = grids.rows.At(row);
        const GeoImageSample* source = &grids.source.At(place.index, m_firstSource);
        const auto* upper = reinterpret_cast<const char*>(source);
        const std::int32_t stride = place.fraction != 0 ? grids.source.width : 0;
        const RowPair rows{upper, upper + stride * kSampleBytes, Broadcast(1 - place.fraction),
                           Broadcast(place.fraction)};
        GeoImageSample* out = &grids.result.At(row, m_first);
        if (place.fraction == 0) {
            BlendColumns<false>(rows, out);
        } else if (m_slotBytes == 0) {
            BlendColumns<true>(rows, out);
        } else {
            for (std::ptrdiff_t offset = 0; offset < m_slotBytes; offset += kSampleBytes)
                Store(BlendRows<true>(rows, offset), m_slots + offset);
            BlendColumns<false>({m_slots, nullptr, Broadcast(1), Broadcast(0)}, out);
        }
    }

private:
    struct Column {
        Float4 weight;
        Float4 weightNext;
        std::ptrdiff_t offset;  // bytes from the stripe's first source column
        bool hasNext;
    };

    std::int32_t m_first;
    std::int32_t m_outputs;
    std::int32_t m_firstSource;
    std::ptrdiff_t m_slotBytes;  // 0: no slots
    Column m_columns[kStripe];
    alignas(Float4) char m_slots[kSlots * kSampleBytes];

    template <bool kBoth>
    void BlendColumns(const RowPair& rows, GeoImageSample* out) const {
        const RowPair pair = rows;  // in registers, whatever the stores below may touch
        for (const Column* column = m_columns; column != m_columns + m_outputs; ++column, ++out) {
            const Fields here = BlendRows<kBoth>(pair, column->offset);
            if (column->hasNext) {
                const Fields next = BlendRows<kBoth>(pair, column->offset + kSampleBytes);
                Store(Mix(here, column->weight, next, column->weightNext), out);
            } else {
                Store(here, out);
            }
        }
    }
};

void ResizeBilinear(const Grids& grids) {
    const std::int32_t width = grids.result.width;
    for (std::int32_t first = 0; first < width; first += kStripe) {
        BilinearStripe stripe(grids.columns, first, std::min(kStripe, width - first));
        for (std::int32_t r = 0; r < grids.result.height; ++r)
            stripe.ResizeRow(grids, r);
    }
}

// Mean of the sample and its right, lower and diagonal neighbours. A sample on a border takes none
// across the line of that border, so that borders and corners stay what they are.
Fields BoxMean(const GeoImage& source, std::int32_t y, std::int32_t x) {
    const bool right = 0 < x && x < source.width - 1;
    const bool below = 0 < y && y < source.height - 1;
    Fields sum = Load(&source.At(y, x));
    const auto add = [&sum, &source](std::int32_t row, std::int32_t column) {
        const Fields more = Load(&source.At(row, column));
        sum = {sum.front + more.front, sum.back + more.back};
    };
    if (right) add(y, x + 1);
    if (below) add(y + 1, x);
    if (right && below) add(y + 1, x + 1);
    const Float4 count = Broadcast(static_cast<float>((right ? 2 : 1) * (below ? 2 : 1)));
    return {sum.front / count, sum.back / count};
}

// How much of the box mean a blended result holds: nothing at the size of the source, all of it
// from half the size down.
float BoxShare(const GeoImage& source, float rows, float columns) {
    const auto samples = static_cast<float>(std::int64_t{source.height} * source.width);
    const float share = std::sqrt(samples / rows / columns) - 1;
    return share > 0 ? std::min(share, 1.0F) : 0.0F;
}

void ResizeBlended(const Grids& grids, float share) {
    ResizeBilinear(grids);
    const Float4 boxWeight = Broadcast(share);
    const Float4 bilinearWeight = Broadcast(1 - share);
    for (std::int32_t r = 0; r < grids.result.height; ++r) {
        const std::int32_t y = grids.rows.At(r).index;
        for (std::int32_t c = 0; c < grids.result.width; ++c) {
            GeoImageSample& sample = grids.result.At(r, c);
            const Fields box = BoxMean(grids.source, y, grids.columns.At(c).index);
            Store(Mix(Load(&sample), bilinearWeight, box, boxWeight), &sample);
        }
    }
}

struct GridSize {
    std::int32_t rows;
    std::int32_t columns;
};

// Nothing when no mesh can be that large.
std::optional<GridSize> WholeSize(float rows, float columns) {
    const double wholeRows = std::ceil(double{rows});
    const double wholeColumns = std::ceil(double{columns});
    if (!(wholeRows * wholeColumns <= static_cast<double>(GeoImage::kMaxSamples))) return {};
    return GridSize{static_cast<std::int32_t>(wholeRows), static_cast<std::int32_t>(wholeColumns)};
}

}  // namespace

bool GeoImage::Resize(const GeoImage& source, GeoImage& destination, float rows, float columns,
                      int filter) {
    if (&source == &destination) {
        GeoImage resized;
        const bool done = Resize(source, resized, rows, columns, filter);
        if (resized.samples != nullptr) destination = std::move(resized);
        return done;
    }
    destination.wrapColumns = source.wrapColumns;
    destination.wrapRows = source.wrapRows;
    // A size that is not a number counts as too small as well.
    const float atLeastRows = rows > kFewest ? rows : kFewest;
    const float atLeastColumns = columns > kFewest ? columns : kFewest;
    const std::optional<GridSize> size = WholeSize(atLeastRows, atLeastColumns);
    if (!size || source.samples == nullptr) {
        destination.SetSize(0, 0);
        return false;
    }
    if (source.width == size->columns && source.height == size->rows) {
        destination = source;
        return destination.samples != nullptr;
    }
    if (!destination.SetSize(size->rows, size->columns)) return false;
    const Grids grids{source, destination, Walk(source.height, atLeastRows, size->rows),
                      Walk(source.width, atLeastColumns, size->columns)};
    if (filter == FilterNearest) {
        ResizeNearest(grids);
    } else if (filter == FilterBilinear) {
        ResizeBilinear(grids);
    } else if (filter == FilterBlended) {
        ResizeBlended(grids, BoxShare(source, rows, columns));
    } else {
        std::cerr << "GeoImage::Resize: Unknown filter " << filter << std::endl;
        return false;
    }
    return true;
}
