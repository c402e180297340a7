#include "tools/gltf/gltf_import.h"

#include "host/Time.h"
#include "tools/gltf/gltf_accessor.h"
#include "tools/gltf/gltf_mesh_read.h"
#include "tools/gltf/gltf_pose.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace wkgltf {

using Json = nlohmann::json;

namespace {

// glTF cameras and lights look down their -Z with +Y up; the host's look down -Z with +Y up in
// host axes, which the change of axes turns into glTF's -Y. A quarter turn about X in front of
// the object puts them back.
const Json kLookOffset = {{"rotation", {{"quat", {-0.70710678f, 0.0f, 0.0f, 0.70710678f}}}}};

Json point(const Point3& p) {
    return {p.x, p.y, p.z};
}

Json quat(const Quat& q) {
    return {{"quat", {q.x, q.y, q.z, q.w}}};
}

// Unique, non-empty names: "Node 3" for a nameless one, "Name (2)" for a repeated one.
class Names {
public:
    std::string make(const std::string& wanted, const std::string& fallback) {
        const std::string base = wanted.empty() ? fallback : wanted;
        std::string name = base;
        for (int n = 2; !used.insert(name).second; ++n)
            name = base + " (" + std::to_string(n) + ")";
        return name;
    }

private:
    std::set<std::string> used;
};

constexpr int kLastFrame = 9999999;
// Deformed points over all keyed frames (a skin of 100,000 vertices over 640 frames); beyond
// it the scene would not fit in memory as text.
constexpr std::size_t kMaxDeformedPoints = std::size_t{1} << 26;

class Importer {
public:
    Importer(const tinygltf::Model& model_, const ImportOptions& options_,
             std::vector<std::string>& warnings_)
        : model(model_), options(options_), warnings(warnings_), pose(model_, warnings_) {
        if (options.fps < 1 || options.fps > 4800)
            throw GltfError("the frame rate must be 1 to 4800");
        ticksPerFrame = TICKS_PER_SECOND / options.fps;
        const double framesPerSecond = static_cast<double>(TICKS_PER_SECOND) / ticksPerFrame;
        // The record range's limits, which also keep the frame numbers in an int.
        if (pose.firstTime() < 0 || pose.lastTime() * framesPerSecond > kLastFrame)
            throw GltfError("animation times must lie from 0 to frame " +
                            std::to_string(kLastFrame));
        start = static_cast<int>(std::floor(pose.firstTime() * framesPerSecond + 1e-9));
        end =
            std::max(start, static_cast<int>(std::ceil(pose.lastTime() * framesPerSecond - 1e-9)));
    }

    ImportResult run() {
        noteUncarried();
        const int sceneIndex = model.defaultScene >= 0 ? model.defaultScene : 0;
        std::vector<int> roots;
        if (static_cast<std::size_t>(sceneIndex) < model.scenes.size())
            roots = model.scenes[static_cast<std::size_t>(sceneIndex)].nodes;
        else
            for (std::size_t n = 0; n < model.nodes.size(); ++n)
                if (pose.parent(static_cast<int>(n)) < 0)
                    roots.push_back(static_cast<int>(n));
        if (model.scenes.size() > 1)
            warnings.push_back("only scene " + std::to_string(sceneIndex) + " of " +
                               std::to_string(model.scenes.size()) + " is imported");

        materialNames.resize(model.materials.size());
        for (std::size_t m = 0; m < model.materials.size(); ++m) {
            materialNames[m] =
                materialNameSet.make(model.materials[m].name, "Material " + std::to_string(m));
            materials.push_back({{"name", materialNames[m]}});
        }
        nodeNames.resize(model.nodes.size());
        for (int root : roots)
            addNode(root, "");

        Json scene = {
            {"wkcacheScene", 1},     {"frameRate", options.fps}, {"animationRange", {start, end}},
            {"currentFrame", start}, {"materials", materials},   {"nodes", nodes}};
        if (!meshNodes.empty()) {
            Json cache = {{"type", "cache"},
                          {"nodes", meshNodes},
                          {"recStart", start},
                          {"recEnd", end},
                          {"recStep", options.recStep},
                          {"pb_recWriteDeform", options.recDeform}};
            if (!options.cacheFile.empty())
                cache["fileName"] = options.cacheFile;
            scene["nodes"].push_back(
                {{"name", nodeNameSet.make("glTF Cache", "glTF Cache")}, {"object", cache}});
        }
        for (const std::string& w : meshWarnings)
            warnings.push_back(w);
        return {std::move(scene), {}};
    }

private:
    const tinygltf::Model& model;
    const ImportOptions& options;
    std::vector<std::string>& warnings;
    GltfPose pose;
    int ticksPerFrame = 160;
    int start = 0;
    int end = 0;
    Names nodeNameSet;
    Names materialNameSet;
    std::vector<std::string> nodeNames;
    std::vector<std::string> materialNames;
    Json materials = Json::array();
    Json nodes = Json::array();
    Json meshNodes = Json::array();
    std::set<std::string> meshWarnings;
    std::set<int> visited;

    void report() const {
        if (options.progress && !options.progress(visited.size(), model.nodes.size()))
            throw ImportCancelled();
    }

    // A scene frame in seconds as the host's clock has it: whole ticks a frame, so that a frame
    // rate that does not divide the ticks evaluates the asset where the host will play it.
    double seconds(double frame) const {
        return frame * ticksPerFrame / static_cast<double>(TICKS_PER_SECOND);
    }

    void noteUncarried() {
        if (!model.textures.empty() || !model.images.empty())
            warnings.push_back(std::to_string(model.textures.size()) + " textures and " +
                               std::to_string(model.images.size()) +
                               " images are not carried: materials keep only their names");
        else if (!model.materials.empty())
            warnings.push_back("material properties are not carried: materials keep only their "
                               "names");
        for (const std::string& e : model.extensionsUsed)
            if (e != "KHR_lights_punctual")
                warnings.push_back("the extension " + e + " is not carried");
    }

    // The frames a curve is keyed at: every whole frame of the range, every key of its own,
    // and for a step the tick before each key, so that it jumps rather than blends.
    std::vector<double> keyFrames(const Curve& curve) const {
        std::set<long long> ticks;
        for (int f = start; f <= end; ++f)
            ticks.insert(static_cast<long long>(f) * ticksPerFrame);
        for (double t : curve.times) {
            const long long tick = std::llround(t * TICKS_PER_SECOND);
            ticks.insert(tick);
            if (curve.kind == Curve::Kind::Step &&
                tick > static_cast<long long>(start) * ticksPerFrame)
                ticks.insert(tick - 1);
        }
        std::vector<double> frames;
        for (long long tick : ticks)
            frames.push_back(static_cast<double>(tick) / ticksPerFrame);
        return frames;
    }

    // A track of `value` sampled at the curve's key frames, or the constant at the start.
    template <typename Value> Json track(int node, const char* path, Value value) const {
        const Curve* curve = pose.curve(node, path);
        if (curve == nullptr)
            return value(seconds(start));
        Json keys = Json::array();
        for (double f : keyFrames(*curve))
            keys.push_back({{"frame", f}, {"value", value(seconds(f))}});
        return {{"interpolation", "linear"}, {"keys", keys}};
    }

    Json rotationTrack(int node) const {
        const Curve* curve = pose.curve(node, "rotation");
        if (curve == nullptr)
            return quat(HostRotation(pose.rotation(node, seconds(start))));
        // Neighbours on the same side of the sphere, so that the track blends the short way.
        Json keys = Json::array();
        Quat previous;
        bool first = true;
        for (double f : keyFrames(*curve)) {
            Quat q = HostRotation(pose.rotation(node, seconds(f)));
            if (!first && QuatDot(q, previous) < 0)
                q = -q;
            previous = q;
            first = false;
            keys.push_back({{"frame", f}, {"value", quat(q)}});
        }
        return {{"interpolation", "linear"}, {"keys", keys}};
    }

    void setTransform(int n, Json& entry) {
        if (pose.hasMatrix(n)) {
            AffineParts parts;
            decomp_affine(HostMatrix(pose.local(n, 0)), &parts);
            if (!parts.u.IsIdentity() && !(parts.k.x == parts.k.y && parts.k.y == parts.k.z))
                warnings.push_back("node \"" + nodeNames[static_cast<std::size_t>(n)] +
                                   "\": the shear of its matrix is not carried");
            entry["position"] = point(parts.t);
            entry["rotation"] = quat(parts.q);
            entry["scale"] = point(parts.f < 0 ? -parts.k : parts.k);
            return;
        }
        entry["position"] = track(
            n, "translation", [&](double s) { return point(HostPoint(pose.translation(n, s))); });
        entry["rotation"] = rotationTrack(n);
        entry["scale"] =
            track(n, "scale", [&](double s) { return point(HostScale(pose.scale(n, s))); });
    }

    // The material of a mesh's faces: the primitive's own, or a multi-material of all of them.
    void setMaterial(const MeshData& mesh, const std::string& nodeName, Json& entry) {
        std::set<int> used(mesh.faceMaterials.begin(), mesh.faceMaterials.end());
        if (mesh.primitiveMaterials.size() == 1 || used.size() <= 1) {
            const int primitive = used.empty() ? 0 : *used.begin();
            const int m = primitive < static_cast<int>(mesh.primitiveMaterials.size())
                              ? mesh.primitiveMaterials[static_cast<std::size_t>(primitive)]
                              : -1;
            if (m >= 0)
                entry["material"] = materialNames[static_cast<std::size_t>(m)];
            return;
        }
        Json slots = Json::array();
        for (int m : mesh.primitiveMaterials)
            slots.push_back(m >= 0 ? Json(materialNames[static_cast<std::size_t>(m)]) : Json());
        const std::string name = materialNameSet.make(nodeName + " Materials", "");
        materials.push_back({{"name", name}, {"subMaterials", slots}});
        entry["material"] = name;
    }

    Json meshObject(int n, const std::string& name, Json& entry) {
        const tinygltf::Node& node = model.nodes[static_cast<std::size_t>(n)];
        const MeshData mesh = ReadMesh(model, node.mesh, meshWarnings);
        setMaterial(mesh, name, entry);
        const bool ids = mesh.primitiveMaterials.size() > 1;
        const bool deforms = !mesh.targets.empty() || node.skin >= 0;
        if (!deforms)
            return MeshObjectJson(mesh, mesh.positions, ids);
        // Morph weights and skins are evaluated frame by frame; a mesh that turns out not to
        // move stays a plain mesh.
        if (mesh.positions.size() * static_cast<std::size_t>(end - start + 1) > kMaxDeformedPoints)
            throw GltfError("node \"" + name + "\": " + std::to_string(mesh.positions.size()) +
                            " deforming vertices over " + std::to_string(end - start + 1) +
                            " frames are too many to key");
        Json keys = Json::array();
        const std::vector<Vec3> first = DeformedPositions(model, pose, n, mesh, seconds(start));
        bool moves = false;
        for (int f = start; f <= end; ++f) {
            const std::vector<Vec3> at =
                f == start ? first : DeformedPositions(model, pose, n, mesh, seconds(f));
            for (std::size_t v = 0; v < at.size() && !moves; ++v)
                moves = at[v].x != first[v].x || at[v].y != first[v].y || at[v].z != first[v].z;
            keys.push_back({{"frame", f}, {"vertices", HostPointsJson(at)}});
            report();
        }
        Json base = MeshObjectJson(mesh, first, ids);
        if (!moves)
            return base;
        return {{"type", "deformingMesh"}, {"mesh", base}, {"keys", keys}};
    }

    Json lightObject(int light) {
        const tinygltf::Light& l = model.lights[static_cast<std::size_t>(light)];
        if (l.type == "directional")
            warnings.push_back("the directional light \"" + l.name +
                               "\" becomes an omni light: the scene has no directional lights");
        Json object = {{"type", l.type == "spot" ? "spotLight" : "omniLight"}};
        if (l.range > 0)
            object["farAttenuation"] = l.range;
        return object;
    }

    void addNode(int n, const std::string& parent) {
        if (n < 0 || static_cast<std::size_t>(n) >= model.nodes.size() || !visited.insert(n).second)
            throw GltfError("node " + std::to_string(n) + " is not a node of its own");
        const tinygltf::Node& node = model.nodes[static_cast<std::size_t>(n)];
        const std::string name = nodeNameSet.make(node.name, "Node " + std::to_string(n));
        nodeNames[static_cast<std::size_t>(n)] = name;
        Json entry = {{"name", name}};
        if (!parent.empty())
            entry["parent"] = parent;
        setTransform(n, entry);

        int light = -1;
        const auto ext = node.extensions.find("KHR_lights_punctual");
        if (ext != node.extensions.end() && ext->second.Has("light"))
            light = ext->second.Get("light").GetNumberAsInt();
        if (node.mesh >= 0) {
            entry["object"] = meshObject(n, name, entry);
            meshNodes.push_back(name);
            if (node.camera >= 0 || light >= 0)
                warnings.push_back("node \"" + name +
                                   "\" keeps its mesh: a node shows one object, not also a "
                                   "camera or light");
        } else if (node.camera >= 0) {
            entry["object"] = {{"type", "camera"}};
            entry["objectOffset"] = kLookOffset;
            meshWarnings.insert("cameras keep their place, not their projection");
        } else if (light >= 0 && static_cast<std::size_t>(light) < model.lights.size()) {
            entry["object"] = lightObject(light);
            entry["objectOffset"] = kLookOffset;
        }
        nodes.push_back(entry);
        report();
        for (int child : node.children)
            addNode(child, name);
    }
};

} // namespace

ImportResult ImportGltf(const tinygltf::Model& model, const ImportOptions& options) {
    std::vector<std::string> warnings;
    Importer importer(model, options, warnings);
    ImportResult result = importer.run();
    result.warnings = std::move(warnings);
    return result;
}

} // namespace wkgltf
