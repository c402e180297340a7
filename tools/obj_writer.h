// Wavefront OBJ output of a mesh: positions, the texture coordinates of map channel 1 and the
// normals of the smoothing groups.
#pragma once

#include "host/Mesh.h"

#include <ostream>
#include <string>

namespace wkcli {

// Hidden faces are left out (they are not shown), and so is a texture coordinate where channel
// 1 is off. Vertex indices stay those of the mesh, so all vertices are written. `mesh` gets its
// normals built.
void WriteObj(Mesh& mesh, std::ostream& out);
// WriteObj into a file; throws CommandError (bad input) when it cannot be written.
void WriteObjFile(Mesh& mesh, const std::string& path);

} // namespace wkcli
