// The closed and flat basic shapes, centred on the origin, with exact normals. Each sets the wrap
// flags of its seams and fills a mesh that has its size (at least the rows named, 2 columns or 3
// where columns close to a ring).
#pragma once

#include "mesh/Grid.h"

// Faces +y; width along x, depth along z.
void MakePlane(GeoImage& mesh, double width, double depth, Progress& progress);
// Rows from the north pole (+y) to the south pole.
void MakeSphere(GeoImage& mesh, double radius, Progress& progress);
// Around the y axis; tube: radius of its cross-section.
void MakeTorus(GeoImage& mesh, double radius, double tube, Progress& progress);

struct CylinderSizes {
    double bottom = 1;  // radii; one of them may be 0: a cone
    double top = 1;
    double height = 2;
    bool open = false;  // no end caps
};
// Fewest rows that the shape can have: two for each of its caps and its side.
int CylinderMinRows(const CylinderSizes& sizes);
// Around the y axis. The rims are sharp: their rows exist twice, with a normal for each side.
void MakeCylinder(GeoImage& mesh, const CylinderSizes& sizes, Progress& progress);

struct SuperquadricSizes {
    double x = 1;  // half axes
    double y = 1;
    double z = 1;
    // Squareness along the meridians and around the y axis: near 0 a box, 1 round, 2 flat bevels.
    double meridian = 1;
    double equator = 1;
};
void MakeSuperquadric(GeoImage& mesh, const SuperquadricSizes& sizes, Progress& progress);
