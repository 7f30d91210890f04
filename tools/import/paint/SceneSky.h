// The sky that stands around imported models.
#pragma once

#include "geometry/GeoImage.h"
#include "geometry/Texture.h"

// A sphere to be seen from inside, and what it shows: grey ground, light horizon, blue above.
GeoImage MakeSkyMesh(double radius);
Texture MakeSkyTexture();
