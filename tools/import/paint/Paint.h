// The colour of any point of a part: picture times material times corners' colours.
#pragma once

#include <array>
#include <optional>

#include "import/Model.h"

using Rgba = std::array<float, 4>;  // red, green, blue, alpha from 0 to 1

// Looks colours up; safe to use from many threads. Surface and model must outlive it; the
// surface's materials are the model's.
class Paint {
public:
    // caps: colour of what closes cut handles.
    Paint(const Surface& part, const Model& model, const Rgba& caps)
        : m_part(part), m_model(model), m_caps(caps) {}

    // Texture coordinates repeat beyond 0 and 1; pictures are interpolated between pixels. Alpha 0
    // on what fills holes.
    Rgba At(const Place& place) const;

private:
    const Surface& m_part;
    const Model& m_model;
    Rgba m_caps;
};

// Mean by area and alpha, itself opaque: a colour for caps. Light grey where nothing is to be seen.
Rgba MeanColour(const Surface& part, const Model& model);

// The colour of a part that needs no texture: no holes, no pictures, one colour all over (caps
// aside). Light grey for a part without triangles.
std::optional<Rgba> PlainColour(const Surface& part, const Model& model);
