// How a part's grid closes.
#pragma once

enum class GridKind {
    Sphere,   // columns wrap, the first and the last row are one point each
    Annulus,  // columns wrap, the first and the last row are borders
    Square,   // all four sides are borders
    Torus,    // columns and rows wrap
};
