#include "tools/gltf/gltf_mesh_read.h"

#include "tools/gltf/gltf_accessor.h"

#include <cmath>

namespace wkgltf {

namespace {

std::vector<std::uint32_t> primitiveIndices(const tinygltf::Model& model,
                                            const tinygltf::Primitive& p, std::size_t vertices,
                                            const std::string& at) {
    std::vector<std::uint32_t> indices;
    if (p.indices >= 0) {
        for (double v : ReadAccessor(model, p.indices, 1)) {
            if (!(v >= 0) || v >= static_cast<double>(vertices))
                throw GltfError(at + ".indices: index " + std::to_string(v) + " of " +
                                std::to_string(vertices) + " vertices");
            indices.push_back(static_cast<std::uint32_t>(v));
        }
    } else {
        for (std::size_t i = 0; i < vertices; ++i)
            indices.push_back(static_cast<std::uint32_t>(i));
    }
    return indices;
}

// Triangles of a triangle list, strip or fan, turned as glTF turns them.
std::vector<std::array<std::uint32_t, 3>> triangles(const std::vector<std::uint32_t>& i, int mode) {
    std::vector<std::array<std::uint32_t, 3>> out;
    const std::size_t n = i.size();
    if (mode == TINYGLTF_MODE_TRIANGLES) {
        for (std::size_t k = 0; k + 2 < n; k += 3)
            out.push_back({i[k], i[k + 1], i[k + 2]});
    } else if (mode == TINYGLTF_MODE_TRIANGLE_STRIP) {
        for (std::size_t k = 0; k + 2 < n; ++k)
            out.push_back(k % 2 == 0 ? std::array{i[k], i[k + 1], i[k + 2]}
                                     : std::array{i[k + 1], i[k], i[k + 2]});
    } else {
        for (std::size_t k = 1; k + 1 < n; ++k)
            out.push_back({i[k], i[k + 1], i[0]});
    }
    return out;
}

const int* attribute(const tinygltf::Primitive& p, const char* name) {
    const auto it = p.attributes.find(name);
    return it == p.attributes.end() ? nullptr : &it->second;
}

} // namespace

MeshData ReadMesh(const tinygltf::Model& model, int meshIndex, std::set<std::string>& warnings) {
    if (meshIndex < 0 || static_cast<std::size_t>(meshIndex) >= model.meshes.size())
        throw GltfError("no mesh " + std::to_string(meshIndex));
    const tinygltf::Mesh& mesh = model.meshes[static_cast<std::size_t>(meshIndex)];
    MeshData out;
    bool anyUv = false;
    bool anyColor = false;
    std::size_t targetCount = 0;
    for (const tinygltf::Primitive& p : mesh.primitives)
        targetCount = std::max(targetCount, p.targets.size());
    out.targets.resize(targetCount);

    for (std::size_t k = 0; k < mesh.primitives.size(); ++k) {
        const tinygltf::Primitive& p = mesh.primitives[k];
        const std::string at =
            "meshes[" + std::to_string(meshIndex) + "].primitives[" + std::to_string(k) + "]";
        out.primitiveMaterials.push_back(p.material >= 0 && static_cast<std::size_t>(p.material) <
                                                                model.materials.size()
                                             ? p.material
                                             : -1);
        if (p.mode != TINYGLTF_MODE_TRIANGLES && p.mode != TINYGLTF_MODE_TRIANGLE_STRIP &&
            p.mode != TINYGLTF_MODE_TRIANGLE_FAN && p.mode != -1) {
            warnings.insert("points and lines are not carried (" + at + ")");
            continue;
        }
        const int* position = attribute(p, "POSITION");
        if (position == nullptr)
            throw GltfError(at + ": no POSITION");
        const std::vector<double> points = ReadAccessor(model, *position, 3);
        const std::size_t count = points.size() / 3;
        const std::size_t base = out.positions.size();
        if (base + count > (std::size_t{1} << 31))
            throw GltfError(at + ": too many vertices");
        for (std::size_t v = 0; v < count; ++v)
            out.positions.push_back({points[3 * v], points[3 * v + 1], points[3 * v + 2]});

        // Texture coordinates and colours, zero where a primitive has none.
        out.uvs.resize(out.positions.size(), {0.0, 0.0});
        if (const int* uv = attribute(p, "TEXCOORD_0")) {
            const std::vector<double> values = ReadAccessor(model, *uv, 2);
            if (values.size() != 2 * count)
                throw GltfError(at + ": TEXCOORD_0 does not match POSITION");
            for (std::size_t v = 0; v < count; ++v)
                out.uvs[base + v] = {values[2 * v], values[2 * v + 1]};
            anyUv = true;
        }
        out.colors.resize(out.positions.size(), {1.0, 1.0, 1.0});
        if (const int* color = attribute(p, "COLOR_0")) {
            const tinygltf::Accessor& a = model.accessors[static_cast<std::size_t>(*color)];
            const int width = a.type == TINYGLTF_TYPE_VEC4 ? 4 : 3;
            const std::vector<double> values = ReadAccessor(model, *color, width);
            if (values.size() != static_cast<std::size_t>(width) * count)
                throw GltfError(at + ": COLOR_0 does not match POSITION");
            if (width == 4)
                warnings.insert("the alpha of COLOR_0 is not carried");
            for (std::size_t v = 0; v < count; ++v)
                out.colors[base + v] = {values[width * v], values[width * v + 1],
                                        values[width * v + 2]};
            anyColor = true;
        }
        for (std::size_t t = 0; t < targetCount; ++t) {
            out.targets[t].resize(out.positions.size());
            if (t >= p.targets.size())
                continue;
            const auto it = p.targets[t].find("POSITION");
            if (it == p.targets[t].end())
                continue;
            const std::vector<double> offsets = ReadAccessor(model, it->second, 3);
            if (offsets.size() != 3 * count)
                throw GltfError(at + ".targets: POSITION does not match the vertices");
            for (std::size_t v = 0; v < count; ++v)
                out.targets[t][base + v] = {offsets[3 * v], offsets[3 * v + 1], offsets[3 * v + 2]};
            if (p.targets[t].size() > 1)
                warnings.insert("morph targets move only positions here; their normals and "
                                "tangents are not carried");
        }
        out.joints.resize(out.positions.size(), {0, 0, 0, 0});
        out.jointWeights.resize(out.positions.size(), {0, 0, 0, 0});
        const int* joints = attribute(p, "JOINTS_0");
        const int* weights = attribute(p, "WEIGHTS_0");
        if (joints != nullptr && weights != nullptr) {
            const std::vector<double> j = ReadAccessor(model, *joints, 4);
            const std::vector<double> w = ReadAccessor(model, *weights, 4);
            if (j.size() != 4 * count || w.size() != 4 * count)
                throw GltfError(at + ": JOINTS_0 and WEIGHTS_0 do not match POSITION");
            for (std::size_t v = 0; v < count; ++v)
                for (std::size_t c = 0; c < 4; ++c) {
                    out.joints[base + v][c] = static_cast<int>(j[4 * v + c]);
                    out.jointWeights[base + v][c] = w[4 * v + c];
                }
        }
        for (const auto& [name, index] : p.attributes) {
            (void)index;
            if (name == "NORMAL" || name == "TANGENT")
                warnings.insert("normals and tangents are not carried: the scene's meshes "
                                "take theirs from smoothing groups");
            else if (name != "POSITION" && name != "TEXCOORD_0" && name != "COLOR_0" &&
                     name != "JOINTS_0" && name != "WEIGHTS_0")
                warnings.insert("the vertex attribute " + name + " is not carried");
        }

        const std::vector<std::uint32_t> indices = primitiveIndices(model, p, count, at);
        for (std::array<std::uint32_t, 3> f : triangles(indices, p.mode == -1 ? 4 : p.mode)) {
            for (std::uint32_t& v : f)
                v += static_cast<std::uint32_t>(base);
            out.faces.push_back(f);
            out.faceMaterials.push_back(static_cast<int>(k));
        }
    }
    if (!anyUv)
        out.uvs.clear();
    if (!anyColor)
        out.colors.clear();
    return out;
}

std::vector<Vec3> DeformedPositions(const tinygltf::Model& model, const GltfPose& pose, int node,
                                    const MeshData& mesh, double seconds) {
    std::vector<Vec3> out = mesh.positions;
    if (!mesh.targets.empty()) {
        const std::vector<double> w = pose.weights(node, mesh.targets.size(), seconds);
        for (std::size_t t = 0; t < mesh.targets.size(); ++t) {
            if (w[t] == 0)
                continue;
            for (std::size_t v = 0; v < out.size(); ++v) {
                out[v].x += w[t] * mesh.targets[t][v].x;
                out[v].y += w[t] * mesh.targets[t][v].y;
                out[v].z += w[t] * mesh.targets[t][v].z;
            }
        }
    }
    const int skinIndex = model.nodes[static_cast<std::size_t>(node)].skin;
    if (skinIndex < 0)
        return out;
    const std::string at = "skins[" + std::to_string(skinIndex) + "]";
    if (static_cast<std::size_t>(skinIndex) >= model.skins.size())
        throw GltfError("nodes[" + std::to_string(node) + "]: no skin " +
                        std::to_string(skinIndex));
    const tinygltf::Skin& skin = model.skins[static_cast<std::size_t>(skinIndex)];
    std::vector<double> inverseBind;
    if (skin.inverseBindMatrices >= 0) {
        inverseBind = ReadAccessor(model, skin.inverseBindMatrices, 16);
        if (inverseBind.size() != 16 * skin.joints.size())
            throw GltfError(at + ": one inverse bind matrix a joint");
    }
    // A joint's matrix takes a bind-pose vertex to the world; the node's world is taken off
    // again, so that the vertices stay in the space of the node that shows them.
    const Mat4 toNode = InverseAffine(pose.world(node, seconds));
    std::vector<Mat4> jointMatrices;
    for (std::size_t j = 0; j < skin.joints.size(); ++j) {
        const int joint = skin.joints[j];
        if (joint < 0 || static_cast<std::size_t>(joint) >= model.nodes.size())
            throw GltfError(at + ": no joint node " + std::to_string(joint));
        Mat4 bind;
        if (!inverseBind.empty())
            std::copy_n(inverseBind.begin() + static_cast<std::ptrdiff_t>(16 * j), 16,
                        bind.m.begin());
        jointMatrices.push_back(toNode * pose.world(joint, seconds) * bind);
    }
    for (std::size_t v = 0; v < out.size(); ++v) {
        Vec3 sum;
        double total = 0;
        for (std::size_t c = 0; c < 4; ++c) {
            const double w = mesh.jointWeights[v][c];
            if (w == 0)
                continue;
            const int j = mesh.joints[v][c];
            if (j < 0 || static_cast<std::size_t>(j) >= jointMatrices.size())
                throw GltfError(at + ": a vertex names joint " + std::to_string(j) + " of " +
                                std::to_string(jointMatrices.size()));
            const Vec3 p = TransformPoint(jointMatrices[static_cast<std::size_t>(j)], out[v]);
            sum.x += w * p.x, sum.y += w * p.y, sum.z += w * p.z;
            total += w;
        }
        // A vertex no joint holds stays where it is.
        if (total > 0)
            out[v] = sum;
    }
    return out;
}

nlohmann::json HostPointsJson(const std::vector<Vec3>& positions) {
    nlohmann::json points = nlohmann::json::array();
    for (const Vec3& p : positions) {
        const Point3 h = HostPoint(p);
        points.push_back({h.x, h.y, h.z});
    }
    return points;
}

nlohmann::json MeshObjectJson(const MeshData& mesh, const std::vector<Vec3>& positions,
                              bool materialIds) {
    nlohmann::json faces = nlohmann::json::array();
    nlohmann::json plain = nlohmann::json::array();
    for (std::size_t f = 0; f < mesh.faces.size(); ++f) {
        const auto& v = mesh.faces[f];
        plain.push_back({v[0], v[1], v[2]});
        if (materialIds)
            faces.push_back({{"v", {v[0], v[1], v[2]}}, {"matID", mesh.faceMaterials[f]}});
    }
    nlohmann::json object = {{"type", "mesh"},
                             {"vertices", HostPointsJson(positions)},
                             {"faces", materialIds ? faces : plain}};
    nlohmann::json maps = nlohmann::json::object();
    if (!mesh.uvs.empty()) {
        // glTF's texture space starts at the top of the image, the host's at the bottom.
        nlohmann::json uv = nlohmann::json::array();
        for (const auto& t : mesh.uvs)
            uv.push_back({static_cast<float>(t[0]), static_cast<float>(1.0 - t[1]), 0.0f});
        maps["1"] = {{"vertices", uv}, {"faces", plain}};
    }
    if (!mesh.colors.empty()) {
        nlohmann::json colors = nlohmann::json::array();
        for (const Vec3& c : mesh.colors)
            colors.push_back(
                {static_cast<float>(c.x), static_cast<float>(c.y), static_cast<float>(c.z)});
        maps["0"] = {{"vertices", colors}, {"faces", plain}};
    }
    if (!maps.empty())
        object["maps"] = maps;
    return object;
}

} // namespace wkgltf
