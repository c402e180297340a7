#include "tools/gltf/gltf_accessor.h"

#include <algorithm>
#include <cstring>

namespace wkgltf {

namespace {

std::string where(int accessor) {
    return "accessors[" + std::to_string(accessor) + "]";
}

int componentBytes(int type) {
    switch (type) {
    case TINYGLTF_COMPONENT_TYPE_BYTE:
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE:
        return 1;
    case TINYGLTF_COMPONENT_TYPE_SHORT:
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT:
        return 2;
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT:
    case TINYGLTF_COMPONENT_TYPE_FLOAT:
        return 4;
    default:
        return 0;
    }
}

double component(const unsigned char* p, int type, bool normalized) {
    switch (type) {
    case TINYGLTF_COMPONENT_TYPE_BYTE: {
        const auto v = static_cast<std::int8_t>(*p);
        return normalized ? std::max(v / 127.0, -1.0) : v;
    }
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE:
        return normalized ? *p / 255.0 : *p;
    case TINYGLTF_COMPONENT_TYPE_SHORT: {
        std::int16_t v;
        std::memcpy(&v, p, 2);
        return normalized ? std::max(v / 32767.0, -1.0) : v;
    }
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT: {
        std::uint16_t v;
        std::memcpy(&v, p, 2);
        return normalized ? v / 65535.0 : v;
    }
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT: {
        std::uint32_t v;
        std::memcpy(&v, p, 4);
        return normalized ? v / 4294967295.0 : v;
    }
    default: {
        float v;
        std::memcpy(&v, p, 4);
        return v;
    }
    }
}

// The bytes of a buffer view, checked to lie inside its buffer.
const unsigned char* viewBytes(const tinygltf::Model& model, int view, const std::string& at,
                               std::size_t& length, std::size_t& stride) {
    if (view < 0 || static_cast<std::size_t>(view) >= model.bufferViews.size())
        throw GltfError(at + ": no buffer view " + std::to_string(view));
    const tinygltf::BufferView& v = model.bufferViews[static_cast<std::size_t>(view)];
    if (v.buffer < 0 || static_cast<std::size_t>(v.buffer) >= model.buffers.size())
        throw GltfError(at + ": no buffer " + std::to_string(v.buffer));
    const std::vector<unsigned char>& data = model.buffers[static_cast<std::size_t>(v.buffer)].data;
    if (v.byteOffset > data.size() || v.byteLength > data.size() - v.byteOffset)
        throw GltfError(at + ": buffer view " + std::to_string(view) + " runs past its buffer");
    length = v.byteLength;
    stride = v.byteStride;
    return data.data() + v.byteOffset;
}

// `count` elements of `width` components of `type` at `offset` in a view, into `out`.
void readElements(const tinygltf::Model& model, int view, std::size_t offset, std::size_t count,
                  int type, int width, bool normalized, const std::string& at, double* out) {
    std::size_t length = 0;
    std::size_t stride = 0;
    const unsigned char* bytes = viewBytes(model, view, at, length, stride);
    const std::size_t size = static_cast<std::size_t>(componentBytes(type)) * width;
    if (stride == 0)
        stride = size;
    if (count == 0)
        return;
    // offset + (count - 1) * stride + size <= length, without overflow.
    if (stride < size || size > length || offset > length - size ||
        count - 1 > (length - size - offset) / stride)
        throw GltfError(at + ": its elements run past buffer view " + std::to_string(view));
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned char* p = bytes + offset + i * stride;
        for (int c = 0; c < width; ++c)
            out[i * width + c] = component(p + c * componentBytes(type), type, normalized);
    }
}

} // namespace

std::size_t AccessorCount(const tinygltf::Model& model, int accessor) {
    if (accessor < 0 || static_cast<std::size_t>(accessor) >= model.accessors.size())
        throw GltfError("no accessor " + std::to_string(accessor));
    return model.accessors[static_cast<std::size_t>(accessor)].count;
}

std::vector<double> ReadAccessor(const tinygltf::Model& model, int accessor, int components) {
    const std::size_t count = AccessorCount(model, accessor);
    const tinygltf::Accessor& a = model.accessors[static_cast<std::size_t>(accessor)];
    const std::string at = where(accessor);
    const int width = tinygltf::GetNumComponentsInType(static_cast<std::uint32_t>(a.type));
    if (width != components)
        throw GltfError(at + ": expected " + std::to_string(components) +
                        " components an element, got " + std::to_string(width));
    if (componentBytes(a.componentType) == 0)
        throw GltfError(at + ": unknown component type " + std::to_string(a.componentType));
    // An accessor claims its count; only a buffer that holds it makes it real.
    const std::size_t maxBytes = [&] {
        std::size_t total = 0;
        for (const tinygltf::Buffer& b : model.buffers)
            total += b.data.size();
        return total;
    }();
    if (a.bufferView >= 0 &&
        count > maxBytes / (static_cast<std::size_t>(componentBytes(a.componentType)) * width))
        throw GltfError(at + ": a count of " + std::to_string(count) + " exceeds its buffers");
    if (a.bufferView < 0 && count > (std::size_t{1} << 26))
        throw GltfError(at + ": a count of " + std::to_string(count) + " without data");
    std::vector<double> out(count * static_cast<std::size_t>(width), 0.0);
    if (a.bufferView >= 0)
        readElements(model, a.bufferView, a.byteOffset, count, a.componentType, width, a.normalized,
                     at, out.data());
    if (a.sparse.isSparse) {
        const auto n = static_cast<std::size_t>(std::max(a.sparse.count, 0));
        if (n > count)
            throw GltfError(at + ": more sparse values than elements");
        std::vector<double> indices(n);
        std::vector<double> values(n * static_cast<std::size_t>(width));
        readElements(model, a.sparse.indices.bufferView,
                     static_cast<std::size_t>(std::max(a.sparse.indices.byteOffset, 0)), n,
                     a.sparse.indices.componentType, 1, false, at + ".sparse", indices.data());
        readElements(model, a.sparse.values.bufferView,
                     static_cast<std::size_t>(std::max(a.sparse.values.byteOffset, 0)), n,
                     a.componentType, width, a.normalized, at + ".sparse", values.data());
        for (std::size_t i = 0; i < n; ++i) {
            const auto index = static_cast<std::size_t>(indices[i]);
            if (index >= count)
                throw GltfError(at + ".sparse: index " + std::to_string(index) + " out of range");
            for (int c = 0; c < width; ++c)
                out[index * width + c] = values[i * width + c];
        }
    }
    return out;
}

} // namespace wkgltf
