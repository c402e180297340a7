// Wavefront OBJ output of a mesh: positions, the texture coordinates of map channel 1 and the
// normals of the smoothing groups.
#pragma once

#include "host/Mesh.h"

#include <ostream>
#include <string>
#include <vector>

namespace wkcli {

// Hidden faces are left out (they are not shown), and so is a texture coordinate where channel
// 1 is off. Vertex indices stay those of the mesh, so all vertices are written. `mesh` gets its
// normals built.
void WriteObj(Mesh& mesh, std::ostream& out);
// WriteObj into a file as every output is written (tools/output_file.h): "-" is stdout, and an
// output that is one of `inputs` is refused. Throws CommandError (bad input) when it cannot be
// written; the old file then stays.
void WriteObjFile(Mesh& mesh, const std::string& path, const std::vector<std::string>& inputs);

} // namespace wkcli
