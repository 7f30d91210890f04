// A part's colours as a texture in the coordinates of its grid.
#pragma once

#include <functional>
#include <memory>

#include "geometry/Texture.h"
#include "import/paint/Paint.h"
#include "shared/Result.h"

struct BakeOptions {
    int size = 512;            // texels along a side
    bool wrapColumns = false;  // the part's grid closes on itself from left to right
    bool wrapRows = false;     // from bottom to top
    int threads = 2;           // the texture does not depend on it
};

// The point of the surface at texture coordinates from 0 to 1 (v upward). Called from several
// threads at once.
using Locate = std::function<Place(double u, double v)>;

// Four samples a texel. Texels that are not seen take on the colour of the nearest that are, so
// that filtering shows no rims. Three channels where all is opaque, else four. Fails for sizes that
// a texture cannot have.
Result<std::unique_ptr<Texture>> BakeTexture(const BakeOptions& options, const Paint& paint,
                                             const Locate& locate);

enum class Alpha {
    Opaque,
    Holes,        // all but the rims is either seen or not
    Translucent,  // much is in between
};
// How a texture's alpha is best drawn.
Alpha AlphaOf(const Texture& texture);
