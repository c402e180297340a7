// A glTF animation sampler as a curve: LINEAR (spherical for rotations), STEP and CUBICSPLINE
// (Hermite, with the in- and out-tangents the asset gives), held at its first value before its
// first key and at its last after its last.
#pragma once

#include <tiny_gltf.h>

#include <string>
#include <vector>

namespace wkgltf {

struct Curve {
    enum class Kind { Linear, Step, Cubic };
    Kind kind = Kind::Linear;
    bool rotation = false;     // 4 components, blended on the sphere, answered normalised
    int width = 0;             // components of one value
    std::vector<double> times; // seconds, ascending
    // width per key; for Cubic three groups per key: in-tangent, value, out-tangent.
    std::vector<double> values;

    // Writes `width` numbers for `seconds`.
    void evaluate(double seconds, double* out) const;
};

// The sampler's curve; `width` is the components of one value (the target's: 3, 4, or the
// morph target count). Throws GltfError for a bad sampler.
Curve ReadCurve(const tinygltf::Model& model, const tinygltf::AnimationSampler& sampler, int width,
                bool rotation, const std::string& at);

} // namespace wkgltf
