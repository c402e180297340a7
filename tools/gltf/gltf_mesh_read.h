// A glTF mesh read as one triangle mesh in glTF axes: every primitive's triangles (strips and
// fans split, indexed or not) with the primitive's number as their material id, the first
// texture coordinates and colours, and what deforms the vertices: morph target offsets and
// skin joints. Evaluated at a time, the vertices are the deformed ones in the node's space.
#pragma once

#include "tools/gltf/gltf_math.h"
#include "tools/gltf/gltf_pose.h"

#include <nlohmann/json.hpp>
#include <tiny_gltf.h>

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace wkgltf {

struct MeshData {
    std::vector<Vec3> positions;
    std::vector<std::array<std::uint32_t, 3>> faces;
    std::vector<int> faceMaterials;      // per face: its primitive
    std::vector<int> primitiveMaterials; // per primitive: a glTF material, or -1
    std::vector<std::array<double, 2>> uvs;
    std::vector<Vec3> colors;
    std::vector<std::vector<Vec3>> targets; // per morph target, an offset per vertex
    std::vector<std::array<int, 4>> joints;
    std::vector<std::array<double, 4>> jointWeights;
};

// Throws GltfError for bad data; `warnings` gets what is not carried (points, lines, extra
// attribute sets, normals).
MeshData ReadMesh(const tinygltf::Model& model, int mesh, std::set<std::string>& warnings);

// The vertices of `mesh` on `node` at `seconds`: morph targets by the node's weights, then
// the node's skin, brought back into the node's space. Throws GltfError for a bad skin.
std::vector<Vec3> DeformedPositions(const tinygltf::Model& model, const GltfPose& pose, int node,
                                    const MeshData& mesh, double seconds);

// The scene-file mesh object of `mesh` with `positions`, in host axes.
nlohmann::json MeshObjectJson(const MeshData& mesh, const std::vector<Vec3>& positions,
                              bool materialIds);
// Points in host axes as scene-file points.
nlohmann::json HostPointsJson(const std::vector<Vec3>& positions);

} // namespace wkgltf
