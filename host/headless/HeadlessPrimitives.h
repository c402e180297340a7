// Meshes of simple shapes, for scenes that tools and tests build: a box and a segmented plane,
// each with texture coordinates in map channel 1.
#pragma once

#include "host/Mesh.h"

// A box centred on the origin in x and y, standing on z = 0: 8 vertices, 12 faces. Each side
// has its own material id (0 to 5: bottom, top, front, right, back, left) and smoothing group;
// the diagonals of the sides are invisible edges. Sizes must be above 0.
Mesh MakeBoxMesh(float width, float length, float height);

// A plane in z = 0 centred on the origin, of segX by segY cells (at least 1 each), two faces a
// cell, one smoothing group, material id 0. Vertex (i, j) is at index j * (segX + 1) + i.
Mesh MakePlaneMesh(float width, float length, int segX, int segY);
