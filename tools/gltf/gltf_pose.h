// The pose of a glTF asset at any time: every node's translation, rotation, scale and morph
// weights as its animation channels give them (all animations play together), and the node's
// matrices in its parent and in the world.
#pragma once

#include "tools/gltf/gltf_math.h"
#include "tools/gltf/gltf_sampler.h"

#include <tiny_gltf.h>

#include <optional>
#include <string>
#include <vector>

namespace wkgltf {

class GltfPose {
public:
    // Reads the channels; `warnings` gets what they target that is not carried. Throws
    // GltfError for a bad channel or sampler.
    GltfPose(const tinygltf::Model& model, std::vector<std::string>& warnings);

    // The first and last key time of all channels; both 0 without animation.
    double firstTime() const { return first; }
    double lastTime() const { return last; }

    // The curve of a node's "translation", "rotation", "scale" or "weights", if animated.
    const Curve* curve(int node, const std::string& path) const;
    int parent(int node) const { return parents[static_cast<std::size_t>(node)]; }

    Vec3 translation(int node, double seconds) const;
    Rotation rotation(int node, double seconds) const;
    Vec3 scale(int node, double seconds) const;
    // `count` weights: the animated ones, else the node's, else its mesh's, else 0.
    std::vector<double> weights(int node, std::size_t count, double seconds) const;
    Mat4 local(int node, double seconds) const;
    Mat4 world(int node, double seconds) const;
    // Whether the node holds a matrix rather than translation, rotation and scale.
    bool hasMatrix(int node) const;

private:
    struct Channels {
        std::optional<Curve> translation, rotation, scale, weights;
    };
    const tinygltf::Model& model;
    std::vector<Channels> channels;
    std::vector<int> parents; // -1 for a root
    double first = 0;
    double last = 0;
};

} // namespace wkgltf
