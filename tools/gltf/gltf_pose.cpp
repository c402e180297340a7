#include "tools/gltf/gltf_pose.h"

#include "tools/gltf/gltf_accessor.h"

#include "host/Time.h"

#include <algorithm>
#include <cmath>

namespace wkgltf {

namespace {

const tinygltf::Node& nodeAt(const tinygltf::Model& model, int node) {
    return model.nodes[static_cast<std::size_t>(node)];
}

// Key times are floats in seconds: a key meant for a frame lands a hair beside its tick, and a
// step evaluated at that frame would still hold the key before. Times that near a tick are
// taken as the tick (1/4800 s; their order stays, as float steps there are far finer).
void snapToTicks(std::vector<double>& times) {
    for (double& t : times) {
        const double ticks = t * TICKS_PER_SECOND;
        const double nearest = std::round(ticks);
        if (std::fabs(ticks - nearest) < 1e-3 * std::max(1.0, std::fabs(nearest) * 1e-4))
            t = nearest / TICKS_PER_SECOND;
    }
}

} // namespace

GltfPose::GltfPose(const tinygltf::Model& model_, std::vector<std::string>& warnings)
    : model(model_), channels(model_.nodes.size()), parents(model_.nodes.size(), -1) {
    for (std::size_t n = 0; n < model.nodes.size(); ++n)
        for (int child : model.nodes[n].children) {
            if (child < 0 || static_cast<std::size_t>(child) >= model.nodes.size() ||
                parents[static_cast<std::size_t>(child)] != -1 ||
                static_cast<std::size_t>(child) == n)
                throw GltfError("nodes[" + std::to_string(n) + "].children: node " +
                                std::to_string(child) + " is not a node of its own");
            parents[static_cast<std::size_t>(child)] = static_cast<int>(n);
        }
    // A loop of parents would make world() run for ever.
    for (std::size_t n = 0; n < model.nodes.size(); ++n) {
        std::size_t steps = 0;
        for (int p = parents[n]; p >= 0; p = parents[static_cast<std::size_t>(p)])
            if (++steps > model.nodes.size())
                throw GltfError("nodes[" + std::to_string(n) + "]: its parents form a loop");
    }
    bool any = false;
    for (std::size_t a = 0; a < model.animations.size(); ++a) {
        const tinygltf::Animation& animation = model.animations[a];
        for (std::size_t c = 0; c < animation.channels.size(); ++c) {
            const tinygltf::AnimationChannel& channel = animation.channels[c];
            const std::string at =
                "animations[" + std::to_string(a) + "].channels[" + std::to_string(c) + "]";
            if (channel.target_node < 0 ||
                static_cast<std::size_t>(channel.target_node) >= model.nodes.size()) {
                warnings.push_back(at + ": a channel without a node is not carried");
                continue;
            }
            if (channel.sampler < 0 ||
                static_cast<std::size_t>(channel.sampler) >= animation.samplers.size())
                throw GltfError(at + ": no sampler " + std::to_string(channel.sampler));
            const tinygltf::AnimationSampler& sampler =
                animation.samplers[static_cast<std::size_t>(channel.sampler)];
            Channels& target = channels[static_cast<std::size_t>(channel.target_node)];
            std::optional<Curve>* slot = nullptr;
            int width = 3;
            if (channel.target_path == "translation") {
                slot = &target.translation;
            } else if (channel.target_path == "rotation") {
                slot = &target.rotation;
                width = 4;
            } else if (channel.target_path == "scale") {
                slot = &target.scale;
            } else if (channel.target_path == "weights") {
                slot = &target.weights;
                const std::size_t keys = AccessorCount(model, sampler.input);
                const std::size_t values = AccessorCount(model, sampler.output);
                const std::size_t groups = keys * (sampler.interpolation == "CUBICSPLINE" ? 3 : 1);
                if (keys == 0 || values % groups != 0)
                    throw GltfError(at + ": weights do not divide into the keys");
                width = static_cast<int>(values / groups);
            } else {
                warnings.push_back(at + ": the target \"" + channel.target_path +
                                   "\" is not carried");
                continue;
            }
            *slot = ReadCurve(model, sampler, width, width == 4 && slot == &target.rotation,
                              at + ".sampler");
            snapToTicks((*slot)->times);
            first = any ? std::min(first, (*slot)->times.front()) : (*slot)->times.front();
            last = any ? std::max(last, (*slot)->times.back()) : (*slot)->times.back();
            any = true;
        }
    }
    if (model.animations.size() > 1)
        warnings.push_back(std::to_string(model.animations.size()) +
                           " animations play together on one time line");
}

const Curve* GltfPose::curve(int node, const std::string& path) const {
    const Channels& c = channels[static_cast<std::size_t>(node)];
    const std::optional<Curve>* slot = path == "translation" ? &c.translation
                                       : path == "rotation"  ? &c.rotation
                                       : path == "scale"     ? &c.scale
                                                             : &c.weights;
    return slot->has_value() ? &**slot : nullptr;
}

bool GltfPose::hasMatrix(int node) const {
    return nodeAt(model, node).matrix.size() == 16;
}

Vec3 GltfPose::translation(int node, double seconds) const {
    if (const Curve* c = curve(node, "translation")) {
        double v[3];
        c->evaluate(seconds, v);
        return {v[0], v[1], v[2]};
    }
    const std::vector<double>& t = nodeAt(model, node).translation;
    return t.size() == 3 ? Vec3{t[0], t[1], t[2]} : Vec3{};
}

Rotation GltfPose::rotation(int node, double seconds) const {
    if (const Curve* c = curve(node, "rotation")) {
        double v[4];
        c->evaluate(seconds, v);
        return Normalized({v[0], v[1], v[2], v[3]});
    }
    const std::vector<double>& r = nodeAt(model, node).rotation;
    return r.size() == 4 ? Normalized({r[0], r[1], r[2], r[3]}) : Rotation{};
}

Vec3 GltfPose::scale(int node, double seconds) const {
    if (const Curve* c = curve(node, "scale")) {
        double v[3];
        c->evaluate(seconds, v);
        return {v[0], v[1], v[2]};
    }
    const std::vector<double>& s = nodeAt(model, node).scale;
    return s.size() == 3 ? Vec3{s[0], s[1], s[2]} : Vec3{1, 1, 1};
}

std::vector<double> GltfPose::weights(int node, std::size_t count, double seconds) const {
    std::vector<double> out(count, 0.0);
    const tinygltf::Node& n = nodeAt(model, node);
    if (const Curve* c = curve(node, "weights")) {
        std::vector<double> v(static_cast<std::size_t>(c->width));
        c->evaluate(seconds, v.data());
        std::copy_n(v.begin(), std::min(count, v.size()), out.begin());
    } else if (!n.weights.empty()) {
        std::copy_n(n.weights.begin(), std::min(count, n.weights.size()), out.begin());
    } else if (n.mesh >= 0 && static_cast<std::size_t>(n.mesh) < model.meshes.size()) {
        const std::vector<double>& w = model.meshes[static_cast<std::size_t>(n.mesh)].weights;
        std::copy_n(w.begin(), std::min(count, w.size()), out.begin());
    }
    return out;
}

Mat4 GltfPose::local(int node, double seconds) const {
    if (hasMatrix(node)) {
        Mat4 m;
        std::copy_n(nodeAt(model, node).matrix.begin(), 16, m.m.begin());
        return m;
    }
    return ComposeTRS(translation(node, seconds), rotation(node, seconds), scale(node, seconds));
}

Mat4 GltfPose::world(int node, double seconds) const {
    Mat4 m = local(node, seconds);
    for (int p = parent(node); p >= 0; p = parent(p))
        m = local(p, seconds) * m;
    return m;
}

} // namespace wkgltf
