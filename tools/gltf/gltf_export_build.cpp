// The glTF asset of an ExportScene: one buffer, tightly packed views, one animation.
#include "tools/gltf/gltf_export.h"
#include "tools/gltf/gltf_math.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <tuple>

namespace wkgltf {

namespace {

class AssetBuilder {
public:
    tinygltf::Model model;

    AssetBuilder() {
        model.asset.version = "2.0";
        model.asset.generator = "wkcache";
        model.buffers.emplace_back();
        model.scenes.emplace_back();
        model.defaultScene = 0;
    }

    // A view of `bytes` of the data, aligned to 4.
    int view(const void* data, std::size_t bytes, int target) {
        std::vector<unsigned char>& buffer = model.buffers[0].data;
        buffer.resize((buffer.size() + 3) & ~std::size_t{3});
        tinygltf::BufferView v;
        v.buffer = 0;
        v.byteOffset = buffer.size();
        v.byteLength = bytes;
        v.target = target;
        const auto* p = static_cast<const unsigned char*>(data);
        buffer.insert(buffer.end(), p, p + bytes);
        model.bufferViews.push_back(v);
        return static_cast<int>(model.bufferViews.size()) - 1;
    }

    // An accessor of float values, `width` a element (type `type`), with bounds when asked.
    int floats(const std::vector<float>& values, int width, int type, int target, bool bounds) {
        tinygltf::Accessor a;
        a.bufferView = view(values.data(), values.size() * sizeof(float), target);
        a.componentType = TINYGLTF_COMPONENT_TYPE_FLOAT;
        a.type = type;
        a.count = values.size() / static_cast<std::size_t>(width);
        if (bounds) {
            a.minValues.assign(static_cast<std::size_t>(width), 0.0);
            a.maxValues.assign(static_cast<std::size_t>(width), 0.0);
            for (std::size_t i = 0; i < a.count; ++i)
                for (std::size_t c = 0; c < static_cast<std::size_t>(width); ++c) {
                    const double v = values[i * static_cast<std::size_t>(width) + c];
                    a.minValues[c] = i == 0 ? v : std::min(a.minValues[c], v);
                    a.maxValues[c] = i == 0 ? v : std::max(a.maxValues[c], v);
                }
        }
        model.accessors.push_back(a);
        return static_cast<int>(model.accessors.size()) - 1;
    }

    int indices(const std::vector<std::uint32_t>& values) {
        tinygltf::Accessor a;
        a.bufferView = view(values.data(), values.size() * 4, TINYGLTF_TARGET_ELEMENT_ARRAY_BUFFER);
        a.componentType = TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT;
        a.type = TINYGLTF_TYPE_SCALAR;
        a.count = values.size();
        model.accessors.push_back(a);
        return static_cast<int>(model.accessors.size()) - 1;
    }

    int material(const std::string& name) {
        const auto [it, added] = materials.emplace(name, static_cast<int>(model.materials.size()));
        if (added) {
            tinygltf::Material m;
            m.name = name;
            m.doubleSided = true;
            model.materials.push_back(m);
        }
        return it->second;
    }

private:
    std::map<std::string, int> materials;
};

// One primitive's vertices: a corner of a face is its vertex with the map vertices of both
// channels; corners that agree share a glTF vertex.
struct Corner {
    std::uint32_t v, uv, color;
    auto operator<=>(const Corner&) const = default;
};

Corner cornerOf(const Mesh& mesh, int f, int c, bool uv, bool color) {
    return {mesh.getFace(f).v[c], uv ? mesh.mapFaces(1)[f].t[c] : 0,
            color ? mesh.mapFaces(0)[f].t[c] : 0};
}

void pushPoint(std::vector<float>& out, const Point3& host) {
    const Vec3 g = GltfPoint(host);
    out.insert(out.end(),
               {static_cast<float>(g.x), static_cast<float>(g.y), static_cast<float>(g.z)});
}

// The mesh of a node, a primitive per material id; -1 when it has no faces.
int addMesh(AssetBuilder& asset, const ExportNode& node) {
    const Mesh& mesh = node.mesh;
    const bool uv = mesh.mapSupport(1) && mesh.mapFaces(1) != nullptr;
    const bool color = mesh.mapSupport(0) && mesh.mapFaces(0) != nullptr;
    std::map<MtlID, std::vector<int>> byId;
    for (int f = 0; f < mesh.getNumFaces(); ++f)
        byId[mesh.getFace(f).getMatID()].push_back(f);
    if (byId.empty())
        return -1;
    tinygltf::Mesh out;
    out.name = node.name;
    for (const auto& [id, faces] : byId) {
        // The corners in the order of their vertices, so that a mesh whose corners need no
        // split keeps its vertex numbers (and a round trip its element's points).
        std::vector<Corner> order;
        for (int f : faces)
            for (int c = 0; c < 3; ++c)
                order.push_back(cornerOf(mesh, f, c, uv, color));
        std::sort(order.begin(), order.end());
        order.erase(std::unique(order.begin(), order.end()), order.end());
        std::vector<std::uint32_t> index;
        for (int f : faces)
            for (int c = 0; c < 3; ++c)
                index.push_back(static_cast<std::uint32_t>(
                    std::lower_bound(order.begin(), order.end(), cornerOf(mesh, f, c, uv, color)) -
                    order.begin()));
        std::vector<float> positions, uvs, colors;
        for (const Corner& c : order) {
            pushPoint(positions, mesh.getVert(static_cast<int>(c.v)));
            if (uv) {
                const UVVert t = mesh.mapVerts(1)[c.uv];
                uvs.insert(uvs.end(), {t.x, 1.0f - t.y});
            }
            if (color) {
                const UVVert k = mesh.mapVerts(0)[c.color];
                for (float value : {k.x, k.y, k.z})
                    colors.push_back(std::clamp(value, 0.0f, 1.0f));
            }
        }
        tinygltf::Primitive p;
        p.mode = TINYGLTF_MODE_TRIANGLES;
        p.indices = asset.indices(index);
        p.attributes["POSITION"] =
            asset.floats(positions, 3, TINYGLTF_TYPE_VEC3, TINYGLTF_TARGET_ARRAY_BUFFER, true);
        if (uv)
            p.attributes["TEXCOORD_0"] =
                asset.floats(uvs, 2, TINYGLTF_TYPE_VEC2, TINYGLTF_TARGET_ARRAY_BUFFER, false);
        if (color)
            p.attributes["COLOR_0"] =
                asset.floats(colors, 3, TINYGLTF_TYPE_VEC3, TINYGLTF_TARGET_ARRAY_BUFFER, false);
        // A morph target per key frame: its offsets from the recorded mesh.
        for (const std::vector<Point3>& key : node.morphs) {
            std::vector<float> offsets;
            for (const Corner& c : order)
                pushPoint(offsets, key[c.v] - mesh.getVert(static_cast<int>(c.v)));
            p.targets.push_back({{"POSITION", asset.floats(offsets, 3, TINYGLTF_TYPE_VEC3,
                                                           TINYGLTF_TARGET_ARRAY_BUFFER, true)}});
        }
        const std::string& name = id < node.materialNames.size() ? node.materialNames[id] : "";
        if (!name.empty())
            p.material = asset.material(name);
        out.primitives.push_back(std::move(p));
    }
    out.weights.assign(node.morphs.size(), 0.0);
    asset.model.meshes.push_back(std::move(out));
    return static_cast<int>(asset.model.meshes.size()) - 1;
}

bool constant(const std::vector<float>& values, std::size_t width) {
    for (std::size_t i = width; i < values.size(); ++i)
        if (values[i] != values[i % width])
            return false;
    return true;
}

void addChannel(AssetBuilder& asset, tinygltf::Animation& animation, int node, const char* path,
                int input, const std::vector<float>& values, int type, bool step) {
    const int width = type == TINYGLTF_TYPE_VEC4 ? 4 : type == TINYGLTF_TYPE_VEC3 ? 3 : 1;
    tinygltf::AnimationSampler sampler;
    sampler.input = input;
    sampler.output = asset.floats(values, width, type, 0, false);
    sampler.interpolation = step ? "STEP" : "LINEAR";
    animation.samplers.push_back(sampler);
    tinygltf::AnimationChannel channel;
    channel.sampler = static_cast<int>(animation.samplers.size()) - 1;
    channel.target_node = node;
    channel.target_path = path;
    animation.channels.push_back(channel);
}

} // namespace

tinygltf::Model BuildGltf(const ExportScene& scene) {
    AssetBuilder asset;
    tinygltf::Animation animation;
    animation.name = "wkcache";
    std::vector<float> times;
    const double shift = scene.seconds.empty() ? 0.0 : std::min(scene.seconds.front(), 0.0);
    for (double s : scene.seconds)
        times.push_back(static_cast<float>(s - shift));
    // Sample times must rise also as floats: a span too long for float steps is refused early.
    const int input = times.size() > 1 ? asset.floats(times, 1, TINYGLTF_TYPE_SCALAR, 0, true) : -1;

    for (const ExportNode& node : scene.nodes) {
        const int index = static_cast<int>(asset.model.nodes.size());
        tinygltf::Node out;
        out.name = node.name;
        out.mesh = addMesh(asset, node);
        std::vector<float> t, r, s;
        Rotation previous;
        for (std::size_t k = 0; k < node.transforms.size(); ++k) {
            Vec3 translation, scale;
            Rotation rotation;
            GltfTRS(node.transforms[k], translation, rotation, scale);
            // Neighbours on one side of the sphere: the blend between them takes the short way.
            if (k > 0 && rotation.x * previous.x + rotation.y * previous.y +
                                 rotation.z * previous.z + rotation.w * previous.w <
                             0)
                rotation = {-rotation.x, -rotation.y, -rotation.z, -rotation.w};
            previous = rotation;
            if (node.hidden[k] != 0)
                scale = {0, 0, 0};
            t.insert(t.end(), {static_cast<float>(translation.x), static_cast<float>(translation.y),
                               static_cast<float>(translation.z)});
            r.insert(r.end(), {static_cast<float>(rotation.x), static_cast<float>(rotation.y),
                               static_cast<float>(rotation.z), static_cast<float>(rotation.w)});
            s.insert(s.end(), {static_cast<float>(scale.x), static_cast<float>(scale.y),
                               static_cast<float>(scale.z)});
        }
        // What never changes is the node's own transform; the rest is animated.
        if (!t.empty()) {
            out.translation.assign(t.begin(), t.begin() + 3);
            out.rotation.assign(r.begin(), r.begin() + 4);
            out.scale.assign(s.begin(), s.begin() + 3);
        }
        if (input >= 0) {
            if (!constant(t, 3))
                addChannel(asset, animation, index, "translation", input, t, TINYGLTF_TYPE_VEC3,
                           false);
            if (!constant(r, 4))
                addChannel(asset, animation, index, "rotation", input, r, TINYGLTF_TYPE_VEC4,
                           false);
            // Hidden spans start and end at a sample: the scale steps there.
            const bool hides =
                std::any_of(node.hidden.begin(), node.hidden.end(), [](char h) { return h != 0; });
            if (!constant(s, 3))
                addChannel(asset, animation, index, "scale", input, s, TINYGLTF_TYPE_VEC3, hides);
            std::vector<float> w;
            for (const std::vector<float>& at : node.weights)
                w.insert(w.end(), at.begin(), at.end());
            if (out.mesh >= 0 && !node.morphs.empty() && !constant(w, node.morphs.size()))
                addChannel(asset, animation, index, "weights", input, w, TINYGLTF_TYPE_SCALAR,
                           false);
        }
        if (out.mesh >= 0 && !node.morphs.empty() && !node.weights.empty())
            out.weights.assign(node.weights.front().begin(), node.weights.front().end());
        asset.model.nodes.push_back(std::move(out));
        asset.model.scenes[0].nodes.push_back(index);
    }
    if (!animation.channels.empty())
        asset.model.animations.push_back(std::move(animation));
    if (asset.model.buffers[0].data.empty())
        asset.model.buffers.clear();
    return std::move(asset.model);
}

} // namespace wkgltf
