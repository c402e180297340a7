// The values of glTF accessors, read with every offset, stride and count checked against the
// buffers they point into, so that a hostile asset gives a GltfError and never a read beyond
// its data.
#pragma once

#include <tiny_gltf.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace wkgltf {

// What is wrong with an asset; the message names the part ("accessors[3]: ...").
class GltfError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The accessor's elements as `components` numbers each, element after element; normalized
// integers become 0 to 1 (or -1 to 1), other integers their value. Throws GltfError for a bad
// index, a type of another width, or data outside its buffer. Sparse values are applied.
std::vector<double> ReadAccessor(const tinygltf::Model& model, int accessor, int components);
// The element count of the accessor, checked to be a valid index.
std::size_t AccessorCount(const tinygltf::Model& model, int accessor);

} // namespace wkgltf
