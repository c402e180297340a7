#include "tools/gltf/gltf_sampler.h"

#include "tools/gltf/gltf_accessor.h"
#include "tools/gltf/gltf_math.h"

#include <algorithm>
#include <cmath>

namespace wkgltf {

namespace {

void normalise(double* q) {
    const Rotation n = Normalized({q[0], q[1], q[2], q[3]});
    q[0] = n.x, q[1] = n.y, q[2] = n.z, q[3] = n.w;
}

} // namespace

Curve ReadCurve(const tinygltf::Model& model, const tinygltf::AnimationSampler& sampler, int width,
                bool rotation, const std::string& at) {
    Curve curve;
    curve.width = width;
    curve.rotation = rotation;
    if (sampler.interpolation == "STEP")
        curve.kind = Curve::Kind::Step;
    else if (sampler.interpolation == "CUBICSPLINE")
        curve.kind = Curve::Kind::Cubic;
    else if (!sampler.interpolation.empty() && sampler.interpolation != "LINEAR")
        throw GltfError(at + ": unknown interpolation \"" + sampler.interpolation + "\"");
    curve.times = ReadAccessor(model, sampler.input, 1);
    if (curve.times.empty())
        throw GltfError(at + ": no keys");
    for (std::size_t i = 0; i < curve.times.size(); ++i)
        if (!std::isfinite(curve.times[i]) || (i > 0 && curve.times[i] <= curve.times[i - 1]))
            throw GltfError(at + ": key times must rise");
    // Morph weights are scalars in the accessor, `width` of them a key.
    const std::size_t count = AccessorCount(model, sampler.output);
    const int components = rotation ? 4 : (width == 3 ? 3 : 1);
    curve.values = ReadAccessor(model, sampler.output, components);
    const std::size_t perKey =
        static_cast<std::size_t>(width) * (curve.kind == Curve::Kind::Cubic ? 3 : 1);
    if (count * components != curve.times.size() * perKey)
        throw GltfError(at + ": " + std::to_string(count) + " output values for " +
                        std::to_string(curve.times.size()) + " keys");
    return curve;
}

void Curve::evaluate(double t, double* out) const {
    const std::size_t keys = times.size();
    const std::size_t w = static_cast<std::size_t>(width);
    const bool cubic = kind == Kind::Cubic;
    // The value of key k (the middle group of a cubic key).
    const auto value = [&](std::size_t k) { return values.data() + (cubic ? 3 * k + 1 : k) * w; };
    if (t <= times.front() || keys == 1) {
        std::copy_n(value(0), w, out);
        return;
    }
    if (t >= times.back()) {
        std::copy_n(value(keys - 1), w, out);
        return;
    }
    const std::size_t k =
        static_cast<std::size_t>(std::upper_bound(times.begin(), times.end(), t) - times.begin()) -
        1;
    const double span = times[k + 1] - times[k];
    const double u = (t - times[k]) / span;
    const double* a = value(k);
    const double* b = value(k + 1);
    if (kind == Kind::Step) {
        std::copy_n(a, w, out);
    } else if (kind == Kind::Linear && rotation) {
        const Rotation r = Slerp({a[0], a[1], a[2], a[3]}, {b[0], b[1], b[2], b[3]}, u);
        out[0] = r.x, out[1] = r.y, out[2] = r.z, out[3] = r.w;
    } else if (kind == Kind::Linear) {
        for (std::size_t c = 0; c < w; ++c)
            out[c] = a[c] + (b[c] - a[c]) * u;
    } else {
        // Hermite between the keys: the out-tangent of k and the in-tangent of k + 1, both
        // scaled by the span in seconds.
        const double* outTangent = values.data() + (3 * k + 2) * w;
        const double* inTangent = values.data() + (3 * (k + 1)) * w;
        const double u2 = u * u, u3 = u2 * u;
        const double h00 = 2 * u3 - 3 * u2 + 1, h10 = u3 - 2 * u2 + u, h01 = -2 * u3 + 3 * u2,
                     h11 = u3 - u2;
        for (std::size_t c = 0; c < w; ++c)
            out[c] =
                h00 * a[c] + h10 * span * outTangent[c] + h01 * b[c] + h11 * span * inTangent[c];
        if (rotation)
            normalise(out);
    }
}

} // namespace wkgltf
