// A glTF 2.0 asset as a headless scene file (docs/scene-format.md): nodes with their hierarchy
// and transforms, animations as tracks, meshes (with the deformation of morph targets and skins
// keyed frame by frame), materials by name, cameras and lights, and a cache object that records
// every mesh node.
#pragma once

#include <nlohmann/json.hpp>
#include <tiny_gltf.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace wkgltf {

// The largest asset (and each external buffer of it) that is read.
inline constexpr std::uintmax_t kGltfFileLimit = 1ull << 30;

struct ImportOptions {
    int fps = 30;           // the scene's frame rate, 1 to 4800
    double recStep = 1.0;   // the cache object's record step, in frames
    bool recDeform = false; // the cache object stores deformation
    std::string cacheFile;  // the cache object's file name, or empty
    // Told the nodes done of all after each node and each deformed frame; false stops the
    // import with ImportCancelled.
    std::function<bool(std::size_t done, std::size_t total)> progress;
};

class ImportCancelled : public std::runtime_error {
public:
    ImportCancelled() : std::runtime_error("cancelled") {}
};

struct ImportResult {
    nlohmann::json scene;
    std::vector<std::string> warnings; // what the asset holds that the scene cannot carry
};

// Reads a .gltf (with its external buffers) or a .glb, each file bounded by kGltfFileLimit.
// Throws GltfError with the loader's message.
tinygltf::Model LoadGltf(const std::string& path, std::vector<std::string>& warnings);

// The scene of the asset's default scene (or its first). Times are seconds in glTF; the scene
// runs at `fps` over the animations' extent, whole frames that hold every key. Throws GltfError
// for data the import cannot use (bad indices, accessors outside their buffers), ImportCancelled
// when the progress callback says stop.
ImportResult ImportGltf(const tinygltf::Model& model, const ImportOptions& options);

} // namespace wkgltf
